#include "Preparation.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <cstdint>

#include "ImageJob.h"
#include "PathText.h"
#include "files/ImageFile.h"

namespace Korvane {

namespace {

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

/// `position`: read by the job.
PreparedImage Prepare(ImageJob& job, const PreparationOptions& options, const Position& position) {
    PreparationLinks links;
    links.warn = [&job](const wxString& warning) { job.Warn(warning); };
    PreparationRules rules = options;
    if (options.maskFile) {
        links.maskName = *options.maskFile;
        job.HoldSource(PathText(*options.maskFile));
        rules.mask = DoFileTask(FileTask::kLoadInput, PathText(*options.maskFile),
                                [&] { return ReadAnnotationMask(*options.maskFile); });
    }
    try {
        return PreparedImage(rules, position.image, position.labels, links);
    } catch (const PreparationError& error) {
        throw ImageFailure{{"Cannot prepare '" + job.Files().input + "'! (" + std::string(error.what()) + ")"}};
    }
}

}  // namespace

std::string PreparationOptions::Text() const {
    std::string text;
    const auto add = [&text](const std::string& option) { text += (text.empty() ? "" : " ") + option; };
    if (fillsAnnotations) add("--fill-annotations");
    if (maskFile) add("--annotations " + *maskFile);
    if (trimsBars) add("--trim-bar");
    if (region) add("--region " + BoxText(*region));
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
            "--annotations", [&options](const std::string& path) { options.maskFile = path; },
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

Preparation::Preparation(ImageJob& job, const PreparationOptions& options, const Position& position)
    : image_(Prepare(job, options, position)) {
    if (!image_.Text().empty()) job.Outcome().prepared = image_.Text();
}

void RestrictMeasures(ImageJob& job, const PreparationOptions& options, const Position& position) {
    if (options.Text().empty()) return;
    Preparation preparation(job, options, position);
    job.RestrictMeasures(std::move(preparation.Excluded()), preparation.Part());
}

}  // namespace Korvane
