#include <malloc.h>
#include <sys/resource.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "CommandTable.h"
#include "MainWindow.h"
#include "PathText.h"
#include "files/ImageFile.h"

// What goes wrong while a person works: files that vanish, folders that vanish, memory that runs out.

namespace {

using namespace Korvane;
using namespace korvane_test;

namespace fs = std::filesystem;

qvox::LabelImage Saved(const std::string& path) {
    qvox::LabelImage labels;
    qvox::LoadImageFile(path, labels);
    return labels;
}

class Faults : public MainWindow {};

TEST_F(Faults, AnInputThatVanishedOrChangedCostsNothingThatIsOpen) {
    AwaitShown();
    OpenSmall();
    Dab(20, 20);
    const qvox::LabelImage painted(Labels());
    fs::remove(folder.File("a.tif"));
    std::ofstream(folder.File("b.tif")) << "no picture any more";
    WriteRamp(folder.File("c.tif"), 9, 7);
    Run(kSaveResults);
    Run(kExportPictures);
    EXPECT_TRUE(told.errors.empty()) << told.errors.front();
    EXPECT_TRUE(SameLabels(Saved(folder.File("seg_a.tif")), painted));
    for (const char* name : {"a.tif", "b.tif", "c.tif"}) {
        const qvox::LabelImage saved = Saved(folder.File(std::string("seg_") + name));
        EXPECT_EQ(saved.SizeX(), 64u) << name;
        qvox::VoxelImage<qvox::Rgb8> picture;
        qvox::LoadImageFile(folder.File(std::string("export_") + name), picture);
        EXPECT_EQ(picture.SizeY(), 64u) << name;
    }
}

TEST_F(Faults, AFolderThatVanishedIsToldForEachPositionAndSavingAgainWorks) {
    fs::create_directory(folder.File("series"));
    WriteRamp(folder.File("series/a.tif"));
    WriteRamp(folder.File("series/b.tif"));
    AwaitShown();
    Open({"series/a.tif", "series/b.tif"});
    Dab(20, 20);
    const qvox::LabelImage painted(Labels());
    fs::remove_all(folder.File("series"));
    Run(kSaveResults);
    Run(kExportPictures);
    const auto cause = [this](const char* file) {
        return "(Error='Cannot write '" + folder.File(std::string("series/") + file) +
               "': No such file or directory.')";
    };
    EXPECT_EQ(told.errors,
              (std::vector<wxString>{"Cannot save the segmentation results for 'a.tif'! " + cause("seg_a.tif"),
                                     "Cannot save the segmentation results for 'b.tif'! " + cause("seg_b.tif"),
                                     "Cannot export the image results for 'a.tif'! " + cause("export_a.tif"),
                                     "Cannot export the image results for 'b.tif'! " + cause("export_b.tif")}));
    EXPECT_TRUE(SameLabels(Labels(), painted));
    EXPECT_TRUE(frame->IsEnabled());
    fs::create_directory(folder.File("series"));
    Run(kSaveResults);
    EXPECT_EQ(told.errors.size(), 4u);
    EXPECT_TRUE(SameLabels(Saved(folder.File("series/seg_a.tif")), painted));
}

/// While it lives, this process can have so many bytes more than it uses.
class MemoryLimit {
public:
    explicit MemoryLimit(std::size_t bytes) {
        malloc_trim(0);
        std::size_t pages = 0;
        std::ifstream("/proc/self/statm") >> pages;
        getrlimit(RLIMIT_AS, &before_);
        rlimit limit = before_;
        limit.rlim_cur = pages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE)) + bytes;
        setrlimit(RLIMIT_AS, &limit);
    }
    ~MemoryLimit() { Lift(); }
    void Lift() { setrlimit(RLIMIT_AS, &before_); }
    MemoryLimit(const MemoryLimit&) = delete;
    MemoryLimit& operator=(const MemoryLimit&) = delete;

private:
    rlimit before_{};
};

constexpr std::size_t kMebibyte = 1u << 20;

