#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <wx/dirdlg.h>
#include <wx/filedlg.h>
#include <wx/msgdlg.h>

#include "CommandTable.h"
#include "MainWindow.h"
#include "PathText.h"
#include "Recovery.h"
#include "RecoveryJournal.h"
#include "SingleImageCanvas.h"
#include "files/ImageFile.h"
#include "support/Random.h"

// Whatever a person may do, in any order: the window must stay whole.

namespace {

using namespace Korvane;
using namespace korvane_test;

namespace fs = std::filesystem;

unsigned long FromEnvironment(const char* name, unsigned long otherwise) {
    const char* const text = std::getenv(name);
    return text == nullptr ? otherwise : std::strtoul(text, nullptr, 10);
}

class RandomWalk : public MainWindow {
protected:
    int Draw(int low, int high) { return UniformInt(random, low, high); }

    void WritePictures() {
        struct Picture {
            const char* name;
            unsigned width;
            unsigned height;
        };
        for (const Picture& picture :
             {Picture{"a.tif", 96, 80}, {"b.tif", 64, 64}, {"c.tif", 33, 50}, {"d.tif", 1, 7}}) {
            qvox::VoxelImage<std::uint16_t> image;
            image.Resize(picture.width, picture.height, 1);
            for (std::uint64_t i = 0; i < image.VoxelCount(); ++i) {
                const int x = static_cast<int>(i % picture.width) % 32 - 16;
                const int y = static_cast<int>(i / picture.width) % 32 - 16;
                image[i] = static_cast<std::uint16_t>(Draw(0, 200) + (x * x + y * y < 100 ? 2000 : 500));
            }
            image.SetResolution({672.0f, 672.0f, 0.0f});
            qvox::SaveImageFile(folder.File(picture.name), image);
        }
    }

    int AnswerTo(wxDialog& dialog) {
        if (dynamic_cast<wxFileDialog*>(&dialog) != nullptr || dynamic_cast<wxDirDialog*>(&dialog) != nullptr) {
            return wxID_CANCEL;
        }
        const auto* const question = dynamic_cast<wxMessageDialog*>(&dialog);
        if (question != nullptr && question->GetMessage().StartsWith("After terminating")) return wxID_CANCEL;
        return Draw(0, 1) == 0 ? wxID_OK : wxID_CANCEL;
    }

    wxPoint AnyPoint() {
        const wxSize size = frame->Canvas().GetClientSize();
        return {Draw(-10, std::max(size.x, 1) + 10), Draw(-10, std::max(size.y, 1) + 10)};
    }

    void AnyMouse() {
        static const std::vector<wxEventType> kTypes{
            wxEVT_LEFT_DOWN, wxEVT_LEFT_DCLICK, wxEVT_LEFT_UP,  wxEVT_MOTION,       wxEVT_MOTION,      wxEVT_MOTION,
            wxEVT_MOTION,    wxEVT_RIGHT_DOWN,  wxEVT_RIGHT_UP, wxEVT_LEAVE_WINDOW, wxEVT_ENTER_WINDOW};
        const wxEventType type = kTypes[static_cast<std::size_t>(Draw(0, static_cast<int>(kTypes.size()) - 1))];
        if (type == wxEVT_LEFT_DOWN || type == wxEVT_LEFT_DCLICK) leftDown = true;
        if (type == wxEVT_LEFT_UP) leftDown = false;
        const wxPoint point = AnyPoint();
        last += " mouse " + std::to_string(type - wxEVT_LEFT_DOWN) + (leftDown ? " down" : "");
        const bool brush = frame->StateOfCanvas().editing->mode == DrawingMode::kBrush;
        Mouse(type, point.x, point.y, leftDown);
        const bool press = type == wxEVT_LEFT_DOWN || type == wxEVT_LEFT_DCLICK;
        const bool draws = !frame->ShowsStages() && !frame->MarksBurntIn();
        if (press && brush && frame->Canvas().PointerInside() && draws) undone = false;
    }

