#pragma once

namespace nq {

// Whether two type names are the same. Inline, since the loop is short: the names of two types
// differ in one of their first letters, and the name of one type is most often at one address.
inline bool is_same_name(const char* a, const char* b) noexcept {
    if (a == b) return true;
    for (; *a == *b; ++a, ++b) {
        if (!*a) return true;
    }
    return false;
}

}  // namespace nq
