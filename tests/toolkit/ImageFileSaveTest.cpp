#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>

#include "files/AtomicFile.h"
#include "files/ImageFile.h"
#include "support/TemporaryFolder.h"
#include "support/TestImages.h"

namespace {

namespace fs = std::filesystem;
using korvane_test::TemporaryFolder;

qvox::LabelImage Picture(unsigned seed, std::uint64_t side = 200) {
    std::mt19937 random(seed);
    return korvane_test::RandomImage<std::uint16_t>(random, side, side, 0, 65535);
}

std::string BytesOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::size_t FilesIn(const TemporaryFolder& folder) {
    return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder.Path()), fs::directory_iterator()));
}

std::ptrdiff_t OpenDescriptors() {
    return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
}

std::string Refusal(const std::string& path, const qvox::LabelImage& image) {
    try {
        qvox::SaveImageFile(path, image);
    } catch (const qvox::ToolkitError& error) {
        EXPECT_NE(std::string(error.what()).find(path), std::string::npos) << error.what();
        return error.what();
    }
    ADD_FAILURE() << "the file was written";
    return "";
}

// A disk that is full after so many bytes: a limit on the size of files, which the kernel reports instead of killing
// while the signal is ignored.
class FullDisk {
public:
    explicit FullDisk(rlim_t bytes) : handler_(signal(SIGXFSZ, SIG_IGN)) {
        getrlimit(RLIMIT_FSIZE, &before_);
        rlimit now = before_;
        now.rlim_cur = bytes;
        setrlimit(RLIMIT_FSIZE, &now);
    }
    ~FullDisk() {
        setrlimit(RLIMIT_FSIZE, &before_);
        signal(SIGXFSZ, handler_);
    }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;

private:
    rlimit before_{};
    void (*handler_)(int);
};

TEST(ImageFileSave, AnExistingFileSurvivesAFullDiskAtAnyPoint) {
    const TemporaryFolder folder;
    const std::string path = folder.File("seg_a.tif");
    qvox::SaveImageFile(path, Picture(1));
    const std::string before = BytesOf(path);
    for (const rlim_t bytes : {0u, 4u, 8u, 1000u, 20000u, 79000u, static_cast<unsigned>(before.size() - 1)}) {
        const FullDisk disk(bytes);
        EXPECT_NE(Refusal(path, Picture(1)).find("File too large"), std::string::npos) << bytes;
        EXPECT_EQ(BytesOf(path), before);
        EXPECT_EQ(FilesIn(folder), 1u);
    }
}

TEST(ImageFileSave, AFullDiskLeavesNoNewFileAndNoneOpen) {
    const TemporaryFolder folder;
    const FullDisk disk(5000);
    const std::ptrdiff_t before = OpenDescriptors();
    Refusal(folder.File("seg_a.tif"), Picture(1));
    EXPECT_EQ(FilesIn(folder), 0u);
    EXPECT_EQ(OpenDescriptors(), before);
}

TEST(ImageFileSave, TheLongestSideIsThatOfTheFormat) {
    // The folder is looked at after the sizes, and the voxels, which take no memory until then, after the folder.
    const std::string path = TemporaryFolder().File("gone/a.tif");
    constexpr std::uint64_t kLongest = (std::uint64_t{1} << 31) - 1;
    for (const bool isTall : {false, true}) {
        qvox::VoxelImage<std::uint8_t> image;
        for (const std::uint64_t side : {kLongest, kLongest + 1}) {
            image.Resize(isTall ? 1 : side, isTall ? side : 1, 1);
            try {
                qvox::SaveImageFile(path, image);
                FAIL() << side;
            } catch (const qvox::FileError& error) {
                const char* cause = side == kLongest ? "No such file or directory" : "too large for a TIFF file";
                EXPECT_NE(std::string(error.what()).find(cause), std::string::npos) << error.what();
            }
        }
    }
}

