#pragma once

#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "ToolkitError.h"

namespace Korvane {

enum class OutputKind {
    kNone,
    kStream,  ///< the standard output
    kDevice,  ///< a terminal, a pipe, an open descriptor: written to, never replaced
    kFile,
};

/// A stream or device that did not take all bytes.
class StreamError : public qvox::ToolkitError {
public:
    StreamError(const std::string& message, const std::string& cause)
        : ToolkitError(message + ": " + cause + "."), cause_(cause) {}
    /// Of the system, without a full stop.
    const std::string& Cause() const { return cause_; }

private:
    std::string cause_;
};

/// Takes bytes. False when they could not be written and nothing more is worth giving; a stream or device throws
/// StreamError instead.
using PutOutput = std::function<bool(const std::string& bytes)>;

/// Where one result goes that a run makes of all its images together.
class OutputPlace {
public:
    /// Nowhere, or the standard output.
    explicit OutputPlace(OutputKind kind = OutputKind::kNone) : kind_(kind) {}
    /// `given` is a path as the person gave it, or "-" for the standard output; `what` it is called in messages:
    /// "table". Throws UsageError for a folder and a device that cannot be written to.
    OutputPlace(std::string what, std::string given);

    /// Of a file, finds out before any work whether it can be written. Throws UsageError when it cannot, also for the
    /// record of labels, a link that leads nowhere, and a TIFF file that it would replace. Folders that will be there
    /// when it is written count as if they were.
    void RequireWritable(const std::vector<std::string>& foldersToBe = {}) const;

    OutputKind Kind() const { return kind_; }
    bool IsFile() const { return kind_ == OutputKind::kFile; }
    const std::string& Given() const { return given_; }
    /// Of the file or device; empty where there is none.
    std::string Path() const { return IsFile() || kind_ == OutputKind::kDevice ? path_ : ""; }
    /// True for a file with something in it.
    bool HasContents() const;

    /// Writes what `give` puts. A file is complete or as it was before; who writes several, or finds out whether it is
    /// there, has the lock of its folder. `output` is the standard output. Throws StreamError and what `give` throws;
    /// ToolkitError for a file. Nowhere: does not call `give`.
    void Write(std::FILE* output, const std::function<void(const PutOutput& put)>& give) const;
    void Write(std::FILE* output, const std::string& bytes) const;

private:
    [[noreturn]] void Refuse(const std::string& cause) const;
    void RequireNameFits() const;
    void RequireNoTiff() const;
    void WriteDevice(const std::function<void(const PutOutput& put)>& give) const;

    std::string what_;
    std::string given_;
    std::string path_;
    OutputKind kind_;
};

}  // namespace Korvane
