#include "tests/text/utf_model.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <span>
#include <string>
#include <vector>

#include "nqinstance/text/utf.h"
#include "tests/support/guard_pages.hpp"
#include "tests/support/random.hpp"
#include "tests/text/kernels/bodies.hpp"

namespace nq::test {
namespace {

const DemandedChecks kDemanded{
    "ConvertToUTF32 from UTF-8",          "ConvertToUTF32 from UTF-16",
    "ConvertToUTF32 from swapped UTF-32", "ConvertFromUTF32 to UTF-8",
    "ConvertFromUTF32 to UTF-16",         "ConvertFromUTF32 to cut UTF-16",
    "ConvertFromUTF32 to swapped UTF-32"};

class UtfModelBody : public TextBody {
  protected:
    // The library's routines in the way under test.
    struct Readers {
        NQUtfReader utf8, utf16, utf16_swap, utf32, utf32_swap;
    };
    struct Writers {
        NQUtfWriter utf8, utf16_utf8, cut, cut_swap, pairs, pairs_swap, utf32, utf32_swap;
    };

    void SetUp() override {
        TextBody::SetUp();
        to_utf32_ = NQ_UNDER_TEST(ConvertToUTF32);
        from_utf32_ = NQ_UNDER_TEST(ConvertFromUTF32);
        readers_ = {NQ_UNDER_TEST(UTF8_UTF32), NQ_UNDER_TEST(UTF16_UTF32),
                    NQ_UNDER_TEST(UTF16_UTF32_SWAP), NQ_UNDER_TEST(COPY_UTF32b),
                    NQ_UNDER_TEST(COPY_UTF32b_SWAP)};
        writers_ = {NQ_UNDER_TEST(UTF32_UTF8),   NQ_UNDER_TEST(UTF16_UTF8),
                    NQ_UNDER_TEST(UTF32_UTF16),  NQ_UNDER_TEST(UTF32_UTF16_SWAP),
                    NQ_UNDER_TEST(UTF32_UTF16s), NQ_UNDER_TEST(UTF32_UTF16s_SWAP),
                    NQ_UNDER_TEST(COPY_UTF32),   NQ_UNDER_TEST(COPY_UTF32_SWAP)};
    }

    struct Outcome {
        NQStatus status;
        std::uint64_t produced;
    };

    // The rules of the drivers as a plain loop over the single routines.
    static Outcome loop_to_utf32(std::span<const std::uint8_t> source,
                                 std::span<std::uint8_t> target, NQUtfReader reader,
                                 NQUtfWriter writer) {
        const std::uint64_t limit = target.size() / 4;
        std::uint64_t capacity = target.size();
        std::uint64_t count = 0;
        NQStatus status = 0;
        for (std::uint64_t at = 0; at < source.size() && count < limit; ++count) {
            NQChar code_point = 0;
            std::uint64_t consumed = 0;
            std::uint64_t written = 0;
            status = reader(source.data() + at, source.size() - at, &code_point, &consumed);
            if (status) break;
            at += consumed;
            status = writer(code_point, target.data() + 4 * count, capacity, &written);
            if (status) break;
            capacity -= consumed;
        }
        return {status, 4 * count};
    }

    static Outcome loop_from_utf32(std::span<const std::uint8_t> source,
                                   std::span<std::uint8_t> target, NQUtfWriter writer,
                                   NQUtfReader reader) {
        std::uint64_t total = 0;
        NQStatus status = 0;
        for (std::uint64_t unit = 0; unit < source.size() / 4 && total < target.size(); ++unit) {
            NQChar code_point = 0;
            std::uint64_t consumed = 0;
            std::uint64_t written = 0;
            std::uint8_t stored[8];
            reader(source.data() + 4 * unit, 4, &code_point, &consumed);
            const std::uint64_t room = target.size() - total;
            status = writer(code_point, stored, room, &written);
            if (status) break;
            std::copy_n(stored, std::min(written, room), target.data() + total);
            total += written;
        }
        return {status, total};
    }

