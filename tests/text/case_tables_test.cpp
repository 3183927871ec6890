// The built-in tables and the wide ones, against the pairs they were made of.
#include <gtest/gtest.h>

#include <set>

#include "nqinstance/text/case_fold.hpp"
#include "nqinstance/text/case_mapping.h"
#include "tests/text/case_pairs.hpp"
#include "tests/text/kernels/bodies.hpp"

namespace nq::test {
namespace {

using Pairs = std::map<std::uint32_t, std::uint32_t>;

constexpr NQChar kCodePoints = 0x110000;

void expect_every_code_point(NQChar (*look_up)(NQChar), const Pairs& pairs) {
    std::size_t changed = 0;
    for (NQChar unit = 0; unit < kCodePoints; ++unit) {
        ASSERT_EQ(look_up(unit), mapped(pairs, unit)) << std::hex << unit;
        changed += look_up(unit) != unit;
    }
    EXPECT_EQ(changed, pairs.size());
}

TEST(CaseTables, UpperIsThatOfThePairs) {
    const Pairs pairs = case_pairs("upper");
    EXPECT_EQ(pairs.size(), 671u);
    expect_every_code_point(table_upper, pairs);
}

TEST(CaseTables, LowerIsThatOfThePairs) {
    const Pairs pairs = case_pairs("lower");
    EXPECT_EQ(pairs.size(), 706u);
    expect_every_code_point(table_lower, pairs);
}

TEST(CaseTables, MinIsThatOfThePairs) {
    const Pairs pairs = case_pairs("min");
    EXPECT_EQ(pairs.size(), 1134u);
    expect_every_code_point(table_min, pairs);
}

TEST(CaseTables, MaxIsThatOfThePairs) {
    const Pairs pairs = case_pairs("max");
    EXPECT_EQ(pairs.size(), 1133u);
    expect_every_code_point(table_max, pairs);
}

TEST(CaseTables, ValuesThatAreNoCodePointsStay) {
    for (const NQChar unit : {0x110000u, 0x7FFFFFFFu, 0x80000041u, 0xFFFF0061u, 0xFFFFFFFFu}) {
        EXPECT_EQ(table_upper(unit), unit);
        EXPECT_EQ(table_lower(unit), unit);
        EXPECT_EQ(table_min(unit), unit);
        EXPECT_EQ(table_max(unit), unit);
    }
}

TEST(CaseTables, BytesOfOneCaseOnlyAreMapped) {
    for (unsigned byte = 0; byte < 256; ++byte) {
        const bool is_small = byte >= 'a' && byte <= 'z';
        const bool is_capital = byte >= 'A' && byte <= 'Z';
        EXPECT_EQ(ansi_upcasetable[byte], is_small ? byte - 32 : byte);
        EXPECT_EQ(ansi_lowcasetable[byte], is_capital ? byte + 32 : byte);
    }
}

// What is known of the built-in mappings without the pairs.
TEST(CaseTables, TellingRows) {
    EXPECT_EQ(table_upper('a'), NQChar{'A'});
    EXPECT_EQ(table_upper(0xFF), 0x178u);
    EXPECT_EQ(table_upper(0x1C5), 0x1C4u);
    EXPECT_EQ(table_lower(0x1C5), 0x1C6u);
    for (const NQChar stays : {0xDFu, 0xB5u, 0x130u, 0x131u, 0x3C2u, 0x10400u, 0x10428u}) {
        EXPECT_EQ(table_upper(stays), stays);
        EXPECT_EQ(table_lower(stays), stays);
    }
}

TEST(CaseTables, FarMappingsAreListed) {
    const NQChar far[][2] = {
        {0x17F, 0x53},  {0x253, 0x181}, {0x254, 0x186}, {0x257, 0x18A},   {0x258, 0x18E},
        {0x259, 0x18F}, {0x25B, 0x190}, {0x260, 0x193}, {0x263, 0x194},   {0x268, 0x197},
        {0x269, 0x196}, {0x26F, 0x19C}, {0x272, 0x19D}, {0x283, 0x1A9},   {0x288, 0x1AE},
        {0x28A, 0x1B1}, {0x28B, 0x1B2}, {0x292, 0x1B7}, {0x1F78, 0x1FF8}, {0x1F79, 0x1FF9},
    };
    std::size_t index = 0;
    for (const auto& [small, capital] : far) {
        EXPECT_EQ(mwz_upaux[2 * index], small);
        EXPECT_EQ(mwz_upaux[2 * index + 1], capital);
        EXPECT_EQ(table_upper(small), capital);
        // All but the first are listed the other way round as well.
        if (index > 0) {
            EXPECT_EQ(table_lower(capital), small);
        }
        ++index;
    }
    EXPECT_EQ(index, 20u);
    EXPECT_EQ(table_lower(0x53), NQChar{'s'});
    EXPECT_EQ(mwz_upaux[40] | mwz_upaux[41], 0u);
    EXPECT_EQ(mwz_downaux[38] | mwz_downaux[39], 0u);
    std::set<std::pair<NQChar, NQChar>> back;
    for (int i = 0; i < 19; ++i) back.insert({mwz_downaux[2 * i + 1], mwz_downaux[2 * i]});
    for (std::size_t i = 1; i < 20; ++i) EXPECT_TRUE(back.count({far[i][0], far[i][1]})) << i;
}

TEST(CaseTables, TellingRowsOfTheWideTables) {
    EXPECT_EQ(table_min(0x131), NQChar{'I'});
    EXPECT_EQ(table_min(0x17F), NQChar{'S'});
    EXPECT_EQ(table_min(0xE9), 0xC9u);
    EXPECT_EQ(table_min(0xFF41), 0xFF21u);
    EXPECT_EQ(table_min(0xDF), 0xDFu);
    EXPECT_EQ(table_max(0xC9), 0xE9u);
    EXPECT_EQ(table_max(0x391), 0x3B1u);
    EXPECT_EQ(table_max(0x131), 0x131u);
    EXPECT_EQ(table_max(0x17F), 0x17Fu);
    for (const char letter : {'K', 'k'}) EXPECT_EQ(table_max(static_cast<NQChar>(letter)), 0x212Au);
    for (const char letter : {'S', 's'}) EXPECT_EQ(table_max(static_cast<NQChar>(letter)), 0x17Fu);
    for (const char letter : {'I', 'i'}) EXPECT_EQ(table_max(static_cast<NQChar>(letter)), 0x131u);
    EXPECT_EQ(table_max(0x1D79), 0xA77Du);
}

template <class Entry, std::size_t N>
std::vector<std::uint32_t> blocks_with_rows(const Entry (&meta)[N]) {
    std::vector<std::uint32_t> blocks;
    for (std::uint32_t block = 0; block < N; ++block) {
        if (meta[block] < 0) {
            EXPECT_EQ(meta[block], -1);
            continue;
        }
        EXPECT_EQ(static_cast<std::size_t>(meta[block]), 128 * blocks.size());
        blocks.push_back(128 * block);
    }
    return blocks;
}

TEST(CaseTables, BlocksWithRows) {
    EXPECT_EQ(blocks_with_rows(mwz_metatable),
              (std::vector<std::uint32_t>{0x0, 0x80, 0x100, 0x180, 0x200, 0x280, 0x380, 0x400,
                                          0x480, 0x500, 0x580, 0x1080, 0x1E00, 0x1E80, 0x1F00,
                                          0x1F80, 0x2100, 0x2480, 0xFF00}));
    EXPECT_EQ(
        blocks_with_rows(mwz_min_meta),
        (std::vector<std::uint32_t>{0x0,    0x80,   0x100,  0x180,  0x200,  0x280,  0x300,  0x380,
                                    0x400,  0x480,  0x500,  0x580,  0x1380, 0x1C80, 0x1E00, 0x1E80,
                                    0x1F00, 0x1F80, 0x2100, 0x2180, 0x2480, 0x2C00, 0x2C80, 0x2D00,
                                    0xA600, 0xA680, 0xA700, 0xA780, 0xAB00, 0xAB80, 0xFF00}));
    EXPECT_EQ(blocks_with_rows(mwz_max_meta),
              (std::vector<std::uint32_t>{
                  0x0,    0x80,   0x100,  0x180,  0x200,  0x280,  0x300,  0x380,  0x400,  0x480,
                  0x500,  0x1080, 0x1380, 0x1C80, 0x1D00, 0x1E00, 0x1E80, 0x1F00, 0x1F80, 0x2100,
                  0x2180, 0x2480, 0x2C00, 0x2C80, 0xA600, 0xA680, 0xA700, 0xA780, 0xFF00}));
}

// The exported routines, over all code points at once and without a host.
class CaseTablesBody : public TextBody {
  protected:
    void expect_all(void (*map)(NQChar*, std::int64_t), const Pairs& pairs) {
        std::vector<NQChar> units(kCodePoints);
        for (NQChar unit = 0; unit < kCodePoints; ++unit) units[unit] = unit;
        map(units.data(), kCodePoints);
        for (NQChar unit = 0; unit < kCodePoints; ++unit) {
            ASSERT_EQ(units[unit], mapped(pairs, unit)) << std::hex << unit;
        }
    }
};

TEST_P(CaseTablesBody, AllCodePointsAtOnce) {
    expect_all(NQ_UNDER_TEST(nqzstup), case_pairs("upper"));
    expect_all(NQ_UNDER_TEST(nqzstlo), case_pairs("lower"));
    expect_all(NQ_UNDER_TEST(nqzstmin), case_pairs("min"));
    expect_all(NQ_UNDER_TEST(nqzstmax), case_pairs("max"));
}

NQ_FOR_EACH_BODY(CaseTablesBody);

}  // namespace
}  // namespace nq::test
