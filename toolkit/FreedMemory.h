#pragma once

namespace qvox {

/// As long as this exists, memory that is freed stays with the program and serves what is allocated next, large blocks
/// too. The C library gives planes of large images back to the system when they are freed, and the system clears the
/// memory of the next one before it is used: a seventh of the time of detection at 4096 x 4096. The price is that
/// planes of different sizes do not always fit where others were: a fifth more memory at the peak there.
///
/// At its end everything that is free goes back to the system. One at a time; it works for the thread that the program
/// began with, and changes nothing but speed and memory. Does nothing where the C library has no such choice.
class FreedMemoryKeeper {
public:
    FreedMemoryKeeper();
    ~FreedMemoryKeeper();
    FreedMemoryKeeper(const FreedMemoryKeeper&) = delete;
    FreedMemoryKeeper& operator=(const FreedMemoryKeeper&) = delete;
};

}  // namespace qvox
