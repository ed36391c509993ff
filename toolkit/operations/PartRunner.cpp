#include "operations/PartRunner.h"

namespace qvox {

void RunOneByOne(std::size_t count, const std::function<void(std::size_t)>& part) {
    for (std::size_t i = 0; i < count; ++i) part(i);
}

}  // namespace qvox
