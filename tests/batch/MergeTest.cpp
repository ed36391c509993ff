#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "MeasurementTable.h"
#include "batch/ProgramRunner.h"
#include "files/ImageFile.h"
#include "support/TemporaryFolder.h"

namespace korvane_test {

namespace {

namespace fs = std::filesystem;

constexpr int kShards = 3;

/// Images in two folders, of which one has no object, and the results of a run over all and of one for each shard.
class Merge : public ::testing::Test {
protected:
    void SetUp() override {
        for (const char* const name : {"in/a2.tif", "in/a10.tif", "in/b/a1.tif", "in/b/c 1.tif", "in/b/d,1.tif"}) {
            qvox::SaveImageFile(File(name), Vesicles(static_cast<unsigned>(names_.size()) + 1));
            names_.emplace_back(name);
        }
        qvox::VoxelImage<std::uint8_t> empty = Vesicles(1, 260, 200);
        for (std::uint64_t i = 0; i < empty.VoxelCount(); ++i) empty[i] = static_cast<std::uint8_t>(90 + i % 7);
        qvox::SaveImageFile(File("in/b/z.tif"), empty);
        names_.emplace_back("in/b/z.tif");
    }
    std::string File(const std::string& name) const {
        fs::create_directories(fs::path(folder_.File(name)).parent_path());
        return folder_.File(name);
    }
    static std::string Part(int number) { return std::to_string(number) + "/" + std::to_string(kShards); }
    /// In the folder of the test: its name would be part of the keys that decide about shards.
    ProgramResult RunThere(const std::vector<std::string>& arguments) const {
        Surroundings surroundings;
        surroundings.workingFolder = folder_.Path().string();
        return RunProgram(arguments, surroundings);
    }
    /// A run over all images and one over each shard; {} in an option stands for the number of the shard, 0 for all.
    void Run(const std::vector<std::string>& options, int shards = kShards) const {
        for (int shard = 0; shard <= shards; ++shard) {
            std::vector<std::string> arguments;
            for (std::string option : options) {
                const std::size_t at = option.find("{}");
                if (at != std::string::npos) option.replace(at, 2, std::to_string(shard));
                arguments.push_back(option);
            }
            if (shard > 0) arguments.insert(arguments.end(), {"--shard", Part(shard)});
            arguments.insert(arguments.end(), {"--recursive", "in"});
            const ProgramResult run = RunThere(arguments);
            ASSERT_EQ(run.status, 0) << run.messages;
        }
    }
    ProgramResult MergeInto(const std::string& output, const std::vector<std::string>& parts,
                            const std::vector<std::string>& options = {}) const {
        std::vector<std::string> arguments{"merge", "-o", output};
        arguments.insert(arguments.end(), parts.begin(), parts.end());
        arguments.insert(arguments.end(), options.begin(), options.end());
        return RunProgram(arguments);
    }
    std::vector<std::string> Parts(const std::string& before, const std::string& behind = "") const {
        std::vector<std::string> parts;
        for (int shard = kShards; shard >= 1; --shard) parts.push_back(File(before + std::to_string(shard) + behind));
        return parts;
    }
    std::vector<std::string> All() const { return {"--images", File("in"), "--recursive"}; }
    std::vector<std::string> With(std::vector<std::string> options, const std::vector<std::string>& more) const {
        options.insert(options.end(), more.begin(), more.end());
        return options;
    }
    TemporaryFolder folder_;
    std::vector<std::string> names_;
};

TEST_F(Merge, TablesOfShardsAreThoseOfARunOverAllImages) {
    Run({"detect", "-o", File("out"), "--table", File("t{}.txt"), "--csv", File("c{}.csv")});
    ASSERT_NE(Contents(File("c0.csv")).find("d,1.tif"), std::string::npos);
    const std::vector<std::string> labels{"--labels", File("out"), "--labels", File("out/b")};
    const ProgramResult csv = MergeInto(File("all.csv"), Parts("c", ".csv"), With(All(), labels));
    EXPECT_EQ(csv.status, 0) << csv.messages;
    EXPECT_EQ(Contents(File("all.csv")), Contents(File("c0.csv")));
    // The record of the subfolder is found without being named.
    const ProgramResult table = MergeInto(File("all.txt"), Parts("t", ".txt"), With(All(), {"--labels", File("out")}));
    EXPECT_EQ(table.status, 0) << table.messages;
    EXPECT_EQ(Contents(File("all.txt")), Contents(File("t0.txt")));
    // Without the images they come in natural order, which is that of the run here.
    EXPECT_EQ(MergeInto(File("natural.csv"), Parts("c", ".csv")).status, 0);
    EXPECT_EQ(Contents(File("natural.csv")), Contents(File("c0.csv")));

    const ProgramResult again = MergeInto(File("all.csv"), Parts("c", ".csv"));
    EXPECT_EQ(again.status, 2);
    EXPECT_NE(again.messages.find("exists already; --overwrite replaces it."), std::string::npos) << again.messages;
    EXPECT_EQ(MergeInto(File("all.csv"), Parts("c", ".csv"), {"--overwrite"}).status, 0);

    const ProgramResult unsure = MergeInto(File("unsure.csv"), Parts("c", ".csv"), All());
    EXPECT_EQ(unsure.status, 1);
    EXPECT_NE(
        unsure.messages.find("'" + File("in/b/z.tif") + "' has no rows: it is missing, or has no object. --labels"),
        std::string::npos)
        << unsure.messages;
    EXPECT_FALSE(fs::exists(File("unsure.csv")));
}

TEST_F(Merge, ATableThatLacksImagesOrHasThemTwiceIsNotWritten) {
    Run({"detect", "-o", File("out"), "--csv", File("c{}.csv")});
    const std::vector<std::string> labels{"--labels", File("out"), "--labels", File("out/b")};
    const std::string whole = Contents(File("c0.csv"));
    const std::size_t second = whole.find(File("in/a10.tif"));
    ASSERT_NE(second, std::string::npos);
    std::ofstream(File("first.csv"), std::ios::binary) << whole.substr(0, second);
    std::ofstream(File("rest.csv"), std::ios::binary) << whole.substr(0, whole.find('\n') + 1) << whole.substr(second);

    const ProgramResult missing = MergeInto(File("m.csv"), {File("rest.csv")}, With(All(), labels));
    EXPECT_EQ(missing.status, 1);
    EXPECT_NE(missing.messages.find("error: '" + File("in/a2.tif") + "' is missing, although its labels were made.\n"),
              std::string::npos)
        << missing.messages;
    EXPECT_EQ(missing.messages.find("z.tif"), std::string::npos) << "has no object, and is not missing";
    const ProgramResult twice = MergeInto(File("m.csv"), {File("c0.csv"), File("first.csv")});
    EXPECT_EQ(twice.status, 1);
    EXPECT_NE(twice.messages.find("error: '" + File("in/a2.tif") + "' is in '" + File("c0.csv") + "' and in '" +
                                  File("first.csv") + "'.\n"),
              std::string::npos)
        << twice.messages;
    const ProgramResult other = MergeInto(File("m.csv"), {File("c0.csv")}, {"--images", File("in/b")});
    EXPECT_EQ(other.status, 1);
    EXPECT_NE(other.messages.find("'" + File("in/a2.tif") + "' of '" + File("c0.csv") + "' is none of the images."),
              std::string::npos)
        << other.messages;
    EXPECT_FALSE(fs::exists(File("m.csv")));
    std::ofstream(File("x.csv")) << "image,other\n";
    EXPECT_NE(MergeInto(File("m.csv"), {File("c0.csv"), File("x.csv")}).messages.find("has other columns than"),
              std::string::npos);
    std::ofstream(File("y.csv")) << "name,other\n";
    EXPECT_NE(MergeInto(File("m.csv"), {File("y.csv")}).messages.find("is neither a measurement table nor"),
              std::string::npos);
}

TEST_F(Merge, LabelsOfOtherParametersAreRefused) {
    Run({"detect", "-o", File("out"), "--csv", File("c{}.csv")}, 0);
    ASSERT_EQ(
        RunProgram({"detect", "--overwrite", "--exosome-size", "1.2", "-o", File("out"), File("in/a2.tif")}).status, 0);
    const ProgramResult run =
        MergeInto(File("m.csv"), {File("c0.csv")}, {"--labels", File("out"), "--labels", File("out/b")});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.messages.find("were made in another way than those of"), std::string::npos) << run.messages;
    EXPECT_NE(run.messages.find("exosome size"), std::string::npos) << run.messages;
    EXPECT_FALSE(fs::exists(File("m.csv")));
    // Once they are corrected, how they were made says nothing about them.
    std::ofstream(File("out/seg_a2.tif"), std::ios::binary | std::ios::app) << 'x';
    EXPECT_EQ(MergeInto(File("m.csv"), {File("c0.csv")}, {"--labels", File("out"), "--labels", File("out/b")}).status,
              0);
}

TEST_F(Merge, LabelsThatWereCorrectedAwayAreNotMissed) {
    Run({"detect", "-o", File("out")}, 0);
    qvox::LabelImage none;
    qvox::LoadImageFile(File("out/seg_a2.tif"), none, qvox::StoredValues());
    const qvox::LabelImage found = none;
    std::fill(none.begin(), none.end(), std::uint16_t{0});
    qvox::SaveImageFile(File("out/seg_a2.tif"), none);
    Run({"measure", "--labels", File("out"), "--csv", File("c{}.csv")});
    const ProgramResult run = MergeInto(File("m.csv"), Parts("c", ".csv"), With(All(), {"--labels", File("out")}));
    EXPECT_EQ(run.status, 0) << run.messages;
    EXPECT_EQ(Contents(File("m.csv")), Contents(File("c0.csv")));
    EXPECT_EQ(Contents(File("m.csv")).find("a2.tif"), std::string::npos);
    // Corrected labels that do have objects ought to have rows.
    qvox::SaveImageFile(File("out/seg_a2.tif"), found);
    std::ofstream(File("out/seg_a2.tif"), std::ios::binary | std::ios::app) << 'x';
    const ProgramResult late = MergeInto(File("n.csv"), Parts("c", ".csv"), With(All(), {"--labels", File("out")}));
    EXPECT_EQ(late.status, 1);
    EXPECT_NE(late.messages.find("a2.tif' is missing, although its labels were made."), std::string::npos)
        << late.messages;
}

TEST_F(Merge, ATableThatWasCutOffIsRefused) {
    Run({"detect", "-o", File("out"), "--csv", File("c{}.csv")}, 0);
    const std::string whole = Contents(File("c0.csv"));
    std::ofstream(File("cut.csv"), std::ios::binary) << whole.substr(0, whole.size() - 20);
    const ProgramResult run = MergeInto(File("m.csv"), {File("cut.csv")});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.messages.find("cut.csv' ends in the middle of a row: it was cut off."), std::string::npos)
        << run.messages;
    EXPECT_FALSE(fs::exists(File("m.csv")));
}

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

