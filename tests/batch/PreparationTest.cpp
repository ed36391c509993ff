// What is left out of an image, or filled, before it is analysed.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <opencv2/imgproc.hpp>
#include <string>
#include <vector>

#include "ProgramRunner.h"
#include "files/ImageFile.h"
#include "support/AnnotatedPhantoms.h"
#include "support/TemporaryFolder.h"

namespace {

using korvane_test::ProgramResult;
using korvane_test::RunProgram;
using korvane_test::TemporaryFolder;

constexpr int kWidth = 420;
constexpr int kHeight = 360;

cv::Mat Vesicles() {
    korvane_test::VesicleOptions options;
    options.noise = 0.02f;
    return korvane_test::Stored(korvane_test::Vesicles(3, kWidth, kHeight, options), korvane_test::Depth::k16Bit);
}

void Save(const std::string& path, const cv::Mat& map) {
    qvox::VoxelImage<std::uint16_t> image;
    image.Resize(static_cast<std::uint64_t>(map.cols), static_cast<std::uint64_t>(map.rows), 1);
    for (int y = 0; y < map.rows; ++y) {
        for (int x = 0; x < map.cols; ++x) {
            image(static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y)) =
                static_cast<std::uint16_t>(map.at<float>(y, x));
        }
    }
    image.SetResolution({672.0f, 672.0f, 0.0f});
    qvox::SaveImageFile(path, image);
}

qvox::LabelImage Labels(const std::string& path) {
    qvox::LabelImage labels;
    qvox::LoadImageFile(path, labels);
    return labels;
}

std::uint16_t Objects(const qvox::LabelImage& labels) {
    std::uint16_t low = 0;
    std::uint16_t high = 0;
    labels.ValueRange(low, high);
    return high;
}

class Preparation : public testing::Test {
protected:
    ProgramResult Detect(std::vector<std::string> more) {
        std::vector<std::string> arguments = {"detect", "--overwrite", folder_.File("a.tif")};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return RunProgram(arguments);
    }
    std::uint16_t Found() { return Objects(Labels(folder_.File("seg_a.tif"))); }

    const TemporaryFolder folder_;
};

TEST_F(Preparation, ABarIsWarnedOfAndFillingItBringsTheVesiclesBack) {
    Save(folder_.File("a.tif"), Vesicles());
    EXPECT_EQ(Detect({}).messages.find("scale bar"), std::string::npos);
    const std::uint16_t clean = Found();
    ASSERT_GE(clean, 6);
    cv::Mat marked = Vesicles();
    cv::rectangle(marked, cv::Rect(270, 335, 130, 6), 65535.0, cv::FILLED);
    Save(folder_.File("a.tif"), marked);
    const ProgramResult warned = Detect({});
    EXPECT_NE(warned.messages.find("has a scale bar or writing at 270, 335 (130 x 6) that covers 780 pixels; "
                                   "use --fill-annotations. The bar is 130 pixels long."),
              std::string::npos)
        << warned.messages;
    EXPECT_LT(Found(), clean);
    const ProgramResult filled = Detect({"--fill-annotations"});
    EXPECT_EQ(filled.status, 0) << filled.messages;
    EXPECT_EQ(filled.messages.find("use --fill-annotations"), std::string::npos) << filled.messages;
    EXPECT_NEAR(Found(), clean, 1);
    const std::string record = korvane_test::Contents(folder_.File("korvane-run.json"));
    EXPECT_NE(record.find("\"preparation\": \"--fill-annotations\""), std::string::npos) << record;
    EXPECT_NE(record.find("1340 pixels of annotations filled"), std::string::npos) << record;
}

