// Each loop of the text library's table: how many times as fast the wide body is as the generic
// one, in one run. A loop that is below kLeast at every size at which the library calls it has no
// place in the table. Ratios of sizes at which the library has a loop of its own are in brackets.
//
//     bodies_bench [loop...]     all without one
#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "bench/measure.hpp"
#include "bench/require.hpp"
#include "bench/sample_texts.hpp"
#include "nqinstance/text/kernels/short_blocks.hpp"
#include "nqinstance/text/kernels/table.hpp"
#include "nqinstance/text/utf.h"

namespace nq::bench {
namespace {

constexpr std::size_t kSizes[] = {16, 64, 256, 4096};  // bytes, or elements of a wider type
constexpr double kLeast = 1.15;

// What a call works on.
struct Input {
    Input(const Sample& sample, std::size_t elements) : size(elements) {
        const auto* source = reinterpret_cast<const std::uint8_t*>(sample.bytes.data());
        std::uint64_t bytes = 0;
        units.resize(sample.bytes.size());
        ConvertToUTF32(source, sample.bytes.size(), reinterpret_cast<std::uint8_t*>(units.data()),
                       4 * units.size(), &bytes, UTF8_UTF32, COPY_UTF32_SWAP);
        units.resize(size);
        utf16.resize(4 * size);
        ConvertFromUTF32(reinterpret_cast<const std::uint8_t*>(units.data()), 4 * size,
                         utf16.data(), utf16.size(), &bytes, UTF32_UTF16s, COPY_UTF32b_SWAP);
        utf16.resize(bytes);
        std::size_t length = size;
        while ((source[length] & 0xC0) == 0x80) --length;
        text.assign(source, source + length);
        characters = kGenericTextKernels.count_characters(text.data(), length);
        upper = text;
        kGenericTextKernels.to_upper(upper.data(), upper.size());
        upper_units = units;
        kGenericTextKernels.map_ascii_units(upper_units.data(), size, 'a');
    }

    std::size_t size;
    std::vector<std::uint8_t> text;  // UTF-8 of `size` bytes, or less to the last whole character
    std::size_t characters = 0;      // in it
    std::vector<std::uint8_t> upper;
    std::vector<NQChar> units;  // `size` of them
    std::vector<NQChar> upper_units;
    std::vector<std::uint8_t> utf16;  // the same characters
    std::vector<std::uint8_t> zero_bytes = std::vector<std::uint8_t>(size);
    std::vector<NQChar> zero_units = std::vector<NQChar>(size);
    std::vector<double> zero_values = std::vector<double>(size);
    std::vector<std::uint8_t> target = std::vector<std::uint8_t>(4 * size);
};

// Where the library calls a loop: from the shortest that does not stay in the caller.
struct Called {
    std::size_t from;
    std::size_t to = SIZE_MAX;
    bool takes_others = true;
    bool holds(std::size_t size) const noexcept { return size >= from && size <= to; }
};
constexpr Called kAlways{0};
constexpr Called kBytes{kInlineBytes};
constexpr Called kUnits{kInlineBytes / sizeof(NQChar)};
constexpr Called kDoubles{kInlineBytes / sizeof(double)};
constexpr Called kLongBytes{kShortBytes + 1};
constexpr Called kMiddleBytesOnly{kShortBytes + 1, kMiddleBytes, false};
constexpr Called kMiddleUnitsOnly{kShortBytes / sizeof(NQChar) + 1, kMiddleBytes / sizeof(NQChar),
                                  false};

enum class Texts { english, all };

class Table {
  public:
    Table(const TextKernels& wide, std::span<char*> wanted) : wide_(wide), wanted_(wanted) {
        std::printf("%-40s %-8s", "loop", "text");
        for (const std::size_t size : kSizes) std::printf(" %7zu ", size);
        std::printf("\n");
    }

