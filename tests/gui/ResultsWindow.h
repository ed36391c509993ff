#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <wx/button.h>
#include <wx/choice.h>
#include <wx/msgdlg.h>
#include <wx/textctrl.h>

#include "CommandTable.h"
#include "MainWindow.h"
#include "ObjectsPanel.h"
#include "evaluation/EvaluationPhantoms.h"
#include "files/ImageFile.h"

namespace korvane_test {

using namespace Korvane;

inline std::string BytesOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// Positions with objects, and the panel that lists them.
class ResultsWindow : public MainWindow {
protected:
    void OpenDiscs() {
        const TrainingImage discs = DiscImage(1);
        qvox::VoxelImage<std::uint8_t> image;
        image.Resize(discs.image.SizeX(), discs.image.SizeY(), 1);
        std::transform(discs.image.begin(), discs.image.end(), image.begin(),
                       [](float value) { return static_cast<std::uint8_t>(value * 200.0f); });
        image.SetResolution(discs.image.Resolution());
        qvox::SaveImageFile(folder.File("discs.tif"), image);
        Open({"discs.tif"});
        AwaitShown();
    }

    /// Two objects at the first of three positions, 1 and 2, and one at the second.
    void OpenWithObjects() {
        for (const char* name : {"a.tif", "b.tif", "c.tif"}) WriteRamp(folder.File(name), 200, 160);
        Open({"a.tif", "b.tif", "c.tif"});
        AwaitShown();
        Dab(16, 16);
        Run(kNextLabel);
        Dab(44, 44);
        Key(WXK_PAGEDOWN);
        Dab(30, 30);
        Key(WXK_PAGEUP);
    }

    ObjectsPanel& Panel() { return frame->Objects(); }

    void ShowPanel() {
        Run(kObjects);
        ASSERT_TRUE(frame->ShowsObjects());
        AwaitMeasured();
        ExpectLaidOut(Panel());
    }
    void AwaitMeasured() {
        ASSERT_TRUE(Await([&] { return Panel().IsUpToDate(); }));
    }

    void Press(int id) {
        wxWindow* const button = Panel().FindWindow(id);
        ASSERT_NE(button, nullptr);
        wxCommandEvent event(wxEVT_BUTTON, id);
        event.SetEventObject(button);
        button->GetEventHandler()->ProcessEvent(event);
    }

    std::vector<std::uint16_t> Rows() {
        std::vector<std::uint16_t> labels;
        for (std::size_t i = 0; i < Panel().List().RowCount(); ++i) labels.push_back(Panel().List().At(i).label);
        return labels;
    }

    template <typename Control>
    Control* Nth(int index) {
        for (wxWindow* const child : Panel().GetChildren()) {
            auto* const control = dynamic_cast<Control*>(child);
            if (control != nullptr && index-- == 0) return control;
        }
        return nullptr;
    }

    /// Chooses the folder "report", and `answer` where it asks.
    std::string Report(int answer) {
        std::filesystem::create_directory(folder.Path() / "report");
        std::string page;
        frame->OpenPagesBy([&](const wxString& address) { page = address.utf8_string(); });
        Answers answers([&](wxDialog& dialog) {
            return dynamic_cast<wxMessageDialog*>(&dialog) != nullptr ? answer : static_cast<int>(wxID_NONE);
        });
        answers.Act(Choose({folder.File("report")}));
        Run(kReport);
        asked = answers.texts;
        return page;
    }

    std::vector<wxString> asked;
};

using LabelList = std::vector<std::uint16_t>;

}  // namespace korvane_test
