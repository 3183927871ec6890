#pragma once

namespace nq::tool {

// The version of the project, which CMakeLists.txt alone tells.
inline constexpr char kVersion[] = NQTOOL_VERSION;

}  // namespace nq::tool