    // The rows of the loop at that place; `call` makes one call of it with the given body.
    template <class Call>
    void rows(const char* loop, std::size_t place, const Called& called, Texts texts, Call call) {
        measured_.insert(place);
        if (!wanted_.empty() && std::ranges::find(wanted_, std::string_view(loop)) == wanted_.end())
            return;
        bool wins = false;
        for (std::size_t text = 0; text < (texts == Texts::all ? samples_.size() : 1); ++text) {
            std::printf("%-40s %-8s", loop, texts == Texts::all ? samples_[text].name.c_str() : "");
            for (const std::size_t size : kSizes) {
                if (!called.holds(size) && !called.takes_others) {
                    std::printf(" %8s", "");
                    continue;
                }
                Input in(samples_[text], size);
                const double ratio =
                    best_times([&] { call(wide_, in); }, [&] { call(kGenericTextKernels, in); })
                        .ratio();
                char cell[16];
                std::snprintf(cell, sizeof cell, called.holds(size) ? "%.2f " : "(%.2f)", ratio);
                std::printf(" %8s", cell);
                wins |= called.holds(size) && ratio >= kLeast;
            }
            std::printf("\n");
        }
        if (!wins) losers_.push_back(loop);
    }

    void print_losers() const {
        constexpr std::size_t kLoops = sizeof(TextKernels) / sizeof(void*) - 1;
        require(measured_.size() == kLoops, "a loop of the table is not measured");
        for (const char* loop : losers_) std::printf("%s does not win\n", loop);
    }

