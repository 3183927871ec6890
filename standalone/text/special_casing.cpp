#include "standalone/text/special_casing.hpp"

#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/ustring.h>

#include <algorithm>
#include <string_view>

namespace nq {
namespace {

constexpr char32_t kDotAbove = 0x307;
constexpr char32_t kTonos = 0x301;
constexpr char32_t kDialytika = 0x308;
constexpr char32_t kIotaBelow = 0x345;
constexpr char32_t kEta = 0x397;
constexpr char32_t kSigma = 0x3a3;
constexpr char32_t kFinalSigma = 0x3c2;
constexpr char32_t kDotlessI = 0x131;
constexpr char32_t kIogonek = 0x12e;

// Flags of a CasingState.
// A cased letter, then perhaps characters that case rules pass over: inside a word.
constexpr CasingState kAfterCased = 1;
// A soft-dotted capital and marks that stand elsewhere than above, so far without an accent above.
constexpr CasingState kDotPending = 2;
// A Greek vowel whose accent kept it apart from an iota or upsilon that follows.
constexpr CasingState kAfterAccent = 4;

constexpr std::uint8_t kClassNone = 0;
constexpr std::uint8_t kClassAbove = 230;

struct Mapping {
    char32_t units[kCaseMappingMaximum];
    unsigned count;

    bool is(char32_t unit) const { return count == 1 && units[0] == unit; }
};

bool is_scalar(std::uint32_t code_point) {
    return code_point < 0xd800 || (code_point > 0xdfff && code_point <= 0x10ffff);
}

UChar32 as_icu(std::uint32_t code_point) { return static_cast<UChar32>(code_point); }

bool has(std::uint32_t code_point, UProperty property) {
    return is_scalar(code_point) && u_hasBinaryProperty(as_icu(code_point), property);
}

std::uint8_t combining_class(std::uint32_t code_point) {
    return is_scalar(code_point) ? u_getCombiningClass(as_icu(code_point)) : kClassNone;
}

// Whether a word that reached `next` goes on with it.
bool word_goes_on(std::uint32_t next) {
    if (!has(next, UCHAR_CASE_IGNORABLE)) return has(next, UCHAR_CASED);
    return (U_GET_GC_MASK(as_icu(next)) & (U_GC_M_MASK | U_GC_CF_MASK)) != 0;
}

bool is_soft_dotted_capital(std::uint32_t code_point) {
    return code_point == 'I' || code_point == 'J' || code_point == kIogonek;
}

// A mark that leaves the place above its letter free.
bool is_mark_elsewhere(std::uint32_t code_point) {
    const std::uint8_t combining = combining_class(code_point);
    return combining != kClassNone && combining != kClassAbove;
}

// Whether a pending dot may come right after `code_point`.
bool holds_dot(std::uint32_t code_point, CasingState before) {
    return is_soft_dotted_capital(code_point) ||
           ((before & kDotPending) && is_mark_elsewhere(code_point));
}

bool may_be_greek(std::uint32_t code_point) {
    return (code_point >= 0x370 && code_point <= 0x3ff) ||
           (code_point >= 0x1f00 && code_point <= 0x1fff);
}

// The parts of a precomposed Greek vowel.
struct GreekVowel {
    char16_t base = 0;  // a small letter; 0 for anything that is not a Greek vowel
    bool has_accent = false;
    bool has_dialytika = false;

