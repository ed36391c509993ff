#pragma once

#include <exception>

#include <wx/string.h>

namespace qvox {
class ToolkitError;
}  // namespace qvox

namespace Korvane {

/// The cause of any failure as a person reads it: "Error='...'", "Not enough memory", "Unknown error". The one place of
/// each program where exceptions become text, besides the messages of files (FailureMessage).
/// In a message that names the file `named` itself, a path that is the same is left out of the cause.
wxString ExceptionText(const std::exception_ptr& failure, const wxString& named = wxEmptyString);

/// Whether a failure is want of memory, of this program or of OpenCV.
bool IsOutOfMemory(const std::exception_ptr& failure);

/// The text of an error in a message that names the file `named` itself.
wxString ErrorTextBeside(const wxString& named, const qvox::ToolkitError& error);

}  // namespace Korvane
