#include "Processors.h"

#include <sched.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>
#include <thread>
#include <vector>

namespace qvox {

namespace {

/// The whole text as a number; none for any other text.
template <typename T>
std::optional<T> NumberIn(const std::string& text) {
    T value{};
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || rest != end) return std::nullopt;
    return value;
}

unsigned Affinity() {
    cpu_set_t set;
    CPU_ZERO(&set);
    // The fixed-size mask is refused on machines of more than 1024 processors; the count of all is then as good.
    if (sched_getaffinity(0, sizeof(set), &set) == 0) return static_cast<unsigned>(std::max(1, CPU_COUNT(&set)));
    return std::max(1u, std::thread::hardware_concurrency());
}

std::string FirstWord(const std::string& path) {
    std::ifstream file(path);
    std::string word;
    file >> word;
    return word;
}

/// Microseconds of processors in each period. None for "max", -1 and what is not there.
std::optional<double> Share(const std::string& quota, const std::string& period) {
    const std::optional<double> used = NumberIn<double>(quota);
    const std::optional<double> of = NumberIn<double>(period);
    if (!used || !of || !(*used > 0.0) || !(*of > 0.0)) return std::nullopt;
    return *used / *of;
}

/// Of one group of version 2: "max 100000" or "150000 100000".
std::optional<double> UnifiedShare(const std::string& folder) {
    std::ifstream file(folder + "/cpu.max");
    std::string quota;
    std::string period;
    file >> quota >> period;
    return Share(quota, period);
}

std::optional<double> ControllerShare(const std::string& folder) {
    return Share(FirstWord(folder + "/cpu.cfs_quota_us"), FirstWord(folder + "/cpu.cfs_period_us"));
}

void Lower(std::optional<double>& least, const std::optional<double>& share) {
    if (share && (!least || *share < *least)) least = share;
}

/// A group is limited by those that hold it. In a container the path may be that of the machine, of which only the end
/// or the root is seen: groups that are not there have no limit.
template <typename ShareOf>
std::optional<double> LeastShare(const std::string& mount, std::string group, ShareOf shareOf) {
    std::optional<double> least = shareOf(mount);
    while (group.size() > 1) {
        Lower(least, shareOf(mount + group));
        group.resize(group.rfind('/'));
    }
    return least;
}

bool HasCpu(const std::string& controllers) {
    std::istringstream names(controllers);
    std::string name;
    while (std::getline(names, name, ',')) {
        if (name == "cpu") return true;
    }
    return false;
}

}  // namespace

std::optional<unsigned> CpuQuota(const std::string& root) {
    // Lines are NUMBER:CONTROLLERS:/GROUP; version 2 has number 0 and no controllers.
    std::ifstream groups(root + "/proc/self/cgroup");
    std::optional<double> least;
    std::string line;
    while (std::getline(groups, line)) {
        const std::size_t first = line.find(':');
        const std::size_t second = line.find(':', first + 1);
        if (first == std::string::npos || second == std::string::npos) continue;
        const std::string controllers = line.substr(first + 1, second - first - 1);
        const std::string group = line.substr(second + 1);
        if (group.empty() || group.front() != '/') continue;
        const std::filesystem::path mounts = root + "/sys/fs/cgroup";
        if (controllers.empty()) Lower(least, LeastShare(mounts.string(), group, UnifiedShare));
        if (!HasCpu(controllers)) continue;
        // Systems name the mount after the controllers, and link the single name to it.
        Lower(least, LeastShare((mounts / controllers).string(), group, ControllerShare));
        Lower(least, LeastShare((mounts / "cpu").string(), group, ControllerShare));
    }
    if (!least || *least > 65536.0) return std::nullopt;
    return std::max(1u, static_cast<unsigned>(std::ceil(*least)));
}

unsigned LeastProcessors(unsigned affinity, std::optional<unsigned> quota, const char* cpusPerTask) {
    unsigned least = affinity;
    if (quota) least = std::min(least, *quota);
    if (cpusPerTask != nullptr) {
        const std::optional<unsigned> task = NumberIn<unsigned>(cpusPerTask);
        if (task && *task > 0) least = std::min(least, *task);
    }
    return std::max(1u, least);
}

unsigned UsableProcessors() { return LeastProcessors(Affinity(), CpuQuota(), std::getenv("SLURM_CPUS_PER_TASK")); }

}  // namespace qvox
