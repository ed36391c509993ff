#include <array>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <wx/button.h>
#include <wx/msgdlg.h>
#include <wx/sizer.h>
#include <wx/statbox.h>
#include <wx/statline.h>
#include <wx/stattext.h>
#include <wx/textctrl.h>
#include <wx/toplevel.h>

#include "CommandTable.h"
#include "ControlsDialog.h"
#include "DlgParams.h"
#include "MainWindow.h"
#include "ProgramVersion.h"
#include "WindowLibrary.h"

// The dialogs themselves, shown and worked as a person would.

namespace {

using namespace Korvane;
using namespace korvane_test;

struct Field {
    int id;
    const char* label;
    const char* shown;  ///< of the default
    std::vector<const char*> accepted;
    std::vector<const char*> refused;
    const char* range;
};

const std::array<Field, 6> kFields{{
    {10001, "Edge contrast (lambda):", "0.005", {"0", "1", "0.0001"}, {"1.0001", "", ".", "2"},
     "0 to 1, with at most 4 decimals"},
    {10002, "Area fraction (alpha):", "0.15", {"0", "1", "0.99"}, {"1.01", "", "7"},
     "0 to 1, with at most 2 decimals"},
    {10003, "Roundness threshold:", "0.75", {"0", "1", "0.5"}, {"1.01", "", "10"},
     "0 to 1, with at most 2 decimals"},
    {10005, "Maximum relative cluster size:", "1", {"0.1", "1.9", "1"}, {"0.09", "1.91", "0", ""},
     "0.1 to 1.9, with at most 2 decimals"},
    {10006, "Relative size of expected exosomes:", "1", {"0.1", "1.9", "1.25"}, {"0.09", "1.91", "0", ""},
     "0.1 to 1.9, with at most 2 decimals"},
    {10007, "Minimum object diameter (in um):", "0.03", {"0", "0.5", "0.125"}, {"0.51", "0.501", "1", ""},
     "0 to 0.5, with at most 3 decimals"},
}};

wxTextCtrl& FieldOf(wxWindow& dialog, int id) {
    auto* const field = dynamic_cast<wxTextCtrl*>(wxWindow::FindWindowById(id, &dialog));
    if (field == nullptr) throw std::runtime_error("no field " + std::to_string(id));
    return *field;
}

void Press(wxWindow& dialog, int id) {
    wxCommandEvent click(wxEVT_BUTTON, id);
    click.SetEventObject(wxWindow::FindWindowById(id, &dialog));
    dialog.GetEventHandler()->ProcessEvent(click);
}

std::array<float, 6> Values(const AnalysisParameters& parameters) {
    std::array<float, 6> values{};
    for (std::size_t i = 0; i < values.size(); ++i) values[i] = parameters.*kParameterRanges[i].field;
    return values;
}

using Dialogs = MainWindow;

TEST_F(Dialogs, ParametersShowTheDefaultsWithoutTrailingZeroes) {
    Answers answers(wxID_NONE);
    answers.Act([](wxDialog& dialog) {
        EXPECT_EQ(dialog.GetTitle(), wxString("Parameters"));
        EXPECT_EQ(dialog.GetWindowStyle() & wxDEFAULT_DIALOG_STYLE, wxDEFAULT_DIALOG_STYLE);
        for (const Field& field : kFields) EXPECT_EQ(FieldOf(dialog, field.id).GetValue(), wxString(field.shown));
        Press(dialog, wxID_CANCEL);
        return true;
    });
    Run(kParameters);
    EXPECT_EQ(answers.titles, std::vector<wxString>{"Parameters"});
    const AnalysisParameters defaults;
    EXPECT_EQ(Values(frame->Parameters()), (std::array<float, 6>{0.005f, 0.15f, 0.75f, 1.0f, 1.0f, 0.03f}));
    EXPECT_EQ(defaults.edgeContrast, 0.005f);
}

TEST_F(Dialogs, ParametersLieInTheirOrderWithTwoLines) {
    DlgParams dialog(frame, AnalysisParameters());
    std::vector<wxString> labels;
    std::vector<int> fields;
    std::vector<wxString> buttons;
    int lines = 0;
    for (wxWindow* const child : dialog.GetChildren()) {
        if (dynamic_cast<wxStaticLine*>(child) != nullptr) {
            EXPECT_EQ(child->GetId(), 10004);
            EXPECT_EQ(fields.size(), ++lines == 1 ? 5u : 6u);
        } else if (dynamic_cast<wxStaticText*>(child) != nullptr) {
            EXPECT_EQ(child->GetId(), 10000);
            labels.push_back(child->GetLabel());
        } else if (auto* const text = dynamic_cast<wxTextCtrl*>(child)) {
            fields.push_back(text->GetId());
            EXPECT_EQ(text->GetSize().x, 80);
            EXPECT_GT(text->GetPosition().x, 0);
        } else if (dynamic_cast<wxButton*>(child) != nullptr) {
            buttons.push_back(child->GetLabel());
        }
    }
    std::vector<wxString> wantedLabels;
    std::vector<int> wantedFields;
    for (const Field& field : kFields) {
        wantedLabels.emplace_back(field.label);
        wantedFields.push_back(field.id);
    }
    EXPECT_EQ(labels, wantedLabels);
    EXPECT_EQ(fields, wantedFields);
    EXPECT_EQ(lines, 2);
    EXPECT_EQ(buttons, (std::vector<wxString>{"OK", "Cancel"}));
    for (std::size_t i = 1; i < kFields.size(); ++i) {
        EXPECT_GT(FieldOf(dialog, kFields[i].id).GetPosition().y, FieldOf(dialog, kFields[i - 1].id).GetPosition().y);
    }
}

TEST_F(Dialogs, OkTakesWhatLiesInItsRangeAndCancelNothing) {
    for (const Field& field : kFields) {
        for (const char* text : field.accepted) {
            for (const int button : {wxID_CANCEL, wxID_OK}) {
                const auto before = Values(frame->Parameters());
                Answers answers(wxID_NONE);
                answers.Act([&](wxDialog& dialog) {
                    FieldOf(dialog, field.id).SetValue(text);
                    Press(dialog, button);
                    return true;
                });
                Run(kParameters);
                const auto row = static_cast<std::size_t>(&field - kFields.data());
                auto wanted = before;
                if (button == wxID_OK) wanted[row] = std::stof(text);
                EXPECT_EQ(Values(frame->Parameters()), wanted) << field.label << " " << text;
            }
        }
    }
}

TEST_F(Dialogs, OkKeepsTheDialogOpenOverATextOutsideItsRange) {
    const auto before = Values(frame->Parameters());
    for (const Field& field : kFields) {
        for (const char* text : field.refused) {
            Answers answers([](wxDialog& dialog) {
                return dynamic_cast<wxMessageDialog*>(&dialog) == nullptr ? int{wxID_NONE} : int{wxID_OK};
            });
            answers.Act([&](wxDialog& dialog) {
                FieldOf(dialog, field.id).ChangeValue(text);
                Press(dialog, wxID_OK);
                EXPECT_TRUE(dialog.IsModal() && dialog.IsShown()) << field.label << " '" << text << "'";
                if (dialog.IsModal()) dialog.EndModal(wxID_CANCEL);
                return true;
            });
            Run(kParameters);
            const wxString name = wxString(field.label).BeforeLast(':');
            ASSERT_EQ(answers.texts.size(), 1u) << field.label << " '" << text << "'";
            EXPECT_EQ(answers.texts[0], name + ": please enter a number from " + field.range + ".");
            EXPECT_EQ(answers.captions[0], wxString("Validation conflict"));
        }
    }
    EXPECT_EQ(Values(frame->Parameters()), before);
}

TEST_F(Dialogs, ChangedParametersChangeNoResultAndArePreservedInTheDialog) {
    OpenSmall();
    Dab(20, 20);
    const qvox::LabelImage before = Labels();
    Answers answers(wxID_NONE);
    answers.Act([](wxDialog& dialog) {
        FieldOf(dialog, 10006).SetValue("1.25");
        FieldOf(dialog, 10007).SetValue("0.125");
        Press(dialog, wxID_OK);
        return true;
    });
    Run(kParameters);
    EXPECT_TRUE(SameLabels(Labels(), before));
    EXPECT_EQ(frame->Parameters().relativeExosomeSize, 1.25f);
    EXPECT_EQ(frame->Parameters().minObjectDiameterUm, 0.125f);
    answers.Act([](wxDialog& dialog) {
        EXPECT_EQ(FieldOf(dialog, 10006).GetValue(), wxString("1.25"));
        EXPECT_EQ(FieldOf(dialog, 10007).GetValue(), wxString("0.125"));
        dialog.Close();
        return true;
    });
    Run(kParameters);
}

TEST_F(Dialogs, ControlsListMouseAndKeyboard) {
    ControlsDialog dialog(frame);
    EXPECT_EQ(dialog.GetTitle(), wxString("Controls"));
    std::vector<wxString> texts;
    const std::function<void(wxWindow&)> collect = [&](wxWindow& window) {
        for (wxWindow* const child : window.GetChildren()) {
            const bool speaks = dynamic_cast<wxStaticText*>(child) != nullptr ||
                                dynamic_cast<wxStaticBox*>(child) != nullptr ||
                                dynamic_cast<wxButton*>(child) != nullptr;
            if (speaks) texts.push_back(child->GetLabel());
            collect(*child);
        }
    };
    collect(dialog);
    const std::vector<wxString> wanted{"Mouse",
                                       "Left button:",
                                       "Draw using the current label",
                                       "Right button:",
                                       "Select as the current label",
                                       "Wheel:",
                                       "Zoom",
                                       "Keyboard",
                                       "PgDown:",
                                       "Move to the next position",
                                       "PgUp:",
                                       "Move to the previous position",
                                       "Home:",
                                       "Move to the first position",
                                       "End:",
                                       "Move to the last position",
                                       "R:",
                                       "Repaint component using the current label",
                                       "Backspace:",
                                       "Undo the previous action",
                                       "Arrows:",
                                       "Move visible image area",
                                       "+/-:",
                                       "Zoom in/out",
                                       "0:",
                                       "Reset zoom",
                                       "OK"};
    EXPECT_EQ(texts, wanted);
    EXPECT_EQ(dialog.FindWindow(wxID_OK)->GetLabel(), wxString("OK"));
}

TEST_F(Dialogs, TheButtonOfTheControlsIsBelowThemAndInTheMiddle) {
    ControlsDialog dialog(frame);
    const wxRect button = dialog.FindWindow(wxID_OK)->GetRect();
    EXPECT_TRUE(wxRect(dialog.GetClientSize()).Contains(button));
    int groups = 0;
    for (wxWindow* const child : dialog.GetChildren()) {
        if (dynamic_cast<wxStaticBox*>(child) == nullptr) continue;
        EXPECT_GE(button.GetTop(), child->GetRect().GetBottom());
        ++groups;
    }
    EXPECT_EQ(groups, 2);
    EXPECT_NEAR(button.GetLeft() + button.GetRight(), dialog.GetClientSize().x, 4);
}

TEST_F(Dialogs, ControlsOpenAloneAndCloseByTheirButton) {
    Answers answers(wxID_NONE);
    answers.Act([](wxDialog& dialog) {
        EXPECT_NE(dynamic_cast<ControlsDialog*>(&dialog), nullptr);
        EXPECT_TRUE(dialog.IsModal());
        Press(dialog, wxID_OK);
        return true;
    });
    Run(kControls);
    EXPECT_EQ(answers.titles, std::vector<wxString>{"Controls"});
    EXPECT_TRUE(frame->IsEnabled());
}

/// The about box, which is a window of the desktop's library and not of the toolkit's.
void* AboutBox() {
    static const std::size_t kind = OfLibrary<std::size_t()>("gtk_about_dialog_get_type")();
    LibraryList* const windows = OfLibrary<LibraryList*()>("gtk_window_list_toplevels")();
    void* found = nullptr;
    for (LibraryList* node = windows; node != nullptr; node = node->next) {
        const bool isOne = OfLibrary<int(void*, std::size_t)>("g_type_check_instance_is_a")(node->data, kind) != 0;
        if (isOne && OfLibrary<int(void*)>("gtk_widget_get_visible")(node->data) != 0) found = node->data;
    }
    OfLibrary<void(void*)>("g_list_free")(windows);
    return found;
}

std::string TextOf(void* box, const std::string& property) {
    const char* const text = OfLibrary<const char*(void*)>(("gtk_about_dialog_get_" + property).c_str())(box);
    return text == nullptr ? "" : text;
}

TEST_F(Dialogs, AboutNamesTheProgramItsDateItsPageAndItsMaker) {
    const Answers answers(wxID_CANCEL);
    EXPECT_EQ(AboutBox(), nullptr);
    Run(kAbout);
    EXPECT_TRUE(answers.titles.empty()) << "no other window opens";
    ASSERT_TRUE(Await([] { return AboutBox() != nullptr; }));
    void* const box = AboutBox();
    const std::string name = TextOf(box, "program_name");
    // "Aug 13 2018", a day below ten with a space before it.
    EXPECT_EQ(name.size(), std::string("TEM Korvane (Built Aug 13 2018)").size());
    EXPECT_EQ(name.substr(0, 19), "TEM Korvane (Built ");
    EXPECT_EQ(name.back(), ')');
    EXPECT_EQ(TextOf(box, "version"), VersionText());
    const std::string page = TextOf(box, "website");
    EXPECT_EQ(page.rfind("file:///", 0), 0u) << page;
    EXPECT_NE(page.find("/korvane/html/manual.html"), page.npos) << page;
    EXPECT_EQ(TextOf(box, "comments"), "") << "where the manual is, is said only where there is no page";
    EXPECT_FALSE(TextOf(box, "copyright").empty());
    constexpr int kCancel = -6;
    OfLibrary<void(void*, int)>("gtk_dialog_response")(box, kCancel);
    EXPECT_TRUE(Await([] { return AboutBox() == nullptr; }));
    EXPECT_TRUE(frame->IsEnabled());
}

}  // namespace
