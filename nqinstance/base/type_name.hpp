#pragma once

namespace nq {

// Whether two type names are the same. Inline, since the names of different types differ in one of
// their first letters, and those of one type are most often in one place.
inline bool is_same_name(const char* a, const char* b) noexcept {
    if (a == b) return true;
    for (; *a == *b; ++a, ++b) {
        if (!*a) return true;
    }
    return false;
}

}  // namespace nq
