#include <gtest/gtest.h>

#include <fstream>

#include "CalibrateCommand.h"
#include "CommandLine.h"
#include "DetectCommand.h"
#include "OverlayCommand.h"
#include "ParametersFile.h"
#include "ProgramVersion.h"
#include "SegmentCommand.h"
#include "support/TemporaryFolder.h"

namespace Korvane {

namespace {

template <typename Options>
Options Parse(const std::vector<std::string>& arguments) {
    return dynamic_cast<const ParsedCommandOf<Options>&>(*ParseCommandLine(arguments).task).options;
}

std::string CommandOf(const std::vector<std::string>& arguments) { return ParseCommandLine(arguments).command; }

std::string Refusal(const std::vector<std::string>& arguments) {
    try {
        ParseCommandLine(arguments);
    } catch (const UsageError& error) {
        return error.what();
    }
    return "accepted";
}

TEST(Options, DefaultsAreThoseOfTheParametersDialog) {
    const auto options = Parse<DetectOptions>({"detect", "a.tif"});
    EXPECT_EQ(options.input.images, std::vector<std::string>{"a.tif"});
    EXPECT_EQ(options.parameters.edgeContrast, 0.005f);
    EXPECT_EQ(options.parameters.areaFraction, 0.15f);
    EXPECT_EQ(options.parameters.roundnessThreshold, 0.75f);
    EXPECT_EQ(options.parameters.minObjectDiameterUm, 0.03f);
    EXPECT_EQ(options.parameters.maxRelativeClusterSize, 1.0f);
    EXPECT_EQ(options.parameters.relativeExosomeSize, 1.0f);
    EXPECT_EQ(options.existing, ExistingLabels::kSkip);
    EXPECT_EQ(options.style.look, OverlayLook::kContours);
    EXPECT_FALSE(options.overlay);
    const Places& places = options.places;
    EXPECT_FALSE(places.output || places.labels || places.table || places.stages || options.pixelSize.nm);
    EXPECT_EQ(options.jobs.images, std::nullopt);
}

TEST(Options, EveryCommandIsUnderstood) {
    for (const char* command : {"detect", "segment", "measure", "overlay", "info"}) {
        EXPECT_EQ(CommandOf({command, "a"}), command);
    }
    EXPECT_EQ(CommandOf({"calibrate", "--pixel-size", "1", "a"}), "calibrate");
}

TEST(Options, EachParameterReachesItsField) {
    const auto options = Parse<SegmentOptions>({"segment", "--edge-contrast", "0.1", "--area-fraction=0.2",
                                                "--roundness", "0.3", "--max-cluster-size", "0.4", "--exosome-size",
                                                "0.5", "--min-diameter", "0.45", "a.tif"});
    EXPECT_EQ(options.parameters.edgeContrast, 0.1f);
    EXPECT_EQ(options.parameters.areaFraction, 0.2f);
    EXPECT_EQ(options.parameters.roundnessThreshold, 0.3f);
    EXPECT_EQ(options.parameters.maxRelativeClusterSize, 0.4f);
    EXPECT_EQ(options.parameters.relativeExosomeSize, 0.5f);
    EXPECT_EQ(options.parameters.minObjectDiameterUm, 0.45f);
}

TEST(Options, SingleParametersWinOverTheParametersFile) {
    const korvane_test::TemporaryFolder folder;
    const std::string file = folder.File("p.json");
    WriteParametersFile(file, ReadParametersText("{\"areaFraction\": 0.2, \"roundnessThreshold\": 0.5}", "text"));
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"detect", "--parameters", file, "--roundness", "0.25", "a.tif"},
          std::vector<std::string>{"detect", "--roundness", "0.25", "a.tif", "--parameters", file}}) {
        const auto options = Parse<DetectOptions>(arguments);
        EXPECT_EQ(options.parameters.areaFraction, 0.2f);
        EXPECT_EQ(options.parameters.roundnessThreshold, 0.25f);
        EXPECT_EQ(options.parameters.relativeExosomeSize, 1.0f);
        ASSERT_TRUE(options.parametersFile);
        EXPECT_EQ(options.parametersFile->path, file);
        EXPECT_EQ(options.parametersFile->digest.sha256.size(), 64u);
    }
    EXPECT_FALSE(Parse<SegmentOptions>({"segment", "a.tif"}).parametersFile);
}

TEST(Options, AParametersFileThatCannotBeUsedIsWrongUsage) {
    const korvane_test::TemporaryFolder folder;
    const std::string file = folder.File("p.json");
    EXPECT_EQ(Refusal({"detect", "--parameters", file, "a.tif"}),
              "--parameters: Cannot read '" + file + "': the file cannot be opened.");
    std::ofstream(file) << "{\"areaFraction\": 2}";
    EXPECT_EQ(Refusal({"segment", "--parameters", file, "a.tif"}),
              "--parameters: '" + file +
                  "' cannot be used as a parameters file: \"areaFraction\" needs a number from 0 to 1, not 2.");
}