    // The checks of a pair of routines; of one that has no bodies there are none.
    const Checks* checks_to(NQUtfReader reader, NQUtfWriter writer) const {
        if (writer != writers_.utf32 && writer != writers_.utf32_swap) return nullptr;
        if (reader == readers_.utf8) return &from_utf8_checks_;
        if (reader == readers_.utf16 || reader == readers_.utf16_swap) return &from_utf16_checks_;
        return swaps(reader, writer) ? &from_utf32_checks_ : nullptr;
    }
    const Checks* checks_from(NQUtfWriter writer, NQUtfReader reader) const {
        if (reader != readers_.utf32 && reader != readers_.utf32_swap) return nullptr;
        if (writer == writers_.utf8) return &to_utf8_checks_;
        if (writer == writers_.pairs || writer == writers_.pairs_swap) return &to_utf16_checks_;
        if (writer == writers_.cut || writer == writers_.cut_swap) return &to_cut_checks_;
        return swaps(reader, writer) ? &to_utf32_checks_ : nullptr;
    }
    bool swaps(NQUtfReader reader, NQUtfWriter writer) const {
        return (reader == readers_.utf32 && writer == writers_.utf32_swap) ||
               (reader == readers_.utf32_swap && writer == writers_.utf32);
    }

    // Converts from the start of the one span to that of the other and compares status, count and
    // every byte of the target with the outcome.
    template <class Driver, class First, class Second>
    void check_placed(const Checks* checks, Driver driver, const std::vector<std::uint8_t>& source,
                      std::span<std::uint8_t> from, std::span<std::uint8_t> to, First first,
                      Second second, const Outcome& outcome) {
        std::ranges::copy(source, from.begin());
        std::ranges::fill(to, std::uint8_t{0xA5});
        std::uint64_t produced = 99;
        const NQStatus status =
            driver(from.data(), from.size(), to.data(), to.size(), &produced, first, second);
        ASSERT_EQ(checks ? checks->counted(status) : status, outcome.status)
            << describe(source, to.size());
        ASSERT_EQ(produced, outcome.produced) << describe(source, to.size());
        ASSERT_TRUE(std::ranges::equal(to, expected_)) << describe(source, to.size());
    }

    // Where source and target lie: at the ends of their pages, at the starts, and away from them
    // so many times.
    template <class Driver, class Loop, class First, class Second>
    void check(const Checks* checks, Driver driver, Loop loop,
               const std::vector<std::uint8_t>& source, std::uint64_t capacity, First first,
               Second second, std::size_t times) {
        expected_.assign(capacity, 0xA5);
        const Outcome outcome = loop(source, expected_, first, second);
        const std::size_t size = source.size();
        const auto check_at = [&](std::span<std::uint8_t> from, std::span<std::uint8_t> to) {
            check_placed(checks, driver, source, from, to, first, second, outcome);
        };
        check_at(source_.last(size), target_.last(capacity));
        check_at(source_.first(size), target_.first(capacity));
        for (; times > 0 && !HasFatalFailure(); --times) {
            ++offset_;
            const std::size_t of_source = offset_ % 64;
            const std::size_t of_target = (offset_ * 7 + offset_ / 64) % 64;
            check_at(source_.first(of_source + size).subspan(of_source),
                     target_.first(of_target + capacity).subspan(of_target));
        }
    }

    void check_to(const std::vector<std::uint8_t>& source, std::uint64_t capacity,
                  NQUtfReader reader, NQUtfWriter writer, std::size_t times = 2) {
        check(checks_to(reader, writer), to_utf32_, loop_to_utf32, source, capacity, reader, writer,
              times);
    }

    void check_from(const std::vector<std::uint8_t>& source, std::uint64_t capacity,
                    NQUtfWriter writer, NQUtfReader reader, std::size_t times = 2) {
        check(checks_from(writer, reader), from_utf32_, loop_from_utf32, source, capacity, writer,
              reader, times);
    }

    static std::string describe(std::span<const std::uint8_t> source, std::uint64_t capacity) {
        std::string text = "room " + std::to_string(capacity) + " source";
        constexpr char kDigits[] = "0123456789ABCDEF";
        for (const std::uint8_t byte : source) {
            text += {' ', kDigits[byte >> 4], kDigits[byte & 15]};
        }
        return text;
    }

