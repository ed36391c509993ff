#!/usr/bin/env python3
"""detect.py LISTING OPTIONS LABELS OUTPUT COMMAND...: detects in the images of one part.

Puts aside the labels below LABELS that do not fit the images of LISTING or the file OPTIONS any more, runs COMMAND, and
writes down the state of image and labels, in LISTING too, so that what this run made does not look changed to the next.
"""
import os
import subprocess
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import images as image_files  # noqa: E402


def main():
    sys.stdout.reconfigure(errors="surrogateescape")  # names may be any bytes
    listing, options, labels, output, *command = sys.argv[1:]
    images = image_files.listed(listing)
    for sentence in image_files.put_aside_stale(images, labels, os.stat(options).st_mtime_ns):
        print(sentence, flush=True)
    status = subprocess.call(command)
    if status != 0:
        sys.exit(f"{command[0]} ended with status {status}")
    text = image_files.listing(images, labels)
    image_files.write_if_changed(listing, text)
    with open(output, "w") as file:
        file.write(text)
    # Not older than what it depends on.
    os.utime(output, ns=(max(os.stat(listing).st_mtime_ns, os.stat(output).st_mtime_ns),) * 2)


if __name__ == "__main__":
    main()
