#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <functional>
#include <new>
#include <random>
#include <vector>

#include "DetectionDriver.h"
#include "FailureText.h"
#include "ImageLoading.h"
#include "LabelEditing.h"
#include "PathText.h"
#include "PositionStore.h"
#include "ResultFiles.h"
#include "SeededSegmentation.h"
#include "faults/WrittenFiles.h"
#include "files/ImageFile.h"
#include "support/TemporaryFolder.h"
#include "support/TestImages.h"

namespace korvane_test {

namespace {

using Korvane::Position;
using Korvane::PositionStore;

constexpr std::size_t kMebibyte = 1u << 20;

/// The address sanitizer's own shadow does not fit under a limit on the address space.
#ifdef __SANITIZE_ADDRESS__
constexpr bool kLimitsWork = false;
#else
constexpr bool kLimitsWork = true;
#endif

/// Large blocks that are freed go back to the system at once, instead of serving as room under a limit.
void GiveFreedBlocksBack() {
    mallopt(M_MMAP_THRESHOLD, 1 << 16);
    // Arenas of threads reserve address space in which a process could still grow under a limit.
    mallopt(M_ARENA_MAX, 1);
}

/// Lets this process have so many bytes of address space beyond what it uses.
void AllowBytes(std::size_t bytes) {
    malloc_trim(0);
    std::size_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    rlimit limit{};
    getrlimit(RLIMIT_AS, &limit);
    limit.rlim_cur = pages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE)) + bytes;
    setrlimit(RLIMIT_AS, &limit);
}

void AllowEverything() {
    rlimit limit{};
    getrlimit(RLIMIT_AS, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_AS, &limit);
}

/// Ends of the children.
enum Outcome { kDone = 0, kOutOfMemory = 1, kWrong = 2 };