TEST(ImageFileSave, AMissingFolderIsNamedWithTheCause) {
    const TemporaryFolder folder;
    EXPECT_NE(Refusal(folder.File("gone/seg_a.tif"), Picture(1)).find("No such file or directory"), std::string::npos);
    std::ofstream(folder.File("file")) << "x";
    EXPECT_NE(Refusal(folder.File("file/seg_a.tif"), Picture(1)).find("Not a directory"), std::string::npos);
    EXPECT_NE(Refusal(folder.File(std::string(300, 'n')), Picture(1)).find("File name too long"), std::string::npos);
    EXPECT_THROW(qvox::AtomicFile(folder.File(std::string(300, 'n'))), qvox::ToolkitError)
        << "before anything is written";
    EXPECT_NE(Refusal(folder.Path().string(), Picture(1)).find("Is a directory"), std::string::npos);
    EXPECT_EQ(Refusal("", Picture(1)), "Cannot write '': No such file or directory.");
}

TEST(ImageFileSave, AReadOnlyFolderIsNamedWithTheCause) {
    if (geteuid() == 0) GTEST_SKIP() << "the superuser may write anywhere";
    const TemporaryFolder folder;
    qvox::SaveImageFile(folder.File("a.tif"), Picture(1));
    const std::string before = BytesOf(folder.File("a.tif"));
    fs::permissions(folder.Path(), fs::perms::owner_read | fs::perms::owner_exec);
    EXPECT_NE(Refusal(folder.File("a.tif"), Picture(2)).find("Permission denied"), std::string::npos);
    fs::permissions(folder.Path(), fs::perms::owner_all);
    EXPECT_EQ(BytesOf(folder.File("a.tif")), before);
}

TEST(ImageFileSave, ReplacesAnExistingFileAndKeepsItsPermissions) {
    const TemporaryFolder folder;
    const std::string path = folder.File("a.tif");
    qvox::SaveImageFile(path, Picture(1));
    ASSERT_EQ(chmod(path.c_str(), 0640), 0);
    qvox::SaveImageFile(path, Picture(2));
    qvox::LabelImage back;
    qvox::LoadImageFile(path, back);
    EXPECT_TRUE(korvane_test::SameVoxels(Picture(2), back));
    struct stat status {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777u, 0640u);
    EXPECT_EQ(FilesIn(folder), 1u);
}

TEST(ImageFileSave, ANewFileHasThePermissionsOfAnyNewFile) {
    const TemporaryFolder folder;
    std::ofstream(folder.File("plain")) << "x";
    qvox::SaveImageFile(folder.File("a.tif"), Picture(1));
    EXPECT_EQ(fs::status(folder.File("a.tif")).permissions(), fs::status(folder.File("plain")).permissions());
}

TEST(ImageFileSave, FollowsALinkInsteadOfReplacingIt) {
    const TemporaryFolder folder;
    qvox::SaveImageFile(folder.File("a.tif"), Picture(1));
    fs::create_symlink("a.tif", folder.File("link.tif"));
    qvox::SaveImageFile(folder.File("link.tif"), Picture(2));
    EXPECT_TRUE(fs::is_symlink(folder.File("link.tif")));
    qvox::LabelImage back;
    qvox::LoadImageFile(folder.File("a.tif"), back);
    EXPECT_TRUE(korvane_test::SameVoxels(Picture(2), back));
}

TEST(ImageFileSave, DoesNotReplaceADevice) {
    EXPECT_NE(Refusal("/dev/null", Picture(1)).find("not a regular file"), std::string::npos);
}

TEST(ImageFileSave, TakesAnyBytesAsAName) {
    const TemporaryFolder folder;
    for (const char* name :
         {"\xC3\xBC \xC3\xA9 \xC2\xB5 \xE4\xB8\xAD.tif", "\xFF\xFE latin \xB5.tif", "a b#c%d.tif", "back\\slash.tif"}) {
        qvox::SaveImageFile(folder.File(name), Picture(1, 5));
        EXPECT_EQ(qvox::ProbeVoxelType(folder.File(name)), qvox::VoxelType::kUint16) << name;
    }
    const std::string longest(255, 'n');
    qvox::SaveImageFile(folder.File(longest), Picture(1, 5));
    EXPECT_EQ(qvox::ProbeVoxelType(folder.File(longest)), qvox::VoxelType::kUint16);
}

TEST(AtomicFile, VanishesWithoutCommit) {
    const TemporaryFolder folder;
    {
        qvox::AtomicFile file(folder.File("a"));
        EXPECT_EQ(file.Write("abc", 3), 3);
    }
    EXPECT_EQ(FilesIn(folder), 0u);
}

