// Several hundred odd and malformed files, where they are at hand, opened in the window all at once.

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <wx/app.h>
#include <wx/evtloop.h>
#include <wx/log.h>

#include "MainFrame.h"
#include "PathText.h"
#include "SingleImageCanvas.h"
#include "support/TestData.h"

namespace {

namespace fs = std::filesystem;
using namespace Korvane;

const fs::path kOdd = korvane_test::TestData("odd");

/// Keeps the errors that a person is told.
class ErrorLog : public wxLog {
public:
    ErrorLog() : before_(SetActiveTarget(this)) {}
    ~ErrorLog() override { SetActiveTarget(before_); }

    std::vector<wxString> errors;

protected:
    void DoLogRecord(wxLogLevel level, const wxString& message, const wxLogRecordInfo&) override {
        if (level == wxLOG_Error) errors.push_back(message);
    }

private:
    wxLog* before_;
};

void HandleEvents() {
    wxTheApp->ProcessPendingEvents();
    while (wxTheApp->Pending()) wxTheApp->Dispatch();
    wxTheApp->Yield(true);
    wxTheApp->ProcessPendingEvents();
}

class OddFilesInTheWindow : public testing::Test {
protected:
    void SetUp() override {
        KORVANE_NEED_TEST_DATA("odd");
        for (const fs::directory_entry& entry : fs::recursive_directory_iterator(kOdd)) {
            if (entry.is_regular_file() && entry.path().extension() != ".tsv") names_.push_back(entry.path().string());
        }
        std::sort(names_.begin(), names_.end());
        // The first decides the window's size; many of the odd ones are a few pixels wide.
        names_.insert(names_.begin(), korvane_test::SourceFile("samples/vesicles_8bit.tif").string());
        for (const std::string& name : names_) paths_.push_back(PathText(name));
        wxEventLoopBase::SetActive(&loop_);
        frame_ = new MainFrame;
        frame_->Show();
        HandleEvents();
    }

    void TearDown() override {
        if (frame_ == nullptr) return;
        frame_->Destroy();
        HandleEvents();
        wxEventLoopBase::SetActive(nullptr);
    }

    wxGUIEventLoop loop_;
    ErrorLog log_;
    std::vector<std::string> names_;
    std::vector<wxString> paths_;
    MainFrame* frame_ = nullptr;
};

TEST_F(OddFilesInTheWindow, EachBecomesAPositionOrOneMessage) {
    frame_->OpenFiles(paths_);
    HandleEvents();
    const PositionStore& store = frame_->Store();
    EXPECT_TRUE(frame_->IsEnabled());
    EXPECT_GT(PositionCount(store), 50u);
    EXPECT_EQ(PositionCount(store) + log_.errors.size(), paths_.size());
    std::size_t unsupported = 0;
    std::size_t error = 0;
    for (const wxString& path : paths_) {
        const bool open = std::find(store.paths.begin(), store.paths.end(), path) != store.paths.end();
        const wxString head = "Cannot load the input image '" + path + "'! (";
        const auto told = std::count_if(log_.errors.begin(), log_.errors.end(),
                                        [&head](const wxString& text) { return text.StartsWith(head); });
        EXPECT_EQ(told, open ? 0 : 1) << path;
    }
    for (const wxString& text : log_.errors) {
        unsupported += text.Contains("! (Unsupported pixel type)\nIt holds ") ? 1u : 0u;
        error += text.Contains("! (Error='") ? 1u : 0u;
    }
    EXPECT_GT(unsupported, 0u);
    EXPECT_GT(error, 0u);
    EXPECT_EQ(unsupported + error, log_.errors.size());
}

TEST_F(OddFilesInTheWindow, EachThatIsOpenCanBeShownAndZoomed) {
    frame_->OpenFiles(paths_);
    HandleEvents();
    log_.errors.clear();
    const std::size_t count = PositionCount(frame_->Store());
    for (std::size_t index = 0; index < count; ++index) {
        frame_->SwitchTo(index);
        for (const int level : {5, -5, 0}) {
            frame_->SetZoomLevel(level);
            frame_->Canvas().Refresh();
            frame_->Canvas().Update();
            HandleEvents();
        }
        EXPECT_EQ(frame_->Store().current, index);
        EXPECT_EQ(frame_->GetTitle(),
                  wxString::Format("Position [%zu/%zu] - ", index + 1, count) + frame_->Store().paths[index]);
    }
    EXPECT_TRUE(log_.errors.empty()) << log_.errors[0];
}

}  // namespace
