#pragma once

#include <array>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <wx/checkbox.h>
#include <wx/spinctrl.h>
#include <wx/textctrl.h>

#include "CommandTable.h"
#include "MainWindow.h"
#include "PixelSizeDialog.h"
#include "RegionDialog.h"
#include "files/ImageFile.h"
#include "support/AnnotatedPhantoms.h"

namespace korvane_test {

using namespace Korvane;

inline constexpr std::uint64_t kMarkedWidth = 420;
inline constexpr std::uint64_t kMarkedHeight = 360;
inline const cv::Rect kBar(270, 335, 130, 6);

/// What a field does when a person changes its value.
inline void Enter(wxDialog& dialog, int id, int value) {
    auto& field = dynamic_cast<wxSpinCtrl&>(*wxWindow::FindWindowById(id, &dialog));
    field.SetValue(value);
    wxSpinEvent changed(wxEVT_SPINCTRL, id);
    changed.SetEventObject(&field);
    field.GetEventHandler()->ProcessEvent(changed);
}

inline void Type(wxDialog& dialog, int id, const char* text) {
    dynamic_cast<wxTextCtrl&>(*wxWindow::FindWindowById(id, &dialog)).SetValue(text);
}

inline void Press(wxDialog& dialog, int id) {
    wxCommandEvent press(wxEVT_BUTTON, id);
    press.SetEventObject(wxWindow::FindWindowById(id, &dialog));
    wxWindow::FindWindowById(id, &dialog)->GetEventHandler()->ProcessEvent(press);
}

class PreparationWindow : public MainWindow {
protected:
    enum class Size { kStored, kMissing };

    /// Vesicles with a scale bar, as a camera of 16 bits stores them.
    void SaveMarked(const std::string& name, Size size = Size::kStored) {
        VesicleOptions options;
        options.noise = 0.02f;
        cv::Mat map = Stored(Vesicles(3, static_cast<int>(kMarkedWidth), static_cast<int>(kMarkedHeight), options),
                             Depth::k16Bit);
        cv::rectangle(map, kBar, 65535.0, cv::FILLED);
        qvox::VoxelImage<std::uint16_t> image;
        image.Resize(kMarkedWidth, kMarkedHeight, 1);
        for (std::uint64_t y = 0; y < kMarkedHeight; ++y) {
            for (std::uint64_t x = 0; x < kMarkedWidth; ++x) {
                image(x, y) = static_cast<std::uint16_t>(map.at<float>(static_cast<int>(y), static_cast<int>(x)));
            }
        }
        if (size == Size::kStored) image.SetResolution({672.0f, 672.0f, 0.0f});
        qvox::SaveImageFile(folder.File(name), image);
    }

    std::string Bytes(const std::string& name) {
        std::ifstream file(folder.File(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    /// The label file that the batch tool makes of a.tif.
    std::string FromBatch(const std::string& command) {
        const std::string all = "LC_ALL=C '" KORVANE_BATCH_PROGRAM "' " + command + " -o '" + folder.File("batch") +
                                "' '" + folder.File("a.tif") + "' > '" + folder.File("log") + "' 2>&1";
        EXPECT_EQ(std::system(all.c_str()), 0) << Bytes("log");
        return Bytes("batch/seg_a.tif");
    }

    std::string FromWindow(int command) {
        Run(command);
        std::filesystem::remove(folder.File("seg_a.tif"));
        Run(kSaveResults);
        return Bytes("seg_a.tif");
    }

    void ChooseRegion(const std::array<int, 4>& values, int button = wxID_OK) {
        Answers answers(wxID_NONE);
        answers.Act([&](wxDialog& dialog) {
            for (std::size_t i = 0; i < values.size(); ++i) Enter(dialog, RegionDialog::kFields[i], values[i]);
            dialog.EndModal(button);
            return true;
        });
        Run(kAnalysisRegion);
    }

    /// Stores a pixel size; questions after the dialog are answered with Replace, or not.
    std::vector<wxString> Store(const std::vector<std::pair<int, const char*>>& typed, int answer = wxID_OK,
                                bool forAll = false) {
        Answers answers([answer](wxDialog& dialog) {
            return dynamic_cast<PixelSizeDialog*>(&dialog) != nullptr ? int{wxID_NONE} : answer;
        });
        answers.Act([&](wxDialog& dialog) {
            if (dynamic_cast<PixelSizeDialog*>(&dialog) == nullptr) return false;
            for (const auto& [id, text] : typed) Type(dialog, id, text);
            if (forAll) {
                dynamic_cast<wxCheckBox&>(*wxWindow::FindWindowById(PixelSizeDialog::kForAll, &dialog)).SetValue(true);
            }
            Press(dialog, wxID_OK);
            return true;
        });
        Run(kStorePixelSize);
        return answers.texts;
    }
};

}  // namespace korvane_test
