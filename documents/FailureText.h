#pragma once

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

/// The task on a file that failed.
enum class FileTask {
    kLoadInput,    ///< named by its full path in messages
    kLoadResults,  ///< these four by the input's file name
    kSaveResults,
    kExportPicture,
    kMeasure,
};

/// The message for a person when a file task failed, for instance
/// "Cannot load the input image 'a.tif'! (Not enough memory)". Saving and exporting know two causes only, the
/// toolkit's error text and an unknown one. Of an UnfitFile the detail follows as a second line. A path that is the
/// name already is left out of the toolkit's text.
wxString FailureMessage(FileTask task, const wxString& name, const std::exception_ptr& failure);

}  // namespace Korvane
