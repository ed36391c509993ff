#include "PathText.h"

#include <wx/strconv.h>

namespace Korvane {

namespace {

wxMBConv& PathConversion() {
    static wxMBConvUTF8 conversion(wxMBConvUTF8::MAP_INVALID_UTF8_TO_PUA);
    return conversion;
}

const char* Separators(PathStyle style) { return style == PathStyle::kWindows ? "\\/" : "/"; }

wxUniChar Separator(PathStyle style) { return style == PathStyle::kWindows ? '\\' : '/'; }

bool IsRoot(const wxString& folderWithSeparator, PathStyle style) {
    const bool driveRoot =
        style == PathStyle::kWindows && folderWithSeparator.length() == 3 && folderWithSeparator[1] == ':';
    return folderWithSeparator.length() == 1 || driveRoot;
}

}  // namespace

wxString PathText(const std::string& bytes) { return wxString(bytes.data(), PathConversion(), bytes.size()); }

std::string PathBytes(const wxString& text) {
    const wxScopedCharBuffer bytes = text.mb_str(PathConversion());
    return std::string(bytes.data(), bytes.length());
}

void AdoptPathConversion() { wxConvFileName = &PathConversion(); }

wxString FolderOf(const wxString& path, PathStyle style) {
    const std::size_t at = path.find_last_of(Separators(style));
    if (at == wxString::npos) return wxString();
    const wxString withSeparator = path.substr(0, at + 1);
    return IsRoot(withSeparator, style) ? withSeparator : path.substr(0, at);
}

wxString FileNameOf(const wxString& path, PathStyle style) {
    const std::size_t at = path.find_last_of(Separators(style));
    return at == wxString::npos ? path : path.substr(at + 1);
}

wxString JoinPath(const wxString& folder, const wxString& name, PathStyle style) {
    if (folder.empty()) return name;
    const bool ends = wxString(Separators(style)).find(folder[folder.length() - 1]) != wxString::npos;
    return ends ? folder + name : folder + Separator(style) + name;
}

}  // namespace Korvane
