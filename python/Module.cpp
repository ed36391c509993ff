#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <exception>
#include <limits>
#include <memory>
#include <new>
#include <opencv2/core.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Arrays.h"
#include "DetectionDriver.h"
#include "DetectionObserver.h"
#include "ExceptionText.h"
#include "FailureText.h"
#include "ImageLoading.h"
#include "ObjectMeasures.h"
#include "ParametersFile.h"
#include "PathText.h"
#include "PixelHeight.h"
#include "Processors.h"
#include "ProgramVersion.h"
#include "ResultFiles.h"
#include "SeededSegmentation.h"
#include "ShortestText.h"
#include "ToolkitError.h"
#include "files/ImageFile.h"
#include "support/OpenCVThreads.h"

namespace py = pybind11;

namespace Korvane {

namespace {

/// Nanometres per pixel along x and y.
using PixelSize = std::pair<double, double>;

/// A failure of reading or writing a file, with the message that the batch tool writes.
class FileTrouble : public qvox::ToolkitError {
public:
    using ToolkitError::ToolkitError;
};

template <typename Work>
auto DoFileTask(FileTask task, const std::string& path, const Work& work) {
    try {
        return work();
    } catch (...) {
        if (IsOutOfMemory(std::current_exception())) throw std::bad_alloc();
        throw FileTrouble(FailureMessage(task, PathText(path), std::current_exception()).utf8_string());
    }
}

qvox::PixelResolution ResolutionOf(const PixelSize& nm) {
    const auto perUm = [](double size) { return size > 0.0 ? static_cast<float>(1000.0 / size) : 0.0f; };
    return {perUm(nm.first), perUm(nm.second), 0.0f};
}

/// The resolution of an analysis; the batch tool refuses the same.
qvox::PixelResolution AnalysisResolution(const PixelSize& nm) {
    const qvox::PixelResolution resolution = ResolutionOf(nm);
    if (resolution.x <= 0.0f) throw qvox::ToolkitError("The pixel size is not known; give it as pixel_size_nm");
    RequirePixelHeight(resolution);
    return resolution;
}

/// "areaFraction" as a name in Python: "area_fraction".
std::string PythonName(const char* key) {
    std::string name;
    for (; *key != '\0'; ++key) {
        const bool isUpper = *key >= 'A' && *key <= 'Z';
        if (isUpper) name += '_';
        name += isUpper ? static_cast<char>(*key - 'A' + 'a') : *key;
    }
    return name;
}

float CheckedValue(const ParameterRange& range, const py::handle& value) {
    const auto number = static_cast<float>(py::float_(py::reinterpret_borrow<py::object>(value)));
    if (number >= range.minimum && number <= range.maximum) return number;
    throw py::value_error(PythonName(range.key) + ": needs a number from " + qvox::ShortestText(range.minimum) + " to " +
                          qvox::ShortestText(range.maximum) + ", not '" + py::str(value).cast<std::string>() + "'");
}

AnalysisParameters ParametersOf(const py::dict& given) {
    AnalysisParameters parameters;
    for (const auto& [key, value] : given) {
        const auto name = key.cast<std::string>();
        const ParameterRange* found = nullptr;
        for (const ParameterRange& range : kParameterRanges) {
            if (PythonName(range.key) == name) found = &range;
        }
        if (found == nullptr) throw py::type_error("there is no parameter '" + name + "'");
        parameters.*found->field = CheckedValue(*found, value);
    }
    return parameters;
}

py::dict DictOf(const AnalysisParameters& parameters) {
    py::dict dict;
    for (const ParameterRange& range : kParameterRanges) {
        // The shortest decimals, not those of the single-precision number in double precision.
        dict[py::str(PythonName(range.key))] = std::stod(qvox::ShortestText(parameters.*range.field));
    }
    return dict;
}

qvox::LabelImage EmptyLabels(const qvox::VoxelImage<float>& image, const qvox::PixelResolution& resolution) {
    qvox::LabelImage labels = EmptyLabelsFor(image);
    labels.SetResolution(resolution);
    return labels;
}

qvox::LabelImage DetectInto(const ArrayImage<float>& grey, const qvox::PixelResolution& resolution,
                            const AnalysisParameters& parameters, DetectionObserver& observer) {
    const py::gil_scoped_release unlocked;
    qvox::LabelImage labels = EmptyLabels(grey.Image(), resolution);
    DetectExosomes(grey.Image(), labels, parameters, resolution.x, observer);
    return labels;
}

py::array Detect(const py::array& image, const PixelSize& pixelSizeNm, const py::dict& parameters) {
    DetectionObserver silent;
    return ArrayOf(DetectInto(GreyImage(image), AnalysisResolution(pixelSizeNm), ParametersOf(parameters), silent));
}

/// Keeps the maps of all stages; they become arrays when the interpreter's lock is held again.
class StageKeeper : public DetectionObserver {
public:
    bool WantsStage(DetectionStage) override { return true; }
    void StageFloat(DetectionStage stage, const qvox::VoxelImage<float>& map) override {
        floats_.emplace_back(stage, map);
    }
    void StageByte(DetectionStage stage, const qvox::VoxelImage<std::uint8_t>& map) override {
        bytes_.emplace_back(stage, map);
    }
    void StageLabels(DetectionStage stage, const qvox::LabelImage& map) override { labels_.emplace_back(stage, map); }

