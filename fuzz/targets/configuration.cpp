// Reading a configuration: whole, against the model; in the pieces of a file that delivers its
// bytes as it likes; and with a host call that fails.
#include "fuzz/support/checking.hpp"
#include "nqinstance/host/status.h"
#include "tests/config/configuration_model.hpp"

namespace nq::fuzz {
namespace {

using test::Call;
using test::Outcome;

constexpr const char* kName = "fuzz.conf";

bool is_syntax_error(NQStatus status) {
    return status == NQ_STATUS_UNCLOSED_SECTION || status == NQ_STATUS_MISSING_EQUALS;
}

// How the host behaves.
struct Services {
    test::FilePlan file;
    test::TranscoderPlan transcoder;
    test::Flag1 flag1 = test::Flag1::kContinue;
};

// One reading in a pool of its own, in a host of its own or one that goes on.
class Reading {
  public:
    Reading(CheckingHost& host, const std::string& document, const Services& services)
        : host_(host), document_(document) {
        host.file(kName, document, services.file);
        host.encoding.plan = services.transcoder;
        host.strings.flag1 = services.flag1;
        keeps_lines_ = services.flag1 == test::Flag1::kMakeNew;
    }

    Outcome run(const PlannedFailure* failure) {
        const test::HostState before = host_.state();
        test::CheckingPool& pool = host_.make_pool("configuration");
        host_.plan().clear();
        if (failure) failure->arm(host_);
        const Outcome outcome = read(pool);
        if (is_syntax_error(outcome.status)) {
            // All that is alive then stays so, which ends with the host.
            host_.forgive();
        } else {
            require_given_back(pool, outcome.status, before);
        }
        return outcome;
    }

  private:
    Outcome read(test::CheckingPool& pool) {
        InstanceApi* api = host_.api();
        NQDictionary* const untouched = reinterpret_cast<NQDictionary*>(0x10);
        NQDictionary* root = untouched;
        Outcome outcome{.line = test::kLineUntouched};
        outcome.status = api->readConfiguration(api, pool.table(), kName, &outcome.line, &root);
        NQ_REQUIRE((root != untouched) == (outcome.status == NQ_STATUS_OK));
        if (outcome.status) return outcome;
        outcome.tree = test::tree_of(root);
        // A copy is as good as what was read, also when that is gone.
        InstanceHeader* copy = nullptr;
        const NQStatus status = root->header.clone(&root->header, pool.table(), 0, &copy);
        test::release(root);
        NQ_REQUIRE((copy != nullptr) == (status == NQ_STATUS_OK));
        if (status) {
            require_explained(host_, status);
        } else {
            NQ_REQUIRE(test::tree_of(reinterpret_cast<NQDictionary*>(copy)) == outcome.tree);
            test::release(copy);
        }
        return outcome;
    }

    // Only the strings of comment lines, of which there are no more than number signs, and the
    // state block of a reader that got no buffer may stay with the pool.
    void require_given_back(test::CheckingPool& pool, NQStatus status,
                            const test::HostState& before) {
        if (keeps_lines_) {
            pool.destroy();
        } else {
            const auto comments = static_cast<std::uint64_t>(std::ranges::count(document_, '#'));
            const std::uint64_t strings = pool.blocks(test::BlockKind::kString);
            NQ_REQUIRE(strings <= comments);
            NQ_REQUIRE(pool.blocks(test::BlockKind::kDictionary) == 0);
            // A string is its object and its text.
            NQ_REQUIRE(pool.blocks() - 2 * strings <= (status == NQ_STATUS_NO_MEMORY));
            pool.destroy();
        }
        NQ_REQUIRE(host_.state() == before);
    }

    CheckingHost& host_;
    const std::string& document_;
    bool keeps_lines_;
};

// Longer documents are slower and show nothing new.
constexpr std::size_t kLongest = 300;

// The bytes of the input with a run of one character somewhere in them, so that a small input
// reaches over several of the reader's buffers.
std::string stretched(Input& input) {
    const std::uint32_t at = input.number();
    const std::uint32_t length = input.number() % 5000;
    std::string document = text_of(input.text(kLongest));
    const std::size_t place = at % (document.size() + 1);
    return document.insert(place, at & 0x4000 ? length : 0, at & 0x8000 ? '#' : 'x');
}

Services services_of(Input& input) {
    Services services;
    const std::uint32_t choice = input.byte();
    services.file.end = choice & 1 ? test::EndOfFile::kEarly : test::EndOfFile::kLate;
    // The model knows a transcoder that keeps incomplete characters and flags bad bytes.
    services.transcoder.incomplete =
        choice & 2 ? test::Incomplete::kReport : test::Incomplete::kKeepTail;
    constexpr test::BadBytes kBadBytes[] = {test::BadBytes::kFlag, test::BadBytes::kFlag,
                                            test::BadBytes::kReplace, test::BadBytes::kRefuse};
    services.transcoder.bad = kBadBytes[choice >> 2 & 3];
    services.transcoder.needed = (choice >> 4 & 3) != 3;
    constexpr test::Flag1 kFlags[] = {test::Flag1::kContinue, test::Flag1::kContinue,
                                      test::Flag1::kReplace, test::Flag1::kMakeNew};
    services.flag1 = kFlags[choice >> 6 & 3];
    return services;
}

test::FilePlan in_pieces(Input& input, test::FilePlan plan) {
    const std::uint32_t chunk = input.byte();
    if (chunk) plan.chunk = chunk;
    std::uint64_t split = 0;
    for (int i = 0; i < 3; ++i) {
        if (const std::uint32_t step = input.byte()) plan.splits.push_back(split += 8 * step);
    }
    return plan;
}

bool is_modelled(const Services& services) {
    return services.transcoder.needed && services.transcoder.bad == test::BadBytes::kFlag &&
           services.transcoder.incomplete == test::Incomplete::kKeepTail &&
           services.flag1 == test::Flag1::kContinue;
}

}  // namespace
}  // namespace nq::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace nq::fuzz;
    Input input(data, size);
    const Services services = services_of(input);
    Services pieces = services;
    pieces.file = in_pieces(input, services.file);
    const PlannedFailure failure(input);
    const std::string document = stretched(input);

    CheckingHost host;
    NQ_REQUIRE(host.load() != nullptr);
    const auto run = [&](const Services& how, const PlannedFailure* fails) {
        return Reading(host, document, how).run(fails);
    };
    const Outcome outcome =
        is_modelled(services) ? nq::test::model_of(document) : run(services, nullptr);
    if (failure.fails) {
        const Outcome failed = run(pieces, &failure);
        if (failed.status == NQ_STATUS_OK) NQ_REQUIRE(failed == outcome);
        if (failed.status != outcome.status) require_explained(host, failed.status);
    }
    NQ_REQUIRE(run(pieces, nullptr) == outcome);
    host.check();
    return 0;
}