    decltype(&ConvertToUTF32) to_utf32_{};
    decltype(&ConvertFromUTF32) from_utf32_{};
    Readers readers_{};
    Writers writers_{};
    GuardPages source_{1 << 18};
    GuardPages target_{1 << 20};
    std::vector<std::uint8_t> expected_;
    std::size_t offset_ = 0;
    const Checks from_utf8_checks_ = checks_of("ConvertToUTF32 from UTF-8");
    const Checks from_utf16_checks_ = checks_of("ConvertToUTF32 from UTF-16");
    const Checks from_utf32_checks_ = checks_of("ConvertToUTF32 from swapped UTF-32");
    const Checks to_utf8_checks_ = checks_of("ConvertFromUTF32 to UTF-8");
    const Checks to_utf16_checks_ = checks_of("ConvertFromUTF32 to UTF-16");
    const Checks to_cut_checks_ = checks_of("ConvertFromUTF32 to cut UTF-16");
    const Checks to_utf32_checks_ = checks_of("ConvertFromUTF32 to swapped UTF-32");
};

void append(std::vector<std::uint8_t>& text, std::span<const std::uint8_t> bytes) {
    text.insert(text.end(), bytes.begin(), bytes.end());
}

void append_unit32(std::vector<std::uint8_t>& text, std::uint32_t unit, bool is_big) {
    for (unsigned i = 0; i < 4; ++i) {
        text.push_back(static_cast<std::uint8_t>(unit >> 8 * (is_big ? 3 - i : i)));
    }
}

void append_unit16(std::vector<std::uint8_t>& text, std::uint32_t unit, bool is_big) {
    text.push_back(static_cast<std::uint8_t>(is_big ? unit >> 8 : unit));
    text.push_back(static_cast<std::uint8_t>(is_big ? unit : unit >> 8));
}

void append_utf16(std::vector<std::uint8_t>& text, NQChar code_point, bool is_big) {
    if (code_point < 0x10000) {
        append_unit16(text, code_point, is_big);
    } else {
        append_unit16(text, 0xD800 + (code_point - 0x10000) / 0x400, is_big);
        append_unit16(text, 0xDC00 + code_point % 0x400, is_big);
    }
}

TEST_P(UtfModelBody, AllThreeByteStringsAreReadAsTheModelDoes) {
    const auto bytes = source_.last(3);
    const auto units = target_.last(12);
    for (std::uint32_t value = 0; value < 1u << 24; ++value) {
        for (unsigned i = 0; i < 3; ++i) bytes[i] = static_cast<std::uint8_t>(value >> 8 * (2 - i));
        model::Read read{};
        read.status = readers_.utf8(bytes.data(), 3, &read.code_point, &read.consumed);
        const model::Read expected = model::read_utf8(bytes.data(), 3);
        ASSERT_EQ(read, expected) << std::hex << value;

        std::uint64_t produced = 99;
        const NQStatus status = to_utf32_(bytes.data(), 3, units.data(), 12, &produced,
                                          readers_.utf8, writers_.utf32_swap);
        model::Read last{};
        std::uint64_t at = 0;
        std::uint64_t count = 0;
        while (at < 3) {
            last = model::read_utf8(bytes.data() + at, 3 - at);
            if (last.status) break;
            NQChar stored;
            std::memcpy(&stored, units.data() + 4 * count++, 4);
            ASSERT_EQ(stored, last.code_point) << std::hex << value;
            at += last.consumed;
        }
        ASSERT_EQ(status, last.status) << std::hex << value;
        ASSERT_EQ(produced, 4 * count) << std::hex << value;
    }
}

// The bytes at which some rule changes.
constexpr std::uint8_t kEdgeBytes[] = {0x00, 0x41, 0x7F, 0x80, 0x8F, 0x90, 0x9F, 0xA0, 0xBF,
                                       0xC0, 0xC1, 0xC2, 0xDF, 0xE0, 0xE1, 0xED, 0xEF, 0xF0,
                                       0xF1, 0xF4, 0xF5, 0xF7, 0xF8, 0xFB, 0xFC, 0xFF};

TEST_P(UtfModelBody, FourEdgeBytesAnywhereInABlock) {
    std::size_t next = 0;
    // One offset meets a part of the quadruples, all offsets meet all.
    for (std::size_t offset = 56; offset <= 64; ++offset) {
        for (const std::uint8_t first : kEdgeBytes) {
            for (const std::uint8_t second : kEdgeBytes) {
                for (const std::uint8_t third : kEdgeBytes) {
                    std::vector<std::uint8_t> text(160, 'a');
                    text[offset] = first;
                    text[offset + 1] = second;
                    text[offset + 2] = third;
                    text[offset + 3] = kEdgeBytes[next++ % std::size(kEdgeBytes)];
                    check_to(text, 4 * text.size(), readers_.utf8, writers_.utf32_swap);
                }
                ++next;
            }
        }
    }
}

TEST_P(UtfModelBody, AllCodePointsAreWrittenAndReadBack) {
    std::vector<std::uint8_t> utf8;
    std::vector<std::uint8_t> utf32;
    std::vector<std::uint8_t> utf16;
    std::uint8_t bytes[4];
    for (NQChar code_point = 0; code_point < 0x200100; ++code_point) {
        const model::Bytes expected = model::utf8_of(code_point);
        std::uint64_t written = 0;
        ASSERT_EQ(writers_.utf8(code_point, bytes, 4, &written), 0u);
        ASSERT_TRUE(std::ranges::equal(std::span(bytes).first(written), expected)) << code_point;
        if (code_point >= 0x200000) continue;
        // Leads above 0xF4 are written but not read.
        const bool is_readable = expected[0] <= 0xF4;
        const model::Read read = model::read_utf8(expected.data(), expected.size());
        NQChar back = 0;
        std::uint64_t consumed = 0;
        ASSERT_EQ(readers_.utf8(bytes, written, &back, &consumed), read.status);
        ASSERT_EQ(back, is_readable ? code_point : 0xFFFD);
        if (code_point >= 0x110000) continue;
        append(utf8, expected);
        append_unit32(utf32, code_point, false);
        if (code_point >= 0xD800 && code_point <= 0xDFFF) continue;
        ASSERT_EQ(writers_.pairs(code_point, bytes, 4, &written), 0u);
        append(utf16, std::span(bytes).first(written));
        ASSERT_EQ(readers_.utf16_swap(bytes, written, &back, &consumed), 0u);
        ASSERT_EQ(back, code_point);
        ASSERT_EQ(consumed, written);
    }

    std::uint64_t produced = 0;
    std::vector<std::uint8_t> units(utf32.size());
    ASSERT_EQ(to_utf32_(utf8.data(), utf8.size(), units.data(), units.size(), &produced,
                        readers_.utf8, writers_.utf32_swap),
              0u);
    EXPECT_EQ(produced, utf32.size());
    EXPECT_TRUE(units == utf32);

    std::vector<std::uint8_t> back(utf8.size());
    ASSERT_EQ(from_utf32_(utf32.data(), utf32.size(), back.data(), back.size(), &produced,
                          writers_.utf8, readers_.utf32_swap),
              0u);
    EXPECT_EQ(produced, utf8.size());
    EXPECT_TRUE(back == utf8);

    utf32.erase(utf32.begin() + 4 * 0xD800, utf32.begin() + 4 * 0xE000);
    units.assign(utf32.size(), 0);
    ASSERT_EQ(to_utf32_(utf16.data(), utf16.size(), units.data(), units.size(), &produced,
                        readers_.utf16_swap, writers_.utf32_swap),
              0u);
    EXPECT_EQ(produced, utf32.size());
    EXPECT_TRUE(units == utf32);
    back.assign(utf16.size(), 0);
    ASSERT_EQ(from_utf32_(utf32.data(), utf32.size(), back.data(), back.size(), &produced,
                          writers_.pairs, readers_.utf32_swap),
              0u);
    EXPECT_EQ(produced, utf16.size());
    EXPECT_TRUE(back == utf16);
}

// Blocks of nothing but the first or last code points of two sizes, in turn.
TEST_P(UtfModelBody, LongRunsOfTwoCodePoints) {
    constexpr NQChar kEdges[] = {0, 0x7F, 0x80, 0x7FF, 0x800, 0xFFFF, 0x10000, 0x10FFFF};
    const auto check_run = [&](NQChar first, NQChar second) {
        std::vector<std::uint8_t> utf32;
        for (int i = 0; i < 100; ++i) append_unit32(utf32, i % 2 ? second : first, false);
        const auto encoded = [&](NQUtfWriter writer) {
            std::vector<std::uint8_t> text(utf32.size());
            text.resize(loop_from_utf32(utf32, text, writer, readers_.utf32_swap).produced);
            check_from(utf32, text.size(), writer, readers_.utf32_swap);
            return text;
        };
        check_to(encoded(writers_.utf8), utf32.size(), readers_.utf8, writers_.utf32_swap);
        check_to(encoded(writers_.pairs), utf32.size(), readers_.utf16_swap, writers_.utf32_swap);
    };
    for (const NQChar first : kEdges) {
        for (const NQChar second : kEdges) check_run(first, second);
    }
}

// --- Random texts --------------------------------------------------------------------------------

class RandomTexts {
  public:
    explicit RandomTexts(std::mt19937_64& random) : random_(random) {}

