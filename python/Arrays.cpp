#include "Arrays.h"

#include <limits>
#include <string>

namespace py = pybind11;

namespace Korvane {

namespace {

void RequirePlane(const py::array& array, const char* name) {
    if (array.ndim() == 2) return;
    throw py::value_error(std::string(name) + ": wanted are rows and columns, not " + std::to_string(array.ndim()) +
                          " dimensions");
}

template <typename T>
ArrayImage<T> Borrowed(const py::array& array) {
    const auto typed = py::reinterpret_borrow<py::array_t<T>>(array);
    return {array, std::make_shared<qvox::BorrowedImage<T>>(typed.data(), static_cast<std::uint64_t>(array.shape(1)),
                                                            static_cast<std::uint64_t>(array.shape(0)))};
}

bool LiesAsImagesDo(const py::array& array) {
    constexpr int kAsWanted = py::detail::npy_api::NPY_ARRAY_C_CONTIGUOUS_ | py::detail::npy_api::NPY_ARRAY_ALIGNED_;
    return (array.flags() & kAsWanted) == kAsWanted;
}

template <typename To, typename From>
ArrayImage<To> Copied(const py::array& array) {
    const auto from = py::array_t<From>(array).template unchecked<2>();
    qvox::VoxelImage<To> image;
    image.Resize(static_cast<std::uint64_t>(array.shape(1)), static_cast<std::uint64_t>(array.shape(0)), 1);
    To* to = image.begin();
    for (py::ssize_t y = 0; y < from.shape(0); ++y) {
        for (py::ssize_t x = 0; x < from.shape(1); ++x) *to++ = static_cast<To>(from(y, x));
    }
    return ArrayImage<To>(std::move(image));
}

std::string TypeText(const py::array& array) { return py::str(array.dtype()).cast<std::string>(); }

template <typename T>
bool Holds(const py::array& array) {
    return py::isinstance<py::array_t<T>>(array);
}

/// Whole numbers of any width; those that no label can be are refused.
ArrayImage<std::uint16_t> CheckedLabels(const py::array& array) {
    using Wide = std::int64_t;
    const auto wide = py::array_t<Wide, py::array::forcecast>(array);
    const auto values = wide.unchecked<2>();
    for (py::ssize_t y = 0; y < values.shape(0); ++y) {
        for (py::ssize_t x = 0; x < values.shape(1); ++x) {
            if (values(y, x) >= 0 && values(y, x) <= std::numeric_limits<std::uint16_t>::max()) continue;
            throw py::value_error("labels: wanted are numbers from 0 to 65535, not " + std::to_string(values(y, x)));
        }
    }
    return Copied<std::uint16_t, Wide>(wide);
}

}  // namespace

ArrayImage<float> GreyImage(const py::array& array) {
    RequirePlane(array, "image");
    if (Holds<float>(array)) return LiesAsImagesDo(array) ? Borrowed<float>(array) : Copied<float, float>(array);
    if (Holds<std::uint8_t>(array)) return Copied<float, std::uint8_t>(array);
    if (Holds<std::uint16_t>(array)) return Copied<float, std::uint16_t>(array);
    throw py::type_error("image: it holds " + TypeText(array) + "; wanted is uint8, uint16 or float32");
}

ArrayImage<std::uint16_t> LabelsOf(const py::array& array) {
    RequirePlane(array, "labels");
    if (Holds<std::uint16_t>(array) && LiesAsImagesDo(array)) return Borrowed<std::uint16_t>(array);
    const char kind = array.dtype().kind();
    if (kind == 'u' || kind == 'i' || kind == 'b') return CheckedLabels(array);
    throw py::type_error("labels: they are " + TypeText(array) + "; wanted are whole numbers");
}

}  // namespace Korvane
