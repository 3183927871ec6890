// Written by generate/statuses.py from generate/statuses.tsv; not to be edited.
#pragma once
#include "nqinstance/host/status.h"

// The standalone host's own statuses, beside those of nqinstance/host/status.h.

// clang-format off
// Files.
#define NQ_HOST_STATUS_NOT_FOUND 0x803fd001u     // there is no file of that name
#define NQ_HOST_STATUS_IS_DIRECTORY 0x803fd002u  // the name is a directory's
#define NQ_HOST_STATUS_ACCESS_DENIED 0x803fd003u
#define NQ_HOST_STATUS_OPEN_ERROR 0x803fd004u    // any other reason why a file cannot be opened
#define NQ_HOST_STATUS_READ_ERROR 0x803fd005u    // the file could not be read to its end

// Text.
#define NQ_HOST_STATUS_UNKNOWN_ENCODING 0x803fd010u  // an encoding code other than 20 and 27

// JSON.
#define NQ_HOST_STATUS_JSON_SYNTAX 0x803fd020u
#define NQ_HOST_STATUS_JSON_NUMBER 0x803fd021u    // a number that no double can hold
#define NQ_HOST_STATUS_JSON_ENCODING 0x803fd022u  // the text is not UTF-8
#define NQ_HOST_STATUS_JSON_TOO_DEEP 0x803fd023u
#define NQ_HOST_STATUS_JSON_TOO_LARGE 0x803fd024u

// Handles, options and objects.
#define NQ_HOST_STATUS_UNKNOWN_HANDLE 0x803fd030u    // no such handle is registered
#define NQ_HOST_STATUS_DUPLICATE_HANDLE 0x803fd031u  // the name is registered already
#define NQ_HOST_STATUS_UNKNOWN_OPTION 0x803fd032u    // the option is not set
#define NQ_HOST_STATUS_UNKNOWN_KEY 0x803fd033u       // the dictionary has no such key
// clang-format on
