#pragma once

#include <chrono>
#include <optional>
#include <stdexcept>

#include "ShortestText.h"

namespace Korvane {

/// Thrown out of an image's work when its time is over.
class TimeLimitReached : public std::runtime_error {
public:
    explicit TimeLimitReached(double seconds)
        : std::runtime_error("It took longer than the --time-limit of " +
                             qvox::ShortestText(static_cast<float>(seconds)) + " s") {}
};

/// When the work on an image is to end, if ever. Its time begins as it is made.
class Deadline {
public:
    explicit Deadline(std::optional<double> seconds) : seconds_(seconds) {}

    /// Throws TimeLimitReached once the time is over. Any thread may call it.
    void Check() const {
        if (!seconds_) return;
        const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - start_;
        if (passed.count() > *seconds_) throw TimeLimitReached(*seconds_);
    }

private:
    std::optional<double> seconds_;
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

}  // namespace Korvane
