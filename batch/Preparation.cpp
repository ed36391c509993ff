#include "Preparation.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <cstdint>
#include <functional>
#include <vector>

#include "AnnotationFilling.h"
#include "ImageJob.h"
#include "ImageWarnings.h"
#include "InformationBar.h"
#include "PathText.h"
#include "files/ImageFile.h"

namespace Korvane {

namespace {

std::string Numbers(const PixelBox& box) {
    return std::to_string(box.x) + "," + std::to_string(box.y) + "," + std::to_string(box.width) + "," +
           std::to_string(box.height);
}

/// "X,Y,W,H"; none for any other text.
std::optional<PixelBox> ReadBox(const std::string& text) {
    PixelBox box;
    const char* at = text.data();
    const char* const end = text.data() + text.size();
    for (std::int64_t* const number : {&box.x, &box.y, &box.width, &box.height}) {
        if (number != &box.x && (at == end || *at++ != ',')) return std::nullopt;
        const auto [next, error] = std::from_chars(at, end, *number);
        if (error != std::errc()) return std::nullopt;
        at = next;
    }
    if (at != end || box.x < 0 || box.y < 0 || box.width < 1 || box.height < 1) return std::nullopt;
    return box;
}

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

qvox::VoxelImage<bool> ReadMask(const std::string& path) {
    return DoFileTask(FileTask::kLoadInput, PathText(path), [&path] {
        const Position file = LoadPosition(PathText(path), {});
        qvox::VoxelImage<bool> mask;
        mask.Resize(file.image.SizeX(), file.image.SizeY(), file.image.SizeZ());
        std::transform(file.image.begin(), file.image.end(), mask.begin(), [](float value) { return value != 0.0f; });
        return mask;
    });
}

[[noreturn]] void Refuse(const ImageJob& job, const std::string& cause) {
    throw ImageFailure{{"Cannot prepare '" + job.Files().input + "'! (" + cause + ")"}};
}

/// Adds to a text that is listed with "; ".
void List(std::string& text, const std::string& more) { text += (text.empty() ? "" : "; ") + more; }

PixelBox ChooseBox(ImageJob& job, const PreparationOptions& options, const qvox::VoxelImage<float>& image,
                   std::string& done) {
    const auto width = static_cast<std::int64_t>(image.SizeX());
    const auto height = static_cast<std::int64_t>(image.SizeY());
    const InformationBars bars = FindInformationBars(image);
    PixelBox box = {0, 0, width, height};
    if (options.region) {
        box = *options.region;
        if (box.x > width - box.width || box.y > height - box.height) {
            Refuse(job, "the region " + Numbers(box) + " does not lie inside the image of " + std::to_string(width) +
                            " x " + std::to_string(height) + " pixels");
        }
        List(done, "region " + Numbers(box));
    }
    if (bars.Empty()) return box;
    if (!options.trimsBars) {
        const bool isOutside = box.y >= bars.topRows && box.y + box.height <= height - bars.bottomRows;
        if (!isOutside) job.Warn(InformationBarWarning(bars));
        return box;
    }
    const std::int64_t end = std::min(box.y + box.height, height - bars.bottomRows);
    box.y = std::max(box.y, bars.topRows);
    if (end <= box.y) Refuse(job, "the information bars leave nothing of the region " + Numbers(*options.region));
    box.height = end - box.y;
    List(done, InformationBarText(bars).utf8_string() + " left out");
    return box;
}

/// Adds the pixels to those that are filled.
void Fill(ImageJob& job, qvox::VoxelImage<float>& image, const qvox::VoxelImage<bool>& mask,
          qvox::VoxelImage<bool>& filled, std::string& done) {
    const qvox::VoxelImage<bool> wide = WidenMask(mask, kFillMarginPx);
    const auto pixels = std::count(wide.begin(), wide.end(), true);
    if (static_cast<std::uint64_t>(pixels) == wide.VoxelCount()) Refuse(job, "the annotations cover the whole image");
    if (pixels == 0) return;
    FillAnnotations(image, wide);
    std::transform(wide.begin(), wide.end(), filled.begin(), filled.begin(), std::logical_or<>());
    List(done, std::to_string(pixels) + " pixels of annotations filled");
}

}  // namespace

std::string PreparationOptions::Text() const {
    std::string text;
    const auto add = [&text](const std::string& option) { text += (text.empty() ? "" : " ") + option; };
    if (fillsAnnotations) add("--fill-annotations");
    if (mask) add("--annotations " + *mask);
    if (trimsBars) add("--trim-bar");
    if (region) add("--region " + Numbers(*region));
    return text;
}

void AddPreparation(CLI::App& command, PreparationOptions& options) {
    command
        .add_flag_callback(
            "--fill-annotations", [&options] { options.fillsAnnotations = true; },
            "For the analysis, continue the image over scale bars and writing that are found")
        ->group("Preparation");
    command
        .add_option_function<std::string>(
            "--annotations", [&options](const std::string& path) { options.mask = path; },
            "The same where this image, of the same sizes, is not 0")
        ->type_name("FILE")
        ->group("Preparation");
    command
        .add_flag_callback(
            "--trim-bar", [&options] { options.trimsBars = true; }, "Leave out information bars above and below")
        ->group("Preparation");
    const auto takeRegion = [&options](const std::string& text) {
        options.region = ReadBox(text);
        if (!options.region) {
            throw CLI::ValidationError("--region", "'" + text + "' is not X,Y,W,H in pixels, with W and H from 1");
        }
    };
    command
        .add_option_function<std::string>("--region", takeRegion,
                                          "Analyse only this part; results are in the frame of the whole image")
        ->type_name("X,Y,W,H")
        ->group("Preparation");
}

Preparation::Preparation(ImageJob& job, const PreparationOptions& options, const Position& position) {
    const qvox::VoxelImage<float>& image = position.image;
    if (image.SizeZ() != 1) return;  // refused by every analysis
    std::string done;
    box_ = ChooseBox(job, options, image, done);
    const bool isWhole = box_.width == static_cast<std::int64_t>(image.SizeX()) &&
                         box_.height == static_cast<std::int64_t>(image.SizeY());
    Position part;
    part.labels.SetResolution(image.Resolution());
    part.image = isWhole ? image : Cropped(image, box_);
    qvox::VoxelImage<bool> filled;
    filled.Resize(part.image.SizeX(), part.image.SizeY(), 1);
    filled.Zero();
    if (options.mask) {
        const qvox::VoxelImage<bool> mask = ReadMask(*options.mask);
        if (!mask.SameSizes(image)) {
            Refuse(job, "'" + *options.mask + "' has " + std::to_string(mask.SizeX()) + " x " +
                            std::to_string(mask.SizeY()) + " pixels, the image " + std::to_string(image.SizeX()) +
                            " x " + std::to_string(image.SizeY()));
        }
        Fill(job, part.image, isWhole ? mask : Cropped(mask, box_), filled, done);
    }
    const Annotations found = FindAnnotations(part.image);
    if (!found.Empty() && options.fillsAnnotations) Fill(job, part.image, found.mask, filled, done);
    if (!found.Empty() && !options.fillsAnnotations) job.Warn(AnnotationWarning(found, box_));
    if (done.empty()) return;
    job.Outcome().prepared = done;
    NoteFilled(position, filled);
    if (!isWhole) {
        part_ = ImagePart{static_cast<std::uint64_t>(box_.x), static_cast<std::uint64_t>(box_.y),
                          static_cast<std::uint64_t>(box_.width), static_cast<std::uint64_t>(box_.height)};
    }
    if (!position.labels.Empty()) part.labels = isWhole ? position.labels : Cropped(position.labels, box_);
    part.labels.SetResolution(position.labels.Resolution());
    prepared_ = std::move(part);
}

void Preparation::NoteFilled(const Position& position, const qvox::VoxelImage<bool>& filled) {
    if (std::find(filled.begin(), filled.end(), true) == filled.end()) return;
    excluded_.Resize(position.image.SizeX(), position.image.SizeY(), 1);
    excluded_.Zero();
    for (std::uint64_t y = 0; y < filled.SizeY(); ++y) {
        const bool* const row = filled.Row(y);
        std::copy(row, row + filled.SizeX(), excluded_.Row(static_cast<std::uint64_t>(box_.y) + y) + box_.x);
    }
}

void Preparation::PutBack(Position& position) const {
    const qvox::LabelImage& part = prepared_->labels;
    qvox::LabelImage whole;
    whole.CopyPropertiesFrom(part);
    whole.Resize(position.image.SizeX(), position.image.SizeY(), 1);
    whole.Zero();
    for (std::uint64_t y = 0; y < part.SizeY(); ++y) {
        const std::uint16_t* const row = part.Row(y);
        std::copy(row, row + part.SizeX(), whole.Row(static_cast<std::uint64_t>(box_.y) + y) + box_.x);
    }
    position.labels = std::move(whole);
}

void RestrictMeasures(ImageJob& job, const PreparationOptions& options, const Position& position) {
    if (options.Text().empty()) return;
    Preparation preparation(job, options, position);
    job.RestrictMeasures(std::move(preparation.Excluded()), preparation.Part());
}

}  // namespace Korvane
