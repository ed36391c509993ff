#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Korvane {

/// Prefixes of the names of files that the programs write for an image: labels, overlays, comparisons, calibrated copies, and
/// the maps of the stages of detection.
const std::vector<std::string_view>& ProductPrefixes();

/// The prefix of ProductPrefixes that a file name begins with; empty for any other name.
std::string_view ProductPrefixOf(std::string_view name);

}  // namespace Korvane
