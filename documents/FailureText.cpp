#include "FailureText.h"

#include <new>

#include "PathText.h"
#include "ToolkitError.h"

namespace Korvane {

namespace {

wxString LoadingCause(const std::exception_ptr& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (const UnsupportedPixelType&) {
        return "Unsupported pixel type";
    } catch (const InconsistentImageSize&) {
        return "Inconsistent image size";
    } catch (const qvox::ToolkitError& error) {
        return "Error='" + PathText(error.what()) + "'";
    } catch (const std::bad_alloc&) {
        return "Not enough memory";
    } catch (...) {
        return "Unknown error";
    }
}

wxString WritingCause(const std::exception_ptr& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (const qvox::ToolkitError& error) {
        return "Error='" + PathText(error.what()) + "'";
    } catch (...) {
        return "Unknown error";
    }
}

}  // namespace

wxString FailureMessage(FileTask task, const wxString& name, const std::exception_ptr& failure) {
    // Joined rather than formatted: a "%" in a file name stays what it is.
    switch (task) {
        case FileTask::kLoadInput:
            return "Cannot load the input image '" + name + "'! (" + LoadingCause(failure) + ")";
        case FileTask::kLoadResults:
            return "Cannot load the segmentation results for '" + name + "'! (" + LoadingCause(failure) + ")";
        case FileTask::kSaveResults:
            return "Cannot save the segmentation results for '" + name + "'! (" + WritingCause(failure) + ")";
        case FileTask::kExportPicture:
            break;
    }
    return "Cannot export the image results for '" + name + "'! (" + WritingCause(failure) + ")";
}

}  // namespace Korvane