    void AnyKey() {
        static const std::vector<int> kKeys{'C',
                                            'E',
                                            'U',
                                            'R',
                                            '+',
                                            '-',
                                            '0',
                                            WXK_LEFT,
                                            WXK_UP,
                                            WXK_DOWN,
                                            WXK_RIGHT,
                                            WXK_HOME,
                                            WXK_END,
                                            WXK_PAGEUP,
                                            WXK_PAGEDOWN,
                                            WXK_BACK,
                                            WXK_NUMPAD_DELETE,
                                            WXK_NUMPAD_ADD,
                                            WXK_NUMPAD_SUBTRACT,
                                            'x',
                                            WXK_ESCAPE,
                                            WXK_TAB,
                                            'c',
                                            'r'};
        const int key = kKeys[static_cast<std::size_t>(Draw(0, static_cast<int>(kKeys.size()) - 1))];
        last += " key " + std::to_string(key);
        wxKeyEvent event(Draw(0, 3) == 0 ? wxEVT_CHAR : wxEVT_CHAR_HOOK);
        event.m_keyCode = key;
        event.SetShiftDown(Draw(0, 9) == 0);
        event.SetControlDown(Draw(0, 9) == 0);
        event.SetEventObject(&frame->Canvas());
        frame->Canvas().ProcessWindowEvent(event);
        if (key == WXK_BACK) undone = true;
    }

    void AnyCommand() {
        const Command& command = kCommands[static_cast<std::size_t>(Draw(0, static_cast<int>(kCommands.size()) - 1))];
        // The about box is no dialog: it would stay.
        if (command.id == kAbout) return;
        // Without a position it asks nothing, and the window would be gone.
        if (command.id == kQuit && PositionCount(frame->Store()) == 0) return;
        // Analyses cost more than all else.
        if ((std::string(command.menu) == "&Analysis" || command.id == kStages) && Draw(0, 9) != 0) return;
        // A search runs detection some hundred times.
        if (command.id == kLearnParameters) return;
        last += command.text;
        wxCommandEvent event(wxEVT_MENU, command.id);
        frame->ProcessWindowEvent(event);
        if (command.id == kClearCurrent) undone = false;
    }

    void AnyFiles() {
        std::vector<wxString> paths;
        for (const char* name : {"a.tif", "b.tif", "c.tif", "d.tif", "none.tif"}) {
            if (Draw(0, 1) == 0) paths.push_back(PathOf(name));
        }
        frame->OpenFiles(paths);
    }

    void AnyParameters() {
        for (const ParameterRange& range : kParameterRanges) {
            frame->Parameters().*range.field =
                range.minimum + (range.maximum - range.minimum) * static_cast<float>(Draw(0, 10)) / 10.0f;
        }
    }

    /// All the way back and forth again: the labels are what they were.
    void UndoAllAndRedoAll() {
        const std::vector<qvox::LabelImage> before = AllLabels(frame->Store());
        if (!frame->StateOfCanvas().editing->contourPoints.empty() || before.empty()) return;
        const auto run = [this](int id) {
            wxCommandEvent event(wxEVT_MENU, id);
            frame->ProcessWindowEvent(event);
        };
        int steps = 0;
        for (; frame->History().CanUndo(); ++steps) run(kUndo);
        undone = false;
        for (int i = 0; i < steps; ++i) run(kRedo);
        for (std::size_t i = 0; i < before.size(); ++i) {
            EXPECT_TRUE(SameLabels(*frame->Store().images.LabelsOf(i), before[i])) << steps << " steps, position " << i;
        }
    }

    void AnyEvent() {
        const int kind = Draw(0, 999);
        last = std::to_string(kind);
        if (kind < 500) {
            AnyMouse();
        } else if (kind < 700) {
            AnyKey();
        } else if (kind < 800) {
            Turn(Draw(-2, 2) * Draw(1, 120), Draw(0, 4) == 0 ? wxMOUSE_WHEEL_HORIZONTAL : wxMOUSE_WHEEL_VERTICAL);
        } else if (kind < 980) {
            AnyCommand();
        } else if (kind < 985) {
            frame->SetSize(Draw(150, 700), Draw(150, 700));
        } else if (kind < 990) {
            AnyParameters();
        } else if (kind < 992) {
            AnyFiles();
        } else if (kind < 994) {
            UndoAllAndRedoAll();
        } else {
            Pump();
        }
    }

