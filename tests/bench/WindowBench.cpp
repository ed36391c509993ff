// What the window takes to answer: events handled and painted, on a picture of 8192 x 8192 with 2,000 labels, contours
// and numbers on. Needs a display: tests/gui/with_display build/release/tests/bench/window_bench

#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <clocale>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>
#include <wx/app.h>
#include <wx/evtloop.h>
#include <wx/utils.h>

#include "CommandTable.h"
#include "LabelChanges.h"
#include "MainFrame.h"
#include "PathText.h"
#include "RecoveryJournal.h"
#include "SingleImageCanvas.h"
#include "files/ImageFile.h"
#include "support/TemporaryFolder.h"

namespace {

using namespace Korvane;
using Clock = std::chrono::steady_clock;

constexpr std::uint64_t kSize = 8192;
constexpr std::uint16_t kLabels = 2000;
constexpr int kRepetitions = 200;

double MillisecondsSince(Clock::time_point start) {
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

double CpuMilliseconds() {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return 1e3 * static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_nsec);
}

/// Of sorted or unsorted figures, the one that `share` of them do not exceed.
double Quantile(std::vector<double> figures, double share) {
    std::sort(figures.begin(), figures.end());
    return figures[static_cast<std::size_t>(share * static_cast<double>(figures.size() - 1))];
}

double PeakMegabytes() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) / 1024.0;
}

/// Writes a grainy ramp and, as its results, discs of 40 to 80 pixels at places drawn by lot.
void WritePicture(const std::string& image, const std::string& results) {
    std::mt19937 random(3);
    qvox::VoxelImage<std::uint8_t> grey;
    grey.Resize(kSize, kSize, 1);
    for (std::uint64_t i = 0; i < grey.VoxelCount(); ++i) {
        grey[i] = static_cast<std::uint8_t>(i % kSize / 64 + i / kSize / 128 + random() % 64);
    }
    grey.SetResolution({672.0f, 672.0f, 0.0f});
    qvox::SaveImageFile(image, grey);
    qvox::LabelImage labels;
    labels.Resize(kSize, kSize, 1);
    labels.Zero();
    labels.SetResolution(grey.Resolution());
    for (std::uint16_t label = 1; label <= kLabels; ++label) {
        const auto radius = static_cast<std::int64_t>(40 + random() % 41);
        const auto cx = static_cast<std::int64_t>(80 + random() % (kSize - 160));
        const auto cy = static_cast<std::int64_t>(80 + random() % (kSize - 160));
        for (std::int64_t y = cy - radius; y <= cy + radius; ++y) {
            for (std::int64_t x = cx - radius; x <= cx + radius; ++x) {
                if ((x - cx) * (x - cx) + (y - cy) * (y - cy) >= radius * radius) continue;
                labels(static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y)) = label;
            }
        }
    }
    qvox::SaveImageFile(results, labels);
}

/// The window with the picture open.
class Scene {
public:
    Scene() {
        WritePicture(folder_.File("large.tif"), folder_.File("seg_large.tif"));
        frame_ = new MainFrame;
        frame_->Show();
        frame_->Canvas().Bind(wxEVT_PAINT, [this](wxPaintEvent& event) {
            ++paints_;
            event.Skip();
        });
        while (paints_ == 0) wxTheApp->Yield(true);
        const auto start = Clock::now();
        frame_->OpenFiles({PathText(folder_.File("large.tif"))});
        // The window takes the picture's size when its manager says so.
        const int paints = paints_;
        while (paints_ == paints) wxTheApp->Yield(true);
        Finish();
        opened_ = MillisecondsSince(start);
        frame_->LoadSegmentationResults(std::nullopt);
        wxCommandEvent numbers(wxEVT_MENU, kLabelNumbers);
        frame_->ProcessWindowEvent(numbers);
        Finish();
        openedWithLabels_ = MillisecondsSince(start);
    }

    ~Scene() {
        frame_->Destroy();
        wxTheApp->Yield(true);
    }