    std::uint64_t below(std::uint64_t bound) { return random_() % bound; }
    template <class Range>
    auto one_of(const Range& choices) {
        return choices[below(std::size(choices))];
    }

    // Code points in runs of one size, now and then mixed.
    std::vector<NQChar> code_points() {
        std::vector<NQChar> all;
        const std::uint64_t length = below(4) ? below(100) : below(400);
        while (all.size() < length) {
            const std::uint64_t kind = below(5);
            for (std::uint64_t run = 1 + below(below(2) ? 6 : 70); run > 0; --run) {
                all.push_back(code_point(kind));
            }
        }
        return all;
    }

    NQChar code_point(std::uint64_t kind) {
        switch (kind) {
            case 0:
                return static_cast<NQChar>(below(0x80));
            case 1:
                return static_cast<NQChar>(0x80 + below(0x780));
            case 2:
                return static_cast<NQChar>(0xFFF + below(0xC000));
            case 3:
                return static_cast<NQChar>(0x10000 + below(0x100000));
            default:
                return code_point(below(4));
        }
    }

    std::vector<std::uint8_t> utf8() {
        std::vector<std::uint8_t> text;
        for (const NQChar unit : code_points()) append(text, model::utf8_of(unit));
        plant([&](std::size_t at) { text[at] = below(2) ? one_of(kEdgeBytes) : any_byte(); }, text);
        return text;
    }

