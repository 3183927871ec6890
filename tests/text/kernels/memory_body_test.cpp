#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "nqinstance/text/memory.h"
#include "nqinstance/text/utf.h"
#include "tests/support/guard_pages.hpp"
#include "tests/text/kernels/bodies.hpp"

namespace nq::test {
namespace {

constexpr std::size_t kRoom = 65536 * 8 + 4096;
constexpr std::size_t kMargin = 64;  // bytes around a range that are watched

const DemandedChecks kDemanded{
    "mwMemScan",   "mwMemNScan", "mwMemNot", "mwMemTNScan", "mwMemTNot",
    "mwMissArray", "mwStrUp",    "mwStrLow", "mwMemSet",    "mwMemTSet",
    "mwMemCpy",    "mwMemSCpy",  "mwMemCmp", "mwWMemCmp",   "GET_UTF8_LEN_FROM_NQCHAR"};

class MemoryBody : public TextBody {
  protected:
    // Calls check(start) for a range of `count` elements flush after a protected page, flush
    // before one, and starting at every offset of a 64-byte line.
    template <class Element, class Check>
    void at_each_place(std::size_t count, Check check) {
        const std::size_t bytes = count * sizeof(Element);
        for (std::size_t offset = 0; offset < 64; offset += sizeof(Element)) {
            check(reinterpret_cast<Element*>(pages_.first(offset + bytes).data() + offset));
        }
        check(reinterpret_cast<Element*>(pages_.last(bytes).data()));
    }

    // The range with up to kMargin bytes on both sides, as far as there are pages.
    template <class Element>
    std::span<Element> around(Element* start, std::size_t count) {
        const auto all = pages_.all();
        auto* bytes = reinterpret_cast<std::uint8_t*>(start);
        auto* from =
            std::max(all.data(), bytes - std::min<std::ptrdiff_t>(bytes - all.data(), kMargin));
        auto* to = bytes + count * sizeof(Element);
        to += std::min<std::ptrdiff_t>(all.data() + all.size() - to, kMargin);
        return {reinterpret_cast<Element*>(from),
                static_cast<std::size_t>(to - from) / sizeof(Element)};
    }

    // The lengths in elements, and of each the positions that matter.
    static std::vector<std::size_t> lengths() {
        std::vector<std::size_t> all;
        for (std::size_t length = 0; length <= 300; ++length) all.push_back(length);
        for (const std::size_t near : {511u, 1023u, 4095u, 65535u}) {
            for (std::size_t length = near - 1; length <= near + 1; ++length) all.push_back(length);
        }
        return all;
    }
    static std::vector<std::size_t> positions(std::size_t length, std::size_t all_up_to = 300) {
        std::vector<std::size_t> all;
        if (length <= all_up_to) {
            for (std::size_t i = 0; i < length; ++i) all.push_back(i);
        } else {
            for (const std::size_t i : {std::size_t{0}, std::size_t{31}, std::size_t{32},
                                        length / 2, length - 33, length - 32, length - 1}) {
                all.push_back(i);
            }
        }
        return all;
    }

    // A range full of `filler` in surroundings of `outside`; at each position one of `other` with
    // more of them behind it must be found there, and nothing in the range without.
    template <class Element, class Find>
    void check_scan(const Checks& checks, Element filler, Element other, Element outside,
                    Find find) {
        for (const std::size_t length : lengths()) {
            at_each_place<Element>(length, [&](Element* start) {
                std::ranges::fill(around(start, length), outside);
                std::fill_n(start, length, filler);
                ASSERT_EQ(checks.counted(find(start, length)), NQ_NOT_FOUND) << length;
                for (const std::size_t position : positions(length)) {
                    start[length - 1] = start[position] = other;
                    ASSERT_EQ(checks.counted(find(start, length)), position) << length;
                    start[length - 1] = start[position] = filler;
                }
            });
        }
    }

