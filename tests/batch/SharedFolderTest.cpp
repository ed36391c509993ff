#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "batch/ProgramRunner.h"
#include "files/ImageFile.h"
#include "support/TemporaryFolder.h"

namespace korvane_test {

namespace {

namespace fs = std::filesystem;

constexpr int kProcesses = 4;
constexpr unsigned kImages = 4;

TEST(SharedFolder, ProcessesThatWriteTheSameFilesAtOnceHarmNone) {
    const TemporaryFolder folder;
    fs::create_directories(folder.File("in"));
    for (unsigned i = 0; i < kImages; ++i) {
        qvox::SaveImageFile(folder.File("in/" + std::to_string(i) + ".tif"), Vesicles(i + 1));
    }
    const auto arguments = [&folder](const std::string& out) {
        return std::vector<std::string>{
            "detect", "--overwrite",    "--overlay",      "--jobs", "1", "--table", folder.File(out + ".txt"),
            "-o",     folder.File(out), folder.File("in")};
    };
    ASSERT_EQ(RunProgram(arguments("alone")).status, 0);
    std::vector<std::unique_ptr<ProgramRun>> runs;
    for (int i = 0; i < kProcesses; ++i) runs.push_back(std::make_unique<ProgramRun>(arguments("shared")));
    for (const auto& run : runs) {
        const ProgramResult result = run->Await();
        EXPECT_EQ(result.status, 0) << result.messages;
    }
    for (unsigned i = 0; i < kImages; ++i) {
        for (const char* const prefix : {"/seg_", "/export_"}) {
            const std::string name = prefix + std::to_string(i) + ".tif";
            EXPECT_EQ(Contents(folder.File("shared" + name)) == Contents(folder.File("alone" + name)), true) << name;
        }
    }
    EXPECT_EQ(Contents(folder.File("shared.txt")), Contents(folder.File("alone.txt")));
    const std::string record = Contents(folder.File("shared/korvane-record.jsonl"));
    std::size_t lines = 0;
    for (std::size_t start = 0; start < record.size(); ++lines) {
        const std::size_t end = record.find('\n', start);
        ASSERT_NE(end, std::string::npos);
        EXPECT_TRUE(nlohmann::json::accept(record.substr(start, end - start))) << record.substr(start, end - start);
        start = end + 1;
    }
    EXPECT_EQ(lines, kProcesses * (kImages + 1));
    const nlohmann::json document = nlohmann::json::parse(RunProgram({"record", folder.File("shared")}).output);
    ASSERT_EQ(document.at("images").size(), kImages);
    for (const nlohmann::json& image : document.at("images")) {
        EXPECT_EQ(image.at("describesLabels"), true);
        EXPECT_EQ(image.at("result"), "done");
    }
    // Labels and overlays, the record and its document: nothing is left over.
    EXPECT_EQ(std::distance(fs::directory_iterator(folder.File("shared")), fs::directory_iterator()),
              2 * static_cast<std::ptrdiff_t>(kImages) + 2);
}

TEST(SharedFolder, ATableThatAnotherProcessHasMadeMeanwhileIsKept) {
    const TemporaryFolder folder;
    fs::create_directories(folder.File("in"));
    qvox::SaveImageFile(folder.File("in/a.tif"), Vesicles(1));
    std::vector<std::unique_ptr<ProgramRun>> runs;
    for (int i = 0; i < kProcesses; ++i) {
        const std::string out = folder.File("out" + std::to_string(i));
        runs.push_back(std::make_unique<ProgramRun>(
            std::vector<std::string>{"detect", "--csv", folder.File("objects.csv"), "--exosome-size",
                                     i % 2 == 0 ? "1" : "1.2", "-o", out, folder.File("in")}));
    }
    int written = 0;
    for (const auto& run : runs) {
        const ProgramResult result = run->Await();
        written += result.status == 0;
        if (result.status == 0) continue;
        const bool isRefused = result.messages.find("was made by another program meanwhile") != std::string::npos ||
                               result.messages.find("exists already: --overwrite-table") != std::string::npos;
        EXPECT_TRUE(isRefused) << result.messages;
    }
    EXPECT_EQ(written, 1);
    EXPECT_EQ(Contents(folder.File("objects.csv")).rfind("image,", 0), 0u);
}

}  // namespace

}  // namespace korvane_test
