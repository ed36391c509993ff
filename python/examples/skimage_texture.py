#!/usr/bin/python3
"""Korvane outlines the objects, scikit-image measures more of them: skimage_texture.py IMAGE"""
import sys

from skimage.measure import regionprops, shannon_entropy

import korvane

image = korvane.read(sys.argv[1])
labels = korvane.detect(image.pixels, image.pixel_size_nm)
table = korvane.measure(labels, image.pixels, pixel_size_nm=image.pixel_size_nm)
print("label diameter_nm eccentricity entropy")
for region, diameter in zip(regionprops(labels, image.pixels), table["diameter_nm"]):
    inside = region.image_intensity[region.image]
    print(f"{region.label:5d} {diameter:11.2f} {region.eccentricity:12.3f} {shannon_entropy(inside):7.3f}")
