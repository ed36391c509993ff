#pragma once

#include <initializer_list>
#include <string>

namespace Korvane {

/// The data of a figure as gnuplot reads them: blocks of rows, of which a plot names one by `index`. Texts are never
/// commands and never end a field, whatever they hold.
class FigureData {
public:
    class Field {
    public:
        Field(double value);  // NOLINT(google-explicit-constructor): rows are lists of numbers and texts
        Field(int value) : Field(static_cast<double>(value)) {}  // NOLINT(google-explicit-constructor)
        Field(const std::string& text);                          // NOLINT(google-explicit-constructor)
        Field(const char* text) : Field(std::string(text)) {}    // NOLINT(google-explicit-constructor)

        const std::string& Text() const { return text_; }

    private:
        std::string text_;
    };

    /// Begins the next block, from index 0. The names of the columns are a comment in the file.
    void BeginBlock(std::initializer_list<const char*> columns);
    void Row(std::initializer_list<Field> fields);
    /// An empty line: lines and areas do not go on over it.
    void Gap() { text_ += "\n"; }

    const std::string& Text() const { return text_; }

private:
    std::string text_;
};

}  // namespace Korvane
