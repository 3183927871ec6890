#pragma once
#include "nqinstance/host/dictionary.h"
#include "nqinstance/host/status.h"
#include "nqinstance/host/validation_run.h"

NQ_BEGIN_C

/* Validation of the five numeric kinds against a definition's "min", "max" and "values", and the
 * conversion that reads its numbers. Instances, definition and, in GetX, the out-parameter are the
 * caller's; nothing is kept. Threads may validate one instance against one definition at once, each
 * with a run of its own. */

/* The `validate` word of the kind: stores in `*validationStatus`
 *   0                        the instance is valid,
 *   NQ_STATUS_WRONG_TYPE     it is not of the kind itself,
 *   NQ_STATUS_OUT_OF_BOUNDS  it is below "min" or above "max", which are inclusive,
 *   NQ_STATUS_NOT_ACCEPTED   there are "values", an array of numbers and of ranges (dictionaries
 *                            with "min" and "max"), and it equals none and is in none of them.
 * An absent key checks nothing. "dataType" is not looked at. Comparisons of doubles are IEEE's: a
 * NaN is within any bounds, but equals nothing and is in no range. With a `run`, an instance that
 * is out of bounds or not accepted leaves one message there, NQ_MESSAGE_..., with the value and the
 * bound as arguments.
 *
 * Always NQ_STATUS_OK when the check could be made, else one of these with `*validationStatus`
 * untouched:
 * NQ_STATUS_INVALID_ARGUMENT: `definition` or `validationStatus` is null.
 * NQ_STATUS_NOT_CONVERTIBLE: a number of the definition is none, as GetX says.
 * NQ_STATUS_VALUES_NOT_ARRAY; NQ_STATUS_RANGE_WITHOUT_MIN; NQ_STATUS_RANGE_WITHOUT_MAX.
 * A message that cannot be made or formatted gives its status after the verdict was stored. */
NQ_EXPORT NQStatus nqInstanceValidateInt32(InstanceHeader* instance, NQDictionary* definition,
                                           uint32_t* validationStatus,
                                           ValidationRun* run) NQ_NOEXCEPT;
NQ_EXPORT NQStatus nqInstanceValidateInt64(InstanceHeader* instance, NQDictionary* definition,
                                           uint32_t* validationStatus,
                                           ValidationRun* run) NQ_NOEXCEPT;
NQ_EXPORT NQStatus nqInstanceValidateUInt32(InstanceHeader* instance, NQDictionary* definition,
                                            uint32_t* validationStatus,
                                            ValidationRun* run) NQ_NOEXCEPT;
NQ_EXPORT NQStatus nqInstanceValidateUInt64(InstanceHeader* instance, NQDictionary* definition,
                                            uint32_t* validationStatus,
                                            ValidationRun* run) NQ_NOEXCEPT;
NQ_EXPORT NQStatus nqInstanceValidateDouble(InstanceHeader* instance, NQDictionary* definition,
                                            uint32_t* validationStatus,
                                            ValidationRun* run) NQ_NOEXCEPT;

/* Stores any number, or the text "min" or "max", as a value of the kind. There is no check that it
 * fits: of an integer the low bits are taken, and a double is truncated towards zero
 *   to Int32   and what does not fit, or is no number, is -2^31,
 *   to Int64   and what does not fit, or is no number, is -2^63,
 *   to UInt32  as to Int64, of which the low 32 bits are taken,
 *   to UInt64  as to Int64 below 2^63, and from there on by way of its difference to 2^63.
 * "min" and "max" are the kind's smallest and largest value. Two rows are odd on purpose: the
 * double's "min" is 2.2250738585072014e-308, its smallest positive normal value, and UInt64 takes
 * neither word.
 * NQ_STATUS_NOT_CONVERTIBLE: any other text or instance, or null; `*value` is untouched. */
NQ_EXPORT NQStatus nqInstanceGetInt32(InstanceHeader* instance, int32_t* value) NQ_NOEXCEPT;
NQ_EXPORT NQStatus nqInstanceGetInt64(InstanceHeader* instance, int64_t* value) NQ_NOEXCEPT;
NQ_EXPORT NQStatus nqInstanceGetUInt32(InstanceHeader* instance, uint32_t* value) NQ_NOEXCEPT;
NQ_EXPORT NQStatus nqInstanceGetUInt64(InstanceHeader* instance, uint64_t* value) NQ_NOEXCEPT;
NQ_EXPORT NQStatus nqInstanceGetDouble(InstanceHeader* instance, double* value) NQ_NOEXCEPT;

NQ_END_C
