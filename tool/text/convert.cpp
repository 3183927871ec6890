#include <algorithm>
#include <vector>

#include "standalone/base/utf8.hpp"
#include "tool/io/report.hpp"
#include "tool/text/commands.hpp"
#include "tool/text/session.hpp"

namespace nq::tool {
namespace {

// A text encoding as the library's drivers are told of it. The UTF-16 readers without a suffix are
// big-endian, the writers little-endian.
struct Encoding {
    const char* name;
    const char* reader;
    const char* writer;
    std::size_t unit_bytes;
};

constexpr Encoding kEncodings[] = {
    {"UTF-8", "UTF8_UTF32", "UTF32_UTF8", 1},
    {"UTF-16", "UTF16_UTF32_SWAP", "UTF32_UTF16s", 2},
    {"UTF-16", "UTF16_UTF32", "UTF32_UTF16s_SWAP", 2},
    {"UTF-32", "COPY_UTF32b_SWAP", "COPY_UTF32_SWAP", 4},
    {"UTF-32", "COPY_UTF32b", "COPY_UTF32", 4},
};
static_assert(std::size(kEncodings) == std::size(kEncodingNames));

using Reader = std::remove_pointer_t<NQUtfReader>;
using Writer = std::remove_pointer_t<NQUtfWriter>;

// NQChar units are stored in the machine's order.
constexpr const char* kUnitReader = "COPY_UTF32b_SWAP";
constexpr const char* kUnitWriter = "COPY_UTF32_SWAP";
constexpr std::size_t kUnitBytes = sizeof(NQChar);

// What the library converts.
class Converter {
  public:
    explicit Converter(TextSession& session)
        : session_(session),
          from_(kEncodings[session.settings().from]),
          to_utf32_(NQTOOL_ROUTINE(session, ConvertToUTF32)),
          from_utf32_(NQTOOL_ROUTINE(session, ConvertFromUTF32)),
          reader_(session.routine<Reader>(from_.reader)),
          writer_(session.routine<Writer>(kEncodings[session.settings().to].writer)),
          unit_reader_(session.routine<Reader>(kUnitReader)),
          unit_writer_(session.routine<Writer>(kUnitWriter)) {}

    ExitStatus convert(const std::string& name) {
        return from_.unit_bytes == 1 ? convert_utf8(name) : convert_wide(name);
    }

  private:
    // The source takes care of what is malformed, which the library's reader would partly let pass.
    ExitStatus convert_utf8(const std::string& name) {
        TextSource source = session_.open(name, Malformed::kReplace);
        do {
            source.refill();
            const std::string_view text = source.text();
            make_room(text.size());
            const NQStatus status = read_units(text);
            if (status != NQ_STATUS_OK) session_.run().fail(status);
            write_units();
            source.consume(text.size());
        } while (!source.is_complete());
        return source.finish();
    }

    ExitStatus convert_wide(const std::string& name) {
        ByteSource source(name, session_.room());
        TextPosition position;
        uint64_t malformed = 0;
        do {
            source.fill();
            make_room(source.bytes().size());
            malformed_.clear();
            read_window(source);
            const bool is_refused = session_.settings().is_strict && !malformed_.empty();
            if (is_refused) count_ = malformed_.front();
            malformed += malformed_.size();
            write_units();
            advance(position);
            if (is_refused) {
                report(place_in(source.shown_name(), position.line, position.column),
                       std::string("not valid ") + from_.name);
                throw RunEnded{{ExitStatus::kInvalid}};
            }
        } while (!source.is_at_end() || !source.bytes().empty());
        return report_malformed(source.shown_name(), malformed, true);
    }

    // Forgets the units; a window never holds more of them than bytes.
    void make_room(std::size_t bytes) {
        count_ = 0;
        if (units_.size() < bytes) units_.resize(bytes);
    }

    void add(NQChar unit) { units_[count_++] = unit; }

    // Takes all characters from the window but one that may go on behind it. The library's readers
    // do not wait: to them a high surrogate at the end of the window is malformed.
    void read_window(ByteSource& source) {
        constexpr std::size_t kLongest = 4;
        while (!source.bytes().empty()) {
            const std::size_t whole = source.bytes().size() / from_.unit_bytes * from_.unit_bytes;
            const std::size_t before = count_;
            if (whole != 0) read_units(source.bytes().substr(0, whole));
            source.consume(bytes_from(before));
            replace_no_characters(before);
            if (source.bytes().empty()) return;
            if (source.bytes().size() < kLongest && !source.is_at_end()) return;
            skip_malformed(source);
        }
    }

    // Adds the units of the text up to the first that the library's reader refuses.
    NQStatus read_units(std::string_view text) {
        uint64_t produced = 0;
        const NQStatus status =
            to_utf32_(bytes_of(text), text.size(), bytes_of(units_) + byte_count(),
                      units_.size() * kUnitBytes - byte_count(), &produced, reader_, unit_writer_);
        count_ += produced / kUnitBytes;
        return status;
    }

    std::size_t byte_count() const { return count_ * kUnitBytes; }

    // How many bytes the units from `first` on were read from.
    std::size_t bytes_from(std::size_t first) const {
        std::size_t bytes = (count_ - first) * from_.unit_bytes;
        if (from_.unit_bytes != 2) return bytes;
        for (std::size_t i = first; i < count_; ++i) bytes += units_[i] > 0xffff ? 2 : 0;
        return bytes;
    }

    // The library's UTF-32 readers let every value pass.
    void replace_no_characters(std::size_t first) {
        for (std::size_t i = first; i < count_; ++i) {
            if (is_scalar_value(units_[i])) continue;
            units_[i] = kReplacementCharacter;
            malformed_.push_back(i);
        }
    }

    // As many bytes as the library's reader takes for one malformed character.
    void skip_malformed(ByteSource& source) {
        const std::string_view text = source.bytes();
        NQChar unit = kReplacementCharacter;
        uint64_t consumed = 0;
        reader_(bytes_of(text), text.size(), &unit, &consumed);
        source.consume(std::min<std::size_t>(consumed, text.size()));
        malformed_.push_back(count_);
        add(kReplacementCharacter);
    }

    void write_units() {
        if (count_ == 0) return;
        const auto write = [&](uint8_t* target, uint64_t capacity, uint64_t* written) {
            return from_utf32_(bytes_of(units_), byte_count(), target, capacity, written, writer_,
                               unit_reader_);
        };
        // No encoding takes more than UTF-32.
        session_.write(session_.buffered(byte_count(), write));
    }

    void advance(TextPosition& position) const {
        for (std::size_t i = 0; i < count_; ++i) {
            ++position.column;
            if (units_[i] == '\n') position = {position.line + 1, 1};
        }
    }

    static uint8_t* bytes_of(std::vector<NQChar>& units) {
        return reinterpret_cast<uint8_t*>(units.data());
    }
    static const uint8_t* bytes_of(std::string_view text) { return tool::bytes_of(text); }

    TextSession& session_;
    const Encoding& from_;
    decltype(&::ConvertToUTF32) to_utf32_;
    decltype(&::ConvertFromUTF32) from_utf32_;
    Reader* reader_;
    Writer* writer_;
    Reader* unit_reader_;
    Writer* unit_writer_;
    std::vector<NQChar> units_;  // the first count_ of them
    std::size_t count_ = 0;
    std::vector<std::size_t> malformed_;  // where in the units
};

}  // namespace

void run_text_convert(Run& run, const TextSettings& settings) {
    TextSession session(run, settings);
    Converter converter(session);
    run.for_each_input([&](const std::string& name) { return converter.convert(name); });
}

}  // namespace nq::tool
