#include "CompleteFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "ToolkitError.h"
#include "support/TemporaryFolder.h"

namespace Korvane {

namespace {

std::string Contents(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

std::size_t EntriesOf(const std::filesystem::path& folder) {
    return static_cast<std::size_t>(
        std::distance(std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator()));
}

TEST(CompleteFile, ReplacesWhatWasThere) {
    const korvane_test::TemporaryFolder folder;
    const std::string path = folder.File("report \xFF.json");
    WriteCompleteFile(path, "first", "write");
    WriteCompleteFile(path, "second", "write");
    EXPECT_EQ(Contents(path), "second");
    EXPECT_EQ(EntriesOf(folder.Path()), 1u);
}

TEST(CompleteFile, GoesWithoutATraceWhenItIsNotCommitted) {
    const korvane_test::TemporaryFolder folder;
    const std::string path = folder.File("a.json");
    WriteCompleteFile(path, "old", "write");
    {
        const CompleteFile file(path, "write");
        std::ofstream(file.TemporaryPath()) << "half";
    }
    EXPECT_EQ(Contents(path), "old");
    EXPECT_EQ(EntriesOf(folder.Path()), 1u);
}

TEST(CompleteFile, KeepsThePermissionsAndTheLinkOfWhatItReplaces) {
    const korvane_test::TemporaryFolder folder;
    const std::string path = folder.File("a.json");
    WriteCompleteFile(path, "old", "write");
    ASSERT_EQ(::chmod(path.c_str(), 0640), 0);
    std::filesystem::create_symlink(path, folder.File("link.json"));
    WriteCompleteFile(folder.File("link.json"), "new", "write");
    EXPECT_TRUE(std::filesystem::is_symlink(folder.File("link.json")));
    EXPECT_EQ(Contents(path), "new");
    struct stat status {};
    ASSERT_EQ(::stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0640u);
}

TEST(CompleteFile, SaysWhichFileAndWhy) {
    const korvane_test::TemporaryFolder folder;
    const std::string path = folder.File("missing/a.json");
    try {
        WriteCompleteFile(path, "x", "write the run report");
        FAIL() << "a file in a missing folder was written";
    } catch (const qvox::ToolkitError& error) {
        EXPECT_EQ(error.what(), "Cannot write the run report '" + path + "': No such file or directory.");
    }
    EXPECT_THROW(WriteCompleteFile(folder.Path().string(), "x", "write"), qvox::ToolkitError);
}

}  // namespace

}  // namespace Korvane
