#include "ForeignLabels.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "FailureText.h"
#include "PathText.h"
#include "ToolkitError.h"
#include "files/StoredNumbers.h"

namespace Korvane {

namespace {

constexpr double kLargestLabel = std::numeric_limits<std::uint16_t>::max();

std::string Text(double number) {
    return std::floor(number) == number && std::abs(number) < 1e15 ? std::to_string(static_cast<std::int64_t>(number))
                                                                   : wxString::FromCDouble(number).utf8_string();
}

std::size_t DistinctLabels(const qvox::VoxelImage<double>& numbers) {
    std::vector<double> labels(numbers.begin(), numbers.end());
    std::sort(labels.begin(), labels.end());
    const auto end = std::unique(labels.begin(), labels.end());
    const auto count = static_cast<std::size_t>(end - labels.begin());
    return count - (std::binary_search(labels.begin(), end, 0.0) ? 1 : 0);
}

void RequireLabels(const std::string& path, const qvox::VoxelImage<double>& numbers) {
    const auto refuse = [&path](const std::string& cause) {
        throw qvox::FileError(qvox::FileError::Task::kRead, path, "it holds " + cause);
    };
    double largest = 0.0;
    for (const double number : numbers) {
        if (!std::isfinite(number)) refuse("a number that is not finite");
        if (std::floor(number) != number) refuse("numbers that are not whole, for instance " + Text(number));
        if (number < 0.0) refuse("negative numbers, for instance " + Text(number));
        largest = std::max(largest, number);
    }
    if (largest <= kLargestLabel) return;
    refuse(std::to_string(DistinctLabels(numbers)) + " labels up to " + Text(largest) + "; 65535 is the largest label");
}

}  // namespace

void LoadForeignLabels(const wxString& path, qvox::LabelImage& labels) {
    const std::string bytes = PathBytes(path);
    qvox::VoxelImage<double> numbers;
    qvox::LoadStoredNumbers(bytes, numbers);
    const std::array<std::uint64_t, 3> found{numbers.SizeX(), numbers.SizeY(), numbers.SizeZ()};
    const std::array<std::uint64_t, 3> wanted{labels.SizeX(), labels.SizeY(), labels.SizeZ()};
    if (found != wanted) throw OtherSizes(bytes, found, wanted);
    RequireLabels(bytes, numbers);
    std::transform(numbers.begin(), numbers.end(), labels.begin(),
                   [](double number) { return static_cast<std::uint16_t>(number); });
}

}  // namespace Korvane
