// The functions of the C++ library that tests call and that write memory outside a template: each
// calls the real one and tells the memory sanitizer what that has written.
#include <dlfcn.h>
#include <sanitizer/msan_interface.h>

#include <ios>
#include <list>
#include <locale>
#include <map>

namespace {

// The function of that name in the C++ library.
template <class Function>
Function* real(Function*, const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

// NQ_WRITES(FUNCTION, SYMBOL, TYPE, PARAMETERS, ARGUMENTS): writes a TYPE at its first parameter.
#define NQ_WRITES(function, symbol, type, parameters, arguments)    \
    extern "C" void function parameters __asm__(symbol);            \
    extern "C" void function parameters {                           \
        static auto* const real_function = real(&function, symbol); \
        real_function arguments;                                    \
        __msan_unpoison(self, sizeof(type));                        \
    }

NQ_WRITES(ios_construct, "_ZNSt8ios_baseC2Ev", std::ios_base, (void* self), (self))
NQ_WRITES(ios_initialise, "_ZNSt8ios_base7_M_initEv", std::ios_base, (void* self), (self))
NQ_WRITES(locale_construct, "_ZNSt6localeC1Ev", std::locale, (void* self), (self))
NQ_WRITES(locale_copy, "_ZNSt6localeC1ERKS_", std::locale, (void* self, const void* other),
          (self, other))
NQ_WRITES(list_hook, "_ZNSt8__detail15_List_node_base7_M_hookEPS0_", std::__detail::_List_node_base,
          (void* self, void* next), (self, next))

// The tree's other nodes were written before.
#define NQ_TREE_INSERT "_ZSt29_Rb_tree_insert_and_rebalancebPSt18_Rb_tree_node_baseS0_RS_"
extern "C" void tree_insert(bool left, void* node, void* parent,
                            void* header) __asm__(NQ_TREE_INSERT);
extern "C" void tree_insert(bool left, void* node, void* parent, void* header) {
    static auto* const real_function = real(&tree_insert, NQ_TREE_INSERT);
    real_function(left, node, parent, header);
    __msan_unpoison(node, sizeof(std::_Rb_tree_node_base));
}

// Compares a table of its own that it has just written.
#define NQ_WIDEN "_ZNKSt5ctypeIcE13_M_widen_initEv"
extern "C" void widen_initialise(const void* self) __asm__(NQ_WIDEN);
extern "C" void widen_initialise(const void* self) {
    static auto* const real_function = real(&widen_initialise, NQ_WIDEN);
    __msan_scoped_disable_interceptor_checks();
    real_function(self);
    __msan_scoped_enable_interceptor_checks();
}

// Takes the place of the library's own in its tables of functions: numbers in streams.
template class std::num_put<char>;
