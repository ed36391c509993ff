#pragma once

#include <cstddef>
#include <vector>

#include <wx/string.h>

#include "DetectionStages.h"
#include "LabelPainter.h"
#include "StageExplanation.h"

namespace Korvane {

/// The stages of one detection, one of which is shown: a map instead of the image, or areas over it. Without a window.
class StagesView {
public:
    StagesView(StageRecord record, const qvox::LabelImage& labels);

    std::size_t Count() const { return stages_.size(); }
    std::size_t Shown() const { return shown_; }
    /// Makes another stage the one shown; after the last comes the first.
    void Step(int by);

    /// "Stage 2 of 7: candidates, ...".
    wxString Text() const;
    /// Shown instead of the image; null: the image.
    const GreyPicture* Grey() const;
    /// Shown instead of the labels; of no label where there is nothing but a map.
    const qvox::LabelImage& Areas() const { return areas_; }
    bool IsMap() const { return Grey() != nullptr; }

    const StageExplanation& Explanation() const { return explanation_; }

private:
    void Fill();

    StageExplanation explanation_;
    std::vector<DetectionStage> stages_;
    std::size_t shown_ = 0;
    qvox::LabelImage areas_;
};

}  // namespace Korvane