    std::vector<std::uint8_t> utf16(bool is_big) {
        std::vector<std::uint8_t> text;
        for (const NQChar unit : code_points()) append_utf16(text, unit, is_big);
        plant([&](std::size_t at) { text[at] = static_cast<std::uint8_t>(0xD8 + below(8)); }, text);
        return text;
    }

    std::vector<std::uint8_t> utf32(bool is_big) {
        std::vector<std::uint8_t> text;
        for (const NQChar unit : code_points()) append_unit32(text, unit, is_big);
        plant([&](std::size_t at) { text[at] = any_byte(); }, text);
        return text;
    }

    // Room for all, for a bit less, for a part.
    std::uint64_t capacity(std::uint64_t whole) {
        switch (below(4)) {
            case 0:
                return below(whole + 1);
            case 1:
                return whole - std::min(whole, below(10));
            case 2:
                return whole;
            default:
                return whole + below(200);
        }
    }

  private:
    std::uint8_t any_byte() { return static_cast<std::uint8_t>(below(256)); }

    // In half of the texts a few errors, or the end cut off.
    template <class Spoil>
    void plant(Spoil spoil, std::vector<std::uint8_t>& text) {
        if (text.empty() || below(2)) return;
        for (std::uint64_t errors = below(3); errors > 0; --errors) spoil(below(text.size()));
        if (below(2)) text.resize(text.size() - std::min<std::uint64_t>(text.size(), below(5)));
    }

