#include "CompleteFile.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
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

/// Stands for a full disk: while it lives, this process writes no file longer than the limit.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes) : signal_(::signal(SIGXFSZ, SIG_IGN)) {
        ::getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit limit{bytes, before_.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() {
        ::setrlimit(RLIMIT_FSIZE, &before_);
        ::signal(SIGXFSZ, signal_);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

private:
    rlimit before_{};
    void (*signal_)(int);
};

TEST(CompleteFile, ReplacesWhatWasThere) {
    const korvane_test::TemporaryFolder folder;
    const std::string path = folder.File("report \xFF.json");
    WriteCompleteFile(path, "first");
    WriteCompleteFile(path, "second");
    EXPECT_EQ(Contents(path), "second");
    EXPECT_EQ(EntriesOf(folder.Path()), 1u);
}

TEST(CompleteFile, LeavesTheOldFileAndNothingElseWhenTheDiskIsFull) {
    const korvane_test::TemporaryFolder folder;
    const std::string path = folder.File("a.json");
    WriteCompleteFile(path, "old");
    const FileSizeLimit full(100);
    EXPECT_THROW(WriteCompleteFile(path, std::string(1000, 'x')), qvox::ToolkitError);
    EXPECT_EQ(Contents(path), "old");
    EXPECT_EQ(EntriesOf(folder.Path()), 1u);
}

TEST(CompleteFile, DoesNotReplaceADevice) {
    EXPECT_THROW(WriteCompleteFile("/dev/null", "x"), qvox::ToolkitError);
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
}

TEST(CompleteFile, KeepsThePermissionsAndTheLinkOfWhatItReplaces) {
    const korvane_test::TemporaryFolder folder;
    const std::string path = folder.File("a.json");
    WriteCompleteFile(path, "old");
    ASSERT_EQ(::chmod(path.c_str(), 0640), 0);
    std::filesystem::create_symlink(path, folder.File("link.json"));
    WriteCompleteFile(folder.File("link.json"), "new");
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
        WriteCompleteFile(path, "x");
        FAIL() << "a file in a missing folder was written";
    } catch (const qvox::ToolkitError& error) {
        EXPECT_EQ(error.what(), "Cannot write '" + path + "': No such file or directory.");
    }
    EXPECT_THROW(WriteCompleteFile(folder.Path().string(), "x"), qvox::ToolkitError);
}

}  // namespace

}  // namespace Korvane
