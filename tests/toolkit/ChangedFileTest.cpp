#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <functional>
#include <string>
#include <thread>

#include "ToolkitError.h"
#include "files/ImageFile.h"
#include "files/TiffHandle.h"
#include "files/TiffSource.h"
#include "support/TemporaryFolder.h"

namespace {

using korvane_test::TemporaryFolder;

class ChangedFile : public ::testing::Test {
protected:
    ChangedFile() {
        qvox::LabelImage labels;
        labels.Resize(40, 30, 1);
        labels.Zero();
        qvox::SaveImageFile(path_, labels);
        // Some time ago, so that the clock's step cannot hide a change.
        const timespec before[2] = {{1000000000, 500}, {1000000000, 500}};
        utimensat(AT_FDCWD, path_.c_str(), before, 0);
    }

    static std::string Refusal(const qvox::TiffHandle& file) {
        try {
            file.ThrowIfChanged();
        } catch (const qvox::ToolkitError& error) {
            return error.what();
        }
        return "";
    }

    const TemporaryFolder folder_;
    const std::string path_ = folder_.File("a.tif");
    const std::string refusal_ = "Cannot read '" + path_ + "': the file was changed while it was read.";
};

TEST_F(ChangedFile, OneThatStaysAsItIsIsReadThroughout) {
    const qvox::TiffHandle file(path_);
    EXPECT_EQ(Refusal(file), "");
}

TEST_F(ChangedFile, OverwrittenInPlaceWithAsManyBytesIsRefused) {
    const qvox::TiffHandle file(path_);
    std::fstream(path_, std::ios::in | std::ios::out | std::ios::binary).seekp(200).put('x');
    EXPECT_EQ(Refusal(file), refusal_);
}

TEST_F(ChangedFile, OfAnotherSizeIsRefusedWhateverItsTime) {
    const qvox::TiffHandle file(path_);
    std::ofstream(path_, std::ios::app) << "x";
    const timespec before[2] = {{1000000000, 500}, {1000000000, 500}};
    utimensat(AT_FDCWD, path_.c_str(), before, 0);
    EXPECT_EQ(Refusal(file), refusal_);
}

TEST_F(ChangedFile, ATimeThatDiffersByANanosecondIsAChange) {
    const qvox::TiffHandle file(path_);
    const timespec after[2] = {{1000000000, 501}, {1000000000, 501}};
    utimensat(AT_FDCWD, path_.c_str(), after, 0);
    EXPECT_EQ(Refusal(file), refusal_);
}

TEST_F(ChangedFile, LoadingAndInspectingRefuseOneThatIsWrittenToMeanwhile) {
    std::atomic<bool> done{false};
    std::thread writer([&] {
        for (long ns = 0; !done; ++ns) {
            const timespec now[2] = {{1000000000, ns % 1000000000}, {1000000000, ns % 1000000000}};
            utimensat(AT_FDCWD, path_.c_str(), now, 0);
        }
    });
    // The writer need not get a processor during each of them.
    const auto isRefused = [&](const std::function<void()>& read) {
        for (int i = 0; i < 100000; ++i) {
            try {
                read();
            } catch (const qvox::ToolkitError& error) {
                return error.what() == refusal_;
            }
        }
        return false;
    };
    qvox::LabelImage labels;
    EXPECT_TRUE(isRefused([&] { qvox::InspectImageFile(path_); }));
    EXPECT_TRUE(isRefused([&] { qvox::LoadImageFile(path_, labels); }));
    done = true;
    writer.join();
}

TEST_F(ChangedFile, ReplacedByAnotherFileIsReadAsItWas) {
    const qvox::TiffHandle file(path_);
    std::ofstream(folder_.File("new")) << "something else";
    ASSERT_EQ(rename(folder_.File("new").c_str(), path_.c_str()), 0);
    EXPECT_EQ(Refusal(file), "");
}

TEST_F(ChangedFile, TellsOfTheChangeBeforeWhatItBroke) {
    const qvox::TiffHandle file(path_);
    std::ofstream(path_, std::ios::trunc) << "x";
    try {
        file.FailReading("strip 1 of 1 lies beyond its end");
    } catch (const qvox::ToolkitError& error) {
        EXPECT_EQ(error.what(), refusal_);
    }
}

}  // namespace
