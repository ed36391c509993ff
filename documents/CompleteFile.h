#pragma once

#include <string>
#include <string_view>

namespace Korvane {

/// Writes a whole file of these bytes, complete or absent, as label files are written: what was there before survives
/// every failure. Throws ToolkitError with the file and the cause.
void WriteCompleteFile(const std::string& path, std::string_view bytes);

}  // namespace Korvane
