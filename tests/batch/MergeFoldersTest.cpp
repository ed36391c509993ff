#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "batch/MergeFixture.h"

namespace korvane_test {

namespace {

namespace fs = std::filesystem;

TEST_F(Merge, RecordsOfFoldersBecomeOne) {
    for (int shard = 1; shard <= kShards; ++shard) {
        ASSERT_EQ(
            RunThere({"detect", "-o", File("part" + std::to_string(shard)), "--shard", Part(shard), "in/b"}).status, 0);
    }
    std::vector<std::string> parts;
    for (const std::string& part : Parts("part")) {
        // Shards of a few images may have none.
        if (Contents(part + "/korvane-record.jsonl").find("seg_") != std::string::npos) parts.push_back(part);
    }
    ASSERT_GE(parts.size(), 2u);
    const ProgramResult run = MergeInto(File("all"), parts, {"--images", File("in/b")});
    ASSERT_EQ(run.status, 0) << run.messages;
    // The labels are moved by hand; then the record tells how each was made.
    for (const std::string& part : parts) {
        for (const auto& entry : fs::directory_iterator(part)) {
            const std::string name = entry.path().filename().string();
            if (name.rfind("seg_", 0) == 0) fs::rename(entry.path(), File("all/" + name));
        }
    }
    const nlohmann::json record = nlohmann::json::parse(RunProgram({"record", File("all")}).output);
    EXPECT_EQ(record.at("interrupted"), false);
    ASSERT_EQ(record.at("images").size(), 4u);
    for (const nlohmann::json& image : record.at("images")) EXPECT_EQ(image.at("describesLabels"), true);

    const ProgramResult missing = MergeInto(File("less"), {parts.front()}, {"--images", File("in/b")});
    EXPECT_EQ(missing.status, 1);
    EXPECT_NE(missing.messages.find("is missing: no record tells of its labels."), std::string::npos);
    EXPECT_FALSE(fs::exists(folder_.File("less")));
    fs::copy(parts.front(), File("copy"));
    const ProgramResult twice = MergeInto(File("less"), {parts.front(), File("copy")});
    EXPECT_EQ(twice.status, 1);
    EXPECT_NE(twice.messages.find("' is in '" + parts.front() + "' and in '" + File("copy") + "'."), std::string::npos)
        << twice.messages;
    EXPECT_EQ(MergeInto(File("all"), parts).status, 2) << "there is a record";
}

TEST_F(Merge, RecordsOfSubfoldersBecomeThoseOfSubfolders) {
    // One name in two folders is no label file that comes twice.
    fs::copy(File("in/a2.tif"), File("in/b/a2.tif"));
    Run({"detect", "-o", File("part{}")});
    const std::vector<std::string> parts = Parts("part");
    const ProgramResult flat = MergeInto(File("all"), parts);
    EXPECT_EQ(flat.status, 2);
    EXPECT_NE(flat.messages.find("--recursive takes th"), std::string::npos) << flat.messages;
    EXPECT_FALSE(fs::exists(folder_.File("all")));
    const ProgramResult run = MergeInto(File("all"), parts, All());
    ASSERT_EQ(run.status, 0) << run.messages;
    for (const std::string& part : parts) {
        fs::copy(part, File("all"), fs::copy_options::recursive | fs::copy_options::skip_existing);
    }
    for (const auto& [folder, images] : {std::pair<const char*, std::size_t>{"", 2}, {"/b", 5}}) {
        const nlohmann::json record = nlohmann::json::parse(RunProgram({"record", File("all") + folder}).output);
        EXPECT_EQ(record.at("interrupted"), false);
        EXPECT_EQ(record.at("images").size(), images) << folder;
        for (const nlohmann::json& image : record.at("images")) EXPECT_EQ(image.at("describesLabels"), true) << image;
    }
    EXPECT_EQ(MergeInto(File("all"), parts, All()).status, 2) << "there is a record";
    const ProgramResult less = MergeInto(File("less"), {parts[0], parts[1]}, All());
    EXPECT_EQ(less.status, 1);
    EXPECT_NE(less.messages.find("is missing: no record tells of its labels."), std::string::npos) << less.messages;
}

TEST_F(Merge, ARecordInASubfolderIsNotLeftOut) {
    Run({"detect", "-o", File("out")}, 0);
    const ProgramResult run = MergeInto(File("all"), {File("out")});
    EXPECT_EQ(run.status, 2);
    EXPECT_NE(run.messages.find("The record of '" + File("out/b") +
                                "' would be left out: --recursive takes those of "
                                "subfolders."),
              std::string::npos)
        << run.messages;
    EXPECT_FALSE(fs::exists(folder_.File("all")));
}

TEST_F(Merge, TheReportOfPartsIsThatOfAllImages) {
    Run({"detect", "-o", File("out")}, 0);
    // Every file of it: page, tables, figures with their data.
    Run({"report", "--labels", File("out"), "-o", File("r{}"), "--group-by", "folder", "--min-roundness", "0.3"});
    const ProgramResult run = MergeInto(File("r"), Parts("r"), All());
    ASSERT_EQ(run.status, 0) << run.messages;
    std::size_t files = 0;
    for (const auto& entry : fs::recursive_directory_iterator(File("r0"))) {
        if (!entry.is_regular_file()) continue;
        const std::string name = fs::relative(entry.path(), File("r0")).string();
        EXPECT_EQ(Contents(File("r/" + name)) == Contents(entry.path().string()), true) << name;
        ++files;
    }
    EXPECT_GE(files, 10u);
    EXPECT_EQ(MergeInto(File("r"), Parts("r")).status, 2) << "there is a report";

    const ProgramResult missing = MergeInto(File("less"), {File("r1"), File("r2")}, All());
    EXPECT_EQ(missing.status, 1);
    EXPECT_NE(missing.messages.find(".tif' is missing."), std::string::npos) << missing.messages;
    fs::copy(File("r1"), File("copy"));
    const ProgramResult twice = MergeInto(File("less"), With(Parts("r"), {File("copy")}));
    EXPECT_EQ(twice.status, 1);
    EXPECT_FALSE(fs::exists(folder_.File("less")));
    ASSERT_EQ(RunThere({"report", "--recursive", "--labels", File("out"), "-o", File("r1"), "--overwrite", "--shard",
                        "1/3", "in"})
                  .status,
              0);
    const ProgramResult other = MergeInto(File("less"), Parts("r"));
    EXPECT_NE(other.messages.find("is of another report than"), std::string::npos) << other.messages;
}

TEST_F(Merge, APartWithoutImagesIsAPart) {
    const std::string one = "in/a2.tif";
    std::vector<std::string> parts;
    std::vector<std::string> tables;
    for (int shard = 1; shard <= 2; ++shard) {
        const std::string number = std::to_string(shard);
        parts.push_back(File("part" + number));
        tables.push_back(File("c" + number + ".csv"));
        const ProgramResult run =
            RunThere({"detect", "-o", parts.back(), "--csv", tables.back(), "--shard", number + "/2", one});
        ASSERT_EQ(run.status, 0) << run.messages;
        ASSERT_EQ(
            RunThere({"report", "--labels", parts.back(), "-o", parts.back(), "--shard", number + "/2", one}).status,
            0);
        EXPECT_TRUE(fs::exists(parts.back() + "/korvane-record.jsonl"));
    }
    const ProgramResult table = MergeInto(File("all.csv"), tables, {"--images", File(one)});
    EXPECT_EQ(table.status, 0) << table.messages;
    // The folders are parts of the record and of the report.
    const ProgramResult both = MergeInto(File("all"), parts, {"--images", File(one)});
    EXPECT_EQ(both.status, 0) << both.messages;
    const nlohmann::json record = nlohmann::json::parse(RunProgram({"record", File("all")}).output);
    EXPECT_EQ(record.at("images").size(), 1u);
    EXPECT_EQ(record.at("interrupted"), false);
    EXPECT_TRUE(fs::exists(File("all/report.html")));
    EXPECT_EQ(MergeInto(File("all"), parts).status, 2) << "both are there";

    // What is wrong with one of them keeps the other from being written.
    const ProgramResult more = MergeInto(File("more"), parts, {"--images", File(one), "--images", File("in/a10.tif")});
    EXPECT_EQ(more.status, 1);
    EXPECT_NE(more.messages.find("a10.tif' is missing"), std::string::npos) << more.messages;
    EXPECT_FALSE(fs::exists(folder_.File("more")));
    // Of a folder of labels alone nothing is said about the report.
    fs::remove(parts.front() + "/report-part.jsonl");
    EXPECT_NE(MergeInto(File("more"), parts).messages.find("are of different kinds"), std::string::npos);
}

TEST_F(Merge, PartsOfDifferentKindsAreRefused) {
    std::ofstream(File("c.csv")) << "image,other\n";
    fs::create_directories(File("empty"));
    EXPECT_NE(MergeInto(File("m"), {File("c.csv"), File("c.csv")}).messages.find("is given twice."), std::string::npos);
    EXPECT_NE(MergeInto(File("c.csv"), {File("c.csv")}).messages.find("is a part and would be replaced."),
              std::string::npos);
    EXPECT_NE(MergeInto(File("m"), {File("empty")}).messages.find("holds neither a record of labels nor"),
              std::string::npos);
    std::ofstream(File("rec/korvane-record.jsonl")) << "";
    EXPECT_NE(MergeInto(File("m"), {File("c.csv"), File("rec")}).messages.find("are of different kinds"),
              std::string::npos);
}

}  // namespace

}  // namespace korvane_test
