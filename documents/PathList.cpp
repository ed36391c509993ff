#include "PathList.h"

namespace Korvane {

void PathList::push_back(const std::string& path) {
    const std::size_t name = path.rfind('/') + 1;  // 0 without a separator
    const std::string folder = path.substr(0, name);
    const auto [place, isNew] = places_.try_emplace(folder, static_cast<std::uint32_t>(folders_.size()));
    if (isNew) folders_.push_back(folder);
    folderOf_.push_back(place->second);
    names_.append(path, name);
    ends_.push_back(names_.size());
}

std::string PathList::operator[](std::size_t index) const {
    const std::uint64_t begin = index == 0 ? 0 : ends_[index - 1];
    return folders_[folderOf_[index]] + names_.substr(begin, ends_[index] - begin);
}

}  // namespace Korvane
