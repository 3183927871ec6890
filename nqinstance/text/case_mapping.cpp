#include "nqinstance/text/case_mapping.h"

#include <string.h>

#include "nqinstance/text/case_run.hpp"

namespace nq {
namespace {

// Maps units, most of them outside ASCII, and stops before two ASCII units in a row. Never inlined,
// so that all its state stays in registers. Maps two units in each round, because much of the time
// goes into the branches of a round.
template <class Case>
[[gnu::noinline]] size_t map_unit_run(HostUnicode* unicode, NQChar* units, size_t count) noexcept {
    const CaseOperation operation = Case::operation(unicode);
    NQChar* at = units;
    NQChar* const end = units + count;
    while (at < end) {
        const size_t left = static_cast<size_t>(end - at);
        if (*at < 0x80) {
            if (left > 1 && at[1] < 0x80) break;
            *at = Case::kAsciiTable[*at];
            ++at;
        } else if (left > 1 && at[1] >= 0x80) [[likely]] {
            at[0] = operation(unicode, at[0], 1);
            at[1] = operation(unicode, at[1], 1);
            at += 2;
        } else {
            *at = operation(unicode, *at, 1);
            ++at;
        }
    }
    return static_cast<size_t>(at - units);
}

template <class Case>
void map_units(NQChar* units, int64_t signed_count) noexcept {
    HostUnicode* unicode = host_unicode();
    const size_t count = signed_count > 0 ? static_cast<size_t>(signed_count) : 0;
    for (size_t i = 0; i < count;) {
        i += map_ascii_units<Case>(units + i, count - i);
        if (i < count) i += map_unit_run<Case>(unicode, units + i, count - i);
    }
}

// --- In place ------------------------------------------------------------------------------------

// A text that is mapped in place. The place that is written can fall behind the one that is read,
// or run ahead of it.
struct InPlace {
    uint8_t* const text;
    const uint64_t length;
    uint64_t read = 0;
    uint64_t write = 0;

    uint64_t left() const noexcept { return length - read; }
    uint64_t room() const noexcept { return write < length ? length - write : 0; }

    // Moves bytes from the place that is read to the one that is written; the two may overlap.
    void move(uint64_t size) noexcept {
        const uint64_t moved = std::min(size, room());
        const uint8_t* from = text + read;
        uint8_t* to = text + write;
        if (write < read) {
            for (uint64_t i = 0; i < moved; ++i) to[i] = from[i];
        } else if (write > read) {
            for (uint64_t i = moved; i > 0; --i) to[i - 1] = from[i - 1];
        }
        advance(size);
    }

    void advance(uint64_t size) noexcept {
        read += size;
        write += size;
    }

    void put(NQChar code_point) noexcept {
        uint8_t bytes[4];
        const uint64_t size = encode_utf8(code_point, bytes, length);
        const uint64_t kept = std::min(size, room());
        for (uint64_t i = 0; i < kept; ++i) text[write + i] = bytes[i];
        write += size;
    }
};

// Where a mapped single byte goes: nqzsu8Upper puts it where it was read, nqzsu8Lower behind what
// was written so far.
template <class Case>
uint64_t single_byte_place(const InPlace& at) noexcept {
    return Case::kSingleBytesStay ? at.read : at.write;
}

// Maps a run at once, without a check of each byte's place; false where there is no such run.
template <class Case>
[[gnu::always_inline]] inline bool map_stretch(InPlace& at, HostUnicode* unicode) noexcept {
    // Writing ahead of the place that is read would change bytes that the run has still to read.
    if (at.write > at.read) return false;
    const uint8_t* source = at.text + at.read;
    uint8_t* target = at.text + single_byte_place<Case>(at);
    if (*source < 0x80 && !(at.left() > 1 && source[1] >= 0x80)) {
        at.advance(map_ascii<Case>(source, target, at.left()));
        return true;
    }
    if (target != at.text + at.write) return false;
    const CaseRun run = map_run<Case, true>(unicode, source, target, at.left());
    at.advance(run.bytes);
    if (run.pending) {
        at.put(run.mapped);
        at.read += run.pending;
    }
    return run.bytes || run.pending;
}

template <class Case>
void map_in_place(uint8_t* text, uint64_t length) noexcept {
    HostUnicode* unicode = host_unicode();
    InPlace at{text, length};
    while (at.read < length) {
        if (map_stretch<Case>(at, unicode)) continue;
        const uint8_t lead = text[at.read];
        const uint64_t size = kUtf8Length[lead];
        if (size == 1) {
            const uint64_t place = single_byte_place<Case>(at);
            if (place < length) text[place] = Case::kAsciiTable[lead];
            at.advance(1);
            continue;
        }
        if (size > at.left()) {
            at.move(at.left());
            break;
        }
        const NQChar code_point = decode_utf8(text + at.read, at.left()).code_point;
        const NQChar mapped = Case::by_host(unicode, code_point);
        if (mapped == code_point) {
            at.move(size);
        } else {
            at.put(mapped);
            at.read += size;
        }
    }
    if (at.room()) memset(text + at.write, ' ', at.room());
}

// --- To another place ----------------------------------------------------------------------------

// Where mapped text goes. Without a target it is measured, and always fits.
class Output {
  public:
    Output(uint8_t* target, uint64_t capacity) noexcept
        : target_(capacity ? target : nullptr), capacity_(capacity) {}

