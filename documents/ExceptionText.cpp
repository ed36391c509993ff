#include "ExceptionText.h"

#include <new>
#include <opencv2/core.hpp>

#include "PathText.h"
#include "ToolkitError.h"

namespace Korvane {

wxString ErrorTextBeside(const wxString& named, const qvox::ToolkitError& error) {
    const auto* const file = dynamic_cast<const qvox::FileError*>(&error);
    return PathText(file != nullptr && PathText(file->Path()) == named ? file->Cause() : error.what());
}

bool IsOutOfMemory(const std::exception_ptr& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (const std::bad_alloc&) {
        return true;
    } catch (const cv::Exception& error) {
        // The matrix library has a failure of its own for it.
        return error.code == cv::Error::StsNoMem;
    } catch (...) {
        return false;
    }
}

wxString ExceptionText(const std::exception_ptr& failure, const wxString& named) {
    if (IsOutOfMemory(failure)) return "Not enough memory";
    try {
        std::rethrow_exception(failure);
    } catch (const qvox::ToolkitError& error) {
        return "Error='" + ErrorTextBeside(named, error) + "'";
    } catch (const std::exception& error) {
        wxString text = PathText(error.what());
        // The matrix library breaks its messages into lines.
        text.Replace("\n", " ");
        return "Error='" + text.Trim() + "'";
    } catch (...) {
        return "Unknown error";
    }
}

}  // namespace Korvane
