#include "fuzz/FuzzTargets.h"

#include <cstring>

#include "fuzz/FuzzSupport.h"

namespace korvane_test {

const std::vector<FuzzTarget>& FuzzTargets() {
    static const std::vector<FuzzTarget> targets = {
        {"fei", FuzzFei},
        {"gatan", FuzzGatan},
        {"imagej", FuzzImageJ},
        {"jeol", FuzzJeol},
        {"labels", FuzzLabels},
        {"ome", FuzzOme},
        {"parameters", FuzzParameters},
        {"sis", FuzzSis},
        {"stored", FuzzStoredDescription},
        {"tiff", FuzzTiff},
        {"tvips", FuzzTvips},
        {"unpacking", FuzzUnpacking},
        {"zeiss", FuzzZeiss},
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
