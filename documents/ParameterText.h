#pragma once

#include <optional>

#include <wx/string.h>

#include "AnalysisParameters.h"

namespace Korvane {

/// The number that a person typed for a parameter: with "." or "," before the decimals and an exponent if there is
/// one, spaces around it. None for other texts, beyond the range, and with more decimals than the parameter has.
std::optional<float> ParameterFromText(const wxString& text, const ParameterRange& range);

}  // namespace Korvane
