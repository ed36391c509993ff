#pragma once

#include <cstddef>
#include <functional>

namespace Korvane {

/// Calls work(i) once for each i below `count`, at most `workers` at a time, started in ascending order, until all are
/// done or `stop` says true. Returns when the last call has. `work` must not throw; with one worker, or when the system
/// gives no thread, it runs on the calling thread.
void RunJobs(std::size_t count, unsigned workers, const std::function<bool()>& stop,
             const std::function<void(std::size_t)>& work);

}  // namespace Korvane
