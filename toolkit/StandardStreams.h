#pragma once

namespace qvox {

/// Makes sure that the descriptors 0, 1 and 2 are open, so that no file that is opened later takes the place of a
/// standard stream that the caller had closed: a message would be written into it. A closed one leads to /dev/null
/// afterwards, opened the wrong way round, so that reading and writing fail as they did. Each program calls it before
/// anything else. A program that cannot get them ends at once, with status 1.
void OpenStandardStreams();

}  // namespace qvox
