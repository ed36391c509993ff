#include "files/LengthUnit.h"

#include <charconv>
#include <utility>

namespace qvox {

namespace {

void Replace(std::string& text, const std::string& from, const std::string& to) {
    for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
}

std::string Lower(std::string text) {
    for (char& c : text) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return text;
}

// Every way to write the two letters that ASCII lacks, brought to one.
std::string Plain(std::string unit) {
    for (const char* mu : {"\xC2\xB5", "\xCE\xBC", "\\u00B5", "\\u00b5", "\\u03BC", "\\u03bc", "\xB5"}) {
        Replace(unit, mu, "u");
    }
    for (const char* ring : {"\xC3\x85", "\xE2\x84\xAB", "\\u00C5", "\\u00c5", "\\u212B", "\\u212b", "\xC5"}) {
        Replace(unit, ring, "A");
    }
    return unit;
}

}  // namespace

std::string Trimmed(const std::string& text) {
    const char* blanks = " \t\r\n\f\v";
    const std::size_t first = text.find_first_not_of(blanks);
    return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::optional<double> DecimalNumber(const std::string& text) {
    const std::string trimmed = Trimmed(text);
    const char* first = trimmed.data() + (trimmed.size() > 1 && trimmed[0] == '+' ? 1 : 0);
    const char* last = trimmed.data() + trimmed.size();
    double value = 0.0;
    const auto [end, error] = std::from_chars(first, last, value);
    if (error != std::errc() || end != last) return std::nullopt;
    return value;
}

std::optional<double> MicrometresPerUnit(const std::string& unit) {
    // Case tells mm from Mm, so short units are compared as they are.
    static constexpr std::pair<const char*, double> kShort[] = {
        {"pm", 1e-6}, {"A", 1e-4}, {"nm", 1e-3}, {"um", 1.0},     {"u", 1.0},
        {"mm", 1e3},  {"cm", 1e4}, {"m", 1e6},   {"in", 25400.0}, {"\"", 25400.0},
    };
    static constexpr std::pair<const char*, double> kWords[] = {
        {"picometer", 1e-6}, {"picometre", 1e-6}, {"angstrom", 1e-4},  {"nanometer", 1e-3}, {"nanometre", 1e-3},
        {"micron", 1.0},     {"micrometer", 1.0}, {"micrometre", 1.0}, {"millimeter", 1e3}, {"millimetre", 1e3},
        {"centimeter", 1e4}, {"centimetre", 1e4}, {"meter", 1e6},      {"metre", 1e6},      {"inch", 25400.0},
        {"inches", 25400.0}, {"umeter", 1.0},     {"umetre", 1.0},
    };
    constexpr std::size_t kLongest = 64;
    const std::string trimmed = Trimmed(unit);
    if (trimmed.size() > kLongest) return std::nullopt;
    const std::string plain = Plain(trimmed);
    for (const auto& [name, size] : kShort) {
        if (plain == name) return size;
    }
    std::string word = Lower(plain);
    for (const auto& [name, size] : kWords) {
        if (word == name || word == std::string(name) + "s") return size;
    }
    for (const char* name : {"um", "nm"}) {
        if (word == name) return word == "um" ? 1.0 : 1e-3;
    }
    return std::nullopt;
}

}  // namespace qvox
