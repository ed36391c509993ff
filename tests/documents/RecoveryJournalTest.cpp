#include "RecoveryJournal.h"

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "JournalRecords.h"
#include "LabelChanges.h"
#include "support/Random.h"
#include "support/TemporaryFolder.h"

namespace {

using namespace Korvane;
namespace fs = std::filesystem;

constexpr std::uint64_t kAll = std::numeric_limits<std::uint64_t>::max();
constexpr std::uint64_t kSide = 48;
constexpr std::size_t kPositions = 3;

using Labels = std::vector<qvox::LabelImage>;

Labels Blank() {
    Labels labels(kPositions);
    for (qvox::LabelImage& image : labels) {
        image.Resize(kSide, kSide, 1);
        image.Zero();
    }
    return labels;
}

std::vector<JournalImage> Images() {
    return {{{"/d/a.tif", 1, 2}, kSide, kSide}, {{"/d/b \n.tif", 3, 4}, kSide, kSide}, {{"c", 5, 6}, kSide, kSide}};
}

SharedRuns Runs(std::vector<std::uint8_t> bytes) {
    return std::make_shared<const std::vector<std::uint8_t>>(std::move(bytes));
}

/// One edit at random; what it changed, and where.
LabelChanges Edit(Labels& labels, std::mt19937& random, std::size_t& position) {
    position = static_cast<std::size_t>(korvane_test::UniformInt(random, 0, kPositions - 1));
    LabelChanges changes;
    const int runs = korvane_test::UniformInt(random, 1, 12);
    for (int i = 0; i < runs; ++i) {
        const int start = korvane_test::UniformInt(random, 0, kSide * kSide - 60);
        const int end = start + korvane_test::UniformInt(random, 1, 59);
        const auto label = static_cast<std::uint16_t>(korvane_test::UniformInt(random, 0, 9));
        for (int at = start; at < end; ++at) {
            std::uint16_t& voxel = labels[position][static_cast<std::uint64_t>(at)];
            changes.Add({static_cast<std::uint64_t>(at), 1, voxel, label});
            voxel = label;
        }
    }
    return changes;
}

Labels Recovered(const LeftJournal& journal) {
    Labels labels = Blank();
    for (std::size_t i = 0; i < journal.Positions().size(); ++i) {
        for (const std::vector<std::uint8_t>& runs : journal.Positions()[i].runs) {
            ApplyChanges(LabelChanges::FromPacked(runs, kSide * kSide), ChangeDirection::kRedo, labels[i]);
        }
    }
    return labels;
}

bool Same(const Labels& a, const Labels& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](const auto& x, const auto& y) { return std::equal(x.begin(), x.end(), y.begin(), y.end()); });
}

class Journal : public testing::Test {
protected:
    std::string Folder() const { return folder.File("state/recovery"); }

    std::vector<fs::path> Files() const { return {fs::directory_iterator(Folder()), fs::directory_iterator()}; }

    /// As if the program had died: the same bytes under another name, which nobody has locked.
    std::vector<LeftJournal> AfterDeath() const {
        for (const fs::path& file : Files()) fs::copy_file(file, file.string() + ".0.journal");
        return std::move(FindLeftWork(Folder()).journals);
    }

    korvane_test::TemporaryFolder folder;
};

TEST_F(Journal, WhatWasWrittenComesBackPositionByPosition) {
    RecoveryJournal journal(Folder());
    journal.Begin(Images());
    EXPECT_TRUE(Files().empty()) << "nothing to restore yet";
    std::mt19937 random(1);
    Labels labels = Blank();
    for (int i = 0; i < 200; ++i) {
        std::size_t position = 0;
        const LabelChanges changes = Edit(labels, random, position);
        journal.Change(position, changes.Share());
        if (i % 3 == 0) journal.Write(kAll);
    }
    EXPECT_EQ(journal.Write(kAll), RecoveryJournal::Progress::kDone);
    EXPECT_TRUE(FindLeftWork(Folder()).journals.empty()) << "the program lives";
    const std::vector<LeftJournal> left = AfterDeath();
    ASSERT_EQ(left.size(), 1u);
    ASSERT_EQ(left[0].Positions().size(), kPositions);
    for (std::size_t i = 0; i < kPositions; ++i) {
        EXPECT_TRUE(left[0].Positions()[i].image.file == Images()[i].file);
        EXPECT_EQ(left[0].Positions()[i].image.width, kSide);
    }
    EXPECT_TRUE(Same(Recovered(left[0]), labels));
    EXPECT_NEAR(static_cast<double>(left[0].WrittenAt()), static_cast<double>(time(nullptr)), 60.0);
}

