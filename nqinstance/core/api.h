#pragma once
#include "nqinstance/core/data.h"
#include "nqinstance/core/datetime.h"
#include "nqinstance/core/instance.h"
#include "nqinstance/host/dictionary.h"
#include "nqinstance/host/json_parser.h"
#include "nqinstance/host/kernel.h"
#include "nqinstance/host/validation_run.h"

NQ_BEGIN_C

typedef struct NQTextReader NQTextReader;

/* The service table that the entry returns, read-only afterwards and open to any thread. The
 * contract of an operation stands at the exported function of its name. Its order is for ever. */
/* clang-format off */
struct InstanceApi {
    uint64_t magic; /* NQ_MAGIC */
    uint64_t zero_1_to_2[2];
    NQStatus (*getReqVersion)(InstanceApi* self, uint64_t* major, uint64_t* minor,
                              uint64_t* patch) NQ_NOEXCEPT;
    NQStatus (*getVersion)(InstanceApi* self, uint64_t* major, uint64_t* minor,
                           uint64_t* patch) NQ_NOEXCEPT;
    uint64_t zero_5;
    NQStatus (*realDestroy)(InstanceApi* self) NQ_NOEXCEPT;
    uint64_t zero_7_to_8[2];
    HostPool* pool; /* the extension's own pool */

    NQHandleInstance* (*createHandle)(InstanceApi*, HostPool*, NQHandle*, NQStatus*) NQ_NOEXCEPT;
    NQStatus (*release)(void* instance) NQ_NOEXCEPT;
    NQBooleanInstance* (*createBoolean)(InstanceApi*, HostPool*, uint8_t, NQStatus*) NQ_NOEXCEPT;
    NQInt32Instance* (*createInt32)(InstanceApi*, HostPool*, int32_t, NQStatus*) NQ_NOEXCEPT;
    NQInt64Instance* (*createInt64)(InstanceApi*, HostPool*, int64_t, NQStatus*) NQ_NOEXCEPT;
    NQUInt32Instance* (*createUInt32)(InstanceApi*, HostPool*, uint32_t, NQStatus*) NQ_NOEXCEPT;
    NQUInt64Instance* (*createUInt64)(InstanceApi*, HostPool*, uint64_t, NQStatus*) NQ_NOEXCEPT;
    NQDoubleInstance* (*createDouble)(InstanceApi*, HostPool*, double, NQStatus*) NQ_NOEXCEPT;
    NQData* (*createData)(InstanceApi*, HostPool*, const void* source, uint64_t length,
                          uint8_t copy, uint8_t takeOwnership, NQStatus*) NQ_NOEXCEPT;
    int32_t (*isType)(InstanceHeader*, const char* typeName) NQ_NOEXCEPT;
    NQData* (*createSizedData)(InstanceApi*, HostPool*, uint64_t size, NQStatus*) NQ_NOEXCEPT;
    NQStatus (*readConfiguration)(InstanceApi*, HostPool*, const char* fileName,
                                  int32_t* lineNumber, NQDictionary** out) NQ_NOEXCEPT;
    NQCharInstance* (*createNQChar)(InstanceApi*, HostPool*, NQChar, NQStatus*) NQ_NOEXCEPT;
    NQStatus (*toJSON)(InstanceApi*, HostPool*, InstanceHeader*, NQU8String** out) NQ_NOEXCEPT;
    NQCalendarDate* (*createCalendarDate)(InstanceApi*, HostPool*, NQStatus*) NQ_NOEXCEPT;
    NQTime* (*createTime)(InstanceApi*, HostPool*, NQStatus*) NQ_NOEXCEPT;
    NQCalendarDateTime* (*createCalendarDateTime)(InstanceApi*, HostPool*, NQStatus*) NQ_NOEXCEPT;
    NQStatus (*createTextReader)(InstanceApi*, HostPool*, NQTextReader** out) NQ_NOEXCEPT;
    NQStatus (*openTextReader)(NQTextReader*, const char* fileName) NQ_NOEXCEPT;
    NQStatus (*readLine)(NQTextReader*, NQU8String** line) NQ_NOEXCEPT;
    NQDateTime* (*createDateTime)(InstanceApi*, HostPool*, double, NQStatus*) NQ_NOEXCEPT;

    NQStatus (*validate)(InstanceHeader*, NQDictionary* definition, uint32_t* validationStatus,
                         ValidationRun*) NQ_NOEXCEPT;
    NQStatus (*validateU8)(NQInstJsonApi*, InstanceHeader*, const char* definitionText,
                           uint32_t* validationStatus, ValidationRun*) NQ_NOEXCEPT;
    NQStatus (*isDefinitionType)(InstanceHeader*, NQDictionary* definition) NQ_NOEXCEPT;
    NQStatus (*typeForDefinition)(NQStringApi*, HostPool*, NQDictionary* definition,
                                  NQU8String** name, uint8_t* isList) NQ_NOEXCEPT;
    NQStatus (*startValidate)(InstanceApi*, NQStringApi*, NQArrayApi*, HostPool*, void* userData,
                              ValidationRun** out) NQ_NOEXCEPT;
    const char* (*typeForInstance)(InstanceHeader*) NQ_NOEXCEPT;

