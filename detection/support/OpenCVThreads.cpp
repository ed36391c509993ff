#include "support/OpenCVThreads.h"

#include <opencv2/core.hpp>
#include <opencv2/core/utility.hpp>

#ifdef __SANITIZE_THREAD__
#include <sanitizer/tsan_interface.h>
#endif

namespace Korvane {

namespace {

// The threads' libraries are built without the thread sanitizer, which therefore does not see that they hand work over
// and wait for it. These calls tell it; between two parts they tell nothing, so that their races are found.
#ifdef __SANITIZE_THREAD__
#define KORVANE_NOT_WATCHED __attribute__((no_sanitize("thread")))
void HandOver(void* place) { __tsan_release(place); }
void TakeOver(void* place) { __tsan_acquire(place); }
#else
#define KORVANE_NOT_WATCHED
void HandOver(void* /*place*/) {}
void TakeOver(void* /*place*/) {}
#endif

class Parts : public cv::ParallelLoopBody {
public:
    explicit Parts(const std::function<void(std::size_t)>& part) : part_(part) {}

    void RunAll(std::size_t count) {
        HandOver(&begin_);
        cv::parallel_for_(cv::Range(0, static_cast<int>(count)), *this);
        TakeOver(&end_);
    }

    KORVANE_NOT_WATCHED void operator()(const cv::Range& range) const override {
        TakeOver(&begin_);
        Run(range);
        HandOver(&end_);
    }

private:
    void Run(const cv::Range& range) const {
        for (int i = range.start; i < range.end; ++i) part_(static_cast<std::size_t>(i));
    }

    const std::function<void(std::size_t)>& part_;
    mutable char begin_ = 0;  // the places that stand for the two moments
    mutable char end_ = 0;
};

}  // namespace

void SetOpenCVThreads(int count) { cv::setNumThreads(count < 1 ? 1 : count); }

void RunOnOpenCVThreads(std::size_t count, const std::function<void(std::size_t)>& part) { Parts(part).RunAll(count); }

}  // namespace Korvane
