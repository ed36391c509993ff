// What an image whose labels are kept is compared with, and records that are damaged or cannot be written.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "batch/ProgramRunner.h"
#include "files/ImageFile.h"
#include "support/TemporaryFolder.h"

namespace korvane_test {

namespace {

namespace fs = std::filesystem;

using Arguments = std::vector<std::string>;

class RecordChecks : public ::testing::Test {
protected:
    std::string File(const std::string& name) const { return folder_.File(name); }
    void SaveImage(const std::string& name, float perUm = 672.0f) const {
        qvox::SaveImageFile(File(name), Vesicles(1, 96, 80, perUm));
    }
    /// One pixel of annotations.
    void SaveMask(const std::string& name, std::uint64_t x) const {
        qvox::VoxelImage<std::uint8_t> mask = Vesicles(1);
        mask.Zero();
        mask(x, 3) = 1;
        qvox::SaveImageFile(File(name), mask);
    }
    ProgramResult Run(Arguments arguments, const Arguments& more = {}) const {
        arguments.insert(arguments.end(), more.begin(), more.end());
        return RunProgram(arguments);
    }
    /// The run over labels that are there finds this difference; where it is empty, none.
    void ExpectDifference(const Arguments& run, const std::string& difference) const {
        const ProgramResult warned = Run(run, {"--quiet"});
        const ProgramResult strict = Run(run, {"--quiet", "--strict"});
        EXPECT_EQ(warned.status, 0) << warned.messages;
        if (difference.empty()) {
            EXPECT_EQ(warned.messages.find("made otherwise"), std::string::npos) << warned.messages;
            EXPECT_EQ(strict.status, 0) << strict.messages;
            return;
        }
        const std::string text = "' was made otherwise: " + difference + ". ";
        EXPECT_NE(warned.messages.find(text + "It is kept; --overwrite replaces it."), std::string::npos)
            << warned.messages;
        EXPECT_EQ(strict.status, 1);
        EXPECT_NE(strict.messages.find(text + "(--overwrite replaces it)"), std::string::npos) << strict.messages;
    }
    void Damage(const std::string& bytes) const {
        std::ofstream(File("korvane-record.jsonl"), std::ios::app | std::ios::binary) << bytes;
    }
    std::string DamageText(const std::string& lines) const {
        return "warning: " + lines + " of '" + File("korvane-record.jsonl") + "' cannot be read.\n";
    }
    TemporaryFolder folder_;
};

TEST_F(RecordChecks, OtherSeedsAreADifference) {
    SaveImage("a.tif");
    fs::create_directory(File("seeds"));
    qvox::SaveImageFile(File("seeds/seg_a.tif"), TwoSquares());
    const Arguments run{"segment", "--labels", File("seeds"), "-o", File("out"), File("a.tif")};
    ASSERT_EQ(Run(run).status, 0);
    ExpectDifference(run, "");
    qvox::LabelImage others = TwoSquares();
    others(1, 1) = 9;
    qvox::SaveImageFile(File("seeds/seg_a.tif"), others);
    ExpectDifference(run, "another file of seeds");
    fs::remove(File("seeds/seg_a.tif"));
    ExpectDifference(run, "");
}

TEST_F(RecordChecks, LabelsThatReplacedTheirSeedsAreNotTheirSeeds) {
    SaveImage("a.tif");
    qvox::SaveImageFile(File("seg_a.tif"), TwoSquares());
    ASSERT_EQ(Run({"segment", "--overwrite", File("a.tif")}).status, 0);
    ExpectDifference({"segment", File("a.tif")}, "");
}

TEST_F(RecordChecks, AnotherFileOfAnnotationsUnderOneNameIsADifference) {
    SaveImage("a.tif");
    SaveMask("m.tif", 3);
    const Arguments run{"detect", "--annotations", File("m.tif"), File("a.tif")};
    ASSERT_EQ(Run(run).status, 0);
    ExpectDifference(run, "");
    ExpectDifference({"detect", File("a.tif")}, "preparation --annotations " + File("m.tif") + ", now none");
    fs::copy(File("m.tif"), File("same.tif"));
    ExpectDifference({"detect", "--annotations", File("same.tif"), File("a.tif")}, "");
    ExpectDifference(
        {"detect", "--annotations", File("same.tif"), "--trim-bar", File("a.tif")},
        "preparation --annotations " + File("m.tif") + ", now --annotations " + File("same.tif") + " --trim-bar");
    SaveMask("m.tif", 4);
    ExpectDifference(run, "another file of annotations");
}

TEST_F(RecordChecks, ARecordWithoutTheChecksumOfAnnotationsGivesNoFalseAlarm) {
    SaveImage("a.tif");
    SaveMask("m.tif", 3);
    const Arguments run{"detect", "--annotations", File("m.tif"), File("a.tif")};
    ASSERT_EQ(Run(run).status, 0);
    std::ifstream file(File("korvane-record.jsonl"));
    std::string line;
    std::getline(file, line);
    nlohmann::ordered_json entry = nlohmann::ordered_json::parse(line);
    ASSERT_EQ(entry.erase("annotations"), 1u);
    std::ofstream(File("korvane-record.jsonl")) << entry.dump() << "\n";
    ExpectDifference(run, "");
}

TEST_F(RecordChecks, ARunWithoutAnyPixelSizeDiffersFromLabelsThatHadOne) {
    SaveImage("a.tif", 0.0f);
    ASSERT_EQ(Run({"detect", "--pixel-size", "1.488", File("a.tif")}).status, 0);
    ExpectDifference({"detect", "--pixel-size", "1.488", File("a.tif")}, "");
    ExpectDifference({"detect", File("a.tif")}, "pixel width 1.488 nm, now none, pixel height 1.488 nm, now none");
    // Of an image that cannot be read no pixel size is known.
    fs::remove(File("a.tif"));
    std::ofstream(File("a.tif")) << "no image";
    ExpectDifference({"detect", File("a.tif")}, "another image file");
}

TEST_F(RecordChecks, APixelSizeForLabelsThatWereImportedWithoutOneIsADifference) {
    SaveImage("a.tif", 0.0f);
    qvox::SaveImageFile(File("a_x.tif"), TwoSquares());
    const Arguments run{"import", "--pattern", "{stem}_x.tif", File("a.tif")};
    ASSERT_EQ(Run(run).status, 0);
    ExpectDifference(run, "");
    ExpectDifference({"import", "--pattern", "{stem}_x.tif", "--pixel-size", "2", File("a.tif")},
                     "pixel width none, now 2 nm, pixel height none, now 2 nm");
}

TEST_F(RecordChecks, LinesThatCannotBeReadAreCountedOnceInEachRun) {
    SaveImage("a.tif");
    SaveImage("b.tif");
    ASSERT_EQ(Run({"detect", folder_.Path().string()}).status, 0);
    const Arguments record{"record", folder_.Path().string()};
    EXPECT_EQ(Run(record).messages, "");
    Damage("\x01\xff garbage\n{\"neither\": 1}\n\n");
    const ProgramResult printed = Run(record);
    EXPECT_EQ(printed.status, 0);
    EXPECT_EQ(printed.messages, DamageText("2 lines"));
    EXPECT_EQ(nlohmann::json::parse(printed.output).at("images").size(), 2u);
    EXPECT_EQ(Run({"detect", "--quiet", folder_.Path().string()}).messages, DamageText("2 lines"));
}

TEST_F(RecordChecks, OfRandomBytesAloneIsToldToo) {
    Damage(std::string("\x8f\x00\x13PK\x0a\xfe\xfe", 8));
    const ProgramResult lines = Run({"record", folder_.Path().string()});
    EXPECT_EQ(lines.status, 0);
    EXPECT_EQ(lines.messages, DamageText("2 lines"));
    EXPECT_TRUE(nlohmann::json::parse(lines.output).at("images").empty());
    std::ofstream(File("korvane-record.jsonl"), std::ios::trunc) << "\x8f\x13PK";
    EXPECT_EQ(Run({"record", folder_.Path().string()}).messages, DamageText("1 line"));
}

TEST_F(RecordChecks, ALastLineThatWasTornIsNoDamage) {
    SaveImage("a.tif");
    ASSERT_EQ(Run({"detect", File("a.tif")}).status, 0);
    Damage("{\"labels\":\"seg_b.tif\",\"pa");
    EXPECT_EQ(Run({"record", folder_.Path().string()}).messages, "");
}

TEST_F(RecordChecks, MergeTellsOfLinesThatItCannotRead) {
    SaveImage("a.tif");
    ASSERT_EQ(Run({"detect", File("a.tif")}).status, 0);
    Damage("garbage\n");
    const ProgramResult merged = Run({"merge", "--quiet", "-o", File("all"), folder_.Path().string()});
    EXPECT_EQ(merged.status, 0);
    EXPECT_EQ(merged.messages, DamageText("1 line"));
}

TEST_F(RecordChecks, CommandsThatReadLabelsTellOfLinesThatTheyCannotRead) {
    // The true labels are others than those of detection: compare asks the record how those were made.
    for (const char* const name : {"a.tif", "b.tif"}) SaveImage(name);
    ASSERT_EQ(Run({"detect", "--min-diameter", "0", File("a.tif"), File("b.tif")}).status, 0);
    fs::create_directory(File("truth"));
    for (const char* const name : {"truth/seg_a.tif", "truth/seg_b.tif"}) qvox::SaveImageFile(File(name), TwoSquares());
    const std::vector<Arguments> commands{{"report", "--quiet", "-o", File("report")},
                                          {"compare", "--quiet", "--truth", File("truth")}};
    for (const Arguments& command : commands) {
        EXPECT_EQ(Run(command, {File("a.tif"), File("b.tif")}).messages.find("cannot be read"), std::string::npos);
    }
    fs::remove_all(File("report"));
    Damage("garbage\n");
    for (const Arguments& command : commands) {
        const ProgramResult run = Run(command, {File("a.tif"), File("b.tif")});
        EXPECT_EQ(run.status, 0) << run.messages;
        const std::size_t told = run.messages.find(DamageText("1 line"));
        ASSERT_NE(told, std::string::npos) << command[0] << ": " << run.messages;
        EXPECT_EQ(run.messages.find("cannot be read", told + DamageText("1 line").size()), std::string::npos)
            << command[0] << ": " << run.messages;
    }
}

TEST_F(RecordChecks, ARecordThatCannotBeOpenedIsToldToo) {
    for (const char* const name : {"a.tif", "b.tif"}) SaveImage(name);
    ASSERT_EQ(Run({"detect", "--min-diameter", "0", File("a.tif"), File("b.tif")}).status, 0);
    fs::create_directory(File("truth"));
    for (const char* const name : {"truth/seg_a.tif", "truth/seg_b.tif"}) qvox::SaveImageFile(File(name), TwoSquares());
    const std::string record = File("korvane-record.jsonl");
    const std::string text = "'" + record + "' cannot be read: It is no regular file.";
    const auto expectTold = [&] {
        for (const Arguments& command : {Arguments{"report", "--quiet", "--overwrite", "-o", File("report")},
                                         {"compare", "--quiet", "--truth", File("truth")},
                                         {"detect", "--quiet"}}) {
            const ProgramResult run = Run(command, {File("a.tif"), File("b.tif")});
            EXPECT_EQ(run.status, 0) << command[0] << ": " << run.messages;
            const std::size_t told = run.messages.find("warning: " + text);
            ASSERT_NE(told, std::string::npos) << command[0] << ": " << run.messages;
            EXPECT_EQ(run.messages.find(text, told + text.size()), std::string::npos) << run.messages;
        }
        for (const Arguments& command :
             {Arguments{"record"}, {"merge", "-o", File("all")}, {"detect", "--overwrite", "--dry-run"}}) {
            const ProgramResult run = Run(command, {folder_.Path().string()});
            EXPECT_NE(run.status, 0) << command[0];
            EXPECT_NE(run.messages.find(record), std::string::npos) << command[0] << ": " << run.messages;
            EXPECT_EQ(run.messages.find("There is no record"), std::string::npos) << run.messages;
        }
    };
    fs::remove(record);
    fs::create_directory(record);
    expectTold();
    // A pipe that nobody writes into.
    fs::remove(record);
    ASSERT_EQ(::mkfifo(record.c_str(), 0600), 0);
    expectTold();
}

TEST_F(RecordChecks, ARecordThatCannotBeWrittenIsFoundBeforeTheWork) {
    SaveImage("a.tif");
    fs::create_directories(File("seeds"));
    qvox::SaveImageFile(File("seeds/seg_a.tif"), TwoSquares());
    qvox::SaveImageFile(File("a_x.tif"), TwoSquares());
    const std::vector<Arguments> commands{{"detect", "-o", File("out")},
                                          {"detect", "-o", File("out"), "--dry-run"},
                                          {"segment", "-o", File("out"), "--labels", File("seeds")},
                                          {"import", "-o", File("out"), "--pattern", "{stem}_x.tif"}};
    for (const char* const name : {"korvane-record.jsonl", "korvane-run.json"}) {
        fs::create_directories(File("out/") + name);
        for (const Arguments& command : commands) {
            const ProgramResult run = Run(command, {File("a.tif")});
            EXPECT_EQ(run.status, 2) << command[0];
            EXPECT_NE(run.messages.find("The run cannot be recorded: '" + File("out/") + name +
                                        "' cannot be written to: Is a directory."),
                      std::string::npos)
                << run.messages;
            EXPECT_FALSE(fs::exists(File("out/seg_a.tif"))) << command[0];
        }
        fs::remove_all(File("out"));
    }
}

TEST_F(RecordChecks, MergeFindsARecordThatCannotBeWrittenBeforeItWritesAny) {
    SaveImage("a.tif");
    ASSERT_EQ(Run({"detect", "-o", File("part"), File("a.tif")}).status, 0);
    fs::create_directories(File("all/korvane-run.json"));
    const ProgramResult run = Run({"merge", "-o", File("all"), File("part")});
    EXPECT_EQ(run.status, 2);
    EXPECT_NE(run.messages.find("'" + File("all/korvane-run.json") + "' cannot be written to: Is a directory."),
              std::string::npos)
        << run.messages;
    EXPECT_FALSE(fs::exists(File("all/korvane-record.jsonl")));
}

TEST_F(RecordChecks, JsonOnATerminalStaysJson) {
    const std::string name = "\xC2\x85 \x1b.tif";
    SaveImage(name);
    ASSERT_EQ(Run({"detect", File(name)}).status, 0);
    for (const Arguments& command : {Arguments{"record", folder_.Path().string()}, {"info", "--json", File(name)}}) {
        const std::string shown = ShownOnTerminal(command, "\n}\r\n");
        EXPECT_NE(shown.find("/\\u0085 \\u001b.tif"), std::string::npos) << shown;
        EXPECT_EQ(nlohmann::json::parse(shown).at("images").at(0).at("path"), File(name));
    }
}

TEST_F(RecordChecks, ARunThatSkipsAllImagesNeedsNoRecordThatCanBeWritten) {
    if (::getuid() != 0) GTEST_SKIP() << "runs the program as another user, which only root can";
    SaveImage("a.tif");
    ASSERT_EQ(Run({"detect", File("a.tif")}).status, 0);
    fs::permissions(File("korvane-record.jsonl"), fs::perms::owner_read | fs::perms::group_read);
    fs::permissions(folder_.Path(), fs::perms::all);
    Surroundings other;
    other.user = 65534;
    const ProgramResult kept = RunProgram({"detect", "--strict", File("a.tif")}, other);
    EXPECT_EQ(kept.status, 0) << kept.messages;
    const ProgramResult made = RunProgram({"detect", "--overwrite", File("a.tif")}, other);
    EXPECT_EQ(made.status, 2);
    EXPECT_NE(made.messages.find("korvane-record.jsonl' cannot be written to: Permission denied."), std::string::npos)
        << made.messages;
}

}  // namespace

}  // namespace korvane_test
