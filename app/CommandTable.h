#pragma once

#include <array>
#include <cstddef>
#include <string_view>

#include <wx/defs.h>
#include <wx/event.h>

class wxMenuBar;

namespace Korvane {

class MainFrame;

/// The identifiers of the commands, each with the value of its row in Commands.def.
enum CommandId : int {
#define KORVANE_COMMAND(name, id, ...) name = (id),
#include "Commands.def"
#undef KORVANE_COMMAND
};

enum class CommandPlace {
    kNext,            ///< below the entry before it
    kAfterSeparator,  ///< below a line
};

/// When a command does something. Its menu entry can be chosen at any time.
enum class CommandEnabled {
    kAlways,         ///< also while another command runs
    kWhenIdle,       ///< while no other command runs
    kWithPositions,  ///< while no other command runs and at least one position is loaded
};

using CommandHandler = void (MainFrame::*)(wxCommandEvent&);

/// An ordinary entry, or one with a mark.
struct CommandKind {
    wxItemKind item = wxITEM_NORMAL;
    bool (MainFrame::*isChecked)() const = nullptr;
};

/// One command: everything that is known of it. Commands.def explains the fields.
struct Command {
    int id;
    std::size_t eventOrder;
    const char* menu;
    CommandPlace place;
    const char* text;
    CommandKind kind;
    const char* help;
    CommandEnabled enabled;
    CommandHandler handler;
};

constexpr std::size_t kCommandCount = 0
// Signs in a row: with parentheses these would be calls.
#define KORVANE_COMMAND(...) +1  // NOLINT(bugprone-macro-parentheses)
#include "Commands.def"
#undef KORVANE_COMMAND
    ;

/// All commands, in the order of the menus.
extern const std::array<Command, kCommandCount> kCommands;

/// The command of an identifier; null when there is none.
const Command* FindCommand(int id);

/// The command whose text names this key, such as "C" or "Shift+Del"; null when there is none.
const Command* FindCommandByKey(std::string_view key);

/// The menu bar with all commands.
wxMenuBar* MakeMenuBar();

/// The frame's event table: focus, wheel, typed characters, closing, and every command in the order in which the
/// toolkit shall look for it. Ends as the toolkit's tables end.
const wxEventTableEntry* MainFrameEventEntries();

}  // namespace Korvane
