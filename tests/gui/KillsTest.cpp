#include <dlfcn.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "LabelChanges.h"
#include "RecoveryJournal.h"
#include "RunningProgram.h"
#include "VoxelImage.h"
#include "support/Random.h"
#include "support/TemporaryFolder.h"
#include "support/TestData.h"

// The window program, killed at random moments while somebody paints. A few times here; tests/gui/window_kills does it
// as often as one likes.

namespace {

using namespace korvane_test;
using Clock = std::chrono::steady_clock;

constexpr const char* kImage = "vesicles_8bit.tif";
constexpr int kColumns = 18;
constexpr int kRows = 10;
constexpr int kSpacing = 22;
constexpr int kRadius = 10;
constexpr std::ptrdiff_t kDisc = 305;

int FromEnvironment(const char* name, int otherwise) {
    const char* const text = std::getenv(name);
    return text == nullptr ? otherwise : std::atoi(text);
}

/// The buttons of the display's pointer.
class Pointer {
public:
    Pointer() : library_(dlopen("libX11.so.6", RTLD_NOW)) {
        display_ = Call<void*, const char*>("XOpenDisplay", nullptr);
        EXPECT_NE(display_, nullptr);
    }
    ~Pointer() { Call<int, void*>("XCloseDisplay", display_); }
    Pointer(const Pointer&) = delete;
    Pointer& operator=(const Pointer&) = delete;

    bool IsPressed() const {
        constexpr unsigned kFirstButton = 1u << 8;
        unsigned long windows[2] = {};
        int places[4] = {};
        unsigned state = 0;
        const auto root = Call<unsigned long, void*>("XDefaultRootWindow", display_);
        Call<int, void*, unsigned long, unsigned long*, unsigned long*, int*, int*, int*, int*, unsigned*>(
            "XQueryPointer", display_, root, &windows[0], &windows[1], &places[0], &places[1], &places[2], &places[3],
            &state);
        return (state & kFirstButton) != 0;
    }

private:
    template <typename Result, typename... Arguments>
    Result Call(const char* name, Arguments... arguments) const {
        return reinterpret_cast<Result (*)(Arguments...)>(dlsym(library_, name))(arguments...);
    }

    void* library_;
    void* display_ = nullptr;
};

class WindowKills : public testing::Test {
protected:
    void SetUp() override {
        setenv("XDG_STATE_HOME", folder.File("state").c_str(), 1);
        std::filesystem::copy(SourceFile("samples") / kImage, folder.Path() / kImage);
    }

    std::string Journals() const { return folder.File("state/korvane/recovery"); }

    bool HasJournal() const {
        std::error_code none;
        return std::filesystem::directory_iterator(Journals(), none) != std::filesystem::directory_iterator();
    }

    /// The window with its image; empty when it does not come.
    static std::string AwaitWindow(const Program& program) {
        std::string window;
        Await([&] {
            window = program.Window("Position [1/1] - ");
            return !window.empty();
        });
        // It may still be given its size and place, by which the first disc would lie elsewhere.
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
        return window;
    }

    /// A click of the brush at the place of a disc. The window manager holds each press back until it has looked at it,
    /// and the display server then tells the window the place where the pointer has got to meanwhile. So the pointer
    /// stays until the click was let through.
    bool Paint(const std::string& window, int disc) const {
        const int x = 60 + disc % kColumns * kSpacing;
        const int y = 100 + disc / kColumns * kSpacing;
        return Shell("xdotool mousemove --window " + window + " " + std::to_string(x) + " " + std::to_string(y) +
                     " mousedown 1 mouseup 1")
                   .second &&
               Await([this] { return !pointer.IsPressed(); });
    }

    /// The labels that a start now would restore; none where there is no journal.
    qvox::LabelImage Kept() const {
        qvox::LabelImage labels;
        const Korvane::LeftWork left = Korvane::FindLeftWork(Journals());
        EXPECT_TRUE(left.foreign.empty());
        EXPECT_LE(left.journals.size(), 1u);
        if (left.journals.empty()) return labels;
        const Korvane::RecoveredPosition& position = left.journals[0].Positions().at(0);
        labels.Resize(position.image.width, position.image.height, 1);
        labels.Zero();
        for (const std::vector<std::uint8_t>& runs : position.runs) {
            ApplyChanges(Korvane::LabelChanges::FromPacked(runs, labels.VoxelCount()), Korvane::ChangeDirection::kRedo,
                         labels);
        }
        return labels;
    }

