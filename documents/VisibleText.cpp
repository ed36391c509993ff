#include "VisibleText.h"

#include <array>
#include <cstdio>

#include "PathText.h"

namespace Korvane {

namespace {

/// A byte that begins a control sequence on a terminal that takes single bytes: DCS, SOS, CSI, OSC, PM, APC.
bool BeginsSequence(unsigned byte) {
    return byte == 0x90 || byte == 0x98 || byte == 0x9B || (byte >= 0x9D && byte <= 0x9F);
}

std::string Escape(unsigned code) {
    switch (code) {
        case '\t':
            return "\\t";
        case '\n':
            return "\\n";
        case '\r':
            return "\\r";
        default:
            break;
    }
    std::array<char, 8> text;
    std::snprintf(text.data(), text.size(), "\\x%02x", code);
    return text.data();
}

std::string Visible(const wxString& text, const std::string& kept) {
    std::string visible;
    for (const wxUniChar character : text) {
        const auto code = static_cast<unsigned>(character.GetValue());
        if (code < 0x20 && kept.find(static_cast<char>(code)) != std::string::npos) {
            visible += static_cast<char>(code);
            continue;
        }
        if (code < 0x20 || (code >= 0x7F && code < 0xA0)) {
            visible += Escape(code);
            continue;
        }
        const std::string bytes = PathBytes(wxString(character));
        const unsigned first = bytes.empty() ? 0 : static_cast<unsigned char>(bytes[0]);
        visible += bytes.size() == 1 && BeginsSequence(first) ? Escape(first) : bytes;
    }
    return visible;
}

}  // namespace

std::string VisibleText(const wxString& text) { return Visible(text, ""); }

std::string VisibleLines(const wxString& text) { return Visible(text, "\t\n"); }

std::string VisibleJson(const std::string& text) {
    std::string visible;
    for (std::size_t i = 0; i < text.size(); ++i) {
        unsigned code = static_cast<unsigned char>(text[i]);
        const unsigned next = i + 1 < text.size() ? static_cast<unsigned char>(text[i + 1]) : 0;
        const bool isC1 = code == 0xC2 && next >= 0x80 && next < 0xA0;
        if (!isC1 && (code >= 0x20 || code == '\n') && code != 0x7F) {
            visible += text[i];
            continue;
        }
        if (isC1) {
            code = next;
            ++i;
        }
        std::array<char, 8> escape;
        std::snprintf(escape.data(), escape.size(), "\\u%04x", code);
        visible += escape.data();
    }
    return visible;
}

std::string VisibleFailure(const FailureText& text) {
    return VisibleText(text.message) + (text.detail.empty() ? "" : "\n" + VisibleText(text.detail));
}

}  // namespace Korvane