/// Runs `work` in a child that has so much room; what is thrown through counts as wrong.
Outcome InChild(std::size_t room, const std::function<Outcome()>& work) {
    const pid_t child = fork();
    if (child == 0) {
        AllowBytes(room);
        try {
            _exit(work());
        } catch (const std::exception& error) {
            std::fprintf(stderr, "thrown through: %s\n", error.what());
        }
        _exit(kWrong);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? static_cast<Outcome>(WEXITSTATUS(status)) : kWrong;
}

/// Bright discs on a dark, grainy ground at the reference resolution.
qvox::VoxelImage<float> DiscPicture(std::uint64_t side) {
    std::mt19937 random(5);
    qvox::VoxelImage<float> picture(qvox::VoxelOffset{}, qvox::PixelResolution{672.0f, 672.0f, 1.0f});
    picture.Resize(side, side, 1);
    for (std::uint64_t y = 0; y < side; ++y) {
        for (std::uint64_t x = 0; x < side; ++x) {
            const double dx = static_cast<double>(x % 96) - 48.0;
            const double dy = static_cast<double>(y % 96) - 48.0;
            const double disc = dx * dx + dy * dy < 24.0 * 24.0 ? 120.0 : 60.0;
            picture(x, y) = static_cast<float>(disc + static_cast<double>(random() % 17));
        }
    }
    return picture;
}

qvox::LabelImage Seeds(const qvox::VoxelImage<float>& picture) {
    qvox::LabelImage labels = Korvane::EmptyLabelsFor(picture);
    std::uint16_t next = 1;
    for (std::uint64_t y = 48; y < labels.SizeY(); y += 96) {
        for (std::uint64_t x = 48; x < labels.SizeX(); x += 96) labels(x, y) = next++;
    }
    return labels;
}

/// Does `analyse` under every limit from nothing up to where it succeeds: each end is the whole result or bad_alloc,
/// after which the position is what it was and can be saved.
void ExpectWholeOrNothing(const std::function<void(qvox::LabelImage&)>& analyse, const qvox::LabelImage& before) {
    if (!kLimitsWork) GTEST_SKIP() << "no limit on the address space under the address sanitizer";
    GiveFreedBlocksBack();
    qvox::LabelImage expected(before);
    analyse(expected);
    const TemporaryFolder folder;
    const wxString path = Korvane::PathText(folder.File("seg_a.tif"));
    const auto attempt = [&]() -> Outcome {
        qvox::LabelImage shown(before);
        try {
            qvox::LabelImage result(shown);
            analyse(result);
            shown.Swap(result);
        } catch (const std::bad_alloc&) {
            if (!SameVoxels(before, shown)) return kWrong;
            Korvane::SaveLabels(path, shown);
            return kOutOfMemory;
        }
        return SameVoxels(expected, shown) ? kDone : kWrong;
    };
    // Room for the copies and for saving is there in any case.
    const std::size_t least = 4 * before.VoxelCount() + 4 * kMebibyte;
    int exhausted = 0;
    for (std::size_t room = least;; room += kMebibyte / 2) {
        ASSERT_LT(room, least + 200 * kMebibyte);
        const Outcome outcome = InChild(room, attempt);
        ASSERT_NE(outcome, kWrong) << "with " << room << " bytes";
        if (outcome == kDone) break;
        ++exhausted;
        qvox::LabelImage saved;
        qvox::LoadImageFile(Korvane::PathBytes(path), saved);
        EXPECT_TRUE(SameVoxels(before, saved));
    }
    EXPECT_GE(exhausted, 3);
}

TEST(MemoryLimit, DetectionGivesAllOrLeavesEverything) {
    const qvox::VoxelImage<float> picture = DiscPicture(800);
    ExpectWholeOrNothing(
        [&](qvox::LabelImage& labels) {
            Korvane::DetectionObserver nobody;
            Korvane::DetectExosomes(picture, labels, {}, 672.0f, nobody);
        },
        Seeds(picture));
}

TEST(MemoryLimit, SegmentationGivesAllOrLeavesEverything) {
    const qvox::VoxelImage<float> picture = DiscPicture(960);
    ExpectWholeOrNothing([&](qvox::LabelImage& labels) { Korvane::SegmentFromSeeds(picture, labels, 672.0f, 0.03f); },
                         Seeds(picture));
}

/// Opens the files one after the other as the window does; returns what was said of those that failed.
std::vector<wxString> OpenAll(PositionStore& store, const std::vector<std::string>& paths) {
    std::vector<wxString> messages;
    for (const std::string& path : paths) {
        try {
            Korvane::AppendPosition(store, Korvane::LoadPosition(Korvane::PathText(path)));
        } catch (...) {
            messages.push_back(Korvane::FailureMessage(Korvane::FileTask::kLoadInput, Korvane::PathText(path),
                                                       std::current_exception()));
        }
    }
    return messages;
}

bool HoldsPicture(const PositionStore& store, std::size_t index, const qvox::VoxelImage<float>& picture) {
    const Korvane::PositionImages::Intensities image = store.images.IntensitiesOf(index);
    return image->SameSizes(picture) && store.images.LabelsOf(index)->SameSizes(picture) &&
           std::equal(picture.begin(), picture.end(), image->begin());
}

TEST(MemoryLimit, ThePicturesThatFitAreOpenedAndCanBeSaved) {
    if (!kLimitsWork) GTEST_SKIP() << "no limit on the address space under the address sanitizer";
    constexpr std::size_t kFits = 49;
    constexpr std::size_t kSide = 400;
    constexpr std::size_t kWorking = 64 * kMebibyte;
    const TemporaryFolder folder;
    const qvox::VoxelImage<float> picture = DiscPicture(kSide);
    const std::string original = folder.File("a.tif");
    qvox::SaveImageFile(original, picture);
    const std::vector<std::string> paths(60, original);
    // The labels of those that are not shown take next to nothing.
    const std::size_t perPosition = kSide * kSide * sizeof(float);
    const auto open = [&]() -> Outcome {
        PositionStore store;
        const std::vector<wxString> messages = OpenAll(store, paths);
        const std::size_t count = Korvane::PositionCount(store);
        if (count < 30 || count + messages.size() != paths.size()) return kWrong;
        if (store.images.Count() != count) return kWrong;
        for (const wxString& message : messages) {
            if (message != "Cannot load the input image '" + Korvane::PathText(original) + "'! (Not enough memory)") {
                return kWrong;
            }
        }
        for (std::size_t i = 0; i < count; ++i) {
            if (!HoldsPicture(store, i, picture) || !Korvane::SwitchToPosition(store, i, 0)) return kWrong;
            store.images.ShownLabels()(i, 0) = 7;
            const std::string saved = folder.File("seg_" + std::to_string(i) + ".tif");
            Korvane::SaveLabels(Korvane::PathText(saved), store.images.ShownLabels());
            AllowEverything();
            qvox::LabelImage back;
            qvox::LoadImageFile(saved, back);
            if (!SameVoxels(store.images.ShownLabels(), back)) return kWrong;
        }
        return messages.empty() ? kDone : kOutOfMemory;
    };
    EXPECT_EQ(InChild(kWorking + kFits * perPosition, open), kOutOfMemory);
    EXPECT_EQ(InChild(kWorking + 2 * paths.size() * perPosition, open), kDone);
}

/// A tool that takes an undo copy before it changes labels.
struct Tool {
    const char* name;
    std::function<void(const Korvane::EditedPosition&, Korvane::EditingState&)> use;
};

std::vector<Tool> Tools() {
    return {{"Brush",
             [](auto position, auto& state) {
                 PressLeft(position, state, {50.0f, 50.0f});
             }},
            {"Contour",
             [](auto position, auto& state) {
                 FlipDrawingMode(state);
                 PressLeft(position, state, {50.0f, 50.0f});
             }},
            {"Repaint",
             [](auto position, auto& state) {
                 RepaintComponent(position, state, {50.0f, 50.0f});
             }},
            {"Clear", [](auto position, auto& state) { ClearLabels(position, state); }}};
}

class UndoCopyFaults : public testing::TestWithParam<Tool> {};

TEST_P(UndoCopyFaults, WithoutRoomForTheCopyTheToolChangesNothing) {
    if (!kLimitsWork) GTEST_SKIP() << "no limit on the address space under the address sanitizer";
    qvox::LabelImage labels = Seeds(DiscPicture(2000));
    const qvox::LabelImage before(labels);
    const auto use = [&]() -> Outcome {
        qvox::LabelImage undo;
        std::uint16_t currentLabel = 7;
        std::size_t labelCount = 3;
        Korvane::EditingState state;
        try {
            GetParam().use({labels, undo, currentLabel, labelCount}, state);
        } catch (const std::bad_alloc&) {
            const bool same = SameVoxels(before, labels) && undo.Empty() && currentLabel == 7 && labelCount == 3 &&
                              state.contourPoints.empty();
            return same ? kOutOfMemory : kWrong;
        }
        return SameVoxels(before, undo) ? kDone : kWrong;
    };
    EXPECT_EQ(InChild(kMebibyte, use), kOutOfMemory);
    EXPECT_EQ(InChild(64 * kMebibyte, use), kDone);
}

INSTANTIATE_TEST_SUITE_P(Of, UndoCopyFaults, testing::ValuesIn(Tools()),
                         [](const auto& tool) { return tool.param.name; });

}  // namespace

}  // namespace korvane_test
