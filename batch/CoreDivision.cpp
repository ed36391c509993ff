#include "CoreDivision.h"

#include <algorithm>
#include <string>

#include "Processors.h"

namespace Korvane {

CoreShares ShareOut(const JobOptions& jobs) {
    if (jobs.images && jobs.threads && *jobs.images > *jobs.threads) {
        throw UsageError("--jobs " + std::to_string(*jobs.images) + " needs as many --threads, not " +
                         std::to_string(*jobs.threads) + ".");
    }
    const unsigned threads = jobs.threads ? *jobs.threads : qvox::UsableProcessors();
    return {jobs.images.value_or(threads), threads};
}

bool CoreDivision::MayShare() const { return std::min(left_.load(), jobs_) < processors_; }

void CoreDivision::Run(std::size_t count, const std::function<void(std::size_t)>& part,
                       const qvox::PartRunner& onAll) const {
    if (MayShare()) {
        onAll(count, part);
    } else {
        qvox::RunOneByOne(count, part);
    }
}

}  // namespace Korvane
