#include "fuzz/FuzzSeeds.h"

#include <tiffio.h>

#include <cstdint>
#include <fstream>
#include <iterator>
#include <vector>

#include "files/ImageFile.h"
#include "files/StoredDescription.h"
#include "support/TemporaryFolder.h"
#include "support/TiffBuilder.h"
#include "support/VendorBlocks.h"

namespace korvane_test {

namespace {

using Seeds = std::map<std::string, std::string>;

const char* const kOme =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?><OME xmlns=\"http://www.openmicroscopy.org/Schemas/OME/2016-06\">"
    "<Image ID=\"Image:0\"><Pixels ID=\"Pixels:0\" Type=\"uint8\" DimensionOrder=\"XYCZT\" SizeX=\"4\" SizeY=\"3\" "
    "SizeZ=\"2\" SizeC=\"1\" SizeT=\"1\" PhysicalSizeX=\"1.5\" PhysicalSizeXUnit=\"nm\" PhysicalSizeY=\"2.5e-3\" "
    "PhysicalSizeZ=\"0.1\"><TiffData/></Pixels></Image></OME>";

const char* const kImageJ =
    "ImageJ=1.53t\nimages=2\nslices=2\nunit=nm\nyunit=micron\nzunit=\\u00B5m\nspacing=2.5\nloop=false\nmin=0.0\n";

std::string Ramp(std::size_t count) {
    std::string bytes(count, '\0');
    for (std::size_t i = 0; i < count; ++i) bytes[i] = static_cast<char>(i * 37 / 5);
    return bytes;
}

std::string FileBytes(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// A picture of 20 x 18 voxels from the TIFF library, with whatever way of storing it has.
struct Stored {
    const char* name;
    std::uint16_t compression;
    std::uint16_t bits;
    std::uint16_t predictor = 1;
    std::uint32_t tile = 0;  ///< side of a tile; 0 for strips of 7 rows
    const char* mode = "w";
};

const Stored kStored[] = {
    {"lzw_8_horizontal", COMPRESSION_LZW, 8, 2},
    {"lzw_16_big_endian", COMPRESSION_LZW, 16, 2, 0, "wb"},
    {"deflate_16_horizontal", COMPRESSION_ADOBE_DEFLATE, 16, 2},
    {"deflate_float_predicted", COMPRESSION_ADOBE_DEFLATE, 32, 3},
    {"deflate_float_tiles_big_endian", COMPRESSION_ADOBE_DEFLATE, 32, 3, 16, "wb"},
    {"packbits_8", COMPRESSION_PACKBITS, 8},
    {"packbits_16_tiles", COMPRESSION_PACKBITS, 16, 1, 16},
    {"plain_8_tiles_bigtiff", COMPRESSION_NONE, 8, 1, 16, "w8"},
    {"plain_float", COMPRESSION_NONE, 32},
    {"zstd_16", COMPRESSION_ZSTD, 16, 2},
    {"lzma_8", COMPRESSION_LZMA, 8},
    {"jpeg_8", COMPRESSION_JPEG, 8, 1, 0},
    {"fax_1", COMPRESSION_CCITTFAX4, 1},
};

void AddStored(Seeds& seeds) {
    constexpr std::uint32_t kWidth = 20;
    constexpr std::uint32_t kHeight = 18;
    const TemporaryFolder folder;
    for (const Stored& stored : kStored) {
        if (TIFFIsCODECConfigured(stored.compression) == 0) continue;
        const std::string path = folder.File("seed.tif");
        TIFF* tiff = TIFFOpen(path.c_str(), stored.mode);
        if (tiff == nullptr) continue;
        TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, kWidth);
        TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, kHeight);
        TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, stored.bits);
        TIFFSetField(tiff, TIFFTAG_SAMPLEFORMAT, stored.bits == 32 ? SAMPLEFORMAT_IEEEFP : SAMPLEFORMAT_UINT);
        TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
        TIFFSetField(tiff, TIFFTAG_COMPRESSION, stored.compression);
        if (stored.predictor != 1) TIFFSetField(tiff, TIFFTAG_PREDICTOR, stored.predictor);
        if (stored.tile != 0) {
            TIFFSetField(tiff, TIFFTAG_TILEWIDTH, stored.tile);
            TIFFSetField(tiff, TIFFTAG_TILELENGTH, stored.tile);
            std::string tile = Ramp(stored.tile * stored.tile * stored.bits / 8u);
            for (std::uint32_t i = 0; i < TIFFNumberOfTiles(tiff); ++i) {
                TIFFWriteEncodedTile(tiff, i, tile.data(), static_cast<tmsize_t>(tile.size()));
            }
        } else {
            TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, stored.compression == COMPRESSION_JPEG ? 8 : 7);
            for (std::uint32_t row = 0; row < kHeight; ++row) {
                std::string line = Ramp((kWidth * stored.bits + 7u) / 8u);
                TIFFWriteScanline(tiff, line.data(), row, 0);
            }
        }
        TIFFClose(tiff);
        seeds[stored.name] = FileBytes(path);
    }
}