TEST_F(Journal, IsForTheUserAloneAndGoneWhenTheProgramEndsOrNothingIsUnsaved) {
    {
        RecoveryJournal journal(Folder());
        journal.Begin(Images());
        journal.Change(0, Runs({0, 2, 0, 1}));
        journal.Write(kAll);
        ASSERT_EQ(Files().size(), 1u);
        struct stat found {};
        ASSERT_EQ(stat(Files()[0].c_str(), &found), 0);
        EXPECT_EQ(found.st_mode & 0777, 0600u);
        ASSERT_EQ(stat(Folder().c_str(), &found), 0);
        EXPECT_EQ(found.st_mode & 0777, 0700u);
        journal.Saved({std::nullopt, std::nullopt, std::nullopt});
        EXPECT_TRUE(Files().empty());
        journal.Change(0, Runs({0, 2, 0, 1}));
        journal.Write(kAll);
        EXPECT_EQ(Files().size(), 1u);
    }
    EXPECT_TRUE(Files().empty());
}

TEST_F(Journal, SavedLabelsAreTheBaseOfLaterChangesAndReplacedOnesNot) {
    RecoveryJournal journal(Folder());
    journal.Begin(Images());
    journal.Change(0, Runs({0, 2, 0, 1}));
    const FileMark saved{"/d/seg_a.tif", 77, 88};
    journal.Saved({saved, std::nullopt, std::nullopt});
    journal.Change(0, Runs({0, 4, 1, 2}));
    journal.Change(1, Runs({0, 4, 0, 2}));
    journal.Base(1, saved);
    journal.Change(2, Runs({0, 4, 0, 2}));
    journal.Base(2, saved);
    journal.Replace(2, [] { return Runs({0, 6, 0, 3}); });
    journal.Write(kAll);
    const std::vector<LeftJournal> left = AfterDeath();
    ASSERT_EQ(left.size(), 1u);
    const std::vector<RecoveredPosition>& positions = left[0].Positions();
    ASSERT_TRUE(positions[0].base);
    EXPECT_TRUE(*positions[0].base == saved);
    EXPECT_EQ(positions[0].runs, (std::vector<std::vector<std::uint8_t>>{{0, 4, 1, 2}}));
    EXPECT_TRUE(positions[1].base && positions[1].runs.empty());
    EXPECT_FALSE(positions[2].base);
    EXPECT_EQ(positions[2].runs, (std::vector<std::vector<std::uint8_t>>{{0, 6, 0, 3}}));
}

TEST_F(Journal, ATornOrDamagedEndCostsNothingBeforeIt) {
    RecoveryJournal journal(Folder());
    journal.Begin(Images());
    journal.Change(0, Runs({0, 2, 0, 1}));
    journal.Change(0, Runs({0, 4, 1, 2}));
    journal.Write(kAll);
    std::ifstream file(Files()[0], std::ios::binary);
    const std::vector<char> text{std::istreambuf_iterator<char>(file), {}};
    const std::vector<std::uint8_t> whole(text.begin(), text.end());
    const std::size_t last = PackRecord({kChangeRecord, 0, {0, 4, 1, 2}}).size();
    std::vector<RecoveredPosition> positions;
    for (std::size_t cut = 0; cut <= whole.size(); ++cut) {
        const std::vector<std::uint8_t> torn(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(cut));
        const std::size_t wanted = cut == whole.size() ? 2 : cut >= whole.size() - last ? 1 : 0;
        ASSERT_EQ(UnpackJournal(torn, positions), wanted > 0 ? JournalContent::kChanges : JournalContent::kNothing)
            << cut;
        if (wanted > 0) {
            ASSERT_EQ(positions[0].runs.size(), wanted) << cut;
        }
    }
    for (std::size_t at = 0; at < whole.size(); ++at) {
        std::vector<std::uint8_t> damaged = whole;
        damaged[at] ^= 0x10;
        if (UnpackJournal(damaged, positions) != JournalContent::kChanges) continue;
        ASSERT_LT(positions[0].runs.size(), 2u) << "byte " << at;
    }
}

