#include "ReportWriting.h"

#include "Interrupt.h"
#include "PathText.h"
#include "ToolkitError.h"

namespace Korvane {

bool WriteWholeReport(ReportBuilder& builder, const std::string& folderBytes, const FolderLock& lock,
                      Progress& progress) {
    const wxString folder = PathText(folderBytes);
    try {
        const wxString missing = builder.Write(lock, [&progress](const wxString& step) {
            if (Interrupted()) throw RunInterrupted();
            progress.Note(step + ".");
        });
        if (!missing.empty()) progress.Warning(missing + ".");
        progress.Note("The report is '" + JoinPath(folder, kReportPage) + "'.");
        return true;
    } catch (const RunInterrupted&) {
        progress.Warning("Interrupted: no report is written.");
        return false;
    } catch (const qvox::ToolkitError& error) {
        progress.Error({"Cannot write the report '" + folder + "'! (" + PathText(error.what()) + ")"});
        return false;
    }
}

}  // namespace Korvane
