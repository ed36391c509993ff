#include "ForeignLabels.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <vector>

#include "FailureText.h"
#include "PathText.h"
#include "ToolkitError.h"
#include "files/ImageFile.h"
#include "support/TemporaryFolder.h"
#include "support/TiffBuilder.h"

namespace Korvane {

namespace {

class ForeignLabels : public ::testing::Test {
protected:
    void SetUp() override {
        labels_.Resize(2, 2, 1);
        labels_.Zero();
        labels_[0] = 9;
    }
    std::string Load(const std::vector<float>& numbers) {
        qvox::VoxelImage<float> image;
        image.Resize(2, 2, 1);
        for (std::uint64_t i = 0; i < 4; ++i) image[i] = numbers[i];
        qvox::SaveImageFile(folder_.File("a.tif"), image);
        try {
            LoadForeignLabels(PathText(folder_.File("a.tif")), labels_);
        } catch (const qvox::ToolkitError& error) {
            EXPECT_EQ(labels_[0], 9) << "a refused file changes nothing";
            return error.what();
        }
        return "loaded";
    }
    korvane_test::TemporaryFolder folder_;
    qvox::LabelImage labels_;
};

TEST_F(ForeignLabels, WholeNumbersUpToTheLargestLabelAreTakenAsTheyAre) {
    EXPECT_EQ(Load({0.0f, 3.0f, 65535.0f, 1.0f}), "loaded");
    EXPECT_EQ(std::vector<std::uint16_t>(labels_.begin(), labels_.end()), (std::vector<std::uint16_t>{0, 3, 65535, 1}));
}

TEST_F(ForeignLabels, LargerNumbersAreRefusedWithTheNumberOfLabels) {
    const std::string text = Load({0.0f, 65536.0f, 7.0f, 7.0f});
    EXPECT_NE(text.find("holds 2 labels up to 65536; 65535 is the largest label."), std::string::npos) << text;
    EXPECT_NE(text.find(folder_.File("a.tif")), std::string::npos) << text;
}

TEST_F(ForeignLabels, NumbersAreWrittenOutUpToFifteenDigits) {
    const auto largest = [this](double number) {
        std::string bytes(4 * sizeof(double), '\0');
        std::memcpy(bytes.data() + sizeof(double), &number, sizeof(double));
        korvane_test::TiffBuilder().Page().Grey(2, 2, 64).Short(339, 3).AddPiece(bytes).Write(folder_.File("a.tif"));
        std::string text;
        try {
            LoadForeignLabels(PathText(folder_.File("a.tif")), labels_);
        } catch (const qvox::ToolkitError& error) {
            text = error.what();
        }
        const std::size_t start = text.find(" up to ") + 7;
        return text.substr(start, text.find(';', start) - start);
    };
    EXPECT_EQ(largest(999999999999999.0), "999999999999999");
    EXPECT_EQ(largest(1e15), "1e+15");
}

TEST_F(ForeignLabels, NumbersThatAreNoLabelsAreRefused) {
    EXPECT_NE(Load({0.0f, 1.5f, 0.0f, 0.0f}).find("not whole, for instance 1.5"), std::string::npos);
    EXPECT_NE(Load({0.0f, -2.0f, 0.0f, 0.0f}).find("negative numbers, for instance -2"), std::string::npos);
    EXPECT_NE(Load({0.0f, std::numeric_limits<float>::quiet_NaN(), 0.0f, 0.0f}).find("not finite"), std::string::npos);
}

TEST_F(ForeignLabels, AnotherSizeIsRefused) {
    qvox::VoxelImage<std::uint8_t> image;
    image.Resize(2, 3, 1);
    image.Zero();
    qvox::SaveImageFile(folder_.File("b.tif"), image);
    EXPECT_THROW(LoadForeignLabels(PathText(folder_.File("b.tif")), labels_), InconsistentImageSize);
    EXPECT_EQ(labels_[0], 9);
}

}  // namespace

}  // namespace Korvane