TEST_F(Journal, IsWrittenInPiecesOfAnySize) {
    RecoveryJournal journal(Folder());
    journal.Begin(Images());
    std::mt19937 random(5);
    Labels labels = Blank();
    for (int i = 0; i < 20; ++i) {
        std::size_t position = 0;
        const LabelChanges changes = Edit(labels, random, position);
        journal.Change(position, changes.Share());
    }
    journal.Write(7);
    const std::uintmax_t begun = fs::file_size(Files()[0]);
    int pieces = 1;
    for (; journal.Write(7) == RecoveryJournal::Progress::kMore; ++pieces) {
        ASSERT_EQ(fs::file_size(Files()[0]), begun + 7 * static_cast<std::uintmax_t>(pieces));
    }
    EXPECT_GT(pieces, 100);
    EXPECT_TRUE(Same(Recovered(AfterDeath().at(0)), labels));
}

TEST_F(Journal, HoldsLongRunsAndWorksThemOutSumsAndWritesThemInParts) {
    RecoveryJournal journal(Folder());
    journal.Begin(Images());
    journal.Change(0, Runs({0, 2, 0, 1}));
    const std::vector<std::uint8_t> bytes(2 * kJournalBytes + 5, 3);
    const SharedRuns runs = Runs(bytes);
    journal.Change(1, runs);
    EXPECT_EQ(runs.use_count(), 2) << "held, not copied";
    int asked = 0;
    journal.Change(2, [&asked] { return ++asked < 3 ? nullptr : Runs({0, 4, 0, 2}); });
    EXPECT_EQ(asked, 0);
    const auto content = [&] {
        std::vector<std::uint8_t> read(fs::file_size(Files()[0]));
        std::ifstream(Files()[0], std::ios::binary)
            .read(reinterpret_cast<char*>(read.data()), static_cast<std::streamsize>(read.size()));
        return read;
    };
    // How much of it is there at each moment that the program could be killed at.
    std::vector<std::size_t> complete;
    std::uintmax_t before = 0;
    int withoutBytes = 0;
    for (bool more = true; more;) {
        more = journal.Write(kJournalBytes) == RecoveryJournal::Progress::kMore;
        const std::uintmax_t size = fs::file_size(Files()[0]);
        ASSERT_LE(size - before, kJournalBytes + 1000);
        withoutBytes += size == before ? 1 : 0;
        before = size;
        std::vector<RecoveredPosition> positions;
        ASSERT_EQ(UnpackJournal(content(), positions), JournalContent::kChanges);
        ASSERT_EQ(positions[0].runs.size(), 1u);
        ASSERT_TRUE(positions[1].runs.empty() || positions[1].runs[0] == bytes);
        ASSERT_TRUE(positions[2].runs.empty() || !positions[1].runs.empty());
        complete.push_back(positions[1].runs.size() + positions[2].runs.size());
    }
    EXPECT_EQ(runs.use_count(), 1);
    EXPECT_EQ(asked, 3);
    EXPECT_GE(withoutBytes, 2) << "the checksum of the long one and the runs of the last were not taken at once";
    EXPECT_TRUE(std::is_sorted(complete.begin(), complete.end()));
    EXPECT_EQ(complete.front(), 0u);
    EXPECT_EQ(complete.back(), 2u);
}

TEST_F(Journal, OutlivesAProgramThatIsEndedByOthers) {
    Labels labels = Blank();
    {
        RecoveryJournal journal(Folder());
        journal.Begin(Images());
        std::mt19937 random(6);
        std::size_t position = 0;
        const LabelChanges changes = Edit(labels, random, position);
        journal.Change(position, changes.Share());
        journal.Leave();
        journal.Change(position, changes.Share());
        EXPECT_FALSE(journal.Waiting());
    }
    const LeftWork left = FindLeftWork(Folder());
    ASSERT_EQ(left.journals.size(), 1u);
    EXPECT_TRUE(Same(Recovered(left.journals[0]), labels));
}