    double OpenedMs() const { return opened_; }
    double OpenedWithLabelsMs() const { return openedWithLabels_; }
    wxSize Client() { return frame_->Canvas().GetClientSize(); }
    int Paints() const { return paints_; }
    MainFrame& Frame() { return *frame_; }

    void GoTo(int level) {
        frame_->Canvas().ScrollTo({0, 0});
        frame_->SetZoomLevel(level);
        const int middle = static_cast<int>(static_cast<float>(kSize) * ZoomFactor(level)) / 2;
        frame_->Canvas().ScrollTo({middle - Client().x / 2, middle - Client().y / 2});
        Idle();
    }

    /// All that is due, what is done when nothing else is, and every paint.
    void Idle() {
        wxTheApp->Yield(true);
        while (wxTheApp->ProcessIdle()) {
        }
        wxTheApp->Yield(true);
        Finish();
    }

    /// Until the search for bars and writing has ended, whose thread takes its share of the processor and the caches.
    void AwaitRest() {
        constexpr double kAtRestMs = 10.0;
        for (double used = kAtRestMs; used >= kAtRestMs;) {
            const double before = CpuMilliseconds();
            wxMilliSleep(300);
            Idle();
            used = CpuMilliseconds() - before;
        }
    }

    /// Paints what is to be painted and waits until the display server has drawn it.
    void Finish() {
        frame_->Canvas().Update();
        frame_->Update();
        wxGetMousePosition();
    }

    void Mouse(wxEventType type, wxPoint at, bool leftDown) {
        wxMouseEvent event(type);
        event.SetPosition(at);
        event.m_leftDown = leftDown;
        event.SetEventObject(&frame_->Canvas());
        frame_->Canvas().ProcessWindowEvent(event);
    }

    void Wheel(int rotation) {
        wxMouseEvent event(wxEVT_MOUSEWHEEL);
        event.SetPosition({Client().x / 2, Client().y / 2});
        event.m_wheelRotation = rotation;
        event.m_wheelDelta = 120;
        event.SetEventObject(&frame_->Canvas());
        frame_->Canvas().ProcessWindowEvent(event);
    }

    void Key(int code) {
        wxKeyEvent event(wxEVT_CHAR_HOOK);
        event.m_keyCode = code;
        event.SetEventObject(&frame_->Canvas());
        frame_->Canvas().ProcessWindowEvent(event);
    }

private:
    korvane_test::TemporaryFolder folder_;
    MainFrame* frame_ = nullptr;
    int paints_ = 0;
    double opened_ = 0.0;
    double openedWithLabels_ = 0.0;
};

Scene* scene = nullptr;

/// Times `step(i)` up to the end of its painting, once per iteration, on the clock and as CPU time of this process;
/// `prepare` and its painting are not timed.
template <typename Prepare, typename Step>
void TimeEach(benchmark::State& state, Prepare prepare, Step step) {
    std::vector<double> times;
    std::vector<double> cpu;
    int i = 0;
    for (auto _ : state) {
        prepare(i);
        scene->Idle();
        const int paints = scene->Paints();
        const double cpuBefore = CpuMilliseconds();
        const auto start = Clock::now();
        step(i);
        scene->Finish();
        times.push_back(MillisecondsSince(start));
        cpu.push_back(CpuMilliseconds() - cpuBefore);
        state.SetIterationTime(times.back() / 1000.0);
        if (scene->Paints() == paints) {
            state.SkipWithError("nothing was painted");
            return;
        }
        ++i;
    }
    state.counters["median_ms"] = Quantile(times, 0.5);
    state.counters["p95_ms"] = Quantile(times, 0.95);
    state.counters["longest_ms"] = Quantile(times, 1.0);
    // Without the waits for the display server and for other programs.
    state.counters["cpu_median_ms"] = Quantile(cpu, 0.5);
    state.counters["cpu_p95_ms"] = Quantile(cpu, 0.95);
}

