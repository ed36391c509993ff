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

/// A file that cannot be read or written: "Cannot read 'PATH': CAUSE."
class FileError : public ToolkitError {
public:
    enum class Task { kRead, kWrite };

    FileError(Task task, const std::string& path, const std::string& cause)
        : ToolkitError((task == Task::kRead ? "Cannot read '" : "Cannot write '") + path + "': " + cause + "."),
          path_(path),
          cause_(cause + ".") {}

    const std::string& Path() const { return path_; }
    /// What is left of the text for a message that names the file already.
    const std::string& Cause() const { return cause_; }

private:
    std::string path_;
    std::string cause_;
};

}  // namespace qvox
