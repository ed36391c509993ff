#pragma once

#include <cstddef>
#include <functional>

namespace qvox {

/// Does what is told by part(0) .. part(count - 1), each once, in any order; at the same time where it likes.
using PartRunner = std::function<void(std::size_t count, const std::function<void(std::size_t)>& part)>;
void RunOneByOne(std::size_t count, const std::function<void(std::size_t)>& part);

}  // namespace qvox
