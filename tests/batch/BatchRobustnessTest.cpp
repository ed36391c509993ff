#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <map>
#include <thread>

#include "batch/ProgramRunner.h"
#include "files/ImageFile.h"
#include "support/TemporaryFolder.h"
#include "support/TiffBuilder.h"

namespace korvane_test {

namespace {

namespace fs = std::filesystem;

/// No temporary file is left, and every TIFF file is whole.
void ExpectNothingHalfWritten(const fs::path& folder) {
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
        const std::string name = entry.path().filename().string();
        const bool known = name.rfind("seg_", 0) == 0 || name.rfind("export_", 0) == 0 || name == "korvane-run.json" ||
                           name == "korvane-record.jsonl" || name == "t.txt";
        EXPECT_TRUE(known) << name << " was left behind";
        if (name.rfind("seg_", 0) != 0) continue;
        qvox::LabelImage labels;
        EXPECT_NO_THROW(qvox::LoadImageFile(entry.path().string(), labels)) << name;
    }
}

TEST(BatchRobustness, NamesOfAnyBytesWorkUnderEveryLocale) {
    for (const char* locale : {"LC_ALL=C", "LC_ALL=C.UTF-8", "LC_ALL=de_DE.UTF-8"}) {
        const TemporaryFolder folder;
        fs::create_directory(folder.File("\xC3\xBC \xC3\xA9"));
        const char* const names[] = {"\xC3\xBC \xC3\xA9 \xC2\xB5 \xE4\xB8\xAD #1 100%s.tif", "bad\xFF\x80.tif"};
        for (const char* name : names)
            qvox::SaveImageFile(folder.File("\xC3\xBC \xC3\xA9/" + std::string(name)), Vesicles(1));
        Surroundings surroundings;
        surroundings.environment = {locale};
        surroundings.workingFolder = folder.Path().string();
        const ProgramResult run = RunProgram({"detect", "-o", "aus \xC2\xB5", "--table",
                                              "aus \xC2\xB5/\xE4\xB8\xAD.txt", "--overlay", "\xC3\xBC \xC3\xA9"},
                                             surroundings);
        ASSERT_EQ(run.status, 0) << locale << ": " << run.messages;
        for (const char* name : names) {
            EXPECT_TRUE(fs::exists(folder.File("aus \xC2\xB5/seg_" + std::string(name)))) << locale;
            EXPECT_TRUE(fs::exists(folder.File("aus \xC2\xB5/export_" + std::string(name)))) << locale;
            EXPECT_NE(run.messages.find(name), std::string::npos) << locale;
        }
        const std::string table = Contents(folder.File("aus \xC2\xB5/\xE4\xB8\xAD.txt"));
        EXPECT_EQ(table.rfind("Filename\tLabel\t", 0), 0u);
        EXPECT_EQ(table.find(','), std::string::npos) << table;
    }
}

TEST(BatchRobustness, AFolderThatCannotBeWrittenToIsToldBeforeAnyWork) {
    const TemporaryFolder folder;
    qvox::SaveImageFile(folder.File("a.tif"), Vesicles(1));
    fs::create_directory(folder.File("out"));
    fs::permissions(folder.Path(), fs::perms(0755));
    fs::permissions(folder.File("out"), fs::perms(0555));
    Surroundings surroundings;
    // Nothing is forbidden to the superuser, so the program then runs as somebody else.
    if (::geteuid() == 0) surroundings.user = 65534;
    const ProgramResult run = RunProgram({"detect", "-o", folder.File("out"), folder.File("a.tif")}, surroundings);
    fs::permissions(folder.File("out"), fs::perms(0755));
    if (run.status == 126 || run.status == 127) GTEST_SKIP() << "another user may not run the program from here";
    EXPECT_EQ(run.status, 2);
    EXPECT_NE(run.messages.find("cannot be written to"), std::string::npos) << run.messages;
}

TEST(BatchRobustness, AnOutputFolderBelowAFileIsRefused) {
    const TemporaryFolder folder;
    qvox::SaveImageFile(folder.File("a.tif"), Vesicles(1));
    const ProgramResult run = RunProgram({"detect", "-o", folder.File("a.tif/out"), folder.File("a.tif")});
    EXPECT_EQ(run.status, 2);
    EXPECT_NE(run.messages.find("cannot be made"), std::string::npos) << run.messages;
}

TEST(BatchRobustness, WhenTheDiskIsFullNothingIsHalfWritten) {
    const TemporaryFolder folder;
    fs::create_directory(folder.File("out"));
    // Labels of noise do not shrink below the limit.
    qvox::SaveImageFile(folder.File("a.tif"), Vesicles(1, 400, 400));
    Surroundings surroundings;
    surroundings.maxFileBytes = 100;
    const ProgramResult run = RunProgram(
        {"detect", "-o", folder.File("out"), "--table", folder.File("out/t.txt"), folder.File("a.tif")}, surroundings);
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.messages.find("Cannot save the segmentation results for 'a.tif'! (Error='"), std::string::npos)
        << run.messages;
    ExpectNothingHalfWritten(folder.File("out"));
    EXPECT_FALSE(fs::exists(folder.File("out/seg_a.tif")));
}

