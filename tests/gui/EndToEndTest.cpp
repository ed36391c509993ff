#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "LabelChanges.h"
#include "MeasurementTable.h"
#include "PathText.h"
#include "ProgramVersion.h"
#include "RecoveryJournal.h"
#include "RunningProgram.h"
#include "files/ImageFile.h"
#include "support/TemporaryFolder.h"
#include "support/TestData.h"

// The program itself, worked from outside by its keys and the mouse as a person works it.

namespace {

using namespace korvane_test;

constexpr const char* kFirst = "vesicles_8bit.tif";
constexpr const char* kSecond = "neighbours_16bit.tif";

class EndToEnd : public testing::Test {
protected:
    void SetUp() override {
        // Programs that are killed at a test's end leave journals, which the next start would ask about.
        setenv("XDG_STATE_HOME", folder.File("state").c_str(), 1);
        for (const char* name : {kFirst, kSecond}) {
            std::filesystem::copy(korvane_test::SourceFile("samples") / name, folder.Path() / name);
        }
        std::filesystem::create_directory(folder.Path() / "batch");
    }

    static void Do(const std::string& words) { ASSERT_TRUE(Shell("xdotool " + words).second) << "xdotool " << words; }

    /// The visible window of a title; it may come and go while the program starts.
    static std::string AwaitWindow(const Program& program, const std::string& title) {
        std::string window;
        EXPECT_TRUE(Await([&] {
            window = program.Window(title);
            return !window.empty();
        })) << title;
        return window;
    }

    /// Ends the program by its key and says yes to the question.
    static void Quit(Program& program, const std::string& window) {
        Do("windowactivate --sync " + window);
        Do("key ctrl+q");
        ASSERT_TRUE(Await([&] { return !program.Window("Confirmation").empty(); }));
        Do("windowactivate --sync " + program.Window("Confirmation"));
        // Return would cancel.
        Do("key alt+o");
        EXPECT_TRUE(program.EndedWell());
    }

    /// Presses a key until the window's title shows that it came through.
    void PressUntil(Program& program, const std::string& key, const std::string& title) {
        ASSERT_TRUE(Await([&] {
            if (!program.Window(title).empty()) return true;
            Shell("xdotool key " + key);
            return !program.Window(title).empty();
        })) << key;
    }

    /// The labels that the batch tool finds.
    qvox::LabelImage FromBatch(const char* name) {
        const std::string command =
            "'" KORVANE_BATCH_PROGRAM "' detect --quiet -o '" + folder.File("batch") + "' '" + folder.File(name) + "'";
        EXPECT_TRUE(Shell(command).second) << command;
        return Labels(folder.File(std::string("batch/seg_") + name));
    }

    std::string Journals() const { return folder.File("state/korvane/recovery"); }

    std::uintmax_t JournalBytes() const {
        std::error_code none;
        std::uintmax_t bytes = 0;
        for (const auto& entry : std::filesystem::directory_iterator(Journals(), none)) bytes += entry.file_size(none);
        return bytes;
    }

    /// Draws discs beside each other; each is in the journal when it returns, which took no longer than may be lost.
    void DrawUntilKept(const std::string& window, int discs) {
        constexpr std::chrono::seconds kMostLost{5};
        for (int i = 0; i < discs; ++i) {
            const std::uintmax_t before = JournalBytes();
            const std::string place = std::to_string(60 + 50 * i) + " 120";
            // The window may not have been ready; what is drawn twice changes nothing.
            EXPECT_TRUE(Await([&] {
                Shell("xdotool mousemove --window " + window + " " + place + " mousedown 1 mouseup 1");
                return Await([&] { return JournalBytes() > before; }, i == 0 ? kPatience : kMostLost);
            }, i == 0 ? kLimit : kMostLost)) << "disc " << i;
        }
    }

