#include "ImagePreparation.h"

#include <algorithm>
#include <functional>
#include <utility>

#include "AnnotationFilling.h"
#include "ImageLoading.h"
#include "ImageWarnings.h"
#include "InformationBar.h"
#include "PathText.h"
#include "files/ImageFile.h"

namespace Korvane {

namespace {

template <typename T>
qvox::VoxelImage<T> Cropped(const qvox::VoxelImage<T>& whole, const PixelBox& box) {
    qvox::VoxelImage<T> part;
    part.CopyPropertiesFrom(whole);
    part.Resize(static_cast<std::uint64_t>(box.width), static_cast<std::uint64_t>(box.height), 1);
    for (std::int64_t y = 0; y < box.height; ++y) {
        const T* const row = whole.Row(static_cast<std::uint64_t>(box.y + y)) + box.x;
        std::copy(row, row + box.width, part.Row(static_cast<std::uint64_t>(y)));
    }
    return part;
}

/// Adds to a text that is listed with "; ".
void List(std::string& text, const std::string& more) { text += (text.empty() ? "" : "; ") + more; }

std::string SizeText(std::uint64_t width, std::uint64_t height) {
    return std::to_string(width) + " x " + std::to_string(height);
}

void Warn(const PreparationLinks& links, const wxString& warning) {
    if (links.warn) links.warn(warning);
}

}  // namespace

std::string BoxText(const PixelBox& box) {
    return std::to_string(box.x) + "," + std::to_string(box.y) + "," + std::to_string(box.width) + "," +
           std::to_string(box.height);
}

std::shared_ptr<const qvox::VoxelImage<bool>> ReadAnnotationMask(const std::string& path) {
    const Position file = LoadPosition(PathText(path), {});
    auto mask = std::make_shared<qvox::VoxelImage<bool>>();
    mask->Resize(file.image.SizeX(), file.image.SizeY(), file.image.SizeZ());
    std::transform(file.image.begin(), file.image.end(), mask->begin(), [](float value) { return value != 0.0f; });
    return mask;
}

void WriteAnnotationMask(const std::string& path, const qvox::VoxelImage<bool>& mask,
                         const qvox::PixelResolution& resolution) {
    constexpr std::uint8_t kFilled = 255;
    qvox::VoxelImage<std::uint8_t> file;
    file.SetResolution(resolution);
    file.Resize(mask.SizeX(), mask.SizeY(), mask.SizeZ());
    std::transform(mask.begin(), mask.end(), file.begin(),
                   [](bool isFilled) { return isFilled ? kFilled : std::uint8_t{0}; });
    qvox::SaveImageFile(path, file);
}

PreparedImage::PreparedImage(const PreparationRules& rules, const qvox::VoxelImage<float>& image,
                             const qvox::LabelImage& labels, const PreparationLinks& links)
    : wholeWidth_(image.SizeX()), wholeHeight_(image.SizeY()) {
    if (image.SizeZ() != 1) return;
    box_ = ChooseBox(rules, image, links);
    const bool isWhole =
        box_.width == static_cast<std::int64_t>(wholeWidth_) && box_.height == static_cast<std::int64_t>(wholeHeight_);
    // Of its own only where something may be done to it.
    Position part;
    if (!isWhole || rules.mask) part.image = isWhole ? image : Cropped(image, box_);
    qvox::VoxelImage<bool> filled;
    if (rules.mask) {
        const qvox::VoxelImage<bool>& mask = *rules.mask;
        if (!mask.SameSizes(image)) {
            throw PreparationError("'" + links.maskName + "' has " + SizeText(mask.SizeX(), mask.SizeY()) +
                                   " pixels, the image " + SizeText(wholeWidth_, wholeHeight_));
        }
        Fill(part.image, isWhole ? mask : Cropped(mask, box_), filled);
    }
    const Annotations found = FindAnnotations(part.image.Empty() ? image : part.image);
    if (!found.Empty() && !rules.fillsAnnotations) Warn(links, AnnotationWarning(found, box_));
    const bool isFilled = !found.Empty() && rules.fillsAnnotations;
    if (part.image.Empty() && (isFilled || !text_.empty())) part.image = image;
    if (isFilled) Fill(part.image, found.mask, filled);
    if (text_.empty()) return;
    NoteFilled(filled);
    if (!isWhole) {
        part_ = ImagePart{static_cast<std::uint64_t>(box_.x), static_cast<std::uint64_t>(box_.y),
                          static_cast<std::uint64_t>(box_.width), static_cast<std::uint64_t>(box_.height)};
    }
    if (!labels.Empty()) part.labels = isWhole ? labels : Cropped(labels, box_);
    part.labels.SetResolution(labels.Resolution());
    prepared_ = std::move(part);
}

PixelBox PreparedImage::ChooseBox(const PreparationRules& rules, const qvox::VoxelImage<float>& image,
                                  const PreparationLinks& links) {
    const auto width = static_cast<std::int64_t>(image.SizeX());
    const auto height = static_cast<std::int64_t>(image.SizeY());
    const InformationBars bars = FindInformationBars(image);
    PixelBox box = {0, 0, width, height};
    if (rules.region) {
        box = *rules.region;
        if (box.x > width - box.width || box.y > height - box.height) {
            throw PreparationError("the region " + BoxText(box) + " does not lie inside the image of " +
                                   SizeText(wholeWidth_, wholeHeight_) + " pixels");
        }
        List(text_, "region " + BoxText(box));
    }
    if (bars.Empty()) return box;
    if (!rules.trimsBars) {
        const bool isOutside = box.y >= bars.topRows && box.y + box.height <= height - bars.bottomRows;
        if (!isOutside) Warn(links, InformationBarWarning(bars));
        return box;
    }
    const std::int64_t end = std::min(box.y + box.height, height - bars.bottomRows);
    box.y = std::max(box.y, bars.topRows);
    if (end <= box.y) {
        throw PreparationError("the information bars leave nothing of the region " + BoxText(*rules.region));
    }
    box.height = end - box.y;
    List(text_, InformationBarText(bars).utf8_string() + " left out");
    return box;
}

/// Adds the pixels to those that are filled.
void PreparedImage::Fill(qvox::VoxelImage<float>& image, const qvox::VoxelImage<bool>& mask,
                         qvox::VoxelImage<bool>& filled) {
    const qvox::VoxelImage<bool> wide = WidenMask(mask, kFillMarginPx);
    const auto pixels = std::count(wide.begin(), wide.end(), true);
    if (static_cast<std::uint64_t>(pixels) == wide.VoxelCount()) {
        throw PreparationError("the annotations cover the whole image");
    }
    if (pixels == 0) return;
    FillAnnotations(image, wide);
    if (filled.Empty()) {
        filled.Resize(wide.SizeX(), wide.SizeY(), 1);
        filled.Zero();
    }
    std::transform(wide.begin(), wide.end(), filled.begin(), filled.begin(), std::logical_or<>());
    List(text_, std::to_string(pixels) + " pixels of annotations filled");
}

void PreparedImage::NoteFilled(const qvox::VoxelImage<bool>& filled) {
    if (std::find(filled.begin(), filled.end(), true) == filled.end()) return;
    excluded_.Resize(wholeWidth_, wholeHeight_, 1);
    excluded_.Zero();
    for (std::uint64_t y = 0; y < filled.SizeY(); ++y) {
        const bool* const row = filled.Row(y);
        std::copy(row, row + filled.SizeX(), excluded_.Row(static_cast<std::uint64_t>(box_.y) + y) + box_.x);
    }
}

qvox::LabelImage PreparedImage::WholeLabels() const {
    const qvox::LabelImage& part = prepared_->labels;
    qvox::LabelImage whole;
    whole.CopyPropertiesFrom(part);
    whole.Resize(wholeWidth_, wholeHeight_, 1);
    whole.Zero();
    for (std::uint64_t y = 0; y < part.SizeY(); ++y) {
        const std::uint16_t* const row = part.Row(y);
        std::copy(row, row + part.SizeX(), whole.Row(static_cast<std::uint64_t>(box_.y) + y) + box_.x);
    }
    return whole;
}

std::string AnalysePrepared(const PreparationRules& rules, const qvox::VoxelImage<float>& image,
                            qvox::LabelImage& labels, const LabelAnalysis& analyse) {
    PreparedImage prepared;
    if (rules.Any()) prepared = PreparedImage(rules, image, labels, {});
    if (!prepared.Prepared()) {
        analyse(image, labels);
        return {};
    }
    Position& part = *prepared.Prepared();
    analyse(part.image, part.labels);
    labels = prepared.WholeLabels();
    return prepared.Text();
}

}  // namespace Korvane
