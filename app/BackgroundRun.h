#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <string>

class wxProgressDialog;

namespace Korvane {

/// Runs work on another thread while a progress dialog handles events. Nothing else of the window may be used
/// meanwhile: the main window is disabled. Cancelling is a wish; the work asks for it where it can end.
class BackgroundRun {
public:
    explicit BackgroundRun(wxProgressDialog& dialog) : dialog_(dialog) {}

    /// Returns when the work is done; throws what it throws.
    void Run(const std::function<void()>& work);

    // For the work, on any thread.

    void Show(int value, const std::string& text);
    bool IsCancelled() const { return isCancelled_; }

private:
    void Update();

    wxProgressDialog& dialog_;
    std::atomic<bool> isCancelled_{false};
    std::mutex mutex_;  // of the two below
    int value_ = 0;
    std::string text_;
};

}  // namespace Korvane
