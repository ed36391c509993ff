#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "ParameterSearch.h"
#include "Scores.h"
#include "SharedDetection.h"
#include "VoxelImage.h"
#include "operations/PartRunner.h"

namespace Korvane {

/// An image with its true labels.
struct TrainingImage {
    std::string name;
    qvox::VoxelImage<float> image;  ///< with its pixel size
    qvox::LabelImage truth;         ///< of the same sizes
};

/// What detection finds at one point, for each roundness threshold in hundredths.
using TalliesByRoundness = std::array<Tally, kLargestRoundness + 1>;

/// Detection of images at points, each pair once. Images are the parts that the runner is given, so the result does not
/// depend on it.
class EvaluationTable {
public:
    /// `images` must live as long as this. Throws ToolkitError with the image's name when detection does not take one.
    EvaluationTable(const std::vector<TrainingImage>& images, double matchThreshold, qvox::PartRunner run);

    std::size_t ImageCount() const { return images_.size(); }
    /// Makes what is missing of these points for these images. A point that detection refuses, for the scale or for too
    /// many objects, counts as one where nothing was found; the default's failure is thrown.
    void Evaluate(const std::vector<ParameterPoint>& points, const std::vector<std::size_t>& images);
    /// Of a pair that was evaluated.
    const TalliesByRoundness& At(std::size_t image, const ParameterPoint& point) const;
    /// The tally of images together.
    Tally Pooled(const std::vector<std::size_t>& images, const ParameterPoint& point, int roundness) const;
    /// The best roundness threshold of a point for images together; of equal ones the nearest to the default.
    PointScore Best(const std::vector<std::size_t>& images, const ParameterPoint& point,
                    const ScoreChoice& choice) const;

    /// The labels of detection, for each image; made as Evaluate makes its maps.
    std::vector<qvox::LabelImage> Labels(const AnalysisParameters& parameters);

    /// Pairs that were evaluated, and the steps of detection that they took.
    std::size_t Evaluations() const;
    StepCounts Counts() const;

private:
    TalliesByRoundness Evaluated(std::size_t image, const ParameterPoint& point);
    /// Calls work for each of the images as a part and throws the first one's failure.
    void RunImages(const std::vector<std::size_t>& images, const std::function<void(std::size_t image)>& work);

    const std::vector<TrainingImage>& images_;
    double matchThreshold_;
    qvox::PartRunner run_;
    std::vector<std::unique_ptr<SharedDetection>> detections_;
    std::vector<std::map<ParameterPoint, TalliesByRoundness>> tallies_;
};

}  // namespace Korvane
