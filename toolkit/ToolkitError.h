#pragma once

#include <stdexcept>
#include <string>

namespace qvox {

/// A failure that the toolkit can explain: a broken file, a caller's mistake, a limit reached.
/// The text is a full sentence for a person; it names the operation, the file or the sizes, and the cause.
/// Exhausted memory is never reported this way; it stays std::bad_alloc.
class ToolkitError : public std::runtime_error {
public:
    explicit ToolkitError(const std::string& message) : std::runtime_error(message) {}
};

}  // namespace qvox