TEST_F(Journal, OfAnotherVersionIsNamedAndStaysAsItIs) {
    fs::create_directories(Folder());
    const std::vector<std::string> files{Folder() + "/1.journal", Folder() + "/2.journal", Folder() + "/3.journal",
                                         Folder() + "/4.journal"};
    std::ofstream(files[0]) << "Korvane journal 3\nwhatever";
    std::ofstream(files[1]) << "something else";
    std::ofstream(files[2]) << "Korvane jou";
    std::ofstream(files[3]) << "Korvane journal 2\ndamaged";
    for (int i = 0; i < 2; ++i) {
        const LeftWork left = FindLeftWork(Folder());
        EXPECT_TRUE(left.journals.empty());
        EXPECT_EQ(left.foreign, (std::vector<std::string>{files[0], files[1]}));
    }
    EXPECT_FALSE(fs::exists(files[2])) << "it ended before anything was in it";
    EXPECT_FALSE(fs::exists(files[3]));
}

TEST_F(Journal, OfTheFormatWithoutPlanesIsRead) {
    std::vector<std::uint8_t> head;
    const auto put = [&head](std::uint64_t number, int bytes) {
        for (int i = 0; i < bytes; ++i) head.push_back(static_cast<std::uint8_t>(number >> (8 * i)));
    };
    put(1, 4);
    head.push_back('a');
    for (const std::uint64_t number : {7u, 8u, 48u, 32u}) put(number, 8);
    std::vector<std::uint8_t> bytes;
    for (const char letter : std::string("Korvane journal 1\n")) bytes.push_back(static_cast<std::uint8_t>(letter));
    for (const JournalRecord& record : {JournalRecord{0, 1, head}, JournalRecord{kChangeRecord, 0, {0, 2, 0, 1}}}) {
        const std::vector<std::uint8_t> packed = PackRecord(record);
        bytes.insert(bytes.end(), packed.begin(), packed.end());
    }
    std::vector<RecoveredPosition> positions;
    ASSERT_EQ(UnpackJournal(bytes, positions), JournalContent::kChanges);
    ASSERT_EQ(positions.size(), 1u);
    const JournalImage& image = positions[0].image;
    EXPECT_TRUE((image.file == FileMark{"a", 7, 8}));
    EXPECT_EQ(image.width, 48u);
    EXPECT_EQ(image.height, 32u);
    EXPECT_EQ(image.depth, 1u);
}

TEST_F(Journal, HoldsThePlanesOfAStack) {
    RecoveryJournal journal(Folder());
    journal.Begin({{{"/d/stack.tif", 1, 2}, 4, 5, 6}});
    journal.Change(0, Runs({0, 2, 0, 1}));
    journal.Write(kAll);
    const std::vector<LeftJournal> left = AfterDeath();
    ASSERT_EQ(left.size(), 1u);
    EXPECT_EQ(left[0].Positions()[0].image.depth, 6u);
}

TEST_F(Journal, APlaceThatCannotBeWrittenIsToldOnceAndThenLeftAlone) {
    RecoveryJournal journal(Folder());
    journal.Begin(Images());
    fs::remove(Folder());
    journal.Change(0, Runs({0, 2, 0, 1}));
    EXPECT_THROW(journal.Write(kAll), qvox::FileError);
    journal.Change(0, Runs({0, 2, 0, 1}));
    EXPECT_FALSE(journal.Waiting());
    EXPECT_EQ(journal.Write(kAll), RecoveryJournal::Progress::kDone);
    std::ofstream(folder.File("file")) << "no folder";
    EXPECT_THROW(RecoveryJournal(folder.File("file/recovery")), qvox::FileError);
}

TEST_F(Journal, ThatIsGivenUpIsGoneAndTakesNothingUntilItBeginsAnew) {
    RecoveryJournal journal(Folder());
    journal.Begin(Images());
    journal.Change(0, Runs({0, 2, 0, 1}));
    journal.Write(kAll);
    journal.Change(1, Runs({0, 2, 0, 1}));
    journal.GiveUp();
    EXPECT_TRUE(Files().empty());
    EXPECT_FALSE(journal.Waiting());
    EXPECT_FALSE(journal.IsComplete());
    journal.Change(0, Runs({0, 2, 0, 1}));
    EXPECT_EQ(journal.Write(kAll), RecoveryJournal::Progress::kDone);
    EXPECT_TRUE(Files().empty());
    journal.Begin(Images());
    journal.Change(0, Runs({0, 2, 0, 1}));
    journal.Write(kAll);
    EXPECT_EQ(Files().size(), 1u);
}

