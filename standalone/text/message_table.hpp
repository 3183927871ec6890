// Written by generate/statuses.py from generate/statuses.tsv; not to be edited.
#pragma once
#include <string_view>

#include "standalone/base/statuses.hpp"

namespace nq {

struct Message {
    NQStatus code;
    std::string_view text;
};

// Every status and message, in the order of the codes.
// clang-format off
inline constexpr Message kMessages[] = {
    {NQ_STATUS_OK, "No error."},
    {NQ_STATUS_NO_MEMORY, "There is not enough memory."},
    {NQ_STATUS_INVALID_ARGUMENT, "An argument is missing or not valid."},
    {NQ_STATUS_UNSUPPORTED, "The object does not support the operation."},
    {NQ_STATUS_NO_SERVICE, "A service of the host is not available."},
    {NQ_STATUS_NO_EXTENSION, "An extension could not be loaded."},
    {NQ_HOST_STATUS_NOT_FOUND, "The file does not exist."},
    {NQ_HOST_STATUS_IS_DIRECTORY, "The name is that of a directory."},
    {NQ_HOST_STATUS_ACCESS_DENIED, "The file may not be read."},
    {NQ_HOST_STATUS_OPEN_ERROR, "The file cannot be opened."},
    {NQ_HOST_STATUS_READ_ERROR, "An error occurred while the file was read."},
    {NQ_HOST_STATUS_UNKNOWN_ENCODING, "The encoding is not known."},
    {NQ_HOST_STATUS_JSON_SYNTAX, "The JSON text has a syntax error."},
    {NQ_HOST_STATUS_JSON_NUMBER, "The JSON text holds a number that is out of range."},
    {NQ_HOST_STATUS_JSON_ENCODING, "The JSON text is not valid UTF-8."},
    {NQ_HOST_STATUS_JSON_TOO_DEEP, "The JSON text is nested too deep."},
    {NQ_HOST_STATUS_JSON_TOO_LARGE, "The JSON text is too large."},
    {NQ_HOST_STATUS_UNKNOWN_HANDLE, "No handle is registered under the name."},
    {NQ_HOST_STATUS_DUPLICATE_HANDLE, "A handle is registered under the name already."},
    {NQ_HOST_STATUS_UNKNOWN_OPTION, "The option is not set."},
    {NQ_HOST_STATUS_UNKNOWN_KEY, "The dictionary does not have the key."},
    {NQ_STATUS_BUFFER_TOO_SMALL, "The buffer is too small."},
    {NQ_STATUS_MALFORMED, "Malformed text was replaced by U+FFFD."},
    {NQ_STATUS_UNCONVERTIBLE, "The file holds bytes that are not valid UTF-8."},
    {NQ_STATUS_TRUNCATED, "The text ends inside a character."},
    {NQ_STATUS_UNKNOWN_JUSTIFICATION, "The justification mode is not known."},
    {NQ_STATUS_NO_LOCALE, "No locale was given."},
    {NQ_STATUS_END_OF_FILE, "The end of the file was reached."},
    {NQ_STATUS_UNCLOSED_SECTION, "The section header has no closing bracket."},
    {NQ_STATUS_MISSING_EQUALS, "The line has no equals sign."},
    {NQ_STATUS_NOT_CONVERTIBLE, "The value cannot be converted to the type that is checked."},
    {NQ_STATUS_NO_DATA_TYPE, "The definition has no \"dataType\"."},
    {NQ_STATUS_VALUES_NOT_ARRAY, "The \"values\" of the definition are not an array."},
    {NQ_STATUS_UNKNOWN_DATA_TYPE, "The \"dataType\" of the definition is not known."},
    {NQ_STATUS_NESTED_INSTANCE, "An entry of \"expectedTypes\" has the \"dataType\" \"instance\"."},
    {NQ_STATUS_RANGE_WITHOUT_MIN, "A range in \"values\" has no \"min\"."},
    {NQ_STATUS_RANGE_WITHOUT_MAX, "A range in \"values\" has no \"max\"."},
    {NQ_STATUS_WRONG_TYPE, "The value is not of the type that the definition asks for."},
    {NQ_STATUS_OUT_OF_BOUNDS, "The value is out of bounds."},
    {NQ_STATUS_NOT_ACCEPTED, "The value is not one of those that the definition accepts."},
    {NQ_MESSAGE_SIGNED_BELOW_MIN, "The value %lld is below the minimum %lld."},
    {NQ_MESSAGE_UNSIGNED_BELOW_MIN, "The value %llu is below the minimum %llu."},
    {NQ_MESSAGE_DOUBLE_BELOW_MIN, "The value %.15g is below the minimum %.15g."},
    {NQ_MESSAGE_SIGNED_ABOVE_MAX, "The value %lld is above the maximum %lld."},
    {NQ_MESSAGE_UNSIGNED_ABOVE_MAX, "The value %llu is above the maximum %llu."},
    {NQ_MESSAGE_DOUBLE_ABOVE_MAX, "The value %.15g is above the maximum %.15g."},
    {NQ_MESSAGE_SIGNED_NOT_ACCEPTED,
     "The value %lld is not one of those that the definition accepts."},
    {NQ_MESSAGE_UNSIGNED_NOT_ACCEPTED,
     "The value %llu is not one of those that the definition accepts."},
    {NQ_MESSAGE_DOUBLE_NOT_ACCEPTED,
     "The value %.15g is not one of those that the definition accepts."},
    {NQ_STATUS_NOT_A_DICTIONARY, "The definition is not a dictionary."},
};
// clang-format on

}  // namespace nq
