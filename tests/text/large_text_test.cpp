// Every routine of the text library on texts of 1 MiB, exactly as large as their memory, with the
// standalone host behind: nothing is read or written outside, and the results are the rules'.
#include <gtest/gtest.h>
#include <unicode/uchar.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <string_view>

#include "nqinstance/text/case_mapping.h"
#include "nqinstance/text/compare.h"
#include "nqinstance/text/locale_forwarders.h"
#include "nqinstance/text/memory.h"
#include "nqinstance/text/normalize.h"
#include "nqinstance/text/utf.h"
#include "nqinstance/text/utf8.h"
#include "nqinstance/text/utf8_modified.h"
#include "nqinstance/text/utf8_strings.h"
#include "standalone/host.hpp"
#include "tests/support/library.hpp"
#include "tests/support/random.hpp"
#include "tests/text/case_pairs.hpp"
#include "tests/text/utf8_model.hpp"

namespace nq::test {
namespace {

using model::Bytes;
using Units = std::vector<NQChar>;

constexpr std::size_t kSize = std::size_t{1} << 20;

class LargeText : public testing::Test {
  protected:
    void SetUp() override {
        std::string error;
        ASSERT_TRUE(host.load(NQ_LIBRARY_PATH, error)) << error;
    }

    // Any bytes, or well-formed text that has no zero; of kSize bytes, of which the last is an 'x'.
    Bytes text_of(std::uint64_t mixture) {
        Bytes text = model::random_text(random, kSize + 64, mixture);
        text.resize(kSize - 1);
        text.resize(model::blenb(text));
        text.resize(kSize, 'x');
        return text;
    }
    Bytes well_formed() { return text_of(0); }
    Bytes anything() { return text_of(20); }

    static Units units_of(const Bytes& text) {
        Units units;
        for (std::size_t at = 0; at < text.size();) {
            const model::Read read = model::read_utf8(text.data() + at, text.size() - at);
            units.push_back(read.code_point);
            at += read.consumed;
        }
        return units;
    }

    static Bytes terminated(Bytes text) {
        text.push_back(0);
        return text;
    }

