#pragma once

namespace Korvane {

/// How many threads OpenCV may use inside one call, for the whole process; at least 1. Left alone it takes one per
/// processor of the machine, whatever the process may use. No result depends on the number.
void SetOpenCVThreads(int count);

}  // namespace Korvane