void AddPlain(Seeds& seeds) {
    for (const TiffOrder order : {TiffOrder::kLittle, TiffOrder::kBig}) {
        const std::string name = order == TiffOrder::kLittle ? "little_endian" : "big_endian";
        TiffBuilder file(order);
        file.Page().Grey(4, 3, 16).Text(270, kImageJ).Rational(282, 672, 1).Rational(283, 672, 1).Short(296, 1);
        file.AddPiece(Ramp(24)).Page().Grey(4, 3, 16).AddPiece(Ramp(24));
        seeds["imagej_stack_" + name] = file.Bytes();
    }
    TiffBuilder ome(TiffOrder::kLittle, TiffKind::kBig);
    ome.Page().Grey(4, 3, 8).Text(270, kOme).AddPiece(Ramp(12)).Page().Grey(4, 3, 8).AddPiece(Ramp(12));
    seeds["ome_stack"] = ome.Bytes();

    TiffBuilder palette;
    std::vector<std::uint16_t> map;
    for (unsigned i = 0; i < 768; ++i) map.push_back(static_cast<std::uint16_t>((i % 256) * 257));
    palette.Page().Grey(4, 3, 8).Short(262, 3).Shorts(320, map).Rational(282, 254000, 1).Short(296, 2);
    seeds["grey_palette"] = palette.AddPiece(Ramp(12)).Bytes();

    TiffBuilder preview;
    preview.Page().Long(254, 1).Long(256, 2).Long(257, 2).Shorts(258, {8, 8, 8}).Short(259, 1).Short(262, 2);
    preview.Short(277, 3).Long(278, 2).AddPiece(Ramp(12));
    seeds["preview_then_grey"] = preview.Page().Grey(4, 3, 16).AddPiece(Ramp(24)).Bytes();

    TiffBuilder white;
    white.Page().Grey(4, 3, 32).Short(339, 3).Short(262, 0).Long(278, 2).AddPiece(Ramp(32)).AddPiece(Ramp(16));
    seeds["white_is_zero_float"] = white.Bytes();

    TiffBuilder loop;
    loop.Page().Grey(2, 2, 8).Text(270, "ImageJ=1\nimages=9\nslices=3\nframes=3\n").AddPiece(Ramp(4));
    seeds["loop"] = loop.Page().Grey(2, 2, 8).AddPiece(Ramp(4)).Loop().Bytes();

    TiffBuilder huge;
    seeds["huge_claim"] = huge.Page().Grey(0x80000000u, 0x80000000u, 8).AddPiece("x").Bytes();
}