    template <class Element, class Find, class Is>
    void check_scan_for_other(const Checks& checks, Find find, const Checks& is_all_checks,
                              Is is_all) {
        const auto both = [&](Element value) {
            return [=](const Element* start, std::size_t length) {
                const std::uint64_t index = find(start, length, value);
                EXPECT_EQ(is_all_checks.counted(is_all(value, start, length)),
                          index == NQ_NOT_FOUND);
                return index;
            };
        };
        const auto near = [](Element value, int bit) {
            return static_cast<Element>(value ^ Element{1} << bit);
        };
        constexpr int kTop = 8 * sizeof(Element) - 1;
        check_scan<Element>(checks, ' ', near(' ', 0), near(' ', 3), both(' '));
        check_scan<Element>(checks, ' ', near(' ', kTop), ' ', both(' '));
    }

    // Places random contents with one chosen byte at each position and compares what `change`
    // makes of range and surroundings with what `model` makes of the range.
    template <class Element, class Change, class Model>
    void check_change(const Checks& checks, std::span<const Element> chosen, Change change,
                      Model model) {
        std::vector<Element> contents(pages_.all().size() / sizeof(Element));
        std::mt19937_64 random(7);
        for (Element& element : contents) element = static_cast<Element>(random());
        std::vector<Element> expected;
        std::size_t next = 0;
        for (const std::size_t length : lengths()) {
            at_each_place<Element>(length, [&](Element* start) {
                const auto window = around(start, length);
                const auto skipped = static_cast<std::size_t>(start - window.data());
                for (const std::size_t position : positions(length, 170)) {
                    std::copy_n(contents.begin(), window.size(), window.begin());
                    start[position] = chosen[next++ % chosen.size()];
                    expected.assign(window.begin(), window.end());
                    for (std::size_t i = 0; i < length; ++i) model(expected[skipped + i]);
                    change(start, length);
                    ASSERT_TRUE(checks.counted(std::ranges::equal(window, expected)))
                        << length << " " << position;
                }
            });
        }
    }

    void check_unit_set(NQChar value) {
        const NQChar units[] = {0};
        check_change<NQChar>(
            checks_of("mwMemTSet"), units,
            [set = NQ_UNDER_TEST(mwMemTSet), value](NQChar* start, std::size_t length) {
                set(start, value, length);
            },
            [value](NQChar& unit) { unit = value; });
    }

