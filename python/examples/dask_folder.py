#!/usr/bin/python3
"""The images of a folder, several at a time: dask_folder.py FOLDER OUTPUT"""
import pathlib
import sys

import dask

import korvane


@dask.delayed
def analyse(path, output):
    image = korvane.read(path)
    labels = korvane.detect(image.pixels, image.pixel_size_nm)
    korvane.write(output / ("seg_" + path.name), labels, like=image)
    return path.name, len(korvane.measure(labels, pixel_size_nm=image.pixel_size_nm)["label"])


if __name__ == "__main__":
    folder, output = (pathlib.Path(argument) for argument in sys.argv[1:])
    korvane.set_threads(1)  # dask runs one image on each processor
    tasks = [analyse(path, output) for path in sorted(folder.glob("*.tif"))]
    for name, count in dask.compute(*tasks, scheduler="threads"):
        print(f"{name}: {count} objects")
