#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "ImageList.h"
#include "OptionGroups.h"

namespace Korvane {

/// ListImages, with a UsageError for what it refuses and for patterns where no folder is among the arguments.
ImageListing ExpandInputs(const std::vector<std::string>& arguments, const FolderChoice& choice = {},
                          const PathList& files = {});

/// The same where it is known already that subfolders are entered: those of labels or records.
ImageListing ExpandKnownInputs(const std::vector<std::string>& arguments, const FolderChoice& choice,
                               const PathList& files);

/// The images that a run was asked for, those of other shards included. What it makes goes below `output`, which is
/// not looked through for images.
ImageListing ExpandInputs(const InputOptions& input, const std::optional<std::string>& output = std::nullopt);

/// The images of the shard; all without one.
ImageListing ShardOf(const ImageListing& listing, const std::optional<Shard>& shard);

/// "Shard 3/16 holds 12 of 200 images."; empty without one.
std::string ShardText(const std::optional<Shard>& shard, std::size_t taken, std::size_t images);

}  // namespace Korvane