TEST_F(Preparation, AnObjectThatWasFilledIsFlaggedInTheTableOfObjectsAndNotCounted) {
    Save(folder_.File("a.tif"), Vesicles());
    Detect({});
    const qvox::LabelImage labels = Labels(folder_.File("seg_a.tif"));
    // A mask over a quarter of the first object's pixels, before it is widened.
    cv::Mat mask = cv::Mat::zeros(kHeight, kWidth, CV_32F);
    const auto of1 = std::count(labels.begin(), labels.end(), 1);
    std::ptrdiff_t marked = 0;
    for (std::uint64_t i = 0; i < labels.VoxelCount() && 4 * marked < of1; ++i) {
        if (labels[i] != 1) continue;
        mask.at<float>(static_cast<int>(i) / kWidth, static_cast<int>(i) % kWidth) = 1.0f;
        ++marked;
    }
    Save(folder_.File("m.tif"), mask);
    const std::vector<std::string> filling = {
        "--annotations", folder_.File("m.tif"),
        "--csv",         "-",
        "--columns",     "label,filled_share,counted,not_counted_because,prepared"};
    const auto rowOf1 = [](const ProgramResult& run) {
        const std::size_t at = run.output.find("\n1,");
        return at == std::string::npos ? run.output : run.output.substr(at + 1, run.output.find('\n', at + 1) - at);
    };
    const ProgramResult made = Detect(filling);
    ASSERT_EQ(made.status, 0) << made.messages;
    EXPECT_NE(rowOf1(made).find(",0,filled,"), std::string::npos) << made.output;
    EXPECT_NE(rowOf1(made).find("pixels of annotations filled"), std::string::npos) << made.output;
    EXPECT_NE(made.messages.find(" counted"), std::string::npos) << made.messages;
    // The same rows for labels that are kept.
    std::vector<std::string> kept = filling;
    kept.insert(kept.begin(), {"detect", folder_.File("a.tif")});
    EXPECT_EQ(RunProgram(kept).output, made.output);
    kept.emplace_back("--count-filled");
    EXPECT_NE(rowOf1(RunProgram(kept)).find(",1,,"), std::string::npos);
}

TEST_F(Preparation, ARegionGivesTheMeasuresOfTheCroppedFile) {
    Save(folder_.File("a.tif"), Vesicles());
    Save(folder_.File("part.tif"), Vesicles()(cv::Rect(60, 40, 300, 280)).clone());
    const std::vector<std::string> table{"--csv", "-", "--exclude-edge", "--columns",
                                         "label,diameter_nm,edge_diameter_nm,rim_diameter_nm,touches_edge,counted"};
    std::vector<std::string> cropped{"detect", folder_.File("part.tif")};
    cropped.insert(cropped.end(), table.begin(), table.end());
    std::vector<std::string> region{"--region", "60,40,300,280"};
    region.insert(region.end(), table.begin(), table.end());
    const ProgramResult part = RunProgram(cropped);
    EXPECT_NE(part.output.find(",1,0\r\n"), std::string::npos) << "an object is cut: " << part.output;
    EXPECT_EQ(Detect(region).output, part.output);
    // The same of the labels that are there now.
    region.insert(region.begin(), {"measure", folder_.File("a.tif")});
    EXPECT_EQ(RunProgram(region).output, part.output);
}

TEST_F(Preparation, ALabelFileThatWasMadeWithoutItIsNamed) {
    Save(folder_.File("a.tif"), Vesicles());
    Detect({});
    const ProgramResult again = RunProgram({"detect", folder_.File("a.tif"), "--region", "0,0,200,200"});
    EXPECT_NE(again.messages.find("preparation none, now --region 0,0,200,200"), std::string::npos) << again.messages;
}

TEST_F(Preparation, AMaskOfOnesOwnIsFilled) {
    cv::Mat marked = Vesicles();
    cv::Mat mask = cv::Mat::zeros(marked.size(), CV_32F);
    cv::circle(marked, {200, 330}, 9, 65535.0, cv::FILLED);
    cv::circle(mask, {200, 330}, 9, 1.0, cv::FILLED);
    Save(folder_.File("a.tif"), marked);
    Save(folder_.File("m.tif"), mask);
    Detect({});
    const std::uint16_t with = Found();
    EXPECT_EQ(Detect({"--annotations", folder_.File("m.tif")}).status, 0);
    EXPECT_GT(Found(), with);
    Save(folder_.File("m.tif"), mask.colRange(0, 100).clone());
    const ProgramResult other = Detect({"--annotations", folder_.File("m.tif")});
    EXPECT_EQ(other.status, 1);
    EXPECT_NE(other.messages.find("has 100 x 360 pixels, the image 420 x 360"), std::string::npos) << other.messages;
}

