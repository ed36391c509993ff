"""Objects of an image by scikit-image: IMAGE NM_PER_PIXEL TABLE. Sizes in pixels are those of 1.488 nm per pixel,
scaled."""
import sys

import numpy
from scipy import ndimage
from skimage import feature, filters, io, measure, segmentation

path, nm, table = sys.argv[1], float(sys.argv[2]), sys.argv[3]
scale = 1.488 / nm

image = io.imread(path).astype(numpy.float32)
if image.ndim > 2:
    image = image[..., :3].mean(axis=-1)
smooth = filters.gaussian(image, 3.0 * scale, preserve_range=True)
mask = smooth < filters.threshold_otsu(smooth)
distances = ndimage.distance_transform_edt(mask)
peaks = feature.peak_local_max(distances, min_distance=max(1, round(5 * scale)), threshold_abs=2.0 * scale)
markers = numpy.zeros(mask.shape, dtype=numpy.int32)
markers[tuple(peaks.T)] = numpy.arange(1, len(peaks) + 1)
labels = segmentation.watershed(-distances, markers, mask=mask, connectivity=2)
measures = measure.regionprops_table(labels, properties=("label", "area", "perimeter"))
with open(table, "w", encoding="ascii") as out:
    for number, area, perimeter in zip(measures["label"], measures["area"], measures["perimeter"]):
        out.write(f"{number}\t{area * nm * nm:.3f}\t{perimeter * nm:.3f}\n")
