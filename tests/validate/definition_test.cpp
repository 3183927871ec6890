// Type matching, JSON type names, and the validation that begins with them.
#include <cstring>

#include "tests/support/statuses.hpp"
#include "tests/validate/validate_support.hpp"

namespace nq::test {
namespace {

enum Kind : std::uint32_t {
    kInt32,
    kInt64,
    kUInt32,
    kUInt64,
    kDouble,
    kBoolean,
    kCharacter,
    kText8,
    kText32,
    kData,
    kDate,
    kTime,
    kCalendarDateTime,
    kDateTime,
    kArray,
    kDictionary,
    kHandle,
    kKinds
};

constexpr std::uint32_t bits(std::initializer_list<Kind> kinds) {
    std::uint32_t set = 0;
    for (const Kind kind : kinds) set |= 1u << kind;
    return set;
}

constexpr std::uint32_t kIntegers = bits({kInt32, kInt64, kUInt32, kUInt64});

// Which kinds each keyword accepts, and the JSON name of the keyword.
struct Keyword {
    const char* text;
    std::uint32_t accepts;
    const char* json_name;
};
constexpr std::array<Keyword, 15> kKeywords{{
    {"array", bits({kArray}), "array"},
    {"dictionary", bits({kDictionary}), "object"},
    {"integer", kIntegers | bits({kDouble}), "integer"},
    {"double", bits({kDouble, kInt64}), "double"},
    {"boolean", bits({kBoolean}), "boolean"},
    {"int32", kIntegers, "int32"},
    {"uint32", kIntegers, "uint32"},
    {"int64", kIntegers, "int64"},
    {"uint64", kIntegers, "uint64"},
    {"char", bits({kCharacter}), "char"},
    {"string", bits({kText8, kText32}), "string"},
    {"data", bits({kData}), "data"},
    {"date", bits({kDate}), "date"},
    {"time", bits({kTime}), "time"},
    {"datetime", bits({kDateTime}), "datetime"},
}};

constexpr std::array<const char*, kKinds> kNameOfKind{
    "integer",  "integer",  "integer", "integer", "double", "boolean",
    "object",   "string",   "string",  "data",    "date",   "time",
    "datetime", "datetime", "object",  "object",  "object"};

constexpr NQStatus kNoType = NQ_STATUS_NO_DATA_TYPE;
constexpr NQStatus kUnknownType = NQ_STATUS_UNKNOWN_DATA_TYPE;
constexpr NQStatus kNested = NQ_STATUS_NESTED_INSTANCE;
constexpr NQStatus kOther = NQ_STATUS_WRONG_TYPE;

class DefinitionAbi : public ValidateTest {
  protected:
    InstanceHeader* make(Kind kind) {
        NQStatus status;
        InstanceApi* table = api();
        switch (kind) {
            case kInt32:
                return int32(1);
            case kInt64:
                return int64(1);
            case kUInt32:
                return uint32(1);
            case kUInt64:
                return uint64(1);
            case kDouble:
                return number(1);
            case kBoolean:
                return boolean(1);
            case kCharacter:
                return character('a');
            case kText8:
                return text8("text");
            case kText32:
                return text32(U"text");
            case kData:
                return &table->createSizedData(table, pool(), 4, &status)->header;
            case kDate:
                return &table->createCalendarDate(table, pool(), &status)->header;
            case kTime:
                return &table->createTime(table, pool(), &status)->header;
            case kCalendarDateTime:
                return &table->createCalendarDateTime(table, pool(), &status)->header;
            case kDateTime:
                return &table->createDateTime(table, pool(), 1, &status)->header;
            case kArray:
                return &host.array()->header;
            case kDictionary:
                return &host.dictionary()->header;
            default:
                return handle(nullptr);
        }
    }

    NQDictionary* entry(std::string_view type) {
        return host.dictionary({{"dataType", text8(type)}});
    }
    // A definition of "instance" with these expected types.
    NQDictionary* expecting(std::initializer_list<Item> entries) {
        return typed("instance", {{"expectedTypes", host.array(entries)}});
    }

