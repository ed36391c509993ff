#include "BackgroundRun.h"

#include <algorithm>
#include <chrono>
#include <future>

#include <wx/progdlg.h>

namespace Korvane {

namespace {

/// Short beside the patience of a person who drags a window or presses Cancel.
constexpr std::chrono::milliseconds kBetweenEvents{30};

}  // namespace

void BackgroundRun::Run(const std::function<void()>& work) {
    std::future<void> running = std::async(std::launch::async, work);
    while (running.wait_for(kBetweenEvents) != std::future_status::ready) Update();
    running.get();
}

void BackgroundRun::Show(int value, const std::string& text) {
    const std::lock_guard<std::mutex> lock(mutex_);
    value_ = value;
    text_ = text;
}

void BackgroundRun::Update() {
    int value = 0;
    std::string text;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        value = std::min(value_, dialog_.GetRange() - 1);
        text = text_;
    }
    if (!dialog_.Update(value, wxString::FromUTF8(text))) isCancelled_ = true;
}

}  // namespace Korvane
