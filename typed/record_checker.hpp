#pragma once
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "typed/definitions.hpp"
#include "typed/value.hpp"

namespace nq {

// What is wrong with a record.
struct RecordFault {
    uint32_t column = 0;  // from 1, in characters; 0 where it is not the JSON text that is wrong
    std::string what;     // empty: nothing is wrong
};

// Checks records, which are JSON objects, against definitions, and writes those that are valid as
// compact JSON, one after the other.
//
// The keys of a record that the definitions name get instances of the types that they name, the
// others those of `parse_json`. Keys may be missing. Of a key that is there twice both values are
// checked, and the last one is written at the place of the first.
//
// It keeps what the next record most likely needs again, so that its memory is that of the largest
// record so far, and the output that was not taken.
class RecordChecker {
  public:
    // So many bytes behind a record's text must be readable, whatever they are.
    static constexpr std::size_t kPadding = 64;

    // How many containers may lie in one another.
    static constexpr uint64_t kMaxDepth = 1024;

    // All of these outlive the checker.
    RecordChecker(const JsonServices& services, HostPool* pool, const DefinitionNode& root);
    RecordChecker(const RecordChecker&) = delete;
    RecordChecker& operator=(const RecordChecker&) = delete;
    ~RecordChecker();

    // Adds the record and a line feed to the output if it is valid, else says what is wrong first
    // in the order of the text. Another status than NQ_STATUS_OK: the check itself failed, and
    // nothing is known of the record.
    NQStatus check(std::string_view text, RecordFault& fault) noexcept;

    // The lines of the records, and a new beginning after they were taken.
    std::string_view output() const noexcept;
    void clear_output() noexcept;

  private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace nq
