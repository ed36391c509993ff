#pragma once

#include <cstddef>
#include <functional>
#include <initializer_list>
#include <memory>
#include <utility>
#include <vector>

#include <wx/string.h>

namespace Korvane {

/// The images of a report: how many, and the path of each when it is asked for. A list of a million paths need not be
/// held a second time.
struct ReportImages {
    ReportImages() = default;
    ReportImages(std::size_t images, std::function<wxString(std::size_t image)> pathOf)
        : count(images), path(std::move(pathOf)) {}
    ReportImages(std::vector<wxString> paths) : count(paths.size()) {
        const auto held = std::make_shared<const std::vector<wxString>>(std::move(paths));
        path = [held](std::size_t image) { return (*held)[image]; };
    }
    ReportImages(std::initializer_list<wxString> paths) : ReportImages(std::vector<wxString>(paths)) {}

    std::size_t count = 0;
    std::function<wxString(std::size_t image)> path;  ///< any thread may call it
};

}  // namespace Korvane
