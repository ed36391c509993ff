#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "ObjectTable.h"
#include "batch/ProgramRunner.h"
#include "files/ImageFile.h"
#include "support/TemporaryFolder.h"

namespace korvane_test {

namespace {

/// Two images with the labels 3 and 700, measured into a table of objects.
class Csv : public ::testing::Test {
protected:
    void SetUp() override {
        for (const char* name : {"a.tif", "b.tif"}) AddImage(name);
    }
    void AddImage(const std::string& name, float perUm = 672.0f) {
        qvox::SaveImageFile(folder_.File(name), Vesicles(1, 96, 80, perUm));
        qvox::SaveImageFile(folder_.File("seg_" + name), TwoSquares());
    }
    ProgramResult Measure(std::vector<std::string> options) const {
        options.insert(options.begin(), "measure");
        options.insert(options.end(), {"--csv", path_, folder_.Path().string()});
        return RunProgram(options);
    }
    std::string Row(const std::string& image, const std::string& rest) const {
        return folder_.File(image) + "," + rest + "\r\n";
    }

    TemporaryFolder folder_;
    std::string path_ = folder_.File("t.csv");
    std::vector<std::string> columns_{"--columns", "image,label,pieces,pixel_size_nm"};
    std::string header_ = "image,label,pieces,pixel_size_nm\r\n";
    std::string rowsOfA_ = Row("a.tif", "3,1,1.488095") + Row("a.tif", "700,1,1.488095");
    std::string rowsOfB_ = Row("b.tif", "3,1,1.488095") + Row("b.tif", "700,1,1.488095");
};

TEST_F(Csv, HasARowPerLabelAndLeavesTheStandardOutputAlone) {
    const ProgramResult run = Measure(columns_);
    EXPECT_EQ(run.status, 0) << run.messages;
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(Contents(path_), header_ + rowsOfA_ + rowsOfB_);
}

TEST_F(Csv, HasAllColumnsUnlessSomeAreChosen) {
    ASSERT_EQ(Measure({}).status, 0);
    const std::string text = Contents(path_);
    EXPECT_EQ(text.substr(0, text.find('\n') + 1), Korvane::ObjectTable().Header());
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 5);
}

TEST_F(Csv, StandsBesideTheTableWhichStaysAsItIs) {
    const std::string table = RunProgram({"measure", folder_.Path().string()}).output;
    EXPECT_EQ(Measure({"--table", folder_.File("t.txt")}).status, 0);
    EXPECT_EQ(Contents(folder_.File("t.txt")), table);
    EXPECT_EQ(Measure({"--table", "-", "--overwrite-table"}).output, table);
}

TEST_F(Csv, OfDetectionHoldsNewAndSkippedImages) {
    std::filesystem::remove(folder_.File("seg_b.tif"));
    std::vector<std::string> arguments{"detect", "--csv", path_, folder_.Path().string()};
    arguments.insert(arguments.end(), columns_.begin(), columns_.end());
    ASSERT_EQ(RunProgram(arguments).status, 0);
    const std::string made = Contents(path_);
    EXPECT_EQ(made.rfind(header_ + rowsOfA_, 0), 0u) << made;
    EXPECT_NE(made.find(folder_.File("b.tif") + ",1,"), std::string::npos) << made;
    EXPECT_EQ(RunProgram(arguments).status, 2);
    arguments.push_back("--overwrite-table");
    arguments.push_back("--overlay");
    ASSERT_EQ(RunProgram(arguments).status, 0);
    EXPECT_EQ(Contents(path_), made);
}

TEST_F(Csv, OfSegmentationIsWritten) {
    std::vector<std::string> arguments{"segment", "-o",  folder_.File("out"),  "--labels", folder_.Path().string(),
                                       "--csv",   path_, folder_.File("a.tif")};
    arguments.insert(arguments.end(), columns_.begin(), columns_.end());
    const ProgramResult run = RunProgram(arguments);
    EXPECT_EQ(run.status, 0) << run.messages;
    EXPECT_EQ(Contents(path_).rfind(header_ + folder_.File("a.tif") + ",", 0), 0u);
}

TEST_F(Csv, ThatIsThereIsReplacedOrAddedToOnlyWhenAskedFor) {
    ASSERT_EQ(Measure(columns_).status, 0);
    const std::string once = Contents(path_);
    EXPECT_EQ(Measure(columns_).status, 2);
    columns_.push_back("--append");
    EXPECT_EQ(Measure(columns_).status, 0);
    EXPECT_EQ(Contents(path_), once + once.substr(header_.size()));
    const ProgramResult other = Measure({"--append"});
    EXPECT_EQ(other.status, 2);
    EXPECT_NE(other.messages.find("does not begin with the header of a table of objects with these columns: rows"),
              std::string::npos)
        << other.messages;
    columns_.back() = "--overwrite-table";
    EXPECT_EQ(Measure(columns_).status, 0);
    EXPECT_EQ(Contents(path_), once);
}

TEST_F(Csv, OfARunWithFailuresDoesNotReplaceAWholeOne) {
    ASSERT_EQ(Measure(columns_).status, 0);
    std::ofstream(folder_.File("b.tif")) << "no image";
    columns_.push_back("--overwrite-table");
    EXPECT_EQ(Measure(columns_).status, 1);
    EXPECT_EQ(Contents(path_), header_ + rowsOfA_ + rowsOfB_);
    columns_.push_back("--partial-table");
    EXPECT_EQ(Measure(columns_).status, 1);
    EXPECT_EQ(Contents(path_), header_ + rowsOfA_);
}

TEST_F(Csv, GoesToTheStandardOutputWhereNoOtherTableDoes) {
    std::vector<std::string> arguments{"measure", "--csv", "-", folder_.Path().string()};
    arguments.insert(arguments.end(), columns_.begin(), columns_.end());
    EXPECT_EQ(RunProgram(arguments).output, header_ + rowsOfA_ + rowsOfB_);
    arguments.insert(arguments.end(), {"--table", "-"});
    EXPECT_EQ(RunProgram(arguments).status, 2);
}

TEST_F(Csv, IsWrittenOverNothingThatTheRunReadsOrWrites) {
    for (const char* name : {"a.tif", "seg_a.tif", "korvane-run.json", "korvane-record.jsonl"}) {
        const ProgramResult run = RunProgram({"measure", "--csv", folder_.File(name), folder_.Path().string()});
        EXPECT_EQ(run.status, 2) << name;
    }
    const ProgramResult same = Measure({"--table", folder_.Path().string() + "/./t.csv"});
    EXPECT_EQ(same.status, 2);
    EXPECT_NE(same.messages.find("Both tables would be written to"), std::string::npos) << same.messages;
}

TEST_F(Csv, HasDecimalCommasWhereAskedFor) {
    columns_.push_back("--decimal-comma");
    ASSERT_EQ(Measure(columns_).status, 0);
    const std::string text = Contents(path_);
    EXPECT_EQ(text.rfind("image;label;pieces;pixel_size_nm\r\n" + folder_.File("a.tif") + ";3;1;1,488095\r\n", 0), 0u)
        << text;
}

TEST_F(Csv, SaysWhichObjectsCountAndLeavesTheLabelsAsTheyAre) {
    qvox::LabelImage drawn = TwoSquares();
    for (std::uint64_t y = 40; y < 70; ++y) {
        for (std::uint64_t x = 10; x < 40; ++x) drawn(x, y) = 700;
    }
    qvox::SaveImageFile(folder_.File("seg_a.tif"), drawn);
    const std::string labels = Contents(folder_.File("seg_a.tif"));
    const auto rows = [&](std::vector<std::string> options) {
        options.insert(options.begin(), {"measure", "--csv", "-", "--columns", "label,counted,not_counted_because"});
        options.push_back(folder_.File("a.tif"));
        return RunProgram(options);
    };
    EXPECT_EQ(rows({}).messages.find("counted"), std::string::npos);
    // Squares of 15 and 45 nm.
    const ProgramResult small = rows({"--min-diameter-nm", "30"});
    EXPECT_EQ(small.output, "label,counted,not_counted_because\r\n3,0,too small\r\n700,1,\r\n");
    EXPECT_NE(small.messages.find("2 objects, 1 counted, "), std::string::npos) << small.messages;
    const ProgramResult ferets = rows({"--max-diameter-nm", "30", "--by", "feret_max_nm", "--min-roundness", "2"});
    EXPECT_EQ(ferets.output, "label,counted,not_counted_because\r\n3,0,not round\r\n700,0,too large; not round\r\n");
    EXPECT_EQ(rows({"--exclude-edge"}).output, "label,counted,not_counted_because\r\n3,1,\r\n700,1,\r\n");
    EXPECT_EQ(Contents(folder_.File("seg_a.tif")), labels);
    // One pixel away from the frame.
    for (std::uint64_t y = 1; y < 9; ++y) {
        for (std::uint64_t x = 60; x < 70; ++x) drawn(x, y) = 900;
    }
    qvox::SaveImageFile(folder_.File("seg_a.tif"), drawn);
    EXPECT_NE(rows({"--exclude-edge"}).output.find("900,0,at the edge\r\n"), std::string::npos);
    EXPECT_NE(rows({}).output.find("900,1,\r\n"), std::string::npos);
}

TEST_F(Csv, RefusesLimitsThatAreNone) {
    for (const char* value : {"-1", "x", "nan", "1,5"}) {
        EXPECT_EQ(Measure({"--min-diameter-nm", value}).status, 2) << value;
    }
    EXPECT_EQ(Measure({"--by", "area_nm2"}).status, 2);
    EXPECT_EQ(RunProgram({"measure", "--exclude-edge", folder_.Path().string()}).status, 2);
}

TEST_F(Csv, NeedsAFileForItsOptionsAndColumnsThatExist) {
    EXPECT_EQ(RunProgram({"measure", "--columns", "label", folder_.Path().string()}).status, 2);
    EXPECT_EQ(RunProgram({"measure", "--decimal-comma", folder_.Path().string()}).status, 2);
    const ProgramResult run = Measure({"--columns", "label,size"});
    EXPECT_EQ(run.status, 2);
    EXPECT_NE(run.messages.find("--columns: there is no column 'size'. There are: image, label, "), std::string::npos)
        << run.messages;
}

TEST_F(Csv, WarnsOfAnImageWithoutPixelSizeAndLeavesItsSizeEmpty) {
    AddImage("a.tif", 0.0f);
    columns_.push_back("--quiet");
    const ProgramResult run = Measure(columns_);
    EXPECT_NE(run.messages.find("stores no pixel size: measured as if a pixel were 1000 nm wide."), std::string::npos);
    EXPECT_EQ(Contents(path_), header_ + Row("a.tif", "3,1,") + Row("a.tif", "700,1,") + rowsOfB_);
}

}  // namespace

}  // namespace korvane_test
