#pragma once
#include "nqinstance/host/array.h"
#include "nqinstance/host/string.h"

NQ_BEGIN_C

/* A validation in progress: collects a message for each failure. */
struct ValidationRun {
    HostPool* pool;
    NQStringApi* strings;
    uint8_t ownsStrings; /* 1: the run loaded `strings` and releases it */
    NQArrayApi* arrays;
    uint8_t ownsArrays; /* 1: the run loaded `arrays` and releases it */
    void* userData;     /* handed to every message formatting call */
    NQArray* messages;  /* NQU8String messages in the order they were added */

    /* Adds an empty message, which `*message` then borrows for as long as the run lives. */
    NQStatus (*addContextMessage)(ValidationRun* self, NQU8String** message) NQ_NOEXCEPT;

    /* Releases what the run holds and the run itself. */
    NQStatus (*finish)(ValidationRun* self) NQ_NOEXCEPT;

    uint8_t logValidateErrors; /* the host option "nqinstance.logValidateErrors" */
};

NQ_END_C

NQ_RECORD(ValidationRun, 80);
NQ_FIELD(ValidationRun, pool, 0);
NQ_FIELD(ValidationRun, strings, 8);
NQ_FIELD(ValidationRun, ownsStrings, 16);
NQ_FIELD(ValidationRun, arrays, 24);
NQ_FIELD(ValidationRun, ownsArrays, 32);
NQ_FIELD(ValidationRun, userData, 40);
NQ_FIELD(ValidationRun, messages, 48);
NQ_FIELD(ValidationRun, addContextMessage, 56);
NQ_FIELD(ValidationRun, finish, 64);
NQ_FIELD(ValidationRun, logValidateErrors, 72);