    std::mt19937_64 random = seeded_generator();
    Host host;
};

NQChar ascii_or(NQChar unit, NQChar first, UChar32 (*map)(UChar32)) {
    if (unit < 0x80) return unit - first < 26 ? unit ^ 0x20 : unit;
    return static_cast<NQChar>(map(static_cast<UChar32>(unit)));
}
NQChar lower(NQChar unit) { return ascii_or(unit, 'A', u_tolower); }
NQChar upper(NQChar unit) { return ascii_or(unit, 'a', u_toupper); }

// What a mapping of each character makes of a well-formed text.
template <class Map>
Bytes encoded(const Units& units, Map map) {
    Bytes result;
    for (const NQChar unit : units) {
        const Bytes bytes = model::utf8_of(map(unit));
        result.insert(result.end(), bytes.begin(), bytes.end());
    }
    return result;
}

TEST_F(LargeText, Scans) {
    Bytes bytes(kSize, 0x5A);
    Units units(kSize / 4, 0x5A5A5A5A);
    std::vector<double> values(kSize / 8, 1.5);
    EXPECT_EQ(NQ_LIBRARY(mwMemScan)(bytes.data(), kSize, 1), NQ_NOT_FOUND);
    EXPECT_EQ(NQ_LIBRARY(mwMemNScan)(bytes.data(), kSize, 0x5A), NQ_NOT_FOUND);
    EXPECT_EQ(NQ_LIBRARY(mwMemTNScan)(units.data(), units.size(), 0x5A5A5A5A), NQ_NOT_FOUND);
    EXPECT_EQ(NQ_LIBRARY(mwMemNot)(0x5A, bytes.data(), kSize), 1);
    EXPECT_EQ(NQ_LIBRARY(mwMemTNot)(0x5A5A5A5A, units.data(), units.size()), 1);
    EXPECT_EQ(NQ_LIBRARY(mwMissArray)(values.data(), values.size()), 0);
    bytes.back() = 1;
    units.back() = 1;
    values.back() = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(NQ_LIBRARY(mwMemScan)(bytes.data(), kSize, 1), kSize - 1);
    EXPECT_EQ(NQ_LIBRARY(mwMemNScan)(bytes.data(), kSize, 0x5A), kSize - 1);
    EXPECT_EQ(NQ_LIBRARY(mwMemTNScan)(units.data(), units.size(), 0x5A5A5A5A), units.size() - 1);
    EXPECT_EQ(NQ_LIBRARY(mwMemNot)(0x5A, bytes.data(), kSize), 0);
    EXPECT_EQ(NQ_LIBRARY(mwMemTNot)(0x5A5A5A5A, units.data(), units.size()), 0);
    EXPECT_EQ(NQ_LIBRARY(mwMissArray)(values.data(), values.size()), 1);
}

TEST_F(LargeText, CopiesFillsAndCompares) {
    const Bytes text = well_formed();
    const Bytes string = terminated(text);
    const Units units = units_of(text);
    Units unit_string = units;
    unit_string.push_back(0);
    EXPECT_EQ(NQ_LIBRARY(mwStrLen)(string.data()), kSize);
    EXPECT_EQ(NQ_LIBRARY(mwStrTLen)(unit_string.data()), units.size());
    Bytes copy(string.size(), 1);
    NQ_LIBRARY(mwStrCpy)(string.data(), copy.data());
    EXPECT_EQ(copy, string);
    Units unit_copy(unit_string.size(), 1);
    NQ_LIBRARY(mwStrTCpy)(unit_string.data(), unit_copy.data());
    EXPECT_EQ(unit_copy, unit_string);

    NQ_LIBRARY(mwMemSet)(copy.data(), 0xA7, copy.size());
    EXPECT_EQ(copy, Bytes(copy.size(), 0xA7));
    NQ_LIBRARY(mwMemTSet)(unit_copy.data(), 0xA7B8C9DA, unit_copy.size());
    EXPECT_EQ(unit_copy, Units(unit_copy.size(), 0xA7B8C9DA));

    Bytes target(kSize);
    EXPECT_EQ(NQ_LIBRARY(mwMemCpy)(text.data(), target.data(), kSize), target.data());
    EXPECT_EQ(target, text);
    EXPECT_EQ(NQ_LIBRARY(mwMemCmp)(text.data(), target.data(), kSize), 0);
    target.back() = 0xFF;
    EXPECT_EQ(NQ_LIBRARY(mwMemCmp)(text.data(), target.data(), kSize), -1);
    Units other = units;
    EXPECT_EQ(NQ_LIBRARY(mwWMemCmp)(units.data(), other.data(), units.size()), 0);
    other.back() = 0;
    EXPECT_EQ(NQ_LIBRARY(mwWMemCmp)(units.data(), other.data(), units.size()), 1);

    // Onto itself three bytes further on: the start repeated, and moved.
    Bytes repeated = text;
    NQ_LIBRARY(mwMemCpy)(repeated.data(), repeated.data() + 3, kSize - 3);
    for (std::size_t i = 0; i < kSize; ++i) ASSERT_EQ(repeated[i], text[i % 3]) << i;
    Bytes moved = text;
    NQ_LIBRARY(mwMemSCpy)(moved.data(), moved.data() + 3, kSize - 3);
    EXPECT_TRUE(std::equal(text.begin(), text.end() - 3, moved.begin() + 3));

    HostPool* pool = host.make_pool("large text");
    ASSERT_TRUE(pool);
    void* duplicate = NQ_LIBRARY(mwMemDup)(text.data(), kSize, pool);
    ASSERT_TRUE(duplicate);
    EXPECT_EQ(std::memcmp(duplicate, text.data(), kSize), 0);
    EXPECT_EQ(pool->free(pool, duplicate), NQ_STATUS_OK);
    EXPECT_EQ(pool->destroy(pool), NQ_STATUS_OK);
    EXPECT_EQ(NQ_LIBRARY(mwUnsup)(), NQ_STATUS_UNSUPPORTED);
}

TEST_F(LargeText, EachCharacter) {
    // Looked up once, not for each character.
    const auto call_valid_char_size = NQ_LIBRARY(_U8ValidCharSize);
    const auto call_nqzsu8_char_size = NQ_LIBRARY(nqzsu8CharSize);
    const auto call_char_size = NQ_LIBRARY(_U8CharSize);
    const auto call_nqzsu8_char_size2 = NQ_LIBRARY(nqzsu8CharSize2);
    const auto call_nqzsu8_next_char = NQ_LIBRARY(nqzsu8NextChar);
    const auto call_utf8_len = NQ_LIBRARY(utf8_len);
    const auto call_is_funct = NQ_LIBRARY(_NQZSU8IsFunct);
    const auto call_nqzsu8_is_combining = NQ_LIBRARY(nqzsu8IsCombining);
    Bytes text = anything();
    // What the routines without a length look at behind a last lead byte.
    text.insert(text.end(), 6, 'x');
    for (std::size_t at = 0; at < kSize; ++at) {
        const std::uint8_t* character = text.data() + at;
        const model::Sized sized = model::valid_char_size(character);
        std::uint8_t is_valid = 2;
        ASSERT_EQ(call_valid_char_size(character, &is_valid), sized.size) << at;
        ASSERT_EQ(is_valid, sized.is_valid) << at;
        ASSERT_EQ(call_nqzsu8_char_size(character, &is_valid), sized.size) << at;
        const std::uint64_t size = model::char_size(character);
        ASSERT_EQ(call_char_size(character), size) << at;
        const std::uint64_t step = *character < 0x80 ? 1 : size;
        ASSERT_EQ(call_nqzsu8_char_size2(character), step) << at;
        ASSERT_EQ(call_nqzsu8_next_char(character), character + step) << at;
        const std::uint64_t announced = model::announced_length(*character);
        ASSERT_EQ(static_cast<std::uint64_t>(call_utf8_len(character)), announced) << at;

        const model::Read read = model::read_utf8(character, announced);
        const auto is_wanted = [](NQChar unit) noexcept {
            return static_cast<std::int32_t>(unit % 1000);
        };
        ASSERT_EQ(call_is_funct(character, is_wanted),
                  static_cast<std::int32_t>(read.code_point % 1000));
        const bool is_mark = (U_GET_GC_MASK(static_cast<UChar32>(read.code_point)) & U_GC_M_MASK);
        const bool is_combining = call_nqzsu8_is_combining(character) != 0;
        ASSERT_TRUE(is_combining || !is_mark) << at;
        ASSERT_TRUE(!is_combining || read.code_point >= 0x300) << at;
    }
}

TEST_F(LargeText, CountsAndLengths) {
    for (const Bytes& text : {well_formed(), anything(), Bytes(kSize, 'a'), Bytes(kSize, 0xBF)}) {
        EXPECT_EQ(NQ_LIBRARY(UTF8_SLENB)(text.data(), kSize), model::slenb(text));
        EXPECT_EQ(NQ_LIBRARY(UTF8_BLENB)(text.data(), kSize), model::blenb(text));
        const std::uint64_t characters = model::num_chars(text);
        EXPECT_EQ(NQ_LIBRARY(nqzsu8NumChars)(text.data(), kSize), characters);
        // Another byte ends the last character, however long its lead announces it to be.
        Bytes string = terminated(text);
        EXPECT_EQ(NQ_LIBRARY(nqzsu8ByteLength)(string.data(), characters), kSize);
    }
    const Bytes string = terminated(well_formed());
    EXPECT_EQ(NQ_LIBRARY(UTF8_SLEN)(string.data()), model::slen(string.data()));
    EXPECT_EQ(NQ_LIBRARY(UTF8_BLEN)(string.data()), kSize);
    std::uint64_t characters = 0, bytes = 0;
    NQ_LIBRARY(nqzsu8Lengths)(string.data(), &characters, &bytes);
    EXPECT_EQ(characters, model::slen(string.data()));
    EXPECT_EQ(bytes, kSize);
}

TEST_F(LargeText, CasesOfUnits) {
    const Units units = units_of(well_formed());
    const auto check = [&](void (*map)(NQChar*, std::int64_t), auto expected) {
        Units changed = units;
        map(changed.data(), static_cast<std::int64_t>(changed.size()));
        for (std::size_t i = 0; i < units.size(); ++i) {
            ASSERT_TRUE(expected(units[i], changed[i])) << units[i] << " became " << changed[i];
        }
    };
    check(NQ_LIBRARY(nqzstlo), [](NQChar from, NQChar to) { return to == lower(from); });
    check(NQ_LIBRARY(nqzstup), [](NQChar from, NQChar to) { return to == upper(from); });
    const auto as_paired = [](const char* direction) {
        return [pairs = case_pairs(direction)](NQChar from, NQChar to) {
            return to == mapped(pairs, from);
        };
    };
    check(NQ_LIBRARY(nqzstmax), as_paired("max"));
    check(NQ_LIBRARY(nqzstmin), as_paired("min"));
}

TEST_F(LargeText, CasesOfText) {
    const Bytes text = well_formed();
    const Units units = units_of(text);
    const Bytes lowered = encoded(units, lower);
    const Bytes uppered = encoded(units, upper);
    const auto check = [&](auto map, const Bytes& expected, NQStatus status) {
        std::uint64_t bytes = 0;
        ASSERT_EQ(
            map(text.data(), kSize, static_cast<std::uint8_t*>(nullptr), std::uint64_t{0}, &bytes),
            status);
        ASSERT_EQ(bytes, expected.size());
        Bytes target(bytes);
        ASSERT_EQ(map(text.data(), kSize, target.data(), target.size(), &bytes), status);
        EXPECT_EQ(target, expected);
        target.pop_back();
        EXPECT_EQ(map(text.data(), kSize, target.data(), target.size(), &bytes),
                  NQ_STATUS_BUFFER_TOO_SMALL);
    };
    check(NQ_LIBRARY(nqzsu8Lower2), lowered, NQ_STATUS_OK);
    check(NQ_LIBRARY(nqzsu8Upper2), uppered, NQ_STATUS_OK);
    const auto without_locale = [](auto map) {
        return [map](auto... arguments) { return map(nullptr, arguments...); };
    };
    check(without_locale(NQ_LIBRARY(nqzsu8LocaleLower)), lowered, NQ_STATUS_NO_LOCALE);
    check(without_locale(NQ_LIBRARY(nqzsu8LocaleUpper)), uppered, NQ_STATUS_NO_LOCALE);

    // By the rules of a language: of ASCII, which a single letter changes in this one.
    Bytes ascii = text;
    for (std::uint8_t& byte : ascii) byte %= 0x80;
    struct Language {
        const char* tag;
        NQChar of_i;
    };
    for (const Language& language : {Language{"en", 'i'}, Language{"tr", 0x131}}) {
        const Bytes expected = encoded(units_of(ascii), [&](NQChar unit) {
            return unit == 'I' ? language.of_i : lower(unit);
        });
        Bytes target(expected.size());
        std::uint64_t bytes = 0;
        ASSERT_EQ(NQ_LIBRARY(nqzsu8LocaleLower)(host.locale(language.tag), ascii.data(), kSize,
                                                target.data(), target.size(), &bytes),
                  NQ_STATUS_OK);
        EXPECT_EQ(target, expected) << language.tag;
    }
    ASSERT_TRUE(host.locale("en"));
    Bytes upper_ascii(kSize);
    std::uint64_t bytes = 0;
    ASSERT_EQ(NQ_LIBRARY(nqzsu8LocaleUpper)(host.locale("en"), ascii.data(), kSize,
                                            upper_ascii.data(), kSize, &bytes),
              NQ_STATUS_OK);
    EXPECT_EQ(upper_ascii, encoded(units_of(ascii), upper));
}

TEST_F(LargeText, CasesInPlace) {
    // Letters whose other case is as long, so that the text in place is the text mapped.
    Bytes text;
    while (text.size() < kSize - 4) {
        const char* const letters[] = {"a", "Q", " ", "\u00E9", "\u0416", "\u4E2D", "\U00010428"};
        const char* letter = letters[random() % std::size(letters)];
        text.insert(text.end(), letter, letter + std::strlen(letter));
    }
    text.resize(kSize, 'x');
    const Units units = units_of(text);
    Bytes changed = text;
    NQ_LIBRARY(nqzsu8Lower)(changed.data(), kSize);
    EXPECT_EQ(changed, encoded(units, lower));
    NQ_LIBRARY(nqzsu8Upper)(changed.data(), kSize);
    EXPECT_EQ(changed, encoded(units, upper));

    Bytes ascii = text;
    NQ_LIBRARY(mwStrUp)(ascii.data(), kSize);
    for (std::size_t i = 0; i < kSize; ++i) {
        ASSERT_EQ(ascii[i], text[i] < 0x80 ? upper(text[i]) : text[i]) << i;
    }
    NQ_LIBRARY(mwStrLow)(ascii.data(), kSize);
    for (std::size_t i = 0; i < kSize; ++i) {
        ASSERT_EQ(ascii[i], text[i] < 0x80 ? lower(text[i]) : text[i]) << i;
    }

    // Broken text: continuation bytes that follow nothing are left alone, and so is what a last
    // lead byte announces in vain.
    Bytes broken = anything();
    for (std::uint8_t& byte : broken) byte = byte >= 0xC0 ? 0xBF : byte;
    broken.back() = 0xF0;
    changed = broken;
    NQ_LIBRARY(nqzsu8Lower)(changed.data(), kSize);
    for (std::size_t i = 0; i < kSize; ++i) {
        ASSERT_EQ(changed[i], broken[i] < 0x80 ? lower(broken[i]) : broken[i]) << i;
    }
}

TEST_F(LargeText, Comparisons) {
    const Bytes text = well_formed();
    const Units units = units_of(text);
    Bytes same = text;
    Bytes greater = text;
    greater.back() = 'y';
    Bytes other_case = text;
    NQ_LIBRARY(mwStrUp)(other_case.data(), kSize);
    const auto check = [&](auto compare, int for_greater, int for_same, int for_case) {
        EXPECT_EQ(compare(text.data(), kSize, same.data(), kSize), for_same);
        EXPECT_EQ(compare(text.data(), kSize, greater.data(), kSize), for_greater);
        EXPECT_EQ(compare(text.data(), kSize, other_case.data(), kSize), for_case);
    };
    const auto of_text = [](auto compare) {
        return [compare](auto... arguments) { return compare(arguments..., 20); };
    };
    check(NQ_LIBRARY(nqzsu8Compare), -1, 0, 1);
    check(of_text(NQ_LIBRARY(nqzsu8CompareText)), -1, 0, 1);
    check(NQ_LIBRARY(nqzsu8NormCompare), -2, 0, 1);
    check(of_text(NQ_LIBRARY(nqzsu8NormCompareText)), -2, 0, 1);
    check(NQ_LIBRARY(nqzsu8NormEqual), 0, 1, 1);
    check(of_text(NQ_LIBRARY(nqzsu8NormEqualText)), 0, 1, 1);
    check(NQ_LIBRARY(nqzsu8NormASCIIEqual), 0, 1, 1);

    Units padded = units;
    padded.resize(units.size() + kSize, ' ');
    const auto count = static_cast<std::int64_t>(units.size());
    EXPECT_EQ(NQ_LIBRARY(nqzsncmp)(units.data(), count, padded.data(),
                                   static_cast<std::int64_t>(padded.size())),
              0);
    EXPECT_EQ(NQ_LIBRARY(nqzseqn)(units.data(), units.size(), padded.data(), units.size()), 1);
    padded[units.size() - 1] = 'y';
    EXPECT_EQ(NQ_LIBRARY(nqzsncmp)(units.data(), count, padded.data(), count), -2);
    EXPECT_EQ(NQ_LIBRARY(nqzseqn)(units.data(), units.size(), padded.data(), units.size()), 0);
    Bytes blanks = text;
    blanks.resize(2 * kSize, ' ');
    EXPECT_EQ(NQ_LIBRARY(nqzsu8NormCompare)(text.data(), kSize, blanks.data(), blanks.size()), 0);

    // Text of any bytes: the signs are opposite both ways round.
    const Bytes a = anything(), b = anything();
    EXPECT_EQ(NQ_LIBRARY(nqzsu8NormCompare)(a.data(), kSize, b.data(), kSize),
              -NQ_LIBRARY(nqzsu8NormCompare)(b.data(), kSize, a.data(), kSize));
}

TEST_F(LargeText, Normalizations) {
    // Decomposed it is a third longer.
    Bytes composed, decomposed;
    for (std::size_t i = 0; i < kSize / 4; ++i) {
        for (const int byte : {0x61, 0x62, 0xC3, 0xA9}) {
            composed.push_back(static_cast<std::uint8_t>(byte));
        }
        for (const int byte : {0x61, 0x62, 0x65, 0xCC, 0x81}) {
            decomposed.push_back(static_cast<std::uint8_t>(byte));
        }
    }
    NQStatus status = 1;
    EXPECT_EQ(NQ_LIBRARY(nqzsu8ICUNormCompare)(composed.data(), composed.size(), decomposed.data(),
                                               decomposed.size(), 0, &status),
              0);
    EXPECT_EQ(status, NQ_STATUS_OK);
    EXPECT_EQ(NQ_LIBRARY(nqzsu8ICUNormEqual)(composed.data(), composed.size(), decomposed.data(),
                                             decomposed.size() - 5, 0, &status),
              0);
    bool is_made = false;
    for (std::uint32_t form = 0; form < 8; ++form) {
        Bytes target(decomposed.size());
        std::uint64_t length = 0;
        if (NQ_LIBRARY(nqzsu8ICUNormalize)(composed.data(), composed.size(), form, 0, target.data(),
                                           target.size(), &length) == NQ_STATUS_OK) {
            target.resize(length);
            ASSERT_TRUE(target == composed || target == decomposed) << form;
            is_made = is_made || target == decomposed;
        }
    }
    EXPECT_TRUE(is_made);
}

TEST_F(LargeText, Conversions) {
    const Bytes text = well_formed();
    const Units units = units_of(text);
    EXPECT_EQ(NQ_LIBRARY(GET_UTF8_LEN_FROM_NQCHAR)(units.data(), units.size()), kSize);

    struct Form {
        NQUtfReader reader;
        NQUtfWriter writer;
    };
    const Form forms[] = {{NQ_LIBRARY(UTF8_UTF32), NQ_LIBRARY(UTF32_UTF8)},
                          {NQ_LIBRARY(UTF16_UTF32), NQ_LIBRARY(UTF32_UTF16s_SWAP)},
                          {NQ_LIBRARY(UTF16_UTF32_SWAP), NQ_LIBRARY(UTF32_UTF16s)},
                          {NQ_LIBRARY(COPY_UTF32b), NQ_LIBRARY(COPY_UTF32)},
                          {NQ_LIBRARY(COPY_UTF32b_SWAP), NQ_LIBRARY(COPY_UTF32_SWAP)}};
    for (const Form& form : forms) {
        Bytes encoded(4 * units.size());
        std::uint64_t bytes = 0;
        ASSERT_EQ(NQ_LIBRARY(ConvertFromUTF32)(reinterpret_cast<const std::uint8_t*>(units.data()),
                                               4 * units.size(), encoded.data(), encoded.size(),
                                               &bytes, form.writer, NQ_LIBRARY(COPY_UTF32b_SWAP)),
                  NQ_STATUS_OK);
        encoded.resize(bytes);
        encoded.shrink_to_fit();
        ASSERT_TRUE(form.reader != forms[0].reader || encoded == text);
        Units decoded(units.size());
        ASSERT_EQ(NQ_LIBRARY(ConvertToUTF32)(encoded.data(), encoded.size(),
                                             reinterpret_cast<std::uint8_t*>(decoded.data()),
                                             4 * decoded.size(), &bytes, form.reader,
                                             NQ_LIBRARY(COPY_UTF32_SWAP)),
                  NQ_STATUS_OK);
        ASSERT_EQ(bytes, 4 * units.size());
        ASSERT_EQ(decoded, units);
        // One character after the other.
        const std::uint8_t* at = encoded.data();
        std::uint64_t left = encoded.size();
        for (const NQChar unit : units) {
            NQChar read = 0;
            std::uint64_t consumed = 0, written = 0;
            ASSERT_EQ(form.reader(at, left, &read, &consumed), NQ_STATUS_OK);
            ASSERT_EQ(read, unit);
            Bytes character(consumed);
            ASSERT_EQ(form.writer(unit, character.data(), consumed, &written), NQ_STATUS_OK);
            ASSERT_EQ(written, consumed);
            ASSERT_TRUE(std::equal(character.begin(), character.end(), at));
            at += consumed;
            left -= consumed;
        }
        ASSERT_EQ(left, 0u);
    }

    Bytes copy(kSize);
    std::uint64_t copied = 0;
    EXPECT_EQ(NQ_LIBRARY(COPY_UTF)(text.data(), kSize, copy.data(), kSize, &copied), NQ_STATUS_OK);
    EXPECT_EQ(copied, kSize);
    EXPECT_EQ(copy, text);
}

TEST_F(LargeText, WordsAndSingleUnits) {
    // Looked up once, not for each character.
    const auto call_byte2_dword = NQ_LIBRARY(Byte2DWord);
    const auto call_byte2_dword_swap = NQ_LIBRARY(Byte2DWord_swap);
    const auto call_byte2_word = NQ_LIBRARY(Byte2Word);
    const auto call_byte2_word_swap = NQ_LIBRARY(Byte2Word_swap);
    const auto call_byte_utf16_utf32_swap = NQ_LIBRARY(BYTE_UTF16_UTF32_SWAP);
    const auto call_byte_utf16_utf32 = NQ_LIBRARY(BYTE_UTF16_UTF32);
    const auto call_utf32_utf16 = NQ_LIBRARY(UTF32_UTF16);
    const auto call_utf32_utf16_swap = NQ_LIBRARY(UTF32_UTF16_SWAP);
    const auto call_utf16_utf8 = NQ_LIBRARY(UTF16_UTF8);
    const auto call_utf8_utf16 = NQ_LIBRARY(UTF8_UTF16);
    const auto call_is_legal_utf8 = NQ_LIBRARY(isLegalUTF8);
    const Bytes text = anything();
    for (std::size_t at = 0; at + 4 <= kSize; at += 3) {
        const std::uint8_t* four = text.data() + at;
        std::uint32_t little;
        std::memcpy(&little, four, sizeof little);
        ASSERT_EQ(call_byte2_dword(four), little);
        ASSERT_EQ(call_byte2_dword_swap(four), __builtin_bswap32(little));
        const auto word = static_cast<std::uint16_t>(little);
        ASSERT_EQ(call_byte2_word(four), word);
        ASSERT_EQ(call_byte2_word_swap(four), __builtin_bswap16(word));
        ASSERT_EQ(call_byte_utf16_utf32_swap(four), word);
        ASSERT_EQ(call_byte_utf16_utf32(four), __builtin_bswap16(word));

        std::uint64_t written = 0;
        Bytes unit(2);
        ASSERT_EQ(call_utf32_utf16(little, unit.data(), 2, &written), NQ_STATUS_OK);
        ASSERT_EQ(unit, (Bytes{four[0], four[1]}));
        ASSERT_EQ(call_utf32_utf16_swap(little, unit.data(), 2, &written), NQ_STATUS_OK);
        ASSERT_EQ(unit, (Bytes{four[1], four[0]}));
        const Bytes expected = model::utf8_of(word);
        Bytes encoded(expected.size());
        ASSERT_EQ(call_utf16_utf8(word, encoded.data(), encoded.size(), &written), NQ_STATUS_OK);
        ASSERT_EQ(encoded, expected);

        const model::Read read = model::read_utf8(four, kSize - at);
        std::uint16_t pair[2] = {0, 0};
        std::uint64_t consumed = 0;
        const NQStatus status = call_utf8_utf16(four, kSize - at, pair, &consumed);
        ASSERT_EQ(status, read.status ? NQ_STATUS_MALFORMED : NQ_STATUS_OK);
        ASSERT_EQ(consumed, read.consumed);
        ASSERT_TRUE(read.code_point >= 0x10000 || pair[0] == read.code_point) << at;

        std::uint64_t plausible = 0;
        const std::uint64_t length = std::min<std::uint64_t>(4, model::announced_length(*four));
        const bool is_legal = call_is_legal_utf8(four, length, &plausible) != 0;
        if (model::announced_length(*four) <= 4) {
            ASSERT_EQ(is_legal, model::valid_char_size(four).is_valid) << at;
        }
    }
}

TEST_F(LargeText, Searches) {
    Bytes text = well_formed();
    // Characters that are nowhere else, at the end.
    const std::string_view end = "\u16A0\u16A1\u16A2";
    text.resize(kSize - end.size());
    text.resize(model::blenb(text));
    text.resize(kSize - end.size(), 'x');
    const auto* rune = reinterpret_cast<const std::uint8_t*>(end.data());
    text.insert(text.end(), rune, rune + end.size());
    const std::string_view haystack(reinterpret_cast<const char*>(text.data()), text.size());
    for (const std::size_t length : {std::size_t{1}, std::size_t{3}, end.size(), kSize / 2}) {
        const Bytes needle(text.end() - static_cast<std::ptrdiff_t>(length), text.end());
        const std::string_view needle_view(reinterpret_cast<const char*>(needle.data()), length);
        EXPECT_EQ(NQ_LIBRARY(nqzsu8IndexText)(text.data(), kSize, needle.data(), length, 20),
                  static_cast<std::int64_t>(haystack.find(needle_view)));
        EXPECT_EQ(NQ_LIBRARY(nqzsu8FindCharText)(text.data(), kSize, needle.data(), length, 20),
                  model::find_char(text, needle));
    }
    const Bytes absent{0xE1, 0x9A, 0xA2, 'x'};
    EXPECT_EQ(NQ_LIBRARY(nqzsu8IndexText)(text.data(), kSize, absent.data(), 4, 20), -1);
    EXPECT_EQ(NQ_LIBRARY(nqzsu8FindCharText)(text.data(), kSize, absent.data(), 4, 20), -1);
}

TEST_F(LargeText, FieldsAndBlanks) {
    const Bytes text = anything();
    for (const std::size_t room : {kSize / 2 + 1, kSize, kSize + kSize / 2}) {
        const model::Copied expected = model::copy(text, room);
        Bytes target(room);
        EXPECT_EQ(NQ_LIBRARY(nqzsu8Copy)(text.data(), kSize, target.data(), room), expected.bytes);
        EXPECT_EQ(target, expected.target);
        std::ranges::fill(target, std::uint8_t{1});
        EXPECT_EQ(NQ_LIBRARY(nqzsu8CopyText)(text.data(), kSize, 27, target.data(), room),
                  expected.bytes);
        EXPECT_EQ(target, expected.target);
    }
    Bytes blanks = text;
    for (const char* blank : {" ", "\u00A0", "\u2003", "\t", "\u3000"}) {
        for (int i = 0; i < 1000; ++i) blanks.insert(blanks.end(), blank, blank + strlen(blank));
    }
    blanks.insert(blanks.end(), kSize, ' ');
    for (const std::uint32_t blank_class : {0u, 2u, 1u}) {
        EXPECT_EQ(NQ_LIBRARY(nqzsu8StripBlanks)(blanks.data(), blanks.size(), blank_class),
                  model::strip(blanks, blank_class));
    }
    Bytes field(kSize, ' ');
    std::copy_n(text.begin(), kSize / 2, field.begin() + kSize / 4);
    for (const char mode : {'L', 'C', 'R', 'N', 'X'}) {
        const model::Justified expected = model::justify(field, mode);
        Bytes justified = field;
        std::uint32_t length = 0, offset = 0;
        EXPECT_EQ(NQ_LIBRARY(nqzsu8Justify)(justified.data(), kSize,
                                            static_cast<std::uint8_t>(mode), &length, &offset),
                  expected.status);
        EXPECT_EQ(length, expected.length);
        EXPECT_EQ(offset, expected.offset);
        EXPECT_EQ(justified, expected.field) << mode;
    }
}

TEST_F(LargeText, ModifiedForm) {
    const Bytes texts[] = {well_formed(), anything()};
    for (const Bytes& text : texts) {
        for (const std::uint32_t flags : {0u, 1u, 4u, 5u}) {
            for (const std::uint64_t capacity : {kSize / 2, 3 * kSize}) {
                const auto check = [&](auto convert, const model::Converted& expected) {
                    Bytes target(capacity);
                    std::uint64_t written = 0;
                    EXPECT_EQ(convert(text.data(), kSize, target.data(), capacity, &written, flags),
                              expected.status);
                    target.resize(written);
                    EXPECT_EQ(target, expected.bytes) << flags;
                };
                check(NQ_LIBRARY(nqzsu8Encode), model::encode(text, capacity, flags));
                check(NQ_LIBRARY(nqzsu8Decode), model::decode(text, capacity, flags));
            }
        }
    }
}

// What the locale makes of it is its own; the forwarder hands on text and result.
#define NQ_CHECK_PARSER(operation, Value)                                                          \
    do {                                                                                           \
        Value forwarded{}, direct{};                                                               \
        const auto own =                                                                           \
            reinterpret_cast<NQStatus (*)(NQLocale*, const std::uint8_t*, std::uint64_t, Value*)>( \
                locale->operation);                                                                \
        EXPECT_EQ(NQ_LIBRARY(nqzsu8##operation)(locale, digits.data(), kSize, &forwarded),         \
                  own(locale, digits.data(), kSize, &direct));                                     \
        EXPECT_EQ(forwarded, direct);                                                              \
    } while (false)

#define NQ_CHECK_FORMATTER(operation, Value)                                                     \
    do {                                                                                         \
        Bytes forwarded(kSize, 1), direct(kSize, 1);                                             \
        std::uint64_t of_forwarded = 0, of_direct = 0;                                           \
        const auto own = reinterpret_cast<NQStatus (*)(                                          \
            NQLocale*, Value, std::uint8_t*, std::uint64_t, std::uint64_t*)>(locale->operation); \
        EXPECT_EQ(NQ_LIBRARY(nqzsu8##operation)(locale, Value(123456), forwarded.data(), kSize,  \
                                                &of_forwarded),                                  \
                  own(locale, Value(123456), direct.data(), kSize, &of_direct));                 \
        EXPECT_EQ(of_forwarded, of_direct);                                                      \
        EXPECT_EQ(forwarded, direct);                                                            \
    } while (false)

TEST_F(LargeText, LocaleOperations) {
    NQLocale* locale = host.locale("en");
    ASSERT_TRUE(locale);
    for (const Bytes& digits : {Bytes(kSize, '7'), anything()}) {
        NQ_CHECK_PARSER(ToDouble, double);
        NQ_CHECK_PARSER(ToIntfast, std::int64_t);
        NQ_CHECK_PARSER(ToIntmax, std::int64_t);
        NQ_CHECK_PARSER(ToUintfast, std::uint64_t);
        NQ_CHECK_PARSER(ToUintmax, std::uint64_t);
        NQ_CHECK_PARSER(ToInt, std::int32_t);
        NQ_CHECK_PARSER(ToUInt, std::uint32_t);
        NQ_CHECK_PARSER(ToLong, std::int64_t);
        NQ_CHECK_PARSER(ToULong, std::uint64_t);
        NQ_CHECK_PARSER(ToDatetime, double);
        NQ_CHECK_PARSER(ToDate, double);
        NQ_CHECK_PARSER(ToTime, double);
    }
    NQ_CHECK_FORMATTER(DoubleFormat, double);
    NQ_CHECK_FORMATTER(IntfastFormat, std::int64_t);
    NQ_CHECK_FORMATTER(IntmaxFormat, std::int64_t);
    NQ_CHECK_FORMATTER(UintfastFormat, std::uint64_t);
    NQ_CHECK_FORMATTER(UintmaxFormat, std::uint64_t);
    NQ_CHECK_FORMATTER(IntFormat, std::int32_t);
    NQ_CHECK_FORMATTER(UIntFormat, std::uint32_t);
    NQ_CHECK_FORMATTER(LongFormat, std::int64_t);
    NQ_CHECK_FORMATTER(ULongFormat, std::uint64_t);
    NQ_CHECK_FORMATTER(DatetimeFormat, double);
    NQ_CHECK_FORMATTER(DateFormat, double);
    NQ_CHECK_FORMATTER(TimeFormat, double);
}

}  // namespace
}  // namespace nq::test
