#include "Processors.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "CoreDivision.h"
#include "support/TemporaryFolder.h"

namespace Korvane {

namespace {

using korvane_test::TemporaryFolder;
using qvox::CpuQuota;
using qvox::LeastProcessors;
using qvox::UsableProcessors;

/// A machine's files of control groups.
class Quota : public ::testing::Test {
protected:
    void Write(const std::string& path, const std::string& text) const {
        std::filesystem::create_directories(std::filesystem::path(folder_.File(path)).parent_path());
        std::ofstream(folder_.File(path)) << text;
    }
    std::optional<unsigned> Read() const { return CpuQuota(folder_.Path().string()); }
    TemporaryFolder folder_;
};

TEST_F(Quota, IsNoneWithoutControlGroupsOrLimits) {
    EXPECT_EQ(Read(), std::nullopt);
    Write("proc/self/cgroup", "0::/user.slice\n");
    EXPECT_EQ(Read(), std::nullopt);
    Write("sys/fs/cgroup/user.slice/cpu.max", "max 100000\n");
    EXPECT_EQ(Read(), std::nullopt);
    Write("proc/self/cgroup", "nonsense\n7:cpu\n1:cpu:\n");
    EXPECT_EQ(Read(), std::nullopt);
}

TEST_F(Quota, IsTheLeastOfAGroupAndThoseThatHoldIt) {
    Write("proc/self/cgroup", "0::/system.slice/job_7/step_0\n");
    Write("sys/fs/cgroup/system.slice/job_7/step_0/cpu.max", "max 100000\n");
    Write("sys/fs/cgroup/system.slice/job_7/cpu.max", "300000 100000\n");
    Write("sys/fs/cgroup/system.slice/cpu.max", "800000 100000\n");
    EXPECT_EQ(Read(), 3u);
    Write("sys/fs/cgroup/cpu.max", "150000 100000\n");
    EXPECT_EQ(Read(), 2u) << "a part counts as a whole";
    Write("sys/fs/cgroup/cpu.max", "5000 100000\n");
    EXPECT_EQ(Read(), 1u);
}

TEST_F(Quota, OfVersionOneIsThatOfTheCpuController) {
    Write("proc/self/cgroup", "5:cpuset:/job\n4:cpu,cpuacct:/docker/abc\n0::/\n");
    Write("sys/fs/cgroup/cpu,cpuacct/cpu.cfs_quota_us", "-1\n");
    Write("sys/fs/cgroup/cpu,cpuacct/cpu.cfs_period_us", "100000\n");
    EXPECT_EQ(Read(), std::nullopt);
    // In a container the mount shows its own group as the root.
    Write("sys/fs/cgroup/cpu,cpuacct/cpu.cfs_quota_us", "400000\n");
    EXPECT_EQ(Read(), 4u);
    Write("sys/fs/cgroup/cpu,cpuacct/docker/abc/cpu.cfs_quota_us", "200000\n");
    Write("sys/fs/cgroup/cpu,cpuacct/docker/abc/cpu.cfs_period_us", "100000\n");
    EXPECT_EQ(Read(), 2u);
}

TEST(Processors, AreTheLeastThatAnyoneAllows) {
    EXPECT_GE(UsableProcessors(), 1u);
    EXPECT_EQ(LeastProcessors(8, std::nullopt, nullptr), 8u);
    EXPECT_EQ(LeastProcessors(8, 3, nullptr), 3u);
    EXPECT_EQ(LeastProcessors(8, 3, "2"), 2u);
    EXPECT_EQ(LeastProcessors(2, 3, "16"), 2u);
    EXPECT_EQ(LeastProcessors(8, std::nullopt, "0"), 8u);
    EXPECT_EQ(LeastProcessors(8, std::nullopt, "many"), 8u);
}

TEST(Processors, AreSharedOutAsAsked) {
    const auto text = [](std::optional<unsigned> images, std::optional<unsigned> threads) -> std::string {
        JobOptions jobs;
        jobs.images = images;
        jobs.threads = threads;
        try {
            const CoreShares shares = ShareOut(jobs);
            return std::to_string(shares.images) + " of " + std::to_string(shares.threads);
        } catch (const UsageError& error) {
            return error.what();
        }
    };
    const std::string usable = std::to_string(UsableProcessors());
    EXPECT_EQ(text({}, {}), usable + " of " + usable);
    EXPECT_EQ(text({}, 3), "3 of 3");
    EXPECT_EQ(text(2, 6), "2 of 6");
    EXPECT_EQ(text(1000, {}), "1000 of " + usable)
        << "more images than processors at a time, where they wait for files";
    EXPECT_EQ(text(4, 2), "--jobs 4 needs as many --threads, not 2.");
}

}  // namespace

}  // namespace Korvane
