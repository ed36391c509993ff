#pragma once

#include <optional>
#include <string>
#include <utility>

#include "Figure.h"

namespace Korvane {

/// The program gnuplot of this machine (Debian package gnuplot-nox). Figures that it draws are the same bytes whenever
/// they are drawn; other versions of it, and other fonts, may draw them otherwise.
class Gnuplot {
public:
    /// None where it is not on the search path or does not say its version.
    static std::optional<Gnuplot> Find();

    /// "gnuplot 5.4 patchlevel 4"
    const std::string& Version() const { return version_; }

    /// Writes the script and the data of a figure, and NAME.svg and NAME.pdf, into a folder that is there; each file
    /// complete or absent. Throws ToolkitError, with what gnuplot says where it fails.
    void Draw(const Figure& figure, const std::string& folder) const;

private:
    Gnuplot(std::string program, std::string version) : program_(std::move(program)), version_(std::move(version)) {}

    std::string program_;
    std::string version_;
};

/// Why there are no figures, for a person.
inline constexpr const char* kGnuplotIsMissing =
    "gnuplot is not installed (Debian package gnuplot-nox); figures are not drawn, their scripts and data are written";

}  // namespace Korvane
