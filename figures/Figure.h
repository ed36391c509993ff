#pragma once

#include <string>

namespace Korvane {

/// A figure that gnuplot draws: its commands and its data.
struct Figure {
    std::string name;  ///< of the files, without ending: letters, digits, "-" and "_"
    double widthMm = 160.0;
    double heightMm = 100.0;
    std::string settings;  ///< commands before the plot: axes, labels, ranges. Texts come from GnuplotString
    std::string plot;      ///< the plot command, or several; the data file is DATA
    std::string data;      ///< FigureData::Text()
};

/// The whole script of a figure. In the folder of NAME.dat, "gnuplot NAME.gnuplot" draws NAME.svg and NAME.pdf. Sets
/// white paper, a tab between the columns of the data, and the line types 1 to 8: colours that the colour-blind tell
/// apart, of falling lightness so that they differ in grey too, each with a dash and a point of its own.
/// Throws ToolkitError for a name that is none.
std::string FigureScript(const Figure& figure);

/// Writes NAME.gnuplot and NAME.dat into a folder that is there; each complete or absent. Throws ToolkitError.
void WriteFigureSources(const Figure& figure, const std::string& folder);

/// Text for a script, in quotes: it is shown as it is, and no part of it is a command. Control characters become
/// spaces. What shows it must be told `noenhanced`, or "_", "^", "{" and the like change the look of what follows.
std::string GnuplotString(const std::string& text);

/// A number for a script: "." whatever the locale, the shortest text that gives it again.
std::string GnuplotNumber(double value);

}  // namespace Korvane