TEST(Options, BothEndsOfEachRangeAreAccepted) {
    for (const char* name : {"--edge-contrast", "--area-fraction", "--roundness"}) {
        for (const char* value : {"0", "1", "0.0", "1.000"})
            EXPECT_EQ(Refusal({"detect", name, value, "a"}), "accepted");
        for (const char* value : {"-0.01", "1.01"}) EXPECT_NE(Refusal({"detect", name, value, "a"}), "accepted");
    }
    for (const char* name : {"--max-cluster-size", "--exosome-size"}) {
        for (const char* value : {"0.1", "1.9"}) EXPECT_EQ(Refusal({"detect", name, value, "a"}), "accepted");
        for (const char* value : {"0.09", "1.91", "0"}) EXPECT_NE(Refusal({"detect", name, value, "a"}), "accepted");
    }
    EXPECT_EQ(Refusal({"segment", "--min-diameter", "0.5", "a"}), "accepted");
    EXPECT_EQ(Refusal({"segment", "--min-diameter", "0.51", "a"}),
              "--min-diameter: needs a number from 0 to 0.5, not '0.51'");
}

TEST(Options, WhatIsNoNumberIsRefused) {
    for (const char* value : {"", "0,5", "x", "0.5x", "nan", "inf", "1e-400x"}) {
        EXPECT_NE(Refusal({"detect", "--roundness", value, "a"}), "accepted") << value;
    }
}

TEST(Options, PixelSizeMustBeAPositiveLength) {
    EXPECT_EQ(Parse<DetectOptions>({"detect", "--pixel-size", "1.488", "a"}).pixelSize.nm, 1.488);
    const auto missing = Parse<DetectOptions>({"detect", "--pixel-size-if-missing", "2", "a"});
    EXPECT_EQ(missing.pixelSize.nm, 2.0);
    EXPECT_EQ(missing.pixelSize.holds, GivenPixelSize::Holds::kWhereMissing);
    EXPECT_NE(Refusal({"detect", "--pixel-size", "1", "--pixel-size-if-missing", "2", "a"}), "accepted");
    for (const char* value : {"0", "-1", "inf", "nan", "1e-300", "1e300", "2 nm"}) {
        EXPECT_NE(Refusal({"detect", "--pixel-size", value, "a"}), "accepted") << value;
    }
}

TEST(Options, PagesAreCountedFromOne) {
    EXPECT_EQ(Parse<DetectOptions>({"detect", "a"}).input.reading.page, 0u);
    EXPECT_EQ(Parse<DetectOptions>({"detect", "--page", "3", "a"}).input.reading.page, 3u);
    for (const char* value : {"0", "-1", "1.5", "x", "99999999999"}) {
        EXPECT_NE(Refusal({"detect", "--page", value, "a"}), "accepted") << value;
    }
}

TEST(Options, LuminanceIsAWayToGrey) {
    EXPECT_EQ(Parse<CalibrateOptions>({"calibrate", "--grey", "a"}).colour, qvox::ColourRule::kEqualChannels);
    EXPECT_EQ(Parse<CalibrateOptions>({"calibrate", "--luminance", "--grey", "a"}).colour,
              qvox::ColourRule::kLuminance);
    EXPECT_NE(Refusal({"calibrate", "--pixel-size", "1", "--luminance", "a"}), "accepted");
}

TEST(Options, CalibrateNeedsAPixelSize) {
    EXPECT_EQ(Refusal({"calibrate", "a"}), "--pixel-size or --bar-length-nm is required");
    const auto plain = Parse<CalibrateOptions>({"calibrate", "--pixel-size", "2.5", "a"});
    EXPECT_EQ(plain.pixelSizeNm, 2.5);
    EXPECT_EQ(plain.existing, ExistingLabels::kSkip);
    EXPECT_EQ(plain.existingPixelSize, ExistingPixelSize::kRefuse);
    const auto forced = Parse<CalibrateOptions>(
        {"calibrate", "--force", "--overwrite", "-o", "d", "--jobs", "2", "--pixel-size", "2.5", "a"});
    EXPECT_EQ(forced.existing, ExistingLabels::kReplace);
    EXPECT_EQ(forced.existingPixelSize, ExistingPixelSize::kReplace);
    EXPECT_EQ(forced.places.output, "d");
    for (const char* value : {"0", "-1", "nan", "x"}) {
        EXPECT_NE(Refusal({"calibrate", "--pixel-size", value, "a"}), "accepted") << value;
    }
}

TEST(Options, JobsIsAPositiveWholeNumber) {
    EXPECT_EQ(Parse<DetectOptions>({"detect", "--jobs", "3", "a"}).jobs.images, 3u);
    for (const char* value : {"0", "-1", "1.5", "many", "99999999999"}) {
        EXPECT_NE(Refusal({"detect", "--jobs", value, "a"}), "accepted") << value;
    }
}

