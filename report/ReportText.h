#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "SizeStatistics.h"

namespace Korvane {

/// A number with this many digits after the point, "." in every locale; empty where there is none or it is not finite.
std::string FixedText(std::optional<double> value, int decimals);

/// A number with seven digits that count, for tables; empty as above.
std::string TableNumber(std::optional<double> value);

/// "65.1 to 67.9"; empty where there is none.
std::string IntervalText(const std::optional<Interval>& interval, int decimals);

/// A line of comma-separated values (RFC 4180), with its end.
std::string CsvLine(const std::vector<std::string>& fields);
std::string CsvField(const std::string& field);

/// Bytes as text, RFC 4648.
std::string Base64(const std::string& bytes);

/// "1 object", "2 objects"
std::string Counted(std::size_t count, const std::string& thing);

/// The diameter of a column of the table of objects, as a person names it: "diameter of the disc of the label's area".
std::string DiameterText(const std::string& column);

}  // namespace Korvane
