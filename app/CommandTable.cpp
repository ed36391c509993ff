#include "CommandTable.h"

#include <algorithm>
#include <string_view>
#include <vector>

#include <wx/menu.h>

#include "CommandChecks.h"
#include "MainFrame.h"

namespace Korvane {

namespace {

constexpr auto kNext = CommandPlace::kNext;
constexpr auto kAfterSeparator = CommandPlace::kAfterSeparator;
constexpr auto kAlways = CommandEnabled::kAlways;
constexpr auto kWhenIdle = CommandEnabled::kWhenIdle;
constexpr auto kWithPositions = CommandEnabled::kWithPositions;
constexpr CommandKind kNormal{};

constexpr CommandKind CheckedBy(bool (MainFrame::*isChecked)() const) { return {wxITEM_CHECK, isChecked}; }

}  // namespace

constexpr std::array<Command, kCommandCount> kCommands{{
#define KORVANE_COMMAND(name, id, order, menu, place, text, kind, help, enabled, handler) \
    {id, order, menu, place, text, kind, help, enabled, &MainFrame::handler},
#include "Commands.def"
#undef KORVANE_COMMAND
}};

static_assert(IdentifiersAreGood(kCommands), "an identifier stands twice, or outside 20001 .. 20999");
static_assert(EventOrderIsGood(kCommands), "the places in the event order are not 1, 2, ... each once");
static_assert(KeysAreGood(kCommands), "a key stands twice");
static_assert(MenusAreGood(kCommands), "the rows of a menu do not follow each other");

namespace {

template <typename Tag, typename Method>
void AddEntry(std::vector<wxEventTableEntry>& entries, const Tag& type, int id, Method method) {
    entries.emplace_back(type, id, wxID_ANY, wxNewEventTableFunctor(type, method), nullptr);
}

std::vector<wxEventTableEntry> MakeEntries() {
    std::vector<wxEventTableEntry> entries;
    entries.reserve(kCommands.size() + 6);
    AddEntry(entries, wxEVT_KILL_FOCUS, wxID_ANY, &MainFrame::OnFocus);
    AddEntry(entries, wxEVT_SET_FOCUS, wxID_ANY, &MainFrame::OnFocus);
    AddEntry(entries, wxEVT_MOUSEWHEEL, wxID_ANY, &MainFrame::OnMouseWheel);
    AddEntry(entries, wxEVT_CHAR, wxID_ANY, &MainFrame::OnChar);
    AddEntry(entries, wxEVT_CLOSE_WINDOW, wxID_ANY, &MainFrame::OnClose);
    // One entry point for every command: the rules around a command are stated once, in OnCommand.
    std::array<int, kCommandCount> ids{};
    for (const Command& command : kCommands) ids[command.eventOrder - 1] = command.id;
    for (const int id : ids) AddEntry(entries, wxEVT_MENU, id, &MainFrame::OnCommand);
    entries.emplace_back(wxEVT_NULL, 0, 0, nullptr, nullptr);
    return entries;
}

}  // namespace

const Command* FindCommand(int id) {
    const auto found =
        std::find_if(kCommands.begin(), kCommands.end(), [id](const Command& command) { return command.id == id; });
    return found == kCommands.end() ? nullptr : &*found;
}

const Command* FindCommandByKey(std::string_view key) {
    if (key.empty()) return nullptr;
    const auto found = std::find_if(kCommands.begin(), kCommands.end(),
                                    [key](const Command& command) { return KeyInText(command.text) == key; });
    return found == kCommands.end() ? nullptr : &*found;
}

wxMenuBar* MakeMenuBar() {
    auto* bar = new wxMenuBar;
    wxMenu* menu = nullptr;
    std::string_view name;
    for (const Command& command : kCommands) {
        if (menu == nullptr || command.menu != name) {
            menu = new wxMenu;
            name = command.menu;
            bar->Append(menu, command.menu);
        }
        if (command.place == CommandPlace::kAfterSeparator) menu->AppendSeparator();
        menu->Append(command.id, command.text, command.help, command.kind.item);
    }
    return bar;
}

const wxEventTableEntry* MainFrameEventEntries() {
    static const std::vector<wxEventTableEntry> entries = MakeEntries();
    return entries.data();
}

}  // namespace Korvane
