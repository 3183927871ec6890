#include "nqinstance/text/locale_forwarders.h"

// A forwarder passes on arguments of types that it does not know, variable ones among them, which
// no compiler offers. So each forwarder is written as one jump through the locale's table, whose
// address is in the register of the first argument. It uses only registers that a call leaves free
// for this.
#if defined(__x86_64__)
#if defined(__CET__) && __CET__ & 1
#define NQ_LANDING "endbr64\n"
#else
#define NQ_LANDING ""
#endif
#define NQ_JUMP_TO_WORD(word) "jmp *(8 * " #word ")(%rdi)\n"
#elif defined(__aarch64__)
// "bti c", which older processors take for a hint.
#define NQ_LANDING "hint #34\n"
#define NQ_JUMP_TO_WORD(word) "ldr x16, [x0, #(8 * " #word ")]\nbr x16\n"
#else
#error "how this processor jumps to an operation of a table is not written yet"
#endif

#define NQ_FORWARD(operation, word)     \
    NQ_WORD(NQLocale, operation, word); \
    __asm__(                                                          \
        ".pushsection .text\n"                                        \
        ".p2align 4\n"                                                \
        ".globl nqzsu8" #operation "\n"                               \
        ".type nqzsu8" #operation ", %function\n"                     \
        "nqzsu8" #operation ":\n"                                     \
        ".cfi_startproc\n" NQ_LANDING NQ_JUMP_TO_WORD(word)           \
        ".cfi_endproc\n"                                              \
        ".size nqzsu8" #operation ", . - nqzsu8" #operation "\n"      \
        ".popsection\n")

NQ_FORWARD(ToDouble, 4);
NQ_FORWARD(DoubleFormat, 7);
NQ_FORWARD(IntfastFormat, 8);
NQ_FORWARD(IntmaxFormat, 9);
NQ_FORWARD(UintfastFormat, 10);
NQ_FORWARD(UintmaxFormat, 11);
NQ_FORWARD(ToIntfast, 12);
NQ_FORWARD(ToIntmax, 13);
NQ_FORWARD(ToUintfast, 14);
NQ_FORWARD(ToUintmax, 15);
NQ_FORWARD(IntFormat, 16);
NQ_FORWARD(UIntFormat, 17);
NQ_FORWARD(ToInt, 18);
NQ_FORWARD(ToUInt, 19);
NQ_FORWARD(LongFormat, 20);
NQ_FORWARD(ULongFormat, 21);
NQ_FORWARD(ToLong, 22);
NQ_FORWARD(ToULong, 23);
NQ_FORWARD(DatetimeFormat, 28);
NQ_FORWARD(DateFormat, 29);
NQ_FORWARD(TimeFormat, 30);
NQ_FORWARD(ToDatetime, 31);
NQ_FORWARD(ToDate, 32);
NQ_FORWARD(ToTime, 33);
