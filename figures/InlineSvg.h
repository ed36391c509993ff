#pragma once

#include <string>

namespace Korvane {

/// An SVG file of gnuplot as a part of an HTML page: without the lines before its element, with `prefix` before all
/// its identifiers, as several drawings of a page must not share them, and with the width of the page's column.
/// `title` is what is read aloud instead of it. Throws ToolkitError for a text without an SVG element.
std::string InlineSvg(const std::string& file, const std::string& prefix, const std::string& title);

/// Text between tags or in a quoted attribute of HTML.
std::string HtmlText(const std::string& text);

}  // namespace Korvane
