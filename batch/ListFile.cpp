#include "ListFile.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <istream>
#include <system_error>

#include "ImageList.h"
#include "ToolkitError.h"

namespace Korvane {

namespace {

ListedImages ReadNames(std::istream& stream, ListSeparator separator, const std::string& list) {
    const char end = separator == ListSeparator::kNull ? '\0' : '\n';
    ListedImages listed;
    std::string name;
    for (std::size_t number = 1; std::getline(stream, name, end); ++number) {
        // Some editors begin a file with a mark of its encoding.
        if (number == 1 && separator == ListSeparator::kLine && name.rfind("\xEF\xBB\xBF", 0) == 0) name.erase(0, 3);
        if (separator == ListSeparator::kLine && !name.empty() && name.back() == '\r') name.pop_back();
        const std::string place =
            (separator == ListSeparator::kNull ? "Name " : "Line ") + std::to_string(number) + " of " + list;
        if (name.empty()) throw qvox::ToolkitError(place + " names no image: it is empty.");
        // A path never holds a zero byte: the list is one of --null.
        if (name.find('\0') != std::string::npos) {
            throw qvox::ToolkitError(place + " holds a zero byte; --null reads lists whose names end in one.");
        }
        if (HasImageEnding(name)) {
            listed.files.push_back(name);
        } else {
            listed.others.push_back(name);
        }
    }
    if (stream.bad()) {
        throw qvox::ToolkitError("Cannot read " + list + ": " + std::generic_category().message(errno) + ".");
    }
    if (listed.files.empty() && listed.others.empty()) throw qvox::ToolkitError(list + " names no image: it is empty.");
    return listed;
}

}  // namespace

ListedImages ReadListFile(const std::string& path, ListSeparator separator) {
    if (path == "-") return ReadNames(std::cin, separator, "the list on the standard input");
    const std::string list = "the list '" + path + "'";
    std::error_code unreachable;
    if (std::filesystem::is_directory(path, unreachable)) {
        throw qvox::ToolkitError("Cannot read " + list + ": it is a folder.");
    }
    errno = 0;
    std::ifstream file(path, std::ios::binary);
    if (!file) throw qvox::ToolkitError("Cannot read " + list + ": " + std::generic_category().message(errno) + ".");
    return ReadNames(file, separator, list);
}

}  // namespace Korvane
