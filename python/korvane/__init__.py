"""Finds and measures exosomes in electron micrographs.

Images and labels are NumPy arrays of rows and columns: array[y, x]. An image is uint8, uint16 or float32, in any order
of bytes; labels are uint16, 0 is background and every other number is one object. A pixel size is in nanometres, a
number or a pair (width, height). The same image and parameters give the same bytes as korvane-batch, on every machine and for any number
of threads.

    import korvane
    image = korvane.read("micrograph.tif")
    labels = korvane.detect(image.pixels, image.pixel_size_nm)
    table = korvane.measure(labels, image.pixels, pixel_size_nm=image.pixel_size_nm)
    print(table["diameter_nm"].mean())
    korvane.write("seg_micrograph.tif", labels, like=image)

Results are handed over without a copy, and so are images of float32 and labels of uint16 that are contiguous. The
interpreter's lock is released while an image is worked on, so that several threads analyse several images; arrays must
not be changed meanwhile.
"""

import math
import operator
import os
from typing import NamedTuple

import numpy

from . import _korvane
from ._korvane import Error, FileError

__all__ = [
    "Error",
    "FileError",
    "Image",
    "default_parameters",
    "detect",
    "edge_curves",
    "measure",
    "read",
    "read_labels",
    "read_parameters",
    "rim_curves",
    "segment",
    "set_threads",
    "stages",
    "write",
]
__version__ = _korvane.version

Error.__doc__ = "An input that cannot be analysed; the text says why, as korvane-batch does. A ValueError."
FileError.__doc__ = "A file that cannot be read or written; the text is that of korvane-batch. An Error."


class Image(NamedTuple):
    """An image file: its pixels and what the file says of them."""

    pixels: "object"
    """Rows and columns, or planes of them, in the type that the file holds."""
    pixels_per_um: tuple
    """Pixels per micrometre along x, y and z as stored; 0 where it is not known."""
    offset_um: tuple
    """Place of the first pixel in micrometres."""
    pixel_size_source: str
    """Which entry of the file gave the pixel size, or why none did."""
    description: dict
    """The texts of the file by their names."""

    @property
    def pixel_size_nm(self):
        """Width and height of a pixel in nanometres; an axis that is not known is 0, None where neither is."""
        x, y = (1000.0 / perUm if perUm > 0 else 0.0 for perUm in self.pixels_per_um[:2])
        return (x, y) if x or y else None


# Of one call; the batch tool takes no more either.
_MOST_THREADS = 1024
_MOST_PAGES = 2**32 - 1


def _pair(pixel_size_nm):
    if pixel_size_nm is None:
        return 0.0, 0.0
    sizes = [float(size) for size in numpy.atleast_1d(pixel_size_nm)]
    if len(sizes) == 1:
        sizes *= 2
    # Of files that tell the size of one axis alone the other is 0.
    if len(sizes) != 2 or not all(0.0 <= size < math.inf for size in sizes):
        raise ValueError(f"pixel_size_nm: wanted is a number above 0, or width and height, not {pixel_size_nm!r}")
    return tuple(sizes)


def _array(given):
    """What NumPy sees as an array, in this machine's order of bytes."""
    array = numpy.asarray(given)
    return array if array.dtype.isnative else array.astype(array.dtype.newbyteorder("="))


def _labels(given):
    array = _array(given)
    # The compiled part compares signed numbers.
    if array.dtype == numpy.uint64 and array.size > 0 and array.max() > 65535:
        raise ValueError(f"labels: wanted are numbers from 0 to 65535, not {array.max()}")
    return array


def _path(path):
    name = os.fsencode(path)
    if b"\0" in name:
        raise ValueError(f"a path has no zero byte: {path!r}")
    return name


def detect(image, pixel_size_nm, **parameters):
    """Detects the exosomes of an image and returns their labels.

    image          rows and columns of uint8, uint16 or float32
    pixel_size_nm  a number, or (width, height)
    parameters     those of default_parameters(), such as roundness_threshold=0.8

    Raises Error where korvane-batch refuses the image, with the same text; ValueError and TypeError for what is no
    image or parameter; MemoryError.
    """
    return _korvane.detect(_array(image), _pair(pixel_size_nm), parameters)


