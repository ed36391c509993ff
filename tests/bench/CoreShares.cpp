// Prints how long an analysis would take on several cores, as Markdown: core_shares IMAGE NM_PER_PIXEL [RUNS] Detection
// runs on one core; each part that may run beside others is timed by itself. The time on n cores is that of what lies
// between the parts, and of the parts dealt to n cores, each to the one that is free first. Nothing is said of memory
// that cores share.

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <string>
#include <vector>

#include "DetectionDriver.h"
#include "FreedMemory.h"
#include "files/ImageFile.h"
#include "operations/PartRunner.h"

namespace {

double CpuSeconds() {
    std::timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

constexpr std::array<std::size_t, 4> kCores{1, 2, 4, 8};

/// The times of one analysis.
struct Times {
    double whole = 0.0;
    double inParts = 0.0;
    std::array<double, kCores.size()> partsOnCores{};

    double On(std::size_t i) const { return whole - inParts + partsOnCores[i]; }
};

double Dealt(const std::vector<double>& parts, std::size_t cores) {
    std::vector<double> busyUntil(cores, 0.0);
    for (const double part : parts) *std::min_element(busyUntil.begin(), busyUntil.end()) += part;
    return *std::max_element(busyUntil.begin(), busyUntil.end());
}

Times Measure(const qvox::VoxelImage<float>& image, float pixelsPerUm) {
    Times times;
    const qvox::PartRunner run = [&](std::size_t count, const std::function<void(std::size_t)>& part) {
        std::vector<double> seconds(count);
        for (std::size_t i = 0; i < count; ++i) {
            const double start = CpuSeconds();
            part(i);
            seconds[i] = CpuSeconds() - start;
            times.inParts += seconds[i];
        }
        for (std::size_t i = 0; i < kCores.size(); ++i) times.partsOnCores[i] += Dealt(seconds, kCores[i]);
    };
    Korvane::DetectionObserver silent;
    qvox::LabelImage labels({}, {pixelsPerUm, pixelsPerUm, 0.0f});
    const double start = CpuSeconds();
    Korvane::DetectExosomes(image, labels, {}, pixelsPerUm, silent, run);
    times.whole = CpuSeconds() - start;
    return times;
}

}  // namespace

int main(int argc, char** argv) {
    const double nm = argc >= 3 ? std::atof(argv[2]) : 0.0;
    const int runs = argc >= 4 ? std::atoi(argv[3]) : 3;
    if (nm <= 0.0 || runs < 1) {
        std::fprintf(stderr, "core_shares IMAGE NM_PER_PIXEL [RUNS]\n");
        return 2;
    }
    const qvox::FreedMemoryKeeper keeper;  // as the programs
    qvox::VoxelImage<float> image;
    qvox::LoadImageFile(argv[1], image);
    Times least;
    for (int i = 0; i < runs; ++i) {
        const Times times = Measure(image, static_cast<float>(1000.0 / nm));
        if (i == 0 || times.whole < least.whole) least = times;
    }
    std::printf("| nm per pixel | one core, ns per pixel | in parts |");
    for (std::size_t i = 1; i < kCores.size(); ++i) std::printf(" %zu cores |", kCores[i]);
    std::printf("\n|---|---|---|---|---|---|\n| %g | %.0f | %.0f %% |", nm,
                1e9 * least.whole / static_cast<double>(image.VoxelCount()), 100.0 * least.inParts / least.whole);
    for (std::size_t i = 1; i < kCores.size(); ++i) std::printf(" %.2f |", least.On(i) / least.whole);
    std::printf("\n");
    return 0;
}
