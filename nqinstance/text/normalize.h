#pragma once
#include "nqinstance/host/base.h"

NQ_BEGIN_C

/* The host's Unicode normaliser, which is made on the first use; what its forms and options mean,
 * and whether threads may use it at once, is the host's rule. Lengths count bytes of UTF-8. There
 * is no normaliser when the host has no Unicode service or could not make one. */

/* Stores the normalised text and its length. Returns the normaliser's status.
 * NQ_STATUS_NO_MEMORY: there is no normaliser; nothing is stored. */
NQ_EXPORT NQStatus nqzsu8ICUNormalize(const uint8_t* source, uint64_t sourceLength, uint32_t form,
                                      uint32_t options, uint8_t* target, uint64_t capacity,
                                      uint64_t* outLength) NQ_NOEXCEPT;

/* The order of two texts as the normaliser sees it: negative, 0 or positive. `*status`, unless
 * null, receives its status, with which the result means nothing unless it is 0.
 * NQ_STATUS_NO_MEMORY: there is no normaliser; the result is 0. */
NQ_EXPORT int32_t nqzsu8ICUNormCompare(const uint8_t* a, uint64_t aLength, const uint8_t* b,
                                       uint64_t bLength, uint32_t options,
                                       NQStatus* status) NQ_NOEXCEPT;

/* 1 if the comparison above succeeds and finds the texts equal, else 0. */
NQ_EXPORT int32_t nqzsu8ICUNormEqual(const uint8_t* a, uint64_t aLength, const uint8_t* b,
                                     uint64_t bLength, uint32_t options,
                                     NQStatus* status) NQ_NOEXCEPT;

NQ_END_C
