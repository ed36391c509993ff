#include "Interrupt.h"

#include <signal.h>

#include <atomic>

namespace Korvane {

namespace {

// A signal handler reaches nothing but what is static.
std::atomic<bool> interrupted{false};
static_assert(std::atomic<bool>::is_always_lock_free);

void Note(int) { interrupted.store(true); }

}  // namespace

void CatchInterrupts() {
    struct sigaction action {};
    action.sa_handler = Note;
    action.sa_flags = static_cast<int>(SA_RESTART | SA_RESETHAND);
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    struct sigaction ignore {};
    ignore.sa_handler = SIG_IGN;
    sigaction(SIGXFSZ, &ignore, nullptr);
}

bool Interrupted() { return interrupted.load(); }

}  // namespace Korvane
