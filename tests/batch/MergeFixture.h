#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "batch/ProgramRunner.h"
#include "files/ImageFile.h"
#include "support/TemporaryFolder.h"

namespace korvane_test {

inline constexpr int kShards = 3;

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
        std::filesystem::create_directories(std::filesystem::path(folder_.File(name)).parent_path());
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

}  // namespace korvane_test
