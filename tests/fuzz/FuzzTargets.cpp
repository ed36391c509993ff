#include "fuzz/FuzzTargets.h"

#include <cstring>

#include "fuzz/FuzzSupport.h"

namespace korvane_test {

const std::vector<FuzzTarget>& FuzzTargets() {
    static const std::vector<FuzzTarget> targets = {
        {"imagej", FuzzImageJ}, {"labels", FuzzLabels}, {"ome", FuzzOme}, {"stored", FuzzStoredDescription},
        {"tiff", FuzzTiff},
    };
    return targets;
}

const FuzzTarget* FindFuzzTarget(const char* name) {
    for (const FuzzTarget& target : FuzzTargets()) {
        if (std::strcmp(target.name, name) == 0) return &target;
    }
    return nullptr;
}

}  // namespace korvane_test
