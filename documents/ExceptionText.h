#pragma once

#include <exception>

#include <wx/string.h>

namespace Korvane {

/// The cause of any failure as a person reads it: "Error='...'", "Not enough memory", "Unknown error". The one place of
/// each program where exceptions become text, besides the messages of files (FailureMessage).
wxString ExceptionText(const std::exception_ptr& failure);

}  // namespace Korvane