    // The JSON type name, "(null)" where there is none, and "list: " before one that is a list.
    std::string name_of(NQDictionary* given) {
        NQU8String* name = reinterpret_cast<NQU8String*>(0x10);
        std::uint8_t is_list = 7;
        EXPECT_EQ(api()->typeForDefinition(host.string_api(), pool(), given, &name, &is_list),
                  NQ_STATUS_OK);
        EXPECT_LE(is_list, 1);
        std::string text = is_list ? "list: " : "";
        text += name ? text_of(name) : "(null)";
        release(name);
        return text;
    }
};

TEST_F(DefinitionAbi, EveryKeywordAgainstEveryKind) {
    for (const Keyword& keyword : kKeywords) {
        NQDictionary* given = typed(keyword.text);
        NQDictionary* in_units = definition(
            {{"dataType",
              host.text(std::u32string(keyword.text, keyword.text + std::strlen(keyword.text)))}});
        for (std::uint32_t kind = 0; kind < kKinds; ++kind) {
            const NQStatus expected = keyword.accepts >> kind & 1 ? NQ_STATUS_OK : kOther;
            EXPECT_EQ(match(make(static_cast<Kind>(kind)), given), expected)
                << keyword.text << ' ' << kind;
            EXPECT_EQ(match(make(static_cast<Kind>(kind)), in_units), expected)
                << keyword.text << ' ' << kind;
        }
        EXPECT_EQ(api()->isDefinitionType(nullptr, given), kOther) << keyword.text;
    }
}

TEST_F(DefinitionAbi, InstanceAcceptsEverythingWithoutExpectedTypes) {
    NQDictionary* given = typed("instance");
    for (std::uint32_t kind = 0; kind < kKinds; ++kind) {
        EXPECT_EQ(match(make(static_cast<Kind>(kind)), given), NQ_STATUS_OK) << kind;
    }
}

TEST_F(DefinitionAbi, InstanceAcceptsNothingWithEmptyExpectedTypes) {
    NQDictionary* given = expecting({});
    NQDictionary* null = typed("instance", {{"expectedTypes", nullptr}});
    for (std::uint32_t kind = 0; kind < kKinds; ++kind) {
        EXPECT_EQ(match(make(static_cast<Kind>(kind)), given), kOther) << kind;
        EXPECT_EQ(match(make(static_cast<Kind>(kind)), null), kOther) << kind;
    }
}

TEST_F(DefinitionAbi, EveryExpectedTypeAgainstEveryKind) {
    for (const Keyword& keyword : kKeywords) {
        NQDictionary* given = expecting({entry(keyword.text)});
        for (std::uint32_t kind = 0; kind < kKinds; ++kind) {
            EXPECT_EQ(match(make(static_cast<Kind>(kind)), given),
                      keyword.accepts >> kind & 1 ? NQ_STATUS_OK : kOther)
                << keyword.text << ' ' << kind;
        }
    }
}

TEST_F(DefinitionAbi, ExpectedTypesAreTriedInOrder) {
    NQDictionary* given = expecting({entry("boolean"), entry("string"), entry("date")});
    EXPECT_EQ(match(make(kBoolean), given), NQ_STATUS_OK);
    EXPECT_EQ(match(make(kText32), given), NQ_STATUS_OK);
    EXPECT_EQ(match(make(kDate), given), NQ_STATUS_OK);
    EXPECT_EQ(match(make(kTime), given), kOther);
}

TEST_F(DefinitionAbi, NestedInstanceIsRefusedBeforeAMatch) {
    NQDictionary* before = expecting({entry("instance"), entry("boolean")});
    EXPECT_EQ(match(make(kBoolean), before), kNested);
    NQDictionary* behind = expecting({entry("boolean"), entry("instance")});
    EXPECT_EQ(match(make(kBoolean), behind), NQ_STATUS_OK);
    EXPECT_EQ(match(make(kInt32), behind), kNested);
}

TEST_F(DefinitionAbi, ExpectedEntriesWithoutAKnownTypeArePassedOver) {
    NQDictionary* given = expecting({host.dictionary(), entry("Boolean"), nullptr, text8("boolean"),
                                     host.dictionary({{"dataType", nullptr}}), entry("boolean")});
    EXPECT_EQ(match(make(kBoolean), given), NQ_STATUS_OK);
    EXPECT_EQ(match(make(kInt32), given), kOther);
}

TEST_F(DefinitionAbi, OtherKeysOfAnExpectedEntryAreNotLookedAt) {
    NQDictionary* given =
        expecting({host.dictionary({{"dataType", text8("integer")}, {"max", int32(5)}})});
    EXPECT_EQ(check_data(int32(9), given), kValid);
}

TEST_F(DefinitionAbi, NoDataType) {
    EXPECT_EQ(match(make(kInt32), definition({})), kNoType);
    EXPECT_EQ(match(make(kInt32), definition({{"datatype", text8("int32")}})), kNoType);
}

TEST_F(DefinitionAbi, UnknownDataTypes) {
    for (const char* word : {"", "Integer", "INT32", " int32", "int32 ", "int3", "int322", "in",
                             "int16", "objects", "datetimes", "dictionar", "dictionary2",
                             "dictionarydictionary", "diXtionary", "a text of more than sixteen"}) {
        EXPECT_EQ(match(make(kInt32), typed(word)), kUnknownType) << word;
    }
    NQDictionary* character_type = definition({{"dataType", character('a')}});
    EXPECT_EQ(match(make(kInt32), character_type), kUnknownType);
    EXPECT_EQ(match(make(kInt32), definition({{"dataType", nullptr}})), kUnknownType);
    EXPECT_EQ(match(make(kInt32), definition({{"dataType", int32(5)}})), kUnknownType);
    EXPECT_EQ(match(make(kInt32), definition({{"dataType", host.array()}})), kUnknownType);
    // Units that only look like the keyword's when they are cut to bytes.
    NQDictionary* high = definition({{"dataType", host.text(U"int3\u0132")}});
    EXPECT_EQ(match(make(kInt32), high), kUnknownType);
    NQDictionary* high_start = definition({{"dataType", host.text(U"\u0169nt32")}});
    EXPECT_EQ(match(make(kInt32), high_start), kUnknownType);
    NQDictionary* with_zero =
        definition({{"dataType", host.string(std::string_view("int32\0", 6))}});
    EXPECT_EQ(match(make(kInt32), with_zero), kUnknownType);
}

TEST_F(DefinitionAbi, AWrappedInstanceMatchesAsWhatItWraps) {
    EXPECT_EQ(match(handle(int32(1)), typed("integer")), NQ_STATUS_OK);
    EXPECT_EQ(match(handle(host.array()), typed("array")), NQ_STATUS_OK);
    EXPECT_EQ(match(handle(host.array()), typed("dictionary")), kOther);
    NQDictionary* given = definition({{"dataType", handle(text8("int32"))}});
    EXPECT_EQ(match(int32(1), given), NQ_STATUS_OK);
    NQDictionary* wrapped_list =
        typed("instance", {{"expectedTypes", handle(host.array({handle(entry("char"))}))}});
    EXPECT_EQ(match(character('a'), wrapped_list), NQ_STATUS_OK);
}

TEST_F(DefinitionAbi, JsonNamesOfKeywords) {
    for (const Keyword& keyword : kKeywords) {
        EXPECT_EQ(name_of(typed(keyword.text)), keyword.json_name);
        EXPECT_EQ(name_of(expecting({entry(keyword.text)})),
                  std::string("list: ") + keyword.json_name);
    }
}

TEST_F(DefinitionAbi, NoJsonNameWithoutAKnownType) {
    EXPECT_EQ(name_of(definition({})), "(null)");
    EXPECT_EQ(name_of(typed("Integer")), "(null)");
    EXPECT_EQ(name_of(definition({{"dataType", nullptr}})), "(null)");
    EXPECT_EQ(name_of(typed("instance")), "(null)");
}

TEST_F(DefinitionAbi, JsonNamesOfExpectedTypes) {
    EXPECT_EQ(name_of(expecting({})), "list: ");
    EXPECT_EQ(name_of(expecting({entry("integer"), entry("string")})), "list: integer, string");
    EXPECT_EQ(name_of(expecting({entry("boolean"), host.dictionary(), entry("date")})),
              "list: boolean, , date");
    EXPECT_EQ(name_of(expecting({entry("instance"), entry("nonsense"), entry("dictionary")})),
              "list: , , object");
    EXPECT_EQ(name_of(expecting({nullptr, int32(5)})), "list: , ");
}

TEST_F(DefinitionAbi, JsonNamesAreNewStringsOfThePool) {
    NQU8String* name = nullptr;
    std::uint8_t is_list = 7;
    CheckingPool& other = host.make_pool("names");
    ASSERT_EQ(NQ_LIBRARY(jsonTypeForDefinition)(host.string_api(), other.table(), typed("char"),
                                                &name, &is_list),
              NQ_STATUS_OK);
    EXPECT_EQ(name->header.pool, other.table());
    EXPECT_EQ(name->header.refCount, 1u);
    EXPECT_EQ(is_list, 0);
    release(name);
}

TEST_F(DefinitionAbi, JsonNameThatCannotBeMade) {
    const std::array<NQDictionary*, 2> definitions{typed("char"), expecting({entry("char")})};
    for (NQDictionary* given : definitions) {
        NQU8String* name = reinterpret_cast<NQU8String*>(0x10);
        std::uint8_t is_list = 7;
        host.plan().clear();
        host.plan().fail(Call::kCreateFromUtf8, 0, kHostRefusal);
        EXPECT_EQ(api()->typeForDefinition(host.string_api(), pool(), given, &name, &is_list),
                  kHostRefusal);
        EXPECT_EQ(name, nullptr);
    }
}

TEST_F(DefinitionAbi, JsonNameListThatCannotGrowIsReleased) {
    NQDictionary* given = expecting({entry("char"), entry("date")});
    const HostState before = host.state();
    for (std::uint64_t n = 0; n < 3; ++n) {
        NQU8String* name = nullptr;
        std::uint8_t is_list = 7;
        host.plan().clear();
        host.plan().fail(Call::kStringAppend, n, kHostRefusal);
        EXPECT_EQ(api()->typeForDefinition(host.string_api(), pool(), given, &name, &is_list),
                  kHostRefusal);
        EXPECT_EQ(name, nullptr);
        EXPECT_EQ(host.state(), before);
    }
}

TEST_F(DefinitionAbi, JsonNamesOfInstances) {
    for (std::uint32_t kind = 0; kind < kKinds; ++kind) {
        InstanceHeader* instance = make(static_cast<Kind>(kind));
        EXPECT_STREQ(api()->typeForInstance(instance), kNameOfKind[kind]) << kind;
        release(instance);
    }
    EXPECT_STREQ(api()->typeForInstance(nullptr), "object");
    InstanceHeader* wrapped = handle(text8("text"));
    EXPECT_STREQ(api()->typeForInstance(wrapped), "string");
    release(wrapped);
}

// The type names with their JSON names, in the order in which an instance is asked for them.
struct JsonName {
    const char* type_name;
    const char* json_name;
};
constexpr std::array<JsonName, 14> kJsonNames{{
    {"NQDictionary", "object"},
    {"NQInt32Instance", "integer"},
    {"NQInt64Instance", "integer"},
    {"NQUInt32Instance", "integer"},
    {"NQUInt64Instance", "integer"},
    {"NQDoubleInstance", "double"},
    {"NQData", "data"},
    {"NQCalendarDateInstance", "date"},
    {"NQDateTimeInstanceName", "datetime"},
    {"NQCalendarDateTimeInstance", "datetime"},
    {"NQTimeInstance", "time"},
    {"NQString", "string"},
    {"NQU8String", "string"},
    {"NQBooleanInstance", "boolean"},
}};

// An instance of another extension that answers to two type names.
struct TwoNamed {
    InstanceHeader header{};
    std::array<std::string_view, 2> names;
};

TEST_F(DefinitionAbi, TheFirstOfTwoNamesDecides) {
    TwoNamed both{.names = {}};
    both.header.typeName = "TwoNamed";
    both.header.isType = [](InstanceHeader* self, const char* name) noexcept -> std::int32_t {
        const auto& names = reinterpret_cast<TwoNamed*>(self)->names;
        return name == names[0] || name == names[1];
    };
    for (std::size_t first = 0; first < kJsonNames.size(); ++first) {
        for (std::size_t second = first; second < kJsonNames.size(); ++second) {
            both.names = {kJsonNames[first].type_name, kJsonNames[second].type_name};
            EXPECT_STREQ(api()->typeForInstance(&both.header), kJsonNames[first].json_name)
                << both.names[0] << " and " << both.names[1];
        }
    }
}

TEST_F(DefinitionAbi, ValidationBeginsWithTheType) {
    NQDictionary* given = typed("integer", {{"max", int32(5)}});
    EXPECT_EQ(check_data(int32(5), given), kValid);
    EXPECT_EQ(check_data(int32(6), given), verdict(NQ_STATUS_OUT_OF_BOUNDS));
    EXPECT_EQ(check_data(text8("6"), given), verdict(kOther));
    EXPECT_EQ(check_data(int32(6), definition({{"max", int32(5)}})), verdict(kNoType));
    EXPECT_EQ(check_data(int32(6), typed("whole")), verdict(kUnknownType));
    EXPECT_EQ(check_data(int32(6), expecting({entry("instance")})), verdict(kNested));
}

TEST_F(DefinitionAbi, TheInstancesOwnValidationIsNotRunOnAnotherType) {
    InstanceHeader* value = int32(5);
    value->validate = [](InstanceHeader*, NQDictionary*, std::uint32_t* stored,
                         ValidationRun*) noexcept -> NQStatus {
        *stored = 77;
        return 78;
    };
    std::uint32_t stored = kUntouched;
    EXPECT_EQ(api()->validateData(value, typed("string"), &stored, nullptr), NQ_STATUS_OK);
    EXPECT_EQ(stored, kOther);
    EXPECT_EQ(api()->validateData(value, typed("int64"), &stored, nullptr), 78u);
    EXPECT_EQ(stored, 77u);
    release(value);
}

TEST_F(DefinitionAbi, TheOwnValidationGetsAllItsArguments) {
    static struct {
        InstanceHeader* instance;
        NQDictionary* definition;
        std::uint32_t* verdict;
        ValidationRun* run;
    } seen;
    InstanceHeader* value = int32(5);
    value->validate = [](InstanceHeader* instance, NQDictionary* given, std::uint32_t* stored,
                         ValidationRun* run) noexcept -> NQStatus {
        seen = {instance, given, stored, run};
        return NQ_STATUS_OK;
    };
    ValidationRun run{};
    std::uint32_t stored = kUntouched;
    NQDictionary* given = typed("int32");
    EXPECT_EQ(api()->validateData(value, given, &stored, &run), NQ_STATUS_OK);
    EXPECT_EQ(seen.instance, value);
    EXPECT_EQ(seen.definition, given);
    EXPECT_EQ(seen.verdict, &stored);
    EXPECT_EQ(seen.run, &run);
    EXPECT_EQ(stored, 0u);  // what the matching stored
    release(value);
}

TEST_F(DefinitionAbi, KindsWithoutChecksAreValid) {
    for (const Kind kind : {kBoolean, kCharacter, kData, kDate, kTime, kCalendarDateTime, kDateTime,
                            kText8, kText32, kArray, kDictionary, kHandle}) {
        NQDictionary* given = typed("instance", {{"max", int32(5)}, {"values", boolean(1)}});
        EXPECT_EQ(check_data(make(kind), given), kValid) << kind;
    }
}

TEST_F(DefinitionAbi, NullAndOtherDefinitionsAreRefused) {
    InstanceHeader* value = int32(5);
    std::uint32_t stored = kUntouched;
    EXPECT_EQ(api()->validateData(value, nullptr, &stored, nullptr), NQ_STATUS_INVALID_ARGUMENT);
    for (InstanceHeader* other : {text8("{}"), &host.array()->header, int32(5), handle(nullptr)}) {
        EXPECT_EQ(
            api()->validateData(value, reinterpret_cast<NQDictionary*>(other), &stored, nullptr),
            NQ_STATUS_NOT_A_DICTIONARY);
        release(other);
    }
    NQDictionary* given = typed("int32");
    EXPECT_EQ(api()->validateData(nullptr, given, &stored, nullptr), NQ_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(api()->validateData(value, given, nullptr, nullptr), NQ_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(stored, kUntouched);
    release(value);
}

TEST_F(DefinitionAbi, AWrappedDefinitionIsRead) {
    InstanceHeader* wrapped =
        handle(host.dictionary({{"dataType", text8("int32")}, {"max", int32(5)}}));
    EXPECT_EQ(check_data(int32(6), reinterpret_cast<NQDictionary*>(wrapped)),
              verdict(NQ_STATUS_OUT_OF_BOUNDS));
    release(wrapped);
}

TEST_F(DefinitionAbi, TheDefaultValidationFindsEverythingValid) {
    std::uint32_t stored = kUntouched;
    InstanceHeader* value = boolean(1);
    EXPECT_EQ(NQ_LIBRARY(nqInstanceValidate)(value, nullptr, &stored, nullptr), NQ_STATUS_OK);
    EXPECT_EQ(stored, 0u);
    EXPECT_EQ(NQ_LIBRARY(nqInstanceValidate)(value, nullptr, nullptr, nullptr),
              NQ_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(value->validate, api()->validate);
    release(value);
}

TEST_F(DefinitionAbi, InstancesWithATableOfTheirOwnAreAskedForTheirType) {
    // The type test of the table decides, whatever the name says.
    InstanceApi table = *api();
    table.isType = [](InstanceHeader*, const char* name) noexcept -> std::int32_t {
        return std::string_view(name) == "NQBooleanInstance";
    };
    NQStatus status;
    auto* value = table.createInt32(&table, pool(), 5, &status);
    EXPECT_EQ(api()->isDefinitionType(&value->header, typed("int32")), kOther);
    EXPECT_EQ(api()->isDefinitionType(&value->header, typed("boolean")), NQ_STATUS_OK);
    EXPECT_STREQ(api()->typeForInstance(&value->header), "boolean");
    EXPECT_EQ(check(&value->header, definition({})), verdict(kOther));
}

}  // namespace
}  // namespace nq::test
