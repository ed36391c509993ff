#include <atomic>
#include <exception>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include <wx/filesys.h>
#include <wx/log.h>
#include <wx/msgdlg.h>
#include <wx/progdlg.h>

#include "BackgroundRun.h"
#include "CommandTexts.h"
#include "ExceptionText.h"
#include "FailureText.h"
#include "ImagePreparation.h"
#include "ImageWarnings.h"
#include "MainFrame.h"
#include "MessageLog.h"
#include "PathText.h"
#include "PixelScale.h"
#include "PixelSizeSource.h"
#include "ReportBuilder.h"
#include "Scopes.h"
#include "support/OpenCVThreads.h"

namespace Korvane {

namespace {

/// Ends the writing of a report.
struct ReportCancelled {};

/// As wide as the text of a step is likely to be.
const char* const kFirstMessage = "Measuring position 100 of 100, of an ordinary name.tif";

struct MeasuringFailure {
    wxString text;
    wxString cause;
};

}  // namespace

/// Why a position is not part of a report; empty where it is.
wxString MainFrame::WhyNotReported(std::size_t index) const {
    const qvox::PixelResolution& resolution = store_.images.Resolution(index);
    if (!IsDefined(resolution.x) || !IsDefined(resolution.y)) return "it has no pixel size";
    const bool isLooked = analysed_.AreAsMade(index, *store_.images.LabelsOf(index)) || results_[index].has_value();
    if (CountLabels(store_, index) == 0 && !isLooked) return "it has no labels";
    return {};
}

void MainFrame::OnReport(wxCommandEvent&) {
    if (!FinishReading()) return;
    if (!HasPositions()) return;
    std::vector<wxString> whyNot;
    std::vector<wxString> withoutSize;
    std::size_t reported = 0;
    for (std::size_t i = 0; i < PositionCount(store_); ++i) {
        whyNot.push_back(WhyNotReported(i));
        if (whyNot.back().empty()) ++reported;
        if (whyNot.back().StartsWith("it has no pixel")) withoutSize.push_back(PositionName(store_.paths, i));
    }
    if (reported == 0) return Say(NothingToReportText(withoutSize.size(), PositionCount(store_)));
    const ChosenFolder folder = AskForFolder("Write the report to...");
    if (!folder) return;
    ReportOptions options;
    options.folder = PathBytes(*folder);
    options.images = store_.paths;
    if (const std::string existing = ExistingReportFile(options.folder); !existing.empty()) {
        wxMessageDialog question(this,
                                 "'" + PathText(existing) + "' exists already. Replace the report in this folder?",
                                 "Confirmation", wxOK | wxCANCEL | wxCANCEL_DEFAULT | wxCENTRE);
        question.SetOKLabel("Replace");
        if (question.ShowModal() != wxID_OK) return Say("No report was written");
        options.existing = ExistingReport::kReplace;
    }
    const DisabledScope disabled(*this);
    try {
        WriteReport(std::move(options), whyNot);
    } catch (const ReportCancelled&) {
        return Say("The report was cancelled: none was written");
    } catch (const std::exception&) {
        const wxString cause = ExceptionText(std::current_exception());
        LogFailure("Cannot write the report '" + *folder + "'! (" + cause + ")", cause);
        return Say("No report was written");
    }
    if (!withoutSize.empty()) wxLogWarning("%s", NotReportedText(withoutSize));
    const wxString page = JoinPath(*folder, kReportPage);
    Say("The report is " + page);
    openPage_(wxFileSystem::FileNameToURL(page));
}

/// Any thread may call it; images are read, and labels unpacked, for one at a time.
void MainFrame::MeasureForReport(std::size_t index, std::mutex& reading, ReportBuilder& builder) const {
    PositionImages::Intensities image;
    PositionImages::Labels labels;
    {
        const std::lock_guard<std::mutex> lock(reading);
        image = store_.images.IntensitiesOf(index);
        labels = store_.images.LabelsOf(index);
    }
    const PreparationRules rules = RulesFor(index);
    PreparedImage prepared;
    if (rules.Any()) prepared = PreparedImage(rules, *image, qvox::LabelImage(), {});
    ReportSource source{*image,
                        *labels,
                        PixelSizeSource(store_.paths[index], image->Resolution()),
                        analysed_.OriginOf(index, *labels),
                        {},
                        prepared.Excluded().Empty() ? nullptr : &prepared.Excluded(),
                        prepared.Part()};
    if (source.origin.prepared.empty()) source.origin.prepared = prepared.Text();
    const wxString doubtful = PixelSizeWarning(image->Resolution());
    if (!doubtful.empty()) source.warnings.push_back(doubtful);
    builder.Add(index, source);
}

void MainFrame::WriteReport(ReportOptions options, const std::vector<wxString>& whyNot) {
    const std::size_t count = PositionCount(store_);
    std::vector<MeasuringFailure> failures(count);
    wxString missing;
    {
        wxProgressDialog dialog("Please wait ...", kFirstMessage, static_cast<int>(count) + 2, this,
                                wxPD_APP_MODAL | wxPD_AUTO_HIDE | wxPD_CAN_ABORT | wxPD_ELAPSED_TIME);
        BackgroundRun run(dialog);
        ReportBuilder builder(std::move(options));
        std::atomic<int> measured{0};
        std::mutex reading;
        const auto measure = [&](std::size_t i) {
            if (run.IsCancelled()) return;
            if (!whyNot[i].empty()) return builder.LeaveOut(i, whyNot[i]);
            run.Show(measured, WorkText(store_.paths, i, "measuring").utf8_string());
            try {
                MeasureForReport(i, reading, builder);
            } catch (const std::exception&) {
                const FailureText failure =
                    TextOfFailure(FileTask::kMeasure, PositionName(store_.paths, i), std::current_exception());
                failures[i] = {failure.Lines(), failure.cause};
                builder.LeaveOut(i, failure.Lines());
            }
            ++measured;
        };
        run.Run([&] {
            RunOnOpenCVThreads(count, measure);
            if (run.IsCancelled()) throw ReportCancelled();
            if (!builder.HasImages()) return;
            missing = builder.Write([&](const wxString& step) {
                if (run.IsCancelled()) throw ReportCancelled();
                run.Show(static_cast<int>(count), step.utf8_string());
            });
        });
        if (!builder.HasImages()) throw qvox::ToolkitError("No position could be measured.");
    }
    for (const MeasuringFailure& failure : failures) {
        if (!failure.text.empty()) LogFailure(failure.text, failure.cause);
    }
    if (!missing.empty()) wxLogWarning("%s", missing + ".");
}

}  // namespace Korvane
