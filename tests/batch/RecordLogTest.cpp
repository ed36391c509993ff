#include "RecordLog.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <set>

#include "FileDigest.h"
#include "RecordDocument.h"
#include "ToolkitError.h"
#include "batch/ProgramRunner.h"
#include "support/TemporaryFolder.h"

namespace Korvane {

namespace {

using korvane_test::Contents;
using korvane_test::TemporaryFolder;

void Write(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary | std::ios::app) << bytes;
}

RecordEntry Entry(const std::string& labels) {
    RecordEntry entry;
    entry.labels = labels;
    entry.path = "/in/" + labels;
    entry.result = "done";
    entry.command = "detect";
    entry.parameters.emplace().areaFraction = 0.2f;
    entry.page = 3;
    entry.pixelSize = {1.488, 2.0};
    entry.pixelSizeSource = "resolution tags";
    entry.objects = 4;
    entry.seconds = 1.25;
    entry.version = "1";
    entry.started = "2020-01-02T03:04:05Z";
    entry.time = "2020-01-02T03:04:06Z";
    return entry;
}

std::vector<std::string> LabelsIn(const TemporaryFolder& folder) {
    const RecordIndex index(folder.Path().string());
    const std::vector<std::string_view> names = index.Labels();
    return {names.begin(), names.end()};
}

nlohmann::json Document(const TemporaryFolder& folder) {
    std::string text;
    PutDocument(RecordIndex(folder.Path().string()), folder.Path().string(), [&text](const std::string& bytes) {
        text += bytes;
        return true;
    });
    return nlohmann::json::parse(text);
}

TEST(FileDigest, IsWhatSha256sumPrints) {
    const TemporaryFolder folder;
    Write(folder.File("f"), "abc");
    const FileDigest digest = DigestOf(folder.File("f"));
    EXPECT_EQ(digest.bytes, 3u);
    EXPECT_EQ(digest.sha256, "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_THROW(DigestOf(folder.File("none")), qvox::ToolkitError);
}

TEST(FileDigest, AFileIsUnchangedByItsBytesWhateverItsTime) {
    const TemporaryFolder folder;
    Write(folder.File("f"), "abc");
    FileDigest digest = DigestOf(folder.File("f"));
    EXPECT_TRUE(IsUnchanged(folder.File("f"), digest));
    digest.modifiedNs -= 1;
    EXPECT_TRUE(IsUnchanged(folder.File("f"), digest));
    digest.sha256[0] = '0';
    EXPECT_FALSE(IsUnchanged(folder.File("f"), digest));
    EXPECT_FALSE(IsUnchanged(folder.File("none"), digest));
}

TEST(RecordEntry, ALineGivesBackItsEntry) {
    RecordEntry entry = Entry("seg_\xC2\xB5\n.tif");
    entry.output = FileDigest{7, 1234567890123456789, "ab"};
    const std::string line = EntryLine(entry);
    EXPECT_EQ(line.find('\n'), line.size() - 1);
    const auto read = ReadEntry(line);
    ASSERT_TRUE(read);
    EXPECT_EQ(EntryLine(*read), line);
    EXPECT_EQ(read->output->modifiedNs, 1234567890123456789);
    EXPECT_EQ(read->parameters->areaFraction, 0.2f);
    EXPECT_EQ(read->page, 3u);
    EXPECT_NE(line.find("\"areaFraction\":0.2,"), std::string::npos) << line;
    for (std::size_t length = 0; length + 1 < line.size(); ++length) {
        EXPECT_FALSE(ReadEntry(line.substr(0, length))) << length;
    }
}

TEST(RecordEntry, OfAnImportHasNoParametersAndNamesItsFile) {
    RecordEntry entry = Entry("seg_a.tif");
    entry.parameters.reset();
    entry.imported = UsedFile{"/theirs/a.tif", FileDigest{7, 8, "ab"}};
    const std::string line = EntryLine(entry);
    EXPECT_NE(line.find("\"parameters\":null,"), std::string::npos) << line;
    const auto read = ReadEntry(line);
    ASSERT_TRUE(read);
    EXPECT_EQ(EntryLine(*read), line);
    EXPECT_EQ(read->imported->path, "/theirs/a.tif");
    EXPECT_EQ(DifferenceText(*read, Entry("seg_a.tif")), "") << "parameters count where both have them";
}

TEST(RecordEntry, FilesOfAnnotationsAreComparedByTheirBytesWhereBothAreKnown) {
    RecordEntry made = Entry("a");
    made.preparation = "--annotations m.tif --trim-bar";
    RecordEntry asked = made;
    made.annotations = UsedFile{"m.tif", FileDigest{7, 8, "ab"}};
    const std::string line = EntryLine(made);
    ASSERT_TRUE(ReadEntry(line));
    EXPECT_EQ(EntryLine(*ReadEntry(line)), line);
    EXPECT_EQ(DifferenceText(made, asked), "") << "nothing is known of the other";
    asked.annotations = UsedFile{"m.tif", FileDigest{7, 9, "ab"}};
    EXPECT_EQ(DifferenceText(made, asked), "");
    asked.annotations->digest.sha256 = "cd";
    EXPECT_EQ(DifferenceText(made, asked), "another file of annotations");
    asked.preparation = "--annotations n.tif --trim-bar";
    asked.annotations->path = "n.tif";
    EXPECT_EQ(DifferenceText(made, asked), "preparation " + made.preparation + ", now " + asked.preparation);
    asked.annotations->digest.sha256 = "ab";
    EXPECT_EQ(DifferenceText(made, asked), "");
}

TEST(RecordEntry, TellsEachWayInWhichLabelsWereMadeOtherwise) {
    const RecordEntry made = Entry("a");
    EXPECT_EQ(DifferenceText(made, made), "");
    RecordEntry asked = made;
    asked.command = "segment";
    asked.page = 4;
    asked.parameters->roundnessThreshold = 0.5f;
    asked.pixelSize.y = 3.0;
    EXPECT_EQ(DifferenceText(made, asked),
              "command detect, now segment, page 3, now 4, roundness 0.75, now 0.5, pixel height 2 nm, now 3 nm");
    asked = made;
    asked.pixelSize = {};
    EXPECT_EQ(DifferenceText(made, asked), "pixel width 1.488 nm, now none, pixel height 2 nm, now none");
    asked = made;
    asked.page.reset();
    EXPECT_EQ(DifferenceText(made, asked), "") << "an entry of an earlier version knows no page";
}

TEST(RecordLog, KeepsEveryLineOfEightProcesses) {
    const TemporaryFolder folder;
    constexpr int kProcesses = 8;
    constexpr int kEach = 100;
    for (int process = 0; process < kProcesses; ++process) {
        if (::fork() != 0) continue;
        for (int i = 0; i < kEach; ++i) {
            RecordLock(folder.Path().string())
                .Append(EntryLine(Entry("seg_" + std::to_string(process * kEach + i) + std::string(5000, 'x'))));
        }
        ::_exit(0);
    }
    for (int process = 0; process < kProcesses; ++process) ::wait(nullptr);
    EXPECT_EQ(LabelsIn(folder).size(), std::size_t{kProcesses * kEach});
}

TEST(RecordLog, ATornLineCostsNoOther) {
    const TemporaryFolder folder;
    RecordLock(folder.Path().string()).Append(EntryLine(Entry("a")));
    Write(folder.File(kRecordName), EntryLine(Entry("torn")).substr(0, 50));
    EXPECT_EQ(LabelsIn(folder), std::vector<std::string>{"a"});
    RecordLock(folder.Path().string()).Append(EntryLine(Entry("b")));
    EXPECT_EQ(LabelsIn(folder), (std::vector<std::string>{"a", "b"}));
}

TEST(RecordLog, TheEntryOfTheLabelsThatAreThereCounts) {
    const TemporaryFolder folder;
    Write(folder.File("seg_a.tif"), "old labels");
    RecordEntry old = Entry("seg_a.tif");
    old.output = DigestOf(folder.File("seg_a.tif"));
    RecordEntry never = Entry("seg_a.tif");
    never.command = "segment";
    never.output = FileDigest{10, 0, "of labels that did not get their name"};
    RecordEntry failed = Entry("seg_a.tif");
    failed.result = "failed";
    failed.error = "Cannot!";
    for (const RecordEntry& entry : {old, never, failed}) {
        RecordLock(folder.Path().string()).Append(EntryLine(entry));
    }
    const auto making = RecordIndex(folder.Path().string()).Making("seg_a.tif");
    ASSERT_TRUE(making);
    EXPECT_EQ(making->command, "detect");
    nlohmann::json image = Document(folder).at("images").at(0);
    EXPECT_EQ(image.at("result"), "done");
    EXPECT_EQ(image.at("describesLabels"), true);
    EXPECT_EQ(image.at("laterFailure").at("error"), "Cannot!");
    Write(folder.File("seg_a.tif"), "edited");
    EXPECT_FALSE(RecordIndex(folder.Path().string()).Making("seg_a.tif"));
    image = Document(folder).at("images").at(0);
    EXPECT_EQ(image.at("describesLabels"), false);
    EXPECT_EQ(image.at("error"), "Cannot!");
}

TEST(RecordLog, ARunWithoutItsEndCountsAsInterrupted) {
    const TemporaryFolder folder;
    RecordLock(folder.Path().string()).Append(EntryLine(Entry("a")));
    EXPECT_EQ(Document(folder).at("interrupted"), true);
    EXPECT_EQ(Document(folder).at("started"), "2020-01-02T03:04:05Z");
    RecordLock(folder.Path().string()).Append(RunLine({"detect", {}, "1", "", "2020-01-02T03:04:05Z", false}));
    EXPECT_EQ(Document(folder).at("interrupted"), false);
}

TEST(RecordLog, ListsImagesInNaturalOrder) {
    const TemporaryFolder folder;
    for (const char* name : {"a10", "a9", "b"}) RecordLock(folder.Path().string()).Append(EntryLine(Entry(name)));
    const nlohmann::json images = Document(folder).at("images");
    EXPECT_EQ(images.at(0).at("path"), "/in/a9");
    EXPECT_EQ(images.at(2).at("path"), "/in/b");
}

TEST(RecordLog, TellsWhatItCannotWrite) {
    try {
        RecordLock("/nowhere/at/all").Append("x\n");
        FAIL();
    } catch (const qvox::ToolkitError& error) {
        EXPECT_NE(std::string(error.what()).find("/nowhere/at/all/korvane-record.jsonl"), std::string::npos);
    }
}

}  // namespace

}  // namespace Korvane
