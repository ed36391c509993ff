#include "KnownResults.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "PathText.h"
#include "ResultFiles.h"
#include "support/TemporaryFolder.h"

namespace {

using namespace Korvane;

class KnownResultsTest : public testing::Test {
protected:
    static qvox::LabelImage Labels(std::uint16_t value) {
        qvox::LabelImage labels;
        labels.Resize(8, 5, 1);
        std::fill(labels.begin(), labels.end(), value);
        return labels;
    }

    std::uint16_t ValueOf(const std::string& name) const {
        qvox::LabelImage labels;
        LoadNewLabels(PathText(folder.File(name)), {8, 5, 1}, labels);
        return labels.Empty() ? std::uint16_t{0} : labels[0];
    }

    korvane_test::TemporaryFolder folder;
    wxString path = PathText(folder.File("seg_a.tif"));
    KnownResults known;
};

TEST_F(KnownResultsTest, AFileThatWasNeverSeenAndDiffersGetsASecondName) {
    EXPECT_EQ(known.Keep(path, Labels(1)), std::nullopt) << "nothing is there";
    SaveLabels(path, Labels(1));
    EXPECT_EQ(known.Keep(path, Labels(2)), path + ".bak");
    SaveLabels(path, Labels(2));
    EXPECT_EQ(ValueOf("seg_a.tif.bak"), 1);
    EXPECT_EQ(ValueOf("seg_a.tif"), 2);
}

TEST_F(KnownResultsTest, OfALinkTheFileThatItLeadsToIsKept) {
    const wxString elsewhere = PathText(folder.File("elsewhere.tif"));
    SaveLabels(elsewhere, Labels(1));
    std::filesystem::create_symlink("elsewhere.tif", folder.File("seg_a.tif"));
    EXPECT_EQ(known.Keep(path, Labels(2)), path + ".bak");
    SaveLabels(path, Labels(2));
    EXPECT_EQ(ValueOf("elsewhere.tif"), 2);
    EXPECT_EQ(ValueOf("seg_a.tif.bak"), 1);
}

TEST_F(KnownResultsTest, AnEarlierKeptFileIsNotReplaced) {
    SaveLabels(path, Labels(1));
    ASSERT_TRUE(known.Keep(path, Labels(2)));
    SaveLabels(path, Labels(2));
    EXPECT_EQ(known.Keep(path, Labels(3)), path + ".bak2");
    EXPECT_EQ(ValueOf("seg_a.tif.bak"), 1);
    EXPECT_EQ(ValueOf("seg_a.tif.bak2"), 2);
}

TEST_F(KnownResultsTest, KnownFilesAndEqualLabelsAreNotKept) {
    SaveLabels(path, Labels(1));
    EXPECT_EQ(known.Keep(path, Labels(1)), std::nullopt);
    known.Know(path);
    EXPECT_EQ(known.Keep(path, Labels(2)), std::nullopt);
    EXPECT_FALSE(std::filesystem::exists(folder.File("seg_a.tif.bak")));
}

TEST_F(KnownResultsTest, AFileThatCannotBeReadIsKept) {
    std::ofstream(folder.File("seg_a.tif")) << "no labels";
    EXPECT_EQ(known.Keep(path, Labels(1)), path + ".bak");
    EXPECT_EQ(std::filesystem::file_size(folder.File("seg_a.tif.bak")), 9u);
}

}  // namespace
