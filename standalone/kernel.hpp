#pragma once
#include <map>
#include <mutex>
#include <string>
#include <string_view>

#include "nqinstance/core/api.h"
#include "standalone/base/extension.hpp"
#include "standalone/context.hpp"
#include "standalone/files.hpp"
#include "standalone/memory/pool.hpp"
#include "standalone/text/encoding.hpp"
#include "standalone/text/locale.hpp"
#include "standalone/text/unicode.hpp"

namespace nq {

// The kernel of the standalone host: its table with the services behind it. Any thread may call
// any operation of the table.
//
// What the table leaves to the host is settled as follows.
//   createPool       the parameters are not looked at
//   loadExtension    version and slot are not looked at
//   registerHandle   the numbers are not looked at; NQ_HOST_STATUS_DUPLICATE_HANDLE
//   unregisterHandle NQ_HOST_STATUS_UNKNOWN_HANDLE
//   getOption        with room for one byte, the truth of a text that is one of 1 true yes on, or
//                    0 false no off, else NQ_STATUS_INVALID_ARGUMENT; with any other room, the
//                    UTF-8 text, or NQ_STATUS_BUFFER_TOO_SMALL and the size it needs. An option
//                    that is not set is NQ_HOST_STATUS_UNKNOWN_OPTION
//   captureMessage   first: the NQU8String whose text the message replaces; second: the status or
//                    message code as an integer
//   renderMessage    first: the code as an integer; second: NQChar buffer; fourth: its capacity in
//                    units, as an integer; fifth is not looked at. The text keeps its directives.
//                    The result is the length in units of the whole text, of which the buffer
//                    holds as much as it has room for
//   renderFormatted  first: the code as an integer; second: NQChar buffer; third: its capacity. As
//                    renderMessage, with the arguments in the text
//   formatStatus     first: NQChar buffer; second: its capacity as an integer; third: uint64_t* for
//                    the units stored. NQ_STATUS_BUFFER_TOO_SMALL: the text was cut off
// Records and contexts are not looked at. Outputs are not terminated.
class Kernel : public HostKernel {
  public:
    Kernel();
    Kernel(const Kernel&) = delete;
    Kernel& operator=(const Kernel&) = delete;

    PoolService& pools() noexcept { return pools_; }
    const PoolService& pools() const noexcept { return pools_; }
    FileService& files() noexcept { return files_; }
    LocaleService& locales() noexcept { return locales_; }

    void set_option(std::string_view name, std::string_view value);

    // The handle that is registered under the name, or null.
    void* registered(std::string_view name) const;

    // The holds of a sibling extension that were not given back; 0 for an unknown name.
    uint64_t holds(std::string_view extension) const noexcept;

  private:
    struct Operations;

    struct FileExtension : Extension<NQIoeApi> {
        explicit FileExtension(FileService& service) noexcept;
        FileService& files;
    };
    struct JsonExtension : Extension<NQInstJsonApi> {
        explicit JsonExtension(Kernel& owner) noexcept;
        Kernel& kernel;
    };

    template <class Visitor>
    void visit_extensions(Visitor visit) {
        visit(strings_);
        visit(arrays_);
        visit(dictionaries_);
        visit(file_extension_);
        visit(json_extension_);
    }

    // First, for all that has memory from the pools ends before them.
    PoolService pools_;
    FileService files_;
    EncodingService encoding_service_;
    UnicodeService unicode_service_;
    LocaleService locales_;
    DefaultContext default_context_;

    Extension<NQStringApi> strings_;
    Extension<NQArrayApi> arrays_;
    Extension<NQDictionaryApi> dictionaries_;
    FileExtension file_extension_;
    JsonExtension json_extension_;

    mutable std::mutex mutex_;
    std::map<std::string, void*, std::less<>> handles_;
    std::map<std::string, std::string, std::less<>> options_;
};

}  // namespace nq