/// Files of this program's own.
void AddOwn(Seeds& seeds) {
    const TemporaryFolder folder;
    const std::string path = folder.File("own.tif");
    qvox::LabelImage labels({1.0f, 2.0f, 3.0f}, {672.5f, 671.5f, 0.0f});
    labels.Resize(8, 6, 1);
    labels.Zero();
    labels(3, 2) = 1;
    labels(4, 2) = 65535;
    labels.SetMetadata({{"key", "value \xC3\xBC % \n"}});
    qvox::SaveImageFile(path, labels);
    seeds["own_labels"] = FileBytes(path);
    qvox::SaveImageFile(path, labels, qvox::FileFormat::kTiff, qvox::TiffCompression::kNone);
    seeds["own_labels_plain"] = FileBytes(path);
    qvox::VoxelImage<qvox::Rgb8> overlay;
    overlay.Resize(5, 4, 2);
    overlay.Zero();
    qvox::SaveImageFile(path, overlay);
    seeds["own_overlay_stack"] = FileBytes(path);
}

Seeds OmeSeeds() {
    return {
        {"two_planes", kOme},
        {"prefixed",
         "<ome:OME xmlns:ome=\"x\"><ome:Image><ome:Pixels PhysicalSizeX=\"0.5\" PhysicalSizeY=\"-1\" "
         "PhysicalSizeXUnit=\"&#181;m\" SizeZ=\"0\"/></ome:Image></ome:OME>"},
        {"no_size",
         "<OME><Image><Pixels DimensionOrder=\"XYTZC\" SizeT=\"4294967295\" SizeZ=\"4294967295\"/></Image></OME>"},
        {"elsewhere", "<?xml version=\"1.0\"?><!-- c --><OME UUID=\"u\"><BinaryOnly MetadataFile=\"a.ome\"/></OME>"},
        {"broken", "<OME><Image><Pixels PhysicalSizeX=\"1\""},
        {"not_ome", "<TVIPS>OME</TVIPS>"},
    };
}

Seeds ImageJSeeds() {
    return {
        {"stack", std::string(kImageJ).substr(7)},
        {"hyperstack",
         "1.11a\nimages=12\nchannels=2\nslices=3\nframes=2\nhyperstack=true\nmode=grayscale\nunit=inch\n"},
        {"windows_lines", "1.53t\r\nunit=\\u00B5m\r\nspacing=-0.5\r\n=\r\nnothing\r\n"},
        {"micron", "1\nunit=micron\nyunit=\nzunit=pixel\nspacing=nan\nimages=4294967296"},
        {"blank_unit", "1\nunit= \n"},
    };
}

Seeds StoredSeeds() {
    qvox::StoredProperties properties;
    properties.resolution = {672.25f, 671.75f, 0.0f};
    properties.offset = {-1.5f, 2.0f, 1e-30f};
    properties.description = {{"ImageDescription", "a = b\n\x01"}, {"=%", "\xC3\xBC"}, {"", ""}};
    return {
        {"two_planes", qvox::DescriptionText(properties, 2)},
        {"one_plane", qvox::DescriptionText(properties, 1)},
        {"entries", "qvox.entry.k%3D=v%0A\nqvox.entry.b%=%4\nqvox.entry.x%zz=1\n"},
        {"numbers", "qvox=1\nqvox.resolution=1e39 -1 nan\nqvox.offset=inf 0x10 1,5\n"},
    };
}

/// Pictures with a block of each maker.
void AddMakers(Seeds& seeds) {
    const auto page = [] {
        TiffBuilder file;
        file.Page().Grey(2, 2, 8).AddPiece(Ramp(4)).Rational(282, 72, 1).Rational(283, 72, 1).Short(296, 2);
        return file;
    };
    for (const std::uint16_t tag : {std::uint16_t{33560}, std::uint16_t{37706}}) {
        TiffBuilder file = page();
        const auto offset = static_cast<std::uint32_t>(file.Long(tag, 0).Bytes().size());
        file.Long(tag, offset);
        seeds["tag_" + std::to_string(tag)] =
            file.Bytes() + (tag == 33560 ? SisBlock(offset, -9, 1.5, 1.25) : TvipsBlock(1.5f, 1.25f));
    }
    seeds["zeiss"] = page().Text(34118, "AP_IMAGE_PIXEL_SIZE\r\nImage Pixel Size = 4.466 nm\r\n").Bytes();
    seeds["fei"] = page().Text(34682, "[Scan]\r\nPixelWidth=7.7e-009\r\nPixelHeight=7.7e-009\r\n").Bytes();
    seeds["jeol"] = page().Text(270, JeolXml("MAG", "25000")).Bytes();
    TiffBuilder gatan = page();
    gatan.Real(65009, 0.168675).Real(65010, 0.2).Text(65003, "\xB5m").Text(65004, "\xB5m");
    seeds["gatan"] = gatan.Text(65012, "micrometer").Text(65013, "micrometer").Bytes();
}