/// Faults of memory; each test opens noise.tif and small.tif.
class MemoryFaults : public MainWindow {
protected:
    void SetUp() override {
#ifdef __SANITIZE_ADDRESS__
        GTEST_SKIP() << "no limit on the address space under the address sanitizer";
#endif
        // Blocks that are freed go back to the system, instead of serving as room under a limit.
        mallopt(M_MMAP_THRESHOLD, 1 << 16);
        std::mt19937 random(3);
        qvox::VoxelImage<std::uint8_t> noise(qvox::VoxelOffset{}, qvox::PixelResolution{672.0f, 672.0f, 1.0f});
        noise.Resize(kSide, kSide, 1);
        for (std::uint8_t& voxel : noise) voxel = static_cast<std::uint8_t>(random());
        qvox::SaveImageFile(folder.File("noise.tif"), noise);
        WriteRamp(folder.File("small.tif"));
        AwaitShown();
        Open({"noise.tif", "small.tif"});
        Dab(30, 30);
        painted_ = Labels();
    }

    /// The labels are what they were, and saving works under the limit, which is lifted then.
    void ExpectNothingLost(MemoryLimit& limit) {
        EXPECT_TRUE(frame->IsEnabled());
        EXPECT_TRUE(SameLabels(Labels(), painted_));
        const std::size_t errors = told.errors.size();
        Run(kSaveResults);
        EXPECT_EQ(told.errors.size(), errors);
        limit.Lift();
        EXPECT_TRUE(SameLabels(Saved(folder.File("seg_noise.tif")), painted_));
        EXPECT_TRUE(fs::exists(folder.File("seg_small.tif")));
    }

    static constexpr std::uint64_t kSide = 2000;
    qvox::LabelImage painted_;
};

TEST_F(MemoryFaults, DetectionThatRunsOutOfMemoryEndsAloneWithTheCause) {
    for (const std::size_t room : {5u, 20u, 35u, 50u}) {
        SCOPED_TRACE(room);
        told.errors.clear();
        MemoryLimit limit(room * kMebibyte);
        Run(kDetectCurrent);
        ASSERT_EQ(told.errors.size(), 1u);
        EXPECT_EQ(told.errors[0], "Cannot detect the exosomes in the position number 1, '" + PathOf("noise.tif") +
                                      "'! (Not enough memory)");
        ExpectNothingLost(limit);
    }
}

TEST_F(MemoryFaults, SegmentationThatRunsOutOfMemoryEndsAloneWithTheCause) {
    MemoryLimit limit(20 * kMebibyte);
    Run(kSegmentCurrent);
    ASSERT_EQ(told.errors.size(), 1u);
    EXPECT_NE(told.errors[0].Find("(Not enough memory)"), wxNOT_FOUND) << told.errors[0];
    ExpectNothingLost(limit);
}

TEST_F(MemoryFaults, WithoutRoomForAnUndoCopyAClearedPositionStillComesBack) {
    MemoryLimit limit(4 * kMebibyte);
    Run(kClearCurrent);
    // The room for the copy was taken beforehand; had it not been, clearing would have been refused.
    Key(WXK_BACK);
    ExpectNothingLost(limit);
}

TEST_F(MemoryFaults, APictureForWhichThereIsNoRoomIsNamedAndTheOthersOpen) {
    told.errors.clear();
    qvox::VoxelImage<std::uint8_t> large;
    large.Resize(3600, 3600, 1);
    large.Zero();
    qvox::SaveImageFile(folder.File("large.tif"), large);
    fs::copy(folder.File("small.tif"), folder.File("b.tif"));
    large.Release();
    Run(kSaveResults);
    const MemoryLimit limit(90 * kMebibyte);
    const Answers answers(wxID_OK);
    // Its intensities would fit alone, but leave nothing to work with.
    Open({"small.tif", "large.tif", "b.tif"});
    ASSERT_EQ(told.errors.size(), 1u);
    EXPECT_EQ(told.errors[0], "Cannot load the input image '" + PathOf("large.tif") + "'! (Not enough memory)");
    EXPECT_EQ(frame->Store().paths, (std::vector<wxString>{PathOf("small.tif"), PathOf("b.tif")}));
    Dab(20, 20);
    const qvox::LabelImage painted(Labels());
    Run(kSaveResults);
    EXPECT_TRUE(SameLabels(Saved(folder.File("seg_small.tif")), painted));
}

}  // namespace