    /// By the prefix of the stage's file without its "_", in the order of the stages.
    py::dict Take() {
        py::dict maps;
        for (const DetectionStageRow& row : kDetectionStages) {
            if (row.filePrefix.empty()) continue;
            const py::str name(std::string(row.filePrefix.substr(0, row.filePrefix.size() - 1)));
            TakeFrom(floats_, row.stage, name, maps);
            TakeFrom(bytes_, row.stage, name, maps);
            TakeFrom(labels_, row.stage, name, maps);
        }
        return maps;
    }

private:
    template <typename T>
    using Maps = std::vector<std::pair<DetectionStage, qvox::VoxelImage<T>>>;

    template <typename T>
    static void TakeFrom(Maps<T>& kept, DetectionStage stage, const py::str& name, py::dict& maps) {
        for (auto& [of, map] : kept) {
            if (of == stage) maps[name] = ArrayOf(std::move(map));
        }
    }

    Maps<float> floats_;
    Maps<std::uint8_t> bytes_;
    Maps<std::uint16_t> labels_;
};

py::dict Stages(const py::array& image, const PixelSize& pixelSizeNm, const py::dict& parameters) {
    StageKeeper keeper;
    qvox::LabelImage labels =
        DetectInto(GreyImage(image), AnalysisResolution(pixelSizeNm), ParametersOf(parameters), keeper);
    py::dict maps = keeper.Take();
    maps["labels"] = ArrayOf(std::move(labels));
    return maps;
}

py::array Segment(const py::array& image, const py::array& seeds, const PixelSize& pixelSizeNm,
                  const py::dict& parameters) {
    const ArrayImage<float> grey = GreyImage(image);
    const ArrayImage<std::uint16_t> start = LabelsOf(seeds);
    const qvox::PixelResolution resolution = AnalysisResolution(pixelSizeNm);
    const AnalysisParameters chosen = ParametersOf(parameters);
    qvox::LabelImage labels;
    {
        const py::gil_scoped_release unlocked;
        labels = start.Image();
        labels.SetResolution(resolution);
        SegmentFromSeeds(grey.Image(), labels, resolution.x, chosen.minObjectDiameterUm);
    }
    return ArrayOf(std::move(labels));
}

std::vector<ObjectMeasures> Measured(const py::array& labels, const std::optional<py::array>& image,
                                     const PixelSize& pixelSizeNm) {
    ArrayImage<std::uint16_t> objects = LabelsOf(labels);
    objects.SetResolution(ResolutionOf(pixelSizeNm));
    std::optional<ArrayImage<float>> grey;
    if (image) grey.emplace(GreyImage(*image));
    const py::gil_scoped_release unlocked;
    if (grey) return MeasureEverything(grey->Image(), objects.Image());
    // Without grey levels there is neither an edge nor a mean: NaN.
    qvox::VoxelImage<float> nothing;
    nothing.Resize(objects.Image().SizeX(), objects.Image().SizeY(), 1);
    std::fill(nothing.begin(), nothing.end(), std::numeric_limits<float>::quiet_NaN());
    return MeasureEverything(nothing, objects.Image());
}

py::object Column(const ObjectColumn& column, const std::vector<ObjectMeasures>& objects) {
    if (column.text != nullptr) {
        py::list texts;
        for (const ObjectMeasures& object : objects) texts.append(py::str(column.text(object)));
        return py::module_::import("numpy").attr("array")(texts, py::arg("dtype") = "U8");
    }
    py::array_t<double> numbers(static_cast<py::ssize_t>(objects.size()));
    double* number = numbers.mutable_data();
    for (const ObjectMeasures& object : objects) {
        const std::optional<double> value = column.value(object);
        *number++ = value ? *value : std::numeric_limits<double>::quiet_NaN();
    }
    return std::move(numbers);
}

py::dict Measure(const py::array& labels, const std::optional<py::array>& image, const PixelSize& pixelSizeNm) {
    const std::vector<ObjectMeasures> objects = Measured(labels, image, pixelSizeNm);
    py::dict columns;
    for (const ObjectColumn& column : ObjectColumns()) columns[column.name] = Column(column, objects);
    return columns;
}

py::dict Curves(const py::array& image, const py::array& labels, const PixelSize& pixelSizeNm,
                ClosedCurve EdgeMeasurement::*curve) {
    py::dict curves;
    for (const ObjectMeasures& object : Measured(labels, image, pixelSizeNm)) {
        const ClosedCurve& points = object.edge.*curve;
        if (points.empty()) continue;
        py::array_t<double> array({static_cast<py::ssize_t>(points.size()), py::ssize_t{2}});
        auto rows = array.mutable_unchecked<2>();
        for (py::ssize_t i = 0; i < rows.shape(0); ++i) {
            rows(i, 0) = points[static_cast<std::size_t>(i)].x;
            rows(i, 1) = points[static_cast<std::size_t>(i)].y;
        }
        curves[py::int_(object.extent.label)] = array;
    }
    return curves;
}

// --- Files ---

py::dict DictOf(const qvox::Description& description) {
    py::dict dict;
    for (const auto& [key, text] : description) {
        dict[py::str(key)] = py::reinterpret_steal<py::str>(
            PyUnicode_DecodeUTF8(text.data(), static_cast<py::ssize_t>(text.size()), "surrogateescape"));
    }
    return dict;
}

qvox::Description DescriptionOf(const py::dict& dict) {
    qvox::Description description;
    for (const auto& [key, text] : dict) {
        const auto bytes = py::reinterpret_steal<py::bytes>(
            PyUnicode_AsEncodedString(py::str(text).ptr(), "utf-8", "surrogateescape"));
        if (!bytes) throw py::error_already_set();
        description[key.cast<std::string>()] = static_cast<std::string>(bytes);
    }
    return description;
}

using Triple = std::array<float, 3>;

/// pixels, pixels per micrometre, offset in micrometres, source of the pixel size, description.
template <typename T>
py::tuple Loaded(const std::string& path, const qvox::ReadOptions& options, const qvox::ImageFileInfo& info) {
    qvox::VoxelImage<T> image;
    {
        const py::gil_scoped_release unlocked;
        DoFileTask(FileTask::kLoadInput, path, [&] {
            qvox::LoadImageFile(path, image, options);
            return 0;
        });
    }
    const auto [x, y, z] = image.Resolution();
    const qvox::VoxelOffset offset = image.Offset();
    py::dict description = DictOf(image.Metadata());
    return py::make_tuple(ArrayOf(std::move(image)), py::make_tuple(x, y, z),
                          py::make_tuple(offset.x, offset.y, offset.z), info.resolutionNote, description);
}

py::tuple ReadFile(const std::string& path, const qvox::ReadOptions& options) {
    const qvox::ImageFileInfo info = DoFileTask(FileTask::kLoadInput, path, [&] {
        // A file on a server may take its time, and the other threads go on.
        const py::gil_scoped_release unlocked;
        qvox::ImageFileInfo inspected = qvox::InspectImageFile(path, options);
        if (!IsInputType(inspected.type)) RefuseInputType(path, inspected);
        return inspected;
    });
    switch (info.type) {
        case qvox::VoxelType::kUint8:
            return Loaded<std::uint8_t>(path, options, info);
        case qvox::VoxelType::kUint16:
            return Loaded<std::uint16_t>(path, options, info);
        default:
            return Loaded<float>(path, options, info);
    }
}

py::tuple Read(const std::string& path, std::uint32_t page) {
    qvox::ReadOptions options;
    options.page = page;
    return ReadFile(path, options);
}

py::tuple ReadLabels(const std::string& path) { return ReadFile(path, qvox::StoredValues()); }

void Write(const std::string& path, const py::array& labels, const Triple& perUm, const Triple& offsetUm,
           const py::dict& description) {
    const ArrayImage<std::uint16_t> objects = LabelsOf(labels);
    const qvox::Description texts = DescriptionOf(description);
    const py::gil_scoped_release unlocked;
    qvox::LabelImage saved = objects.Image();
    saved.SetResolution({perUm[0], perUm[1], perUm[2]});
    saved.SetOffset({offsetUm[0], offsetUm[1], offsetUm[2]});
    saved.SetMetadata(texts);
    DoFileTask(FileTask::kSaveResults, path, [&] {
        SaveLabels(PathText(path), saved);
        return 0;
    });
}

py::dict ReadParameters(const std::string& path) { return DictOf(ReadParametersFile(path).parameters); }

/// Exhausted memory of the matrix library becomes MemoryError, as that of everything else.
void TranslateMatrixFailure(std::exception_ptr failure) {
    try {
        if (failure) std::rethrow_exception(failure);
    } catch (const cv::Exception&) {
        if (IsOutOfMemory(failure)) {
            PyErr_NoMemory();
        } else {
            PyErr_SetString(PyExc_RuntimeError, ExceptionText(failure).utf8_str());
        }
    }
}

}  // namespace

// A function of the library's macro.
PYBIND11_MODULE(_korvane, module) {
    module.doc() = "The compiled part of korvane.";
    module.attr("version") = VersionText();
    // Loads NumPy now: the library does so at the first array, behind a guard on which a second thread would wait with
    // the interpreter's lock in its hand.
    static_cast<void>(py::detail::npy_api::get());
    const auto error = py::register_exception<qvox::ToolkitError>(module, "Error", PyExc_ValueError);
    py::register_exception<FileTrouble>(module, "FileError", error);
    py::register_exception_translator(&TranslateMatrixFailure);
    module.def("detect", &Detect);
    module.def("stages", &Stages);
    module.def("segment", &Segment);
    module.def("measure", &Measure);
    module.def("rim_curves", [](const py::array& image, const py::array& labels, const PixelSize& nm) {
        return Curves(image, labels, nm, &EdgeMeasurement::rimCurve);
    });
    module.def("edge_curves", [](const py::array& image, const py::array& labels, const PixelSize& nm) {
        return Curves(image, labels, nm, &EdgeMeasurement::edgeCurve);
    });
    module.def("read", &Read);
    module.def("read_labels", &ReadLabels);
    module.def("write", &Write);
    module.def("read_parameters", &ReadParameters);
    module.def("default_parameters", [] { return DictOf(AnalysisParameters()); });
    module.def("usable_processors", &qvox::UsableProcessors);
    module.def("set_threads", [](int count) {
        if (count < 1) throw py::value_error("set_threads: wanted is a number from 1 on");
        SetOpenCVThreads(count);
    });
}

}  // namespace Korvane