TEST(AtomicFile, RemovesWhatKilledProcessesLeftInTheFolderAndNothingElse) {
    const TemporaryFolder folder;
    const std::string dead = std::to_string(std::numeric_limits<int>::max());
    const std::string live = std::to_string(getpid());
    const std::vector<std::string> removed{".korvane-" + dead + "-0.tmp", ".korvane-" + dead + "-17.tmp"};
    const std::vector<std::string> kept{".korvane-" + live + "-7.tmp",
                                        ".korvane-" + dead + "-0.tmp.tif",
                                        ".korvane-" + dead + ".tmp",
                                        ".korvane-" + dead + "-.tmp",
                                        ".korvane--0.tmp",
                                        ".korvane-notes.tmp",
                                        ".korvane-",
                                        "korvane-" + dead + "-0.tmp"};
    for (const std::string& name : removed) std::ofstream(folder.File(name)) << "half";
    for (const std::string& name : kept) std::ofstream(folder.File(name)) << "other";
    qvox::SaveImageFile(folder.File("a.tif"), Picture(1, 5));
    for (const std::string& name : removed) EXPECT_FALSE(fs::exists(folder.File(name))) << name;
    for (const std::string& name : kept) EXPECT_TRUE(fs::exists(folder.File(name))) << name;
}

TEST(AtomicFile, LeavesFilesOfAnotherMachineUntilTheyAreForgotten) {
    const TemporaryFolder folder;
    // The machine is part of the number; this one's is none of both, or the first would be removed.
    const std::string dead = std::to_string(std::numeric_limits<int>::max());
    const std::string fresh = folder.File(".korvane-" + dead + "-999999999000.tmp");
    const std::string old = folder.File(".korvane-" + dead + "-999999999001.tmp");
    for (const std::string& path : {fresh, old}) std::ofstream(path) << "half";
    fs::last_write_time(old, fs::file_time_type::clock::now() - std::chrono::minutes(11));
    qvox::SaveImageFile(folder.File("a.tif"), Picture(1, 5));
    EXPECT_TRUE(fs::exists(fresh));
    EXPECT_FALSE(fs::exists(old));
}

TEST(AtomicFile, LooksForLeftoversInALargeFolderLessOftenTheMoreFilesItHasWritten) {
    const TemporaryFolder folder;
    for (int i = 0; i < 80; ++i) std::ofstream(folder.File(std::to_string(i))) << "other";
    const std::string leftover = folder.File(".korvane-" + std::to_string(std::numeric_limits<int>::max()) + "-0.tmp");
    std::string removals;
    for (int file = 1; file <= 9; ++file) {
        std::ofstream(leftover) << "half";
        qvox::SaveImageFile(folder.File("a.tif"), Picture(1, 5));
        if (!fs::exists(leftover)) removals += std::to_string(file) + " ";
    }
    EXPECT_EQ(removals, "1 2 4 8 ");
}

TEST(AtomicFile, HoldsWhatWasWrittenInAnyOrder) {
    const TemporaryFolder folder;
    std::string wanted(900000, '\0');
    qvox::AtomicFile file(folder.File("a"));
    std::mt19937 random(7);
    std::size_t end = 0;
    for (int i = 0; i < 400; ++i) {
        // Behind the end, over what is there, and small changes at the start.
        const std::size_t count = 1 + random() % 4000;
        const std::size_t at = i % 5 == 4 ? random() % 16 : i % 7 == 6 ? random() % (end + 1) : end;
        const std::string bytes(count, static_cast<char>('a' + i % 26));
        ASSERT_EQ(file.Seek(static_cast<std::int64_t>(at), SEEK_SET), static_cast<std::int64_t>(at));
        ASSERT_EQ(file.Write(bytes.data(), count), static_cast<std::ptrdiff_t>(count));
        wanted.replace(at, count, bytes);
        end = std::max(end, at + count);
        if (i % 50 == 49) {
            std::string back(100, ' ');
            const std::size_t from = random() % end;
            file.Seek(static_cast<std::int64_t>(from), SEEK_SET);
            const std::ptrdiff_t got = file.Read(back.data(), back.size());
            ASSERT_GT(got, 0);
            EXPECT_EQ(back.substr(0, static_cast<std::size_t>(got)),
                      wanted.substr(from, static_cast<std::size_t>(got)));
        }
    }
    EXPECT_EQ(file.Seek(0, SEEK_END), static_cast<std::int64_t>(end));
    file.Commit();
    std::ifstream stream(folder.File("a"), std::ios::binary);
    const std::string written{std::istreambuf_iterator<char>(stream), {}};
    EXPECT_EQ(written == wanted.substr(0, end), true);
}