TEST(Options, BothEndsOfWhatASearchAndAComparisonTakeAreAccepted) {
    const std::vector<std::string> tune{"tune", "--truth", "t", "-o", "p.json", "a"};
    const std::vector<std::string> compare{"compare", "--truth", "t", "a"};
    const auto with = [](std::vector<std::string> command, const char* option, const char* value) {
        command.insert(command.begin() + 1, {option, value});
        return Refusal(command);
    };
    for (const char* value : {"1", "100000"}) EXPECT_EQ(with(tune, "--evaluations", value), "accepted") << value;
    for (const char* value : {"0", "100001", "-1", "1.5", "2x", "99999999999999999999"}) {
        EXPECT_NE(with(tune, "--evaluations", value).find("needs a whole number from 1 to 100000"), std::string::npos)
            << value;
    }
    for (const char* value : {"0.001", "1"}) EXPECT_EQ(with(compare, "--threshold", value), "accepted") << value;
    for (const char* value : {"0", "1.001", "-1"}) {
        EXPECT_NE(with(compare, "--threshold", value).find("needs a number above 0, up to 1"), std::string::npos)
            << value;
    }
}

TEST(Options, StylesExcludeEachOther) {
    EXPECT_EQ(Parse<OverlayOptions>({"overlay", "--raw", "a"}).style.look, OverlayLook::kRaw);
    EXPECT_EQ(Parse<OverlayOptions>({"overlay", "--regions", "a"}).style.look, OverlayLook::kRegions);
    EXPECT_EQ(Parse<OverlayOptions>({"overlay", "--rim", "a"}).style.look, OverlayLook::kRims);
    EXPECT_NE(Refusal({"overlay", "--rim", "--regions", "a"}), "accepted");
    EXPECT_NE(Refusal({"overlay", "--raw", "--rim", "a"}), "accepted");
    EXPECT_NE(Refusal({"overlay", "--raw", "--regions", "a"}), "accepted");
    EXPECT_NE(Refusal({"detect", "--quiet", "--verbose", "a"}), "accepted");
}

TEST(Options, AnOptionThatACommandHasNoUseForIsRefused) {
    EXPECT_NE(Refusal({"overlay", "--overwrite", "a"}), "accepted");
    EXPECT_NE(Refusal({"measure", "--strict", "a"}), "accepted");
    EXPECT_NE(Refusal({"segment", "--stages", "d", "a"}), "accepted");
    EXPECT_NE(Refusal({"info", "-o", "d", "a"}), "accepted");
    EXPECT_NE(Refusal({"detect", "--force", "a"}), "accepted");
    EXPECT_NE(Refusal({"calibrate", "--pixel-size", "1", "--table", "t", "a"}), "accepted");
    EXPECT_NE(Refusal({"detect", "--frobnicate", "a"}), "accepted");
}

TEST(Options, WithoutCommandOrImageAreRefused) {
    EXPECT_NE(Refusal({}), "accepted");
    EXPECT_NE(Refusal({"detect"}), "accepted");
    EXPECT_EQ(Refusal({"frobnicate", "a"}),
              "There is no command 'frobnicate'; the commands are detect, segment, measure, overlay, rois, report, "
              "compare, tune, calibrate, import, info, merge and record.");
}

TEST(Options, ThatWouldDoNothingAreRefused) {
    EXPECT_NE(Refusal({"detect", "--numbers", "a"}).find("--overlay"), std::string::npos);
    EXPECT_NE(Refusal({"detect", "--overlay-format", "png", "a"}).find("--overlay"), std::string::npos);
    EXPECT_EQ(Refusal({"detect", "--overlay", "--numbers", "a"}), "accepted");
    EXPECT_NE(Refusal({"report", "-o", "r", "--min-diameter-nm", "90", "--max-diameter-nm", "80", "a"})
                  .find("no object would count"),
              std::string::npos);
    EXPECT_EQ(Refusal({"report", "-o", "r", "--min-diameter-nm", "80", "--max-diameter-nm", "80", "a"}), "accepted");
}

TEST(Options, NamesMayHoldAnything) {
    const auto options =
        Parse<DetectOptions>({"detect", "-o", "out dir#%", "--", "-a.tif", "\xC3\xBC b.tif", "\xFF.tif"});
    EXPECT_EQ(*options.places.output, "out dir#%");
    EXPECT_EQ(options.input.images, (std::vector<std::string>{"-a.tif", "\xC3\xBC b.tif", "\xFF.tif"}));
}

TEST(Options, HelpAndVersionAreAnswers) {
    const CommandLine version = ParseCommandLine({"--version"});
    EXPECT_FALSE(version.task);
    EXPECT_EQ(version.answer, "korvane-batch " + VersionText() + "\n");
    const CommandLine help = ParseCommandLine({"detect", "--help"});
    EXPECT_FALSE(help.task);
    EXPECT_NE(help.answer.find("--pixel-size NM"), std::string::npos);
}

}  // namespace

}  // namespace Korvane