    std::mt19937_64& random_;
};

TEST_P(UtfModelBody, RandomTextsConvertAsThePlainLoopDoes) {
    std::mt19937_64 random = seeded_generator();
    RandomTexts texts(random);
    // A reader and a writer of the caller's that stand for the library's.
    static NQUtfReader any_reader;
    static NQUtfWriter any_writer;
    const NQUtfReader strange_reader = [](const std::uint8_t* source, std::uint64_t available,
                                          NQChar* code_point, std::uint64_t* consumed) noexcept {
        return any_reader(source, available, code_point, consumed);
    };
    const NQUtfWriter strange_writer = [](NQChar code_point, std::uint8_t* target,
                                          std::uint64_t capacity, std::uint64_t* written) noexcept {
        return any_writer(code_point, target, capacity, written);
    };
    any_writer = writers_.utf8;
    const NQUtfWriter to_writers[] = {writers_.utf32, writers_.utf32_swap};
    const NQUtfWriter from_writers[] = {writers_.utf8,     writers_.utf16_utf8, writers_.cut,
                                        writers_.cut_swap, writers_.pairs,      writers_.pairs_swap,
                                        writers_.utf32,    writers_.utf32_swap, strange_writer};
    const std::uint64_t rounds = setting("ITER", 12000);
    for (std::uint64_t i = 0; i < rounds && !HasFatalFailure(); ++i) {
        const std::vector<std::uint8_t> utf8 = texts.utf8();
        for (const NQUtfWriter writer : to_writers) {
            check_to(utf8, texts.capacity(4 * utf8.size()), readers_.utf8, writer);
        }
        any_reader = readers_.utf8;
        check_to(utf8, texts.capacity(4 * utf8.size()), strange_reader, writers_.utf32);
        check_to(utf8, texts.capacity(4 * utf8.size()), readers_.utf8, writers_.utf8);
        for (const bool is_big : {false, true}) {
            const std::vector<std::uint8_t> utf16 = texts.utf16(is_big);
            const NQUtfReader reader = is_big ? readers_.utf16 : readers_.utf16_swap;
            for (const NQUtfWriter writer : to_writers) {
                check_to(utf16, texts.capacity(2 * utf16.size()), reader, writer);
            }
            const std::vector<std::uint8_t> utf32 = texts.utf32(is_big);
            const NQUtfReader copy = is_big ? readers_.utf32 : readers_.utf32_swap;
            for (const NQUtfWriter writer : to_writers) {
                check_to(utf32, texts.capacity(utf32.size()), copy, writer);
            }
            for (const NQUtfWriter writer : from_writers) {
                check_from(utf32, texts.capacity(utf32.size()), writer, copy);
            }
            any_reader = copy;
            check_from(utf32, texts.capacity(utf32.size()), texts.one_of(from_writers),
                       strange_reader);
        }
    }
}

TEST_P(UtfModelBody, AnErrorAtEachPlaceOfEachKindOfText) {
    std::mt19937_64 random(11);
    RandomTexts texts(random);
    for (std::uint64_t kind = 0; kind < 5; ++kind) {
        std::vector<std::uint8_t> utf8;
        std::vector<std::uint8_t> utf16;
        std::vector<std::uint8_t> utf32;
        while (utf8.size() < 300) {
            const NQChar code_point = texts.code_point(kind);
            append(utf8, model::utf8_of(code_point));
            append_unit32(utf32, code_point, false);
            append_unit16(utf16, code_point & 0xFFFF & ~0x800u, false);
        }
        for (std::size_t at = 0; at < utf8.size(); ++at) {
            for (const std::uint8_t error : kEdgeBytes) {
                std::vector<std::uint8_t> spoilt = utf8;
                spoilt[at] = error;
                check_to(spoilt, 4 * utf8.size(), readers_.utf8, writers_.utf32_swap);
            }
            const std::vector<std::uint8_t> cut(utf8.begin(),
                                                utf8.begin() + static_cast<std::ptrdiff_t>(at));
            check_to(cut, 4 * cut.size(), readers_.utf8, writers_.utf32);
        }
        for (std::size_t at = 1; at < utf16.size(); at += 2) {
            std::vector<std::uint8_t> spoilt = utf16;
            for (const std::uint8_t error : {std::uint8_t{0xD8}, std::uint8_t{0xDC}}) {
                spoilt[at] = error;
                check_to(spoilt, 2 * utf16.size(), readers_.utf16_swap, writers_.utf32);
            }
        }
        for (std::uint64_t capacity = 0; capacity <= utf32.size(); ++capacity) {
            check_from(utf32, capacity, writers_.utf8, readers_.utf32_swap);
            check_from(utf32, capacity, writers_.pairs, readers_.utf32_swap);
            check_to(utf8, capacity, readers_.utf8, writers_.utf32_swap);
        }
    }
}

class UtfModelEdgeBody : public UtfModelBody {};

TEST_P(UtfModelEdgeBody, TextsOfEveryLengthAtEveryStart) {
    // Of source and target, for each routine and text; shared out among its pairs.
    constexpr std::size_t kStarts = NQ_UNDER_SANITIZER ? 64 : 800;
    std::mt19937_64 random(3);
    RandomTexts texts(random);
    for (std::uint64_t kind = 0; kind < 5; ++kind) {
        std::vector<std::uint8_t> utf8;
        std::vector<std::uint8_t> utf16[2];
        std::vector<std::uint8_t> utf32[2];
        for (std::size_t count = 0; count <= 100 && !HasFatalFailure(); ++count) {
            check_to(utf8, 4 * count, readers_.utf8, writers_.utf32, kStarts / 2);
            check_to(utf8, 4 * count, readers_.utf8, writers_.utf32_swap, kStarts / 2);
            for (const bool is_big : {false, true}) {
                const NQUtfReader pairs = is_big ? readers_.utf16 : readers_.utf16_swap;
                check_to(utf16[is_big], 4 * count, pairs, writers_.utf32, kStarts / 4);
                check_to(utf16[is_big], 4 * count, pairs, writers_.utf32_swap, kStarts / 4);
                const auto& units = utf32[is_big];
                const NQUtfReader copy = is_big ? readers_.utf32 : readers_.utf32_swap;
                const NQUtfWriter other = is_big ? writers_.utf32_swap : writers_.utf32;
                check_to(units, 4 * count, copy, other, kStarts / 2);
                check_from(units, 4 * count, other, copy, kStarts / 2);
                check_from(units, utf8.size(), writers_.utf8, copy, kStarts / 2);
                check_from(units, utf16[0].size(), writers_.pairs, copy, kStarts / 4);
                check_from(units, utf16[0].size(), writers_.pairs_swap, copy, kStarts / 4);
                check_from(units, 2 * count, writers_.cut, copy, kStarts / 4);
                check_from(units, 2 * count, writers_.cut_swap, copy, kStarts / 4);
            }
            const NQChar code_point = texts.code_point(kind);
            append(utf8, model::utf8_of(code_point));
            for (const bool is_big : {false, true}) {
                append_utf16(utf16[is_big], code_point, is_big);
                append_unit32(utf32[is_big], code_point, is_big);
            }
        }
    }
}

TEST_P(UtfModelBody, LongTextsEndAtEveryLength) {
    std::mt19937_64 random(5);
    RandomTexts texts(random);
    std::vector<std::uint8_t> utf8;
    while (utf8.size() < 66000) {
        for (const NQChar unit : texts.code_points()) append(utf8, model::utf8_of(unit));
    }
    for (const std::size_t near : {511u, 1023u, 4095u, 65535u}) {
        for (std::size_t length = near - 4; length <= near + 4; ++length) {
            const std::vector<std::uint8_t> text(
                utf8.begin(), utf8.begin() + static_cast<std::ptrdiff_t>(length));
            check_to(text, 4 * length, readers_.utf8, writers_.utf32_swap);
        }
    }
}

NQ_FOR_EACH_BODY(UtfModelBody);
NQ_FOR_EACH_BODY(UtfModelEdgeBody);

// --- Which way is taken --------------------------------------------------------------------------

int block_conversions;

// The generic body, counting the conversions that it is asked for.
TextKernels counting_kernels() {
    TextKernels kernels = kGenericTextKernels;
    kernels.utf8_to_utf32 = [](Cursor& cursor, ByteOrder out) noexcept {
        ++block_conversions;
        return kGenericTextKernels.utf8_to_utf32(cursor, out);
    };
    kernels.utf16_to_utf32 = [](Cursor& cursor, ByteOrder in, ByteOrder out) noexcept {
        ++block_conversions;
        return kGenericTextKernels.utf16_to_utf32(cursor, in, out);
    };
    kernels.utf32_to_utf8 = [](Cursor& cursor, ByteOrder in) noexcept {
        ++block_conversions;
        return kGenericTextKernels.utf32_to_utf8(cursor, in);
    };
    kernels.utf32_to_utf16 = [](Cursor& cursor, ByteOrder in, ByteOrder out, bool pairs) noexcept {
        ++block_conversions;
        return kGenericTextKernels.utf32_to_utf16(cursor, in, out, pairs);
    };
    kernels.swap_units = [](const std::uint8_t* source, std::uint8_t* target,
                            std::size_t count) noexcept {
        ++block_conversions;
        kGenericTextKernels.swap_units(source, target, count);
    };
    return kernels;
}

TEST(UtfDriverBlocks, PairsOfTheLibrarysOwnRoutinesTakeThem) {
    const TextKernels counting = counting_kernels();
    text_kernels_in_use = &counting;
    std::uint8_t source[256] = {}, target[1024];  // more than a few characters
    const auto blocks_to = [&](NQUtfReader reader, NQUtfWriter writer) {
        block_conversions = 0;
        ConvertToUTF32(source, sizeof source, target, sizeof target, nullptr, reader, writer);
        return block_conversions;
    };
    const auto blocks_from = [&](NQUtfReader reader, NQUtfWriter writer) {
        block_conversions = 0;
        ConvertFromUTF32(source, sizeof source, target, sizeof target, nullptr, writer, reader);
        return block_conversions;
    };
    for (const NQUtfWriter writer : {COPY_UTF32, COPY_UTF32_SWAP}) {
        for (const NQUtfReader reader : {UTF8_UTF32, UTF16_UTF32, UTF16_UTF32_SWAP}) {
            EXPECT_EQ(blocks_to(reader, writer), 1);
        }
    }
    EXPECT_EQ(blocks_to(COPY_UTF32b, COPY_UTF32_SWAP), 1);
    EXPECT_EQ(blocks_to(COPY_UTF32b_SWAP, COPY_UTF32), 1);
    for (const NQUtfReader reader : {COPY_UTF32b, COPY_UTF32b_SWAP}) {
        for (const NQUtfWriter writer :
             {UTF32_UTF8, UTF32_UTF16, UTF32_UTF16_SWAP, UTF32_UTF16s, UTF32_UTF16s_SWAP}) {
            EXPECT_EQ(blocks_from(reader, writer), 1);
        }
    }
    EXPECT_EQ(blocks_from(COPY_UTF32b, COPY_UTF32_SWAP), 1);
    EXPECT_EQ(blocks_to(UTF8_UTF32, UTF32_UTF8), 0);
    EXPECT_EQ(blocks_from(UTF8_UTF32, UTF32_UTF8), 0);
    text_kernels_in_use = nullptr;
}

TEST(TextKernels, TheBestBodyIsChosenOnceAndTheGenericOneIsThere) {
    text_kernels_in_use = nullptr;
    EXPECT_EQ(&text_kernels(), text_kernel_bodies().front());
    EXPECT_EQ(text_kernels_in_use.in_use(), text_kernel_bodies().front());
    EXPECT_EQ(text_kernel_bodies().back(), &kGenericTextKernels);
    text_kernels_in_use = &kGenericTextKernels;
    EXPECT_EQ(&text_kernels(), &kGenericTextKernels);
    text_kernels_in_use = nullptr;
}

}  // namespace
}  // namespace nq::test