def segment(image, seeds, pixel_size_nm, **parameters):
    """Grows the labels in `seeds` into whole objects, each with its seed's number, and returns them.

    Of the parameters min_object_diameter_um alone is used. Raises as detect.
    """
    return _korvane.segment(_array(image), _labels(seeds), _pair(pixel_size_nm), parameters)


def stages(image, pixel_size_nm, **parameters):
    """The maps of the stages of detection, as a dict of arrays in the order of the stages.

    The names are those of the files of korvane-batch detect --stages: edges, candidates, filtered, separated, relief,
    markers; the last one, labels, is what detect returns. Raises as detect.
    """
    return _korvane.stages(_array(image), _pair(pixel_size_nm), parameters)


def measure(labels, image=None, *, pixel_size_nm):
    """Measures every object and returns a dict of arrays, one value per label in ascending order.

    The names are the columns of korvane-batch --csv, whose manual has the formulas. Numbers are not rounded; what was
    not measured is NaN. Without the image, edges, rims and grey levels are NaN. Lengths of an unknown pixel size
    (None) are those of pixels 1000 nm wide.
    """
    grey = None if image is None else _array(image)
    return _korvane.measure(_labels(labels), grey, _pair(pixel_size_nm))


def rim_curves(image, labels, pixel_size_nm):
    """The middle of each object's rim, or its plain edge: a dict from label to an array of points (x, y) in pixels.

    The centre of the first pixel is (0, 0), and the last point is joined to the first. Objects whose rim was not found
    are left out.
    """
    return _korvane.rim_curves(_array(image), _labels(labels), _pair(pixel_size_nm))


def edge_curves(image, labels, pixel_size_nm):
    """The steepest places of each object's flank, as rim_curves."""
    return _korvane.edge_curves(_array(image), _labels(labels), _pair(pixel_size_nm))


def read(path, page=None):
    """Reads a TIFF file of 8-bit, 16-bit or float grey: an Image. Raises FileError with the text of korvane-batch.

    page is the number of the page, from 1; None is the first that is no preview. A stack has a third dimension.
    """
    number = 0 if page is None else operator.index(page)
    if page is not None and not 1 <= number <= _MOST_PAGES:
        raise ValueError(f"page is a number from 1, not {page}")
    return Image(*_korvane.read(_path(path), number))


def read_labels(path):
    """Reads a label file, the numbers as they stand in it: an Image. Raises as read."""
    return Image(*_korvane.read_labels(_path(path)))


def write(path, labels, pixel_size_nm=None, *, like=None):
    """Writes labels as a 16-bit TIFF file, complete or not at all. Raises FileError.

    `like` is the Image that the labels belong to: pixel size, offset and texts are taken from it, and the file has the
    bytes that korvane-batch writes. pixel_size_nm wins over the image's.
    """
    x, y, z = like.pixels_per_um if like is not None else (0.0, 0.0, 0.0)
    if pixel_size_nm is not None:
        x, y = (1000.0 / size if size > 0 else 0.0 for size in _pair(pixel_size_nm))
    offset = like.offset_um if like is not None else (0.0, 0.0, 0.0)
    _korvane.write(_path(path), _labels(labels), (x, y, z), offset, like.description if like is not None else {})


def read_parameters(path):
    """The parameters of a file that korvane-batch tune or the window wrote, for detect(..., **parameters)."""
    return _korvane.read_parameters(os.fsencode(path))


def default_parameters():
    """The parameters of the analysis with their defaults."""
    return _korvane.default_parameters()


def set_threads(count):
    """How many threads one call may use, 1 to 1024, for the whole process; no result depends on it.

    At first it is the number of processors that the process may use, by its affinity, the CPU quota of its control
    groups and SLURM_CPUS_PER_TASK, as for korvane-batch.
    """
    number = operator.index(count)
    if not 1 <= number <= _MOST_THREADS:
        raise ValueError(f"set_threads: wanted is a number from 1 to {_MOST_THREADS}, not {count}")
    _korvane.set_threads(number)


set_threads(min(_korvane.usable_processors(), _MOST_THREADS))
