#include "faults/SystemCalls.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>

namespace korvane_test {

namespace {

struct State {
    FaultPlan plan;
    std::vector<std::string> calls;
    std::size_t written = 0;
    bool active = false;
};

State& Current() {
    static State state;
    return state;
}

/// Notes a call; true when it has to fail, errno being set.
bool Fails(const char* call) {
    State& state = Current();
    if (!state.active) return false;
    state.calls.emplace_back(call);
    const int number = static_cast<int>(state.calls.size());
    if (number == state.plan.killedCall) ::kill(::getpid(), SIGKILL);
    if (number != state.plan.failingCall) return false;
    errno = state.plan.error;
    return true;
}

}  // namespace

void SetFaultPlan(const FaultPlan& plan) { Current() = State{plan, {}, 0, true}; }

std::vector<std::string> EndFaultPlan() {
    Current().active = false;
    return Current().calls;
}

}  // namespace korvane_test

using korvane_test::Current;
using korvane_test::Fails;

// The names are the linker's: with --wrap, a call of f goes to __wrap_f, and __real_f is the C library's own.
extern "C" {

int __real_open(const char* path, int flags, ...);
int __real_fchmod(int file, mode_t mode);
ssize_t __real_write(int file, const void* bytes, size_t count);
int __real_fsync(int file);
int __real_linkat(int oldFolder, const char* oldPath, int newFolder, const char* newPath, int flags);
int __real_rename(const char* from, const char* to);

int __wrap_open(const char* path, int flags, ...) {
    mode_t mode = 0;
    if ((flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE) {
        va_list rest;
        va_start(rest, flags);
        mode = va_arg(rest, mode_t);
        va_end(rest);
    }
    const bool nameless = (flags & O_TMPFILE) == O_TMPFILE;
    if (Fails((flags & O_DIRECTORY) != 0 && !nameless ? "open folder" : "open")) return -1;
    if (Current().active && !Current().plan.namelessFiles && nameless) {
        errno = EOPNOTSUPP;
        return -1;
    }
    return __real_open(path, flags, mode);
}

int __wrap_fchmod(int file, mode_t mode) { return Fails("fchmod") ? -1 : __real_fchmod(file, mode); }

ssize_t __wrap_write(int file, const void* bytes, size_t count) {
    if (Fails("write")) return -1;
    auto& state = Current();
    if (!state.active || !state.plan.disk) return __real_write(file, bytes, count);
    const std::size_t room = state.plan.bytesBeforeFull - state.written;
    if (room == 0 && count > 0) {
        errno = ENOSPC;
        return -1;
    }
    // A disk that fills up takes what still fits.
    const ssize_t done = __real_write(file, bytes, std::min(count, room));
    if (done > 0) state.written += static_cast<std::size_t>(done);
    return done;
}

int __wrap_fsync(int file) {
    struct stat status {};
    const bool folder = ::fstat(file, &status) == 0 && S_ISDIR(status.st_mode);
    return Fails(folder ? "fsync folder" : "fsync") ? -1 : __real_fsync(file);
}

int __wrap_linkat(int oldFolder, const char* oldPath, int newFolder, const char* newPath, int flags) {
    return Fails("linkat") ? -1 : __real_linkat(oldFolder, oldPath, newFolder, newPath, flags);
}

int __wrap_rename(const char* from, const char* to) { return Fails("rename") ? -1 : __real_rename(from, to); }

}  // extern "C"
