#include "batch/ProgramRunner.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <cstdlib>

#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>
#include <system_error>

namespace korvane_test {

namespace {

std::string TemporaryFile() {
    std::string pattern = "/tmp/korvane-run-XXXXXX";
    const int file = ::mkstemp(pattern.data());
    if (file < 0) throw std::runtime_error("cannot make a temporary file");
    ::close(file);
    return pattern;
}

std::vector<char*> Pointers(const std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (const std::string& text : texts) pointers.push_back(const_cast<char*>(text.c_str()));
    pointers.push_back(nullptr);
    return pointers;
}

}  // namespace

ProgramRun::ProgramRun(const std::vector<std::string>& arguments, const Surroundings& surroundings)
    : outputPath_(TemporaryFile()), messagesPath_(TemporaryFile()) {
    std::vector<std::string> texts{KORVANE_BATCH_PROGRAM};
    texts.insert(texts.end(), arguments.begin(), arguments.end());
    const std::vector<char*> argv = Pointers(texts);
    std::vector<std::string> variables = surroundings.environment;
    // What the sanitizers are to pass over holds for the program under test too.
    if (const char* options = std::getenv("LSAN_OPTIONS")) variables.push_back(std::string("LSAN_OPTIONS=") + options);
    const std::vector<char*> environment = Pointers(variables);
    const std::string output = surroundings.standardOutput.empty() ? outputPath_ : surroundings.standardOutput;
    process_ = ::fork();
    if (process_ < 0) throw std::runtime_error("cannot start a process");
    if (process_ > 0) return;
    ::dup2(::open(surroundings.standardInput.c_str(), O_RDONLY), 0);
    ::dup2(::open(output.c_str(), O_WRONLY), 1);
    ::dup2(::open(messagesPath_.c_str(), O_WRONLY), 2);
    for (const char digit : surroundings.closedStreams) ::close(digit - '0');
    if (surroundings.maxFileBytes > 0) {
        const rlimit limit{surroundings.maxFileBytes, surroundings.maxFileBytes};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    if (surroundings.maxAddressBytes > 0) {
        const rlimit limit{surroundings.maxAddressBytes, surroundings.maxAddressBytes};
        ::setrlimit(RLIMIT_AS, &limit);
    }
    if (surroundings.user != 0 && ::setuid(surroundings.user) != 0) ::_exit(126);
    if (::chdir(surroundings.workingFolder.c_str()) == 0) ::execve(argv[0], argv.data(), environment.data());
    ::_exit(127);
}

ProgramRun::~ProgramRun() {
    if (process_ > 0) {
        ::kill(process_, SIGKILL);
        ::waitpid(process_, nullptr, 0);
    }
    ::unlink(outputPath_.c_str());
    ::unlink(messagesPath_.c_str());
}

void ProgramRun::Signal(int number) const { ::kill(process_, number); }

std::string ProgramRun::FileBehind(int descriptor) const {
    std::error_code closed;
    const std::filesystem::path process = "/proc/" + std::to_string(process_);
    // Before the program runs, the process has this one's files.
    if (std::filesystem::read_symlink(process / "exe", closed).filename() != "korvane-batch") return "";
    return std::filesystem::read_symlink(process / "fd" / std::to_string(descriptor), closed).string();
}

bool ProgramRun::HasEnded() const {
    siginfo_t ended{};
    return ::waitid(P_PID, static_cast<id_t>(process_), &ended, WEXITED | WNOHANG | WNOWAIT) == 0 && ended.si_pid != 0;
}

ProgramResult ProgramRun::Await() {
    int status = 0;
    ::waitpid(process_, &status, 0);
    process_ = -1;
    ProgramResult result;
    if (WIFEXITED(status)) result.status = WEXITSTATUS(status);
    result.output = Contents(outputPath_);
    result.messages = Contents(messagesPath_);
    return result;
}

ProgramResult RunProgram(const std::vector<std::string>& arguments, const Surroundings& surroundings) {
    return ProgramRun(arguments, surroundings).Await();
}

std::string ShownOnTerminal(const std::vector<std::string>& arguments, const std::string& end) {
    const int terminal = ::posix_openpt(O_RDWR | O_NOCTTY);
    if (terminal < 0 || ::grantpt(terminal) != 0 || ::unlockpt(terminal) != 0) {
        throw std::runtime_error("cannot make a terminal");
    }
    Surroundings surroundings;
    surroundings.standardOutput = ::ptsname(terminal);
    // Keeps what the program writes until it is read here.
    const int other = ::open(surroundings.standardOutput.c_str(), O_RDWR | O_NOCTTY);
    RunProgram(arguments, surroundings);
    std::string shown;
    pollfd awaited{terminal, POLLIN, 0};
    // One reading gives what one writing gave.
    while (shown.find(end) == std::string::npos && ::poll(&awaited, 1, 2000) == 1) {
        std::array<char, 4096> piece{};
        const ssize_t count = ::read(terminal, piece.data(), piece.size());
        if (count <= 0) break;
        shown.append(piece.data(), static_cast<std::size_t>(count));
    }
    ::close(other);
    ::close(terminal);
    return shown;
}

std::string Contents(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

qvox::VoxelImage<std::uint8_t> Vesicles(unsigned seed, std::uint64_t width, std::uint64_t height, float perUm) {
    std::mt19937 random(seed);
    qvox::VoxelImage<std::uint8_t> image;
    image.Resize(width, height, 1);
    image.SetResolution({perUm, perUm, 0.0f});
    const double shift = static_cast<double>(random() % 8);
    for (std::uint64_t i = 0; i < image.VoxelCount(); ++i) {
        const double x = static_cast<double>(i % width % 48) - 20.0 - shift;
        const double y = static_cast<double>(i / width % 40) - 20.0;
        const bool inside = x * x + y * y < 120.0;
        image[i] = static_cast<std::uint8_t>((inside ? 180u : 60u) + random() % 12);
    }
    return image;
}

qvox::LabelImage TwoSquares(std::uint64_t width, std::uint64_t height) {
    qvox::LabelImage labels;
    labels.Resize(width, height, 1);
    labels.Zero();
    for (std::uint64_t y = 0; y < 10; ++y) {
        for (std::uint64_t x = 0; x < 10; ++x) {
            labels(x + 40, y + 10) = 3;
            labels(x + 10, y + 40) = 700;
        }
    }
    return labels;
}

}  // namespace korvane_test