/// Paints until it is killed, and tells the number of each edit once it is written.
[[noreturn]] void PaintUntilKilled(const std::string& folder, unsigned seed, int tell) {
    RecoveryJournal journal(folder);
    journal.Begin(Images());
    std::mt19937 random(seed);
    Labels labels = Blank();
    for (std::uint32_t edit = 1;; ++edit) {
        std::size_t position = 0;
        const LabelChanges changes = Edit(labels, random, position);
        journal.Change(position, changes.Share());
        journal.Write(kAll);
        if (write(tell, &edit, sizeof edit) != sizeof edit) _exit(1);
    }
}

TEST_F(Journal, AKillAtAnyMomentCostsNoEditThatWasWritten) {
    const char* const wanted = std::getenv("KORVANE_KILLS");
    const int kills = wanted == nullptr ? 100 : std::atoi(wanted);
    ASSERT_GT(kills, 0);
    std::mt19937 random(9);
    int restored = 0;
    for (int kill = 0; kill < kills; ++kill) {
        const auto seed = static_cast<unsigned>(random());
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) PaintUntilKilled(Folder(), seed, ends[1]);
        close(ends[1]);
        const int edits = korvane_test::UniformInt(random, 1, 20);
        std::uint32_t told = 0;
        for (int i = 0; i < edits; ++i) ASSERT_EQ(read(ends[0], &told, sizeof told), ssize_t{sizeof told});
        usleep(static_cast<useconds_t>(korvane_test::UniformInt(random, 0, 300)));
        ::kill(child, SIGKILL);
        ASSERT_EQ(waitpid(child, nullptr, 0), child);
        while (read(ends[0], &told, sizeof told) == ssize_t{sizeof told}) {
        }
        close(ends[0]);
        std::vector<LeftJournal> left = std::move(FindLeftWork(Folder()).journals);
        ASSERT_EQ(left.size(), 1u);
        // The edits told, and at most one more: that which was being told.
        std::mt19937 again(seed);
        Labels labels = Blank();
        std::size_t position = 0;
        for (std::uint32_t i = 0; i < told; ++i) Edit(labels, again, position);
        const Labels recovered = Recovered(left[0]);
        bool same = Same(recovered, labels);
        if (!same) {
            Edit(labels, again, position);
            same = Same(recovered, labels);
        }
        ASSERT_TRUE(same) << "seed " << seed << ", " << told << " edits";
        ++restored;
        left[0].Remove();
    }
    EXPECT_EQ(restored, kills);
}

TEST(RecoveryJournal, KeepsImagesApartWhenOneIsNoLongerOpen) {
    const korvane_test::TemporaryFolder folder;
    RecoveryJournal journal(folder.File("journals"));
    journal.Begin(Images());
    journal.RemovePosition(0);
    LabelChanges changes;
    changes.Add({5, 4, 0, 9});
    journal.Base(0, {"seg_b", 1, 1});
    journal.Change(1, changes.Share());
    journal.Write(kAll);
    std::string path;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder.File("journals"))) {
        path = entry.path().string();
    }
    std::ifstream file(path, std::ios::binary);
    const std::vector<std::uint8_t> bytes{std::istreambuf_iterator<char>(file), {}};
    std::vector<RecoveredPosition> positions;
    ASSERT_EQ(UnpackJournal(bytes, positions), JournalContent::kChanges);
    ASSERT_EQ(positions.size(), 3u);
    EXPECT_TRUE(positions[0].runs.empty() && !positions[0].base);
    EXPECT_TRUE(positions[1].runs.empty() && positions[1].base);
    ASSERT_EQ(positions[2].runs.size(), 1u);
    EXPECT_EQ(positions[2].runs[0], changes.Packed());
}

}  // namespace
