#pragma once

#include <functional>
#include <optional>
#include <string>

namespace qvox {

/// The processors that this process may use, at least 1: those that it may run on, at most as many as the CPU quota of
/// its control groups and SLURM_CPUS_PER_TASK allow.
unsigned UsableProcessors();

/// The least CPU quota of a process's control groups (version 2, or the cpu controller of version 1) and those that
/// hold them, in processors; a part counts as a whole. None without a quota. `root` stands before /proc and /sys.
std::optional<unsigned> CpuQuota(const std::string& root = "");

/// The least of the limits, at least 1. A text that is not a number above 0 is none.
unsigned LeastProcessors(unsigned affinity, std::optional<unsigned> quota, const char* cpusPerTask);

}  // namespace qvox
