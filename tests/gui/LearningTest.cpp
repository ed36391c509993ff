#include <algorithm>
#include <array>
#include <cstdint>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <wx/checkbox.h>
#include <wx/checklst.h>
#include <wx/progdlg.h>
#include <wx/spinctrl.h>
#include <wx/stattext.h>
#include <wx/textctrl.h>

#include "CommandTable.h"
#include "LearnDialog.h"
#include "LearntDialog.h"
#include "MainWindow.h"
#include "RegionDialog.h"
#include "evaluation/EvaluationPhantoms.h"
#include "files/ImageFile.h"

// "Learn parameters from corrected positions...": which positions, the search, and what comes of it.

namespace {

using namespace Korvane;
using namespace korvane_test;

template <typename Control>
Control* Find(wxWindow& window) {
    for (wxWindow* const child : window.GetChildren()) {
        if (auto* const control = dynamic_cast<Control*>(child)) return control;
    }
    return nullptr;
}

wxString AllText(wxWindow& window) {
    wxString text;
    for (wxWindow* const child : window.GetChildren()) {
        if (const auto* const field = dynamic_cast<wxTextCtrl*>(child)) text += field->GetValue() + "\n";
        if (const auto* const line = dynamic_cast<wxStaticText*>(child)) text += line->GetLabel() + "\n";
    }
    return text;
}

void Press(wxDialog& dialog, int id) {
    wxCommandEvent event(wxEVT_BUTTON, id);
    wxWindow* const button = dialog.FindWindow(id);
    ASSERT_NE(button, nullptr) << id;
    event.SetEventObject(button);
    button->GetEventHandler()->ProcessEvent(event);
}

/// Presses Cancel in the progress dialog as soon as there is one.
class Canceller final : public wxTimer {
public:
    explicit Canceller(wxWindow& frame) : frame_(frame) { Start(20); }

    void Notify() override {
        for (wxWindow* const window : wxTopLevelWindows) {
            auto* const progress = dynamic_cast<wxProgressDialog*>(window);
            if (progress == nullptr) continue;
            Stop();
            message = progress->GetMessage();
            frameWasEnabled = frame_.IsEnabled();
            Press(*progress, wxID_CANCEL);
            return;
        }
    }

    wxString message;
    bool frameWasEnabled = true;

private:
    wxWindow& frame_;
};

class Learning : public MainWindow {
protected:
    /// Discs of fewer pixels than a candidate has at the default parameters.
    static DiscOptions SmallDiscs() {
        DiscOptions options;
        options.width = 150;
        options.height = 110;
        options.radiusPx = 5;
        options.spacingPx = 22;
        options.perUm = 672.0f;
        return options;
    }

    /// Images with their true labels beside them as results.
    void OpenDiscs(unsigned count, const DiscOptions& options) {
        std::vector<std::string> names;
        for (unsigned seed = 1; seed <= count; ++seed) {
            TrainingImage discs = DiscImage(seed, options);
            qvox::VoxelImage<std::uint8_t> image;
            image.Resize(options.width, options.height, 1);
            std::transform(discs.image.begin(), discs.image.end(), image.begin(),
                           [](float value) { return static_cast<std::uint8_t>(value * 200.0f); });
            image.SetResolution(discs.image.Resolution());
            names.push_back(discs.name);
            qvox::SaveImageFile(folder.File(discs.name), image);
            qvox::SaveImageFile(folder.File("seg_" + discs.name), discs.truth);
        }
        Open(names);
        ASSERT_EQ(PositionCount(frame->Store()), count);
    }

    void OpenCorrected(unsigned count) {
        OpenDiscs(count, SmallDiscs());
        const Answers answers(wxID_OK);
        Run(kLoadResults);
        AwaitShown();
    }

