#include "Shard.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "ImageList.h"
#include "ToolkitError.h"
#include "batch/ProgramRunner.h"
#include "files/ImageFile.h"
#include "support/TemporaryFolder.h"

namespace korvane_test {

namespace {

using Korvane::ListImages;
using Korvane::ParseShard;
using Korvane::PathKey;
using Korvane::Shard;

using Variables = std::map<std::string, std::string>;

std::string Parsed(const std::string& text, const Variables& variables = {}) {
    try {
        const Shard shard = ParseShard(text, [&variables](const char* name) {
            const auto found = variables.find(name);
            return found == variables.end() ? nullptr : found->second.c_str();
        });
        return std::to_string(shard.number) + "/" + std::to_string(shard.count);
    } catch (const qvox::ToolkitError& error) {
        return error.what();
    }
}

Variables Task(const std::string& id, const std::string& count, const std::string& first) {
    return {{"SLURM_ARRAY_TASK_ID", id}, {"SLURM_ARRAY_TASK_COUNT", count}, {"SLURM_ARRAY_TASK_MIN", first}};
}

TEST(Shard, IsAPartFromOneToTheirNumber) {
    EXPECT_EQ(Parsed("3/16"), "3/16");
    EXPECT_EQ(Parsed("1/1"), "1/1");
    for (const char* const text : {"0/3", "4/3", "1/0", "/3", "1/", "1", "", "1/3x", "-1/3", "1 /3", "1/3/5"}) {
        EXPECT_EQ(Parsed(text), std::string("needs I/N with I from 1 to N, or slurm, not '") + text + "'");
    }
}

TEST(Shard, OfAnArrayTaskCountsFromTheFirstTask) {
    EXPECT_EQ(Parsed("slurm", Task("0", "16", "0")), "1/16");
    EXPECT_EQ(Parsed("slurm", Task("15", "16", "0")), "16/16");
    EXPECT_EQ(Parsed("slurm", Task("7", "4", "5")), "3/4");
    Variables stepped = Task("14", "4", "10");
    stepped["SLURM_ARRAY_TASK_STEP"] = "2";
    stepped["SLURM_ARRAY_TASK_MAX"] = "16";
    EXPECT_EQ(Parsed("slurm", stepped), "3/4");
}

TEST(Shard, OfNoTaskOrOfScatteredOnesIsAnError) {
    EXPECT_EQ(Parsed("slurm"), "slurm needs the task of a job array: SLURM_ARRAY_TASK_ID is not set.");
    Variables half = Task("1", "2", "1");
    half.erase("SLURM_ARRAY_TASK_COUNT");
    EXPECT_EQ(Parsed("slurm", half), "slurm needs the task of a job array: SLURM_ARRAY_TASK_COUNT is not set.");
    EXPECT_EQ(Parsed("slurm", Task("x", "2", "1")), "SLURM_ARRAY_TASK_ID is not a number: 'x'.");
    Variables scattered = Task("9", "2", "1");
    scattered["SLURM_ARRAY_TASK_MAX"] = "9";
    EXPECT_NE(Parsed("slurm", scattered).find("evenly spaced"), std::string::npos);
    EXPECT_NE(Parsed("slurm", Task("9", "2", "1")).find("evenly spaced"), std::string::npos);
    EXPECT_NE(Parsed("slurm", Task("0", "0", "0")).find("evenly spaced"), std::string::npos);
}

TEST(Shard, KeysAreTheSameOnEveryMachine) {
    // Of the published function: the halves of its value combined.
    EXPECT_EQ(PathKey("a"), 0xaf63dc4c8601ec8cu ^ 0xaf63dc4cu);
    EXPECT_EQ(PathKey("scans/./a.tif"), PathKey("scans//a.tif"));
    EXPECT_NE(PathKey("scans/a.tif"), PathKey("a.tif"));
}

TEST(Shard, PartsAreOfLikeSizes) {
    for (const std::uint64_t count : {2u, 3u, 10u, 16u, 64u}) {
        std::vector<int> sizes(count);
        constexpr int kImages = 6400;
        for (int i = 0; i < kImages; ++i) {
            const std::uint64_t key = PathKey("scans/day1/image_" + std::to_string(i) + ".tif");
            for (std::uint64_t part = 0; part < count; ++part) sizes[part] += Shard{part + 1, count}.Holds(key);
        }
        const double mean = static_cast<double>(kImages) / static_cast<double>(count);
        for (const int size : sizes) EXPECT_NEAR(size, mean, 5.0 * std::sqrt(mean)) << count;
    }
}

TEST(Shard, KeysDependNeitherOnTheOrderNorOnRepeatedArguments) {
    const std::string here = (std::filesystem::current_path() / "a.tif").string();
    const auto keyOf = [](const std::vector<std::string>& arguments) {
        const Korvane::ImageListing listing = ListImages(arguments);
        const std::vector<std::string> images(listing.images.begin(), listing.images.end());
        const auto found = std::find_if(images.begin(), images.end(), [](const std::string& path) {
            return path.find("/a.tif") != std::string::npos;
        });
        return listing.keys[static_cast<std::size_t>(found - images.begin())];
    };
    EXPECT_EQ(keyOf({"a.tif", "b.tif", here}), keyOf({here, "b.tif", "a.tif"}));
    EXPECT_EQ(keyOf({"a.tif"}), keyOf({"b.tif", "./a.tif"}));
}

class ShardRun : public ::testing::Test {
protected:
    void SetUp() override {
        for (int i = 0; i < 9; ++i) qvox::SaveImageFile(File("in/" + std::to_string(i) + ".tif"), Vesicles(1, 20, 10));
    }
    std::string File(const std::string& name) const {
        std::filesystem::create_directories(std::filesystem::path(folder_.File(name)).parent_path());
        return folder_.File(name);
    }
    ProgramResult Run(const std::vector<std::string>& arguments, const std::string& workingFolder,
                      const std::vector<std::string>& variables = {}) const {
        Surroundings surroundings;
        surroundings.workingFolder = workingFolder;
        surroundings.environment.insert(surroundings.environment.end(), variables.begin(), variables.end());
        return RunProgram(arguments, surroundings);
    }
    static std::vector<std::string> Lines(const std::string& text) {
        std::vector<std::string> lines;
        for (std::size_t start = 0; start < text.size();) {
            const std::size_t end = text.find('\n', start);
            lines.push_back(text.substr(start, end - start));
            start = end + 1;
        }
        return lines;
    }
    TemporaryFolder folder_;
};

TEST_F(ShardRun, EachImageBelongsToOnePartWhereverTheFolderLies) {
    std::set<std::string> all;
    std::size_t lines = 0;
    std::filesystem::copy(File("in"), File("elsewhere/in"));
    for (const char* const part : {"1/3", "2/3", "3/3"}) {
        const ProgramResult run = Run({"info", "--shard", part, "in"}, folder_.Path().string());
        EXPECT_EQ(run.status, 0) << run.messages;
        EXPECT_NE(run.messages.find(std::string("Shard ") + part + " holds "), std::string::npos) << run.messages;
        for (const std::string& line : Lines(run.output)) all.insert(line);
        lines += Lines(run.output).size();
        // From another folder, the images of the command line in another order.
        std::vector<std::string> named{"info", "--shard", part};
        for (int i = 8; i >= 0; --i) named.push_back("in/" + std::to_string(i) + ".tif");
        std::vector<std::string> there = Lines(Run(named, File("elsewhere")).output);
        for (std::string& line : there) line.erase(line.find("/elsewhere"), 10);
        std::reverse(there.begin(), there.end());
        EXPECT_EQ(there, Lines(run.output));
    }
    EXPECT_EQ(all.size(), 9u);
    EXPECT_EQ(lines, 9u);
}

TEST_F(ShardRun, ATaskOfAnArrayTakesItsPart) {
    const ProgramResult asked = Run({"info", "--shard", "2/3", "in"}, folder_.Path().string());
    const ProgramResult task = Run({"info", "--shard", "slurm", "in"}, folder_.Path().string(),
                                   {"SLURM_ARRAY_TASK_ID=6", "SLURM_ARRAY_TASK_COUNT=3", "SLURM_ARRAY_TASK_MIN=5"});
    EXPECT_EQ(task.status, 0) << task.messages;
    EXPECT_EQ(task.output, asked.output);
    const ProgramResult none = Run({"info", "--shard", "slurm", "in"}, folder_.Path().string());
    EXPECT_EQ(none.status, 2);
    EXPECT_NE(none.messages.find("--shard: slurm needs the task of a job array"), std::string::npos) << none.messages;
}

TEST_F(ShardRun, APartWithoutImagesIsDoneAndSaysSo) {
    const std::string image = "in/0.tif";
    int empty = 0;
    for (int part = 1; part <= 2; ++part) {
        const std::string table = File("table" + std::to_string(part) + ".txt");
        const ProgramResult run =
            Run({"measure", "--table", table, "--shard", std::to_string(part) + "/2", image}, folder_.Path().string());
        // The other part's image has no labels: of a part that is no failure.
        EXPECT_EQ(run.status, 0) << run.messages;
        EXPECT_EQ(Contents(table).rfind("Filename\t", 0), 0u) << "a table without rows has its header";
        empty += run.messages.find("holds none of 1 image.") != std::string::npos;
    }
    EXPECT_EQ(empty, 1);
}

TEST_F(ShardRun, ImagesOfOneResultAreRefusedWhicheverPartTheyAreIn) {
    for (int part = 1; part <= 4; ++part) {
        const ProgramResult run =
            Run({"detect", "-o", File("out"), "--shard", std::to_string(part) + "/4", "/x/a.tif", "/y/a.tif"}, "/");
        EXPECT_EQ(run.status, 2);
        EXPECT_NE(run.messages.find("'/x/a.tif' and '/y/a.tif' would both be written to '"), std::string::npos);
    }
}

}  // namespace

}  // namespace korvane_test
