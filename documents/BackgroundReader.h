#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "Annotations.h"
#include "InformationBar.h"
#include "StoredImage.h"

namespace Korvane {

/// What was burnt into an image and may be taken for objects.
struct BurntIn {
    InformationBars bars;
    Annotations annotations;
};

/// Without memory to look, nothing is found. Other exceptions are the searches'.
BurntIn FindBurntIn(const qvox::VoxelImage<float>& image);

/// Reads images on a thread of its own, one after the other, and looks for what was burnt into them.
///
/// A result waits until it is taken; the thread goes no more than two ahead, so that memory stays bounded while the
/// owner is busy.
class BackgroundReader {
public:
    enum class Search { kSkipped, kMade };

    struct Job {
        std::uint64_t id = 0;
        std::string path;
        Search search = Search::kSkipped;  ///< for what was burnt in
        std::shared_ptr<const StoredImage> stored = {};  ///< where it is in memory, it is not read
        std::shared_ptr<const qvox::VoxelImage<float>> intensities = {};  ///< the same
    };

    struct Result {
        std::uint64_t id = 0;
        std::shared_ptr<const StoredImage> stored;  ///< null after a failure and for an image that was not read
        std::exception_ptr failure;
        std::optional<BurntIn> burntIn;
    };

    /// `notify` is called on the reader's thread when there is something to take.
    explicit BackgroundReader(std::function<void()> notify) : notify_(std::move(notify)) {}
    /// Waits for the image that is being read.
    ~BackgroundReader() { Stop(); }
    BackgroundReader(const BackgroundReader&) = delete;
    BackgroundReader& operator=(const BackgroundReader&) = delete;

    /// These are to be read, in this order, in place of those that were not begun.
    void Read(std::vector<Job> jobs);
    /// What was read since the last call.
    std::vector<Result> Take();
    /// Waits until there is something to take, nothing left to do, or the time is over.
    void WaitFor(std::chrono::milliseconds time);
    /// Nothing is being read, and there is nothing to take.
    bool IsIdle();
    /// Nothing more is read, and results are void; waits for the image that is being read.
    void Stop();

private:
    static constexpr std::size_t kMostAhead = 2;

    void Run();
    static Result Do(const Job& job);

    std::function<void()> notify_;
    std::thread thread_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Job> jobs_;
    std::vector<Result> results_;
    bool isReading_ = false;
    bool isStopping_ = false;
};

}  // namespace Korvane