  private:
    const TextKernels& wide_;
    std::span<char*> wanted_;
    std::vector<Sample> samples_ = sample_texts(4 * std::ranges::max(kSizes));
    std::set<std::size_t> measured_;  // by their places in the table
    std::vector<const char*> losers_;
};

#define NQ_LOOP(name) #name, offsetof(TextKernels, name)

void memory_rows(Table& table) {
    using Body = const TextKernels&;
    table.rows(NQ_LOOP(to_upper), kBytes, Texts::english,
               [](Body body, Input& in) { body.to_upper(in.text.data(), in.text.size()); });
    table.rows(NQ_LOOP(to_lower), kBytes, Texts::english,
               [](Body body, Input& in) { body.to_lower(in.text.data(), in.text.size()); });
    table.rows(NQ_LOOP(map_ascii), kAlways, Texts::english, [](Body body, Input& in) {
        keep(body.map_ascii(in.text.data(), in.target.data(), in.text.size(), 'a'));
    });
    table.rows(NQ_LOOP(map_ascii_units), kAlways, Texts::english, [](Body body, Input& in) {
        keep(body.map_ascii_units(in.units.data(), in.size, 'a'));
    });
    table.rows(NQ_LOOP(fill_bytes), kMiddleBytesOnly, Texts::english,
               [](Body body, Input& in) { body.fill_bytes(in.target.data(), 'x', in.size); });
    table.rows(NQ_LOOP(fill_units), kMiddleUnitsOnly, Texts::english,
               [](Body body, Input& in) { body.fill_units(in.units.data(), 'x', in.size); });
    table.rows(NQ_LOOP(move), kMiddleBytesOnly, Texts::english, [](Body body, Input& in) {
        keep(body.move(in.text.data(), in.target.data(), in.size));
    });
    table.rows(NQ_LOOP(find_first_not_byte), kBytes, Texts::english, [](Body body, Input& in) {
        keep(body.find_first_not_byte(in.zero_bytes.data(), in.size, 0));
    });
    table.rows(NQ_LOOP(first_mismatch), kUnits, Texts::english,
               [other = std::vector<NQChar>(4096)](Body body, Input& in) {
                   keep(body.first_mismatch(in.zero_units.data(), other.data(), in.size));
               });
    table.rows(NQ_LOOP(scan_first_not_unit), kUnits, Texts::english, [](Body body, Input& in) {
        keep(body.scan_first_not_unit(in.zero_units.data(), in.size, 0));
    });
    table.rows(NQ_LOOP(all_units_equal), kUnits, Texts::english, [](Body body, Input& in) {
        keep(body.all_units_equal(in.zero_units.data(), in.size, 0));
    });
    table.rows(NQ_LOOP(has_nan), kDoubles, Texts::english,
               [](Body body, Input& in) { keep(body.has_nan(in.zero_values.data(), in.size)); });
    table.rows(NQ_LOOP(scan), kLongBytes, Texts::english,
               [](Body body, Input& in) { keep(body.scan(in.zero_bytes.data(), in.size, 1)); });
    table.rows(NQ_LOOP(compare), kLongBytes, Texts::english,
               [other = std::vector<std::uint8_t>(4096)](Body body, Input& in) {
                   keep(body.compare(in.zero_bytes.data(), other.data(), in.size));
               });
}

void text_rows(Table& table) {
    using Body = const TextKernels&;
    // The first of the pair stands in the text, the second does not.
    table.rows(NQ_LOOP(find_pair), kAlways, Texts::english, [](Body body, Input& in) {
        keep(body.find_pair(in.text.data(), in.text.size() - 1, 1, 'k', '\n'));
    });
    table.rows(NQ_LOOP(equal_prefix_ignoring_ascii_case_utf8), kBytes, Texts::all,
               [](Body body, Input& in) {
                   std::int32_t order = 0;
                   keep(body.equal_prefix_ignoring_ascii_case_utf8(in.text.data(), in.upper.data(),
                                                                   in.text.size(), order));
               });
    table.rows(NQ_LOOP(equal_prefix_ignoring_ascii_case_bytes), kBytes, Texts::english,
               [](Body body, Input& in) {
                   keep(body.equal_prefix_ignoring_ascii_case_bytes(in.text.data(), in.upper.data(),
                                                                    in.text.size()));
               });
    table.rows(NQ_LOOP(equal_prefix_ignoring_ascii_case_units), kUnits, Texts::english,
               [](Body body, Input& in) {
                   std::int32_t order = 0;
                   keep(body.equal_prefix_ignoring_ascii_case_units(
                       in.units.data(), in.upper_units.data(), in.size, order));
               });
    table.rows(NQ_LOOP(count_characters), kBytes, Texts::all, [](Body body, Input& in) {
        keep(body.count_characters(in.text.data(), in.text.size()));
    });
    table.rows(NQ_LOOP(size_of_characters), kBytes, Texts::all, [](Body body, Input& in) {
        keep(body.size_of_characters(in.text.data(), in.characters));
    });
    table.rows(NQ_LOOP(count_steps), kBytes, Texts::all, [](Body body, Input& in) {
        keep(body.count_steps(in.text.data(), in.text.size()).count);
    });
    table.rows(NQ_LOOP(utf8_bytes), kUnits, Texts::all,
               [](Body body, Input& in) { keep(body.utf8_bytes(in.units.data(), in.size)); });
}

void conversion_rows(Table& table) {
    using Body = const TextKernels&;
    constexpr auto kLittle = ByteOrder::little;
    const auto from = [](const auto& source, Input& in) {
        return Cursor{reinterpret_cast<const std::uint8_t*>(source.data()),
                      source.size() * sizeof source[0], in.target.data(), in.target.size()};
    };
    table.rows(NQ_LOOP(swap_units), kAlways, Texts::english, [](Body body, Input& in) {
        body.swap_units(reinterpret_cast<const std::uint8_t*>(in.units.data()), in.target.data(),
                        in.size);
    });
    table.rows(NQ_LOOP(utf8_to_utf32), kAlways, Texts::all, [=](Body body, Input& in) {
        Cursor cursor = from(in.text, in);
        keep(body.utf8_to_utf32(cursor, kLittle));
    });
    table.rows(NQ_LOOP(utf16_to_utf32), kAlways, Texts::all, [=](Body body, Input& in) {
        Cursor cursor = from(in.utf16, in);
        keep(body.utf16_to_utf32(cursor, kLittle, kLittle));
    });
    table.rows(NQ_LOOP(utf32_to_utf8), kAlways, Texts::all, [=](Body body, Input& in) {
        Cursor cursor = from(in.units, in);
        keep(body.utf32_to_utf8(cursor, kLittle));
    });
    table.rows(NQ_LOOP(utf32_to_utf16), kAlways, Texts::all, [=](Body body, Input& in) {
        Cursor cursor = from(in.units, in);
        keep(body.utf32_to_utf16(cursor, kLittle, kLittle, true));
    });
}

}  // namespace
}  // namespace nq::bench

int main(int argc, char** argv) {
    const auto bodies = nq::text_kernel_bodies();
    nq::bench::require(bodies.size() > 1, "this processor runs the generic body only");
    nq::bench::Table table(*bodies.front(), {argv + 1, static_cast<std::size_t>(argc - 1)});
    nq::bench::memory_rows(table);
    nq::bench::text_rows(table);
    nq::bench::conversion_rows(table);
    table.print_losers();
}
