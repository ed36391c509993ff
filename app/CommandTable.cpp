#include "CommandTable.h"

#include <algorithm>
#include <string>
#include <vector>

#include <wx/menu.h>

#include "MainFrame.h"

namespace Korvane {

namespace {

constexpr auto kNormal = wxITEM_NORMAL;
constexpr auto kCheck = wxITEM_CHECK;
constexpr auto kNewMenu = CommandPlace::kNewMenu;
constexpr auto kNext = CommandPlace::kNext;
constexpr auto kAfterSeparator = CommandPlace::kAfterSeparator;

}  // namespace

// The two "Export image results" entries share one help text on purpose.
const std::array<Command, 29> kCommands{{
    {kOpenImages, "&File", kNewMenu, "Open images...\tCtrl+O", kNormal, "Select images to be analyzed.",
     &MainFrame::OnOpenImages},
    {kLoadResults, "&File", kAfterSeparator, "Load segmentation results\tCtrl+L", kNormal,
     "Load segmentation results for individual positions.", &MainFrame::OnLoadResults},
    {kLoadResultsFrom, "&File", kNext, "Load segmentation results from folder...\tCtrl+Shift+L", kNormal,
     "Load segmentation results for individual positions from a folder.", &MainFrame::OnLoadResultsFrom},
    {kSaveResults, "&File", kNext, "Save segmentation results\tCtrl+S", kNormal,
     "Save segmentation results for individual positions.", &MainFrame::OnSaveResults},
    {kSaveResultsTo, "&File", kNext, "Save segmentation results to folder...\tCtrl+Shift+S", kNormal,
     "Save segmentation results for individual positions to a folder.", &MainFrame::OnSaveResultsTo},
    {kExportTable, "&File", kAfterSeparator, "Export quantitative results...\tCtrl+E", kNormal,
     "Export quantitative results to a text file.", &MainFrame::OnExportTable},
    {kExportPictures, "&File", kNext, "Export image results\tCtrl+I", kNormal, "Export image results.",
     &MainFrame::OnExportPictures},
    {kExportPicturesTo, "&File", kNext, "Export image results to folder...\tCtrl+Shift+I", kNormal,
     "Export image results.", &MainFrame::OnExportPicturesTo},
    {kQuit, "&File", kAfterSeparator, "Quit\tCtrl+Q", kNormal, "Quit the application.", &MainFrame::OnQuit},
    {kLabelNumbers, "&View", kNewMenu, "Label numbers\tF5", kCheck, "Display label numbers.",
     &MainFrame::OnLabelNumbers},
    {kOnlyRaw, "&View", kAfterSeparator, "Only raw image data\tF6", kCheck,
     "Display only raw image data without labels.", &MainFrame::OnOnlyRaw},
    {kOnlyContours, "&View", kNext, "Only contours\tF7", kCheck, "Display either contours or complete components",
     &MainFrame::OnOnlyContours},
    {kContourMode, "&Drawing", kNewMenu, "Contour mode\tC", kCheck, "Switch between the Contour and Brush modes.",
     &MainFrame::OnContourMode},
    {kPreviousLabel, "&Drawing", kAfterSeparator, "Previous label\tF1", kNormal, "", &MainFrame::OnPreviousLabel},
    {kNextLabel, "&Drawing", kNext, "Next label\tF2", kNormal, "", &MainFrame::OnNextLabel},
    {kEmptyLabel, "&Drawing", kNext, "Empty label\tE", kNormal, "", &MainFrame::OnEmptyLabel},
    {kUniqueLabel, "&Drawing", kNext, "Unique label\tU", kNormal, "Find a label not used at the current position.",
     &MainFrame::OnUniqueLabel},
    {kDecreaseRadius, "&Drawing", kAfterSeparator, "Decrease brush radius\tF3", kNormal, "",
     &MainFrame::OnDecreaseRadius},
    {kIncreaseRadius, "&Drawing", kNext, "Increase brush radius\tF4", kNormal, "", &MainFrame::OnIncreaseRadius},
    {kClearCurrent, "&Drawing", kAfterSeparator, "Clear current position\tDel", kNormal,
     "Discard all labels from the current position.", &MainFrame::OnClearCurrent},
    {kClearAll, "&Drawing", kNext, "Clear all positions\tShift+Del", kNormal, "Discard all labels from all positions.",
     &MainFrame::OnClearAll},
    {kParameters, "&Analysis", kNewMenu, "Parameters...\tCtrl+P", kNormal,
     "Set the parameters of the detection and segmentation routines.", &MainFrame::OnParameters},
    {kDetectCurrent, "&Analysis", kAfterSeparator, "Detect exosomes (current position)\tCtrl+D", kNormal,
     "Run the automatic exosome detection routine for the current position.", &MainFrame::OnDetectCurrent},
    {kDetectEmpty, "&Analysis", kNext, "Detect exosomes (empty positions)\tCtrl+Alt+D", kNormal,
     "Run the automatic exosome detection routine for all empty positions.", &MainFrame::OnDetectEmpty},
    {kDetectAll, "&Analysis", kNext, "Detect exosomes (all positions)\tCtrl+Shift+D", kNormal,
     "Run the automatic exosome detection routine for all positions.", &MainFrame::OnDetectAll},
    {kSegmentCurrent, "&Analysis", kAfterSeparator, "Segment exosomes (current position)\tCtrl+R", kNormal,
     "Run the automatic exosome segmentation routine for the current position.", &MainFrame::OnSegmentExosomesSingle},
    {kSegmentAll, "&Analysis", kNext, "Segment exosomes (all positions)\tCtrl+Shift+R", kNormal,
     "Run the automatic exosome segmentation routine for all positions.", &MainFrame::OnSegmentExosomesAll},
    {kControls, "&Help", kNewMenu, "Controls", kNormal, "Show the list of predefined actions.", &MainFrame::OnHelp},
    {kAbout, "&Help", kAfterSeparator, "About", kNormal, "Display information about this application.",
     &MainFrame::OnHelp},
}};

namespace {

/// The order in which the toolkit looks for commands.
constexpr std::array<int, kCommands.size()> kEventOrder{
    kOpenImages,     kLoadResults,      kSaveResults,    kLoadResultsFrom, kSaveResultsTo, kExportTable,
    kExportPictures, kExportPicturesTo, kQuit,           kPreviousLabel,   kNextLabel,     kEmptyLabel,
    kUniqueLabel,    kDecreaseRadius,   kIncreaseRadius, kContourMode,     kParameters,    kDetectCurrent,
    kDetectAll,      kDetectEmpty,      kSegmentCurrent, kSegmentAll,      kClearCurrent,  kClearAll,
    kOnlyRaw,        kOnlyContours,     kLabelNumbers,   kAbout,           kControls,
};

template <typename Tag, typename Method>
void AddEntry(std::vector<wxEventTableEntry>& entries, const Tag& type, int id, Method method) {
    entries.emplace_back(type, id, wxID_ANY, wxNewEventTableFunctor(type, method), nullptr);
}

std::vector<wxEventTableEntry> MakeEntries() {
    std::vector<wxEventTableEntry> entries;
    entries.reserve(kEventOrder.size() + 6);
    AddEntry(entries, wxEVT_KILL_FOCUS, wxID_ANY, &MainFrame::OnFocus);
    AddEntry(entries, wxEVT_SET_FOCUS, wxID_ANY, &MainFrame::OnFocus);
    AddEntry(entries, wxEVT_MOUSEWHEEL, wxID_ANY, &MainFrame::OnMouseWheel);
    AddEntry(entries, wxEVT_CHAR, wxID_ANY, &MainFrame::OnChar);
    AddEntry(entries, wxEVT_CLOSE_WINDOW, wxID_ANY, &MainFrame::OnClose);
    // One way in for every command: what must hold around a command is said once, in OnCommand.
    for (const int id : kEventOrder) AddEntry(entries, wxEVT_MENU, id, &MainFrame::OnCommand);
    entries.emplace_back(wxEVT_NULL, 0, 0, nullptr, nullptr);
    return entries;
}

}  // namespace

const Command* FindCommand(int id) {
    const auto found =
        std::find_if(kCommands.begin(), kCommands.end(), [id](const Command& command) { return command.id == id; });
    return found == kCommands.end() ? nullptr : &*found;
}

wxMenuBar* MakeMenuBar() {
    auto* bar = new wxMenuBar;
    wxMenu* menu = nullptr;
    for (const Command& command : kCommands) {
        if (menu == nullptr || command.place == CommandPlace::kNewMenu) {
            menu = new wxMenu;
            bar->Append(menu, command.menu);
        }
        if (command.place == CommandPlace::kAfterSeparator) menu->AppendSeparator();
        menu->Append(command.id, command.text, command.help, command.kind);
    }
    return bar;
}

const wxEventTableEntry* MainFrameEventEntries() {
    static const std::vector<wxEventTableEntry> entries = MakeEntries();
    return entries.data();
}

}  // namespace Korvane
