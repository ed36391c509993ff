#pragma once

#include <cstddef>
#include <cstdio>
#include <mutex>

#include <wx/string.h>

#include "FailureText.h"
#include "OptionGroups.h"

namespace Korvane {

/// Tells a person on the standard error stream how a run goes: a bar on a terminal, one line per image otherwise.
/// Warnings and errors are always told, notes and progress not when quiet, steps and trace lines only when verbose.
/// Any thread may call it; lines are never mixed. Control characters of file names are written out (VisibleText.h).
class Progress {
public:
    Progress(std::FILE* stream, Verbosity verbosity, std::size_t imageCount);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void Note(const wxString& text);
    void Warning(const wxString& text);
    /// The parts of the text are lines of their own.
    void Error(const FailureText& text);
    void Trace(const wxString& text);

    /// One of the stages of an image has begun.
    void StageBegun();
    /// An image is done; `stagesTold` is how often StageBegun was called for it.
    void ImageDone(std::size_t stagesTold, const wxString& text);

private:
    /// A line without control characters, or several such.
    void Lines(const std::string& visible);
    void DrawBar();
    void WipeBar();

    std::mutex mutex_;
    std::FILE* stream_;
    Verbosity verbosity_;
    bool bar_;
    std::size_t imageCount_;
    std::size_t imagesDone_ = 0;
    std::size_t stages_ = 0;
};

}  // namespace Korvane
