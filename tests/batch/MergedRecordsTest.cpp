#include "MergedRecords.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "RecordLog.h"
#include "ResultFiles.h"
#include "ToolkitError.h"
#include "support/TemporaryFolder.h"

namespace Korvane {

namespace {

using korvane_test::TemporaryFolder;

/// An image whose labels were made.
RecordEntry Made(const std::string& path, const std::string& labels) {
    RecordEntry entry;
    entry.path = path;
    entry.labels = labels;
    entry.result = "done";
    entry.command = "detect";
    entry.objects = 4;
    entry.version = "1";
    entry.output.emplace();
    return entry;
}

/// Folders with a record each, of one image each.
class RecordedImages {
public:
    explicit RecordedImages(const std::vector<std::string>& paths) {
        for (const std::string& path : paths) {
            const std::string folder = folder_.File("part" + std::to_string(folders_.size()));
            std::filesystem::create_directory(folder);
            const std::string labels = kLabelsPrefix + path.substr(path.rfind('/') + 1);
            RecordLock(folder).Append(EntryLine(Made(path, labels)));
            folders_.push_back(folder);
        }
    }
    /// The path that is recorded for the image; empty for none.
    std::string Of(const std::string& image) const {
        const MergedRecords records(folders_);
        const MergedRecords::Fact* const fact = records.Of(image);
        return fact == nullptr ? "" : records.Entry(*fact).path;
    }

private:
    TemporaryFolder folder_;
    std::vector<std::string> folders_;
};

TEST(MergedRecords, AnImageThatWasMovedIsTheOneThatSharesMostFolders) {
    const RecordedImages images({"/gone/a/b/x.tif", "/gone/c/b/x.tif", "/gone/c/b/y.tif"});
    EXPECT_EQ(images.Of("/gone/c/b/x.tif"), "/gone/c/b/x.tif") << "where it was";
    EXPECT_EQ(images.Of("/now/a/b/x.tif"), "/gone/a/b/x.tif");
    EXPECT_EQ(images.Of("/now/c/b/x.tif"), "/gone/c/b/x.tif");
    EXPECT_EQ(images.Of("/now/y.tif"), "/gone/c/b/y.tif");
    EXPECT_EQ(images.Of("/now/c/b/z.tif"), "") << "of another name";
    // Half a folder's name is none: both share "b/x.tif" alone.
    EXPECT_EQ(images.Of("/now/aa/b/x.tif"), "");
    EXPECT_EQ(images.Of("/now/x.tif"), "");
}

TEST(MergedRecords, APathThatEndsAsAWholeOtherOneSharesNoMoreThanItsFolders) {
    const RecordedImages images({"/b/x.tif", "/gone/b/x.tif"});
    EXPECT_EQ(images.Of("/now/b/x.tif"), "");
    EXPECT_EQ(images.Of("/now/gone/b/x.tif"), "/gone/b/x.tif");
}

TEST(MergedRecords, AnImageThatIsStillThereWasNotMoved) {
    const TemporaryFolder folder;
    const std::string there = folder.File("x.tif");
    std::ofstream(there) << "an image";
    const RecordedImages images({there, "/gone/other/x.tif"});
    EXPECT_EQ(images.Of("/now" + there), "/gone/other/x.tif");
    EXPECT_EQ(images.Of(there), there);
}

}  // namespace

}  // namespace Korvane
