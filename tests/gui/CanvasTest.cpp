#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <wx/dcmemory.h>
#include <wx/image.h>
#include <wx/uiaction.h>
#include <wx/utils.h>

#include "CommandTable.h"
#include "LabelColours.h"
#include "MainWindow.h"
#include "OverlayDrawing.h"
#include "OverlayGeometry.h"
#include "SingleImageCanvas.h"
#include "ViewTransform.h"
#include "WindowLibrary.h"
#include "files/ImageFile.h"

namespace {

using namespace Korvane;
using korvane_test::Await;
using korvane_test::OfLibrary;
using korvane_test::Pump;

class Canvas : public korvane_test::MainWindow {
protected:
    Canvas() {
        // The display's own pointer would come in between.
        wxUIActionSimulator().MouseMove(1279, 1023);
        EXPECT_TRUE(Await([] { return wxGetMousePosition() == wxPoint(1279, 1023); }));
        korvane_test::WriteRamp(folder.File("wide.tif"), 700, 500);
        Open({"wide.tif"});
        // Bars come and go in the window library's own time, and the canvas changes its size with them.
        View().ShowScrollbars(wxSHOW_SB_NEVER, wxSHOW_SB_NEVER);
        // The window outlives this object by some paints.
        View().Bind(wxEVT_PAINT, [paints = paints_](wxPaintEvent& event) {
            ++*paints;
            event.Skip();
        });
        // The window manager gives the window its place and size when it comes to it.
        EXPECT_TRUE(Await([&] {
            View().Refresh(false);
            return *paints_ > 1 && View().GetClientSize().x >= 600 && View().GetClientSize().y >= 450;
        })) << View().GetClientSize().x
            << " x " << View().GetClientSize().y;
        FreshShot();
    }

    SingleImageCanvas& View() { return frame->Canvas(); }

    void Move(int x, int y) { Mouse(wxEVT_MOTION, x, y, false); }

    void GoTo(int level) {
        while (frame->ZoomLevel() != level) Wheel(frame->ZoomLevel() < level ? 120 : -120);
        FreshShot();
    }

    /// What the screen shows of the canvas.
    wxImage Shot() {
        Pump();
        View().Update();
        const wxSize size = View().GetClientSize();
        const wxPoint corner = View().ClientToScreen({0, 0});
        auto* const root = OfLibrary<GdkWindow*()>("gdk_get_default_root_window")();
        auto* const grab = OfLibrary<GdkPixbuf*(GdkWindow*, int, int, int, int)>("gdk_pixbuf_get_from_window");
        const wxBitmap bitmap(grab(root, corner.x, corner.y, size.x, size.y));
        return bitmap.ConvertToImage();
    }

