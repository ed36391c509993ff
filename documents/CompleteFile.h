#pragma once

#include <string>
#include <string_view>

namespace Korvane {

/// A file that is written beside its place under a temporary name and takes the place only when it is whole. What was
/// there before survives every failure. Going away without Commit removes the temporary file.
class CompleteFile {
public:
    /// Makes the empty temporary file with the permissions of the file that it replaces. `task` completes the sentence
    /// "Cannot ... 'path': cause." of the ToolkitError that every method throws on failure.
    CompleteFile(std::string path, std::string task);
    ~CompleteFile();
    CompleteFile(const CompleteFile&) = delete;
    CompleteFile& operator=(const CompleteFile&) = delete;

    const std::string& TemporaryPath() const { return temporaryPath_; }

    /// Flushes the temporary file to the disk and renames it over the target.
    void Commit();

    [[noreturn]] void Fail(const std::string& cause) const;

private:
    std::string path_;
    std::string task_;
    std::string temporaryPath_;
};

/// Writes a whole file of these bytes.
void WriteCompleteFile(const std::string& path, std::string_view bytes, const std::string& task);

}  // namespace Korvane
