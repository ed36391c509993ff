#include "Figure.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

#include "ToolkitError.h"
#include "files/AtomicFile.h"

namespace Korvane {

namespace {

/// An SVG has this many pixels per millimetre of paper.
constexpr double kSvgPixelsPerMm = 4.0;
constexpr double kPointsPerMm = 72.0 / 25.4;
constexpr double kFontMm = 3.0;

// Eight hues that people with any kind of colour blindness tell apart (Okabe and Ito, 2008), black first, the others
// from dark to light.
constexpr const char* kStyle =
    "set encoding utf8\n"
    "set datafile separator tab\n"
    "set datafile missing 'NaN'\n"
    "set linetype 1 lw 1.6 dt 1 pt 7 ps 0.5 lc rgb '#000000'\n"
    "set linetype 2 lw 1.6 dt '-' pt 5 ps 0.5 lc rgb '#0072b2'\n"
    "set linetype 3 lw 1.6 dt '.' pt 9 ps 0.6 lc rgb '#d55e00'\n"
    "set linetype 4 lw 1.6 dt '-.' pt 11 ps 0.6 lc rgb '#009e73'\n"
    "set linetype 5 lw 1.6 dt '--..' pt 13 ps 0.6 lc rgb '#cc79a7'\n"
    "set linetype 6 lw 1.6 dt '_' pt 6 ps 0.5 lc rgb '#56b4e9'\n"
    "set linetype 7 lw 1.6 dt '_.' pt 4 ps 0.5 lc rgb '#e69f00'\n"
    "set linetype 8 lw 1.6 dt '_-' pt 8 ps 0.6 lc rgb '#b8ad00'\n"
    "set border 3 lw 0.8\n"
    "set xtics nomirror out\n"
    "set ytics nomirror out\n"
    "set key noenhanced\n";

void CheckName(const std::string& name) {
    const auto isPlain = [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_';
    };
    if (name.empty() || !std::all_of(name.begin(), name.end(), isPlain)) {
        throw qvox::ToolkitError("'" + name + "' cannot be the name of a figure.");
    }
}

/// Complete or absent. AtomicFile keeps what fails until Commit, which throws it.
void WriteBytes(const std::string& path, const std::string& bytes) {
    qvox::AtomicFile file(path);
    file.Write(bytes.data(), bytes.size());
    file.Commit();
}

}  // namespace

std::string GnuplotString(const std::string& text) {
    std::string quoted = "'";
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '\'') {
            quoted += "''";
        } else {
            quoted += byte < 0x20 || byte == 0x7f ? ' ' : c;
        }
    }
    return quoted + "'";
}

std::string GnuplotNumber(double value) {
    if (!std::isfinite(value)) return "NaN";
    std::array<char, 32> text;
    const auto end = std::to_chars(text.data(), text.data() + text.size(), value).ptr;
    return {text.data(), end};
}

std::string FigureScript(const Figure& figure) {
    CheckName(figure.name);
    const std::string& name = figure.name;
    const auto size = [&figure](double perMm, const char* unit) {
        return GnuplotNumber(figure.widthMm * perMm) + unit + "," + GnuplotNumber(figure.heightMm * perMm) + unit;
    };
    std::string script = "# Draws " + name + ".svg and " + name + ".pdf from " + name + ".dat, in this folder:\n";
    script += "#     gnuplot " + name + ".gnuplot\n";
    script += kStyle;
    script += "DATA = '" + name + ".dat'\n";
    script += figure.settings;
    script += "do for [format in 'svg pdf'] {\n";
    script += "if (format eq 'svg') {\n";
    script += "    set terminal svg size " + size(kSvgPixelsPerMm, "") + " font 'DejaVu Sans," +
              GnuplotNumber(kFontMm * kSvgPixelsPerMm) + "' background '#ffffff'\n";
    script += "} else {\n";
    script += "    set terminal pdfcairo size " + size(0.1, "cm") + " font 'DejaVu Sans," +
              GnuplotNumber(std::floor(kFontMm * kPointsPerMm * 10.0) / 10.0) + "' background '#ffffff'\n";
    script += "}\n";
    script += "set output '" + name + ".' . format\n";
    script += figure.plot;
    script += "unset output\n}\n";
    return script;
}

void WriteFigureSources(const Figure& figure, const std::string& folder) {
    const std::string script = FigureScript(figure);
    WriteBytes(folder + "/" + figure.name + ".dat", figure.data);
    WriteBytes(folder + "/" + figure.name + ".gnuplot", script);
}

}  // namespace Korvane
