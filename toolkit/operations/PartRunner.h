#pragma once

#include <cstddef>
#include <functional>

namespace qvox {

/// Calls part(0) .. part(count - 1), each once, in any order, possibly at the same time.
using PartRunner = std::function<void(std::size_t count, const std::function<void(std::size_t)>& part)>;
void RunOneByOne(std::size_t count, const std::function<void(std::size_t)>& part);

}  // namespace qvox