    /// The same after everything was painted anew.
    wxImage FreshShot() {
        View().Refresh(false);
        const int before = *paints_;
        EXPECT_TRUE(Await([&] { return *paints_ > before; }));
        return Shot();
    }

private:
    std::shared_ptr<int> paints_ = std::make_shared<int>(0);
};

/// Where two pictures differ first, in words; empty when they do not by more than `tolerance` in any channel.
std::string Difference(const wxImage& a, const wxImage& b, int tolerance = 0) {
    if (a.GetSize() != b.GetSize()) return "different sizes";
    for (int y = 0; y < a.GetHeight(); ++y) {
        for (int x = 0; x < a.GetWidth(); ++x) {
            const auto far = [&](unsigned char one, unsigned char other) { return std::abs(one - other) > tolerance; };
            if (far(a.GetRed(x, y), b.GetRed(x, y)) || far(a.GetGreen(x, y), b.GetGreen(x, y)) ||
                far(a.GetBlue(x, y), b.GetBlue(x, y))) {
                return "pixel " + std::to_string(x) + ", " + std::to_string(y);
            }
        }
    }
    return {};
}

/// Whether the picture holds a pixel of a colour.
bool Holds(const wxImage& image, const qvox::Rgb8& colour) {
    for (int y = 0; y < image.GetHeight(); ++y) {
        for (int x = 0; x < image.GetWidth(); ++x) {
            if (image.GetRed(x, y) == colour.r && image.GetGreen(x, y) == colour.g && image.GetBlue(x, y) == colour.b) {
                return true;
            }
        }
    }
    return false;
}

TEST_F(Canvas, ShowsTheImageWithItsLabels) {
    Dab(100, 100);
    Move(300, 300);
    const wxImage shot = Shot();
    const std::uint8_t corner = shot.GetRed(0, 0);
    EXPECT_EQ(corner, shot.GetGreen(0, 0));
    EXPECT_EQ(shot.GetRed(109, 100), 255) << "the contour of label 1";
    EXPECT_EQ(shot.GetGreen(109, 100), 0);
    EXPECT_EQ(shot.GetRed(100, 100), shot.GetGreen(100, 100)) << "no contour inside";
    Run(kOnlyContours);
    EXPECT_EQ(Shot().GetGreen(100, 100), 0) << "the whole component";
    Run(kOnlyRaw);
    EXPECT_FALSE(Holds(Shot(), {255, 0, 0}) && Shot().GetGreen(100, 100) == 0);
}

TEST_F(Canvas, BesideTheImageLiesGrey) {
    GoTo(-13);
    const wxImage shot = Shot();
    const int x = shot.GetWidth() - 1;
    EXPECT_EQ(shot.GetRed(x, 0), 150);
    EXPECT_EQ(shot.GetGreen(x, 0), 150);
    EXPECT_EQ(shot.GetBlue(x, 0), 150);
}

TEST_F(Canvas, PaintedPieceByPieceShowsWhatIsShownWhenAllIsPaintedAnew) {
    std::mt19937 random(4);
    Run(kLabelNumbers);
    for (const int level : {0, -6, 3, 6}) {
        GoTo(level);
        const wxSize client = View().GetClientSize();
        const auto place = [&] {
            return wxPoint(static_cast<int>(random() % static_cast<unsigned>(client.x)),
                           static_cast<int>(random() % static_cast<unsigned>(client.y)));
        };
        for (int step = 0; step < 24; ++step) {
            SCOPED_TRACE("level " + std::to_string(level) + ", step " + std::to_string(step));
            const wxPoint at = place();
            switch (step % 6) {
                case 0:
                    Run(kNextLabel);
                    break;
                case 1:
                    Mouse(wxEVT_LEFT_DOWN, at.x, at.y, true);
                    break;
                case 2:
                    Mouse(wxEVT_MOTION, at.x, at.y, true);
                    break;
                case 3:
                    Mouse(wxEVT_LEFT_UP, at.x, at.y, false);
                    break;
                case 4:
                    Key(std::array<int, 3>{'R', WXK_BACK, 'C'}[random() % 3]);
                    break;
                default:
                    Move(at.x, at.y);
            }
            const wxImage pieces = Shot();
            ASSERT_EQ(Difference(pieces, FreshShot()), "");
        }
        Mouse(wxEVT_LEFT_UP, 1, 1, false);
    }
    EXPECT_GT(frame->Store().labelCount, 2u);
}

TEST_F(Canvas, AContourIsOnTheScreenWhileItIsDrawnAndNotClosed) {
    Run(kContourMode);
    Mouse(wxEVT_LEFT_DOWN, 100, 100, true);
    for (const auto& [x, y] : {std::pair{200, 100}, {200, 200}, {100, 200}}) Mouse(wxEVT_MOTION, x, y, true);
    wxImage shot = Shot();
    const auto red = [&](int x, int y) { return shot.GetRed(x, y) > shot.GetGreen(x, y) + 60; };
    EXPECT_TRUE(red(150, 100) || red(150, 99));
    EXPECT_TRUE(red(150, 200) || red(150, 199));
    EXPECT_FALSE(red(100, 150) || red(99, 150)) << "the closing line is not drawn";
    Mouse(wxEVT_LEFT_UP, 100, 200, false);
    shot = Shot();
    EXPECT_TRUE(red(100, 150)) << "the contour of what was filled";
}

TEST_F(Canvas, AButtonReleasedOutsideLeavesTheContourOpenAndFlippingTheModeDropsIt) {
    Run(kContourMode);
    Mouse(wxEVT_LEFT_DOWN, 50, 50, true);
    Mouse(wxEVT_MOTION, 80, 50, true);
    Mouse(wxEVT_LEFT_UP, -5, 50, false);
    EXPECT_EQ(frame->Store().labelCount, 0u);
    Mouse(wxEVT_RIGHT_UP, 300, 300, false);
    EXPECT_EQ(frame->Store().currentLabel, 1) << "no label is picked while a contour is open";
    Run(kContourMode);
    Run(kContourMode);
    Mouse(wxEVT_LEFT_UP, 50, 50, false);
    EXPECT_EQ(frame->Store().labelCount, 0u);
    Mouse(wxEVT_RIGHT_UP, 300, 300, false);
    EXPECT_EQ(frame->Store().currentLabel, 0);
}

TEST_F(Canvas, EveryClickDrawsHoweverQuickAndNearTheyAre) {
    AwaitShown();
    while (frame->BrushRadius() > 1) Run(kDecreaseRadius);
    wxUIActionSimulator simulator;
    const wxPoint corner = View().GetScreenRect().GetTopLeft();
    constexpr int kClicks = 30;
    constexpr int kStep = 3;
    // Nearer to each other than the clicks of a double or triple click may be; nothing is handled in between.
    for (int i = 0; i < kClicks; ++i) {
        simulator.MouseMove(corner + wxPoint(100 + i * kStep, 200));
        simulator.MouseDown();
        simulator.MouseUp();
    }
    EXPECT_TRUE(Await([&] { return std::count(Labels().begin(), Labels().end(), 1) == kClicks; }))
        << std::count(Labels().begin(), Labels().end(), 1);
    for (std::uint64_t i = 0; i < kClicks; ++i) EXPECT_EQ(Labels()(100 + i * kStep, 200), 1) << i;
}

TEST_F(Canvas, TheBrushOutlineFollowsThePointerAndGoesWithIt) {
    const qvox::Rgb8 colour = ToolColour(frame->Store().currentLabel);
    Move(350, 250);
    const auto near = [&](const wxImage& shot) {
        return Holds(shot.GetSubImage(wxRect(335, 235, 31, 31)), colour) ||
               shot.GetRed(360, 250) > shot.GetGreen(360, 250) + 30;
    };
    EXPECT_TRUE(near(Shot()));
    wxMouseEvent leave(wxEVT_LEAVE_WINDOW);
    leave.SetPosition({-1, 20});
    leave.SetEventObject(&View());
    View().ProcessWindowEvent(leave);
    const wxImage without = Shot();
    EXPECT_FALSE(near(without));
    EXPECT_EQ(Difference(without, FreshShot()), "");
}

TEST_F(Canvas, ZoomLevelsEndAtThirteenInBothDirections) {
    for (int i = 0; i < 20; ++i) Wheel(120);
    EXPECT_EQ(frame->ZoomLevel(), 13);
    EXPECT_EQ(View().GetVirtualSize(),
              wxSize(static_cast<int>(700.0f * ZoomFactor(13)), static_cast<int>(500.0f * ZoomFactor(13))));
    for (int i = 0; i < 40; ++i) Wheel(-240);
    EXPECT_EQ(frame->ZoomLevel(), -13);
}

TEST_F(Canvas, ZoomingKeepsTheImagePixelUnderThePointerAndElseTheCentre) {
    std::mt19937 random(9);
    int checked = 0;
    GoTo(5);
    for (int i = 0; i < 150; ++i) {
        const wxSize client = View().GetClientSize();
        const bool inside = random() % 3 != 0;
        const wxPoint at = inside ? wxPoint(static_cast<int>(random() % static_cast<unsigned>(client.x)),
                                            static_cast<int>(random() % static_cast<unsigned>(client.y)))
                                  : wxPoint(-7, 40);
        Move(at.x, at.y);
        const wxPoint fixed = inside ? at : wxPoint(client.x / 2, client.y / 2);
        const ImagePoint before = View().ImagePointUnder(fixed);
        const int level = std::clamp(frame->ZoomLevel() + (random() % 2 == 0 ? 1 : -1), 3, 13);
        frame->SetZoomLevel(level);
        const ViewState view = View().View();
        const ClientSize whole = VirtualSize(view);
        const auto free = [](int start, int shown, int size) { return start > 0 && start < size - shown; };
        // At an edge of the image the window cannot scroll far enough.
        if (!free(view.start.x, view.client.width, whole.width)) continue;
        if (!free(view.start.y, view.client.height, whole.height)) continue;
        ++checked;
        const ImagePoint after = View().ImagePointUnder(fixed);
        ASSERT_LT(std::abs(after.x - before.x), 1.01f) << i;
        ASSERT_LT(std::abs(after.y - before.y), 1.01f) << i;
    }
    EXPECT_GT(checked, 40);
}

TEST_F(Canvas, ThePointerOffTheCanvasNeitherDrawsNorPicks) {
    Mouse(wxEVT_LEFT_DOWN, -1, 10, true);
    Mouse(wxEVT_MOTION, 10, View().GetClientSize().y, true);
    Mouse(wxEVT_RIGHT_UP, View().GetClientSize().x, 10, false);
    EXPECT_EQ(frame->Store().labelCount, 0u);
    EXPECT_EQ(frame->Store().currentLabel, 1);
    EXPECT_TRUE(frame->Store().undoLabels.Empty());
}

TEST_F(Canvas, RRepaintsTheComponentUnderThePointerOnly) {
    Dab(100, 100);
    Dab(300, 100);
    Run(kNextLabel);
    Move(105, 100);
    Key('R');
    EXPECT_EQ(Labels()(100, 100), 2);
    EXPECT_EQ(Labels()(300, 100), 1);
    EXPECT_EQ(Labels()(200, 100), 0);
    EXPECT_EQ(frame->Store().labelCount, 2u);
    Key(WXK_BACK);
    EXPECT_EQ(Labels()(100, 100), 1);
}

TEST_F(Canvas, LabelThirteenHasTheColourOfLabelOne) {
    for (int i = 0; i < 12; ++i) Run(kNextLabel);
    ASSERT_EQ(frame->Store().currentLabel, 13);
    Dab(100, 100);
    Move(400, 400);
    const wxImage shot = Shot();
    EXPECT_EQ(shot.GetRed(109, 100), 255);
    EXPECT_EQ(shot.GetGreen(109, 100), 0);
    EXPECT_EQ(shot.GetBlue(109, 100), 0);
}

TEST_F(Canvas, ExportedPicturesDoNotDependOnTheZoom) {
    Dab(100, 100);
    Run(kLabelNumbers);
    const auto exported = [&] {
        Run(kExportPictures);
        ColourPicture picture;
        qvox::LoadImageFile(folder.File("export_wide.tif"), picture);
        return picture;
    };
    const ColourPicture plain = exported();
    GoTo(-6);
    const ColourPicture small = exported();
    ASSERT_TRUE(plain.SameSizes(small));
    EXPECT_EQ(plain.SizeX(), 700u);
    EXPECT_TRUE(std::equal(plain.begin(), plain.end(), small.begin()));
}

TEST(Numbers, LookAsTheToolkitDrawsThem) {
    std::mt19937 random(2);
    qvox::LabelImage labels;
    labels.Resize(300, 200, 1);
    labels.Zero();
    std::vector<LabelAnchor> anchors;
    for (const std::uint16_t label : std::array<std::uint16_t, 6>{1, 7, 28, 345, 9999, 65535}) {
        anchors.push_back({label, random() % 300, random() % 200});
    }
    ColourPicture picture;
    picture.Resize(300, 200, 1);
    for (qvox::Rgb8& pixel : picture) pixel = {static_cast<std::uint8_t>(random() % 256), 90, 200};
    CanvasState state;
    state.numbers = CanvasState::Numbers::kShown;
    for (const float zoom : {0.5f, 1.0f}) {
        wxBitmap bitmap(wxImage(300, 200, reinterpret_cast<unsigned char*>(picture.begin()), true));
        {
            wxMemoryDC dc(bitmap);
            dc.SetFont(wxFont(10, wxFONTFAMILY_SWISS, wxFONTSTYLE_NORMAL, wxFONTWEIGHT_BOLD));
            for (const LabelAnchor& anchor : anchors) {
                const wxString text = wxString::Format("%d", static_cast<int>(anchor.label));
                const wxSize extent = dc.GetTextExtent(text);
                const float x = static_cast<float>(anchor.x) * zoom - static_cast<float>(extent.x / 2);
                const float y = static_cast<float>(anchor.y) * zoom - static_cast<float>(extent.y / 2);
                dc.SetTextForeground(*wxBLACK);
                dc.DrawText(text, static_cast<int>(x + 1.0f), static_cast<int>(y + 1.0f));
                dc.SetTextForeground(*wxWHITE);
                dc.DrawText(text, static_cast<int>(x), static_cast<int>(y));
            }
        }
        ColourPicture stamped = picture;
        OverlayDrawing overlay;
        overlay.Draw(stamped, labels, anchors, state, {wxPoint(0, 0), zoom, 1});
        const wxImage image(300, 200, reinterpret_cast<unsigned char*>(stamped.begin()), true);
        EXPECT_EQ(Difference(image, bitmap.ConvertToImage(), 3), "") << zoom;
        EXPECT_NE(Difference(image, wxImage(300, 200, reinterpret_cast<unsigned char*>(picture.begin()), true)), "");
    }
}

}  // namespace
