#pragma once

#include <cstddef>
#include <string_view>

namespace qvox {

/// Cuts a block of text of any bytes into its lines, which end in LF or CR LF; ends at the first NUL.
class TextLines {
public:
    TextLines(const char* data, std::size_t size);

    /// The next line without its end and without blanks around it. False when there is none.
    bool Next(std::string_view& line);

private:
    std::string_view rest_;
    bool done_ = false;
};

/// The text without blanks, tabs and line ends at both ends.
std::string_view TrimmedView(std::string_view text);

}  // namespace qvox
