#pragma once
#include "nqinstance/host/dictionary.h"
#include "nqinstance/host/json_parser.h"
#include "nqinstance/host/status.h"
#include "nqinstance/host/validation_run.h"

NQ_BEGIN_C

/* Validation of instances against definitions. A definition is a dictionary with "dataType" and,
 * where wanted, "expectedTypes", "min", "max" and "values".
 *
 * A validation returns NQ_STATUS_OK whenever the check could be made; the verdict is a second
 * status, stored in `*validationStatus`, and 0 when the instance is valid. Where the check could
 * not be made the verdict is untouched, unless said otherwise. */

/* Opens a validation run in `pool`, which collects a message for each number that is out of bounds
 * or not accepted. `strings` and `arrays` are used as long as the run lives; of a null one the run
 * loads its own. `userData` goes to the host's message formatter. The run's fields are read
 * directly; one thread uses it at a time, and ends it with its `finish`.
 *
 * `*out` is the place for a pointer, but a start that fails hands the place itself to
 * nqInstanceFinishValidate as if it were the run. Pass a place of the size of a run, zeroed: the
 * pointer of a union with a ValidationRun. A zeroed run holds nothing, so nothing happens to it
 * then; whatever else is there is taken for holds and given back. A start that fails leaves its
 * unfinished record in `pool` and keeps the holds of the extensions that it loaded for it; `*out`
 * is not written to.
 *
 * NQ_STATUS_NO_MEMORY: there is no record; nothing stays, and `*out` is not looked at.
 * NQ_STATUS_NO_EXTENSION: "nqstring" or "nqarray" could not be loaded.
 * Any other status comes from the array service. */
NQ_EXPORT NQStatus nqInstanceStartValidate(InstanceApi* api, NQStringApi* strings,
                                           NQArrayApi* arrays, HostPool* pool, void* userData,
                                           ValidationRun** out) NQ_NOEXCEPT;

/* Ends a run: releases its messages and the extensions that it loaded, and frees its record, whose
 * status is returned. A run without a pool is not freed; the answer is NQ_STATUS_OK then. */
NQ_EXPORT NQStatus nqInstanceFinishValidate(ValidationRun* run) NQ_NOEXCEPT;

/* Checks the type of the instance with nqInstanceIsDefinitionType, whose answer is the verdict
 * where it is not 0, then the value with the instance's own `validate`. `run` may be null. Threads
 * may validate one instance against one definition at once, each with a run of its own.
 * NQ_STATUS_INVALID_ARGUMENT: one of the other arguments is null.
 * NQ_STATUS_NOT_A_DICTIONARY: the definition is none.
 * Any other status is that of the instance's `validate`; the verdict is then 0 or as it says. */
NQ_EXPORT NQStatus nqInstanceValidateData(InstanceHeader* instance, NQDictionary* definition,
                                          uint32_t* validationStatus,
                                          ValidationRun* run) NQ_NOEXCEPT;

/* The `validate` word of the kinds without checks of their own: the verdict is always 0.
 * NQ_STATUS_INVALID_ARGUMENT: `validationStatus` is null. */
NQ_EXPORT NQStatus nqInstanceValidate(InstanceHeader* instance, NQDictionary* definition,
                                      uint32_t* validationStatus, ValidationRun* run) NQ_NOEXCEPT;

/* Checks the value of the instance against a definition given as JSON text, UTF-8 and
 * zero-terminated, with the instance's own `validate` alone. "dataType" is not looked at, on
 * purpose: a text without one, or with another type's, is checked all the same. The definition
 * lives in a temporary pool of the host and is gone afterwards. Of a null `json` the extension
 * "nqinstjson" is loaded for the moment.
 * NQ_STATUS_INVALID_ARGUMENT: "nqinstjson" could not be loaded, `instance` is null, or the text is
 * null and the instance has checks of its own.
 * NQ_STATUS_NOT_A_DICTIONARY: the text is no object, and the instance has checks of its own.
 * NQ_STATUS_NO_MEMORY: the host has no temporary pool.
 * Any other status is the parser's or that of the instance's `validate`. */
NQ_EXPORT NQStatus nqInstanceValidateU8(NQInstJsonApi* json, InstanceHeader* instance,
                                        const char* definitionText, uint32_t* validationStatus,
                                        ValidationRun* run) NQ_NOEXCEPT;

NQ_END_C
