#pragma once

#include "FilePlan.h"

namespace Korvane {

/// Throws UsageError when the file system of a folder takes no name as long as that of a file which the run would write
/// there: found before the work, not after it. The folders are there already.
void RequireNamesFit(const FilePlan& plan);

}  // namespace Korvane