TEST(ImageFileSave, AKilledWriterLeavesTheOldFileOrTheNewOne) {
    const TemporaryFolder folder;
    const std::string path = folder.File("a.tif");
    const qvox::LabelImage first = Picture(1, 600);
    const qvox::LabelImage second = Picture(2, 600);
    qvox::SaveImageFile(path, first);
    for (unsigned round = 0; round < 12; ++round) {
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            for (;;) {
                qvox::SaveImageFile(path, second);
                qvox::SaveImageFile(path, first);
            }
        }
        usleep(3000 + 1700 * round);
        kill(child, SIGKILL);
        int status = 0;
        waitpid(child, &status, 0);
        qvox::LabelImage back;
        qvox::LoadImageFile(path, back);
        EXPECT_TRUE(korvane_test::SameVoxels(first, back) || korvane_test::SameVoxels(second, back));
    }
    qvox::SaveImageFile(path, first);
    EXPECT_EQ(FilesIn(folder), 1u);
}

/// The StripByteCounts entry as it stands in a classic little-endian file of one page.
struct CountsEntry {
    unsigned type = 0;  ///< 3 SHORT, 4 LONG
    unsigned count = 0;
};

CountsEntry CountsOf(const std::string& bytes) {
    const auto number = [&bytes](std::size_t at, unsigned size) {
        unsigned value = 0;
        for (unsigned i = size; i-- > 0;) value = value << 8 | static_cast<unsigned char>(bytes.at(at + i));
        return value;
    };
    const std::size_t directory = number(4, 4);
    for (unsigned i = 0; i < number(directory, 2); ++i) {
        const std::size_t entry = directory + 2 + 12 * i;
        if (number(entry, 2) == 279) return {number(entry + 2, 2), number(entry + 4, 4)};
    }
    return {};
}

template <typename T>
CountsEntry SavedCounts(const std::string& path, std::uint64_t width, std::uint64_t height,
                        qvox::TiffCompression compression) {
    qvox::VoxelImage<T> image;
    image.Resize(width, height, 1);
    image.Zero();
    qvox::SaveImageFile(path, image, qvox::FileFormat::kTiff, compression);
    return CountsOf(BytesOf(path));
}

// ImageJ takes two 16-bit byte counts, which lie within their entry, for an offset and does not open the file.
TEST(SaveImageFile, NeverWritesTwoByteCountsOfSixteenBits) {
    const TemporaryFolder folder;
    const std::string path = folder.File("a.tif");
    constexpr unsigned kShort = 3;
    for (const auto compression : {qvox::TiffCompression::kDeflate, qvox::TiffCompression::kNone}) {
        for (const std::uint64_t height : {65u, 96u, 128u}) {
            for (const std::uint64_t width : {1u, 34u, 35u, 51u, 52u, 102u, 103u, 341u, 512u, 1000u, 1023u, 1030u}) {
                for (const CountsEntry& entry : {SavedCounts<std::uint8_t>(path, width, height, compression),
                                                 SavedCounts<std::uint16_t>(path, width, height, compression),
                                                 SavedCounts<qvox::Rgb8>(path, width, height, compression)}) {
                    EXPECT_GT(entry.count, 0u);
                    EXPECT_FALSE(entry.count == 2 && entry.type == kShort) << width << " x " << height;
                }
            }
        }
    }
}

TEST(SaveImageFile, WritesASmallPictureAsOneStripAndALargeOneAsMany) {
    const TemporaryFolder folder;
    const std::string path = folder.File("a.tif");
    constexpr auto kDeflate = qvox::TiffCompression::kDeflate;
    EXPECT_EQ(SavedCounts<std::uint16_t>(path, 51, 65, kDeflate).count, 1u);
    EXPECT_EQ(SavedCounts<std::uint16_t>(path, 256, 256, kDeflate).count, 1u);
    EXPECT_EQ(SavedCounts<std::uint16_t>(path, 256, 257, kDeflate).count, 5u);
}

}  // namespace
