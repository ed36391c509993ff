# Which images there are and how korvane-batch is called for them.
import os
import shlex
import subprocess
import sys

sys.path.insert(0, os.path.join(workflow.basedir, "scripts"))
import images as image_files
from snakemake.common import Mode

RESULTS = os.path.normpath(config["results"])
LABELS = os.path.join(RESULTS, "labels")
LISTS = os.path.join(RESULTS, "lists")
PARTS = os.path.join(RESULTS, "parts")
TOOL = config["program"]
NUMBERS = range(1, config["parts"] + 1)

def option(name, key):
    return [name, str(config[key])] if config.get(key) is not None else []

SIZE = option("--pixel-size-if-missing", "pixel_size_if_missing_nm")
EXCLUDED = [word for pattern in config["exclude"] for word in ("--exclude", pattern)]
CHOICE = (["--recursive"] if config["recursive"] else []) + EXCLUDED
GIVEN = CHOICE + config["images"]
DETECT = SIZE + option("--parameters", "parameters_file") + config["detect"]
MEASURE = SIZE + config["measure"]
GROUP_TABLE = [config["groups"]] if config["groups"] not in ("none", "folder") else []
REPORT = SIZE + config["report"] + ([] if config["groups"] == "none" else ["--group-by", config["groups"]])

def require_file(key):
    # Where the results are there already, Snakemake passes over what has gone that they were made from.
    if not os.path.isfile(config[key]):
        raise WorkflowError(f"There is no file {config[key]!r}, which the key {key} of the configuration names.")

if GROUP_TABLE:
    require_file("groups")
if "parameters_file" in config:
    require_file("parameters_file")

def version_text():
    # Of a container the image tells; the tool need not be outside.
    in_container = workflow.use_singularity
    if in_container:
        return f"{config['container']!r} {image_files.state(config['container'])!r}\n"
    try:
        return subprocess.run([TOOL, "--version"], check=True, capture_output=True, text=True).stdout
    except (OSError, subprocess.CalledProcessError) as error:
        raise WorkflowError(f"The batch tool cannot be run: {error}. The key program of the configuration names it.")

def options_text():
    parameters = ""
    if "parameters_file" in config:
        with open(config["parameters_file"]) as file:
            parameters = file.read()
    # Rows of two versions of the program are not merged.
    return f"{DETECT!r}\n{parameters}\n{version_text()}"

# Jobs of a run read this file too: they find what was written when it began, and do not walk the folders again.
if workflow.mode == Mode.default:
    try:
        IMAGES = image_files.images_of(config["images"], config["recursive"], RESULTS, config["exclude"])
    except OSError as error:
        raise WorkflowError(f"The folder {error.filename!r} cannot be read: {error.strerror}.")
    if not IMAGES:
        raise WorkflowError(f"There are no TIFF files in {config['images']}")
    for number, images in image_files.parts_of(IMAGES, config["parts"]).items():
        image_files.write_if_changed(os.path.join(LISTS, f"{number}.txt"), image_files.listing(images, LABELS))
    image_files.write_if_changed(os.path.join(LISTS, "options.txt"), options_text())
    # Tables and parts of a report name images by their full paths: they are made again where the folders were moved.
    places = "".join(f"{os.path.abspath(folder)!r}\n" for folder in config["images"])
    image_files.write_if_changed(os.path.join(LISTS, "places.txt"), places)
    # Rows of images that are gone must go too.
    image_files.write_if_changed(os.path.join(LISTS, "all.txt"), "".join(f"{image.path!r}\n" for image in IMAGES))

# Every image has to be in exactly one part, with or without objects; else the merge fails and says which is not.
EXPECTED = CHOICE + [word for folder in config["images"] for word in ("--images", folder)]

def memory_mb(wildcards, attempt):
    return config["memory_mb"] * 2 ** (attempt - 1)

def minutes(wildcards, attempt):
    return config["minutes"] * 2 ** (attempt - 1)

def shard(wildcards):
    return f"{wildcards.part}/{config['parts']}"

def folder_of_output(wildcards, output):
    return os.path.dirname(output[0])

# The files of all parts, for the shell to spell out: as words of the command they would make it longer than a command
# may be.
def of_all_parts(before, behind):
    quoted = shlex.quote(os.path.join(PARTS, before))
    return f"{quoted}{{1..{config['parts']}}}{behind}"