    /// How many of the discs, from the first on, make up the labels; -1 when something else does.
    static int DiscsIn(const qvox::LabelImage& labels) {
        qvox::LabelImage left = labels;
        const auto first = static_cast<std::int64_t>(std::find(left.begin(), left.end(), 1) - left.begin());
        if (left.Empty() || first == static_cast<std::int64_t>(left.VoxelCount())) return -1;
        const auto width = static_cast<std::int64_t>(left.SizeX());
        // The upper edge of the first row of discs begins a little left of the first disc's middle.
        const std::int64_t top = first / width;
        std::int64_t leftmost = width;
        for (std::int64_t y = top; y < top + 2 * kRadius - 1; ++y) {
            for (std::int64_t x = 0; x < leftmost; ++x) {
                if (left(static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y)) != 0) leftmost = x;
            }
        }
        int discs = 0;
        for (; discs < kColumns * kRows; ++discs) {
            const std::int64_t middleX = leftmost + kRadius - 1 + discs % kColumns * kSpacing;
            const std::int64_t middleY = top + kRadius - 1 + discs / kColumns * kSpacing;
            std::ptrdiff_t found = 0;
            for (std::int64_t dy = 1 - kRadius; dy < kRadius; ++dy) {
                for (std::int64_t dx = 1 - kRadius; dx < kRadius; ++dx) {
                    if (dx * dx + dy * dy >= kRadius * kRadius) continue;
                    std::uint16_t& label =
                        left(static_cast<std::uint64_t>(middleX + dx), static_cast<std::uint64_t>(middleY + dy));
                    found += label == 1 ? 1 : 0;
                    label = 0;
                }
            }
            if (found == 0) break;
            if (found != kDisc) return -1;
        }
        return std::all_of(left.begin(), left.end(), [](std::uint16_t label) { return label == 0; }) ? discs : -1;
    }

    /// The discs that are not there, of so many, where the first lies at its place.
    static std::string Missing(const qvox::LabelImage& labels, std::size_t count) {
        std::string text;
        const auto first = static_cast<std::uint64_t>(std::find(labels.begin(), labels.end(), 1) - labels.begin());
        for (std::size_t disc = 0; disc < count; ++disc) {
            const std::uint64_t x = 60 + disc % kColumns * kSpacing;
            const std::uint64_t y = first / labels.SizeX() + kRadius - 1 + disc / kColumns * kSpacing;
            if (x < labels.SizeX() && y < labels.SizeY() && labels(x, y) == 0) text += " " + std::to_string(disc);
        }
        return text;
    }

    TemporaryFolder folder;
    Pointer pointer;
};

TEST_F(WindowKills, CostAtMostWhatWasPaintedInTheLastFiveSecondsAndNothingElse) {
    const int kills = FromEnvironment("KORVANE_KILLS", 3);
    const int seed = FromEnvironment("KORVANE_KILL_SEED", 1);
    std::mt19937 random(static_cast<unsigned>(seed));
    int painted = 0;
    int lost = 0;
    int notShown = 0;
    std::chrono::milliseconds oldestLost{0};
    for (int kill = 0; kill < kills; ++kill) {
        std::filesystem::remove_all(Journals());
        Program program({folder.File(kImage)}, folder.File("output.txt"));
        const std::string window = AwaitWindow(program);
        if (window.empty()) {
            // A machine that is busy with much else; nothing was painted that could be lost.
            ++notShown;
            ASSERT_LE(notShown, 1 + kills / 50) << "of " << kill + 1 << " starts, seed " << seed;
            continue;
        }
        // The window may not have been ready for the first; twice at one place it is the same.
        ASSERT_TRUE(Await([&] {
            Paint(window, 0);
            return Await([&] { return HasJournal(); }, std::chrono::seconds(1));
        }));
        // Now and then longer than what may be lost.
        const int longest = UniformInt(random, 0, 19) == 0 ? 7000 : 1500;
        const std::chrono::milliseconds until(UniformInt(random, 1, longest));
        std::thread killer([&program, until] {
            std::this_thread::sleep_for(until);
            program.Signal(SIGKILL);
        });
        const auto end = Clock::now() + until;
        std::vector<Clock::time_point> times{Clock::now()};
        while (Clock::now() < end && static_cast<int>(times.size()) < kColumns * kRows) {
            // When it was given to the display: from then on it counts.
            times.push_back(Clock::now());
            const int disc = static_cast<int>(times.size()) - 1;
            // A second click at its place is the same disc.
            while (!Paint(window, disc) && Clock::now() < end) continue;
            std::this_thread::sleep_for(std::chrono::milliseconds(UniformInt(random, 0, 20)));
        }
        killer.join();
        const auto died = Clock::now();
        ASSERT_TRUE(program.Died());
        const qvox::LabelImage labels = Kept();
        const int kept = DiscsIn(labels);
        ASSERT_GE(kept, 1) << "kill " << kill << " of seed " << seed << ": other labels than were painted, "
                           << std::count(labels.begin(), labels.end(), std::uint16_t{1}) << " voxels for "
                           << times.size() << " discs; missing are" << Missing(labels, times.size());
        ASSERT_LE(kept, static_cast<int>(times.size()));
        painted += static_cast<int>(times.size());
        if (kept == static_cast<int>(times.size())) continue;
        lost += static_cast<int>(times.size()) - kept;
        const auto age = std::chrono::duration_cast<std::chrono::milliseconds>(std::min(died, end) -
                                                                               times[static_cast<std::size_t>(kept)]);
        EXPECT_LE(age, std::chrono::seconds(5)) << "kill " << kill << " of seed " << seed;
        oldestLost = std::max(oldestLost, age);
    }
    std::cout << kills << " kills, seed " << seed << ": " << painted << " discs painted, " << lost
              << " not restored, the oldest of them painted " << oldestLost.count() << " ms before its kill; "
              << notShown << " starts without a window in time" << std::endl;
}

}  // namespace
