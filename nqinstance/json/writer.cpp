#include "nqinstance/json/writer.hpp"

#include <algorithm>

#include "nqinstance/base/try.hpp"
#include "nqinstance/datefmt/formatting.h"

namespace nq {

NQStatus JsonWriter::flush() noexcept {
    if (!gathered_bytes_) return NQ_STATUS_OK;
    const uint64_t bytes = gathered_bytes_;
    gathered_bytes_ = 0;
    return out->methods->append(out, gathered_, bytes, NQ_ENCODING_UTF8);
}

NQStatus JsonWriter::write_large(std::string_view text) noexcept {
    NQ_TRY(flush());
    if (text.size() <= sizeof gathered_) return write(text);
    return out->methods->append(out, text.data(), text.size(), NQ_ENCODING_UTF8);
}

__attribute__((noinline)) NQStatus JsonWriter::write_formatted(Lead lead, const Format* format,
                                                               ...) noexcept {
    constexpr uint64_t kCapacity = 255;
    NQChar text[kCapacity];
    uint64_t units = 0;

    va_list arguments;
    va_start(arguments, format);
    const NQStatus status = nqzFormatBuffV(nullptr, format->units.data(), format->length, text,
                                           kCapacity, &units, arguments);
    va_end(arguments);

    NQ_TRY(status);
    if (lead == Lead::kIndentedQuote) NQ_TRY(write(currentIndent));
    if (lead != Lead::kNothing) NQ_TRY(write("\""));
    NQ_TRY(flush());
    return out->methods->append(out, text, std::min(units, kCapacity), NQ_ENCODING_NQCHAR);
}

}  // namespace nq