    /// Runs the command with so many evaluations; `end` gets the dialog with the result and must end it.
    void Learn(int evaluations, const std::function<void(LearntDialog&)>& end) {
        Answers answers(wxID_NONE);
        answers.Act([&](wxDialog& dialog) {
            if (auto* const choice = dynamic_cast<LearnDialog*>(&dialog)) {
                auto* const field = Find<wxSpinCtrl>(*choice);
                EXPECT_TRUE(field->GetToolTipText().StartsWith("More take longer")) << field->GetToolTipText();
                field->SetValue(evaluations);
                Press(*choice, wxID_OK);
            } else if (auto* const learnt = dynamic_cast<LearntDialog*>(&dialog)) {
                end(*learnt);
            } else {
                ADD_FAILURE() << dialog.GetTitle();
                dialog.EndModal(wxID_CANCEL);
            }
            return true;
        });
        Run(kLearnParameters);
        titles = answers.titles;
    }

    void ChooseRegionForAll(const std::array<std::uint64_t, 4>& region) {
        Answers answers(wxID_NONE);
        answers.Act([&](wxDialog& dialog) {
            for (std::size_t i = 0; i < region.size(); ++i) {
                auto& field = dynamic_cast<wxSpinCtrl&>(*dialog.FindWindow(RegionDialog::kFields[i]));
                field.SetValue(static_cast<int>(region[i]));
                wxSpinEvent changed(wxEVT_SPINCTRL, field.GetId());
                changed.SetEventObject(&field);
                field.GetEventHandler()->ProcessEvent(changed);
            }
            dynamic_cast<wxCheckBox&>(*dialog.FindWindow(RegionDialog::kForAll)).SetValue(true);
            dialog.EndModal(wxID_OK);
            return true;
        });
        Run(kAnalysisRegion);
    }

    /// A part of an image file, as a file of the same name in the folder "cut".
    template <typename T>
    void Cut(const std::string& name, const std::array<std::uint64_t, 4>& region) const {
        qvox::VoxelImage<T> whole;
        qvox::LoadImageFile(folder.File(name), whole);
        qvox::VoxelImage<T> part;
        part.CopyPropertiesFrom(whole);
        part.Resize(region[2], region[3], 1);
        for (std::uint64_t i = 0; i < part.VoxelCount(); ++i) {
            part[i] = whole(region[0] + i % region[2], region[1] + i / region[2]);
        }
        qvox::SaveImageFile(folder.File("cut/" + name), part);
    }

    /// The entries of the list of positions, those that are ticked with a star; leaves the dialog by Cancel.
    std::vector<wxString> Listed() {
        std::vector<wxString> entries;
        Answers answers(wxID_NONE);
        answers.Act([&](wxDialog& dialog) {
            const auto* const list = Find<wxCheckListBox>(dialog);
            bool isAnyTicked = false;
            for (unsigned i = 0; i < list->GetCount(); ++i) {
                entries.push_back((list->IsChecked(i) ? "*" : "") + list->GetString(i));
                isAnyTicked = isAnyTicked || list->IsChecked(i);
            }
            EXPECT_EQ(dialog.FindWindow(wxID_OK)->IsEnabled(), isAnyTicked);
            note = AllText(dialog);
            Press(dialog, wxID_CANCEL);
            return true;
        });
        Run(kLearnParameters);
        return entries;
    }

    std::set<std::string> Files() const {
        std::set<std::string> files;
        for (const auto& entry : std::filesystem::directory_iterator(folder.Path())) {
            files.insert(entry.path().filename().string());
        }
        return files;
    }

    bool HasParameters(const AnalysisParameters& expected) {
        return std::all_of(kParameterRanges.begin(), kParameterRanges.end(), [&](const ParameterRange& range) {
            return frame->Parameters().*range.field == expected.*range.field;
        });
    }