TEST(BatchRobustness, AFullDiskKeepsTheTableThatWasThere) {
    const TemporaryFolder folder;
    qvox::SaveImageFile(folder.File("a.tif"), Vesicles(1));
    qvox::SaveImageFile(folder.File("seg_a.tif"), TwoSquares());
    ASSERT_EQ(RunProgram({"measure", "--table", folder.File("t.txt"), folder.File("a.tif")}).status, 0);
    const std::string before = Contents(folder.File("t.txt"));
    ASSERT_GT(before.size(), 100u);
    Surroundings surroundings;
    surroundings.maxFileBytes = 100;
    const ProgramResult run = RunProgram(
        {"measure", "--quiet", "--overwrite", "--table", folder.File("t.txt"), folder.File("a.tif")}, surroundings);
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(Contents(folder.File("t.txt")), before);
    fs::remove(folder.File("a.tif"));
    ExpectNothingHalfWritten(folder.Path());
}

TEST(BatchRobustness, MeasuringTakesNoMemoryForWhatAnImageOnlyClaimsToBe) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "no limit on the address space under the address sanitizer";
#endif
    const TemporaryFolder folder;
    TiffBuilder claims;
    claims.Page().Grey(40000, 40000, 8).AddPiece("x");
    claims.Write(folder.File("a.tif"));
    Surroundings surroundings;
    surroundings.maxAddressBytes = 500ul << 20;
    const ProgramResult without = RunProgram({"measure", folder.File("a.tif")}, surroundings);
    EXPECT_NE(without.messages.find("is left out: there is no"), std::string::npos) << without.messages;
    qvox::SaveImageFile(folder.File("seg_a.tif"), TwoSquares());
    const ProgramResult with = RunProgram({"measure", folder.File("a.tif")}, surroundings);
    EXPECT_EQ(with.status, 1);
    EXPECT_NE(with.messages.find("Cannot load the segmentation results for 'a.tif'!"), std::string::npos)
        << with.messages;
    EXPECT_EQ(with.messages.find("memory"), std::string::npos) << with.messages;
}

TEST(BatchRobustness, AnOutputThatTakesNothingIsAFailure) {
    const TemporaryFolder folder;
    qvox::SaveImageFile(folder.File("a.tif"), Vesicles(1));
    qvox::SaveImageFile(folder.File("seg_a.tif"), TwoSquares());
    Surroundings surroundings;
    surroundings.standardOutput = "/dev/full";
    EXPECT_EQ(RunProgram({"measure", folder.File("a.tif")}, surroundings).status, 1);
    EXPECT_EQ(RunProgram({"info", folder.File("a.tif")}, surroundings).status, 1);
    for (const char* question : {"--help", "--version"}) {
        const ProgramResult answer = RunProgram({question}, surroundings);
        EXPECT_EQ(answer.status, 1) << question;
        EXPECT_NE(answer.messages.find("Cannot write to the standard output!"), std::string::npos) << answer.messages;
    }
}

