#pragma once
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "nqinstance/host/string.h"
#include "tests/support/host_core.hpp"

namespace nq::test {

// What createFromUtf8 does with flag 1 and a string that `*out` already holds.
enum class Flag1 {
    kContinue,  // adds to that string
    kReplace,   // releases it and makes a new one
    kMakeNew,   // makes a new one; the old one stays whoever's it was
};

// One formatMessage, with the arguments of the messages that validation makes.
struct FormattedMessage {
    void* user_data;
    NQStatus code;
    std::string arguments;  // in the text's manner: "5, 7"
};

// "nqstring", and the string objects. A changed string moves to another buffer whenever it is
// short, so that a `bytes` kept over a change is seen.
class StringService {
  public:
    explicit StringService(HostCore& core);

    NQStringApi* table() { return &table_; }
    HostCore& core() { return core_; }

    // For the host itself, outside the failure plan. Null when the pool has no memory.
    NQU8String* make(HostPool* pool, std::string_view text);
    NQString* make_text(HostPool* pool, std::u32string_view text);

    // The calls of formatMessage, in order; looked at by one thread.
    const std::vector<FormattedMessage>& messages() const { return messages_; }
    void record(FormattedMessage message);

    Flag1 flag1 = Flag1::kContinue;

  private:
    HostCore& core_;
    ExtensionTable<NQStringApi, StringService> table_{};
    std::mutex messages_mutex_;
    std::vector<FormattedMessage> messages_;
};

// The string's bytes; a missing terminator is a fault.
std::string text_of(const NQU8String* string);

// UTF-8 of host characters; units that are no characters become U+FFFD.
std::string to_utf8(std::u32string_view text);
std::string to_utf8(const NQChar* text, std::uint64_t units);

}  // namespace nq::test
