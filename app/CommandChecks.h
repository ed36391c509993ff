#pragma once

#include <cstddef>
#include <string_view>

// The rules for rows of commands. The compiler checks it for the program's own.

namespace Korvane {

constexpr int kFirstCommandId = 20001;
constexpr int kLastCommandId = 20999;

/// The key that an entry's text names after the tab; empty without one.
constexpr std::string_view KeyInText(std::string_view text) {
    const std::size_t tab = text.find('\t');
    return tab == std::string_view::npos ? std::string_view() : text.substr(tab + 1);
}

/// Every identifier lies in the range that is the commands' own, and belongs to one row.
template <typename Rows>
constexpr bool IdentifiersAreGood(const Rows& rows) {
    for (std::size_t i = 0; i < rows.size(); ++i) {
        if (rows[i].id < kFirstCommandId || rows[i].id > kLastCommandId) return false;
        for (std::size_t j = 0; j < i; ++j) {
            if (rows[i].id == rows[j].id) return false;
        }
    }
    return true;
}

/// The places in the event order are 1, 2, ... up to the number of rows, each once.
template <typename Rows>
constexpr bool EventOrderIsGood(const Rows& rows) {
    for (std::size_t place = 1; place <= rows.size(); ++place) {
        std::size_t count = 0;
        for (std::size_t i = 0; i < rows.size(); ++i) {
            if (rows[i].eventOrder == place) ++count;
        }
        if (count != 1) return false;
    }
    return true;
}

/// No key belongs to two rows.
template <typename Rows>
constexpr bool KeysAreGood(const Rows& rows) {
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const std::string_view key = KeyInText(rows[i].text);
        for (std::size_t j = 0; j < i; ++j) {
            if (!key.empty() && key == KeyInText(rows[j].text)) return false;
        }
    }
    return true;
}

/// The rows of a menu follow each other: a name that comes again later would be a second menu of that name.
template <typename Rows>
constexpr bool MenusAreGood(const Rows& rows) {
    for (std::size_t i = 1; i < rows.size(); ++i) {
        const std::string_view menu = rows[i].menu;
        if (menu == rows[i - 1].menu) continue;
        for (std::size_t j = 0; j + 1 < i; ++j) {
            if (menu == rows[j].menu) return false;
        }
    }
    return true;
}

}  // namespace Korvane
