#pragma once

#include <string>

#include <wx/string.h>

namespace Korvane {

/// A path as text, from the file system's bytes: UTF-8, whatever the locale says. Bytes that are not UTF-8 become
/// characters of a private range that PathBytes turns back, so no file name is out of reach.
wxString PathText(const std::string& bytes);

/// The file system's bytes of a path text; PathBytes(PathText(b)) == b for every b without a zero byte.
std::string PathBytes(const wxString& text);

/// Makes the window toolkit's own file functions (text files, file dialogs, existence checks) translate names as
/// PathText and PathBytes do, instead of by the locale: under the C locale it would otherwise refuse every name beyond
/// ASCII. Each program calls it once at its start, after the toolkit's own initialisation.
void AdoptPathConversion();

/// How paths are taken apart and put together.
enum class PathStyle {
    kWindows,    ///< split at the last "\" or "/", join with "\"
    kElsewhere,  ///< split at the last "/", join with "/"; "\" is an ordinary character
};

#ifdef _WIN32
inline constexpr PathStyle kNativePathStyle = PathStyle::kWindows;
#else
inline constexpr PathStyle kNativePathStyle = PathStyle::kElsewhere;
#endif

/// The text before the last separator, without it; empty for a name without a separator. The root keeps its separator
/// ("/a.tif" lies in "/", "C:\a.tif" in "C:\"), so that the folder can be given to the file system as it is.
wxString FolderOf(const wxString& path, PathStyle style = kNativePathStyle);

/// The text after the last separator; the whole path when it has none.
wxString FileNameOf(const wxString& path, PathStyle style = kNativePathStyle);

/// Folder, separator, name; no separator is added to an empty folder (the current one) or to one that ends in one.
wxString JoinPath(const wxString& folder, const wxString& name, PathStyle style = kNativePathStyle);

}  // namespace Korvane
