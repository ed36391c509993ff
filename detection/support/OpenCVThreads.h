#pragma once

namespace Korvane {

/// Sets how many threads OpenCV may use inside one call, for the whole process; at least 1. Its own default is one per
/// processor of the machine, however few the process may use. No result depends on the number.
void SetOpenCVThreads(int count);

}  // namespace Korvane
