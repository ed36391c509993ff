#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <wx/msgdlg.h>
#include <wx/textctrl.h>
#include <wx/uiaction.h>

#include "CommandTable.h"
#include "MainWindow.h"

// Numbers typed into the parameters dialog, key by key, as a person does.

namespace {

using namespace Korvane;
using namespace korvane_test;

class ParameterKeys : public MainWindow {
protected:
    /// Types a text in place of a field's own and presses Return; true when the dialog closed by it. After a message it
    /// is cancelled.
    bool Type(int id, const std::string& text) {
        bool accepted = true;
        Answers answers([](wxDialog& dialog) {
            return dynamic_cast<wxMessageDialog*>(&dialog) == nullptr ? int{wxID_NONE} : int{wxID_OK};
        });
        enum class Step { kType, kConfirm, kWait } step = Step::kType;
        answers.Act([&](wxDialog& dialog) {
            auto& field = dynamic_cast<wxTextCtrl&>(*wxWindow::FindWindowById(id, &dialog));
            if (step == Step::kType) {
                if (!dialog.IsActive()) return false;
                field.SetFocus();
                field.SelectAll();
                for (const char key : text) simulator.Char(key);
                step = Step::kConfirm;
            } else if (step == Step::kConfirm) {
                if (field.GetValue() != text) return false;
                simulator.Char(WXK_RETURN);
                step = Step::kWait;
            } else if (!answers.texts.empty()) {
                accepted = false;
                EXPECT_EQ(wxWindow::FindFocus(), &field);
                EXPECT_EQ(field.GetStringSelection(), wxString(text));
                EXPECT_TRUE(dialog.IsModal());
                dialog.EndModal(wxID_CANCEL);
                return true;
            }
            return !dialog.IsShown();
        });
        Run(kParameters);
        messages = answers.texts;
        return accepted;
    }

    wxUIActionSimulator simulator;
    std::vector<wxString> messages;
};

TEST_F(ParameterKeys, NumbersAreTakenAsTheyAreTyped) {
    AwaitShown();
    EXPECT_TRUE(Type(10001, "1e-3"));
    EXPECT_EQ(frame->Parameters().edgeContrast, 0.001f);
    EXPECT_TRUE(Type(10003, "0,5"));
    EXPECT_EQ(frame->Parameters().roundnessThreshold, 0.5f);
    EXPECT_TRUE(Type(10002, ".25"));
    EXPECT_EQ(frame->Parameters().areaFraction, 0.25f);
    EXPECT_TRUE(Type(10006, "1.9"));
    EXPECT_EQ(frame->Parameters().relativeExosomeSize, 1.9f);
    EXPECT_TRUE(messages.empty());
}

TEST_F(ParameterKeys, ANumberOutsideItsRangeIsToldAndChangesNothing) {
    AwaitShown();
    EXPECT_FALSE(Type(10005, "0.09"));
    EXPECT_EQ(messages, std::vector<wxString>{"Maximum relative cluster size: please enter a number from 0.1 to 1.9, "
                                              "with at most 2 decimals."});
    EXPECT_FALSE(Type(10003, "15"));
    EXPECT_FALSE(Type(10002, "0.155"));
    EXPECT_EQ(frame->Parameters().maxRelativeClusterSize, 1.0f);
    EXPECT_EQ(frame->Parameters().roundnessThreshold, 0.75f);
    EXPECT_EQ(frame->Parameters().areaFraction, 0.15f);
}

TEST_F(ParameterKeys, AValueWithMoreDecimalsThanItsFieldShowsStaysUnlessTheFieldIsEdited) {
    AwaitShown();
    frame->Parameters().areaFraction = 0.1234f;
    EXPECT_TRUE(Type(10003, "0.5"));
    EXPECT_EQ(frame->Parameters().areaFraction, 0.1234f);
    EXPECT_TRUE(Type(10002, "0.13"));
    EXPECT_EQ(frame->Parameters().areaFraction, 0.13f);
}

}  // namespace
