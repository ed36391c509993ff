// make_fuzz_seeds FOLDER: writes the seeds of every target into FOLDER/TARGET/.

#include <cstdio>
#include <filesystem>
#include <fstream>

#include "fuzz/FuzzSeeds.h"

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("usage: make_fuzz_seeds FOLDER\n", stderr);
        return 2;
    }
    for (const auto& [target, seeds] : korvane_test::FuzzSeeds()) {
        const std::filesystem::path folder = std::filesystem::path(argv[1]) / target;
        std::filesystem::create_directories(folder);
        for (const auto& [name, bytes] : seeds) {
            std::ofstream file(folder / name, std::ios::binary);
            file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
            if (!file.flush()) {
                std::fprintf(stderr, "cannot write %s\n", (folder / name).c_str());
                return 1;
            }
        }
    }
    return 0;
}
