#include "FailureText.h"

#include <gtest/gtest.h>

#include <new>
#include <opencv2/core.hpp>

#include "ExceptionText.h"
#include "ToolkitError.h"

namespace Korvane {

namespace {

template <typename Failure>
wxString Message(FileTask task, const Failure& failure) {
    return FailureMessage(task, wxString::FromUTF8("100%s #\xC2\xB5.tif"), std::make_exception_ptr(failure));
}

const wxString kName = wxString::FromUTF8("100%s #\xC2\xB5.tif");

TEST(FailureMessage, OfLoadingAnInputNamesTheCause) {
    const wxString begin = "Cannot load the input image '" + kName + "'! ";
    EXPECT_EQ(Message(FileTask::kLoadInput, UnsupportedPixelType()), begin + "(Unsupported pixel type)");
    EXPECT_EQ(Message(FileTask::kLoadInput, qvox::ToolkitError("cut off")), begin + "(Error='cut off')");
    EXPECT_EQ(Message(FileTask::kLoadInput, std::bad_alloc()), begin + "(Not enough memory)");
    EXPECT_EQ(Message(FileTask::kLoadInput, std::runtime_error("other")), begin + "(Unknown error)");
    EXPECT_EQ(Message(FileTask::kLoadInput, 42), begin + "(Unknown error)");
}

TEST(FailureMessage, OfLoadingResultsNamesTheCause) {
    const wxString begin = "Cannot load the segmentation results for '" + kName + "'! ";
    EXPECT_EQ(Message(FileTask::kLoadResults, UnsupportedPixelType()), begin + "(Unsupported pixel type)");
    EXPECT_EQ(Message(FileTask::kLoadResults, InconsistentImageSize()), begin + "(Inconsistent image size)");
    EXPECT_EQ(Message(FileTask::kLoadResults, qvox::ToolkitError("cut off")), begin + "(Error='cut off')");
    EXPECT_EQ(Message(FileTask::kLoadResults, std::bad_alloc()), begin + "(Not enough memory)");
    EXPECT_EQ(Message(FileTask::kLoadResults, 42), begin + "(Unknown error)");
}

TEST(FailureMessage, OfSavingAndExportingKnowsTwoCauses) {
    const wxString save = "Cannot save the segmentation results for '" + kName + "'! ";
    EXPECT_EQ(Message(FileTask::kSaveResults, qvox::ToolkitError("disk full")), save + "(Error='disk full')");
    EXPECT_EQ(Message(FileTask::kSaveResults, std::bad_alloc()), save + "(Unknown error)");
    const wxString picture = "Cannot export the image results for '" + kName + "'! ";
    EXPECT_EQ(Message(FileTask::kExportPicture, qvox::ToolkitError("disk full")), picture + "(Error='disk full')");
    EXPECT_EQ(Message(FileTask::kExportPicture, 42), picture + "(Unknown error)");
}

TEST(FailureMessage, TellsTheDetailOfAnUnfitFileOnASecondLine) {
    EXPECT_EQ(Message(FileTask::kLoadInput, UnsupportedPixelType("It holds RGB, 8 bits.")),
              "Cannot load the input image '" + kName + "'! (Unsupported pixel type)\nIt holds RGB, 8 bits.");
    EXPECT_EQ(Message(FileTask::kLoadResults, InconsistentImageSize("2 x 3")),
              "Cannot load the segmentation results for '" + kName + "'! (Inconsistent image size)\n2 x 3");
}

TEST(FailureMessage, HasAPathOnce) {
    const qvox::FileError error(qvox::FileError::Task::kRead, "/d/a.tif", "it is empty");
    EXPECT_EQ(FailureMessage(FileTask::kLoadInput, "/d/a.tif", std::make_exception_ptr(error)),
              "Cannot load the input image '/d/a.tif'! (Error='it is empty.')");
    EXPECT_EQ(FailureMessage(FileTask::kLoadResults, "a.tif", std::make_exception_ptr(error)),
              "Cannot load the segmentation results for 'a.tif'! (Error='Cannot read '/d/a.tif': it is empty.')");
    EXPECT_EQ(ExceptionText(std::make_exception_ptr(error), "/d/a.tif"), "Error='it is empty.'");
    EXPECT_EQ(ExceptionText(std::make_exception_ptr(error)), "Error='Cannot read '/d/a.tif': it is empty.'");
}

TEST(FailureMessage, OfExhaustedMemoryIsTheSameWhicheverLibraryReportsIt) {
    const auto own = std::make_exception_ptr(std::bad_alloc());
    const auto matrices =
        std::make_exception_ptr(cv::Exception(cv::Error::StsNoMem, "Failed to allocate 8 bytes", "", "alloc.cpp", 1));
    const auto other = std::make_exception_ptr(cv::Exception(cv::Error::StsBadArg, "bad", "", "alloc.cpp", 1));
    for (const auto& failure : {own, matrices}) {
        EXPECT_TRUE(IsOutOfMemory(failure));
        EXPECT_EQ(ExceptionText(failure), "Not enough memory");
        EXPECT_NE(FailureMessage(FileTask::kMeasure, "a.tif", failure).Find("(Not enough memory)"), wxNOT_FOUND);
    }
    EXPECT_FALSE(IsOutOfMemory(other));
    EXPECT_EQ(ExceptionText(other).Find("Not enough memory"), wxNOT_FOUND);
}

TEST(FailureMessage, OfMeasuringNamesThePosition) {
    EXPECT_EQ(Message(FileTask::kMeasure, qvox::ToolkitError("too many")),
              "Cannot measure the objects of '" + kName + "'! (Error='too many')");
    EXPECT_EQ(Message(FileTask::kMeasure, std::bad_alloc()),
              "Cannot measure the objects of '" + kName + "'! (Not enough memory)");
}

}  // namespace

}  // namespace Korvane
