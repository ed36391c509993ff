#pragma once

namespace korvane_bench {

/// What one core of this machine does at best, as measured.
struct MachineLimits {
    double bytesPerNanosecond = 0.0;       // read or written, in a copy of 256 MiB
    double nanosecondsPerLine = 0.0;       // to change a number anywhere in 64 MiB, in large pages where there are such
    double operationsPerNanosecond = 0.0;  // additions and multiplications of floats, in the widest vectors there are
};

/// Takes about a second and 512 MiB. Each figure is the best of several runs.
MachineLimits MeasureMachine();

}  // namespace korvane_bench