    bool takes_dialytika() const { return base == u'ι' || base == u'υ'; }
};

// Asked for once, behind a guard of our own: ICU makes it at the first call, in code that a thread
// sanitizer does not see.
const icu::Normalizer2* canonical_form() {
    static const icu::Normalizer2* const canonical = [] {
        UErrorCode status = U_ZERO_ERROR;
        return icu::Normalizer2::getNFDInstance(status);
    }();
    return canonical;
}

GreekVowel greek_vowel(std::uint32_t code_point) {
    GreekVowel vowel;
    if (!may_be_greek(code_point)) return vowel;
    icu::UnicodeString parts(as_icu(code_point));
    if (const icu::Normalizer2* canonical = canonical_form()) {
        canonical->getDecomposition(as_icu(code_point), parts);
    }
    const auto base = static_cast<char16_t>(u_tolower(parts.charAt(0)));
    if (std::u16string_view(u"αεηιουω").find(base) == std::u16string_view::npos) return vowel;
    vowel.base = base;
    for (const char16_t accent : {u'\u0300', u'\u0301', u'\u0342'}) {
        if (parts.indexOf(accent) > 0) vowel.has_accent = true;
    }
    vowel.has_dialytika = parts.indexOf(static_cast<char16_t>(kDialytika)) > 0;
    return vowel;
}

// The language's mapping of a text of one code point.
Mapping map_alone(LanguageCode language, std::uint32_t code_point, CaseDirection direction) {
    char16_t source[U16_MAX_LENGTH];
    int32_t source_length = 0;
    U16_APPEND_UNSAFE(source, source_length, code_point);
    char16_t target[kCaseMappingMaximum * U16_MAX_LENGTH];
    UErrorCode status = U_ZERO_ERROR;
    const auto map = direction == CaseDirection::lower ? u_strToLower : u_strToUpper;
    const int32_t length = map(target, std::size(target), source, source_length,
                               language_letters(language).text, &status);
    Mapping mapping{};
    if (U_FAILURE(status)) return mapping;
    for (int32_t i = 0; i < length && mapping.count < kCaseMappingMaximum;) {
        UChar32 unit;
        U16_NEXT(target, i, length, unit);
        mapping.units[mapping.count++] = static_cast<char32_t>(unit);
    }
    return mapping;
}

void apply_lower_context(LanguageCode language, std::uint32_t code_point,
                         const CasingContext& context, Mapping& mapping) {
    if (code_point == kSigma) {
        if ((context.before & kAfterCased) && !word_goes_on(context.next)) {
            mapping.units[0] = kFinalSigma;
        }
    } else if (code_point == 'I' && mapping.is(kDotlessI)) {
        if (context.next == kDotAbove) mapping.units[0] = 'i';
    } else if (language == kLanguageLithuanian && holds_dot(code_point, context.before) &&
               combining_class(context.next) == kClassAbove) {
        mapping.units[mapping.count++] = kDotAbove;
    }
}

void apply_greek_upper_context(std::uint32_t code_point, const CasingContext& context,
                               Mapping& mapping) {
    if (mapping.count == 2 && mapping.units[0] == kEta && mapping.units[1] == kTonos) {
        // Alone it is the word "or", the only one that keeps its accent in capitals.
        if ((context.before & kAfterCased) || word_goes_on(context.next)) mapping.count = 1;
    } else if ((context.before & kAfterAccent) && code_point != kIotaBelow) {
        // Two vowels that an accent kept apart would read as one without it.
        if (mapping.is(U'Ι')) mapping.units[0] = U'Ϊ';
        if (mapping.is(U'Υ')) mapping.units[0] = U'Ϋ';
    }
}

// No rule and no context changes the simple mapping of these.
bool is_plain(std::uint32_t code_point) {
    return code_point < 0x80 && code_point != 'I' && code_point != 'J' && code_point != 'i';
}

}  // namespace

CasingState advance_casing(const CasingContext& context, std::uint32_t code_point) noexcept {
    CasingState after = 0;
    if (has(code_point, UCHAR_CASE_IGNORABLE)) {
        after |= context.before & kAfterCased;
    } else if (has(code_point, UCHAR_CASED)) {
        after |= kAfterCased;
    }
    if (holds_dot(code_point, context.before) && combining_class(context.next) != kClassAbove) {
        after |= kDotPending;
    }
    const GreekVowel vowel = greek_vowel(code_point);
    const bool gains_dialytika = (context.before & kAfterAccent) && vowel.takes_dialytika();
    if (vowel.has_accent && !vowel.has_dialytika && !gains_dialytika) after |= kAfterAccent;
    return after;
}

unsigned map_special(LanguageCode language, std::uint32_t code_point, const CasingContext& context,
                     CaseDirection direction, std::uint32_t* out) noexcept {
    if (is_plain(code_point) || !is_scalar(code_point)) return 0;
    Mapping mapping = map_alone(language, code_point, direction);
    UChar32 simple;
    if (direction == CaseDirection::lower) {
        apply_lower_context(language, code_point, context, mapping);
        simple = u_tolower(as_icu(code_point));
    } else {
        if (language == kLanguageGreek) apply_greek_upper_context(code_point, context, mapping);
        simple = u_toupper(as_icu(code_point));
    }
    if (mapping.is(static_cast<char32_t>(simple))) return 0;
    std::copy_n(mapping.units, mapping.count, out);
    return mapping.count;
}

}  // namespace nq
