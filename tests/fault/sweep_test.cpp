// Every exported operation that can fail, with every call it makes to the host failing in turn.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <set>

#include "tests/fault/cases.hpp"

namespace nq::test {

std::vector<SweepCase> all_cases() {
    std::vector<SweepCase> cases;
    for (auto part : {entry_cases(), instance_cases(), data_cases(), config_cases(), json_cases(),
                      format_cases(), memory_cases(), text_cases()}) {
        std::move(part.begin(), part.end(), std::back_inserter(cases));
    }
    return cases;
}

namespace {

struct CannotFail {
    const char* reason;
    std::vector<const char*> names;
};

// The exports that are not under the sweep.
const std::vector<CannotFail>& cannot_fail() {
    static const std::vector<CannotFail> list{
        {"data", {"Exported_NQHandle"}},
        {"stores or answers constants and calls nothing",
         {"nqextent", "nqextver", "nqvercn1", "getReqVersion", "getVersion", "mwUnsup"}},
        {"reads the instance alone",
         {"instanceIsType", "nqCalDateGetDate", "nqCalDateTimeGetDate", "nqTimeGetDate"}},
        {"computes on the caller's memory and calls nothing",
         {"mwMemCmp",
          "mwMemCpy",
          "mwMemNScan",
          "mwMemNot",
          "mwMemSCpy",
          "mwMemScan",
          "mwMemSet",
          "mwMemTNScan",
          "mwMemTNot",
          "mwMemTSet",
          "mwMissArray",
          "mwStrCpy",
          "mwStrLen",
          "mwStrLow",
          "mwStrTCpy",
          "mwStrTLen",
          "mwStrUp",
          "mwWMemCmp",
          "BYTE_UTF16_UTF32",
          "BYTE_UTF16_UTF32_SWAP",
          "Byte2DWord",
          "Byte2DWord_swap",
          "Byte2Word",
          "Byte2Word_swap",
          "COPY_UTF",
          "COPY_UTF32",
          "COPY_UTF32_SWAP",
          "COPY_UTF32b",
          "COPY_UTF32b_SWAP",
          "ConvertFromUTF32",
          "ConvertToUTF32",
          "GET_UTF8_LEN_FROM_NQCHAR",
          "UTF16_UTF32",
          "UTF16_UTF32_SWAP",
          "UTF16_UTF8",
          "UTF32_UTF16",
          "UTF32_UTF16_SWAP",
          "UTF32_UTF16s",
          "UTF32_UTF16s_SWAP",
          "UTF32_UTF8",
          "UTF8_UTF16",
          "UTF8_UTF32",
          "isLegalUTF8",
          "nqzseqn",
          "nqzsncmp",
          "nqzsu8Compare",
          "nqzsu8CompareText",
          "UTF8_BLEN",
          "UTF8_BLENB",
          "UTF8_SLEN",
          "UTF8_SLENB",
          "_U8CharSize",
          "_U8ValidCharSize",
          "nqzsu8ByteLength",
          "nqzsu8CharSize",
          "nqzsu8CharSize2",
          "nqzsu8Copy",
          "nqzsu8CopyText",
          "nqzsu8Decode",
          "nqzsu8Encode",
          "nqzsu8FindCharText",
          "nqzsu8IndexText",
          "nqzsu8Justify",
          "nqzsu8Lengths",
          "nqzsu8NextChar",
          "nqzsu8NormASCIIEqual",
          "nqzsu8NumChars",
          "nqzsu8StripBlanks",
          "utf8_len",
          "nqzdhms",
          "nqzdmdy"}},
        {"answers what the Unicode service or the caller's predicate does, which have no status",
         {"_NQZSU8IsFunct", "nqzsu8IsCombining"}},
        {"hands the call on to the locale and returns what that returns",
         {"nqzsu8DateFormat",  "nqzsu8DatetimeFormat", "nqzsu8DoubleFormat",
          "nqzsu8IntFormat",   "nqzsu8IntfastFormat",  "nqzsu8IntmaxFormat",
          "nqzsu8LongFormat",  "nqzsu8TimeFormat",     "nqzsu8ToDate",
          "nqzsu8ToDatetime",  "nqzsu8ToDouble",       "nqzsu8ToInt",
          "nqzsu8ToIntfast",   "nqzsu8ToIntmax",       "nqzsu8ToLong",
          "nqzsu8ToTime",      "nqzsu8ToUInt",         "nqzsu8ToULong",
          "nqzsu8ToUintfast",  "nqzsu8ToUintmax",      "nqzsu8UIntFormat",
          "nqzsu8ULongFormat", "nqzsu8UintfastFormat", "nqzsu8UintmaxFormat"}},
        {"asks the host for case mappings alone, which have no status",
         {"nqzsu8NormCompare", "nqzsu8NormCompareText", "nqzsu8NormEqual", "nqzsu8NormEqualText"}},
        {"asks the host for case mappings alone; that it refuses one means that there is none",
         {"nqzstlo", "nqzstmax", "nqzstmin", "nqzstup", "nqzsu8LocaleLower", "nqzsu8LocaleUpper",
          "nqzsu8Lower", "nqzsu8Lower2", "nqzsu8Upper", "nqzsu8Upper2"}},
    };
    return list;
}

// The names between "global:" and "local:" of a linker version script.
std::set<std::string> exports_of(const char* path) {
    std::ifstream file(path);
    EXPECT_TRUE(file) << path;
    std::set<std::string> names;
    bool global = false;
    for (std::string line; std::getline(file, line);) {
        line.erase(std::remove_if(line.begin(), line.end(), ::isspace), line.end());
        if (line == "global:") {
            global = true;
        } else if (line == "local:") {
            global = false;
        } else if (global && line.ends_with(';')) {
            names.insert(line.substr(0, line.size() - 1));
        }
    }
    return names;
}

TEST(SweepFault, KnowsEveryExport) {
    const std::set<std::string> exported = exports_of(NQ_EXPORTS_MAP);
    ASSERT_GT(exported.size(), 50u);
    std::map<std::string, std::string> known;
    for (const SweepCase& test_case : all_cases()) {
        for (const std::string& name : test_case.exports) known[name] = "is under the sweep";
    }
    for (const CannotFail& group : cannot_fail()) {
        for (const char* name : group.names) {
            EXPECT_TRUE(known.emplace(name, group.reason).second) << name << " stands twice";
        }
    }
    for (const std::string& name : exported) {
        EXPECT_TRUE(known.count(name)) << name << " is neither swept nor known not to fail";
    }
    for (const auto& [name, what] : known) {
        EXPECT_TRUE(exported.count(name)) << name << ", which " << what << ", is not exported";
    }
}

TEST(SweepFault, EveryFailureIsReportedAndUndone) {
    const char* filter = std::getenv("NQ_SWEEP");
    const auto start = std::chrono::steady_clock::now();
    std::uint64_t rounds = 0;
    std::uint64_t cases = 0;
    for (const SweepCase& test_case : all_cases()) {
        if (filter && test_case.name.find(filter) == std::string::npos) continue;
        const SweepReport report = sweep(test_case);
        rounds += report.rounds;
        ++cases;
        for (const std::string& problem : report.problems) ADD_FAILURE() << problem;
        // A case without any host call tests nothing, unless the operation has no success.
        EXPECT_TRUE(report.host_calls > 0 || test_case.make()->normal_status())
            << test_case.name << " calls nothing";
    }
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
    std::printf("%llu rounds over %llu cases in %.1f s\n", static_cast<unsigned long long>(rounds),
                static_cast<unsigned long long>(cases), seconds.count());
    if (!filter) {
        EXPECT_GE(rounds, 20000u);
    }
}

}  // namespace
}  // namespace nq::test
