#pragma once

#include <array>
#include <charconv>
#include <string>

namespace qvox {

/// The shortest decimal that gives this number again; the same in every locale.
template <typename T>
std::string ShortestText(T value) {
    std::array<char, 64> text;
    return std::string(text.data(), std::to_chars(text.data(), text.data() + text.size(), value).ptr);
}

/// The double whose shortest decimal is that of the float: 0.15, not 0.15000000596046448.
inline double ShortestDouble(float value) {
    const std::string text = ShortestText(value);
    double number = 0.0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

}  // namespace qvox
