#include "FailureText.h"

#include "ExceptionText.h"
#include "PathText.h"
#include "ToolkitError.h"

namespace Korvane {

namespace {

std::string SizesText(const std::array<std::uint64_t, 3>& sizes) {
    const std::string plane = std::to_string(sizes[0]) + " x " + std::to_string(sizes[1]);
    return sizes[2] == 1 ? plane : plane + " x " + std::to_string(sizes[2]);
}

/// The detail of a file that its use does not allow.
wxString DetailOf(const std::exception_ptr& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (const UnfitFile& unfit) {
        return PathText(unfit.Detail());
    } catch (...) {
        return {};
    }
}

wxString LoadingCause(const wxString& name, const std::exception_ptr& failure) {
    if (IsOutOfMemory(failure)) return "Not enough memory";
    try {
        std::rethrow_exception(failure);
    } catch (const UnfitFile& unfit) {
        return unfit.what();
    } catch (const qvox::ToolkitError& error) {
        return "Error='" + ErrorTextBeside(name, error) + "'";
    } catch (...) {
        return "Unknown error";
    }
}

wxString WritingCause(const wxString& name, const std::exception_ptr& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (const qvox::ToolkitError& error) {
        return "Error='" + ErrorTextBeside(name, error) + "'";
    } catch (...) {
        return "Unknown error";
    }
}

wxString CauseOf(FileTask task, const wxString& name, const std::exception_ptr& failure) {
    const bool writes = task == FileTask::kSaveResults || task == FileTask::kExportPicture;
    return writes ? WritingCause(name, failure) : LoadingCause(name, failure);
}

/// Joined rather than formatted: a "%" in a file name stays what it is.
wxString TaskText(FileTask task, const wxString& name) {
    switch (task) {
        case FileTask::kLoadInput:
            return "Cannot load the input image '" + name + "'! ";
        case FileTask::kImportLabels:
            return "Cannot import '" + name + "'! ";
        case FileTask::kLoadResults:
            return "Cannot load the segmentation results for '" + name + "'! ";
        case FileTask::kSaveResults:
            return "Cannot save the segmentation results for '" + name + "'! ";
        case FileTask::kMeasure:
            return "Cannot measure the objects of '" + name + "'! ";
        case FileTask::kExportPicture:
            break;
    }
    return "Cannot export the image results for '" + name + "'! ";
}

}  // namespace

InconsistentImageSize OtherSizes(const std::string& path, const std::array<std::uint64_t, 3>& found,
                                 const std::array<std::uint64_t, 3>& wanted) {
    return InconsistentImageSize("'" + path + "' has " + SizesText(found) + " pixels; wanted are the image's " +
                                 SizesText(wanted) + ".");
}

FailureText TextOfFailure(FileTask task, const wxString& name, const std::exception_ptr& failure) {
    const wxString cause = CauseOf(task, name, failure);
    wxString detail = DetailOf(failure);
    // A path stands once in a message.
    wxString rest;
    if (detail.StartsWith("'" + name + "' ", &rest)) detail = "It " + rest;
    return {TaskText(task, name) + "(" + cause + ")", detail, cause};
}

wxString FailureMessage(FileTask task, const wxString& name, const std::exception_ptr& failure) {
    return TextOfFailure(task, name, failure).Lines();
}

}  // namespace Korvane