    std::string Broken() const {
        const PositionStore& store = frame->Store();
        const std::size_t count = store.paths.size();
        if (store.images.Count() != count) return "the sequences differ in length";
        if (count > 0 && store.current >= count) return "no such position is current";
        if (count == 0 && frame->Canvas().HasImage()) return "an image is shown that is gone";
        if (count > 0 && !store.images.Shows(store.current)) return "the current position is not the shown one";
        for (std::size_t i = 0; i < count; ++i) {
            if (!store.images.LabelsOf(i)->SameSizes(*store.images.IntensitiesOf(i))) {
                return "labels and image differ in size";
            }
        }
        if (!store.undoLabels.Empty() && !store.undoLabels.SameSizes(store.images.ShownLabels())) {
            return "the undo copy is of another position";
        }
        if (!undone && store.labelCount != CountLabels(store, store.current)) return "the objects are miscounted";
        if (std::abs(frame->ZoomLevel()) > 13) return "the zoom is out of range";
        if (frame->BrushRadius() < 1 || frame->BrushRadius() > 99) return "the radius is out of range";
        const CanvasState state = frame->StateOfCanvas();
        for (const std::uint64_t point : state.editing->contourPoints) {
            if (count == 0 || point >= store.images.ShownLabels().VoxelCount())
                return "a contour leaves the image";
        }
        return "";
    }

    /// What a program that died now would have restored; empty when that is what is shown.
    std::string LostByDeath() {
        Pump();
        const std::string left = folder.File("left");
        fs::remove_all(left);
        fs::copy(folder.File("state"), left);
        const LeftWork work = FindLeftWork(left);
        if (!work.foreign.empty() || work.journals.size() > 1) return "there is more than one journal";
        if (work.journals.empty()) return "";
        ++journalsRead;
        for (const RecoveredPosition& position : work.journals[0].Positions()) {
            const auto& paths = frame->Store().paths;
            const auto found = std::find(paths.begin(), paths.end(), PathText(position.image.file.path));
            if (found == paths.end()) return "an image of the journal is not open";
            const auto index = static_cast<std::size_t>(found - paths.begin());
            if (!SameLabels(RecoveredLabels(position), *frame->Store().images.LabelsOf(index))) {
                return "other labels than those of position " + std::to_string(index);
            }
        }
        return "";
    }

    std::mt19937 random;
    int journalsRead = 0;
    std::string last;  ///< the event, for a person who looks for a fault
    bool leftDown = false;
    bool undone = false;  ///< the count shown may be that from before an undo
};

TEST_F(RandomWalk, LeavesTheWindowWhole) {
    const unsigned long seed = FromEnvironment("KORVANE_WALK_SEED", std::random_device()());
    const unsigned long events = FromEnvironment("KORVANE_WALK_EVENTS", 5000);
    std::cout << "random walk of " << events << " events, KORVANE_WALK_SEED=" << seed << std::endl;
    random.seed(static_cast<unsigned>(seed));
    WritePictures();
    const Answers answers([this](wxDialog& dialog) { return AnswerTo(dialog); });
    frame->KeepJournal(folder.File("state"));
    Open({"a.tif", "b.tif", "c.tif"});
    for (unsigned long i = 0; i < events && !HasFailure(); ++i) {
        AnyEvent();
        if (i % 25 == 0) Pump();
        if (i % 25 == 0) {
            ASSERT_TRUE(frame->IsEnabled()) << "event " << i << " of seed " << seed;
        }
        ASSERT_EQ(Broken(), "") << last << "event " << i << " of seed " << seed;
        if (i % 250 == 0) {
            ASSERT_EQ(LostByDeath(), "") << "event " << i << " of seed " << seed;
        }
        ASSERT_FALSE(HasFailure()) << "event " << i << " of seed " << seed;
    }
    std::cout << journalsRead << " journals gave back the labels that were shown" << std::endl;
    EXPECT_TRUE(events < 1000 || journalsRead > 0);
}

}  // namespace