    std::vector<wxString> titles;
    wxString note;
};

TEST_F(Learning, ApplyMakesTheLearntParametersCurrent) {
    OpenCorrected(2);
    frame->Parameters().edgeContrast = 0.5f;
    const std::set<std::string> files = Files();
    const qvox::LabelImage labels(Labels());
    AnalysisParameters shown;
    wxString text;
    Learn(24, [&](LearntDialog& dialog) {
        shown = dialog.Parameters();
        text = AllText(dialog);
        EXPECT_EQ(Find<wxCheckBox>(dialog), nullptr);
        Press(dialog, wxID_APPLY);
    });
    EXPECT_EQ(titles, (std::vector<wxString>{"Learn parameters", "Learnt parameters"}));
    for (const char* part : {"default", "held out", "discs1.tif", "all together", "only 2 images to learn from",
                             "The learnt parameters are taken", "Apply makes these the current parameters:"}) {
        EXPECT_TRUE(text.Contains(part)) << part << " in " << text;
    }
    EXPECT_GT(shown.relativeExosomeSize, 1.1f);
    shown.edgeContrast = 0.5f;
    EXPECT_TRUE(HasParameters(shown));
    EXPECT_EQ(Status(0), "The parameters were learnt from 2 positions; Save parameters... keeps them");
    EXPECT_EQ(Files(), files);
    EXPECT_TRUE(SameLabels(Labels(), labels));
    EXPECT_TRUE(Await([&] { return frame->IsEnabled(); }));
    // They find what the defaults missed.
    Run(kDetectCurrent);
    EXPECT_GE(CountLabels(frame->Store(), 0), 20u);
}

TEST_F(Learning, CloseLeavesTheParameters) {
    OpenCorrected(2);
    frame->Parameters().areaFraction = 0.3f;
    const AnalysisParameters before = frame->Parameters();
    Learn(2, [&](LearntDialog& dialog) { Press(dialog, wxID_CLOSE); });
    EXPECT_EQ(titles.size(), 2u);
    EXPECT_TRUE(HasParameters(before));
    EXPECT_EQ(Status(0), "The parameters are as they were");
    EXPECT_TRUE(Await([&] { return frame->IsEnabled(); }));
}

TEST_F(Learning, CancelEndsTheSearchAndLeavesEverything) {
    OpenCorrected(2);
    frame->Parameters().areaFraction = 0.3f;
    const AnalysisParameters before = frame->Parameters();
    const qvox::LabelImage labels(Labels());
    const std::set<std::string> files = Files();
    const Canceller canceller(*frame);
    Learn(100000, [&](LearntDialog& dialog) {
        ADD_FAILURE() << "not cancelled";
        Press(dialog, wxID_CLOSE);
    });
    EXPECT_EQ(titles, std::vector<wxString>{"Learn parameters"});
    EXPECT_TRUE(canceller.message.StartsWith("Learning from all")) << canceller.message;
    EXPECT_FALSE(canceller.frameWasEnabled);
    EXPECT_TRUE(HasParameters(before));
    EXPECT_TRUE(SameLabels(Labels(), labels));
    EXPECT_EQ(Files(), files);
    EXPECT_EQ(Status(0), "Learning was cancelled; the parameters are as they were");
    EXPECT_TRUE(Await([&] { return frame->IsEnabled(); }));
    EXPECT_TRUE(told.errors.empty());
}

TEST_F(Learning, UnprovenValuesAreAppliedOnlyWhereTheyAreAskedFor) {
    OpenCorrected(1);
    frame->Parameters().areaFraction = 0.3f;
    AnalysisParameters learnt;
    Learn(24, [&](LearntDialog& dialog) {
        EXPECT_EQ(dialog.Parameters().relativeExosomeSize, 1.0f);
        auto* const unproven = Find<wxCheckBox>(dialog);
        ASSERT_NE(unproven, nullptr);
        unproven->SetValue(true);
        learnt = dialog.Parameters();
        Press(dialog, wxID_APPLY);
    });
    EXPECT_GT(learnt.relativeExosomeSize, 1.1f);
    EXPECT_TRUE(HasParameters(learnt));
    Learn(2, [&](LearntDialog& dialog) { Press(dialog, wxID_APPLY); });
    EXPECT_EQ(frame->Parameters().relativeExosomeSize, 1.0f);
    EXPECT_EQ(frame->Parameters().areaFraction, 0.15f);
}

TEST_F(Learning, WhatAnalysisLeftIsNotTickedAndWhatAHandChangedIs) {
    OpenDiscs(2, {});
    Run(kDetectAll);
    const std::string objects = std::to_string(CountLabels(frame->Store(), 0)) + " objects";
    ASSERT_NE(objects, "0 objects");
    const std::vector<wxString> made{"discs1.tif: " + objects + ", as the analysis left them",
                                     "discs2.tif: " + objects + ", as the analysis left them"};
    EXPECT_EQ(Listed(), made);
    AwaitShown();
    const std::uint16_t label = frame->Store().currentLabel;
    Run(kUniqueLabel);
    EXPECT_NE(frame->Store().currentLabel, label);
    Dab(60, 60);
    ASSERT_NE(Listed()[0], made[0]);
    EXPECT_TRUE(Listed()[0].StartsWith("*discs1.tif: ") && Listed()[0].EndsWith(", corrected")) << Listed()[0];
    EXPECT_EQ(Listed()[1], made[1]);
    Run(kUndo);
    EXPECT_EQ(Listed(), made);
    // Other images: nothing of it is remembered.
    const Answers answers(wxID_OK);
    Open({"discs1.tif"});
    Run(kLoadResults);
    EXPECT_TRUE(Listed()[0].EndsWith(", corrected"));
}

TEST_F(Learning, WithoutLabelsOrPixelSizeNothingIsLearnt) {
    OpenDiscs(1, SmallDiscs());
    const Answers answers(wxID_OK);
    qvox::VoxelImage<std::uint8_t> bare;
    qvox::LoadImageFile(folder.File("discs1.tif"), bare);
    bare.SetResolution({});
    qvox::SaveImageFile(folder.File("bare.tif"), bare);
    Open({"bare.tif"});
    EXPECT_TRUE(Listed().empty());
    EXPECT_EQ(Status(0), "There are no labels to learn from: correct some, or load them");
    Dab(20, 20);
    EXPECT_TRUE(Listed().empty());
    EXPECT_TRUE(Status(0).EndsWith("1 position has labels but no usable pixel size, and cannot be learnt from."))
        << Status(0);
    Open({"bare.tif", "discs1.tif"});
    Dab(20, 20);
    Key(WXK_PAGEDOWN);
    Dab(20, 20);
    EXPECT_EQ(Listed(), std::vector<wxString>{"*discs1.tif: 1 object, corrected"});
    EXPECT_TRUE(note.Contains("1 position has labels but no usable pixel size")) << note;
}

TEST_F(Learning, OfARegionIsThatOfImagesThatWereCutToIt) {
    OpenCorrected(2);
    const auto results = [this] {
        wxString text;
        Learn(12, [&](LearntDialog& dialog) {
            text = AllText(dialog);
            Press(dialog, wxID_CLOSE);
        });
        EXPECT_TRUE(Await([&] { return frame->IsEnabled(); }));
        return text;
    };
    const wxString whole = results();
    ChooseRegionForAll({22, 0, 110, 66});
    const wxString part = results();
    EXPECT_NE(part, whole);
    std::filesystem::create_directory(folder.File("cut"));
    for (const char* name : {"discs1.tif", "discs2.tif"}) {
        Cut<std::uint8_t>(name, {22, 0, 110, 66});
        Cut<std::uint16_t>(std::string("seg_") + name, {22, 0, 110, 66});
    }
    const Answers yes(wxID_OK);
    Open({"cut/discs1.tif", "cut/discs2.tif"});
    Run(kLoadResults);
    EXPECT_EQ(results(), part);
}

TEST_F(Learning, AnImageThatCannotBeAnalysedIsNamed) {
    korvane_test::WriteEven(folder.File("even.tif"));
    Open({"even.tif"});
    Dab(20, 20);
    Learn(2, [&](LearntDialog& dialog) { Press(dialog, wxID_CLOSE); });
    ASSERT_EQ(told.errors.size(), 1u);
    EXPECT_TRUE(told.errors[0].StartsWith("Cannot learn parameters! (Error=''even.tif': ")) << told.errors[0];
    EXPECT_EQ(titles, std::vector<wxString>{"Learn parameters"});
}

}  // namespace
