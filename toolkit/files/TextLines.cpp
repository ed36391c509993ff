#include "files/TextLines.h"

#include <algorithm>

namespace qvox {

TextLines::TextLines(const char* data, std::size_t size)
    : rest_(data, size == 0 ? 0 : static_cast<std::size_t>(std::find(data, data + size, '\0') - data)) {}

bool TextLines::Next(std::string_view& line) {
    if (done_) return false;
    const std::size_t end = rest_.find('\n');
    line = TrimmedView(rest_.substr(0, end));
    done_ = end == std::string_view::npos;
    if (!done_) rest_.remove_prefix(end + 1);
    return true;
}

std::string_view TrimmedView(std::string_view text) {
    const char* blanks = " \t\r\n\f\v";
    const std::size_t first = text.find_first_not_of(blanks);
    return first == std::string_view::npos ? std::string_view()
                                           : text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

}  // namespace qvox
