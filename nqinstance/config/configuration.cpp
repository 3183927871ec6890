#include "nqinstance/config/configuration.h"

#include "nqinstance/base/held.hpp"
#include "nqinstance/base/try.hpp"
#include "nqinstance/config/config_dictionary.hpp"
#include "nqinstance/config/configuration.hpp"
#include "nqinstance/config/text_reader.h"
#include "nqinstance/text/utf8.h"

namespace nq {
namespace {

// The bytes of a line between `start` and `end`.
struct Piece {
    const uint8_t* start;
    uint64_t bytes;
};

// The index of the character in the line, or -1.
int64_t find(const NQU8String& line, uint8_t character) noexcept {
    return nqzsu8IndexText(line.bytes, line.length, &character, 1, NQ_ENCODING_UTF8);
}

bool is_blank(uint8_t byte) noexcept { return byte == '\t' || byte == ' '; }

// What of a read is left with the pool on purpose after a line. Released, it would be missing from
// what a host finds in the pool.
enum class Kept { kNothing, kLine, kEverything };

// Puts one line after the other into the dictionaries.
class ConfigurationParser {
  public:
    ConfigurationParser(InstanceApi* api, HostPool* pool, NQDictionary* root) noexcept
        : api_(api), pool_(pool), root_(root), target_(root) {}

    NQStatus take(NQU8String* line, Kept& kept) noexcept {
        const bool is_indented = line->length && is_blank(line->bytes[0]);
        NQ_TRY(line->methods->trim(line));
        if (line->length == 0) return NQ_STATUS_OK;
        switch (line->bytes[0]) {
            case '#':
                kept = Kept::kLine;
                return NQ_STATUS_OK;
            case '[':
                return take_section(*line, kept);
            default:
                return take_entry(*line, is_indented, kept);
        }
    }

  private:
    NQStatus take_section(const NQU8String& line, Kept& kept) noexcept {
        const int64_t close = find(line, ']');
        if (close < 0) {
            kept = Kept::kEverything;
            return NQ_STATUS_UNCLOSED_SECTION;
        }
        nested_ = nullptr;
        Held<NQU8String> name;
        const Piece inside{line.bytes + 1, static_cast<uint64_t>(close) - 1};
        NQ_TRY(make_string(inside, name));
        return open_dictionary(root_, name.get(), target_);
    }

    NQStatus take_entry(const NQU8String& line, bool is_indented, Kept& kept) noexcept {
        const int64_t equals = find(line, '=');
        if (equals < 0) {
            kept = Kept::kEverything;
            return NQ_STATUS_MISSING_EQUALS;
        }
        const auto key_bytes = static_cast<uint64_t>(equals);
        Held<NQU8String> key;
        NQ_TRY(make_trimmed({line.bytes, key_bytes}, key));
        Held<NQU8String> value;
        const Piece right{line.bytes + key_bytes + 1, line.length - key_bytes - 1};
        NQ_TRY(make_trimmed(right, value));

        if (nested_ && is_indented) return set(nested_, key.get(), value.get());
        // The line that ends a nested block does not open another one, on purpose: "b =" behind the
        // block of "a =" is an empty text and not a dictionary.
        const bool ends_block = nested_ != nullptr;
        nested_ = nullptr;
        if (ends_block || value->length) return set(target_, key.get(), value.get());
        return open_dictionary(target_, key.get(), nested_);
    }

    // Sets a new dictionary into `holder`, which keeps it alive, and stores it in `opened`.
    NQStatus open_dictionary(NQDictionary* holder, NQU8String* key,
                             NQDictionary*& opened) noexcept {
        Held<NQDictionary> made;
        NQ_TRY(createConfigDictionary(api_, pool_, made.out()));
        NQ_TRY(holder->set(holder, key, &made->header));
        opened = made.get();
        return NQ_STATUS_OK;
    }

    static NQStatus set(NQDictionary* holder, NQU8String* key, NQU8String* value) noexcept {
        return holder->set(holder, key, &value->header);
    }

    NQStatus make_string(Piece piece, Held<NQU8String>& text) noexcept {
        NQStringApi* strings = root_->extension->strings;
        return strings->createFromUtf8(strings, text.out(), pool_, piece.start, piece.bytes, 1);
    }

    NQStatus make_trimmed(Piece piece, Held<NQU8String>& text) noexcept {
        NQ_TRY(make_string(piece, text));
        return text->methods->trim(text.get());
    }

    InstanceApi* api_;
    HostPool* pool_;
    NQDictionary* root_;
    NQDictionary* target_;            // the current section, or the root before the first one
    NQDictionary* nested_ = nullptr;  // the dictionary of the open indented block
};

}  // namespace

void setConfOps(InstanceApi* api) noexcept {
    api->readConfiguration = nqInstanceReadConfiguration;
    api->createTextReader = nqTextReaderCreate;
    api->openTextReader = nqTextReaderOpen;
    api->readLine = nqTextReaderReadLine;
}

}  // namespace nq

NQStatus nqInstanceReadConfiguration(InstanceApi* api, HostPool* pool, const char* fileName,
                                     int32_t* lineNumber, NQDictionary** dictionary) noexcept {
    nq::Held<NQDictionary> root;
    NQ_TRY(nq::createConfigDictionary(api, pool, root.out()));
    nq::Held<NQTextReader> reader;
    NQ_TRY(nqTextReaderCreate(api, pool, reader.out()));
    NQ_TRY(nqTextReaderOpen(reader.get(), fileName));

    int32_t unused;
    int32_t& failed_line = lineNumber ? *lineNumber : unused;
    failed_line = -1;
    nq::ConfigurationParser parser(api, pool, root.get());
    for (uint32_t line_number = 0;; ++line_number) {
        nq::Held<NQU8String> line;
        NQ_TRY(nqTextReaderReadLine(reader.get(), line.in_out()));
        if (!line) break;
        nq::Kept kept = nq::Kept::kNothing;
        const NQStatus status = parser.take(line.get(), kept);
        if (kept != nq::Kept::kNothing) line.abandon();
        if (kept == nq::Kept::kEverything) {
            failed_line = static_cast<int32_t>(line_number);
            reader.abandon();
            root.abandon();
        }
        NQ_TRY(status);
    }
    *dictionary = root.take();
    return NQ_STATUS_OK;
}
