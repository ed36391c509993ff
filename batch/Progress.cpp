#include "Progress.h"

#include <unistd.h>

#include <algorithm>
#include <string>

#include "DetectionStages.h"
#include "VisibleText.h"

namespace Korvane {

namespace {

constexpr std::size_t kBarWidth = 40;
/// An image counts as this many steps; the stages of one that is under way may fill all but the last.
constexpr std::size_t kStepsPerImage = static_cast<std::size_t>(AnnouncedStages(StageRuns::kInRefinement)) + 1;

void Put(std::FILE* stream, const std::string& bytes) { std::fwrite(bytes.data(), 1, bytes.size(), stream); }

}  // namespace

Progress::Progress(std::FILE* stream, Verbosity verbosity, std::size_t imageCount)
    : stream_(stream),
      verbosity_(verbosity),
      bar_(verbosity == Verbosity::kNormal && ::isatty(::fileno(stream)) == 1),
      imageCount_(imageCount) {
    const std::lock_guard<std::mutex> lock(mutex_);
    DrawBar();
}

Progress::~Progress() {
    const std::lock_guard<std::mutex> lock(mutex_);
    WipeBar();
}

void Progress::Note(const wxString& text) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (verbosity_ != Verbosity::kQuiet) Lines(VisibleText(text));
}

void Progress::Warning(const wxString& text) {
    const std::lock_guard<std::mutex> lock(mutex_);
    Lines(VisibleText("warning: " + text));
}

void Progress::Error(const FailureText& text) {
    const std::lock_guard<std::mutex> lock(mutex_);
    Lines("error: " + VisibleFailure(text));
}

void Progress::Trace(const wxString& text) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (verbosity_ == Verbosity::kVerbose) Lines(VisibleText(text));
}

void Progress::StageBegun() {
    const std::lock_guard<std::mutex> lock(mutex_);
    ++stages_;
    DrawBar();
}

void Progress::ImageDone(std::size_t stagesTold, const wxString& text) {
    const std::lock_guard<std::mutex> lock(mutex_);
    ++imagesDone_;
    stages_ -= stagesTold;
    if (verbosity_ != Verbosity::kQuiet && !bar_) {
        Lines("[" + std::to_string(imagesDone_) + "/" + std::to_string(imageCount_) + "] " + VisibleText(text));
    }
    DrawBar();
}

void Progress::Lines(const std::string& visible) {
    WipeBar();
    Put(stream_, visible + "\n");
    std::fflush(stream_);
    DrawBar();
}

void Progress::DrawBar() {
    if (!bar_ || imageCount_ == 0) return;
    const std::size_t all = imageCount_ * kStepsPerImage;
    const std::size_t steps = std::min(all, imagesDone_ * kStepsPerImage + stages_);
    const std::size_t filled = steps * kBarWidth / all;
    Put(stream_, "\r\033[K[" + std::string(filled, '#') + std::string(kBarWidth - filled, '.') + "] " +
                     std::to_string(imagesDone_) + "/" + std::to_string(imageCount_));
    std::fflush(stream_);
}

void Progress::WipeBar() {
    if (!bar_) return;
    Put(stream_, "\r\033[K");
    std::fflush(stream_);
}

}  // namespace Korvane