    GuardPages pages_{kRoom};
};

TEST_P(MemoryBody, ScanFindsTheFirstByte) {
    const auto scan = NQ_UNDER_TEST(mwMemScan);
    const auto find = [scan](const std::uint8_t* start, std::size_t length) {
        return scan(start, length, 0xE9);
    };
    const Checks checks = checks_of("mwMemScan");
    check_scan<std::uint8_t>(checks, 0xE8, 0xE9, 0xE9, find);
    check_scan<std::uint8_t>(checks, 0x69, 0xE9, 0xE8, find);
}

TEST_P(MemoryBody, ScanFindsTheFirstOtherByte) {
    check_scan_for_other<std::uint8_t>(
        checks_of("mwMemNScan"),
        [scan = NQ_UNDER_TEST(mwMemNScan)](auto... arguments) { return scan(arguments...); },
        checks_of("mwMemNot"),
        [is_all = NQ_UNDER_TEST(mwMemNot)](auto... arguments) { return is_all(arguments...); });
}

TEST_P(MemoryBody, ScanFindsTheFirstOtherUnit) {
    check_scan_for_other<NQChar>(
        checks_of("mwMemTNScan"),
        [scan = NQ_UNDER_TEST(mwMemTNScan)](auto... arguments) { return scan(arguments...); },
        checks_of("mwMemTNot"),
        [is_all = NQ_UNDER_TEST(mwMemTNot)](auto... arguments) { return is_all(arguments...); });
}

TEST_P(MemoryBody, MissingValueIsFoundAtEachPlace) {
    const auto is_missing = NQ_UNDER_TEST(mwMissArray);
    const Checks checks = checks_of("mwMissArray");
    for (const std::size_t length : lengths()) {
        at_each_place<double>(length, [&](double* start) {
            std::ranges::fill(around(start, length), std::nan(""));
            std::fill_n(start, length, 1.5);
            ASSERT_EQ(checks.counted(is_missing(start, length)), 0) << length;
            for (const std::size_t position : positions(length)) {
                for (const double nan : {std::nan("7"), -std::nan(""), std::nan("")}) {
                    start[position] = nan;
                    ASSERT_EQ(checks.counted(is_missing(start, length)), 1)
                        << length << " " << position;
                }
                start[position] = 1.5;
            }
        });
    }
}

TEST_P(MemoryBody, CasesChangeTheLettersOnly) {
    const std::uint8_t edges[] = {'a' - 1,    'a',        'm',        'z', 'z' + 1, 'A' - 1,
                                  'A',        'Z',        'Z' + 1,    0,   0x7F,    0x80,
                                  'a' + 0x80, 'z' + 0x80, 'A' + 0x80, 0xFF};
    check_change<std::uint8_t>(checks_of("mwStrUp"), edges, NQ_UNDER_TEST(mwStrUp),
                               [](std::uint8_t& byte) {
                                   if (byte >= 'a' && byte <= 'z')
                                       byte = static_cast<std::uint8_t>(byte - 32);
                               });
    check_change<std::uint8_t>(checks_of("mwStrLow"), edges, NQ_UNDER_TEST(mwStrLow),
                               [](std::uint8_t& byte) {
                                   if (byte >= 'A' && byte <= 'Z')
                                       byte = static_cast<std::uint8_t>(byte + 32);
                               });
}

TEST_P(MemoryBody, SetsStoreInTheRangeOnly) {
    const std::uint8_t bytes[] = {0};
    check_change<std::uint8_t>(
        checks_of("mwMemSet"), bytes,
        [set = NQ_UNDER_TEST(mwMemSet)](std::uint8_t* start, std::size_t length) {
            set(start, 0xC3, length);
        },
        [](std::uint8_t& byte) { byte = 0xC3; });
    check_unit_set(0x89ABCDEF);
}

TEST_P(MemoryBody, SetsOfUnitsAtEachAlignedPlace) {
    for (const NQChar value : {0u, 0xFFFFFFFFu, 0x41u}) check_unit_set(value);
}

TEST_P(MemoryBody, CopiesStoreInTheRangeOnly) {
    const auto copy = NQ_UNDER_TEST(mwMemCpy);
    const auto safe_copy = NQ_UNDER_TEST(mwMemSCpy);
    const Checks checks = checks_of("mwMemCpy");
    const Checks safe_checks = checks_of("mwMemSCpy");
    std::vector<std::uint8_t> all(kRoom);
    for (std::size_t i = 0; i < all.size(); ++i) {
        all[i] = static_cast<std::uint8_t>(i * 31 + (i >> 8));
    }
    for (const std::size_t length : lengths()) {
        // Ends with its memory, so that a sanitizer sees one byte too many.
        const std::vector<std::uint8_t> source(all.begin(),
                                               all.begin() + static_cast<std::ptrdiff_t>(length));
        for (const bool is_safe : {false, true}) {
            at_each_place<std::uint8_t>(length, [&](std::uint8_t* start) {
                const auto outside = around(start, length);
                std::ranges::fill(outside, std::uint8_t{0xEE});
                if (is_safe) {
                    safe_copy(source.data(), start, length);
                } else {
                    ASSERT_EQ(copy(source.data(), start, length), start);
                }
                ASSERT_TRUE((is_safe ? safe_checks : checks)
                                .counted(std::equal(source.begin(), source.end(), start)))
                    << length;
                const auto is_filler = [](std::uint8_t byte) { return byte == 0xEE; };
                ASSERT_TRUE(std::all_of(outside.data(), start, is_filler)) << length;
                ASSERT_TRUE(std::all_of(start + length, outside.data() + outside.size(), is_filler))
                    << length;
            });
        }
    }
}

TEST_P(MemoryBody, CopiesFromEachAlignedPlaceToEach) {
    const auto copy = NQ_UNDER_TEST(mwMemCpy);
    const auto safe_copy = NQ_UNDER_TEST(mwMemSCpy);
    const Checks checks = checks_of("mwMemCpy");
    const Checks safe_checks = checks_of("mwMemSCpy");
    constexpr std::size_t kLongest = 300;
    const GuardPages source(4096);
    const auto from_all = source.last(kLongest + 63);
    for (std::size_t i = 0; i < from_all.size(); ++i) {
        from_all[i] = static_cast<std::uint8_t>(i * 31 + (i >> 8));
    }
    for (std::size_t length = 0; length <= kLongest; ++length) {
        for (std::size_t at = 0; at < 64; ++at) {
            // Flush with the page's end for the first of them.
            const std::uint8_t* from = from_all.last(length + at).data();
            std::uint8_t expected[kLongest + 2 * kMargin];
            std::memset(expected, 0xEE, sizeof expected);
            std::memcpy(expected + kMargin, from, length);
            const std::size_t watched = length + 2 * kMargin;
            for (std::size_t offset = 0; offset < 64; ++offset) {
                std::uint8_t* window = pages_.all().data() + offset;
                std::memset(window, 0xEE, watched);
                copy(from, window + kMargin, length);
                ASSERT_TRUE(checks.counted(!std::memcmp(window, expected, watched)))
                    << length << " from " << at << " to " << offset;
                std::memset(window, 0xEE, watched);
                safe_copy(from, window + kMargin, length);
                ASSERT_TRUE(safe_checks.counted(!std::memcmp(window, expected, watched)))
                    << length << " from " << at << " to " << offset;
            }
        }
    }
}

TEST_P(MemoryBody, CopiesWithinAnArrayAreForwardLoopsOrMoves) {
    const auto copy = NQ_UNDER_TEST(mwMemCpy);
    const auto safe_copy = NQ_UNDER_TEST(mwMemSCpy);
    const Checks checks = checks_of("mwMemCpy");
    const Checks safe_checks = checks_of("mwMemSCpy");
    constexpr std::size_t kOffsets[] = {0,  1,  2,  7,   8,   15,  16,  17,  31,  32, 33,
                                        63, 64, 65, 100, 127, 128, 160, 200, 255, 256};
    std::vector<std::uint8_t> before(600);
    for (std::size_t i = 0; i < before.size(); ++i) before[i] = static_cast<std::uint8_t>(i * 7);
    for (std::size_t length = 0; length <= 300; ++length) {
        for (const std::size_t from : kOffsets) {
            for (const std::size_t to : kOffsets) {
                std::vector<std::uint8_t> looped = before;
                for (std::size_t i = 0; i < length; ++i) looped[to + i] = looped[from + i];
                std::vector<std::uint8_t> copied = before;
                copy(copied.data() + from, copied.data() + to, length);
                ASSERT_TRUE(checks.counted(copied == looped))
                    << length << " from " << from << " to " << to;

                std::vector<std::uint8_t> moved = before;
                std::copy_n(before.begin() + static_cast<std::ptrdiff_t>(from), length,
                            moved.begin() + static_cast<std::ptrdiff_t>(to));
                copied = before;
                safe_copy(copied.data() + from, copied.data() + to, length);
                ASSERT_TRUE(safe_checks.counted(copied == moved))
                    << length << " from " << from << " to " << to;
            }
        }
    }
}

TEST_P(MemoryBody, ComparesAreDecidedByTheFirstDifference) {
    const auto compare = NQ_UNDER_TEST(mwMemCmp);
    const auto compare_units = NQ_UNDER_TEST(mwWMemCmp);
    const Checks checks = checks_of("mwMemCmp");
    const Checks unit_checks = checks_of("mwWMemCmp");
    std::vector<std::uint8_t> bytes(kRoom, 0x80);
    std::vector<NQChar> units(kRoom / 4, 0x80000080);
    for (const std::size_t length : lengths()) {
        const std::vector<std::size_t> all = positions(length);
        at_each_place<std::uint8_t>(length, [&](std::uint8_t* start) {
            std::ranges::fill(around(start, length), std::uint8_t{0x01});
            std::fill_n(start, length, std::uint8_t{0x80});
            ASSERT_EQ(checks.counted(compare(start, bytes.data(), length)), 0);
            for (const std::size_t position : all) {
                const std::uint8_t value = position % 2 ? 0x7F : 0xFF;
                start[length - 1] = static_cast<std::uint8_t>(~value);
                start[position] = value;
                ASSERT_EQ(checks.counted(compare(start, bytes.data(), length)),
                          position % 2 ? -1 : 1);
                ASSERT_EQ(checks.counted(compare(bytes.data(), start, length)),
                          position % 2 ? 1 : -1);
                start[length - 1] = start[position] = 0x80;
            }
        });
        at_each_place<NQChar>(length, [&](NQChar* start) {
            std::ranges::fill(around(start, length), NQChar{0x01});
            std::fill_n(start, length, NQChar{0x80000080});
            ASSERT_EQ(unit_checks.counted(compare_units(start, units.data(), length)), 0);
            for (const std::size_t position : all) {
                // Numerically the greatest, yet less by the wrapped difference; and the reverse.
                const NQChar value = position % 2 ? 0x80 : 0x81;
                start[length - 1] = ~value;
                start[position] = value;
                const int order = static_cast<std::int32_t>(value - 0x80000080) < 0 ? -1 : 1;
                ASSERT_EQ(unit_checks.counted(compare_units(start, units.data(), length)), order)
                    << length;
                const int reverse = static_cast<std::int32_t>(0x80000080 - value) < 0 ? -1 : 1;
                ASSERT_EQ(unit_checks.counted(compare_units(units.data(), start, length)), reverse)
                    << length;
                start[length - 1] = start[position] = 0x80000080;
            }
        });
    }
}

TEST_P(MemoryBody, LengthsEndAtTheTerminator) {
    const auto length_of = NQ_UNDER_TEST(mwStrLen);
    const auto units_of = NQ_UNDER_TEST(mwStrTLen);
    for (const std::size_t length : lengths()) {
        at_each_place<char>(length + 1, [&](char* start) {
            std::fill_n(start, length, '\x80');
            start[length] = 0;
            ASSERT_EQ(length_of(start), length);
        });
        at_each_place<NQChar>(length + 1, [&](NQChar* start) {
            std::fill_n(start, length, NQChar{0x100});
            start[length] = 0;
            ASSERT_EQ(units_of(start), length);
        });
    }
}

TEST_P(MemoryBody, Utf8LengthAddsUpEachUnit) {
    const auto bytes_of = NQ_UNDER_TEST(GET_UTF8_LEN_FROM_NQCHAR);
    const Checks checks = checks_of("GET_UTF8_LEN_FROM_NQCHAR");
    constexpr std::pair<NQChar, std::uint64_t> kSizes[] = {
        {0, 1},        {0x7F, 1},       {0x80, 2},     {0x7FF, 2},     {0x800, 3},
        {0xD800, 3},   {0xFFFF, 3},     {0x10000, 4},  {0x10FFFF, 4},  {0x110000, 4},
        {0x200000, 4}, {0x7FFFFFFF, 4}, {1u << 31, 4}, {0xFFFFFFFF, 4}};
    std::size_t next = 0;
    for (const std::size_t length : lengths()) {
        at_each_place<NQChar>(length, [&](NQChar* start) {
            std::ranges::fill(around(start, length), 0x10000u);
            std::uint64_t expected = 0;
            for (std::size_t i = 0; i < length; ++i) {
                const auto& [unit, size] = kSizes[next++ * 5 / 3 % std::size(kSizes)];
                start[i] = unit;
                expected += size;
            }
            ASSERT_EQ(checks.counted(bytes_of(start, length)), expected) << length;
            for (const std::size_t position : positions(length)) {
                for (int round = 0; round < 2; ++round) {
                    const auto& [unit, size] = kSizes[next++ % std::size(kSizes)];
                    expected += size - bytes_of(start + position, 1);
                    start[position] = unit;
                    ASSERT_EQ(checks.counted(bytes_of(start, length)), expected)
                        << length << " " << position;
                }
            }
        });
    }
}

NQ_FOR_EACH_BODY(MemoryBody);

}  // namespace
}  // namespace nq::test
