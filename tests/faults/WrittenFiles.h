#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "support/TemporaryFolder.h"

namespace korvane_test {

/// One kind of file that Korvane writes, with two different contents.
struct FileKind {
    std::string name;                                   ///< as test output shows it
    std::string fileName;                               ///< what the program would call it
    void (*write)(const std::string& path, int which);  ///< writes content 0 or 1; throws ToolkitError
};

/// For the names of tests.
inline void PrintTo(const FileKind& kind, std::ostream* stream) { *stream << kind.name; }

/// Label images, overlays, tables, calibrated copies. Small ones: a few hundred bytes to a few thousand.
const std::vector<FileKind>& FileKinds();

/// All bytes of a file; empty when it is not there.
std::string BytesOf(const std::string& path);

/// The names in a folder, sorted.
std::vector<std::string> NamesIn(const TemporaryFolder& folder);

/// The bytes of content 0 and 1 of a kind, as an undisturbed write makes them.
std::vector<std::string> Contents(const FileKind& kind);

}  // namespace korvane_test
