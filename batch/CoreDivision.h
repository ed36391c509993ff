#pragma once

#include <atomic>
#include <cstddef>
#include <functional>

#include "OptionGroups.h"
#include "operations/PartRunner.h"

namespace Korvane {

/// How a run uses the processors.
struct CoreShares {
    unsigned images;   ///< at a time
    unsigned threads;  ///< of all of them together
};

/// What the options ask for; without them, as many of both as the process may use processors. Throws UsageError for
/// more images at a time than threads.
CoreShares ShareOut(const JobOptions& jobs);

/// Divides the processors between the images of a run by how many are not done yet: while these are enough to keep all
/// processors busy, each image takes one thread; once fewer are left, their parts run on all processors.
class CoreDivision {
public:
    /// `jobs`: images at a time, at least 1.
    CoreDivision(std::size_t images, unsigned jobs, unsigned processors)
        : left_(images), jobs_(jobs), processors_(processors) {}

    void ImageDone() { --left_; }
    /// Whether an image that is being worked on may use more than its own thread now.
    bool MayShare() const;
    /// A PartRunner: asks anew at each call. `onAll` runs parts on all processors.
    void Run(std::size_t count, const std::function<void(std::size_t)>& part, const qvox::PartRunner& onAll) const;

private:
    std::atomic<std::size_t> left_;
    std::size_t jobs_;
    std::size_t processors_;
};

}  // namespace Korvane
