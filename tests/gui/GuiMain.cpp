#include <clocale>

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
    int OnRun() override { return RUN_ALL_TESTS(); }
};

void FailOnAssertion(const wxString& file, int line, const wxString& function, const wxString& condition,
                     const wxString& message) {
    ADD_FAILURE() << "toolkit assertion " << condition << " in " << function << " at " << file << ":" << line << ": "
                  << message;
}

}  // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    wxSetAssertHandler(&FailOnAssertion);
    wxApp::SetInstance(new TestApp);
    return wxEntry(argc, argv);
}
