#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include <wx/string.h>

namespace Korvane {

/// Keeps the table's rows until all images are done, in the order of the images whatever order they come in. Beyond a
/// few KiB they lie in a file without a name, so memory does not grow with them. Any thread may add.
class RowSpool {
public:
    /// `folder` takes the file when one is needed.
    RowSpool(std::size_t images, std::string folder, std::size_t bytesInMemory = std::size_t{1} << 18);
    ~RowSpool();
    RowSpool(const RowSpool&) = delete;
    RowSpool& operator=(const RowSpool&) = delete;

    /// The rows of an image, at most once for each. A failure to keep them is reported by Copy.
    void Add(std::size_t image, const std::vector<wxString>& rows);
    /// The same for rows that have their line ends.
    void AddText(std::size_t image, const std::string& bytes);

    /// Gives all rows to `put`, images in order, a line feed after each row of Add; false as soon as `put` is. Throws
    /// ToolkitError when rows could not be kept.
    bool Copy(const std::function<bool(const std::string& bytes)>& put);

    /// The rows of one image. Throws ToolkitError as Copy does.
    std::string Of(std::size_t image);

private:
    void RequireKept() const;
    struct Place {
        std::uint64_t offset = 0;
        std::uint64_t length = 0;
    };
    void Spill();
    std::string Read(const Place& place) const;

    std::mutex mutex_;
    std::string folder_;
    std::size_t bytesInMemory_;
    std::vector<Place> places_;
    std::string recent_;       // what follows the file's bytes
    std::uint64_t filed_ = 0;  // bytes in the file
    int file_ = -1;
    int error_ = 0;
};

}  // namespace Korvane
