"""Which images there are, which part each belongs to, and which labels have to be made again.

The rules are those of korvane-batch: a folder stands for its TIFF files but for names that begin with a dot and products
of earlier runs, links to folders are not followed, and an image's part follows from its path.
"""
import fnmatch
import hashlib
import json
import os
import re

# What the programs' products begin with; a picture of such a name is not analysed.
PRODUCTS = ("seg_", "export_", "calibrated_", "compare_", "candidates_", "edges_", "filtered_", "separated_", "relief_",
            "markers_", "marks_")
RECORD = "korvane-record.jsonl"


class Image:
    """`path` as it was found, `below` its folder below the one that was given."""

    def __init__(self, path, below):
        self.path, self.below = path, below

    def labels(self, folder):
        return os.path.join(folder, self.below, "seg_" + os.path.basename(self.path))


def is_image(name):
    return name.lower().endswith((".tif", ".tiff")) and not name.startswith((".",) + PRODUCTS)


def images_of(folders, recursive, results, exclude=()):
    """All images whose names match none of the patterns `exclude`, sorted by path. Raises OSError for a folder that cannot be read."""
    found = []
    results = os.path.realpath(results)

    def enter(folder, below):
        with os.scandir(folder) as entries:
            for entry in entries:
                if entry.is_dir(follow_symlinks=False):
                    inner = not entry.name.startswith(".") and os.path.realpath(entry.path) != results
                    if recursive and inner:
                        enter(entry.path, os.path.join(below, entry.name))
                elif (is_image(entry.name) and not os.path.isdir(entry.path) and
                      not any(fnmatch.fnmatchcase(entry.name, pattern) for pattern in exclude)):
                    found.append(Image(entry.path, below))

    for folder in folders:
        enter(folder, "")
    return sorted(found, key=lambda image: image.path)


def path_key(path):
    """64-bit FNV-1a (Fowler, Noll, Vo) of the path without ".", "..", and doubled separators, halves combined."""
    plain = os.path.normpath(path)
    if plain.startswith("//"):
        plain = plain[1:]
    key = 0xCBF29CE484222325
    for byte in os.fsencode(plain):
        key = (key ^ byte) * 0x100000001B3 & 0xFFFFFFFFFFFFFFFF
    return key ^ key >> 32


def parts_of(images, parts):
    """Number from 1 -> the images that `korvane-batch --shard NUMBER/PARTS` works on."""
    found = {number: [] for number in range(1, parts + 1)}
    for image in images:
        found[path_key(image.path) % parts + 1].append(image)
    return found


def state(path):
    """Size and time of a file, or none where there is no file."""
    try:
        status = os.stat(path)
    except OSError:
        return None
    return status.st_size, status.st_mtime_ns


def listing(images, labels):
    """A line for each image: its path, its folder below the one that was given, size and time of it and its labels."""
    return "".join(json.dumps([image.path, image.below, state(image.path), state(image.labels(labels))]) + "\n"
                   for image in images)


def listed(path):
    """The images of a file that `listing` made."""
    with open(path) as file:
        return [Image(*json.loads(line)[:2]) for line in file]


def write_if_changed(path, text):
    """Keeps the file, and with it its time, where it holds the text already."""
    try:
        with open(path) as file:
            if file.read() == text:
                return
    except OSError:
        pass
    os.makedirs(os.path.dirname(path) or ".", exist_ok=True)
    # Another run may do the same at the same moment.
    temporary = f"{path}.{os.getpid()}"
    with open(temporary, "w") as file:
        file.write(text)
    os.replace(temporary, path)


def file_name(recorded):
    """The name of a file as Python has it. Records are text: a byte that is no UTF-8 stands in them as the character
    U+100000 + byte."""
    return re.sub("[\U00100080-\U001000ff]", lambda byte: chr(ord(byte[0]) - 0x100000 + 0xDC00), recorded)


def records(folder):
    """Name of each label file -> the last entry about it in the folder's record."""
    found = {}
    try:
        with open(os.path.join(folder, RECORD), encoding="utf-8", errors="replace") as file:
            for line in file:
                try:
                    entry = json.loads(line)
                    found[file_name(entry["labels"])] = entry
                except (ValueError, KeyError, TypeError):
                    continue  # a line that was cut off
    except OSError:
        pass
    return found


def is_as_recorded(path, recorded):
    """Whether a file is the one that a record tells of. Its bytes are read only where its time does not settle it."""
    now = state(path)
    if now is None or now[0] != recorded["bytes"]:
        return False
    if now[1] == recorded["modifiedNs"]:
        return True
    with open(path, "rb") as file:
        return hashlib.sha256(file.read()).hexdigest() == recorded["sha256"]


def free_name(path):
    """The path, or with 2, 3 ... behind it where that is taken."""
    name, number = path, 1
    while os.path.lexists(name):
        number += 1
        name = path + str(number)
    return name


def put_aside_stale(images, labels, settings_time):
    """Renames labels to NAME.bak that do not fit their image or the settings any more, so that they are made again.
    Labels that were corrected by hand stay as long as their image is the same. Returns sentences about what was done.

    `settings_time`: when the options of detection were changed, in ns.
    """
    said, known = [], {}
    for image in images:
        path = image.labels(labels)
        if state(path) is None:
            continue
        folder, name = os.path.split(path)
        if folder not in known:
            known[folder] = records(folder)
        entry = known[folder].get(name)
        if entry is None or "input" not in entry or "output" not in entry:
            said.append(f"{path}: kept, there is no record of how it was made")
            continue
        same_image = is_as_recorded(image.path, entry["input"])
        as_made = is_as_recorded(path, entry["output"])
        if same_image and (not as_made or entry["output"]["modifiedNs"] >= settings_time):
            if not as_made:
                said.append(f"{path}: kept, it was corrected by hand")
            continue
        os.rename(path, free_name(path + ".bak"))
        said.append(f"{path}: made again, " + ("the options were changed" if same_image else "the image was changed"))
    return said