    /// Voxels that a journal left behind would restore.
    std::ptrdiff_t KeptVoxels() const {
        const std::vector<Korvane::LeftJournal> left = std::move(Korvane::FindLeftWork(Journals()).journals);
        if (left.size() != 1) return -1;
        const Korvane::RecoveredPosition& position = left[0].Positions().at(0);
        qvox::LabelImage labels;
        labels.Resize(position.image.width, position.image.height, 1);
        labels.Zero();
        for (const std::vector<std::uint8_t>& runs : position.runs) {
            ApplyChanges(Korvane::LabelChanges::FromPacked(runs, labels.VoxelCount()), Korvane::ChangeDirection::kRedo,
                         labels);
        }
        return std::count(labels.begin(), labels.end(), std::uint16_t{1});
    }

    static qvox::LabelImage Labels(const std::string& path) {
        qvox::LabelImage labels;
        qvox::LoadImageFile(path, labels);
        return labels;
    }

    TemporaryFolder folder;
};

TEST_F(EndToEnd, DetectDrawUndoSaveExportAndQuit) {
    const qvox::LabelImage found = FromBatch(kFirst);
    const std::string output = folder.File("output.txt");
    Program program({folder.File(kFirst), folder.File(kSecond)}, output);
    ASSERT_TRUE(Await([&] { return !program.Window("Position [1/2] - ").empty(); }));
    const std::string window = program.Window("Position [1/2] - ");
    Do("windowactivate --sync " + window);

    // Detection tells its steps on standard output and shows a dialog until it ends.
    ASSERT_TRUE(Await([&] {
        Shell("xdotool key ctrl+d");
        return Await([&] { return !Contents(output).empty(); }, kPatience);
    }));
    ASSERT_TRUE(Await([&] { return program.Window("Please wait").empty(); }));
    // The window takes keys again.
    PressUntil(program, "Next", "Position [2/2] - ");
    PressUntil(program, "Home", "Position [1/2] - ");

    // A stroke with an unused label, which stays, and one that is undone.
    Do("key u");
    std::vector<bool> used(65536, false);
    for (const std::uint16_t label : found) used[label] = true;
    const auto unused = static_cast<std::uint16_t>(std::find(used.begin() + 1, used.end(), false) - used.begin());
    const std::string saved = folder.File(std::string("seg_") + kFirst);
    std::ptrdiff_t last = -1;
    const auto savedVoxels = [&](std::ptrdiff_t count) {
        return Await([&] {
            Do("key ctrl+s");
            return Await(
                [&] {
                    if (!std::filesystem::exists(saved)) return false;
                    const qvox::LabelImage labels = Labels(saved);
                    last = std::count(labels.begin(), labels.end(), unused);
                    return last == count;
                },
                kPatience);
        });
    };
    constexpr std::ptrdiff_t kDisc = 305;
    Do("mousemove --window " + window + " --sync 150 170 mousedown 1 mousemove --window " + window +
       " --sync 230 200 mouseup 1");
    ASSERT_TRUE(savedVoxels(2 * kDisc)) << last;
    Do("mousemove --window " + window + " --sync 300 300 mousedown 1 mouseup 1");
    ASSERT_TRUE(savedVoxels(3 * kDisc)) << last;
    Do("key BackSpace");
    ASSERT_TRUE(savedVoxels(2 * kDisc)) << last;
    ASSERT_TRUE(Await([&] { return std::filesystem::exists(folder.File(std::string("seg_") + kSecond)); }));

    const std::string table = folder.File("table.txt");
    ASSERT_TRUE(Await([&] {
        if (program.Window("Export quantitative results to").empty()) Shell("xdotool key ctrl+e");
        return Await([&] { return !program.Window("Export quantitative results to").empty(); }, kPatience);
    }));
    Do("windowactivate --sync " + program.Window("Export quantitative results to"));
    // The chooser looks paths up in its own time and takes no confirmation meanwhile.
    ASSERT_TRUE(Await([&] {
        Do("key ctrl+a");
        Do("type '" + table + "'");
        Do("key Return");
        return Await([&] { return std::filesystem::exists(table); }, kPatience);
    }));
    ASSERT_TRUE(Await([&] { return program.Window("Export quantitative results to").empty(); }));

    Quit(program, window);

    // What was found stays but for two discs of radius 10, 80 by 30 pixels from each other, with the unused label.
    const qvox::LabelImage drawn = Labels(saved);
    ASSERT_TRUE(drawn.SameSizes(found));
    std::int64_t left = 10000;
    std::int64_t top = 10000;
    for (std::int64_t i = 0; i < static_cast<std::int64_t>(drawn.VoxelCount()); ++i) {
        if (drawn[static_cast<std::uint64_t>(i)] != unused) continue;
        left = std::min(left, i % static_cast<std::int64_t>(drawn.SizeX()));
        top = std::min(top, i / static_cast<std::int64_t>(drawn.SizeX()));
    }
    ASSERT_LT(left, 10000) << "nothing was drawn";
    const auto inDisc = [&](std::int64_t x, std::int64_t y, std::int64_t fromFirst, std::int64_t down) {
        const std::int64_t dx = x - (left + 9 + fromFirst);
        const std::int64_t dy = y - (top + 9 + down);
        return dx * dx + dy * dy < 100;
    };
    std::size_t wrong = 0;
    for (std::uint64_t y = 0; y < drawn.SizeY(); ++y) {
        for (std::uint64_t x = 0; x < drawn.SizeX(); ++x) {
            const auto column = static_cast<std::int64_t>(x);
            const auto row = static_cast<std::int64_t>(y);
            const bool stroke = inDisc(column, row, 0, 0) || inDisc(column, row, 80, 30);
            wrong += drawn(x, y) != (stroke ? unused : found(x, y)) ? 1u : 0u;
        }
    }
    EXPECT_EQ(wrong, 0u);

    const qvox::LabelImage untouched = Labels(folder.File(std::string("seg_") + kSecond));
    EXPECT_TRUE(std::all_of(untouched.begin(), untouched.end(), [](std::uint16_t label) { return label == 0; }));
    EXPECT_EQ(Contents(table),
              Korvane::MeasurementTableText(Korvane::MeasurementRows(Korvane::PathText(folder.File(kFirst)), drawn)));
}

TEST_F(EndToEnd, AClosedStandardStreamCostsNothing) {
    const qvox::LabelImage found = FromBatch(kFirst);
    const std::string saved = folder.File(std::string("seg_") + kFirst);
    for (const char* closed : {"0", "1", "2"}) {
        std::filesystem::remove(saved);
        Program program({folder.File(kFirst)}, folder.File("output.txt"), closed);
        ASSERT_TRUE(Await([&] { return !program.Window("Position [1/1] - ").empty(); })) << closed;
        EXPECT_EQ(program.FileBehind(closed[0] - '0'), "/dev/null");
        const std::string window = program.Window("Position [1/1] - ");
        Do("windowactivate --sync " + window);
        // Detection traces on the standard output; nothing can be saved before it has ended.
        ASSERT_TRUE(Await([&] {
            Shell("xdotool key ctrl+d");
            Await([&] { return program.Window("Please wait").empty(); });
            Shell("xdotool key ctrl+s");
            return Await(
                [&] {
                    if (!std::filesystem::exists(saved)) return false;
                    const qvox::LabelImage labels = Labels(saved);
                    return std::equal(labels.begin(), labels.end(), found.begin(), found.end());
                },
                kPatience);
        })) << closed;
        Quit(program, window);
    }
}

TEST_F(EndToEnd, WhatWasDrawnOutlivesSignalsAndIsRestored) {
    constexpr int kDiscs = 3;
    constexpr std::ptrdiff_t kDisc = 305;
    for (const int number : {SIGHUP, SIGKILL, SIGTERM}) {
        std::filesystem::remove_all(Journals());
        Program program({folder.File(kFirst)}, folder.File("output.txt"));
        const std::string window = AwaitWindow(program, "Position [1/1] - ");
        Do("windowactivate --sync " + window);
        DrawUntilKept(window, kDiscs);
        program.Signal(number);
        ASSERT_TRUE(program.Died()) << number;
        EXPECT_EQ(KeptVoxels(), kDiscs * kDisc) << number;
    }
    Program next({}, folder.File("output.txt"));
    Do("windowactivate --sync " + AwaitWindow(next, "Restore labels"));
    PressUntil(next, "Return", "Position [1/1] - ");
    const std::string window = AwaitWindow(next, "Position [1/1] - ");
    Do("windowactivate --sync " + window);
    const std::string saved = folder.File(std::string("seg_") + kFirst);
    ASSERT_TRUE(Await([&] {
        Shell("xdotool key ctrl+s");
        return Await([&] { return std::filesystem::exists(saved); }, kPatience);
    }));
    const qvox::LabelImage labels = Labels(saved);
    EXPECT_EQ(std::count(labels.begin(), labels.end(), std::uint16_t{1}), kDiscs * kDisc);
    // The journal goes after the labels have their name.
    EXPECT_TRUE(Await([&] { return JournalBytes() == 0; })) << "with everything saved there is nothing left to restore";
    Quit(next, window);
}

TEST_F(EndToEnd, WhatWasDrawnOutlivesTheDisplay) {
    OwnDisplay display;
    Program program({folder.File(kFirst)}, folder.File("output.txt"));
    DrawUntilKept(AwaitWindow(program, "Position [1/1] - "), 3);
    display.Lose();
    ASSERT_TRUE(program.Died());
    EXPECT_EQ(KeptVoxels(), 3 * 305);
}

TEST_F(EndToEnd, TheVersionIsToldWithoutADisplay) {
    const auto [text, well] = Shell("env -u DISPLAY '" KORVANE_PROGRAM "' --version");
    EXPECT_TRUE(well);
    EXPECT_EQ(text, "korvane " + Korvane::VersionText() + "\n");
}

TEST_F(EndToEnd, AMissingDisplayIsToldInsteadOfAborting) {
    for (const char* display : {"-u DISPLAY", "DISPLAY=:65432"}) {
        const std::string command = std::string("env ") + display + " '" KORVANE_PROGRAM "' 2>&1; echo status $?";
        const std::string text = Shell(command).first;
        EXPECT_NE(text.find("korvane needs a display; korvane-batch works without one.\nstatus 1\n"), std::string::npos)
            << text;
    }
}

TEST_F(EndToEnd, FilesOnTheCommandLineAreOpenedUnderAnyName) {
    const std::string odd = "\xc3\xbc \xc3\xa9 \xc2\xb5 \xe4\xb8\xad #%25.tif";
    std::filesystem::copy(folder.File(kFirst), folder.File(odd));
    Program program({folder.File(odd), folder.File("missing.tif"), folder.File(kSecond)}, folder.File("output.txt"));
    // The message about the missing one comes over the window.
    ASSERT_TRUE(Await([&] { return !program.Window("Position [1/2] - " + folder.File(odd)).empty(); }));
    const std::string window = program.Window("Position [1/2] - ");
    ASSERT_TRUE(Await([&] { return !program.Window("Korvane Error").empty(); }));
    Do("windowactivate --sync " + program.Window("Korvane Error"));
    Do("key Escape");
    ASSERT_TRUE(Await([&] { return program.Window("Korvane Error").empty(); }));
    Quit(program, window);
}

TEST_F(EndToEnd, ALimitOnTheSizeOfFilesIsToldAndLosesNothing) {
    Program program({folder.File(kFirst)}, folder.File("output.txt"));
    ASSERT_TRUE(Await([&] { return !program.Window("Position [1/1] - ").empty(); }));
    const std::string window = program.Window("Position [1/1] - ");
    Do("windowactivate --sync " + window);
    program.LimitFiles(10);
    ASSERT_TRUE(Await([&] {
        Shell("xdotool key ctrl+s");
        return Await([&] { return !program.Window("Korvane Error").empty(); }, kPatience);
    }));
    Do("windowactivate --sync " + program.Window("Korvane Error"));
    Do("key Escape");
    ASSERT_TRUE(Await([&] { return program.Window("Korvane Error").empty(); }));
    EXPECT_FALSE(std::filesystem::exists(folder.File(std::string("seg_") + kFirst)));
    program.LimitFiles(RLIM_INFINITY);
    Do("windowactivate --sync " + window);
    Do("key ctrl+s");
    EXPECT_TRUE(Await([&] { return std::filesystem::exists(folder.File(std::string("seg_") + kFirst)); }));
    Quit(program, window);
}

}  // namespace
