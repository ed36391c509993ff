#!/usr/bin/python3
"""The objects of a folder of images as one table, summed up by image: pandas_summary.py FOLDER"""
import pathlib
import sys

import pandas

import korvane

tables = []
for path in sorted(pathlib.Path(sys.argv[1]).glob("*.tif")):
    image = korvane.read(path)
    labels = korvane.detect(image.pixels, image.pixel_size_nm)
    table = korvane.measure(labels, image.pixels, pixel_size_nm=image.pixel_size_nm)
    tables.append(pandas.DataFrame(table).assign(image=path.name))
objects = pandas.concat(tables)
inside = objects[objects["touches_edge"] == 0]
print(inside.groupby("image")["diameter_nm"].describe()[["count", "mean", "std", "50%"]].round(2))
