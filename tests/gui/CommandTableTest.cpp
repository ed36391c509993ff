#include <array>
#include <fstream>
#include <iterator>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <wx/accel.h>
#include <wx/menu.h>

#include "CommandChecks.h"
#include "CommandTable.h"
#include "support/TestData.h"

namespace {

struct Expected {
    const char* menu;
    int id;  // 0 is a separator
    const char* text;
    wxItemKind kind;
    const char* help;
};

// A copy of its own: the texts, the order and the gap in the identifiers are what users and scripts know.
const std::vector<Expected> kExpected{
    {"&File", 20001, "Open images...\tCtrl+O", wxITEM_NORMAL, "Select images to be analyzed."},
    {"&File", 0, "", wxITEM_SEPARATOR, ""},
    {"&File", 20002, "Load segmentation results\tCtrl+L", wxITEM_NORMAL,
     "Load segmentation results for individual positions."},
    {"&File", 20004, "Load segmentation results from folder...\tCtrl+Shift+L", wxITEM_NORMAL,
     "Load segmentation results for individual positions from a folder."},
    {"&File", 20003, "Save segmentation results\tCtrl+S", wxITEM_NORMAL,
     "Save segmentation results for individual positions."},
    {"&File", 20005, "Save segmentation results to folder...\tCtrl+Shift+S", wxITEM_NORMAL,
     "Save segmentation results for individual positions to a folder."},
    {"&File", 0, "", wxITEM_SEPARATOR, ""},
    {"&File", 20006, "Export quantitative results...\tCtrl+E", wxITEM_NORMAL,
     "Export quantitative results to a text file."},
    {"&File", 20007, "Export image results\tCtrl+I", wxITEM_NORMAL, "Export image results."},
    {"&File", 20008, "Export image results to folder...\tCtrl+Shift+I", wxITEM_NORMAL, "Export image results."},
    {"&File", 0, "", wxITEM_SEPARATOR, ""},
    {"&File", 20009, "Quit\tCtrl+Q", wxITEM_NORMAL, "Quit the application."},
    {"&View", 20010, "Label numbers\tF5", wxITEM_CHECK, "Display label numbers."},
    {"&View", 0, "", wxITEM_SEPARATOR, ""},
    {"&View", 20012, "Only raw image data\tF6", wxITEM_CHECK, "Display only raw image data without labels."},
    {"&View", 20013, "Only contours\tF7", wxITEM_CHECK, "Display either contours or complete components"},
    {"&Drawing", 20020, "Contour mode\tC", wxITEM_CHECK, "Switch between the Contour and Brush modes."},
    {"&Drawing", 0, "", wxITEM_SEPARATOR, ""},
    {"&Drawing", 20014, "Previous label\tF1", wxITEM_NORMAL, ""},
    {"&Drawing", 20015, "Next label\tF2", wxITEM_NORMAL, ""},
    {"&Drawing", 20016, "Empty label\tE", wxITEM_NORMAL, ""},
    {"&Drawing", 20017, "Unique label\tU", wxITEM_NORMAL, "Find a label not used at the current position."},
    {"&Drawing", 0, "", wxITEM_SEPARATOR, ""},
    {"&Drawing", 20018, "Decrease brush radius\tF3", wxITEM_NORMAL, ""},
    {"&Drawing", 20019, "Increase brush radius\tF4", wxITEM_NORMAL, ""},
    {"&Drawing", 0, "", wxITEM_SEPARATOR, ""},
    {"&Drawing", 20027, "Clear current position\tDel", wxITEM_NORMAL, "Discard all labels from the current position."},
    {"&Drawing", 20028, "Clear all positions\tShift+Del", wxITEM_NORMAL, "Discard all labels from all positions."},
    {"&Analysis", 20021, "Parameters...\tCtrl+P", wxITEM_NORMAL,
     "Set the parameters of the detection and segmentation routines."},
    {"&Analysis", 0, "", wxITEM_SEPARATOR, ""},
    {"&Analysis", 20022, "Detect exosomes (current position)\tCtrl+D", wxITEM_NORMAL,
     "Run the automatic exosome detection routine for the current position."},
    {"&Analysis", 20024, "Detect exosomes (empty positions)\tCtrl+Alt+D", wxITEM_NORMAL,
     "Run the automatic exosome detection routine for all empty positions."},
    {"&Analysis", 20023, "Detect exosomes (all positions)\tCtrl+Shift+D", wxITEM_NORMAL,
     "Run the automatic exosome detection routine for all positions."},
    {"&Analysis", 0, "", wxITEM_SEPARATOR, ""},
    {"&Analysis", 20025, "Segment exosomes (current position)\tCtrl+R", wxITEM_NORMAL,
     "Run the automatic exosome segmentation routine for the current position."},
    {"&Analysis", 20026, "Segment exosomes (all positions)\tCtrl+Shift+R", wxITEM_NORMAL,
     "Run the automatic exosome segmentation routine for all positions."},
    {"&Results", 20114, "Objects\tCtrl+T", wxITEM_CHECK,
     "Show the table of objects beside the image, with histogram and statistics."},
    {"&Results", 0, "", wxITEM_SEPARATOR, ""},
    {"&Results", 20115, "Show detection stages\tCtrl+J", wxITEM_CHECK,
     "Show what each stage of detection makes of this position."},
    {"&Results", 20116, "Next stage\tCtrl+N", wxITEM_NORMAL, "Show the next stage of detection."},
    {"&Results", 20117, "Previous stage\tCtrl+Shift+N", wxITEM_NORMAL,
     "Show the stage of detection before this one."},
    {"&Results", 0, "", wxITEM_SEPARATOR, ""},
    {"&Results", 20113, "Report...\tCtrl+Shift+E", wxITEM_NORMAL,
     "Write a report on all positions, as korvane-batch does, and show it in the browser."},
    {"&Tools", 20101, "Undo\tCtrl+Z", wxITEM_NORMAL,
     "Take the last change of labels back, at whatever position it was."},
    {"&Tools", 20102, "Redo\tCtrl+Y", wxITEM_NORMAL, "Make the change of labels again that was taken back last."},
    {"&Tools", 0, "", wxITEM_SEPARATOR, ""},
    {"&Tools", 20103, "Display range...\tCtrl+K", wxITEM_NORMAL,
     "Choose the intensities that are shown from black to white."},
    {"&Tools", 20104, "Brighter\tCtrl+B", wxITEM_NORMAL, "Show the image brighter."},
    {"&Tools", 20105, "Darker\tCtrl+Shift+B", wxITEM_NORMAL, "Show the image darker."},
    {"&Tools", 20106, "Reset display range\tCtrl+Alt+B", wxITEM_NORMAL,
     "Show all intensities, from the smallest to the largest."},
    {"&Tools", 0, "", wxITEM_SEPARATOR, ""},
    {"&Tools", 20107, "Fit to window\tCtrl+F", wxITEM_NORMAL, "Zoom so that the whole image is visible."},
    {"&Tools", 20108, "Zoom to object\tCtrl+G", wxITEM_NORMAL,
     "Show the object under the pointer, or that of the current label, in the middle."},
    {"&Tools", 0, "", wxITEM_SEPARATOR, ""},
    {"&Tools", 20118, "Scale bar\tCtrl+U", wxITEM_CHECK, "Show a scale bar in the corner of the window."},
    {"&Tools", 20119, "Scale bar in exported images", wxITEM_CHECK,
     "Draw a scale bar into the images that are exported."},
    {"&Tools", 0, "", wxITEM_SEPARATOR, ""},
    {"&Tools", 20110, "Load parameters...", wxITEM_NORMAL,
     "Take the parameters of the analysis from a file, as korvane-batch does."},
    {"&Tools", 20111, "Save parameters...", wxITEM_NORMAL, "Write the parameters of the analysis to a file."},
    {"&Tools", 20112, "Learn parameters from corrected positions...", wxITEM_NORMAL,
     "Search for the parameters with which detection comes closest to corrected labels."},
    {"&Tools", 0, "", wxITEM_SEPARATOR, ""},
    {"&Tools", 20120, "Fill bars and writing", wxITEM_CHECK,
     "Let detection and segmentation continue the image over scale bars and writing."},
    {"&Tools", 20123, "Mark bars and writing\tCtrl+M", wxITEM_CHECK,
     "Mark bars and writing that were not found by dragging; with Shift erase marks."},
    {"&Tools", 20124, "Load marks...", wxITEM_NORMAL,
     "Replace the marks of this position by those of an image that is not 0 where marked."},
    {"&Tools", 20125, "Save marks...", wxITEM_NORMAL,
     "Write the marks of this position to an image, as korvane-batch takes it with --annotations."},
    {"&Tools", 20121, "Analysis region...", wxITEM_NORMAL,
     "Choose the part of this position that detection and segmentation look at."},
    {"&Tools", 20122, "Store pixel size...", wxITEM_NORMAL,
     "Store the pixel size in a copy of the image, and open that."},
    {"&Help", 20029, "Controls", wxITEM_NORMAL, "Show the list of predefined actions."},
    {"&Help", 0, "", wxITEM_SEPARATOR, ""},
    {"&Help", 20030, "About", wxITEM_NORMAL, "Display information about this application."},
};

TEST(MenuBar, KeepsItsFiveFirstMenusAsTheyWereSaved) {
    // The dump was made when there was nothing between Analysis and Help.
    std::ifstream file(korvane_test::SourceFile("tests/gui/five_menus.txt"));
    const std::string saved{std::istreambuf_iterator<char>(file), {}};
    ASSERT_GT(saved.size(), 2000u);
    const std::unique_ptr<wxMenuBar> bar(Korvane::MakeMenuBar());
    std::string dump;
    for (std::size_t m = 0; m < bar->GetMenuCount(); ++m) {
        const wxString name = bar->GetMenuLabel(m);
        if (name == "&Results" || name == "&Tools") {
            EXPECT_TRUE(m > 3 && m + 1 < bar->GetMenuCount()) << name << " lies between Analysis and Help";
            continue;
        }
        for (const wxMenuItem* item : bar->GetMenu(m)->GetMenuItems()) {
            const int id = item->IsSeparator() ? 0 : item->GetId();
            const wxString label = item->IsSeparator() ? wxString() : item->GetItemLabel();
            dump += (name + "|" + std::to_string(id) + "|" + label + "|" + std::to_string(item->GetKind()) + "|" +
                     item->GetHelp())
                        .utf8_string() +
                    "\n";
        }
    }
    EXPECT_EQ(dump, saved);
}

TEST(MenuBar, HasExactlyTheKnownEntriesInTheirOrder) {
    const std::unique_ptr<wxMenuBar> bar(Korvane::MakeMenuBar());
    std::size_t next = 0;
    for (std::size_t m = 0; m < bar->GetMenuCount(); ++m) {
        for (const wxMenuItem* item : bar->GetMenu(m)->GetMenuItems()) {
            ASSERT_LT(next, kExpected.size());
            const Expected& expected = kExpected[next++];
            EXPECT_EQ(bar->GetMenuLabel(m), wxString(expected.menu));
            EXPECT_EQ(item->GetKind(), expected.kind) << expected.text;
            if (expected.id == 0) continue;
            EXPECT_EQ(item->GetId(), expected.id);
            EXPECT_EQ(item->GetItemLabel(), wxString(expected.text));
            EXPECT_EQ(item->GetHelp(), wxString(expected.help));
        }
    }
    EXPECT_EQ(next, kExpected.size());
}

TEST(EventTable, ListsWindowEventsFirstAndThenEveryCommandOnce) {
    const std::vector<int> ids{20001, 20002, 20003, 20004, 20005, 20006, 20007, 20008, 20009, 20014,
                               20015, 20016, 20017, 20018, 20019, 20020, 20021, 20022, 20023, 20024,
                               20025, 20026, 20027, 20028, 20012, 20013, 20010, 20030, 20029, 20101,
                               20102, 20103, 20104, 20105, 20106, 20107, 20108, 20110, 20111, 20112,
                               20113, 20114, 20115, 20116, 20117, 20118, 20119, 20120, 20121, 20122,
                               20123, 20124, 20125};
    const wxEventTableEntry* entry = Korvane::MainFrameEventEntries();
    for (const wxEventType type :
         {wxEventType(wxEVT_KILL_FOCUS), wxEventType(wxEVT_SET_FOCUS), wxEventType(wxEVT_MOUSEWHEEL),
          wxEventType(wxEVT_CHAR), wxEventType(wxEVT_CLOSE_WINDOW)}) {
        EXPECT_EQ(entry->m_eventType, type);
        EXPECT_EQ(entry->m_id, wxID_ANY);
        ++entry;
    }
    for (const int id : ids) {
        EXPECT_EQ(entry->m_eventType, wxEventType(wxEVT_MENU));
        EXPECT_EQ(entry->m_id, id);
        ++entry;
    }
    EXPECT_EQ(entry->m_fn, nullptr);
}

TEST(CommandTable, EveryRowIsFoundByItsIdentifierAndItsKey) {
    for (const Korvane::Command& command : Korvane::kCommands) {
        EXPECT_EQ(Korvane::FindCommand(command.id), &command);
        const std::string_view key = Korvane::KeyInText(command.text);
        EXPECT_EQ(Korvane::FindCommandByKey(key), key.empty() ? nullptr : &command) << command.text;
    }
    EXPECT_EQ(Korvane::FindCommandByKey("C"), Korvane::FindCommand(20020));
    EXPECT_EQ(Korvane::FindCommandByKey("Shift+Del"), Korvane::FindCommand(20028));
    EXPECT_EQ(Korvane::FindCommandByKey("Shift+C"), nullptr);
    EXPECT_EQ(Korvane::FindCommandByKey("c"), nullptr);
    EXPECT_EQ(Korvane::FindCommandByKey(""), nullptr);
}

TEST(CommandTable, EveryKeyIsOneThatTheWindowLibraryKnows) {
    std::set<std::pair<int, int>> keys;
    for (const Korvane::Command& command : Korvane::kCommands) {
        if (Korvane::KeyInText(command.text).empty()) continue;
        const std::unique_ptr<wxAcceleratorEntry> key(wxAcceleratorEntry::Create(command.text));
        ASSERT_NE(key, nullptr) << command.text;
        EXPECT_TRUE(keys.emplace(key->GetFlags(), key->GetKeyCode()).second) << command.text;
    }
    EXPECT_EQ(keys.size(), 42u);
}

TEST(CommandTable, OnlyThePositionsCommandsWaitForOne) {
    const std::set<int> always{20009};
    const std::set<int> whenIdle{20001, 20010, 20012, 20013, 20014, 20015, 20016, 20018,
                                 20019, 20020, 20021, 20029, 20030, 20110, 20111, 20114, 20118, 20119, 20120};
    for (const Korvane::Command& command : Korvane::kCommands) {
        const Korvane::CommandEnabled wanted = always.count(command.id) != 0 ? Korvane::CommandEnabled::kAlways
                                               : whenIdle.count(command.id) != 0
                                                   ? Korvane::CommandEnabled::kWhenIdle
                                                   : Korvane::CommandEnabled::kWithPositions;
        EXPECT_EQ(command.enabled, wanted) << command.text;
    }
}

struct Row {
    int id;
    std::size_t eventOrder;
    const char* menu;
    const char* text;
};

constexpr std::array<Row, 3> kGoodRows{
    {{20001, 2, "&File", "Open\tCtrl+O"}, {20999, 3, "&File", "Close"}, {20101, 1, "&Help", "About"}}};

constexpr std::array<Row, 3> WithLast(const Row& last) { return {{kGoodRows[0], kGoodRows[1], last}}; }

// What the compiler would say to a row with a mistake in it.
TEST(CommandChecks, FindEveryMistakeOfARow) {
    EXPECT_TRUE(Korvane::IdentifiersAreGood(kGoodRows));
    EXPECT_TRUE(Korvane::EventOrderIsGood(kGoodRows));
    EXPECT_TRUE(Korvane::KeysAreGood(kGoodRows));
    EXPECT_TRUE(Korvane::MenusAreGood(kGoodRows));
    EXPECT_FALSE(Korvane::IdentifiersAreGood(WithLast({20001, 1, "&Help", "About"}))) << "twice";
    EXPECT_FALSE(Korvane::IdentifiersAreGood(WithLast({20000, 1, "&Help", "About"}))) << "too low";
    EXPECT_FALSE(Korvane::IdentifiersAreGood(WithLast({21000, 1, "&Help", "About"}))) << "too high";
    EXPECT_FALSE(Korvane::EventOrderIsGood(WithLast({20101, 3, "&Help", "About"}))) << "twice";
    EXPECT_FALSE(Korvane::EventOrderIsGood(WithLast({20101, 4, "&Help", "About"}))) << "a gap";
    EXPECT_FALSE(Korvane::EventOrderIsGood(WithLast({20101, 0, "&Help", "About"}))) << "counted from 0";
    EXPECT_FALSE(Korvane::KeysAreGood(WithLast({20101, 1, "&Help", "About\tCtrl+O"}))) << "twice";
    constexpr std::array<Row, 3> kSplit{
        {{20001, 1, "&File", "Open"}, {20002, 2, "&Help", "About"}, {20003, 3, "&File", "Close"}}};
    EXPECT_FALSE(Korvane::MenusAreGood(kSplit)) << "a menu in two parts";
}

}  // namespace
