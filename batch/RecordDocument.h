#pragma once

#include <functional>
#include <string>

#include "RecordLog.h"

namespace Korvane {

/// Takes the next bytes of a text; false when it cannot.
using PutBytes = std::function<bool(const std::string& bytes)>;

/// Puts the record of a folder as one JSON document, image by image: the run that wrote last, and for each label file
/// how it was made, in natural order of the images. False when `put` is.
bool PutDocument(const RecordIndex& index, const std::string& folder, const PutBytes& put);

/// Replaces korvane-run.json of a folder by the present document; `lock` keeps other runs from doing so meanwhile. The
/// file is complete or absent. Throws ToolkitError.
void WriteDocument(const RecordLock& lock, const std::string& folder);

}  // namespace Korvane
