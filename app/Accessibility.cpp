#include "Accessibility.h"

#ifdef __WXGTK__
#include <dlfcn.h>
#endif

namespace Korvane {

namespace {

#ifdef __WXGTK__

/// A function of the libraries below the toolkit, which are loaded with it.
template <typename Function>
Function* OfLibrary(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_DEFAULT, name));
}

void Set(const wxWindow& window, const char* setter, const wxString& text) {
    auto* const accessibleOf = OfLibrary<void*(void*)>("gtk_widget_get_accessible");
    auto* const set = OfLibrary<void(void*, const char*)>(setter);
    if (window.GetHandle() == nullptr || accessibleOf == nullptr || set == nullptr) return;
    void* const accessible = accessibleOf(window.GetHandle());
    if (accessible != nullptr) set(accessible, text.utf8_str());
}

#else

void Set(const wxWindow&, const char*, const wxString&) {}

#endif

}  // namespace

void SetAccessibleName(const wxWindow& window, const wxString& name) { Set(window, "atk_object_set_name", name); }

void SetAccessibleDescription(const wxWindow& window, const wxString& description) {
    Set(window, "atk_object_set_description", description);
}

}  // namespace Korvane
