#pragma once

#include <cstddef>
#include <functional>

namespace Korvane {

/// Sets how many threads OpenCV may use inside one call, for the whole process; at least 1. Its own default is one per
/// processor of the machine, however few the process may use. No result depends on the number.
void SetOpenCVThreads(int count);

/// Runs part(0) .. part(count - 1) on those threads; a qvox::PartRunner.
void RunOnOpenCVThreads(std::size_t count, const std::function<void(std::size_t)>& part);

}  // namespace Korvane