TEST(BatchRobustness, AnInterruptLeavesOnlyWholeFiles) {
    const TemporaryFolder folder;
    fs::create_directory(folder.File("in"));
    for (unsigned i = 0; i < 200; ++i) {
        qvox::SaveImageFile(folder.File("in/p" + std::to_string(i) + ".tif"), Vesicles(i));
    }
    ProgramRun run(
        {"detect", "--jobs", "1", "-o", folder.File("out"), "--table", folder.File("out/t.txt"), folder.File("in")});
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!fs::exists(folder.File("out/seg_p0.tif")) && std::chrono::steady_clock::now() < limit) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    run.Signal(SIGINT);
    const ProgramResult result = run.Await();
    EXPECT_EQ(result.status, 130) << result.messages;
    ExpectNothingHalfWritten(folder.File("out"));
    EXPECT_FALSE(fs::exists(folder.File("out/t.txt")));
    EXPECT_TRUE(fs::exists(folder.File("out/seg_p0.tif")));
    EXPECT_FALSE(fs::exists(folder.File("out/seg_p199.tif")));
    EXPECT_NE(Contents(folder.File("out/korvane-run.json")).find("\"interrupted\": true"), std::string::npos);
}

TEST(BatchRobustness, AKillAtAnyMomentLeavesOnlyWholeFilesAndTheNextRunCompletesThem) {
    const TemporaryFolder folder;
    fs::create_directory(folder.File("in"));
    for (unsigned i = 0; i < 3; ++i) qvox::SaveImageFile(folder.File("in/p" + std::to_string(i) + ".tif"), Vesicles(i));
    const std::vector<std::string> arguments{"detect",    "--jobs",           "1",       "--overwrite-table",
                                             "-o",        folder.File("out"), "--table", folder.File("out/t.txt"),
                                             "--overlay", folder.File("in")};
    const auto start = std::chrono::steady_clock::now();
    ASSERT_EQ(RunProgram(arguments).status, 0);
    const auto whole = std::chrono::steady_clock::now() - start;
    std::map<std::string, std::string> expected;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder.File("out"))) {
        const std::string name = entry.path().filename().string();
        if (name.rfind("korvane-", 0) != 0) expected[name] = Contents(entry.path().string());
    }
    ASSERT_EQ(expected.size(), 7u);
    constexpr int kKills = 25;
    for (int i = 0; i < kKills; ++i) {
        fs::remove_all(folder.File("out"));
        ProgramRun run(arguments);
        std::this_thread::sleep_for(whole * (i + 1) / (kKills + 1));
        run.Signal(SIGKILL);
        run.Await();
        if (fs::exists(folder.File("out"))) {
            for (const auto& [name, bytes] : expected) {
                const std::string there = Contents(folder.File("out/" + name));
                EXPECT_TRUE(there.empty() || there == bytes) << name << " after kill " << i;
            }
        }
    }
    ASSERT_EQ(RunProgram(arguments).status, 0);
    for (const auto& [name, bytes] : expected) EXPECT_EQ(Contents(folder.File("out/" + name)), bytes) << name;
    ExpectNothingHalfWritten(folder.File("out"));
}

TEST(BatchRobustness, APictureTooLargeForTheMemoryIsNamedAndTheOthersAreDone) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "no limit on the address space under the address sanitizer";
#endif
    const TemporaryFolder folder;
    fs::create_directory(folder.File("in"));
    qvox::SaveImageFile(folder.File("in/a.tif"), Vesicles(1));
    qvox::SaveImageFile(folder.File("in/b large.tif"), Vesicles(2, 4000, 4000));
    qvox::SaveImageFile(folder.File("in/c.tif"), Vesicles(3));
    Surroundings surroundings;
    surroundings.maxAddressBytes = 300ul << 20;
    const ProgramResult run = RunProgram(
        {"detect", "--jobs", "1", "-o", folder.File("out"), "--table", folder.File("t.txt"), folder.File("in")},
        surroundings);
    EXPECT_EQ(run.status, 1) << run.messages;
    EXPECT_NE(run.messages.find("b large.tif"), std::string::npos) << run.messages;
    EXPECT_NE(run.messages.find("Not enough memory"), std::string::npos) << run.messages;
    EXPECT_TRUE(fs::exists(folder.File("out/seg_a.tif")));
    EXPECT_FALSE(fs::exists(folder.File("out/seg_b large.tif")));
    EXPECT_TRUE(fs::exists(folder.File("out/seg_c.tif")));
    const std::string table = Contents(folder.File("t.txt"));
    EXPECT_NE(table.find("c.tif\t"), std::string::npos) << table;
}

}  // namespace

}  // namespace korvane_test