Seeds GatanSeeds() {
    std::string numbers(16, '\0');
    PutLittle(numbers, 0, 0.168675);
    PutLittle(numbers, 8, 1.68674);
    return {{"micrometres", numbers + "\xB5m\n\xB5m\nmicrometer\nmicrometer"},
            {"nanometres", numbers + "nm\nnm\n-\n-"},
            {"reciprocal", numbers + "1/nm\n1/nm\n\n"}};
}

/// The strips of the stored pictures, by themselves.
Seeds UnpackingSeeds() {
    // 2440 bytes: the fewest that are asked for.
    const std::string deflated("\x78\x9C\xED\xC1\x01\x0D\x00\x00\x00\xC2\xA0\xF7\x4F\x6D\x0E\x37\xA0", 17);
    std::string runs;
    for (int i = 0; i < 40; ++i) runs += std::string("\x81\x07", 2);
    return {{"lzw", std::string("\x00\x00\x80\x00\x00\x20\x50\x38\x24\x16\x0D\x07", 12)},
            {"deflate", std::string("\x01\x08", 2) + deflated},
            {"packbits", std::string("\x02\x01", 2) + runs},
            {"zstd",
             std::string("\x03\x00\x28\xB5\x2F\xFD\x60\x88\x08\x4D\x00\x00\x10\x07\x07\x01\x00\x83\x29\x40\x05", 21)},
            {"lzma", std::string("\x04\x00\xFD\x37\x7A\x58\x5A\x00\x00\x01\x69\x22\xDE\x36\x02\x00\x21\x01", 18)}};
}

}  // namespace

std::map<std::string, std::map<std::string, std::string>> FuzzSeeds() {
    Seeds pictures;
    AddPlain(pictures);
    AddStored(pictures);
    AddOwn(pictures);
    AddMakers(pictures);
    const std::string offset(1, '\x20');
    const std::string before(32, '-');
    return {
        {"fei", {{"scan", "[User]\nPixelWidth=1\n[Scan]\r\nPixelWidth=7.7e-009\r\nPixelHeight=7.8e-009\r\n[Beam]\n"}}},
        {"gatan", GatanSeeds()},
        {"imagej", ImageJSeeds()},
        {"jeol", {{"magnified", JeolXml("MAG", "25000")}, {"diffraction", JeolXml("SAED", "80", "cm")}}},
        {"labels", pictures},
        {"ome", OmeSeeds()},
        {"parameters",
         {{"whole", "{\"comment\": \"c\", \"edgeContrast\": 0.005, \"areaFraction\": 0.15, \"roundnessThreshold\": 0}"},
          {"sizes", "{\"maxRelativeClusterSize\": 1.9, \"relativeExosomeSize\": 1e-1, \"minObjectDiameterUm\": 0.03}"},
          {"nested", "{\"areaFraction\": [[{\"a\": 1}]], \"\\u00e9\": null}"}}},
        {"sis", {{"block", offset + before + SisBlock(32, -9, 1.5, 1.25)}}},
        {"stored", StoredSeeds()},
        {"tiff", pictures},
        {"tvips", {{"block", offset + before + TvipsBlock(1.5f, 1.25f)}}},
        {"unpacking", UnpackingSeeds()},
        {"zeiss",
         {{"both",
           "\r\nAP_PIXEL_SIZE\r\nPixel Size = 3.0 nm\r\nAP_IMAGE_PIXEL_SIZE\r\nImage Pixel Size = 4.466 \xB5m\r\n"},
          {"screen", "AP_PIXEL_SIZE\nPixel Size = 300 pm\n"}}}};
}

}  // namespace korvane_test
