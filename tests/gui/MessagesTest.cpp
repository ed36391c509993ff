#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <wx/clipbrd.h>
#include <wx/dataobj.h>
#include <wx/menu.h>
#include <wx/statusbr.h>

#include "Accessibility.h"
#include "CommandTable.h"
#include "MainWindow.h"
#include "MessageLog.h"
#include "SingleImageCanvas.h"
#include "StatusBar.h"
#include "WindowLibrary.h"

// What the window tells: failures in a dialog, and what assistive technologies read.

namespace {

using namespace Korvane;
using namespace korvane_test;

/// Shows messages through the program's own log.
class Messages : public MainWindow {
protected:
    void Flush() {
        log.Flush();
        Pump();
    }

    /// Logs to the program's log instead of the tests'.
    class Telling {
    public:
        explicit Telling(wxLog& log) : before_(wxLog::SetActiveTarget(&log)) {}
        ~Telling() { wxLog::SetActiveTarget(before_); }
        Telling(const Telling&) = delete;
        Telling& operator=(const Telling&) = delete;

    private:
        wxLog* before_;
    };

    MessageLog log;
};

void PressButton(wxDialog& dialog, int id) {
    wxCommandEvent click(wxEVT_BUTTON, id);
    auto* const button = wxWindow::FindWindowById(id, &dialog);
    click.SetEventObject(button);
    button->GetEventHandler()->ProcessEvent(click);
}

TEST_F(Messages, SeveralAreShownInFullWithTheCauseFirstAndCanBeCopied) {
    const Telling telling(log);
    const wxString longName(wxString('x', 240) + ".tif");
    Answers answers(wxID_NONE);
    const wxString wanted = "1. Not enough memory\nCannot load '" + longName +
                            "'! (Not enough memory)\n\n2. Cannot do %s either";
    answers.Act([&](wxDialog& dialog) {
        auto& shown = dynamic_cast<MessagesDialog&>(dialog);
        EXPECT_EQ(shown.Text(), wanted);
        const wxRect screen = wxGetClientDisplayRect();
        EXPECT_LT(dialog.GetSize().x, screen.width);
        PressButton(dialog, wxID_COPY);
        dialog.EndModal(wxID_OK);
        return true;
    });
    LogFailure("Cannot load '" + longName + "'! (Not enough memory)", "Not enough memory");
    wxLogError("%s", "Cannot do %s either");
    Flush();
    EXPECT_EQ(answers.titles.size(), 1u);
    const wxClipboardLocker clipboard;
    wxTextDataObject copied;
    ASSERT_TRUE(wxTheClipboard->GetData(copied));
    EXPECT_EQ(copied.GetText(), wanted);
}

TEST_F(Messages, OneIsAMessageBoxUnlessAWordOfItIsTooLongForOne) {
    const Telling telling(log);
    Answers answers(wxID_OK);
    LogFailure("Cannot load 'a.tif'! (Not enough memory)", "Not enough memory");
    Flush();
    EXPECT_EQ(answers.texts, std::vector<wxString>{"Cannot load 'a.tif'! (Not enough memory)"});
    LogFailure("Cannot load '" + wxString('x', 240) + "'! (Not enough memory)", "Not enough memory");
    Flush();
    EXPECT_EQ(answers.texts.size(), 1u);
    EXPECT_EQ(answers.titles.size(), 2u);
}

std::string Read(const wxWindow& window, const char* getter) {
    void* const accessible = OfLibrary<void*(void*)>("gtk_widget_get_accessible")(window.GetHandle());
    const char* const text = OfLibrary<const char*(void*)>(getter)(accessible);
    return text == nullptr ? "" : text;
}

TEST_F(Messages, TheCanvasAndTheStatusBarSayTheirNamesAndWhatTheyShow) {
    EXPECT_EQ(Read(frame->Canvas(), "atk_object_get_name"), "Image");
    EXPECT_EQ(Read(*frame->GetStatusBar(), "atk_object_get_name"), "Status");
    OpenSmall();
    frame->RefreshStatusTexts();
    EXPECT_EQ(Read(frame->Canvas(), "atk_object_get_description"), frame->GetTitle().utf8_string());
    const std::string before = Read(*frame->GetStatusBar(), "atk_object_get_description");
    EXPECT_NE(before.find("Pixel size: 5.0x5.0 nm; Label: 1; Radius: 10; Objects: 0; Mode: Brush"), before.npos)
        << before;
    Run(kContourMode);
    frame->RefreshStatusTexts();
    const std::string after = Read(*frame->GetStatusBar(), "atk_object_get_description");
    EXPECT_NE(after.find("Mode: Contour"), after.npos) << after;
}

TEST_F(Messages, EachFieldOfTheStatusBarHasANameAndItsTextAsValue) {
    OpenSmall();
    AwaitShown();
    frame->SetSize(900, 400);
    ASSERT_TRUE(Await([&] { return frame->GetStatusBar()->GetSize().x > 800; }));
    Run(kContourMode);
    frame->RefreshStatusTexts();
    const auto& bar = dynamic_cast<const StatusBar&>(*frame->GetStatusBar());
    const std::vector<std::pair<std::string, std::string>> wanted{
        {"Message", Status(0).utf8_string()}, {"Pixel size", "Pixel size: 5.0x5.0 nm"}, {"Current label", "Label: 1"},
        {"Brush radius", "Radius: 1"},        {"Objects", "Objects: 0"},                {"Drawing mode", "Mode: Contour"}};
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        const wxWindow& field = bar.Field(static_cast<int>(i));
        EXPECT_EQ(Read(field, "atk_object_get_name"), wanted[i].first);
        EXPECT_EQ(Read(field, "atk_object_get_description"), wanted[i].second);
        EXPECT_EQ(field.GetLabel(), wxString(wanted[i].second));
        EXPECT_TRUE(field.IsShown()) << wanted[i].first;
        EXPECT_TRUE(bar.GetClientRect().Contains(field.GetRect())) << wanted[i].first;
    }
}

TEST_F(Messages, BackspaceSaysWhatItPutBack) {
    OpenSmall();
    Dab(20, 20);
    Key(WXK_BACK);
    EXPECT_EQ(Status(0), "The labels from before the last stroke are back; Ctrl+Z undoes that");
    Key(WXK_BACK);
    EXPECT_EQ(Status(0), "There is no stroke to take back; Ctrl+Z undoes other changes");
}

}  // namespace
