#pragma once
#include "nqinstance/host/handle.h"

NQ_BEGIN_C

/* Selector of hasProperty: the character joins to the one before it. */
#define NQ_PROPERTY_COMBINING UINT32_C(56)

/* Code points that one call of a case mapping may produce. */
#define NQ_CASE_MAPPING_UNITS 16

typedef struct HostNormalizer HostNormalizer;
struct HostNormalizer {
    NQHandle handle;

    /* Stores the normalised text and its length in bytes. */
    NQStatus (*normalize)(HostNormalizer* self, const uint8_t* source, uint64_t sourceLength,
                          uint32_t form, uint32_t options, uint8_t* target, uint64_t capacity,
                          uint64_t* outLength) NQ_NOEXCEPT;

    /* Compares two texts after normalisation; `*result` is negative, zero or positive. */
    NQStatus (*compare)(HostNormalizer* self, const uint8_t* a, uint64_t aLength, const uint8_t* b,
                        uint64_t bLength, uint32_t options, int32_t* result) NQ_NOEXCEPT;
};

typedef struct HostUnicode HostUnicode;
struct HostUnicode {
    NQHandle handle;
    HostNormalizer* normalizer; /* null until createNormalizer made one */

    /* The simple case mapping of one code point; `one` is 1. */
    uint32_t (*toUpper)(HostUnicode* self, uint32_t codePoint, uint64_t one) NQ_NOEXCEPT;
    uint32_t (*toLower)(HostUnicode* self, uint32_t codePoint, uint64_t one) NQ_NOEXCEPT;

    /* Nonzero when the code point has the property of `selector`. */
    int32_t (*hasProperty)(HostUnicode* self, uint32_t codePoint, uint32_t selector) NQ_NOEXCEPT;

    /* Makes the normaliser, which the host owns and keeps in `normalizer`. */
    NQStatus (*createNormalizer)(HostUnicode* self, HostNormalizer** out,
                                 uint64_t zero) NQ_NOEXCEPT;

    /* 1 when the language has case rules of its own. */
    int32_t (*hasSpecialCasing)(HostUnicode* self, uint32_t language) NQ_NOEXCEPT;

    /* Maps one code point by the language's rules without context into `out`
     * (NQ_CASE_MAPPING_UNITS units); the number of code points produced. `mode`: 1 lower,
     * 2 upper. */
    int32_t (*mapForLanguage)(HostUnicode* self, uint32_t language, uint32_t codePoint,
                              uint32_t* out, uint32_t mode) NQ_NOEXCEPT;

    /* Maps codePoints[0] with regard to the code point that follows it (count 2) and, through
     * `state`, to those before it. 0 when `out` and `*outCount` hold the mapping.
     * `state`: one zeroed word that lives for a whole case operation; `one` is 1. */
    NQStatus (*mapInContext)(HostUnicode* self, uint32_t language, const uint32_t* codePoints,
                             uint64_t count, uint32_t* out, uint64_t* outCount, void* state,
                             uint64_t one) NQ_NOEXCEPT;
};

NQ_END_C

NQ_TABLE(HostNormalizer, 5);
NQ_WORD(HostNormalizer, normalize, 3);
NQ_WORD(HostNormalizer, compare, 4);
NQ_TABLE(HostUnicode, 11);
NQ_WORD(HostUnicode, normalizer, 3);
NQ_WORD(HostUnicode, toUpper, 4);
NQ_WORD(HostUnicode, toLower, 5);
NQ_WORD(HostUnicode, hasProperty, 6);
NQ_WORD(HostUnicode, createNormalizer, 7);
NQ_WORD(HostUnicode, hasSpecialCasing, 8);
NQ_WORD(HostUnicode, mapForLanguage, 9);
NQ_WORD(HostUnicode, mapInContext, 10);
