#pragma once

#include <optional>
#include <string>

#include <wx/string.h>

#include "AnalysisParameters.h"

namespace Korvane {

/// The number that a person typed for a parameter: with "." or "," before the decimals and an exponent if there is
/// one, spaces around it. None for other texts, beyond the range, and with more decimals than the parameter has.
std::optional<float> ParameterFromText(const wxString& text, const ParameterRange& range);

/// A number greater than 0, typed the same way; none for other texts.
std::optional<double> PositiveNumberFromText(const wxString& text);

/// All parameters, for a person: "Edge contrast (lambda) 0.0050, Area fraction (alpha) 0.15, ...".
std::string ParametersText(const AnalysisParameters& parameters);

}  // namespace Korvane
