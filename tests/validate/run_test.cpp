// Validation runs: what they hold, their messages, and what a start that fails leaves.
#include "tests/support/statuses.hpp"
#include "tests/validate/run_place.hpp"
#include "tests/validate/validate_support.hpp"

namespace nq::test {
namespace {

class RunAbi : public ValidateTest {
  protected:
    RunPlace place;
    ValidationRun* started() { return place.run(); }

    NQStatus start(NQStringApi* strings, NQArrayApi* arrays, void* user_data = nullptr) {
        return api()->startValidate(api(), strings, arrays, pool(), user_data, place.out());
    }
};

constexpr const char* kOption = "nqinstance.logValidateErrors";

TEST_F(RunAbi, HoldsWhatItWasGiven) {
    int data = 0;
    ValidationRun* run = start_run(&data);
    EXPECT_EQ(run->pool, pool());
    EXPECT_EQ(run->strings, host.string_api());
    EXPECT_EQ(run->ownsStrings, 0);
    EXPECT_EQ(run->arrays, host.array_api());
    EXPECT_EQ(run->ownsArrays, 0);
    EXPECT_EQ(run->userData, &data);
    ASSERT_NE(run->messages, nullptr);
    EXPECT_EQ(run->messages->count, 0u);
    EXPECT_NE(run->addContextMessage, nullptr);
    EXPECT_EQ(run->finish, NQ_LIBRARY(nqInstanceFinishValidate));
    EXPECT_EQ(run->finish(run), NQ_STATUS_OK);
}

TEST_F(RunAbi, IsOneZeroFilledBlock) {
    const HostState before = host.state();
    ValidationRun* run = start_run();
    // The run and the array, which is two blocks.
    EXPECT_EQ((host.state() - before).blocks, 3u);
    EXPECT_EQ((host.state() - before).arrays, 1u);
    run->finish(run);
    EXPECT_EQ(host.state(), before);
}

TEST_F(RunAbi, LoadsWhatItWasNotGivenAndReleasesIt) {
    const HostState before = host.state();
    ASSERT_EQ(start(nullptr, nullptr), NQ_STATUS_OK);
    ValidationRun* run = started();
    EXPECT_EQ(run->ownsStrings, 1);
    EXPECT_EQ(run->ownsArrays, 1);
    const HostState held = host.state() - before;
    EXPECT_EQ(held.string_holds, 1);
    EXPECT_EQ(held.array_holds, 1);
    EXPECT_EQ(run->finish(run), NQ_STATUS_OK);
    EXPECT_EQ(host.state(), before);
}

TEST_F(RunAbi, LoadsOneOfTheTwo) {
    const HostState before = host.state();
    ASSERT_EQ(start(host.string_api(), nullptr), NQ_STATUS_OK);
    EXPECT_EQ(started()->ownsStrings, 0);
    EXPECT_EQ(started()->ownsArrays, 1);
    started()->finish(started());
    place.clear();
    ASSERT_EQ(start(nullptr, host.array_api()), NQ_STATUS_OK);
    EXPECT_EQ(started()->ownsStrings, 1);
    EXPECT_EQ(started()->ownsArrays, 0);
    started()->finish(started());
    EXPECT_EQ(host.state(), before);
}

TEST_F(RunAbi, ExtensionsOfTheCallerAreNotReleased) {
    ValidationRun* run = start_run();
    host.plan().clear();
    host.plan().record();
    run->finish(run);
    EXPECT_EQ(host.plan().recorded(), (std::vector{Call::kReleaseObject, Call::kFree}));
}

TEST_F(RunAbi, FinishReleasesMessagesThenStringsThenArraysThenItself) {
    ASSERT_EQ(start(nullptr, nullptr), NQ_STATUS_OK);
    host.plan().clear();
    host.plan().record();
    started()->finish(started());
    EXPECT_EQ(host.plan().recorded(), (std::vector{Call::kReleaseObject, Call::kReleaseExtension,
                                                   Call::kReleaseExtension, Call::kFree}));
}

TEST_F(RunAbi, FinishReturnsTheStatusOfTheFree) {
    ValidationRun* run = start_run();
    host.plan().fail(Call::kFree, 0, kHostRefusal);
    EXPECT_EQ(run->finish(run), kHostRefusal);
}

TEST_F(RunAbi, FinishOfARunWithoutAPoolFreesNothing) {
    ValidationRun empty{};
    EXPECT_EQ(NQ_LIBRARY(nqInstanceFinishValidate)(&empty), NQ_STATUS_OK);
    // Nor is an extension released that is not there.
    empty.ownsStrings = empty.ownsArrays = 1;
    EXPECT_EQ(NQ_LIBRARY(nqInstanceFinishValidate)(&empty), NQ_STATUS_OK);
}

TEST_F(RunAbi, ErrorsAreLoggedUnlessTheOptionSaysOtherwise) {
    ValidationRun* unset = start_run();
    EXPECT_EQ(unset->logValidateErrors, 1);
    unset->finish(unset);
    host.set_option(kOption, std::string(1, '\0'));
    ValidationRun* off = start_run();
    EXPECT_EQ(off->logValidateErrors, 0);
    off->finish(off);
    host.set_option(kOption, "\1");
    ValidationRun* on = start_run();
    EXPECT_EQ(on->logValidateErrors, 1);
    on->finish(on);
    host.set_option(kOption, std::string("\0\0", 2));
    ValidationRun* too_wide = start_run();
    EXPECT_EQ(too_wide->logValidateErrors, 1);
    too_wide->finish(too_wide);
}

TEST_F(RunAbi, MessagesAreNewEmptyStringsInOrder) {
    ValidationRun* run = start_run();
    NQU8String* first = nullptr;
    NQU8String* second = nullptr;
    EXPECT_EQ(run->addContextMessage(run, &first), NQ_STATUS_OK);
    EXPECT_EQ(run->addContextMessage(run, &second), NQ_STATUS_OK);
    ASSERT_EQ(run->messages->count, 2u);
    EXPECT_EQ(run->messages->elements[0], &first->header);
    EXPECT_EQ(run->messages->elements[1], &second->header);
    EXPECT_EQ(first->header.refCount, 1u);
    EXPECT_EQ(first->header.pool, pool());
    EXPECT_EQ(text_of(first), "");
    run->finish(run);
}

TEST_F(RunAbi, MessageThatCannotBeMadeLeavesTheRun) {
    ValidationRun* run = start_run();
    NQU8String* message = reinterpret_cast<NQU8String*>(0x10);
    host.plan().fail(Call::kNewString, 0, NQ_STATUS_MALFORMED);
    EXPECT_EQ(run->addContextMessage(run, &message), NQ_STATUS_NO_MEMORY);
    EXPECT_EQ(message, nullptr);
    EXPECT_EQ(run->messages->count, 0u);
    run->finish(run);
}

TEST_F(RunAbi, MessageThatCannotBeAddedIsGone) {
    ValidationRun* run = start_run();
    const HostState before = host.state();
    NQU8String* message = nullptr;
    host.plan().fail(Call::kArrayAppend, 0, kHostRefusal);
    EXPECT_EQ(run->addContextMessage(run, &message), kHostRefusal);
    EXPECT_EQ(message, nullptr);
    EXPECT_EQ(host.state(), before);
    run->finish(run);
}

TEST_F(RunAbi, NoMemoryForTheRecordIsTheEndOfIt) {
    // A place of one word is enough then: nobody looks at it.
    auto* const untouched = reinterpret_cast<ValidationRun*>(0x10);
    ValidationRun* run = untouched;
    const HostState before = host.state();
    host.plan().fail(Call::kAlloc, 0, 1);
    EXPECT_EQ(api()->startValidate(api(), nullptr, nullptr, pool(), nullptr, &run),
              NQ_STATUS_NO_MEMORY);
    EXPECT_EQ(run, untouched);
    EXPECT_EQ(host.state(), before);
}

// What each load leaves when it fails: the record, and the extension loaded before it.
struct FailedStart {
    const char* name;
    Call call;
    std::uint64_t number;
    NQStatus status;
    std::int64_t string_holds;
    std::int64_t array_holds;
    friend std::ostream& operator<<(std::ostream& out, const FailedStart& failed) {
        return out << failed.name;
    }
};

class RunFault : public RunAbi, public testing::WithParamInterface<FailedStart> {};

TEST_P(RunFault, KeepsTheRecordAndItsHoldsAndTouchesNothing) {
    const FailedStart& failed = GetParam();
    host.forgive();
    const HostState before = host.state();
    host.plan().clear();
    host.plan().fail(failed.call, failed.number, kHostRefusal);
    EXPECT_EQ(start(nullptr, nullptr), failed.status);
    EXPECT_TRUE(place.is_clear());
    HostState left;
    left.blocks = 1;
    left.bytes = sizeof(ValidationRun);
    left.string_holds = failed.string_holds;
    left.array_holds = failed.array_holds;
    EXPECT_EQ(host.state() - before, left);
    // The next start works.
    host.plan().clear();
    ASSERT_EQ(start(nullptr, nullptr), NQ_STATUS_OK);
    EXPECT_EQ(started()->finish(started()), NQ_STATUS_OK);
    EXPECT_EQ(host.state() - before, left);
}

INSTANTIATE_TEST_SUITE_P(
    EachLoad, RunFault,
    testing::Values(FailedStart{"Strings", Call::kLoadExtension, 0, NQ_STATUS_NO_EXTENSION, 0, 0},
                    FailedStart{"Arrays", Call::kLoadExtension, 1, NQ_STATUS_NO_EXTENSION, 1, 0},
                    FailedStart{"Messages", Call::kCreateArray, 0, kHostRefusal, 1, 1}),
    [](const auto& test) { return test.param.name; });

TEST_F(RunAbi, FailedStartTakesThePlaceForTheRun) {
    host.forgive();
    // What the place seems to hold is released and freed, as the contract says.
    NQArray* array = host.array();
    place.record().messages = array;
    const HostState before = host.state();
    host.plan().fail(Call::kLoadExtension, 0, 1);
    EXPECT_EQ(start(nullptr, nullptr), NQ_STATUS_NO_EXTENSION);
    EXPECT_EQ((before - host.state()).arrays, 1u);
}

}  // namespace
}  // namespace nq::test
