#include "BackgroundReader.h"

#ifdef __linux__
#include <sys/resource.h>
#endif

#include <utility>

#include "ExceptionText.h"

namespace Korvane {

namespace {

/// The thread that calls gives way to others, that of the window first of all.
void StandBack() {
#ifdef __linux__
    constexpr int kNiceness = 10;
    // A niceness is a thread's own there. Where it is refused, the thread is as urgent as others.
    static_cast<void>(setpriority(PRIO_PROCESS, 0, kNiceness));
#endif
}

}  // namespace

BurntIn FindBurntIn(const qvox::VoxelImage<float>& image) {
    try {
        return {FindInformationBars(image), FindAnnotations(image)};
    } catch (...) {
        if (!IsOutOfMemory(std::current_exception())) throw;
        return BurntIn();
    }
}

void BackgroundReader::Read(std::vector<Job> jobs) {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        jobs_.assign(std::make_move_iterator(jobs.begin()), std::make_move_iterator(jobs.end()));
        results_.reserve(kMostAhead);
        try {
            if (!thread_.joinable() && !jobs_.empty()) thread_ = std::thread([this] { Run(); });
        } catch (...) {
            // Nobody would do them, and whoever waits for them would wait for ever.
            jobs_.clear();
            throw;
        }
    }
    changed_.notify_all();
}

std::vector<BackgroundReader::Result> BackgroundReader::Take() {
    std::vector<Result> taken;
    // In exchange: the thread can then put results there without asking for memory.
    taken.reserve(kMostAhead);
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        taken.swap(results_);
    }
    if (!taken.empty()) changed_.notify_all();
    return taken;
}

void BackgroundReader::WaitFor(std::chrono::milliseconds time) {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait_for(lock, time, [this] { return !results_.empty() || (jobs_.empty() && !isReading_); });
}

bool BackgroundReader::IsIdle() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return jobs_.empty() && results_.empty() && !isReading_;
}

void BackgroundReader::Stop() {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        jobs_.clear();
        isStopping_ = true;
    }
    changed_.notify_all();
    if (thread_.joinable()) thread_.join();
    results_.clear();
    isStopping_ = false;
}

BackgroundReader::Result BackgroundReader::Do(const Job& job) {
    Result result;
    result.id = job.id;
    try {
        if (!job.stored && !job.intensities) {
            result.stored = std::make_shared<const StoredImage>(LoadStoredImage(job.path));
        }
    } catch (...) {
        result.failure = std::current_exception();
        return result;
    }
    if (job.search == Search::kSkipped) return result;
    try {
        result.burntIn = FindBurntIn(
            job.intensities ? *job.intensities : *ShareIntensities(job.stored ? job.stored : result.stored));
    } catch (...) {
        // The image is open all the same.
        result.burntIn.emplace();
    }
    return result;
}

void BackgroundReader::Run() {
    StandBack();
    std::unique_lock<std::mutex> lock(mutex_);
    while (true) {
        changed_.wait(lock, [this] { return isStopping_ || (!jobs_.empty() && results_.size() < kMostAhead); });
        if (isStopping_) return;
        Job job = std::move(jobs_.front());
        jobs_.pop_front();
        isReading_ = true;
        lock.unlock();
        Result result = Do(job);
        job = {};
        lock.lock();
        isReading_ = false;
        results_.push_back(std::move(result));
        lock.unlock();
        changed_.notify_all();
        notify_();
        lock.lock();
    }
}

}  // namespace Korvane
