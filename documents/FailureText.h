#pragma once

#include <array>
#include <cstdint>
#include <exception>
#include <stdexcept>
#include <string>
#include <utility>

#include <wx/string.h>

namespace Korvane {

/// A file whose contents do not suit its use. The detail is a sentence for a person with what it holds and
/// what is wanted; it becomes a second line of the message.
class UnfitFile : public std::runtime_error {
public:
    const std::string& Detail() const { return detail_; }

protected:
    UnfitFile(const char* cause, std::string detail) : std::runtime_error(cause), detail_(std::move(detail)) {}

private:
    std::string detail_;
};

/// A file holds voxels of a type that its use does not allow.
class UnsupportedPixelType : public UnfitFile {
public:
    explicit UnsupportedPixelType(std::string detail = "") : UnfitFile("Unsupported pixel type", std::move(detail)) {}
};

/// A label image has other sizes than the image that it belongs to.
class InconsistentImageSize : public UnfitFile {
public:
    explicit InconsistentImageSize(std::string detail = "") : UnfitFile("Inconsistent image size", std::move(detail)) {}
};

/// The failure of a label file of these sizes (x, y, z) where others are wanted.
InconsistentImageSize OtherSizes(const std::string& path, const std::array<std::uint64_t, 3>& found,
                                 const std::array<std::uint64_t, 3>& wanted);

/// The task on a file that failed.
enum class FileTask {
    kLoadInput,  ///< these two are named by their full path in messages
    kImportLabels,
    kLoadResults,  ///< these four by the input's file name
    kSaveResults,
    kExportPicture,
    kMeasure,
};

/// The text for a person about a failure: a line for each part. A line feed inside a part is of a file's name.
struct FailureText {
    wxString message;
    wxString detail = {};  ///< of an UnfitFile; mostly empty
    wxString cause = {};   ///< what the message ends with, alone

    /// Both, with a line feed between them.
    wxString Lines() const { return detail.empty() ? message : message + "\n" + detail; }
};

/// The text for a file task that failed, for instance "Cannot load the input image 'a.tif'! (Not enough memory)".
/// Saving and exporting know two causes only, the toolkit's error text and an unknown one. A path that is the name
/// already is left out of the toolkit's text.
FailureText TextOfFailure(FileTask task, const wxString& name, const std::exception_ptr& failure);

/// The lines of TextOfFailure.
wxString FailureMessage(FileTask task, const wxString& name, const std::exception_ptr& failure);

}  // namespace Korvane
