#include "FreedMemory.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <optional>
namespace {

constexpr std::size_t kBlock = std::size_t{96} << 20;

long Faults() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_minflt;
}

/// Faults of a block that is allocated, filled and freed.
long FaultsOfABlock() {
    const long before = Faults();
    const std::unique_ptr<unsigned char[]> block(new unsigned char[kBlock]);
    std::fill_n(static_cast<volatile unsigned char*>(block.get()), kBlock, static_cast<unsigned char>(1));
    return Faults() - before;
}

std::size_t ResidentBytes() {
    std::ifstream statistics("/proc/self/statm");
    std::size_t all = 0;
    std::size_t resident = 0;
    statistics >> all >> resident;
    return resident * 4096;
}

// Each in a process of its own, as what is free in this one depends on the tests before.
[[noreturn]] void ReuseFreedMemory() {
    const qvox::FreedMemoryKeeper keeper;
    const long first = FaultsOfABlock();
    const long second = FaultsOfABlock();
    std::_Exit(first > 20 && second < first / 10 ? 0 : 1);
}

[[noreturn]] void GiveFreedMemoryBack() {
    std::optional<qvox::FreedMemoryKeeper> keeper;
    keeper.emplace();
    FaultsOfABlock();
    const std::size_t kept = ResidentBytes();
    keeper.reset();
    const std::size_t left = ResidentBytes();
    std::_Exit(kept > kBlock && left + kBlock / 2 < kept ? 0 : 1);
}

TEST(FreedMemory, ServesWhatIsAllocatedNextWhileItIsKept) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the address sanitizer has its own allocator";
#endif
    EXPECT_EXIT(ReuseFreedMemory(), testing::ExitedWithCode(0), "");
}

TEST(FreedMemory, GoesBackToTheSystemInTheEnd) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the address sanitizer has its own allocator";
#endif
    EXPECT_EXIT(GiveFreedMemoryBack(), testing::ExitedWithCode(0), "");
}

}  // namespace
