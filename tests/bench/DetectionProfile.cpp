// Prints what the stages of detection cost, as Markdown: detection_profile [--plain] [--give-back] [--picture NAME]
// [SIZE...] Per picture and stage: nanoseconds of one core per pixel at each size, the peak of bytes per pixel at the
// largest one, and a limit computed from what the stage needs (StageLimits.h) and what the machine does
// (MachineLimits.h), both printed first.
// --plain adds how many times as long the plain form takes, up to 1024 (minutes); --picture takes one picture only;
// --give-back lets freed memory go back to the system, which the programs do not.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <functional>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <opencv2/core/utility.hpp>

#include "AllocationMeter.h"
#include "DetectionDriver.h"
#include "NominalSizes.h"
#include "FreedMemory.h"
#include "SeededSegmentation.h"
#include "StageLimits.h"
#include "generator/SamplePicture.h"
#include "reference/PlainDetection.h"
#include "support/Random.h"

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
    void BeginStage(Korvane::DetectionStage stage, const Korvane::StageProgress&) override {
        EndStage();
        names.emplace_back(Korvane::RowOf(stage).text);
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
    for (float& v : noise) v = korvane_test::Uniform(random);
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

constexpr std::uint64_t kLargestPlain = 1024;
const char* const kInAll = "in all";
const char* const kPlainRatio = "plain form / this, in all";

/// What was measured of one picture: by name of the stage, one figure per size.
struct Profile {
    std::vector<std::string> stages;  // in order
    std::map<std::string, std::map<std::uint64_t, double>> nanoseconds;
    std::map<std::string, std::map<std::uint64_t, double>> bytes;

    void Note(const std::string& stage, std::uint64_t size, double perPixel, std::size_t bytesHeld) {
        if (std::find(stages.begin(), stages.end(), stage) == stages.end()) stages.push_back(stage);
        nanoseconds[stage][size] = perPixel;
        bytes[stage][size] = static_cast<double>(bytesHeld) / static_cast<double>(size * size);
    }
};

double PerPixel(double seconds, std::uint64_t size) { return 1e9 * seconds / static_cast<double>(size * size); }

double RunDetection(const VoxelImage<float>& raw, LabelImage& labels, Profile& profile) {
    StageClock clock;
    const double start = CpuSeconds();
    Korvane::DetectExosomes(raw, labels, {}, Korvane::kReferenceResolution, clock);
    clock.EndStage();
    for (std::size_t i = 0; i < clock.names.size(); ++i) {
        profile.Note(clock.names[i], raw.SizeX(), PerPixel(clock.times[i + 1] - clock.times[i], raw.SizeX()),
                     clock.peaks[i + 1]);
    }
    const double seconds = clock.times.back() - start;
    profile.Note(kInAll, raw.SizeX(), PerPixel(seconds, raw.SizeX()),
                 *std::max_element(clock.peaks.begin(), clock.peaks.end()));
    return seconds;
}

void RunSegmentation(const VoxelImage<float>& raw, LabelImage& labels, Profile& profile) {
    ResetPeakBytes();
    const double start = CpuSeconds();
    Korvane::SegmentFromSeeds(raw, labels, Korvane::kReferenceResolution, 0.03f);
    profile.Note("seeded segmentation", raw.SizeX(), PerPixel(CpuSeconds() - start, raw.SizeX()), PeakBytes());
}

void RunPlain(const VoxelImage<float>& raw, double shippedSeconds, Profile& profile) {
    LabelImage labels;
    Korvane::DetectionObserver silent;
    const double start = CpuSeconds();
    korvane_reference::PlainDetectExosomes(raw, labels, {}, Korvane::kReferenceResolution, silent);
    profile.Note(kPlainRatio, raw.SizeX(), (CpuSeconds() - start) / shippedSeconds, 0);
}

void PrintNeeds(const korvane_bench::MachineLimits& machine) {
    std::printf(
        "One core of this machine moves %.1f bytes per ns (copy of 256 MiB), changes a number anywhere in 64 MiB in\n"
        "%.1f ns and adds or multiplies %.0f floats per ns.\n\n",
        machine.bytesPerNanosecond, machine.nanosecondsPerLine, machine.operationsPerNanosecond);
    std::printf("| stage | bytes/px | operations/px | lines/px | limit, ns/px |\n|---|---|---|---|---|\n");
    for (const korvane_bench::StageNeeds& needs : korvane_bench::kStageNeeds) {
        std::printf("| %s | %.0f | %.0f | %.0f | %.1f |\n", needs.stage, needs.bytes, needs.operations, needs.lines,
                    LimitOf(needs, machine));
    }
}

// Of the whole, the sum over the stages of detection; the ratio has none.
std::string LimitText(const std::string& stage, const korvane_bench::MachineLimits& machine) {
    double limit = 0.0;
    for (const korvane_bench::StageNeeds& needs : korvane_bench::kStageNeeds) {
        const bool counts = stage == kInAll ? std::string("seeded segmentation") != needs.stage : stage == needs.stage;
        if (counts) limit += LimitOf(needs, machine);
    }
    if (limit == 0.0) return "";
    char text[32];
    std::snprintf(text, sizeof text, " %.1f", limit);
    return text;
}

void PrintProfile(const char* name, const Profile& profile, const std::vector<std::uint64_t>& sizes,
                  const korvane_bench::MachineLimits& machine) {
    std::printf("\n**%s**\n\n| stage |", name);
    for (const std::uint64_t size : sizes) std::printf(" %llu² |", static_cast<unsigned long long>(size));
    std::printf(" B/px at %llu² | limit |\n|---|", static_cast<unsigned long long>(sizes.back()));
    for (std::size_t i = 0; i < sizes.size() + 2; ++i) std::printf("---|");
    std::printf("\n");
    for (const std::string& stage : profile.stages) {
        std::printf("| %s |", stage.c_str());
        for (const std::uint64_t size : sizes) {
            const auto& figures = profile.nanoseconds.at(stage);
            const auto figure = figures.find(size);
            figure == figures.end() ? std::printf(" |") : std::printf(" %.1f |", figure->second);
        }
        stage == kPlainRatio ? std::printf(" |") : std::printf(" %.1f |", profile.bytes.at(stage).at(sizes.back()));
        std::printf("%s |\n", LimitText(stage, machine).c_str());
    }
    std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
    cv::setNumThreads(1);
    std::optional<qvox::FreedMemoryKeeper> keeper(std::in_place);  // as the programs
    bool plain = false;
    std::string only;
    std::vector<std::uint64_t> sizes;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--plain") == 0) {
            plain = true;
        } else if (std::strcmp(argv[i], "--give-back") == 0) {
            keeper.reset();
        } else if (std::strcmp(argv[i], "--picture") == 0 && i + 1 < argc) {
            only = argv[++i];
        } else if (const std::uint64_t size = std::strtoull(argv[i], nullptr, 10); size > 0) {
            sizes.push_back(size);
        } else {
            std::fprintf(stderr, "detection_profile [--plain] [--give-back] [--picture NAME] [SIZE...]\n");
            return 2;
        }
    }
    if (sizes.empty()) sizes = {512, 1024, 2048};
    const std::vector<Picture> pictures{
        {"Vesicles", [](std::uint64_t size) { return DrawVesicles(size, 80, 18, 36, 14); }},
        {"Dense vesicles", [](std::uint64_t size) { return DrawVesicles(size, 400, 14, 22, 3); }},
        {"Crowded texture", [](std::uint64_t size) { return DrawTexture(size, 9); }},
        {"Noise", [](std::uint64_t size) { return DrawTexture(size, 1); }},
    };
    const korvane_bench::MachineLimits machine = korvane_bench::MeasureMachine();
    PrintNeeds(machine);
    for (const Picture& picture : pictures) {
        if (!only.empty() && only != picture.name) continue;
        Profile profile;
        for (const std::uint64_t size : sizes) {
            const VoxelImage<float> raw = picture.draw(size);
            LabelImage labels;
            const double seconds = RunDetection(raw, labels, profile);
            RunSegmentation(raw, labels, profile);
            if (plain && size <= kLargestPlain) RunPlain(raw, seconds, profile);
        }
        PrintProfile(picture.name, profile, sizes, machine);
    }
    return 0;
}
