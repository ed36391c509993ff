#pragma once

#include <string>

namespace Korvane {

/// The commit that the program was built from; "-dirty" at its end when the tree held changes beside it; empty when not
/// known.
const char* ProgramCommit();

/// "0.1.0 (commit 0123456789ab)"; the version alone when the commit is not known.
std::string VersionText();

}  // namespace Korvane
