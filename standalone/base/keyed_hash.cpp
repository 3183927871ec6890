#include "standalone/base/keyed_hash.hpp"

#include <unistd.h>

#include <bit>
#include <cstring>

namespace nq {
namespace {

struct Key {
    uint64_t words[2];
};

Key draw_key() noexcept {
    // Should the system have no entropy to give, these still make a good hash.
    Key key{{0x9E3779B97F4A7C15, 0xD1B54A32D192ED03}};
    Key drawn;
    if (getentropy(&drawn, sizeof drawn) == 0) key = drawn;
    return key;
}

struct State {
    uint64_t v0, v1, v2, v3;

    void round() noexcept {
        v0 += v1;
        v1 = std::rotl(v1, 13) ^ v0;
        v0 = std::rotl(v0, 32);
        v2 += v3;
        v3 = std::rotl(v3, 16) ^ v2;
        v0 += v3;
        v3 = std::rotl(v3, 21) ^ v0;
        v2 += v1;
        v1 = std::rotl(v1, 17) ^ v2;
        v2 = std::rotl(v2, 32);
    }
    void take(uint64_t word) noexcept {
        v3 ^= word;
        round();
        v0 ^= word;
    }
};

}  // namespace

uint64_t keyed_hash(std::string_view text) noexcept {
    static const Key key = draw_key();
    const auto [k0, k1] = key.words;
    State state{k0 ^ 0x736f6d6570736575, k1 ^ 0x646f72616e646f6d, k0 ^ 0x6c7967656e657261,
                k1 ^ 0x7465646279746573};
    const char* bytes = text.data();
    std::size_t rest = text.size();
    uint64_t word;
    for (; rest >= sizeof word; bytes += sizeof word, rest -= sizeof word) {
        std::memcpy(&word, bytes, sizeof word);
        state.take(word);
    }
    word = 0;
    if (rest) std::memcpy(&word, bytes, rest);
    state.take(word | uint64_t{text.size()} << 56);
    state.v2 ^= 0xFF;
    for (int i = 0; i < 3; ++i) state.round();
    return state.v0 ^ state.v1 ^ state.v2 ^ state.v3;
}

}  // namespace nq
