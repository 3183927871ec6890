#pragma once
#include <memory>

#include "nqinstance/host/unicode.h"

namespace nq {

// The host's Unicode service on ICU. Threads may call every operation of its table at once.
//
// - toUpper, toLower: the simple, language-independent mapping of one code point; a value that is
//   no code point is returned as it is.
// - hasProperty: NQ_PROPERTY_COMBINING holds for marks (categories Mn, Me and Mc) and for
//   characters with the property Grapheme_Extend, which together include every character of a
//   combining class other than 0; nothing has any other property.
// - createNormalizer: makes the normaliser of normalizer.hpp on the first call and stores the same
//   one on every later call; NQ_STATUS_NO_MEMORY leaves `*out` alone.
// - hasSpecialCasing: 1 for every language code but kLanguageNone, since some rules hold in all
//   languages: "ß" upper-cases to "SS", and a Greek sigma has its final form whatever the language
//   of the text around it.
// - mapInContext, mapForLanguage: the rules of special_casing.hpp. Only mapForLanguage is told the
//   direction, so mapInContext maps nothing: it answers NQ_STATUS_UNSUPPORTED, moves `state` on,
//   and keeps the context for the thread's next call of mapForLanguage, which uses it if language
//   and code point are the same. Without that, mapForLanguage takes the code point for the whole
//   text.
class UnicodeService {
  public:
    UnicodeService();
    ~UnicodeService();
    UnicodeService(const UnicodeService&) = delete;
    UnicodeService& operator=(const UnicodeService&) = delete;

    HostUnicode* table() noexcept;

  private:
    struct Table;
    struct Operations;
    std::unique_ptr<Table> table_;
};

}  // namespace nq
