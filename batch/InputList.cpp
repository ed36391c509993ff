#include "InputList.h"

#include "ToolkitError.h"

namespace Korvane {

ImageListing ExpandInputs(const std::vector<std::string>& arguments, const FolderChoice& choice,
                          const PathList& files) {
    ImageListing listing = ExpandKnownInputs(arguments, choice, files);
    if (!listing.fromFolders && choice.subfolders == Subfolders::kEntered) {
        throw UsageError("--recursive enters the subfolders of folders, and no folder is given.");
    }
    return listing;
}

ImageListing ExpandKnownInputs(const std::vector<std::string>& arguments, const FolderChoice& choice,
                               const PathList& files) {
    try {
        ImageListing listing = ListImages(arguments, choice, files);
        if (!listing.fromFolders && !(choice.include.empty() && choice.exclude.empty())) {
            throw UsageError("--include and --exclude choose among the files of folders, and no folder is given.");
        }
        return listing;
    } catch (const qvox::ToolkitError& error) {
        throw UsageError(error.what());
    }
}

ImageListing ExpandInputs(const InputOptions& input, const std::optional<std::string>& output) {
    FolderChoice choice = input.choice;
    if (output) choice.results = FullPath(*output);
    return ExpandInputs(input.images, choice, input.listed);
}

ImageListing ShardOf(const ImageListing& listing, const std::optional<Shard>& shard) {
    if (!shard) return listing;
    ImageListing part = listing;
    part.images.clear();
    part.subfolders.clear();
    part.keys.clear();
    for (std::size_t i = 0; i < listing.images.size(); ++i) {
        if (!shard->Holds(listing.keys[i])) continue;
        part.images.push_back(listing.images[i]);
        part.subfolders.push_back(listing.subfolders[i]);
        part.keys.push_back(listing.keys[i]);
    }
    return part;
}

std::string ShardText(const std::optional<Shard>& shard, std::size_t taken, std::size_t images) {
    if (!shard) return {};
    return "Shard " + std::to_string(shard->number) + "/" + std::to_string(shard->count) + " holds " +
           (taken == 0 ? "none" : std::to_string(taken)) + " of " + std::to_string(images) +
           (images == 1 ? " image." : " images.");
}

}  // namespace Korvane
