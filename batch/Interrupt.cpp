#include "Interrupt.h"

#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>

#include "CommandTable.h"

namespace Korvane {

namespace {

// A signal handler reaches static objects only.
std::atomic<bool> interrupted{false};
static_assert(std::atomic<bool>::is_always_lock_free);

std::atomic<unsigned> grace{0};
static_assert(std::atomic<unsigned>::is_always_lock_free);

void Note(int) {
    const int error = errno;
    interrupted.store(true);
    ::alarm(grace.load());
    // Whoever waits should know what for. Only this way of printing is allowed here.
    constexpr char kText[] = "\nInterrupted: ends after the step under way. A second interrupt ends at once.\n";
    const ssize_t written = ::write(STDERR_FILENO, kText, sizeof kText - 1);
    static_cast<void>(written);
    errno = error;
}

// Files are complete or absent, so leaving at any moment harms none.
void Leave(int) { ::_exit(kExitInterrupted); }

/// A signal that was ignored when the program started stays ignored: a shell starts what runs in the background so,
/// and nohup what is to outlive the terminal.
void CatchUnlessIgnored(int signal, const struct sigaction& action) {
    struct sigaction inherited {};
    if (sigaction(signal, nullptr, &inherited) == 0 && inherited.sa_handler == SIG_IGN) return;
    sigaction(signal, &action, nullptr);
}

}  // namespace

void CatchInterrupts(unsigned graceSeconds) {
    grace.store(graceSeconds);
    struct sigaction action {};
    action.sa_handler = Note;
    action.sa_flags = static_cast<int>(SA_RESTART | SA_RESETHAND);
    sigemptyset(&action.sa_mask);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) CatchUnlessIgnored(signal, action);
    struct sigaction leave {};
    leave.sa_handler = Leave;
    sigemptyset(&leave.sa_mask);
    sigaction(SIGALRM, &leave, nullptr);
    struct sigaction ignore {};
    ignore.sa_handler = SIG_IGN;
    sigaction(SIGXFSZ, &ignore, nullptr);
}

bool Interrupted() { return interrupted.load(); }

void EndGrace() { ::alarm(0); }

}  // namespace Korvane
