#pragma once

#include <map>
#include <string>

namespace korvane_test {

/// Small inputs to start from, by target, then by name. Most are valid; each shows one way of storing something.
std::map<std::string, std::map<std::string, std::string>> FuzzSeeds();

}  // namespace korvane_test
