#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "files/ImageFile.h"
#include "support/AddressSpace.h"
#include "support/TestData.h"

namespace {

namespace fs = std::filesystem;
using qvox::VoxelImage;
using qvox::VoxelType;


template <typename T>
void Load(const std::string& path) {
    VoxelImage<T> image;
    qvox::LoadImageFile(path, image);
    if (image.Empty()) throw std::logic_error("an empty image was loaded");
}

// What became of one file: loaded, refused with a good message, or something else.
enum class Outcome { kLoaded = 0, kRefused = 1, kUnsupported = 2, kBadMessage = 3, kOtherError = 4 };

Outcome Try(const std::string& path) {
    try {
        switch (qvox::ProbeVoxelType(path)) {
            case VoxelType::kUint8:
                Load<std::uint8_t>(path);
                break;
            case VoxelType::kUint16:
                Load<std::uint16_t>(path);
                break;
            case VoxelType::kFloat32:
                Load<float>(path);
                break;
            default:
                return Outcome::kUnsupported;
        }
        return Outcome::kLoaded;
    } catch (const qvox::ToolkitError& error) {
        const std::string text = error.what();
        return text.find(path) != std::string::npos && text.size() > path.size() + 20 ? Outcome::kRefused
                                                                                      : Outcome::kBadMessage;
    } catch (const std::exception&) {
        return Outcome::kOtherError;
    }
}

// What the voxels take of a picture that is loaded; 0 of any other.
std::uint64_t PictureBytes(const std::string& path) {
    try {
        const qvox::ImageFileInfo info = qvox::InspectImageFile(path);
        const std::uint64_t voxels = info.sizeX * info.sizeY * info.sizeZ;
        if (info.type == VoxelType::kUint8) return voxels;
        if (info.type == VoxelType::kUint16) return 2 * voxels;
        return info.type == VoxelType::kFloat32 ? 4 * voxels : 0;
    } catch (const qvox::ToolkitError&) {
        return 0;
    }
}

// In a process of its own, so that a crash is seen, with the memory that the picture takes and 64 MiB.
int TryApart(const std::string& path) {
    malloc_trim(0);
    const pid_t child = fork();
    if (child == 0) {
        if (!korvane_test::kSanitized) {
            const std::uint64_t most = korvane_test::AddressSpace() + (std::uint64_t{64} << 20);
            korvane_test::LimitAddressSpace(most);
            korvane_test::LimitAddressSpace(most + PictureBytes(path));
        }
        _exit(static_cast<int>(Try(path)));
    }
    int status = -1;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

TEST(SharedImages, EveryOddFileLoadsOrIsRefusedInTimeAndMemory) {
    KORVANE_NEED_TEST_DATA("odd");
    std::vector<std::string> paths;
    for (const auto& entry : fs::recursive_directory_iterator(korvane_test::TestData("odd"))) {
        if (entry.is_regular_file() && entry.path().extension() != ".tsv") paths.push_back(entry.path().string());
    }
    std::sort(paths.begin(), paths.end());
    int counts[3] = {};
    double slowest = 0.0;
    std::string slowestPath;
    for (const std::string& path : paths) {
        const auto start = std::chrono::steady_clock::now();
        const int outcome = TryApart(path);
        const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        ASSERT_TRUE(outcome >= 0 && outcome <= 2) << path << ": " << outcome;
        ++counts[outcome];
        if (seconds > slowest) {
            slowest = seconds;
            slowestPath = path;
        }
    }
    RecordProperty("loaded", counts[0]);
    RecordProperty("refused", counts[1]);
    RecordProperty("unsupported", counts[2]);
    std::printf("%d loaded, %d refused, %d of another kind; slowest %.3f s: %s\n", counts[0], counts[1], counts[2],
                slowest, slowestPath.c_str());
    EXPECT_GT(counts[0], 50);
}

struct KnownSize {
    const char* name;
    double nanometresX;  // 0: the file has none
    double nanometresY;
};

TEST(SharedImages, PixelSizesOfManyWritersAreTheTrueOnes) {
    KORVANE_NEED_TEST_DATA("meta");
    const KnownSize known[] = {
        {"imagej_xy_8bit__em_mitochondria_er.tif", 8, 8},
        {"imagej_xy_16bit_calibrated__nuclei_various_shapes.tif", 200, 200},
        {"imagej_xy_12bit__saturated_plant.tif", 2485.92, 2485.92},
        {"imagej_xy_16bit__scanR_datatype_issue.tif", 0, 0},
        {"imagej_xy_8bit__em_fly_eye.tif", 0, 0},
        {"imagej_xyz_8bit__mitotic_plate_calibrated.tiff", 85.1964, 85.1964},
        {"cylindra_13pf_MT.tif", 1.052, 1.052},
        {"rsciio_test_loading_image_saved_with_imageJ.tif", 168.675, 168.675},
        {"rsciio_test_loading_image_saved_with_imageJ_stack.tif", 168.675, 168.675},
        {"rsciio_test_loading_image_saved_with_imageJ_no_scale.tif", 0, 0},
        {"rsciio_test_loading_image_saved_with_imageJ_stack_no_scale.tif", 0, 0},
        {"rsciio_TVIPS_bin4.tif", 1.42080, 1.42080},
        {"rsciio_test_loading_image_saved_with_DM.tif", 168.675, 168.675},
        {"rsciio_test_loading_image_saved_with_DM_stack.tif", 168.674, 1686.74},
        {"rsciio_olympus_SIS.tif", 0.0239279, 0.0239279},
        {"sis_8020_6hr-17.tif", 0.770662, 0.770662},
        {"rsciio_JEOL-SightX-TEM-mag-dummy.tif", 1.8208, 1.8208},
        {"rsciio_test_tiff_Zeiss_SEM_512pix.tif", 5.825, 5.825},
        {"rsciio_test_tiff_Zeiss_SEM_1k.tif", 2615, 2615},
        {"ks00x_zeiss_test.tif", 55.82, 55.82},
        {"rsciio_FEI-Helios-Ebeam-8bits.tif", 3372.4, 3372.4},
        {"rsciio_FEI-Helios-Ebeam-16bits.tif", 3372.4, 3372.4},
        {"rsciio_FEI-Helios-navcam-with-no-IRBeam-bad-floats.tif", 0, 0},
        {"sis_8020_6hr-5_stale_SIS_pointer.tif", 0, 0},
        {"rsciio_JEOL-SightX-SAED-dummy.tif", 0, 0},
        {"nanoBALLS_FEI_SFEG_10000x.tif", 0, 0},
        {"nanoBALLS_FEI_SFEG_35000x.tif", 0, 0},
        {"nanoBALLS_darktable_rgb_300dpi.tif", 0, 0},
        {"rsciio_optical_Zeiss_AxioVision_BW.tif", 0, 0},
        {"rsciio_optical_Zeiss_AxioVision_RGB.tif", 0, 0},
        {"ome_2010-06-18x24y5z1t2c8b-text.ome.tiff", 0, 0},
        {"ome_bfconvert_res.ome.tiff", 0, 0},
        {"ome_viv_multi-channel.ome.tif", 0, 0},
        {"ome_viv_multifile-Z1.ome.tiff", 0, 0},
        {"pillow_hopper_float_dpi_3.tif", 0, 0},
        {"pillow_hopper_float_dpi_None.tif", 0, 0},
        {"tifffile_rgb_spacing-3px.tiff", 0, 0},
    };
    std::set<std::string> unknown;
    for (const auto& entry : fs::directory_iterator(korvane_test::TestData("meta"))) unknown.insert(entry.path().filename().string());
    for (const KnownSize& file : known) {
        unknown.erase(file.name);
        const qvox::ImageFileInfo info = qvox::InspectImageFile((korvane_test::TestData("meta") / file.name).string());
        EXPECT_FALSE(info.resolutionNote.empty()) << file.name;
        const auto expected = [](double nanometres) { return nanometres == 0.0 ? 0.0 : 1000.0 / nanometres; };
        EXPECT_NEAR(static_cast<double>(info.resolution.x), expected(file.nanometresX),
                    1e-4 * expected(file.nanometresX))
            << file.name << ": " << info.resolutionNote;
        EXPECT_NEAR(static_cast<double>(info.resolution.y), expected(file.nanometresY),
                    1e-4 * expected(file.nanometresY))
            << file.name << ": " << info.resolutionNote;
    }
    EXPECT_EQ(unknown, std::set<std::string>()) << "files of which the true size is not listed above";
}

TEST(SharedImages, EveryFileOfManyWritersLoadsOrIsOfAnotherKind) {
    KORVANE_NEED_TEST_DATA("meta");
    for (const char* folder : {"meta", "real"}) {
        for (const auto& entry : fs::directory_iterator(korvane_test::TestData(folder))) {
            const Outcome outcome = Try(entry.path().string());
            EXPECT_TRUE(outcome == Outcome::kLoaded || outcome == Outcome::kUnsupported) << entry.path();
        }
    }
    const auto info = [](const char* name) { return qvox::InspectImageFile(korvane_test::TestData(name).string()); };
    EXPECT_EQ(info("real/tem_cell_8020_1hr-10.tif").type, VoxelType::kUint8);
    EXPECT_EQ(info("meta/rsciio_olympus_SIS.tif").type, VoxelType::kUint16);
    EXPECT_EQ(info("meta/cylindra_13pf_MT.tif").sizeZ, 36u);
    EXPECT_EQ(info("meta/imagej_xyz_8bit__mitotic_plate_calibrated.tiff").sizeZ, 6u);
}

}  // namespace
