#pragma once

#include <string>
#include <vector>

#include <wx/string.h>

#include "files/ImageFile.h"

namespace Korvane {

// The document of `info --json`, image by image: InfoJsonBegin, the objects with commas between them, InfoJsonEnd.

std::string InfoJsonBegin();
std::string InfoJsonEnd();

/// An image that was read. Pixel sizes that the file does not tell are null.
std::string ImageInfoJson(const wxString& path, const qvox::ImageFileInfo& info, const std::vector<wxString>& warnings);

/// One that was not.
std::string FailureInfoJson(const wxString& path, const wxString& error);

}  // namespace Korvane
