#pragma once

namespace Korvane {

/// The date of the sources that the program was made from, in UTC: "Aug 13 2018", a day below ten with a space before it.
/// It is not the day of the build, so that the same sources give the same program (cmake/BuildDate.cmake).
const char* BuildDate();

}  // namespace Korvane
