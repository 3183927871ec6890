#pragma once
#include "nqinstance/host/dictionary.h"
#include "nqinstance/host/status.h"

NQ_BEGIN_C

/* The types that definitions name. "dataType" is a string of either kind and holds, letter for
 * letter, one of: array, dictionary, integer, double, boolean, int32, uint32, int64, uint64, char,
 * string, data, date, time, datetime, instance. For "instance", "expectedTypes" may list what is
 * accepted: an array of definitions, of which "dataType" alone is looked at.
 *
 * The definition is a dictionary and its "expectedTypes", which are not tested for that, an array.
 * Any number of threads may ask about the same instance and definition. */

/* 0 when the instance is of the type that the definition names, else
 * NQ_STATUS_NO_DATA_TYPE: the definition names none.
 * NQ_STATUS_UNKNOWN_DATA_TYPE: "dataType" is none of the keywords.
 * NQ_STATUS_NESTED_INSTANCE: before a match in "expectedTypes" there is another "instance".
 * NQ_STATUS_WRONG_TYPE: the instance is of another type, or of none of the expected ones.
 * Three rows are odd on purpose: "integer" accepts doubles as well; "double" accepts Int64 but no
 * other integer; the four sized integers accept one another, for their range is checked apart.
 * "datetime" does not accept a calendar date with a time. "instance" without "expectedTypes"
 * accepts everything. In "expectedTypes", entries without a known type are passed over. */
NQ_EXPORT NQStatus nqInstanceIsDefinitionType(InstanceHeader* instance,
                                              NQDictionary* definition) NQ_NOEXCEPT;

/* Stores in `*name` a new string in `pool`, held once by the caller, with the JSON type name of the
 * definition: the keyword, but "object" for a dictionary. For "instance" with "expectedTypes" it is
 * the list of their names with ", " between the entries, empty where an entry has no name, and
 * `*isList` is 1. `*name` is null where the definition names no type, or "instance" alone.
 * `*isList` is 0 but for a list. `strings` is the caller's. A status of the string service is
 * returned with a null `*name`. */
NQ_EXPORT NQStatus jsonTypeForDefinition(NQStringApi* strings, HostPool* pool,
                                         NQDictionary* definition, NQU8String** name,
                                         uint8_t* isList) NQ_NOEXCEPT;

/* The JSON type name of an instance, a constant of the library: "object", "integer", "double",
 * "data", "date", "datetime", "time", "string" or "boolean", tested in this order, which an
 * instance that answers to two type names can tell. Null, and what has no name, is an "object": so
 * are arrays and characters. */
NQ_EXPORT const char* jsonTypeForInstance(InstanceHeader* instance) NQ_NOEXCEPT;

NQ_END_C
