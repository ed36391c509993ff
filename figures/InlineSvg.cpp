#include "InlineSvg.h"

#include <initializer_list>

#include "ToolkitError.h"

namespace Korvane {

namespace {

void ReplaceAll(std::string& text, const std::string& from, const std::string& to) {
    for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
}

}  // namespace

std::string HtmlText(const std::string& text) {
    std::string safe;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        switch (c) {
            case '&':
                safe += "&amp;";
                break;
            case '<':
                safe += "&lt;";
                break;
            case '>':
                safe += "&gt;";
                break;
            case '"':
                safe += "&quot;";
                break;
            case '\'':
                safe += "&#39;";
                break;
            default:
                safe += (byte < 0x20 && c != '\n' && c != '\t') || byte == 0x7f ? ' ' : c;
        }
    }
    return safe;
}

std::string InlineSvg(const std::string& file, const std::string& prefix, const std::string& title) {
    const std::size_t start = file.find("<svg");
    const std::size_t box = file.find("viewBox=", start);
    const std::size_t opened = file.find('>', box);
    const std::size_t end = file.rfind("</svg>");
    if (start == std::string::npos || box == std::string::npos || opened == std::string::npos ||
        end == std::string::npos || end < opened) {
        throw qvox::ToolkitError("A figure of gnuplot is not an SVG file.");
    }
    const std::string viewBox = file.substr(box, file.find('\n', box) - box);
    std::string body = file.substr(opened + 1, end - opened - 1);
    // The title that gnuplot writes would show as a tip over the whole drawing.
    const std::size_t titled = body.find("<title>");
    const std::size_t described = body.find("</desc>");
    if (titled != std::string::npos && described != std::string::npos && titled < described) {
        body.erase(titled, described + 7 - titled);
    }
    for (const std::string mark : {"id=\"", "id='", "href=\"#", "href='#", "url(#"}) {
        ReplaceAll(body, mark, mark + prefix + "-");
    }
    return "<svg role=\"img\" aria-label=\"" + HtmlText(title) + "\" " + viewBox +
           " xmlns=\"http://www.w3.org/2000/svg\" xmlns:xlink=\"http://www.w3.org/1999/xlink\">" + body + "</svg>\n";
}

}  // namespace Korvane
