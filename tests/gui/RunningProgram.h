#pragma once

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace korvane_test {

inline constexpr std::chrono::seconds kLimit{60};
/// After so long without an effect a key is pressed once more: a window may not have been ready for it.
inline constexpr std::chrono::seconds kPatience{3};
inline constexpr std::chrono::milliseconds kPoll{20};

inline bool Await(const std::function<bool()>& holds, std::chrono::seconds limit = kLimit) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!holds()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(kPoll);
    }
    return true;
}

/// What a shell command wrote, and whether it succeeded.
inline std::pair<std::string, bool> Shell(const std::string& command) {
    std::FILE* const pipe = popen((command + " 2>/dev/null").c_str(), "r");
    std::string text;
    std::array<char, 256> part{};
    while (std::fgets(part.data(), part.size(), pipe) != nullptr) text += part.data();
    return {text, pclose(pipe) == 0};
}

inline std::string Contents(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// One run of the window program.
class Program {
public:
    /// Without the descriptors of `closed` ("2", "01"), which are 0 to 2.
    Program(const std::vector<std::string>& files, const std::string& output, const std::string& closed = "") {
        std::vector<std::string> words{KORVANE_PROGRAM};
        words.insert(words.end(), files.begin(), files.end());
        std::vector<char*> arguments;
        for (std::string& word : words) arguments.push_back(word.data());
        arguments.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        for (const char digit : closed) posix_spawn_file_actions_addclose(&actions, digit - '0');
        EXPECT_EQ(posix_spawn(&process_, KORVANE_PROGRAM, &actions, nullptr, arguments.data(), environ), 0);
        posix_spawn_file_actions_destroy(&actions);
    }

    ~Program() {
        if (process_ <= 0 || ended_) return;
        kill(process_, SIGKILL);
        waitpid(process_, nullptr, 0);
    }

    /// Whether it ended by itself, and well.
    bool EndedWell() {
        int status = -1;
        if (!Await([&] { return waitpid(process_, &status, WNOHANG) == process_; })) return false;
        ended_ = true;
        return WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }

    void Signal(int number) const { kill(process_, number); }

    /// Whether it ended, in whatever way.
    bool Died() {
        ended_ = ended_ || Await([&] { return waitpid(process_, nullptr, WNOHANG) == process_; });
        return ended_;
    }

    /// The file behind one of its descriptors, empty when that is closed.
    std::string FileBehind(int descriptor) const {
        std::error_code none;
        const std::string link = "/proc/" + std::to_string(process_) + "/fd/" + std::to_string(descriptor);
        return std::filesystem::read_symlink(link, none).string();
    }

    /// The longest file that the program may write from now on.
    void LimitFiles(rlim_t bytes) const {
        const rlimit limit{bytes, RLIM_INFINITY};
        EXPECT_EQ(prlimit(process_, RLIMIT_FSIZE, &limit, nullptr), 0);
    }

    /// A visible window of the program by a part of its title, "" when there is none. The titles are asked for one by
    /// one: the search by title looks at a property that cannot hold every letter.
    std::string Window(const std::string& title) const {
        std::istringstream ids(
            Shell("xdotool search --all --onlyvisible --pid " + std::to_string(process_) + " --name .").first);
        for (std::string id; std::getline(ids, id);) {
            if (Shell("xdotool getwindowname " + id).first.find(title) != std::string::npos) return id;
        }
        return "";
    }

private:
    pid_t process_ = -1;
    bool ended_ = false;
};

/// A display that can be lost.
class OwnDisplay {
public:
    OwnDisplay() {
        int ends[2] = {-1, -1};
        EXPECT_EQ(pipe(ends), 0);
        const std::string end = std::to_string(ends[1]);
        // Without -noreset the server begins anew when its last client leaves, which xdotool does while the program
        // starts, and a program that connects in that moment is turned away.
        std::vector<std::string> words{"Xvfb",       "-displayfd", end,   "-screen", "0",
                                       "900x800x24", "-nolisten",  "tcp", "-noreset"};
        std::vector<char*> arguments;
        for (std::string& word : words) arguments.push_back(word.data());
        arguments.push_back(nullptr);
        EXPECT_EQ(posix_spawnp(&process_, "Xvfb", nullptr, nullptr, arguments.data(), environ), 0);
        close(ends[1]);
        std::string number = ":";
        for (char digit = 0; read(ends[0], &digit, 1) == 1 && digit != '\n';) number += digit;
        close(ends[0]);
        EXPECT_GT(number.size(), 1u) << "no display could be started";
        before_ = std::getenv("DISPLAY");
        setenv("DISPLAY", number.c_str(), 1);
    }
    ~OwnDisplay() {
        Lose();
        setenv("DISPLAY", before_.c_str(), 1);
    }
    OwnDisplay(const OwnDisplay&) = delete;
    OwnDisplay& operator=(const OwnDisplay&) = delete;

    void Lose() {
        if (process_ <= 0) return;
        kill(process_, SIGKILL);
        waitpid(process_, nullptr, 0);
        process_ = -1;
    }

private:
    pid_t process_ = -1;
    std::string before_;
};

}  // namespace korvane_test
