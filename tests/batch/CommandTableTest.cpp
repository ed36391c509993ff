#include "CommandTable.h"

#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "CommandLine.h"
#include "batch/ProgramRunner.h"
#include "files/ImageFile.h"
#include "support/TemporaryFolder.h"

namespace korvane_test {

namespace {

using Korvane::BatchCommand;
using Korvane::BatchCommands;
using Korvane::ParseCommandLine;

/// One sensible use of a command on an image that has labels, and what proves that it did its work.
struct Example {
    std::vector<std::string> options;
    std::function<bool(const TemporaryFolder& folder, const ProgramResult& run)> isDone;
};

bool HoldsImage(const std::string& path) {
    try {
        return qvox::InspectImageFile(path).sizeX == 96;
    } catch (const qvox::ToolkitError&) {
        return false;
    }
}

Example Writes(const std::string& name, const std::vector<std::string>& options = {}) {
    return {options, [name](const TemporaryFolder& folder, const ProgramResult&) {
                return HoldsImage(folder.File("out/" + name));
            }};
}

Example Prints(const std::string& text) {
    return {{}, [text](const TemporaryFolder&, const ProgramResult& run) {
                return run.output.find(text) != std::string::npos;
            }};
}

/// Every command of the table has its example here.
const std::map<std::string, Example>& Examples() {
    static const std::map<std::string, Example> examples{
        {"detect", Writes("seg_a.tif", {"--overwrite"})},
        {"segment", Writes("seg_a.tif", {"--overwrite"})},
        {"measure", Prints("Filename\tLabel\t")},
        {"overlay", Writes("export_a.tif")},
        {"rois",
         {{},
          [](const TemporaryFolder& folder, const ProgramResult&) {
              return Contents(folder.File("out/rois_a.zip")).find("700.roi") != std::string::npos;
          }}},
        {"report",
         {{},
          [](const TemporaryFolder& folder, const ProgramResult&) {
              return Contents(folder.File("out/report.html")).find("2 objects counted") != std::string::npos;
           }}},
        {"compare",
         {{"--truth", "FOLDER"},
          [](const TemporaryFolder&, const ProgramResult& run) {
              return run.output.find("F1") != std::string::npos && run.output.find("1.000") != std::string::npos;
          }}},
        {"tune",
         {{"--truth", "FOLDER", "--evaluations", "1"},
          [](const TemporaryFolder& folder, const ProgramResult&) {
              return Contents(folder.File("out")).find("\"areaFraction\"") != std::string::npos;
          }}},
        {"calibrate", Writes("a.tif", {"--pixel-size", "2", "--force"})},
        {"merge",
         {{},
          [](const TemporaryFolder& folder, const ProgramResult&) {
              return Contents(folder.File("out")) == "image,label\r\nx.tif,1\r\n";
          }}},
        {"record", Prints("\"command\": \"detect\"")},
        {"import", Writes("seg_a.tif", {"--pattern", "seg_{stem}.tif"})},
        {"info", Prints("a.tif: 96 x 80, 8-bit grey, 1.4881 nm per pixel")},
    };
    return examples;
}

TEST(BatchCommands, EachStandsInTheHelpUnderItsOwnName) {
    const std::string help = ParseCommandLine({"--help"}).answer;
    std::set<std::string> names;
    for (const BatchCommand& command : BatchCommands()) {
        EXPECT_TRUE(names.insert(command.name).second) << command.name;
        const std::size_t at = help.find(std::string("\n  ") + command.name + " ");
        ASSERT_NE(at, std::string::npos) << command.name;
        const std::string line = help.substr(at + 1, help.find('\n', at + 1) - at - 1);
        EXPECT_NE(line.find(command.help), std::string::npos) << line;
        const std::string own = ParseCommandLine({command.name, "--help"}).answer;
        EXPECT_EQ(own.rfind(std::string(command.help) + "\nUsage: korvane-batch " + command.name + " ", 0), 0u) << own;
    }
}

TEST(BatchCommands, EachDoesItsWork) {
    for (const BatchCommand& command : BatchCommands()) {
        const auto example = Examples().find(command.name);
        ASSERT_NE(example, Examples().end()) << "no example of " << command.name;
        const TemporaryFolder folder;
        qvox::SaveImageFile(folder.File("a.tif"), Vesicles(1));
        qvox::SaveImageFile(folder.File("seg_a.tif"), TwoSquares());
        std::vector<std::string> arguments{command.name};
        const std::string help = ParseCommandLine({command.name, "--help"}).answer;
        if (help.find("--output") != std::string::npos) {
            arguments.insert(arguments.end(), {"--output", folder.File("out")});
        }
        if (help.find("--labels") != std::string::npos) {
            arguments.insert(arguments.end(), {"--labels", folder.Path().string()});
        }
        for (const std::string& option : example->second.options) {
            arguments.push_back(option == "FOLDER" ? folder.Path().string() : option);
        }
        if (std::string(command.name) == "record") {
            // It is about a folder that a run has worked in.
            ASSERT_EQ(RunProgram({"detect", "--overwrite", folder.File("a.tif")}).status, 0);
            arguments.push_back(folder.Path().string());
        } else if (std::string(command.name) == "merge") {
            std::ofstream(folder.File("part.csv"), std::ios::binary) << "image,label\r\nx.tif,1\r\n";
            arguments = {"merge", "--output", folder.File("out"), folder.File("part.csv")};
        } else {
            arguments.push_back(folder.File("a.tif"));
        }
        const ProgramResult run = RunProgram(arguments);
        EXPECT_EQ(run.status, 0) << command.name << ": " << run.messages;
        EXPECT_TRUE(example->second.isDone(folder, run)) << command.name << ": " << run.output << run.messages;
    }
}

}  // namespace

}  // namespace korvane_test
