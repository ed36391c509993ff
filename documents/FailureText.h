#pragma once

#include <exception>
#include <stdexcept>

#include <wx/string.h>

namespace Korvane {

/// A file holds voxels of a type that its use does not allow.
class UnsupportedPixelType : public std::runtime_error {
public:
    UnsupportedPixelType() : std::runtime_error("Unsupported pixel type") {}
};

/// A label image has other sizes than the image that it belongs to.
class InconsistentImageSize : public std::runtime_error {
public:
    InconsistentImageSize() : std::runtime_error("Inconsistent image size") {}
};

/// What was being done with a file when it failed.
enum class FileTask {
    kLoadInput,    ///< named by its full path in messages
    kLoadResults,  ///< these three by the input's file name
    kSaveResults,
    kExportPicture,
};

/// What a person is told when a file task failed, for instance
/// "Cannot load the input image 'a.tif'! (Not enough memory)". Saving and exporting know two causes only, the
/// toolkit's error text and an unknown one.
wxString FailureMessage(FileTask task, const wxString& name, const std::exception_ptr& failure);

}  // namespace Korvane
