#pragma once

#include <sys/types.h>
#include <string>
#include <vector>

#include "VoxelImage.h"

namespace korvane_test {

/// How a run of korvane-batch ended and what it said.
struct ProgramResult {
    int status = -1;  ///< exit status; -1 when it was killed
    std::string output;
    std::string messages;
};

/// What surrounds a run; nothing else of this process's environment reaches it, there is no display and no home.
struct Surroundings {
    std::vector<std::string> environment{"LC_ALL=C"};
    std::string workingFolder = "/";
    std::string standardInput = "/dev/null";
    std::string standardOutput;         ///< write it to this file instead of collecting it
    unsigned long maxFileBytes = 0;     ///< longest file that the run may write; 0: no limit
    unsigned long maxAddressBytes = 0;  ///< most memory that the run may have; 0: no limit
    std::string closedStreams;          ///< start the run without these descriptors: "2", "01"
    unsigned user = 0;                  ///< run as this user; 0: as this process does
};

/// Starts the built program; Await collects its end.
class ProgramRun {
public:
    explicit ProgramRun(const std::vector<std::string>& arguments, const Surroundings& surroundings = {});
    ~ProgramRun();
    ProgramRun(const ProgramRun&) = delete;
    ProgramRun& operator=(const ProgramRun&) = delete;

    void Signal(int number) const;
    /// The file behind a descriptor of the run; empty when it is closed, before the program runs and
    /// after its end.
    std::string FileBehind(int descriptor) const;
    bool HasEnded() const;
    ProgramResult Await();

private:
    pid_t process_ = -1;
    std::string outputPath_;
    std::string messagesPath_;
};

ProgramResult RunProgram(const std::vector<std::string>& arguments, const Surroundings& surroundings = {});

/// What a run shows on a terminal as its standard output, at most 4 KB, up to `end`.
std::string ShownOnTerminal(const std::vector<std::string>& arguments, const std::string& end);

std::string Contents(const std::string& path);

/// A picture of bright discs on a dark ground with some grain; 1.488 nm per pixel unless `perUm` says otherwise.
qvox::VoxelImage<std::uint8_t> Vesicles(unsigned seed, std::uint64_t width = 96, std::uint64_t height = 80,
                                        float perUm = 672.0f);

/// Labels of the sizes of Vesicles(...): two squares, 3 and 700.
qvox::LabelImage TwoSquares(std::uint64_t width = 96, std::uint64_t height = 80);

}  // namespace korvane_test
