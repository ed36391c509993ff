#include "RunProgram.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <sstream>
#include <string_view>
#include <system_error>

#include "ToolkitError.h"

namespace Korvane {

namespace {

constexpr std::size_t kMostOutput = 65536;

[[noreturn]] void Fail(const std::string& program, int error) {
    throw qvox::ToolkitError("Cannot run '" + program + "': " + std::generic_category().message(error) + ".");
}

/// A pipe that ends with this object.
class Pipe {
public:
    explicit Pipe(const std::string& program) {
        if (::pipe2(ends_.data(), O_CLOEXEC) != 0) Fail(program, errno);
    }
    ~Pipe() {
        ::close(ends_[0]);
        CloseWriter();
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    int Reader() const { return ends_[0]; }
    int Writer() const { return ends_[1]; }
    void CloseWriter() {
        if (ends_[1] >= 0) ::close(ends_[1]);
        ends_[1] = -1;
    }

private:
    std::array<int, 2> ends_{-1, -1};
};

/// What the program finds at its start: its folder and its three streams.
class FileActions {
public:
    FileActions(const std::string& folder, int output) {
        posix_spawn_file_actions_init(&actions_);
        posix_spawn_file_actions_addchdir_np(&actions_, folder.c_str());
        posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_adddup2(&actions_, output, STDOUT_FILENO);
        posix_spawn_file_actions_adddup2(&actions_, output, STDERR_FILENO);
    }
    ~FileActions() { posix_spawn_file_actions_destroy(&actions_); }
    FileActions(const FileActions&) = delete;
    FileActions& operator=(const FileActions&) = delete;

    const posix_spawn_file_actions_t* Get() const { return &actions_; }

private:
    posix_spawn_file_actions_t actions_{};
};

bool BeginsWith(std::string_view text, std::string_view start) { return text.substr(0, start.size()) == start; }

std::vector<std::string> Environment() {
    std::vector<std::string> kept;
    for (char** entry = ::environ; entry != nullptr && *entry != nullptr; ++entry) {
        const std::string_view text(*entry);
        // Of gnuplot's variables, which all begin alike, none may decide what a figure looks like.
        if (BeginsWith(text, "LC_") || BeginsWith(text, "LANG") || BeginsWith(text, "GNU")) continue;
        kept.emplace_back(text);
    }
    kept.emplace_back("LC_ALL=C.UTF-8");
    return kept;
}

std::vector<char*> Pointers(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string& text : texts) pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

/// Everything up to the end of the program's streams; false when that has not come in time.
bool ReadAll(int from, std::chrono::milliseconds limit, std::string& output) {
    const auto end = std::chrono::steady_clock::now() + limit;
    std::array<char, 4096> buffer;
    for (;;) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
        if (left.count() <= 0) return false;
        pollfd wanted{from, POLLIN, 0};
        if (::poll(&wanted, 1, static_cast<int>(left.count())) <= 0) continue;
        const ssize_t count = ::read(from, buffer.data(), buffer.size());
        if (count == 0) return true;
        if (count < 0 && errno != EINTR) return true;
        const std::size_t space = kMostOutput - output.size();
        if (count > 0) output.append(buffer.data(), std::min(static_cast<std::size_t>(count), space));
    }
}

int WaitFor(pid_t process) {
    int status = 0;
    while (::waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

}  // namespace

ProgramEnd RunProgram(const std::vector<std::string>& arguments, const std::string& folder,
                      std::chrono::milliseconds limit) {
    const std::string& program = arguments.at(0);
    Pipe pipe(program);
    const FileActions actions(folder, pipe.Writer());
    std::vector<std::string> words = arguments;
    std::vector<std::string> environment = Environment();
    pid_t process = 0;
    const int error = ::posix_spawn(&process, program.c_str(), actions.Get(), nullptr, Pointers(words).data(),
                                    Pointers(environment).data());
    if (error != 0) Fail(program, error);
    pipe.CloseWriter();
    ProgramEnd ended;
    const bool isInTime = ReadAll(pipe.Reader(), limit, ended.output);
    if (!isInTime) ::kill(process, SIGKILL);
    ended.status = WaitFor(process);
    if (!isInTime) {
        throw qvox::ToolkitError("'" + program + "' was stopped: it did not end within " +
                                 std::to_string(limit.count()) + " ms.");
    }
    return ended;
}

std::string FindProgram(const std::string& name) {
    const char* const path = std::getenv("PATH");
    std::istringstream folders(path != nullptr ? path : "");
    for (std::string folder; std::getline(folders, folder, ':');) {
        // An empty or relative folder would be searched from wherever the user happens to be.
        if (folder.empty() || folder.front() != '/') continue;
        std::string file = folder;
        file.append("/").append(name);
        struct stat found {};
        if (::stat(file.c_str(), &found) == 0 && S_ISREG(found.st_mode) && ::access(file.c_str(), X_OK) == 0)
            return file;
    }
    return {};
}

}  // namespace Korvane