TEST_F(Preparation, ARegionGivesTheLabelsOfTheCroppedFileInTheFrameOfTheWhole) {
    Save(folder_.File("a.tif"), Vesicles());
    const cv::Rect region(60, 40, 300, 280);
    Save(folder_.File("part.tif"), Vesicles()(region).clone());
    ASSERT_EQ(RunProgram({"detect", folder_.File("part.tif")}).status, 0);
    ASSERT_EQ(Detect({"--region", "60,40,300,280"}).status, 0);
    const qvox::LabelImage part = Labels(folder_.File("seg_part.tif"));
    const qvox::LabelImage whole = Labels(folder_.File("seg_a.tif"));
    ASSERT_GT(Objects(part), 0);
    ASSERT_EQ(whole.SizeX(), static_cast<std::uint64_t>(kWidth));
    for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
            const std::uint16_t expected = region.contains({x, y}) ? part(static_cast<std::uint64_t>(x - region.x),
                                                                          static_cast<std::uint64_t>(y - region.y))
                                                                   : std::uint16_t{0};
            ASSERT_EQ(whole(static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y)), expected) << x << ' ' << y;
        }
    }
}

TEST_F(Preparation, ARegionThatDoesNotFitIsRefusedByName) {
    Save(folder_.File("a.tif"), Vesicles());
    const ProgramResult outside = Detect({"--region", "200,0,300,100"});
    EXPECT_EQ(outside.status, 1);
    EXPECT_NE(outside.messages.find("the region 200,0,300,100 does not lie inside the image of 420 x 360 pixels"),
              std::string::npos)
        << outside.messages;
    for (const char* text : {"1,2,3", "0,0,0,5", "a,b,c,d", "1,2,3,4,5", "-1,0,5,5", "9223372036854775807,0,5,5x"}) {
        EXPECT_EQ(Detect({"--region", text}).status, 2) << text;
    }
    EXPECT_EQ(Detect({"--region", "9223372036854775807,0,5,5"}).status, 1);
}

TEST_F(Preparation, AnInformationBarIsWarnedOfAndLeftOut) {
    const cv::Mat image = Vesicles();
    cv::Mat whole(kHeight + 40, kWidth, CV_32F, cv::Scalar(0.0));
    image.copyTo(whole.rowRange(0, kHeight));
    cv::putText(whole, "200 nm  80 kV", {20, kHeight + 28}, cv::FONT_HERSHEY_SIMPLEX, 0.7, 65535.0, 2);
    Save(folder_.File("a.tif"), image);
    Detect({});
    const std::uint16_t clean = Found();
    Save(folder_.File("a.tif"), whole);
    const ProgramResult warned = Detect({});
    EXPECT_NE(warned.messages.find("has an information bar: 40 rows at the bottom; use --trim-bar."), std::string::npos)
        << warned.messages;
    const ProgramResult info = RunProgram({"info", folder_.File("a.tif")});
    EXPECT_NE((info.output + info.messages).find("has an information bar: 40 rows at the bottom"), std::string::npos)
        << info.output << info.messages;
    const ProgramResult trimmed = Detect({"--trim-bar"});
    EXPECT_EQ(trimmed.status, 0) << trimmed.messages;
    EXPECT_EQ(Found(), clean);
    EXPECT_EQ(Labels(folder_.File("seg_a.tif")).SizeY(), static_cast<std::uint64_t>(kHeight + 40));
}

}  // namespace
