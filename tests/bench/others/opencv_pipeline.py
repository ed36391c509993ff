"""Objects of an image by OpenCV: IMAGE NM_PER_PIXEL TABLE. Sizes in pixels are those of 1.488 nm per pixel, scaled."""
import sys

import cv2
import numpy

path, nm, table = sys.argv[1], float(sys.argv[2]), sys.argv[3]
scale = 1.488 / nm

image = cv2.imread(path, cv2.IMREAD_UNCHANGED)
if image.ndim > 2:
    image = cv2.cvtColor(image, cv2.COLOR_BGR2GRAY)
smooth = cv2.GaussianBlur(image.astype(numpy.float32), (0, 0), 3.0 * scale)
grey = cv2.normalize(smooth, None, 0, 255, cv2.NORM_MINMAX).astype(numpy.uint8)
_, mask = cv2.threshold(grey, 0, 255, cv2.THRESH_BINARY_INV | cv2.THRESH_OTSU)

distances = cv2.distanceTransform(mask, cv2.DIST_L2, cv2.DIST_MASK_PRECISE)
reach = 2 * max(1, round(5 * scale)) + 1
element = cv2.getStructuringElement(cv2.MORPH_RECT, (reach, reach))
peaks = ((distances == cv2.dilate(distances, element)) & (distances > 2.0 * scale)).astype(numpy.uint8)
_, markers = cv2.connectedComponents(peaks, connectivity=8)
markers[mask == 0] = markers.max() + 1
relief = cv2.cvtColor(255 - cv2.normalize(distances, None, 0, 255, cv2.NORM_MINMAX).astype(numpy.uint8),
                      cv2.COLOR_GRAY2BGR)
labels = cv2.watershed(relief, markers)
labels[(mask == 0) | (labels < 0)] = 0

count, _, boxes, _ = cv2.connectedComponentsWithStats((labels > 0).astype(numpy.uint8), connectivity=8)
with open(table, "w", encoding="ascii") as out:
    for number in range(1, count):
        x, y, width, height, area = boxes[number]
        part = (labels[y:y + height, x:x + width] > 0).astype(numpy.uint8)
        contours, _ = cv2.findContours(part, cv2.RETR_EXTERNAL, cv2.CHAIN_APPROX_NONE)
        perimeter = sum(cv2.arcLength(contour, True) for contour in contours)
        out.write(f"{number}\t{area * nm * nm:.3f}\t{perimeter * nm:.3f}\n")
