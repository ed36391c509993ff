#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include <wx/string.h>

#include "Annotations.h"
#include "LabelExtents.h"
#include "Position.h"

namespace Korvane {

/// What is left out of an image, or filled, before it is analysed.
struct PreparationRules {
    bool fillsAnnotations = false;   ///< those that are found
    bool trimsBars = false;          ///< information bars
    std::optional<PixelBox> region;  ///< only this part is analysed
    std::shared_ptr<const qvox::VoxelImage<bool>> mask = {};  ///< of pixels that are filled; null: there is none

    bool Any() const { return fillsAnnotations || trimsBars || region || mask; }
};

/// "10,20,300,200": x, y, width and height.
std::string BoxText(const PixelBox& box);

/// Why an image cannot be prepared.
struct PreparationError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// What a preparation gets from outside, and tells.
struct PreparationLinks {
    std::function<void(const wxString&)> warn;  ///< of what is left as it is; empty: nobody wants to know
    std::string maskName;                       ///< for messages
};

/// A mask for PreparationRules: true where an image file of any grey type is not 0. Throws as LoadPosition.
std::shared_ptr<const qvox::VoxelImage<bool>> ReadAnnotationMask(const std::string& path);
/// Writes a mask as such a file, 255 where it is true, with the resolution given. Throws as SaveImageFile.
void WriteAnnotationMask(const std::string& path, const qvox::VoxelImage<bool>& mask,
                         const qvox::PixelResolution& resolution);

/// The part of an image that an analysis gets, with its labels.
class PreparedImage {
public:
    /// An image that nothing was done to.
    PreparedImage() = default;
    /// `labels`: of the image's sizes, or empty. Throws PreparationError where the region does not fit, nothing is left
    /// or the mask cannot be used, and what reading the mask throws. An image of several planes, which every analysis
    /// refuses, is left alone.
    PreparedImage(const PreparationRules& rules, const qvox::VoxelImage<float>& image, const qvox::LabelImage& labels,
                  const PreparationLinks& links);

    /// What was done: "region 0,0,300,200; 120 pixels of annotations filled". Empty: nothing.
    const std::string& Text() const { return text_; }
    /// The part that is analysed; none: all of the image.
    const std::optional<ImagePart>& Part() const { return part_; }
    /// Pixels other than 0 are filled; empty where none is.
    qvox::VoxelImage<std::uint8_t>& Excluded() { return excluded_; }
    /// The prepared image with its labels; none: the image is analysed as it is.
    std::optional<Position>& Prepared() { return prepared_; }
    /// The labels of Prepared() in the frame of the whole image, 0 outside the part.
    qvox::LabelImage WholeLabels() const;
    /// The part, and the whole image where there is no other.
    const PixelBox& Box() const { return box_; }

private:
    PixelBox ChooseBox(const PreparationRules& rules, const qvox::VoxelImage<float>& image,
                       const PreparationLinks& links);
    void Fill(qvox::VoxelImage<float>& image, const qvox::VoxelImage<bool>& mask, qvox::VoxelImage<bool>& filled);
    void NoteFilled(const qvox::VoxelImage<bool>& filled);

    std::uint64_t wholeWidth_ = 0;
    std::uint64_t wholeHeight_ = 0;
    PixelBox box_;
    std::string text_;
    std::optional<ImagePart> part_;
    qvox::VoxelImage<std::uint8_t> excluded_;
    std::optional<Position> prepared_;
};

/// An analysis: changes labels, of the image's sizes.
using LabelAnalysis = std::function<void(const qvox::VoxelImage<float>&, qvox::LabelImage&)>;

/// Analyses what the rules leave of an image; the labels are those of the whole image again afterwards. Returns what
/// was done to the image before. Throws PreparationError, and what the analysis throws.
std::string AnalysePrepared(const PreparationRules& rules, const qvox::VoxelImage<float>& image,
                            qvox::LabelImage& labels, const LabelAnalysis& analyse);

}  // namespace Korvane
