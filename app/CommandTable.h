#pragma once

#include <array>

#include <wx/defs.h>
#include <wx/event.h>

class wxMenuBar;

namespace Korvane {

class MainFrame;

/// The identifiers of the commands. They are fixed: scripts and tests outside rely on them. 20011 is not used.
enum CommandId : int {
    kOpenImages = 20001,
    kLoadResults = 20002,
    kSaveResults = 20003,
    kLoadResultsFrom = 20004,
    kSaveResultsTo = 20005,
    kExportTable = 20006,
    kExportPictures = 20007,
    kExportPicturesTo = 20008,
    kQuit = 20009,
    kLabelNumbers = 20010,
    kOnlyRaw = 20012,
    kOnlyContours = 20013,
    kPreviousLabel = 20014,
    kNextLabel = 20015,
    kEmptyLabel = 20016,
    kUniqueLabel = 20017,
    kDecreaseRadius = 20018,
    kIncreaseRadius = 20019,
    kContourMode = 20020,
    kParameters = 20021,
    kDetectCurrent = 20022,
    kDetectAll = 20023,
    kDetectEmpty = 20024,
    kSegmentCurrent = 20025,
    kSegmentAll = 20026,
    kClearCurrent = 20027,
    kClearAll = 20028,
    kControls = 20029,
    kAbout = 20030,
};

enum class CommandPlace {
    kNewMenu,         ///< the first entry of its menu
    kNext,            ///< below the entry before it
    kAfterSeparator,  ///< below a line
};

using CommandHandler = void (MainFrame::*)(wxCommandEvent&);

/// One command: everything that is known of it.
struct Command {
    int id;
    const char* menu;
    CommandPlace place;
    const char* text;  ///< with its key after a tab
    wxItemKind kind;
    const char* help;
    CommandHandler handler;
};

/// All commands, in the order of the menus.
extern const std::array<Command, 29> kCommands;

/// The command of an identifier; null when there is none.
const Command* FindCommand(int id);

/// The menu bar with all commands.
wxMenuBar* MakeMenuBar();

/// The frame's event table: focus, wheel, typed characters, closing, and every command in the order in which the
/// toolkit shall look for it. Ends as the toolkit's tables end.
const wxEventTableEntry* MainFrameEventEntries();

}  // namespace Korvane