    bool is_measured() const noexcept { return !target_; }
    uint64_t written() const noexcept { return written_; }

    bool put(NQChar code_point) noexcept {
        const uint32_t size =
            target_ ? encode_utf8(code_point, target_ + written_, room()) : utf8_size(code_point);
        written_ += size;
        return size != 0;
    }

    bool put(const uint8_t* bytes, uint64_t size) noexcept {
        if (target_) {
            if (size > room()) return false;
            for (uint64_t i = 0; i < size; ++i) target_[written_ + i] = bytes[i];
        }
        written_ += size;
        return true;
    }

    template <class Case>
    [[gnu::always_inline]] CaseRun put_run(HostUnicode* unicode, const uint8_t* source,
                                           uint64_t length) noexcept {
        const CaseRun run = target_ ? map_run<Case, true>(unicode, source, target_ + written_,
                                                          std::min(length, room()))
                                    : map_run<Case, false>(unicode, source, nullptr, length);
        written_ += run.bytes;
        return run;
    }

    // Maps the ASCII bytes at the start, as far as they fit, and returns their number.
    template <class Case>
    uint64_t put_ascii(const uint8_t* source, uint64_t length) noexcept {
        const uint64_t mapped =
            target_ ? map_ascii<Case>(source, target_ + written_, std::min(length, room()))
                    : ascii_prefix(source, length);
        written_ += mapped;
        return mapped;
    }

  private:
    uint64_t room() const noexcept { return capacity_ - written_; }

