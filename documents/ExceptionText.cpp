#include "ExceptionText.h"

#include <new>

#include "PathText.h"

namespace Korvane {

wxString ExceptionText(const std::exception_ptr& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (const std::bad_alloc&) {
        return "Not enough memory";
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
