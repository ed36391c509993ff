#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "ParametersFile.h"
#include "ToolkitError.h"
#include "support/TemporaryFolder.h"

namespace Korvane {

namespace {

std::string Refusal(const std::string& text) {
    try {
        ReadParametersText(text, "p.json");
    } catch (const qvox::ToolkitError& error) {
        return error.what();
    }
    return "accepted";
}

void ExpectRefused(const std::string& text, const std::string& cause) {
    EXPECT_EQ(Refusal(text).rfind("'p.json' cannot be used as a parameters file: " + cause, 0), 0u)
        << text << "\n" << Refusal(text);
}

TEST(ParametersFile, IsWrittenInFull) {
    AnalysisParameters parameters;
    parameters.areaFraction = 0.17f;
    EXPECT_EQ(ParametersText({parameters, "of Tuesday"}),
              "{\n"
              "  \"comment\": \"of Tuesday\",\n"
              "  \"edgeContrast\": 0.005,\n"
              "  \"areaFraction\": 0.17,\n"
              "  \"roundnessThreshold\": 0.75,\n"
              "  \"maxRelativeClusterSize\": 1.0,\n"
              "  \"relativeExosomeSize\": 1.0,\n"
              "  \"minObjectDiameterUm\": 0.03\n"
              "}\n");
}

TEST(ParametersFile, WhatIsWrittenIsReadAgain) {
    const korvane_test::TemporaryFolder folder;
    for (const float ParameterRange::*end : {&ParameterRange::minimum, &ParameterRange::maximum}) {
        ParametersFile file;
        file.comment = "both ends of a range are inside";
        for (const ParameterRange& range : kParameterRanges) file.parameters.*range.field = range.*end;
        WriteParametersFile(folder.File("p.json"), file);
        const ParametersFile found = ReadParametersFile(folder.File("p.json"));
        for (const ParameterRange& range : kParameterRanges) {
            EXPECT_EQ(found.parameters.*range.field, range.*end) << range.key;
        }
        EXPECT_EQ(found.comment, file.comment);
    }
}

TEST(ParametersFile, AbsentMembersAreDefaults) {
    const AnalysisParameters found = ReadParametersText("{\"relativeExosomeSize\": 1.5}", "p.json").parameters;
    EXPECT_EQ(found.relativeExosomeSize, 1.5f);
    EXPECT_EQ(found.areaFraction, AnalysisParameters().areaFraction);
    EXPECT_EQ(found.minObjectDiameterUm, AnalysisParameters().minObjectDiameterUm);
}

TEST(ParametersFile, UnknownKeysAreRefusedByName) {
    ExpectRefused("{\"areaFractoin\": 0.1}", "the key \"areaFractoin\" is not known; known are \"edgeContrast\", ");
    ExpectRefused("{\"areaFraction\": 0.1, \"areaFraction\": 0.2}", "the key \"areaFraction\" stands twice.");
}

TEST(ParametersFile, ValuesOutOfRangeAreRefusedByName) {
    ExpectRefused("{\"areaFraction\": 1.01}", "\"areaFraction\" needs a number from 0 to 1, not 1.01.");
    ExpectRefused("{\"relativeExosomeSize\": 0.09}",
                  "\"relativeExosomeSize\" needs a number from 0.1 to 1.9, not 0.09.");
    ExpectRefused("{\"minObjectDiameterUm\": -1}", "\"minObjectDiameterUm\" needs a number from 0 to 0.5, not -1.");
    for (const std::string value : {"\"0.2\"", "null", "true"}) {
        ExpectRefused("{\"areaFraction\": " + value + "}",
                      "\"areaFraction\" needs a number from 0 to 1, not " + value + ".");
    }
}

TEST(ParametersFile, OtherTextIsRefused) {
    ExpectRefused("", "it is not JSON (");
    ExpectRefused("{\"areaFraction\": 0.1", "it is not JSON (");
    ExpectRefused("{\"areaFraction\": 1e999}", "it is not JSON (");
    ExpectRefused("\xff\xfe", "it is not JSON (");
    ExpectRefused("[]", "it holds no JSON object.");
    ExpectRefused("3", "it holds no JSON object.");
    ExpectRefused("{\"areaFraction\": [0.1]}", "it holds an object or a list inside of the object.");
    ExpectRefused("{\"comment\": 3}", "\"comment\" needs a text.");
}

TEST(ParametersFile, UnreadableFilesAreNamed) {
    const korvane_test::TemporaryFolder folder;
    const auto refusal = [](const std::string& path) -> std::string {
        try {
            ReadParametersFile(path);
        } catch (const qvox::ToolkitError& error) {
            return error.what();
        }
        return "accepted";
    };
    EXPECT_EQ(refusal(folder.File("none")), "Cannot read '" + folder.File("none") + "': the file cannot be opened.");
    EXPECT_NE(refusal(folder.Path().string()), "accepted");
    std::ofstream(folder.File("large")) << '{' << std::string(65536, ' ') << '}';
    EXPECT_EQ(refusal(folder.File("large")),
              "'" + folder.File("large") + "' cannot be used as a parameters file: it is larger than 64 KiB.");
}

}  // namespace

}  // namespace Korvane
