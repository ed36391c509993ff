#include "FailureText.h"

#include <new>

#include "ExceptionText.h"
#include "PathText.h"
#include "ToolkitError.h"

namespace Korvane {

namespace {

/// The cause in brackets, and what follows it on a line of its own.
wxString LoadingCause(const wxString& name, const std::exception_ptr& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (const UnfitFile& unfit) {
        const wxString detail = PathText(unfit.Detail());
        return wxString("(") + unfit.what() + ")" + (detail.empty() ? "" : "\n") + detail;
    } catch (const qvox::ToolkitError& error) {
        return "(Error='" + ErrorTextBeside(name, error) + "')";
    } catch (const std::bad_alloc&) {
        return "(Not enough memory)";
    } catch (...) {
        return "(Unknown error)";
    }
}

wxString WritingCause(const wxString& name, const std::exception_ptr& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (const qvox::ToolkitError& error) {
        return "(Error='" + ErrorTextBeside(name, error) + "')";
    } catch (...) {
        return "(Unknown error)";
    }
}

}  // namespace

wxString FailureMessage(FileTask task, const wxString& name, const std::exception_ptr& failure) {
    // Joined rather than formatted: a "%" in a file name stays what it is.
    switch (task) {
        case FileTask::kLoadInput:
            return "Cannot load the input image '" + name + "'! " + LoadingCause(name, failure);
        case FileTask::kLoadResults:
            return "Cannot load the segmentation results for '" + name + "'! " + LoadingCause(name, failure);
        case FileTask::kSaveResults:
            return "Cannot save the segmentation results for '" + name + "'! " + WritingCause(name, failure);
        case FileTask::kMeasure:
            return "Cannot measure the objects of '" + name + "'! " + LoadingCause(name, failure);
        case FileTask::kExportPicture:
            break;
    }
    return "Cannot export the image results for '" + name + "'! " + WritingCause(name, failure);
}

}  // namespace Korvane
