#pragma once

namespace nq::tool {

// How a run ended, from good to bad, so that the worst of several is the greatest.
enum class ExitStatus : int {
    kGood = 0,
    kInvalid = 1,  // a file was read and is not what it should be
    kTrouble = 2,  // wrong usage, or something could not be read, written or loaded
};

}  // namespace nq::tool