/// Places along a Lissajous line through the window.
wxPoint OnTheWay(int i) {
    const wxSize client = scene->Client();
    const double t = 0.05 * i;
    return {static_cast<int>(client.x * (0.5 + 0.4 * std::sin(2.0 * t))),
            static_cast<int>(client.y * (0.5 + 0.4 * std::sin(3.0 * t)))};
}

int Level(const benchmark::State& state) { return static_cast<int>(state.range(0)); }

/// A stroke, movement by movement.
void BrushBench(benchmark::State& state) {
    scene->GoTo(Level(state));
    scene->Mouse(wxEVT_LEFT_DOWN, OnTheWay(0), true);
    TimeEach(
        state, [](int) {}, [](int i) { scene->Mouse(wxEVT_MOTION, OnTheWay(i + 1), true); });
    scene->Mouse(wxEVT_LEFT_UP, OnTheWay(0), false);
}

/// The press that begins a stroke, timed again and again; `prepare` runs untimed before each but the first.
template <typename Prepare>
void TimePresses(benchmark::State& state, Prepare prepare) {
    scene->GoTo(Level(state));
    TimeEach(
        state,
        [&](int i) {
            if (i == 0) return;
            scene->Mouse(wxEVT_LEFT_UP, OnTheWay(i), false);
            prepare();
        },
        [](int i) { scene->Mouse(wxEVT_LEFT_DOWN, OnTheWay(i + 1), true); });
    scene->Mouse(wxEVT_LEFT_UP, OnTheWay(0), false);
}

/// After a stroke of some length.
void PressBench(benchmark::State& state) {
    TimePresses(state, [] {});
}

/// After all labels were read anew.
void PressAfterLoadingBench(benchmark::State& state) {
    TimePresses(state, [] { scene->Frame().LoadSegmentationResults(std::nullopt); });
}

void UndoBench(benchmark::State& state) {
    scene->GoTo(Level(state));
    // A label that is not there yet: each dab changes something.
    scene->Key('U');
    TimeEach(
        state,
        [](int i) {
            scene->Mouse(wxEVT_LEFT_DOWN, OnTheWay(i), true);
            scene->Mouse(wxEVT_LEFT_UP, OnTheWay(i), false);
        },
        [](int) { scene->Key(WXK_BACK); });
}

/// A contour's line, movement by movement.
void ContourBench(benchmark::State& state) {
    scene->GoTo(Level(state));
    scene->Key('C');
    scene->Mouse(wxEVT_LEFT_DOWN, OnTheWay(0), true);
    TimeEach(
        state, [](int) {}, [](int i) { scene->Mouse(wxEVT_MOTION, OnTheWay(i + 1), true); });
    scene->Key('C');
}

void PointerBench(benchmark::State& state) {
    scene->GoTo(Level(state));
    TimeEach(
        state, [](int) {}, [](int i) { scene->Mouse(wxEVT_MOTION, OnTheWay(i + 1), false); });
}

void WheelBench(benchmark::State& state) {
    scene->GoTo(Level(state) - 1);
    TimeEach(
        state, [&](int) { scene->GoTo(Level(state) - 1); }, [](int) { scene->Wheel(120); });
}

void ScrollBench(benchmark::State& state) {
    scene->GoTo(Level(state));
    TimeEach(
        state, [](int) {},
        [](int i) {
            constexpr int kKeys[] = {WXK_DOWN, WXK_RIGHT, WXK_UP, WXK_LEFT};
            scene->Key(kKeys[i % 4]);
        });
}

/// The keys for brighter and darker, there and back; the first counts the image's intensities.
void ContrastBench(benchmark::State& state) {
    scene->GoTo(Level(state));
    TimeEach(
        state, [](int) {},
        [](int i) {
            wxCommandEvent event(wxEVT_MENU, i % 10 < 5 ? kBrighter : kDarker);
            scene->Frame().ProcessWindowEvent(event);
        });
    wxCommandEvent whole(wxEVT_MENU, kWholeRange);
    scene->Frame().ProcessWindowEvent(whole);
}

