#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include <wx/string.h>

#include "Annotations.h"
#include "DetectionStages.h"
#include "LabelPainter.h"
#include "StageExplanation.h"

namespace Korvane {

/// The part of an image that was analysed.
struct AnalysedFrame {
    PixelBox part;
    std::uint64_t width = 0;  ///< of the whole image
    std::uint64_t height = 0;
};

/// The stages of one detection, one of which is shown: a map instead of the image, or areas over it. Without a window.
class StagesView {
public:
    /// `record`: of the part of the image that was analysed. `labels`: of that part.
    StagesView(StageRecord record, const qvox::LabelImage& labels, const AnalysedFrame& frame);

    std::size_t Count() const { return stages_.size(); }
    std::size_t Shown() const { return shown_; }
    /// Makes another stage the one shown; after the last comes the first.
    void Step(int by);

    /// "Stage 2 of 7: candidates, ...".
    wxString Text() const;
    /// Shown instead of the image; null: the image.
    const GreyPicture* Grey() const { return IsMap() ? &grey_ : nullptr; }
    /// Shown instead of the labels; of no label where there is nothing but a map.
    const qvox::LabelImage& Areas() const { return areas_; }
    bool IsMap() const { return grey_.VoxelCount() > 0; }

    const StageExplanation& Explanation() const { return explanation_; }
    /// Why there is an object at a pixel of the whole image, or none. `label`: the one there, or 0.
    wxString Explain(std::uint64_t x, std::uint64_t y, std::uint16_t label) const;

private:
    void Fill();

    template <typename Voxel>
    void Put(const qvox::VoxelImage<Voxel>& map, qvox::VoxelImage<Voxel>& whole) const;

    StageExplanation explanation_;
    AnalysedFrame frame_;
    std::vector<DetectionStage> stages_;
    std::size_t shown_ = 0;
    GreyPicture grey_;  ///< empty where areas are shown
    qvox::LabelImage areas_;
};

}  // namespace Korvane
