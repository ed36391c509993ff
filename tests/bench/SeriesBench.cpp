// What a series of large images costs in the window. tests/bench/series calls it with a folder, a count and a side.

#include <algorithm>
#include <chrono>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include <wx/app.h>
#include <wx/evtloop.h>
#include <wx/utils.h>

#include "MainFrame.h"
#include "PathText.h"
#include "SingleImageCanvas.h"
#include "files/ImageFile.h"

namespace {

using namespace Korvane;
using Clock = std::chrono::steady_clock;
namespace fs = std::filesystem;

double MillisecondsSince(Clock::time_point start) {
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

/// A line of this process' status, in megabytes.
double Megabytes(const std::string& key) {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        double kilobytes = 0.0;
        if (word == key + ":" && status >> kilobytes) return kilobytes / 1024.0;
    }
    return 0.0;
}

/// Some files, of which the others are further names: grain of 8 bits, stored as it is, and 100 discs each as results.
std::vector<wxString> WriteSeries(const fs::path& folder, std::size_t count, std::uint64_t side) {
    constexpr std::size_t kFiles = 6;
    std::vector<wxString> paths;
    for (std::size_t i = 0; i < count; ++i) {
        const std::string name = std::to_string(10000 + i) + ".tif";
        paths.push_back(PathText(folder / name));
        if (i >= kFiles) {
            const std::string same = std::to_string(10000 + i % kFiles) + ".tif";
            fs::create_hard_link(folder / same, folder / name);
            fs::create_hard_link(folder / ("seg_" + same), folder / ("seg_" + name));
            continue;
        }
        std::mt19937 random(static_cast<unsigned>(i));
        qvox::VoxelImage<std::uint8_t> grey(qvox::VoxelOffset{}, qvox::PixelResolution{672.0f, 672.0f, 0.0f});
        grey.Resize(side, side, 1);
        for (std::uint8_t& voxel : grey) voxel = static_cast<std::uint8_t>(100 + random() % 64);
        qvox::SaveImageFile((folder / name).string(), grey, qvox::FileFormat::kTiff, qvox::TiffCompression::kNone);
        qvox::LabelImage labels(qvox::VoxelOffset{}, grey.Resolution());
        labels.Resize(side, side, 1);
        labels.Zero();
        const auto radius = static_cast<std::int64_t>(side / 60);
        for (std::uint64_t label = 1; label <= 100; ++label) {
            const auto x = static_cast<std::int64_t>(side / 10 * ((label - 1) % 10) + side / 20);
            const auto y = static_cast<std::int64_t>(side / 10 * ((label - 1) / 10) + side / 20);
            for (std::int64_t dy = -radius; dy <= radius; ++dy) {
                for (std::int64_t dx = -radius; dx <= radius; ++dx) {
                    if (dx * dx + dy * dy > radius * radius) continue;
                    labels(static_cast<std::uint64_t>(x + dx), static_cast<std::uint64_t>(y + dy)) =
                        static_cast<std::uint16_t>(label);
                }
            }
        }
        qvox::SaveImageFile((folder / ("seg_" + name)).string(), labels);
    }
    return paths;
}

class Bench {
public:
    explicit Bench(std::vector<wxString> paths) : paths_(std::move(paths)), frame_(new MainFrame) {
        frame_->Show();
        frame_->Canvas().Bind(wxEVT_PAINT, [this](wxPaintEvent& event) {
            ++paints_;
            event.Skip();
        });
        while (paints_ == 0) wxTheApp->Yield(true);
    }

    ~Bench() {
        frame_->Destroy();
        wxTheApp->Yield(true);
    }

    void Run() {
        Report("before opening");
        auto start = Clock::now();
        const int paints = paints_;
        frame_->OpenFiles(paths_);
        while (paints_ == paints) wxTheApp->Yield(true);
        Finish();
        std::printf("%zu images, first paint after %.0f ms\n", paths_.size(), MillisecondsSince(start));
        Report("after the first paint");
        // The longest time that the thread of the window was busy in one piece while the others were read.
        double longest = 0.0;
        for (bool isRead = false; !isRead;) {
            const auto turn = Clock::now();
            wxTheApp->Yield(true);
            wxTheApp->ProcessIdle();
            longest = std::max(longest, MillisecondsSince(turn));
            wxMilliSleep(2);
            isRead = true;
            for (std::size_t i = 0; i < paths_.size(); ++i) isRead = isRead && frame_->Store().images.WasRead(i);
        }
        std::printf("all read after %.1f s; the window was busy for %.0f ms at most\n",
                    MillisecondsSince(start) / 1000.0, longest);
        Report("all read");
        start = Clock::now();
        frame_->LoadSegmentationResults(std::nullopt);
        std::printf("labels of all loaded in %.1f s\n", MillisecondsSince(start) / 1000.0);
        Report("with labels");
        std::vector<std::size_t> next;
        for (std::size_t i = 1; i < std::min<std::size_t>(paths_.size(), 41); ++i) next.push_back(i);
        Switch("to the next position", next);
        std::mt19937 random(1);
        std::vector<std::size_t> any;
        for (int i = 0; i < 40; ++i) any.push_back(random() % paths_.size());
        Switch("to any position", any);
        Report("at the end");
    }

private:
    void Finish() {
        frame_->Canvas().Update();
        frame_->Update();
        wxGetMousePosition();
    }

    void Switch(const char* what, const std::vector<std::size_t>& indices) {
        std::vector<double> times;
        for (const std::size_t index : indices) {
            // A person looks at an image for a moment.
            for (const auto shown = Clock::now(); MillisecondsSince(shown) < 300.0;) {
                wxTheApp->Yield(true);
                wxTheApp->ProcessIdle();
                wxMilliSleep(2);
            }
            const auto start = Clock::now();
            frame_->SwitchTo(index);
            Finish();
            times.push_back(MillisecondsSince(start));
        }
        std::sort(times.begin(), times.end());
        std::printf("%s: median %.0f ms, longest %.0f ms\n", what, times[times.size() / 2], times.back());
    }

    static void Report(const char* when) {
        std::printf("memory %s: %.0f MB, at its peak %.0f MB\n", when, Megabytes("VmRSS"), Megabytes("VmHWM"));
        std::fflush(stdout);
    }

    std::vector<wxString> paths_;
    MainFrame* frame_;
    int paints_ = 0;
};

class BenchApp : public wxApp {
public:
    explicit BenchApp(std::vector<std::string> arguments) : arguments_(std::move(arguments)) {}

    bool OnInit() override {
        std::setlocale(LC_NUMERIC, "C");
        AdoptPathConversion();
        SetExitOnFrameDelete(false);
        return true;
    }

    int OnRun() override {
        wxGUIEventLoop loop;
        const wxEventLoopActivator active(&loop);
        const std::size_t count = std::strtoul(arguments_[1].c_str(), nullptr, 10);
        Bench(WriteSeries(arguments_[0], count, std::strtoul(arguments_[2].c_str(), nullptr, 10))).Run();
        return 0;
    }

private:
    std::vector<std::string> arguments_;
};

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fprintf(stderr, "series_bench FOLDER COUNT SIDE\n");
        return 2;
    }
    wxApp::SetInstance(new BenchApp({argv[1], argv[2], argv[3]}));
    int none = 1;
    return wxEntry(none, argv);
}
