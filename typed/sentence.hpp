#pragma once
#include <string_view>

namespace nq {

// A sentence of the catalogue as a part of another text.
inline std::string_view without_stop(std::string_view sentence) noexcept {
    if (sentence.ends_with('.')) sentence.remove_suffix(1);
    return sentence;
}

}  // namespace nq
