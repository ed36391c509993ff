#include <dlfcn.h>

#include <algorithm>
#include <clocale>
#include <cstddef>
#include <cstring>
#include <iostream>
#include <iterator>
#include <string>

#include <gtest/gtest.h>
#include <wx/app.h>
#include <wx/debug.h>
#include <wx/log.h>

#include "PathText.h"

namespace {

/// An application without a main loop of its own: tests make windows and pump events.
class TestApp : public wxApp {
public:
    bool OnInit() override {
        std::setlocale(LC_NUMERIC, "C");
        Korvane::AdoptPathConversion();
        SetExitOnFrameDelete(false);
        return true;
    }
    int OnRun() override {
        std::cout << "locale " << std::setlocale(LC_ALL, nullptr) << std::endl;
        return RUN_ALL_TESTS();
    }
};

void FailOnAssertion(const wxString& file, int line, const wxString& function, const wxString& condition,
                     const wxString& message) {
    ADD_FAILURE() << "toolkit assertion " << condition << " in " << function << " at " << file << ":" << line << ": "
                  << message;
}

/// One field of a message of the libraries below the toolkit, which come without their headers.
struct LogField {
    const char* key;
    const void* value;
    std::ptrdiff_t length;
};

/// What the toolkit (3.2.2) causes by itself, whatever the program: a frame's menu bar gets no room before the window
/// manager told of its borders, and a scrollbar less than its slider takes while a small window changes its size.
constexpr const char* kOfTheToolkit[] = {
    "gtk_distribute_natural_allocation: assertion 'extra_space >= 0'",
    "gtk_box_gadget_distribute: assertion 'size >= 0' failed in GtkScrollbar",
    // A file dialog that is closed before its library has listed the folder, from that library's own idle handler.
    "gtk_tree_view_get_selection: assertion 'GTK_IS_TREE_VIEW (tree_view)'",
    "gtk_tree_view_get_model: assertion 'GTK_IS_TREE_VIEW (tree_view)'",
    "gtk_tree_selection_unselect_all: assertion 'GTK_IS_TREE_SELECTION (selection)'",
    "gtk_tree_selection_get_mode: assertion 'GTK_IS_TREE_SELECTION (selection)'",
    "gtk_tree_selection_get_selected: assertion 'GTK_IS_TREE_SELECTION (selection)'",
};

/// Errors, criticals and warnings of the window libraries are faults of ours.
int FailOnLibraryWarning(int level, const LogField* fields, std::size_t count, void*) {
    constexpr int kWarningOrWorse = 4 | 8 | 16;
    std::string text;
    for (std::size_t i = 0; i < count; ++i) {
        for (const char* wanted : {"GLIB_DOMAIN", "MESSAGE"}) {
            if (std::strcmp(fields[i].key, wanted) != 0) continue;
            const char* const value = static_cast<const char*>(fields[i].value);
            text += fields[i].length < 0 ? std::string(value)
                                         : std::string(value, static_cast<std::size_t>(fields[i].length));
            text += " ";
        }
    }
    const bool known = std::any_of(std::begin(kOfTheToolkit), std::end(kOfTheToolkit),
                                   [&](const char* message) { return text.find(message) != text.npos; });
    if ((level & kWarningOrWorse) != 0 && !known) ADD_FAILURE() << "warning of a window library: " << text;
    return 1;
}

void CatchLibraryWarnings() {
    using Writer = int(int, const LogField*, std::size_t, void*);
    using SetWriter = void(Writer*, void*, void*);
    auto* const set = reinterpret_cast<SetWriter*>(dlsym(RTLD_DEFAULT, "g_log_set_writer_func"));
    if (set == nullptr) {
        ADD_FAILURE() << "the window libraries' messages cannot be watched";
        return;
    }
    set(&FailOnLibraryWarning, nullptr, nullptr);
}

}  // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    if (GTEST_FLAG_GET(list_tests)) return RUN_ALL_TESTS();  // needs no display
    wxSetAssertHandler(&FailOnAssertion);
    CatchLibraryWarnings();
    wxApp::SetInstance(new TestApp);
    return wxEntry(argc, argv);
}
