#pragma once
#include "nqinstance/host/pool.h"
#include "nqinstance/host/status.h"

NQ_BEGIN_C

/* Memory and string primitives. The forms with a T, and mwWMemCmp, work on 32-bit units and count
 * units, all others bytes. The copies take the source first. A pointer may be null only where that
 * is said, or with a count of 0. Nothing outside the given ranges is touched. All may be called
 * from several threads at once. */

/* Always NQ_STATUS_UNSUPPORTED. */
NQ_EXPORT NQStatus mwUnsup(void) NQ_NOEXCEPT;

/* The bytes or units before the first zero; 0 for a null text. */
NQ_EXPORT uint64_t mwStrLen(const void* text) NQ_NOEXCEPT;
NQ_EXPORT uint64_t mwStrTLen(const NQChar* text) NQ_NOEXCEPT;

/* Copies a zero-terminated text with its terminator. A null target does nothing; a null source
 * makes the target empty. */
NQ_EXPORT void mwStrCpy(const void* source, void* target) NQ_NOEXCEPT;
NQ_EXPORT void mwStrTCpy(const NQChar* source, NQChar* target) NQ_NOEXCEPT;

/* Change the case of the ASCII letters among exactly `length` bytes, in place. */
NQ_EXPORT void mwStrUp(void* text, uint64_t length) NQ_NOEXCEPT;
NQ_EXPORT void mwStrLow(void* text, uint64_t length) NQ_NOEXCEPT;

/* 1 if every element equals `value`, also when there is none; else 0. */
NQ_EXPORT int32_t mwMemNot(uint8_t value, const void* bytes, uint64_t length) NQ_NOEXCEPT;
NQ_EXPORT int32_t mwMemTNot(NQChar value, const NQChar* units, uint64_t count) NQ_NOEXCEPT;

/* Store `value` in every element. */
NQ_EXPORT void mwMemSet(void* bytes, uint8_t value, uint64_t length) NQ_NOEXCEPT;
NQ_EXPORT void mwMemTSet(NQChar* units, NQChar value, uint64_t count) NQ_NOEXCEPT;

/* The order of the first bytes that differ, as unsigned values: -1, 0 (all equal) or 1. */
NQ_EXPORT int32_t mwMemCmp(const void* a, const void* b, uint64_t length) NQ_NOEXCEPT;

/* The same over units, where the sign of the first differing pair's wrapped 32-bit difference
 * decides: units 2^31 or more apart compare the other way round. */
NQ_EXPORT int32_t mwWMemCmp(const NQChar* a, const NQChar* b, uint64_t count) NQ_NOEXCEPT;

/* Copies as a loop from the first byte to the last would: a target that begins inside the source
 * repeats the bytes before it. Returns the target. */
NQ_EXPORT void* mwMemCpy(const void* source, void* target, uint64_t length) NQ_NOEXCEPT;

/* Copies as through a buffer in between, whatever the overlap. */
NQ_EXPORT void mwMemSCpy(const void* source, void* target, uint64_t length) NQ_NOEXCEPT;

/* A block of `pool` with a copy of the bytes, which the caller frees there; null when source or
 * pool is null, or when the pool has no memory. */
NQ_EXPORT void* mwMemDup(const void* source, uint64_t length, HostPool* pool) NQ_NOEXCEPT;

/* The index of the first byte that equals `value`; NQ_NOT_FOUND when none does, also of null. */
NQ_EXPORT uint64_t mwMemScan(const void* bytes, uint64_t length, uint8_t value) NQ_NOEXCEPT;

/* The index of the first element that differs from `value`; NQ_NOT_FOUND when none does, also of
 * null. */
NQ_EXPORT uint64_t mwMemNScan(const void* bytes, uint64_t length, uint8_t value) NQ_NOEXCEPT;
NQ_EXPORT uint64_t mwMemTNScan(const NQChar* units, uint64_t count, NQChar value) NQ_NOEXCEPT;

/* 1 if one of the values is a NaN, the mark of a missing value; else 0. */
NQ_EXPORT int32_t mwMissArray(const double* values, uint64_t count) NQ_NOEXCEPT;

NQ_END_C