    uint8_t* target_;
    uint64_t capacity_;
    uint64_t written_ = 0;
};

// The number of bytes that the character's lead announces. For a valid character that is what
// decoding consumed, which is known without waiting for a look-up in the table.
uint64_t announced_size(const uint8_t* source, const Decoded& character) noexcept {
    return character.status == NQ_STATUS_OK ? character.consumed : kUtf8Length[*source];
}

// Writes the mapping of the character at `source`; false where it does not fit. Inline, so that the
// caller's loop keeps the state of the output in registers.
template <class Case>
[[gnu::always_inline]] inline bool put_mapped(Output& out, HostUnicode* unicode,
                                              const uint8_t* source,
                                              const Decoded& character) noexcept {
    if (*source < 0xC0) {
        const uint8_t mapped = Case::kAsciiTable[*source];
        return out.put(&mapped, 1);
    }
    const NQChar mapped = Case::by_host(unicode, character.code_point);
    if (mapped == character.code_point) return out.put(source, character.consumed);
    return out.put(mapped);
}

template <class Case>
NQStatus map_without_language(HostUnicode* unicode, const uint8_t* source, uint64_t length,
                              Output& output) noexcept {
    Output out = output;
    bool fits = true;
    for (uint64_t read = 0; read < length && fits;) {
        if (source[read] < 0x80 && !(read + 1 < length && source[read + 1] >= 0x80)) {
            const uint64_t mapped = out.put_ascii<Case>(source + read, length - read);
            fits = mapped != 0;
            read += mapped;
            continue;
        }
        const CaseRun run = out.put_run<Case>(unicode, source + read, length - read);
        read += run.bytes;
        if (run.pending) {
            fits = out.put(run.mapped);
            read += run.pending;
        } else if (run.bytes == 0) {
            const Decoded character = decode_utf8(source + read, length - read);
            fits = put_mapped<Case>(out, unicode, source + read, character);
            read += announced_size(source + read, character);
        }
    }
    output = out;
    return fits ? NQ_STATUS_OK : NQ_STATUS_BUFFER_TOO_SMALL;
}

// Maps code_points[0] by the language's rules and returns the number of code points; 0 where the
// language has no rule for it.
template <class Case>
uint64_t map_by_rules(HostUnicode* unicode, uint32_t language, const NQChar* code_points,
                      uint64_t count, NQChar* mapped, uint64_t& state) noexcept {
    uint64_t produced = 0;
    const NQStatus status =
        unicode->mapInContext(unicode, language, code_points, count, mapped, &produced, &state, 1);
    if (status != NQ_STATUS_OK || produced == 0) {
        const int32_t own =
            unicode->mapForLanguage(unicode, language, code_points[0], mapped, Case::kMode);
        produced = own > 0 ? static_cast<uint64_t>(own) : 0;
    }
    return std::min<uint64_t>(produced, NQ_CASE_MAPPING_UNITS);
}

template <class Case>
NQStatus map_by_language(HostUnicode* unicode, uint32_t language, const uint8_t* source,
                         uint64_t length, Output& out) noexcept {
    uint64_t state = 0;
    Decoded character = decode_utf8(source, length);
    for (uint64_t read = 0; read < length;) {
        const uint64_t next_read = read + kUtf8Length[source[read]];
        const bool is_last = next_read >= length;
        const Decoded next =
            is_last ? Decoded{} : decode_utf8(source + next_read, length - next_read);
        const NQChar code_points[2] = {character.code_point, next.code_point};
        NQChar mapped[NQ_CASE_MAPPING_UNITS];
        const uint64_t produced =
            map_by_rules<Case>(unicode, language, code_points, is_last ? 1 : 2, mapped, state);
        bool fits = true;
        if (!produced) fits = put_mapped<Case>(out, unicode, source + read, character);
        for (uint64_t i = 0; i < produced && fits; ++i) fits = out.put(mapped[i]);
        if (!fits) return NQ_STATUS_BUFFER_TOO_SMALL;
        read = next_read;
        character = next;
    }
    return NQ_STATUS_OK;
}

// Maps by the rules of the locale's language; without a locale, or without rules, character by
// character.
template <class Case>
NQStatus map_to(const NQLocale* locale, const uint8_t* source, uint64_t length, uint8_t* target,
                uint64_t capacity, uint64_t* written) noexcept {
    Output out(target, capacity);
    if (out.is_measured() && !written) return NQ_STATUS_OK;
    HostUnicode* unicode = host_unicode();
    const bool has_rules =
        locale && unicode && unicode->hasSpecialCasing(unicode, locale->language);
    const NQStatus status =
        has_rules ? map_by_language<Case>(unicode, locale->language, source, length, out)
                  : map_without_language<Case>(unicode, source, length, out);
    if (written) *written = out.written();
    return status;
}

template <class Case>
NQStatus map_for_locale(const NQLocale* locale, const uint8_t* source, uint64_t length,
                        uint8_t* target, uint64_t capacity, uint64_t* written) noexcept {
    const NQStatus status = map_to<Case>(locale, source, length, target, capacity, written);
    return !locale && status == NQ_STATUS_OK ? NQ_STATUS_NO_LOCALE : status;
}

template <class Map>
void map_wide_units(NQChar* units, int64_t count, Map map) noexcept {
    for (int64_t i = 0; i < count; ++i) units[i] = map(units[i]);
}

}  // namespace
}  // namespace nq

void nqzstup(NQChar* units, int64_t count) noexcept { nq::map_units<nq::UpperCase>(units, count); }

void nqzstlo(NQChar* units, int64_t count) noexcept { nq::map_units<nq::LowerCase>(units, count); }

void nqzstmin(NQChar* units, int64_t count) noexcept {
    nq::map_wide_units(units, count, nq::table_min);
}

void nqzstmax(NQChar* units, int64_t count) noexcept {
    nq::map_wide_units(units, count, nq::table_max);
}

void nqzsu8Upper(uint8_t* text, uint64_t bytes) noexcept {
    nq::map_in_place<nq::UpperCase>(text, bytes);
}

void nqzsu8Lower(uint8_t* text, uint64_t bytes) noexcept {
    nq::map_in_place<nq::LowerCase>(text, bytes);
}

NQStatus nqzsu8Upper2(const uint8_t* source, uint64_t sourceBytes, uint8_t* target,
                      uint64_t capacity, uint64_t* written) noexcept {
    return nq::map_to<nq::UpperCase>(nullptr, source, sourceBytes, target, capacity, written);
}

NQStatus nqzsu8Lower2(const uint8_t* source, uint64_t sourceBytes, uint8_t* target,
                      uint64_t capacity, uint64_t* written) noexcept {
    return nq::map_to<nq::LowerCase>(nullptr, source, sourceBytes, target, capacity, written);
}

NQStatus nqzsu8LocaleUpper(NQLocale* locale, const uint8_t* source, uint64_t sourceBytes,
                           uint8_t* target, uint64_t capacity, uint64_t* written) noexcept {
    return nq::map_for_locale<nq::UpperCase>(locale, source, sourceBytes, target, capacity,
                                             written);
}

NQStatus nqzsu8LocaleLower(NQLocale* locale, const uint8_t* source, uint64_t sourceBytes,
                           uint8_t* target, uint64_t capacity, uint64_t* written) noexcept {
    return nq::map_for_locale<nq::LowerCase>(locale, source, sourceBytes, target, capacity,
                                             written);
}
