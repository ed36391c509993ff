#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace korvane_test {

/// What happens to the system calls that put a file on the disk: open, fchmod, write, fsync, linkat and rename, as the
/// code under test makes them. Calls are counted from 1 in the order in which they are made while a plan is set.
/// The linker leads those calls here, so neither the kernel's nor the code's part in them is changed by the plan's
/// being looked at.
struct FaultPlan {
    int failingCall = 0;              ///< this call fails with `error`; 0: none does
    int killedCall = 0;               ///< this process is killed instead of making this call; 0: it is not
    std::size_t bytesBeforeFull = 0;  ///< how many bytes fit on the disk before writing fails with ENOSPC
    bool disk = false;                ///< whether `bytesBeforeFull` holds
    bool namelessFiles = true;        ///< whether the file system can hold a file without a name (O_TMPFILE)
    int error = 0;
};

/// Sets the plan and counts from 1 again.
void SetFaultPlan(const FaultPlan& plan);

/// Lets every call through again; returns the names of those made since the plan was set, in their order. Opening a
/// folder and flushing one are called "open folder" and "fsync folder".
std::vector<std::string> EndFaultPlan();

}  // namespace korvane_test