TEST(MergeOfRows, ThatComeTwiceInOnePartIsRefused) {
    const TemporaryFolder folder;
    const auto merged = [&folder](const std::string& header, const std::string& separator,
                                  const std::vector<std::string>& labels) {
        std::ofstream table(folder.File("part"), std::ios::binary);
        table << header << "\n";
        for (const std::string& label : labels) table << "/in/a.tif" << separator << label << "\n";
        table.close();
        return RunProgram({"merge", "--overwrite", "-o", folder.File("all"), folder.File("part")});
    };
    const ProgramResult twice = merged("image,label", ",", {"1", "2", "1", "2"});
    EXPECT_EQ(twice.status, 1);
    EXPECT_NE(twice.messages.find("The rows of '/in/a.tif' come twice in '" + folder.File("part") + "'.\n"),
              std::string::npos)
        << twice.messages;
    EXPECT_FALSE(fs::exists(folder.File("all")));
    EXPECT_EQ(merged("image,label", ",", {"3", "3"}).status, 1);
    EXPECT_EQ(merged("image,label", ",", {"1", "2", "30"}).status, 0);
    EXPECT_EQ(merged("image,area_nm2", ",", {"2", "1"}).status, 0) << "without a column of labels nothing is known";
    // A label of several pieces has several rows of the measurement table.
    EXPECT_EQ(merged(Korvane::MeasurementHeader(), "\t", {"1", "2", "2", "3"}).status, 0);
    EXPECT_EQ(merged(Korvane::MeasurementHeader(), "\t", {"1", "2", "1", "2"}).status, 1);
}

