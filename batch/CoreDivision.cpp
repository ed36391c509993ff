#include "CoreDivision.h"

#include <algorithm>

namespace Korvane {

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
