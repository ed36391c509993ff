#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace Korvane {

/// A part of the images, so that several runs, on any machines, share them.
struct Shard {
    std::uint64_t number = 1;  ///< from 1 to `count`
    std::uint64_t count = 1;

    /// Whether the image of this key (ImageList.h) belongs to the part: each does to one of them.
    bool Holds(std::uint64_t key) const;
};

/// A variable of the environment; null where it is not set.
using Environment = std::function<const char*(const char* name)>;

/// "3/16", or "slurm" for the task of a job array that runs this program. Throws ToolkitError with what is wrong.
Shard ParseShard(const std::string& text, const Environment& environment);

}  // namespace Korvane
