#include "Gnuplot.h"

#include <stdlib.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

#include "RunProgram.h"
#include "ToolkitError.h"
#include "files/AtomicFile.h"

namespace Korvane {

namespace {

/// A figure takes a tenth of a second; a machine that is busy with other work may need longer.
constexpr std::chrono::milliseconds kLongestTime{120000};

/// A folder for files that nobody else sees, removed with all it holds.
class WorkFolder {
public:
    WorkFolder() {
        std::error_code error;
        const std::filesystem::path place = std::filesystem::temp_directory_path(error);
        std::string name = (error ? std::filesystem::path("/tmp") : place) / "korvane-figures-XXXXXX";
        if (::mkdtemp(name.data()) == nullptr) {
            throw qvox::FileError(qvox::FileError::Task::kWrite, name, std::generic_category().message(errno));
        }
        path_ = name;
    }
    ~WorkFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    WorkFolder(const WorkFolder&) = delete;
    WorkFolder& operator=(const WorkFolder&) = delete;

    const std::string& Path() const { return path_; }

private:
    std::string path_;
};

std::string ReadBytes(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void WriteBytes(const std::string& path, const std::string& bytes) {
    qvox::AtomicFile file(path);
    file.Write(bytes.data(), bytes.size());
    file.Commit();
}

/// The date of a PDF file becomes the start of 1980. Its places stay, which the file's table of contents counts on.
void FixDate(std::string& pdf) {
    const std::string mark = "/CreationDate (D:";
    const std::size_t at = pdf.find(mark);
    if (at == std::string::npos) return;
    const std::string date = "19800101000000";
    const std::size_t first = at + mark.size();
    if (pdf.find_first_not_of("0123456789", first) >= first + date.size()) pdf.replace(first, date.size(), date);
}

std::string FirstLines(const std::string& text, std::size_t count) {
    std::size_t end = 0;
    for (std::size_t line = 0; line < count && end != std::string::npos; ++line) {
        end = text.find('\n', end == 0 ? 0 : end + 1);
    }
    return text.substr(0, end);
}

/// The first lines beside one another.
std::string OneLine(const std::string& text, std::size_t lines) {
    std::string line = FirstLines(text, lines);
    std::replace(line.begin(), line.end(), '\n', ' ');
    line.erase(line.find_last_not_of(' ') + 1);
    return line;
}

}  // namespace

std::optional<Gnuplot> Gnuplot::Find() {
    std::string program = FindProgram("gnuplot");
    if (program.empty()) return std::nullopt;
    try {
        const ProgramEnd answer = RunProgram({program, "--version"}, "/", kLongestTime);
        if (answer.status != 0 || answer.output.compare(0, 8, "gnuplot ") != 0) return std::nullopt;
        return Gnuplot(std::move(program), FirstLines(answer.output, 1));
    } catch (const qvox::ToolkitError&) {
        return std::nullopt;
    }
}

void Gnuplot::Draw(const Figure& figure, const std::string& folder) const {
    const WorkFolder work;
    WriteFigureSources(figure, work.Path());
    const std::string name = figure.name;
    const ProgramEnd ended = RunProgram({program_, "-d", name + ".gnuplot"}, work.Path(), kLongestTime);
    std::string svg = ReadBytes(work.Path() + "/" + name + ".svg");
    std::string pdf = ReadBytes(work.Path() + "/" + name + ".pdf");
    if (ended.status != 0 || svg.empty() || pdf.empty()) {
        constexpr std::size_t kLinesTold = 6;
        throw qvox::ToolkitError("gnuplot cannot draw the figure '" + name + "' (status " +
                                 std::to_string(ended.status) + "): " + OneLine(ended.output, kLinesTold));
    }
    FixDate(pdf);
    WriteFigureSources(figure, folder);
    WriteBytes(folder + "/" + name + ".svg", svg);
    WriteBytes(folder + "/" + name + ".pdf", pdf);
}

}  // namespace Korvane
