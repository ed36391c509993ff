// Prints what the stages of detection cost: detection_profile [--plain] [SIZE...]
// Per picture and size: nanoseconds of one core per pixel and the peak of bytes per pixel, stage by stage and in all.
// --plain adds the plain form, which takes minutes from 1024 on.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include <opencv2/core/utility.hpp>

#include "AllocationMeter.h"
#include "DetectionDriver.h"
#include "SeededSegmentation.h"
#include "generator/SamplePicture.h"
#include "reference/PlainDetection.h"

namespace {

using korvane_bench::HeldBytes;
using korvane_bench::PeakBytes;
using korvane_bench::ResetPeakBytes;
using qvox::LabelImage;
using qvox::VoxelImage;

double CpuSeconds() {
    std::timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

/// Notes, at every change of stage, the time and the peak of bytes held during the stage that ends, counted from the
/// moment when the clock was made.
class StageClock : public Korvane::DetectionObserver {
public:
    StageClock() : heldAtStart_(HeldBytes()) { ResetPeakBytes(); }

    int ProgressValue() override { return static_cast<int>(times.size()); }
    void UpdateProgress(int, const std::string& message) override {
        EndStage();
        names.push_back(message.substr(message.find(' ', 7) + 1));
    }
    void EndStage() {
        times.push_back(CpuSeconds());
        peaks.push_back(heldBefore_ + PeakBytes());
        heldBefore_ = HeldBytes() - heldAtStart_;
        ResetPeakBytes();
    }
    std::vector<double> times;
    std::vector<std::size_t> peaks;
    std::vector<std::string> names;

private:
    std::size_t heldAtStart_;
    std::size_t heldBefore_ = 0;
};

struct Picture {
    const char* name;
    std::function<VoxelImage<float>(std::uint64_t size)> draw;
};

VoxelImage<float> DrawVesicles(std::uint64_t size, double perMegapixel, double smallest, double largest, double gap) {
    std::mt19937 random(7);
    const double pixels = static_cast<double>(size) * static_cast<double>(size);
    std::vector<double> radii(static_cast<std::size_t>(std::ceil(perMegapixel * pixels / 1e6)));
    for (std::size_t i = 0; i < radii.size(); ++i) {
        radii[i] = largest - (largest - smallest) * static_cast<double>(i) / static_cast<double>(radii.size());
    }
    const auto vesicles = korvane_samples::PlaceVesicles(random, size, size, radii, gap);
    return korvane_samples::DrawPicture(random, size, size, vesicles, {});
}

/// White noise averaged over squares: a texture whose grains are as wide as the squares.
VoxelImage<float> DrawTexture(std::uint64_t size, int grain) {
    std::mt19937 random(11);
    VoxelImage<float> noise;
    noise.Resize(size, size, 1);
    for (float& v : noise) v = static_cast<float>(random() >> 8) / 16777216.0f;
    VoxelImage<float> out(noise);
    for (int pass = 0; pass < (grain > 1 ? 3 : 0); ++pass) {
        for (std::uint64_t y = 0; y < size; ++y) {
            for (std::uint64_t x = 0; x < size; ++x) {
                float sum = 0;
                for (int d = 0; d < grain; ++d) {
                    const auto step = static_cast<std::uint64_t>(d);
                    sum += pass % 2 == 0 ? noise((x + step) % size, y) : noise(x, (y + step) % size);
                }
                out(x, y) = sum;
            }
        }
        noise = out;
    }
    return out;
}

void PrintRow(const char* stage, double seconds, std::size_t bytes, double pixels) {
    std::printf("    %-24s %9.1f", stage, 1e9 * seconds / pixels);
    if (bytes > 0) std::printf(" %9.1f", static_cast<double>(bytes) / pixels);
    std::printf("\n");
}

double RunDetection(const VoxelImage<float>& raw, LabelImage& labels) {
    const double pixels = static_cast<double>(raw.VoxelCount());
    StageClock clock;
    const double start = CpuSeconds();
    Korvane::DetectExosomes(raw, labels, {}, Korvane::kReferenceResolution, clock);
    clock.EndStage();
    for (std::size_t i = 0; i < clock.names.size(); ++i) {
        PrintRow(clock.names[i].c_str(), clock.times[i + 1] - clock.times[i], clock.peaks[i + 1], pixels);
    }
    const double seconds = clock.times.back() - start;
    PrintRow("in all", seconds, *std::max_element(clock.peaks.begin(), clock.peaks.end()), pixels);
    return seconds;
}

void RunSegmentation(const VoxelImage<float>& raw, LabelImage& labels) {
    ResetPeakBytes();
    const double start = CpuSeconds();
    Korvane::SegmentFromSeeds(raw, labels, Korvane::kReferenceResolution, 0.03f);
    PrintRow("seeded segmentation", CpuSeconds() - start, PeakBytes(), static_cast<double>(raw.VoxelCount()));
}

void RunPlain(const VoxelImage<float>& raw, double shippedSeconds) {
    LabelImage labels;
    Korvane::DetectionObserver silent;
    const double start = CpuSeconds();
    korvane_reference::PlainDetectExosomes(raw, labels, {}, Korvane::kReferenceResolution, silent);
    const double seconds = CpuSeconds() - start;
    PrintRow("plain form, in all", seconds, 0, static_cast<double>(raw.VoxelCount()));
    std::printf("    plain / shipped          %9.1f\n", seconds / shippedSeconds);
}

}  // namespace

int main(int argc, char** argv) {
    cv::setNumThreads(1);
    bool plain = false;
    std::vector<std::uint64_t> sizes;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--plain") == 0) {
            plain = true;
        } else {
            sizes.push_back(std::strtoull(argv[i], nullptr, 10));
        }
    }
    if (sizes.empty()) sizes = {512, 1024, 2048};
    const std::vector<Picture> pictures{
        {"vesicles", [](std::uint64_t size) { return DrawVesicles(size, 80, 18, 36, 14); }},
        {"dense vesicles", [](std::uint64_t size) { return DrawVesicles(size, 400, 14, 22, 3); }},
        {"crowded texture", [](std::uint64_t size) { return DrawTexture(size, 9); }},
        {"noise", [](std::uint64_t size) { return DrawTexture(size, 1); }},
    };
    std::printf("%-28s %9s %9s\n", "", "ns/px", "B/px");
    for (const Picture& picture : pictures) {
        for (const std::uint64_t size : sizes) {
            std::printf("%s, %llu x %llu\n", picture.name, static_cast<unsigned long long>(size),
                        static_cast<unsigned long long>(size));
            const VoxelImage<float> raw = picture.draw(size);
            LabelImage labels;
            const double seconds = RunDetection(raw, labels);
            RunSegmentation(raw, labels);
            if (plain) RunPlain(raw, seconds);
            std::fflush(stdout);
        }
    }
    return 0;
}
