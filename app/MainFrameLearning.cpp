#include <exception>
#include <optional>
#include <utility>
#include <vector>

#include <wx/progdlg.h>

#include "ExceptionText.h"
#include "ImagePreparation.h"
#include "LearnDialog.h"
#include "LearningProgress.h"
#include "LearntDialog.h"
#include "MainFrame.h"
#include "MessageLog.h"
#include "PixelHeight.h"
#include "Scopes.h"
#include "Tuning.h"

namespace Korvane {

namespace {

/// Wide enough for the names of most images; the toolkit lays the dialog out when events are next handled.
const char* const kFirstMessage = "Learning from all but 'a name of an ordinary length.tif' (10 of 10)";

bool HasPixelSize(const qvox::PixelResolution& resolution) {
    return resolution.x > 0.0f && PixelHeightTrouble(resolution).empty();
}

wxString ObjectsText(std::size_t count) { return wxString() << count << (count == 1 ? " object" : " objects"); }

wxString WithoutPixelSizeText(std::size_t count) {
    if (count == 0) return {};
    return wxString() << count << (count == 1 ? " position has" : " positions have")
                      << " labels but no usable pixel size, and cannot be learnt from.";
}

/// The search behind its progress dialog. None when it was cancelled.
std::optional<TuningResult> Learn(wxWindow* parent, const std::vector<TrainingImage>& images, std::size_t evaluations) {
    wxProgressDialog dialog("Please wait ...", kFirstMessage, static_cast<int>(images.size()) + 1, parent,
                            wxPD_APP_MODAL | wxPD_AUTO_HIDE | wxPD_CAN_ABORT | wxPD_ELAPSED_TIME);
    LearningProgress progress(dialog);
    TuningOptions options;
    options.evaluations = evaluations;
    options.nextStep = [&](const TuningProgress& now) { return progress.Next(now); };
    options.run = [&](std::size_t count, const std::function<void(std::size_t)>& part) { progress.Run(count, part); };
    try {
        return TuneParameters(images, options);
    } catch (const TuningCancelled&) {
        return std::nullopt;
    }
}

}  // namespace

void MainFrame::OnLearnParameters(wxCommandEvent&) {
    std::vector<LearnChoice> choices;
    std::size_t withoutPixelSize = 0;
    for (std::size_t i = 0; i < PositionCount(store_); ++i) {
        const std::size_t objects = CountLabels(store_, i);
        if (objects == 0) continue;
        if (!HasPixelSize(store_.images.Resolution(i))) {
            ++withoutPixelSize;
            continue;
        }
        const bool isAsMade = analysed_.AreAsMade(i, *store_.images.LabelsOf(i));
        choices.push_back({i,
                           PositionName(store_.paths, i) + ": " + ObjectsText(objects) +
                               (isAsMade ? ", as the analysis left them" : ", corrected"),
                           !isAsMade});
    }
    const wxString note = WithoutPixelSizeText(withoutPixelSize);
    if (choices.empty()) {
        return Say("There are no labels to learn from: correct some, or load them" +
                   (note.empty() ? wxString() : ". " + note));
    }
    const DisabledScope disabled(*this);
    LearnDialog dialog(this, std::move(choices), note);
    if (dialog.ShowModal() == wxID_OK) LearnFrom(dialog.Positions(), dialog.Evaluations());
}

void MainFrame::LearnFrom(const std::vector<std::size_t>& positions, std::size_t evaluations) {
    std::optional<TuningResult> result;
    try {
        std::vector<TrainingImage> images;
        images.reserve(positions.size());
        for (const std::size_t i : positions) {
            const PositionImages::Intensities image = store_.images.IntensitiesOf(i);
            const PositionImages::Labels labels = store_.images.LabelsOf(i);
            TrainingImage training{PositionName(store_.paths, i).utf8_string(), *image, *labels};
            // What detection would see of it.
            const PreparationRules rules = RulesFor(i);
            PreparedImage prepared;
            if (rules.Any()) prepared = PreparedImage(rules, *image, *labels, {});
            if (prepared.Prepared()) {
                training.image = std::move(prepared.Prepared()->image);
                training.truth = std::move(prepared.Prepared()->labels);
            }
            images.push_back(std::move(training));
        }
        result = Learn(this, images, evaluations);
    } catch (...) {
        const wxString cause = ExceptionText(std::current_exception());
        LogFailure("Cannot learn parameters! (" + cause + ")", cause);
        return;
    }
    if (!result) return Say("Learning was cancelled; the parameters are as they were");
    LearntDialog dialog(this, *result);
    if (dialog.ShowModal() != wxID_APPLY) return Say("The parameters are as they were");
    const float edgeContrast = parameters_.edgeContrast;
    parameters_ = dialog.Parameters();
    // No result depends on it, so that nothing was learnt about it.
    parameters_.edgeContrast = edgeContrast;
    Say("The parameters were learnt from " + std::to_string(positions.size()) +
        (positions.size() == 1 ? " position" : " positions") + "; Save parameters... keeps them");
}

}  // namespace Korvane
