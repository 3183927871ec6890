#include "standalone/json/parser.hpp"

#include <string_view>

#include "standalone/base/utf8.hpp"
#include "standalone/json/document.hpp"

namespace nq {

NQStatus parse_json(const JsonServices& services, HostPool* pool, const uint8_t* bytes,
                    uint64_t length, InstanceHeader** out, uint32_t* line,
                    uint32_t* column) noexcept {
    *out = nullptr;
    *line = *column = 0;
    if (length && !bytes) return NQ_STATUS_INVALID_ARGUMENT;
    std::string_view text(reinterpret_cast<const char*>(bytes), length);
    text = without_byte_order_mark(text);
    try {
        JsonDocument document;
        NQStatus status = document.parse(text, false);
        if (!status)
            status = document.build(services, pool, document.top(), JsonKeys::kPlain, 0, out);
        TextPosition where;
        status = document.locate(text, status, where);
        *line = where.line;
        *column = where.column;
        return status;
    } catch (...) {
        return NQ_STATUS_NO_MEMORY;
    }
}

}  // namespace nq
