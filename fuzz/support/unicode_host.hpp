#pragma once
#include "nqinstance/host/kernel.h"
#include "standalone/text/unicode.hpp"

namespace nq::fuzz {

// A kernel table with nothing but the standalone host's Unicode service, set as the library's.
class UnicodeHost {
  public:
    UnicodeHost() {
        kernel_.unicode = service_.table();
        Exported_NQHandle = &kernel_;
    }
    UnicodeHost(const UnicodeHost&) = delete;
    UnicodeHost& operator=(const UnicodeHost&) = delete;

    NQChar lower(NQChar code_point) {
        return service_.table()->toLower(kernel_.unicode, code_point, 1);
    }
    NQChar upper(NQChar code_point) {
        return service_.table()->toUpper(kernel_.unicode, code_point, 1);
    }

  private:
    UnicodeService service_;
    HostKernel kernel_{};
};

inline UnicodeHost& unicode_host() {
    static UnicodeHost host;
    return host;
}

}  // namespace nq::fuzz
