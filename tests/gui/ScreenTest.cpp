#include <algorithm>
#include <string>

#include <gtest/gtest.h>
#include <wx/uiaction.h>

#include "CommandTable.h"
#include "MainWindow.h"
#include "ScreenReader.h"
#include "SingleImageCanvas.h"
#include "ViewPainter.h"
#include "ViewTransform.h"
#include "files/ImageFile.h"

// What is on the screen, pixel by pixel.

namespace {

using namespace Korvane;
using namespace korvane_test;

class Screen : public MainWindow {
protected:
    void SetUp() override {
        qvox::VoxelImage<std::uint16_t> image;
        image.Resize(301, 227, 1);
        for (std::uint64_t i = 0; i < image.VoxelCount(); ++i) {
            image[i] = static_cast<std::uint16_t>((i * 7919u + i / 301 * 31u) % 4096);
        }
        qvox::SaveImageFile(folder.File("noise.tif"), image);
        Open({"noise.tif"});
        Dab(40, 40);
        Run(kNextLabel);
        Dab(52, 44);
        for (int i = 0; i < 12; ++i) Run(kNextLabel);
        Dab(299, 1);
        Dab(150, 160);
        // Out of the way, so that no outline is drawn.
        wxUIActionSimulator().MouseMove(wxGetDisplaySize().x - 1, wxGetDisplaySize().y - 1);
        AwaitShown();
        Mouse(wxEVT_LEAVE_WINDOW, -1, -1, false);
    }

    ColourPicture OnScreen() {
        const wxSize size = frame->Canvas().GetClientSize();
        const wxPoint corner = frame->Canvas().ClientToScreen({0, 0});
        return ReadScreen(corner.x, corner.y, static_cast<unsigned>(size.x), static_cast<unsigned>(size.y));
    }

    ColourPicture Wanted() {
        const PositionStore& store = frame->Store();
        GreyPicture grey;
        ConvertToGrey(store.images.ShownIntensities(), grey);
        const wxPoint start = frame->Canvas().GetViewStart();
        const wxSize size = frame->Canvas().GetClientSize();
        ColourPicture picture;
        PaintView(grey, Labels(), frame->StateOfCanvas().style, {start.x, start.y, ZoomFactor(frame->ZoomLevel())},
                  {0, 0, size.x, size.y}, picture);
        return picture;
    }

    static std::size_t Differing(const ColourPicture& a, const ColourPicture& b) {
        if (!a.SameSizes(b)) return std::max(a.VoxelCount(), b.VoxelCount());
        std::size_t count = 0;
        for (std::uint64_t i = 0; i < a.VoxelCount(); ++i) count += a[i] == b[i] ? 0u : 1u;
        return count;
    }

    void ExpectShown(const std::string& what) {
        EXPECT_TRUE(Await([&] { return Differing(OnScreen(), Wanted()) == 0; }))
            << what << ": " << Differing(OnScreen(), Wanted()) << " pixels of " << Wanted().VoxelCount() << " differ";
    }
};

TEST_F(Screen, ShowsWhatThePainterPaintsAtEveryZoom) {
    for (const int level : {-13, -6, -1, 0, 1, 2, 5, 9, 13}) {
        frame->SetZoomLevel(level);
        ExpectShown("level " + std::to_string(level));
        // Somewhere else, off the grid of the image.
        frame->Canvas().ScrollTo({37, 53});
        ExpectShown("scrolled, level " + std::to_string(level));
    }
}

TEST_F(Screen, ShowsWhatThePainterPaintsInEveryStyle) {
    for (const int level : {-3, 0, 4}) {
        frame->SetZoomLevel(level);
        for (const int command : {kOnlyContours, kOnlyRaw, kOnlyRaw, kOnlyContours}) {
            Run(command);
            ExpectShown("level " + std::to_string(level) + " after " + std::to_string(command));
        }
    }
}

TEST_F(Screen, EveryEditIsOnTheScreenWithoutAFullRepaint) {
    for (const int level : {-2, 0, 3}) {
        frame->SetZoomLevel(level);
        ExpectShown("before");
        for (int i = 0; i < 6; ++i) {
            Mouse(wxEVT_LEFT_DOWN, 30 + 9 * i, 60 + 5 * i, true);
            Mouse(wxEVT_MOTION, 45 + 9 * i, 66 + 5 * i, true);
            Mouse(wxEVT_LEFT_UP, 45 + 9 * i, 66 + 5 * i, false);
            Mouse(wxEVT_LEAVE_WINDOW, -1, -1, false);
            ExpectShown("level " + std::to_string(level) + " stroke " + std::to_string(i));
        }
        Key(WXK_BACK);
        ExpectShown("undone");
    }
}

TEST_F(Screen, IsGreyWithoutAPosition) {
    const Answers answers(wxID_OK);
    Open({"none.tif"});
    const auto allGrey = [&] {
        const ColourPicture picture = OnScreen();
        return std::all_of(picture.begin(), picture.end(), [](const qvox::Rgb8& pixel) {
            return pixel == qvox::Rgb8{150, 150, 150};
        });
    };
    EXPECT_TRUE(Await(allGrey));
}

}  // namespace
