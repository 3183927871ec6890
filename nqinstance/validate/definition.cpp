#include "nqinstance/validate/definition.h"

#include <span>

#include "nqinstance/base/held.hpp"
#include "nqinstance/base/try.hpp"
#include "nqinstance/text/memory.h"
#include "nqinstance/validate/type_keywords.hpp"

namespace nq {
namespace {

constexpr std::string_view kDataType = "dataType";

// The definitions under "expectedTypes".
class ExpectedTypes {
  public:
    // False: everything is expected.
    bool open(NQDictionary* definition) noexcept {
        InstanceHeader* value;
        if (!find(definition, "expectedTypes", &value)) return false;
        if (value) value = unwrapped(value);
        // Taken as an array without a test.
        if (const auto* array = reinterpret_cast<NQArray*>(value)) {
            entries_ = {array->elements, array->count};
        }
        return true;
    }

    std::size_t size() const noexcept { return entries_.size(); }

    // The keyword of an entry, or null where it has none that is known.
    const TypeKeyword* keyword(std::size_t index) const noexcept {
        auto* entry = as<NQDictionary>(entries_[index]);
        InstanceHeader* data_type;
        if (!entry || !find(entry, kDataType, &data_type)) return nullptr;
        return keyword_of(data_type);
    }

  private:
    std::span<InstanceHeader* const> entries_;
};

NQStatus match_expected(InstanceHeader* instance, const ExpectedTypes& expected) noexcept {
    for (std::size_t i = 0; i < expected.size(); ++i) {
        const TypeKeyword* keyword = expected.keyword(i);
        if (!keyword) continue;
        if (!keyword->json_name) return NQ_STATUS_NESTED_INSTANCE;
        if (is_one_of(instance, keyword->accepts)) return NQ_STATUS_OK;
    }
    return NQ_STATUS_WRONG_TYPE;
}

NQStatus append(NQU8String* string, const char* text) noexcept {
    return string->methods->append(string, text, mwStrLen(text), NQ_ENCODING_UTF8);
}

NQStatus append_expected(NQU8String* list, const ExpectedTypes& expected) noexcept {
    for (std::size_t i = 0; i < expected.size(); ++i) {
        if (i != 0) NQ_TRY(append(list, ", "));
        const TypeKeyword* keyword = expected.keyword(i);
        if (!keyword || !keyword->json_name) continue;
        NQ_TRY(append(list, keyword->json_name));
    }
    return NQ_STATUS_OK;
}

NQStatus create_name(NQStringApi* strings, HostPool* pool, const char* text, uint32_t flag,
                     Held<NQU8String>& name) noexcept {
    return strings->createFromUtf8(strings, name.out(), pool,
                                   reinterpret_cast<const uint8_t*>(text), mwStrLen(text), flag);
}

}  // namespace
}  // namespace nq

NQStatus nqInstanceIsDefinitionType(InstanceHeader* instance, NQDictionary* definition) noexcept {
    InstanceHeader* data_type;
    if (!nq::find(definition, nq::kDataType, &data_type)) return NQ_STATUS_NO_DATA_TYPE;
    const nq::TypeKeyword* keyword = nq::keyword_of(data_type);
    if (!keyword) return NQ_STATUS_UNKNOWN_DATA_TYPE;
    if (keyword->json_name) {
        return nq::is_one_of(instance, keyword->accepts) ? NQ_STATUS_OK : NQ_STATUS_WRONG_TYPE;
    }
    nq::ExpectedTypes expected;
    return expected.open(definition) ? nq::match_expected(instance, expected) : NQ_STATUS_OK;
}

NQStatus jsonTypeForDefinition(NQStringApi* strings, HostPool* pool, NQDictionary* definition,
                               NQU8String** name, uint8_t* isList) noexcept {
    *name = nullptr;
    *isList = 0;
    InstanceHeader* data_type;
    if (!nq::find(definition, nq::kDataType, &data_type)) return NQ_STATUS_OK;
    const nq::TypeKeyword* keyword = nq::keyword_of(data_type);
    if (!keyword) return NQ_STATUS_OK;
    nq::ExpectedTypes expected;
    nq::Held<NQU8String> text;
    if (keyword->json_name) {
        NQ_TRY(nq::create_name(strings, pool, keyword->json_name, 0, text));
    } else if (!expected.open(definition)) {
        return NQ_STATUS_OK;
    } else {
        *isList = 1;
        NQ_TRY(nq::create_name(strings, pool, nullptr, 1, text));
        NQ_TRY(nq::append_expected(text.get(), expected));
    }
    *name = text.take();
    return NQ_STATUS_OK;
}

const char* jsonTypeForInstance(InstanceHeader* instance) noexcept {
    const char* name = nq::json_name_of(instance);
    return name ? name : "object";
}