TEST(MergeOfRows, TakesMorePartsThanFilesMayUsuallyBeOpen) {
    constexpr int kParts = 150;
    constexpr rlim_t kOpenFiles = 100;
    const TemporaryFolder folder;
    std::vector<std::string> arguments{"merge", "-o", folder.File("all")};
    std::string rows;
    for (int part = 0; part < kParts; ++part) {
        const std::string row = "/in/" + std::to_string(part) + ".tif,1\n";
        arguments.push_back(folder.File("part" + std::to_string(part)));
        std::ofstream(arguments.back(), std::ios::binary) << "image,label\n" << row;
        rows += row;
    }
    rlimit usual{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &usual), 0);
    const rlimit few{kOpenFiles, usual.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &few), 0);
    const ProgramResult run = RunProgram(arguments);
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &usual), 0);
    EXPECT_EQ(run.status, 0) << run.messages;
    EXPECT_EQ(Contents(folder.File("all")), "image,label\n" + rows);
}

TEST_F(Merge, FindsTheRecordsOfImagesThatWereMoved) {
    // Two images of one name: the folders tell them apart.
    fs::copy(File("in/a2.tif"), File("in/b/a2.tif"));
    Run({"detect", "-o", File("out"), "--csv", File("c{}.csv")}, 0);
    fs::rename(File("in"), File("moved/in"));
    const std::vector<std::string> known{"--images", File("moved/in"), "--recursive", "--labels", File("out")};
    const ProgramResult old = MergeInto(File("m.csv"), {File("c0.csv")}, known);
    EXPECT_EQ(old.status, 1);
    EXPECT_NE(old.messages.find("is none of the images. It is not there any more: if it was moved, measure writes"),
              std::string::npos)
        << old.messages;
    ASSERT_EQ(
        RunProgram({"measure", "--recursive", "--labels", File("out"), "--csv", File("new.csv"), File("moved/in")})
            .status,
        0);
    const ProgramResult run = MergeInto(File("m.csv"), {File("new.csv")}, known);
    EXPECT_EQ(run.status, 0) << run.messages;
    EXPECT_EQ(Contents(File("m.csv")), Contents(File("new.csv")));
    // An image that is really new has no labels, whatever its name is.
    qvox::SaveImageFile(File("moved/in/new/a99.tif"), Vesicles(1));
    const ProgramResult more = MergeInto(File("more.csv"), {File("new.csv")}, known);
    EXPECT_NE(more.messages.find("a99.tif' is missing: no record tells of its labels."), std::string::npos)
        << more.messages;
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

TEST_F(Merge, TablesOfFoldersComeInTheOrderOfARun) {
    // Its images come after those of the folder that it lies in, and before those of b.
    for (const char* const name : {"in/a/n1.tif", "in/a/n2.tif", "in/a/n3.tif", "in/a/n4.tif"}) {
        fs::copy(File("in/a2.tif"), File(name));
    }
    Run({"detect", "-o", File("out"), "--csv", File("c{}.csv")});
    EXPECT_EQ(MergeInto(File("natural.csv"), Parts("c", ".csv")).status, 0);
    EXPECT_EQ(Contents(File("natural.csv")), Contents(File("c0.csv")));
    // A list instead of folders; --recursive is then for the labels.
    const ProgramResult all = RunThere({"info", "--json", "--recursive", "in"});
    const nlohmann::json known = nlohmann::json::parse(all.output);
    std::ofstream list(File("list.txt"));
    for (const nlohmann::json& image : known.at("images")) list << image.at("path").get<std::string>() << "\n";
    list.close();
    const ProgramResult run = MergeInto(File("listed.csv"), Parts("c", ".csv"),
                                        {"--files-from", File("list.txt"), "--labels", File("out"), "--recursive"});
    EXPECT_EQ(run.status, 0) << run.messages;
    EXPECT_EQ(Contents(File("listed.csv")), Contents(File("c0.csv")));
    EXPECT_EQ(
        MergeInto(File("listed.csv"), Parts("c", ".csv"), {"--files-from", File("list.txt"), "--recursive"}).status, 2);
}

TEST_F(Merge, RowsThatWereMeasuredWithOtherOptionsAreRefused) {
    Run({"detect", "-o", File("out")}, 0);
    const auto merged = [this](const std::vector<std::string>& first, const std::vector<std::string>& second) {
        for (const int part : {1, 2}) {
            std::vector<std::string> arguments{"measure",
                                               "--recursive",
                                               "--overwrite",
                                               "--labels",
                                               File("out"),
                                               "--csv",
                                               File("m" + std::to_string(part) + ".csv"),
                                               "--shard",
                                               std::to_string(part) + "/2"};
            arguments = With(With(arguments, part == 1 ? first : second), {"in"});
            EXPECT_EQ(RunThere(arguments).status, 0);
        }
        return MergeInto(File("all.csv"), {File("m1.csv"), File("m2.csv")}, {"--overwrite"});
    };
    const ProgramResult size = merged({}, {"--pixel-size", "3"});
    EXPECT_EQ(size.status, 1);
    EXPECT_NE(size.messages.find("m2.csv' are measured with --pixel-size 3, the first ones of whole images with the "
                                 "pixel sizes that they store.\n"),
              std::string::npos)
        << size.messages;
    EXPECT_EQ(merged({"--pixel-size", "3"}, {"--pixel-size", "3.5"}).status, 1);
    EXPECT_EQ(merged({"--pixel-size", "3"}, {"--pixel-size", "3"}).status, 0);
    // It is of no use where images store one.
    EXPECT_EQ(merged({"--pixel-size-if-missing", "3"}, {"--pixel-size-if-missing", "4"}).status, 0);
}

TEST(MergeOfRows, OfTwoRegionsOrGivenPixelSizesAreRefused) {
    const TemporaryFolder folder;
    const auto merged = [&folder](const std::string& first, const std::string& second) {
        std::ofstream table(folder.File("part"), std::ios::binary);
        table << "image,label,pixel_size_nm,pixel_size_source,prepared\n/in/a.tif,1," << first << "\n/in/b.tif,1,"
              << second << "\n";
        table.close();
        return RunProgram({"merge", "--overwrite", "-o", folder.File("all"), folder.File("part")});
    };
    const ProgramResult regions = merged("2,TIFF,\"region 0,0,9,9; 5 pixels filled\"", "2,TIFF,\"region 0,0,9,8\"");
    EXPECT_EQ(regions.status, 1);
    EXPECT_NE(
        regions.messages.find("The rows of '/in/b.tif' in '" + folder.File("part") +
                              "' are measured with region 0,0,9,8, the first ones measured with region 0,0,9,9.\n"),
        std::string::npos)
        << regions.messages;
    EXPECT_EQ(merged("2,TIFF,\"region 0,0,9,9; 5 pixels filled\"", "3,TIFF,\"region 0,0,9,9; 7 pixels filled\"").status,
              0);
    EXPECT_EQ(merged("2,TIFF,5 pixels filled", "3,TIFF,").status, 0);
    EXPECT_EQ(merged("2,--pixel-size-if-missing,", "3,--pixel-size-if-missing,").status, 1);
    EXPECT_EQ(merged("2,--pixel-size-if-missing,", "3,TIFF,").status, 0);
    EXPECT_EQ(merged("2,--pixel-size,", "3,TIFF,").status, 1);
}

TEST_F(Merge, TakesLabelsThatWereDrawnByHand) {
    Run({"detect", "-o", File("out")}, 0);
    // One image with labels, one without objects, and a folder in which nothing was detected.
    fs::copy(File("in/a2.tif"), File("in/b/e.tif"));
    fs::copy(File("out/seg_a2.tif"), File("out/b/seg_e.tif"));
    fs::copy(File("in/b/z.tif"), File("in/b/f.tif"));
    fs::copy(File("out/b/seg_z.tif"), File("out/b/seg_f.tif"));
    fs::copy(File("in/a2.tif"), File("in/c/g.tif"));
    fs::copy(File("out/seg_a2.tif"), File("out/c/seg_g.tif"));
    const auto measured = [this](const std::string& table) {
        return RunProgram({"measure", "--recursive", "--labels", File("out"), "--csv", File(table), File("in")});
    };
    ASSERT_EQ(measured("m.csv").status, 0);
    const std::string table = Contents(File("m.csv"));
    ASSERT_NE(table.find("g.tif"), std::string::npos);
    const std::vector<std::string> known = With(All(), {"--labels", File("out")});
    const ProgramResult run = MergeInto(File("all.csv"), {File("m.csv")}, known);
    EXPECT_EQ(run.status, 0) << run.messages;
    EXPECT_EQ(Contents(File("all.csv")), table);
    const ProgramResult records = MergeInto(File("all"), {File("out"), File("out/b")}, All());
    EXPECT_EQ(records.status, 0) << records.messages;

    // A folder of labels without any record is enough; one without labels is none.
    const ProgramResult drawn =
        MergeInto(File("c.csv"), {File("m.csv")}, {"--labels", File("out/c"), "--labels", File("out"), "--recursive"});
    EXPECT_EQ(drawn.status, 0) << drawn.messages;
    fs::create_directory(File("bare"));
    const ProgramResult bare = MergeInto(File("bare.csv"), {File("m.csv")}, {"--labels", File("bare")});
    EXPECT_EQ(bare.status, 1);
    EXPECT_NE(bare.messages.find("The folder '" + File("bare") + "' holds neither labels nor a record of any."),
              std::string::npos)
        << bare.messages;

    const std::size_t rows = table.find(File("in/c/g.tif"));
    std::ofstream(File("less.csv"), std::ios::binary) << table.substr(0, rows);
    fs::remove(File("out/b/seg_f.tif"));
    const ProgramResult less = MergeInto(File("all2.csv"), {File("less.csv")}, known);
    EXPECT_EQ(less.status, 1);
    EXPECT_NE(less.messages.find("g.tif' is missing, although it has labels: '" + File("out") + "/"), std::string::npos)
        << less.messages;
    EXPECT_NE(less.messages.find("f.tif' is missing: no record tells of its labels."), std::string::npos)
        << less.messages;
}

TEST_F(Merge, ATableGoesToTheStandardOutput) {
    Run({"detect", "-o", File("out"), "--csv", File("c{}.csv")});
    const ProgramResult run = MergeInto("-", Parts("c", ".csv"), {"--quiet"});
    EXPECT_EQ(run.status, 0) << run.messages;
    EXPECT_EQ(run.output, Contents(File("c0.csv")));
    EXPECT_TRUE(run.messages.empty()) << run.messages;
    EXPECT_FALSE(fs::exists("-"));
    const ProgramResult records = MergeInto("-", {File("out")});
    EXPECT_EQ(records.status, 2);
    EXPECT_NE(records.messages.find("Only tables can go to the standard output"), std::string::npos)
        << records.messages;
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
