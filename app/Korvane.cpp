#include <clocale>
#include <csignal>
#include <cstdio>
#include <exception>
#include <string>
#include <utility>
#include <vector>

#include <wx/app.h>
#include <wx/log.h>
#include <wx/menu.h>

#include "ExceptionText.h"
#include "MainFrame.h"
#include "MessageLog.h"
#include "PathText.h"
#include "ProgramVersion.h"
#include "RecoveryJournal.h"
#include "StandardStreams.h"

namespace Korvane {

/// The application: one main window, and the files that the command line named in it.
class MainApp : public wxApp {
public:
    explicit MainApp(std::vector<std::string> files) : files_(std::move(files)) {}

    /// Without a display the library would tell so in a dialog, for which it has no display, and abort.
    bool Initialize(int& count, wxChar** words) override {
        wxLogStderr text;
        wxLog* const before = wxLog::SetActiveTarget(&text);
        const bool isReady = wxApp::Initialize(count, words);
        wxLog::SetActiveTarget(before);
        if (!isReady) std::fputs("korvane needs a display; korvane-batch works without one.\n", stderr);
        return isReady;
    }

    bool OnInit() override {
        std::setlocale(LC_NUMERIC, "C");
        AdoptPathConversion();
        // The library owns its target, which the analyzer does not see.
        // NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDeleteLeaks)
        delete wxLog::SetActiveTarget(new MessageLog);
        auto* frame = new MainFrame;
        HideMenusUntilShown(*frame);
        recoveryFolder_ = RecoveryFolder();
        if (!recoveryFolder_.empty()) frame->KeepJournal(recoveryFolder_);
        frame->Show();
        BeginWhenShown(*frame);
        return true;
    }

    // The last resort: every command has its own guard.
    bool OnExceptionInMainLoop() override {
        wxLogError("%s", "Something failed! (" + ExceptionText(std::current_exception()) + ")");
        return true;
    }

private:
    /// A window takes the size of its first position once it knows how much of itself is border, bars and menus: not
    /// before it was painted.
    void BeginWhenShown(MainFrame& frame) {
        frame.OnFirstPaint([this, &frame] {
            if (!recoveryFolder_.empty() && frame.OfferRecovery(recoveryFolder_)) return;
            if (!files_.empty()) frame.OpenFiles(Paths());
        });
    }

    /// Where a window manager tells the size of its borders, the toolkit lays a new window out once at next to no size,
    /// and GTK complains of a menu bar that is given less than it takes. So the bar comes when the window is there,
    /// which is before anything is painted.
    static void HideMenusUntilShown(MainFrame& frame) {
        frame.GetMenuBar()->Hide();
        frame.Bind(wxEVT_SHOW, [&frame](wxShowEvent& event) {
            frame.GetMenuBar()->Show();
            event.Skip();
        });
    }

    std::vector<wxString> Paths() const {
        std::vector<wxString> paths;
        for (const std::string& file : files_) paths.push_back(PathText(file));
        return paths;
    }

    std::vector<std::string> files_;
    std::string recoveryFolder_;  ///< empty where there is no place for it
};

namespace {

/// Prints the answer to a question of the command line; the exit status of the program.
int Answer(const std::string& text) {
    if (std::fputs(text.c_str(), stdout) >= 0 && std::fflush(stdout) == 0) return 0;
    std::perror("korvane: Cannot write to the standard output");
    return 1;
}

}  // namespace

}  // namespace Korvane

int main(int argc, char** argv) {
    qvox::OpenStandardStreams();
    // Beyond a limit on the size of files a write shall fail and be reported; the signal would end the program and lose
    // what is not saved.
    std::signal(SIGXFSZ, SIG_IGN);
    // The file names are kept as the bytes they are: the toolkit decodes them by the locale, which may know no UTF-8.
    std::vector<std::string> files;
    std::vector<char*> rest{argv[0]};
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        if (argument == "--help" || argument == "-h") {
            return Korvane::Answer(
                "korvane [FILE|FOLDER...]\n"
                "korvane --version\n\n"
                "Finds and measures exosomes in electron micrographs. The TIFF files named, and those\n"
                "of the folders named, are opened at once. korvane-batch does without a window.\n");
        }
        if (argument == "--version") {
            return Korvane::Answer("korvane " + Korvane::VersionText() + "\n");
        }
        if (argument.empty() || argument[0] == '-') {
            std::fprintf(stderr, "korvane: unknown option '%s'. Run korvane --help.\n", argument.c_str());
            return 2;
        }
        files.push_back(argument);
    }
    rest.push_back(nullptr);
    int count = 1;
    wxApp::SetInstance(new Korvane::MainApp(std::move(files)));
    return wxEntry(count, rest.data()) == 0 ? 0 : 1;
}
