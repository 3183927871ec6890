#pragma once

namespace nq::tool {

// How a run ended. The first three go from good to bad, so that the worst of several is the
// greatest; the others answer a question whose run was good.
enum class ExitStatus : int {
    kGood = 0,
    kInvalid = 1,  // an input was read and is not what it should be
    kTrouble = 2,  // wrong usage, or something could not be read, written or loaded
    kNotFound = 3,
    kBefore = 10,
    kBeforeByCase = 11,
    kAfterByCase = 12,
    kAfter = 13,
};

// Thrown where work ends before its time. Why is reported already.
struct Ended {
    ExitStatus status;
};
struct InputEnded : Ended {};  // the run goes on with the next input
struct RunEnded : Ended {};

}  // namespace nq::tool
