#include "ImageGroups.h"

#include <algorithm>
#include <map>
#include <set>

#include "ToolkitError.h"

namespace Korvane {

namespace {

/// The last `parts` parts of a path.
std::string EndOf(const std::string& path, std::size_t parts) {
    std::size_t start = path.size();
    for (std::size_t i = 0; i < parts; ++i) {
        if (start == 0) return path;
        const std::size_t slash = path.rfind('/', start - 1);
        if (slash == std::string::npos) return path;
        start = slash;
    }
    return start + 1 < path.size() ? path.substr(start + 1) : path;
}

ImageGroups Gather(const std::vector<std::string>& ofImages) {
    ImageGroups groups;
    for (const std::string& name : ofImages) {
        const auto found = std::find(groups.names.begin(), groups.names.end(), name);
        groups.ofImage.push_back(static_cast<std::size_t>(found - groups.names.begin()));
        if (found == groups.names.end()) groups.names.push_back(name);
    }
    return groups;
}

using Rows = std::vector<std::vector<std::string>>;

Rows ReadRows(const std::string& text) {
    const std::size_t start = text.compare(0, 3, "\xEF\xBB\xBF") == 0 ? 3 : 0;
    const std::string first = text.substr(start, text.find_first_of("\r\n", start) - start);
    const char separator = first.find(';') != std::string::npos ? ';' : ',';
    Rows rows;
    std::vector<std::string> row(1);
    bool isQuoted = false;
    const auto endRow = [&] {
        if (row.size() > 1 || !row.front().empty()) rows.push_back(row);
        row.assign(1, "");
    };
    for (std::size_t i = start; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '"' && isQuoted && i + 1 < text.size() && text[i + 1] == '"') {
            row.back() += text[++i];
        } else if (c == '"') {
            isQuoted = !isQuoted;
        } else if (c == separator && !isQuoted) {
            row.emplace_back();
        } else if ((c == '\n' || c == '\r') && !isQuoted) {
            endRow();
        } else {
            row.back() += c;
        }
    }
    endRow();
    return rows;
}

std::size_t ColumnNamed(const std::vector<std::string>& header, const std::string& name) {
    const auto found = std::find(header.begin(), header.end(), name);
    if (found == header.end()) throw qvox::ToolkitError("The table of groups has no column '" + name + "'.");
    return static_cast<std::size_t>(found - header.begin());
}

bool IsEndOf(const std::string& path, const std::string& name) {
    if (name.empty() || name.size() > path.size()) return false;
    if (path.compare(path.size() - name.size(), name.size(), name) != 0) return false;
    return name.size() == path.size() || name.front() == '/' || path[path.size() - name.size() - 1] == '/';
}

}  // namespace

ImageGroups GroupByFolder(const std::vector<std::string>& paths) {
    std::set<std::string> folders;
    const auto folderOf = [](const std::string& path) {
        const std::size_t slash = path.rfind('/');
        if (slash == std::string::npos) return std::string(".");
        return path.substr(0, std::max<std::size_t>(slash, 1));
    };
    for (const std::string& path : paths) folders.insert(folderOf(path));
    const auto namesOf = [&folders](std::size_t parts) {
        std::set<std::string> names;
        for (const std::string& folder : folders) names.insert(EndOf(folder, parts));
        return names;
    };
    std::size_t parts = 1;
    while (namesOf(parts).size() < folders.size()) ++parts;
    std::vector<std::string> ofImages;
    ofImages.reserve(paths.size());
    for (const std::string& path : paths) ofImages.push_back(EndOf(folderOf(path), parts));
    return Gather(ofImages);
}

ImageGroups GroupByTable(const std::vector<std::string>& paths, const std::string& table) {
    const Rows rows = ReadRows(table);
    if (rows.empty()) throw qvox::ToolkitError("The table of groups is empty.");
    const std::size_t imageColumn = ColumnNamed(rows.front(), "image");
    const std::size_t groupColumn = ColumnNamed(rows.front(), "group");
    // Lines by the file name at their end, so that each image looks at a few only.
    std::multimap<std::string, const std::vector<std::string>*> lines;
    for (std::size_t i = 1; i < rows.size(); ++i) {
        if (rows[i].size() <= std::max(imageColumn, groupColumn)) {
            throw qvox::ToolkitError("Line " + std::to_string(i + 1) + " of the table of groups has too few columns.");
        }
        lines.emplace(EndOf(rows[i][imageColumn], 1), &rows[i]);
    }
    std::vector<std::string> ofImages;
    for (const std::string& path : paths) {
        std::set<std::string> found;
        const auto [first, last] = lines.equal_range(EndOf(path, 1));
        for (auto line = first; line != last; ++line) {
            if (IsEndOf(path, (*line->second)[imageColumn])) found.insert((*line->second)[groupColumn]);
        }
        if (found.size() == 1 && !found.begin()->empty()) {
            ofImages.push_back(*found.begin());
            continue;
        }
        throw qvox::ToolkitError("The table of groups has " +
                                 std::string(found.size() > 1 ? "several groups" : "no group") + " for '" + path +
                                 "'.");
    }
    return Gather(ofImages);
}

}  // namespace Korvane
