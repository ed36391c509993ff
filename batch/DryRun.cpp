#include "DryRun.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <exception>
#include <filesystem>
#include <system_error>

#include "CoreDivision.h"
#include "ExceptionText.h"
#include "ImageLoading.h"
#include "ImageRun.h"
#include "Interrupt.h"
#include "PathText.h"
#include "PixelHeight.h"
#include "VisibleText.h"
#include "files/ImageFile.h"

namespace Korvane {

namespace {

constexpr double kProgramMiB = 25.0;  // without an image

enum class DryState : std::size_t { kWork, kSkipped, kLeftOut, kRefused };

struct DryImage {
    DryState state;
    wxString text;
    double pixels = 0.0;
};

bool IsThere(const wxString& path) {
    std::error_code unreachable;
    return std::filesystem::exists(PathBytes(path), unreachable);
}

/// Why an analysis would not take the image; empty when it would.
wxString Trouble(const ImageRun& run, const qvox::ImageFileInfo& info) {
    if (!IsInputType(info.type) && !run.dryRun.takesAnyType) return "unsupported type " + PathText(info.typeText);
    if (run.dryRun.needs == DryRunNeeds::kAnyImage) return {};
    if (info.sizeZ > 1) return "it is a stack; --page N chooses one of its planes";
    if (run.dryRun.needs == DryRunNeeds::kPlane) return {};
    const bool isGiven = run.pixelSize.nm && (run.pixelSize.holds == GivenPixelSize::Holds::kAlways ||
                                              info.resolution.x <= 0.0f || info.resolution.y <= 0.0f);
    if (isGiven) return {};
    if (info.resolution.x <= 0.0f) return "it stores no pixel size; give it with --pixel-size NM";
    return run.dryRun.needs == DryRunNeeds::kAnalysis ? PathText(PixelHeightTrouble(info.resolution)) : wxString();
}

DryImage Look(const ImageRun& run, const ImageFiles& files) {
    const DryRunRules& rules = run.dryRun;
    if (rules.kept != nullptr && IsThere(files.*rules.kept)) {
        return {DryState::kSkipped, "skip: '" + files.*rules.kept + "' exists"};
    }
    if (rules.needed != nullptr && !IsThere(files.*rules.needed)) {
        return {DryState::kLeftOut, "leave out: there is no '" + files.*rules.needed + "'"};
    }
    const wxString lacking = rules.lacks ? rules.lacks(files) : wxString();
    if (!lacking.empty()) return {DryState::kLeftOut, "leave out: " + lacking};
    try {
        const qvox::ImageFileInfo info = qvox::InspectImageFile(PathBytes(files.input), run.input.reading);
        const wxString trouble = Trouble(run, info);
        if (!trouble.empty()) return {DryState::kRefused, "refuse: " + trouble};
        const double pixels = static_cast<double>(info.sizeX) * static_cast<double>(info.sizeY) *
                              static_cast<double>(std::max<std::uint64_t>(info.sizeZ, 1));
        return {DryState::kWork, wxString(rules.word) + wxString::Format(": %.2f megapixels", pixels * 1e-6), pixels};
    } catch (...) {
        return {DryState::kRefused, "refuse: " + ExceptionText(std::current_exception(), files.input)};
    }
}

wxString DurationText(double seconds) {
    if (seconds < 90.0) return wxString::Format("%.0f s", std::ceil(seconds));
    if (seconds < 90.0 * 60.0) return wxString::Format("%.0f min", std::ceil(seconds / 60.0));
    return wxString::Format("%.1f h", seconds / 3600.0);
}

/// The sums over the images.
struct DrySums {
    std::array<std::size_t, 4> images{};
    double pixels = 0.0;
    double largest = 0.0;

    void Add(const DryImage& image) {
        ++images[static_cast<std::size_t>(image.state)];
        if (image.state != DryState::kWork) return;
        pixels += image.pixels;
        largest = std::max(largest, image.pixels);
    }
    std::size_t Of(DryState state) const { return images[static_cast<std::size_t>(state)]; }
};

wxString SummaryText(const ImageRun& run, const DrySums& sums) {
    const RunCost& cost = run.dryRun.cost;
    const std::size_t works = sums.Of(DryState::kWork);
    wxString text =
        wxString::Format("%zu to %s, %zu to skip, %zu to leave out, %zu to refuse.", works, run.dryRun.word,
                         sums.Of(DryState::kSkipped), sums.Of(DryState::kLeftOut), sums.Of(DryState::kRefused));
    if (works == 0) return text;
    const CoreShares shares = ShareOut(run.jobs);
    const auto atATime = static_cast<double>(std::min<std::size_t>(shares.images, works));
    // The largest image ends last, and its stages use further threads in part only.
    const double seconds =
        std::min(1e-9 * cost.nsPerPixel * std::max(sums.largest, sums.pixels / atATime), cost.mostSeconds);
    const double held = cost.holds == RunCost::Holds::kAllImages ? sums.pixels : atATime * sums.largest;
    const double memory = kProgramMiB + held * cost.bytesPerPixel / 1048576.0;
    return text + wxString::Format(" Estimate with %.0f at a time: ", atATime) + DurationText(seconds) +
           wxString::Format(", %.0f MiB of memory.", std::ceil(memory / 10.0) * 10.0);
}

}  // namespace

int PrintDryRun(const ImageRun& run, const FilePlan& plan, const Streams& streams) {
    DrySums sums;
    bool isPrinted = true;
    for (std::size_t i = 0; i < plan.Count() && isPrinted; ++i) {
        if (Interrupted()) return kExitInterrupted;
        const ImageFiles files = plan.Files(i);
        const DryImage image = Look(run, files);
        sums.Add(image);
        isPrinted = WriteOut(streams.output, VisibleText(files.input + ": " + image.text) + "\n");
    }
    isPrinted = isPrinted && WriteOut(streams.output, VisibleText(SummaryText(run, sums)) + "\n");
    for (const wxString& path : run.dryRun.writes) {
        isPrinted = isPrinted && WriteOut(streams.output, VisibleText("To write: '" + path + "'") + "\n");
    }
    return isPrinted && sums.Of(DryState::kRefused) == 0 ? kExitDone : kExitSomeFailed;
}

}  // namespace Korvane
