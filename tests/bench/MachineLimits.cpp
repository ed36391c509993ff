#include "MachineLimits.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <limits>

#include "LargePages.h"

namespace korvane_bench {

namespace {

double CpuNanoseconds() {
    std::timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return 1e9 * static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec);
}

template <typename Work>
double LeastNanoseconds(Work work) {
    double least = std::numeric_limits<double>::infinity();
    for (int run = 0; run < 6; ++run) {
        const double before = CpuNanoseconds();
        work();
        least = std::min(least, CpuNanoseconds() - before);
    }
    return least;
}

double CopyBandwidth() {
    constexpr std::size_t kBytes = std::size_t{1} << 28;
    const auto from = qvox::MakeLargePageArray<std::uint8_t>(kBytes);
    const auto to = qvox::MakeLargePageArray<std::uint8_t>(kBytes);
    std::memset(from.get(), 1, kBytes);
    std::memset(to.get(), 2, kBytes);
    const double nanoseconds = LeastNanoseconds([&] {
        std::memcpy(to.get(), from.get(), kBytes);
        asm volatile("" : : "r"(to.get()) : "memory");
    });
    return 2.0 * static_cast<double>(kBytes) / nanoseconds;
}

// The places do not depend on what is read, so that many lines are on their way at a time.
double LineTime() {
    constexpr std::size_t kNumbers = std::size_t{1} << 24;
    constexpr std::size_t kVisits = std::size_t{1} << 22;
    const auto numbers = qvox::MakeLargePageArray<std::uint32_t>(kNumbers);
    std::memset(numbers.get(), 0, kNumbers * sizeof(std::uint32_t));
    std::uint64_t place = 1;
    const double nanoseconds = LeastNanoseconds([&] {
        for (std::size_t i = 0; i < kVisits; ++i) {
            place = place * 6364136223846793005u + 1442695040888963407u;
            ++numbers[place >> 40];
        }
        asm volatile("" : : "r"(numbers.get()) : "memory");
    });
    return nanoseconds / static_cast<double>(kVisits);
}

constexpr std::size_t kChains = 12;  // enough to hide the latency of two units
constexpr std::size_t kSteps = std::size_t{1} << 20;

template <typename Lanes>
inline __attribute__((always_inline)) void Calculate(float* result) {
    Lanes chains[kChains];
    for (std::size_t i = 0; i < kChains; ++i) chains[i] = Lanes{} + static_cast<float>(i);
    Lanes factor = Lanes{} + 0.999f;
    for (std::size_t step = 0; step < kSteps; ++step) {
        asm volatile("" : "+m"(factor));  // nothing is known of it, so nothing is worked out beforehand
        for (std::size_t i = 0; i < kChains; ++i) chains[i] = chains[i] * factor + factor;
    }
    for (std::size_t i = 1; i < kChains; ++i) chains[0] += chains[i];
    *result = chains[0][0];
}

using Lanes4 = float __attribute__((vector_size(16)));
using Lanes8 = float __attribute__((vector_size(32)));
using Lanes16 = float __attribute__((vector_size(64)));

void Calculate4(float* result) { Calculate<Lanes4>(result); }
__attribute__((target("avx2"))) void Calculate8(float* result) { Calculate<Lanes8>(result); }
__attribute__((target("avx512f"))) void Calculate16(float* result) { Calculate<Lanes16>(result); }

double OperationRate() {
    const bool wide = __builtin_cpu_supports("avx512f") != 0;
    const bool middle = __builtin_cpu_supports("avx2") != 0;
    volatile float kept = 0.0f;
    const double nanoseconds = LeastNanoseconds([&] {
        float result = 0.0f;
        wide ? Calculate16(&result) : middle ? Calculate8(&result) : Calculate4(&result);
        kept = result;
    });
    const double lanes = wide ? 16 : middle ? 8 : 4;
    return 2.0 * lanes * static_cast<double>(kChains * kSteps) / nanoseconds;
}

}  // namespace

MachineLimits MeasureMachine() { return {CopyBandwidth(), LineTime(), OperationRate()}; }

}  // namespace korvane_bench