    NQStatus (*cloneRefused)(InstanceHeader*, HostPool*, uint32_t ignored,
                             InstanceHeader** out) NQ_NOEXCEPT;
    NQStatus (*createClone)(InstanceHeader*, HostPool*, uint64_t size,
                            InstanceHeader** out) NQ_NOEXCEPT;
    NQStatus (*validateData)(InstanceHeader*, NQDictionary* definition, uint32_t* validationStatus,
                             ValidationRun*) NQ_NOEXCEPT;
    NQStatus (*toJSON2)(InstanceApi*, NQStringApi*, HostPool*, uint32_t modeFlags, int32_t indent,
                        InstanceHeader*, NQU8String** out) NQ_NOEXCEPT;
};
/* clang-format on */

/* What was built, when and where; the texts are zero-terminated constants of the library. */
typedef struct VersionRecord {
    const char* productVersion;
    const char* buildLabel;
    const char* empty_2;
    uint32_t buildTime; /* seconds since 1970-01-01 UTC */
    const char* coreName;
    const char* coreBuild;
    const char* moduleName;
    const char* moduleBuild;
    const char* empty_8;
    const char* versionWord;
    const char* separator;
    const char* empty_11;
    const char* hotFixMarker;
    const char* empty_13;
    const char* imageMarker;
    const char* buildHost;
    const char* buildDate;
    uint64_t zero[9];
} VersionRecord;

/* Stores the host's kernel table in Exported_NQHandle. Called by the host's loader once, before
 * anything else. Always NQ_STATUS_OK. */
NQ_EXPORT NQStatus nqextent(HostKernel* kernel) NQ_NOEXCEPT;

/* Does the same and stores the kernel version that the library is made for: 9 and 1. */
NQ_EXPORT NQStatus nqextver(HostKernel* kernel, uint64_t* major, uint64_t* minor) NQ_NOEXCEPT;

/* Copies the VersionRecord, 208 bytes, to `buffer`. Any thread may call it. */
NQ_EXPORT void nqvercn1(void* buffer) NQ_NOEXCEPT;

/* Makes the library's pool and its service table and registers the table as "nqinstance.handle"
 * with `registrar`. Null when a pool, memory or the registration is refused; nothing is left
 * behind then. The host ends the table with its `realDestroy`. */
NQ_EXPORT InstanceApi* nqinstance(HostKernel* registrar) NQ_NOEXCEPT;

/* Store the kernel version the library needs, 9.1.1, and its own. Always NQ_STATUS_OK. */
NQ_EXPORT NQStatus getReqVersion(InstanceApi* api, uint64_t* major, uint64_t* minor,
                                 uint64_t* patch) NQ_NOEXCEPT;
NQ_EXPORT NQStatus getVersion(InstanceApi* api, uint64_t* major, uint64_t* minor,
                              uint64_t* patch) NQ_NOEXCEPT;

/* Ends the registration and the library's pool with the table in it. Always NQ_STATUS_OK. No
 * other call may be under way or follow. */
NQ_EXPORT NQStatus realDestroy(InstanceApi* api) NQ_NOEXCEPT;

NQ_END_C

NQ_TABLE(InstanceApi, 41);
NQ_WORD(InstanceApi, magic, 0);
NQ_WORD(InstanceApi, getReqVersion, 3);
NQ_WORD(InstanceApi, getVersion, 4);
NQ_WORD(InstanceApi, realDestroy, 6);
NQ_WORD(InstanceApi, pool, 9);
NQ_WORD(InstanceApi, createHandle, 10);
NQ_WORD(InstanceApi, release, 11);
NQ_WORD(InstanceApi, createBoolean, 12);
NQ_WORD(InstanceApi, createInt32, 13);
NQ_WORD(InstanceApi, createInt64, 14);
NQ_WORD(InstanceApi, createUInt32, 15);
NQ_WORD(InstanceApi, createUInt64, 16);
NQ_WORD(InstanceApi, createDouble, 17);
NQ_WORD(InstanceApi, createData, 18);
NQ_WORD(InstanceApi, isType, 19);
NQ_WORD(InstanceApi, createSizedData, 20);
NQ_WORD(InstanceApi, readConfiguration, 21);
NQ_WORD(InstanceApi, createNQChar, 22);
NQ_WORD(InstanceApi, toJSON, 23);
NQ_WORD(InstanceApi, createCalendarDate, 24);
NQ_WORD(InstanceApi, createTime, 25);
NQ_WORD(InstanceApi, createCalendarDateTime, 26);
NQ_WORD(InstanceApi, createTextReader, 27);
NQ_WORD(InstanceApi, openTextReader, 28);
NQ_WORD(InstanceApi, readLine, 29);
NQ_WORD(InstanceApi, createDateTime, 30);
NQ_WORD(InstanceApi, validate, 31);
NQ_WORD(InstanceApi, validateU8, 32);
NQ_WORD(InstanceApi, isDefinitionType, 33);
NQ_WORD(InstanceApi, typeForDefinition, 34);
NQ_WORD(InstanceApi, startValidate, 35);
NQ_WORD(InstanceApi, typeForInstance, 36);
NQ_WORD(InstanceApi, cloneRefused, 37);
NQ_WORD(InstanceApi, createClone, 38);
NQ_WORD(InstanceApi, validateData, 39);
NQ_WORD(InstanceApi, toJSON2, 40);
NQ_RECORD(VersionRecord, 208);
NQ_WORD(VersionRecord, buildTime, 3);
NQ_WORD(VersionRecord, coreName, 4);
NQ_WORD(VersionRecord, buildDate, 16);
NQ_WORD(VersionRecord, zero, 17);