void Register() {
    const auto add = [](const char* name, void (*bench)(benchmark::State&)) {
        benchmark::RegisterBenchmark(name, bench)
            ->Arg(-6)
            ->Arg(0)
            ->Arg(6)
            ->Iterations(kRepetitions)
            ->UseManualTime()
            ->Unit(benchmark::kMillisecond);
    };
    add("brush", BrushBench);
    add("press", PressBench);
    add("wheel", WheelBench);
    add("scroll", ScrollBench);
    add("pointer", PointerBench);
    add("contour", ContourBench);
    add("undo", UndoBench);
    add("contrast", ContrastBench);
    benchmark::RegisterBenchmark("press after loading", PressAfterLoadingBench)
        ->Arg(0)
        ->Iterations(5)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
}

/// What runs cost the window's thread in the recovery journal: taken when the command ends, written a part at a time
/// when nothing else is to be done.
template <typename Runs>
void PrintJournalCost(const char* what, const qvox::LabelImage& labels, Runs runs) {
    const korvane_test::TemporaryFolder folder;
    RecoveryJournal journal(folder.File("journals"));
    journal.Begin({{{"large.tif", 1, 1}, labels.SizeX(), labels.SizeY()}});
    const auto start = Clock::now();
    journal.Change(0, std::move(runs));
    const double taken = MillisecondsSince(start);
    double longest = 0.0;
    double all = 0.0;
    int parts = 0;
    for (bool more = true; more; ++parts) {
        const auto begin = Clock::now();
        more = journal.Write(kJournalBytes) == RecoveryJournal::Progress::kMore;
        longest = std::max(longest, MillisecondsSince(begin));
        all += MillisecondsSince(begin);
    }
    std::printf("  %s: taken in %.2f ms, written in %d parts of at most %.1f ms, %.0f ms together\n", what, taken,
                parts, longest, all);
}

/// Of all labels at once, as a detection makes them and as undo takes them back.
void PrintJournalCosts(const qvox::LabelImage& labels) {
    qvox::LabelImage none;
    none.Resize(labels.SizeX(), labels.SizeY(), 1);
    none.Zero();
    const LabelChanges changes = DifferenceOf(none, labels);
    std::printf("journal of all labels, %zu bytes:\n", changes.Packed().size());
    PrintJournalCost("made", labels, changes.Share());
    PrintJournalCost("taken back", labels, changes.ReversedInParts());
}

class BenchApp : public wxApp {
public:
    bool OnInit() override {
        std::setlocale(LC_NUMERIC, "C");
        AdoptPathConversion();
        SetExitOnFrameDelete(false);
        return true;
    }

    int OnRun() override {
        wxGUIEventLoop loop;
        const wxEventLoopActivator active(&loop);
        Scene window;
        scene = &window;
        std::printf("opened and painted: %.0f ms; with %d labels and numbers: %.0f ms; window %d x %d\n",
                    window.OpenedMs(), kLabels, window.OpenedWithLabelsMs(), window.Client().x, window.Client().y);
        std::fflush(stdout);
        window.AwaitRest();
        Register();
        benchmark::RunSpecifiedBenchmarks();
        PrintJournalCosts(window.Frame().Store().images.ShownLabels());
        // As many runs as labels can have: every voxel another one than its neighbours.
        qvox::LabelImage noise;
        noise.Resize(kSize, kSize / 8, 1);
        for (std::uint64_t i = 0; i < noise.VoxelCount(); ++i) noise[i] = static_cast<std::uint16_t>(1 + i % 60000);
        PrintJournalCosts(noise);
        std::printf("peak memory: %.0f MB\n", PeakMegabytes());
        return 0;
    }
};

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    wxApp::SetInstance(new BenchApp);
    return wxEntry(argc, argv);
}
