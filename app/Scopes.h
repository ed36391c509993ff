#pragma once

#include "MainFrame.h"

namespace Korvane {

/// Disables the main window. It is enabled again, on whatever way the scope is left, by a deferred call: after the
/// handler has returned.
class MainFrame::DisabledScope {
public:
    explicit DisabledScope(MainFrame& frame) : frame_(frame) { frame_.Disable(); }
    ~DisabledScope() { frame_.EnableLater(); }
    DisabledScope(const DisabledScope&) = delete;
    DisabledScope& operator=(const DisabledScope&) = delete;

private:
    MainFrame& frame_;
};

}  // namespace Korvane
