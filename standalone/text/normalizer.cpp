#include "standalone/text/normalizer.hpp"

#include <unicode/unistr.h>
#include <unicode/ustring.h>

#include <limits>
#include <new>
#include <optional>
#include <string>
#include <utility>

#include "standalone/text/text_output.hpp"

namespace nq {
namespace {

struct DecodedText {
    icu::UnicodeString text;
    bool is_malformed;
};

constexpr UChar32 kReplacement = 0xfffd;

// No value when there is no memory, or the text is longer than ICU's strings can be.
std::optional<DecodedText> decode(const std::uint8_t* bytes, std::uint64_t length) {
    // A UTF-8 text never has more UTF-16 units than bytes.
    if (length > std::numeric_limits<int32_t>::max() / 2) return std::nullopt;
    DecodedText decoded{};
    if (!length) return decoded;
    const auto count = static_cast<int32_t>(length);
    char16_t* units = decoded.text.getBuffer(count);
    if (!units) return std::nullopt;
    int32_t unit_count = 0;
    int32_t replaced = 0;
    UErrorCode status = U_ZERO_ERROR;
    u_strFromUTF8WithSub(units, decoded.text.getCapacity(), &unit_count,
                         reinterpret_cast<const char*>(bytes), count, kReplacement, &replaced,
                         &status);
    decoded.text.releaseBuffer(U_SUCCESS(status) ? unit_count : 0);
    if (U_FAILURE(status)) return std::nullopt;
    decoded.is_malformed = replaced > 0;
    return decoded;
}

// Both normalisations fail only for want of memory.
bool apply(const icu::Normalizer2& form, icu::UnicodeString& text) {
    UErrorCode status = U_ZERO_ERROR;
    icu::UnicodeString result = form.normalize(text, status);
    if (U_FAILURE(status) || result.isBogus()) return false;
    text = std::move(result);
    return true;
}

// Normalises and folds until both hold: the Unicode Standard's canonical and compatibility
// caseless forms (definitions D145 and D146), brought to `form` at the end.
bool apply_caseless(const icu::Normalizer2& canonical, const icu::Normalizer2& form,
                    icu::UnicodeString& text) {
    for (int round = 0; round < 2; ++round) {
        if (!apply(round ? form : canonical, text)) return false;
        text.foldCase();
        if (text.isBogus()) return false;
    }
    return apply(form, text);
}

}  // namespace

struct Normalizer::Operations {
    static const Table& table(HostNormalizer* self) { return *static_cast<Table*>(self); }

    static bool normalize_text(const Table& table, std::uint32_t form, std::uint32_t options,
                               icu::UnicodeString& text) {
        if (!(options & kNormalizeIgnoreCase)) return apply(*table.forms[form], text);
        return apply_caseless(*table.forms[kNormalFormD], *table.forms[form], text);
    }

    static NQStatus normalize(HostNormalizer* self, const std::uint8_t* source,
                              std::uint64_t source_length, std::uint32_t form,
                              std::uint32_t options, std::uint8_t* target, std::uint64_t capacity,
                              std::uint64_t* out_length) noexcept try {
        if (form == 0 || form > kNormalFormLast) return NQ_STATUS_INVALID_ARGUMENT;
        auto decoded = decode(source, source_length);
        if (!decoded) return NQ_STATUS_NO_MEMORY;
        if (!normalize_text(table(self), form, options, decoded->text)) return NQ_STATUS_NO_MEMORY;
        std::string result;
        decoded->text.toUTF8String(result);
        const NQStatus status = put_text(result, target, capacity, out_length);
        return status == NQ_STATUS_OK && decoded->is_malformed ? NQ_STATUS_MALFORMED : status;
    } catch (const std::bad_alloc&) {
        return NQ_STATUS_NO_MEMORY;
    }

    static NQStatus compare(HostNormalizer* self, const std::uint8_t* a, std::uint64_t a_length,
                            const std::uint8_t* b, std::uint64_t b_length, std::uint32_t options,
                            std::int32_t* result) noexcept {
        auto first = decode(a, a_length);
        auto second = decode(b, b_length);
        if (!first || !second) return NQ_STATUS_NO_MEMORY;
        const std::uint32_t form = options & kCompareCompatibility ? kNormalFormKD : kNormalFormD;
        for (DecodedText* side : {&*first, &*second}) {
            if (!normalize_text(table(self), form, options, side->text)) return NQ_STATUS_NO_MEMORY;
        }
        *result = first->text.compareCodePointOrder(second->text);
        return NQ_STATUS_OK;
    }

    static NQStatus release(void*) noexcept { return NQ_STATUS_OK; }
};

Normalizer::Normalizer(NQStatus& status) noexcept {
    table_.handle = {
        .magic = NQ_MAGIC, .name = "standalone normalizer", .release = Operations::release};
    table_.normalize = Operations::normalize;
    table_.compare = Operations::compare;
    UErrorCode error = U_ZERO_ERROR;
    table_.forms[kNormalFormC] = icu::Normalizer2::getNFCInstance(error);
    table_.forms[kNormalFormD] = icu::Normalizer2::getNFDInstance(error);
    table_.forms[kNormalFormKC] = icu::Normalizer2::getNFKCInstance(error);
    table_.forms[kNormalFormKD] = icu::Normalizer2::getNFKDInstance(error);
    table_.forms[kNormalFormKCCasefolded] = icu::Normalizer2::getNFKCCasefoldInstance(error);
    status = U_SUCCESS(error) ? NQ_STATUS_OK : NQ_STATUS_NO_MEMORY;
}

}  // namespace nq
