#pragma once

#include <string>

#include <wx/string.h>

#include "FailureText.h"

namespace Korvane {

/// The bytes of a text for a terminal: as PathBytes, with every control character (C0, delete, C1, also as a single
/// byte that is no UTF-8) written out as "\t", "\n", "\r" or "\x1b". A name in a message then moves no cursor, sets no
/// title and ends no line.
std::string VisibleText(const wxString& text);

/// The same for a message and its detail, which stays a line of its own.
std::string VisibleFailure(const FailureText& text);

/// The same for whole lines of a text in columns: tabs and line feeds stay.
std::string VisibleLines(const wxString& text);

/// JSON in UTF-8 for a terminal, which stays JSON: control characters but the line feeds between its lines can only be
/// in strings, and are written as "\u009b".
std::string VisibleJson(const std::string& text);

}  // namespace Korvane
