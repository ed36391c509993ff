# Which images there are and how korvane-batch is called for them.
import os
import sys

sys.path.insert(0, os.path.join(workflow.basedir, "scripts"))
import images as image_files
from snakemake.common import Mode

RESULTS = config["results"].rstrip("/")
LABELS = os.path.join(RESULTS, "labels")
LISTS = os.path.join(RESULTS, "lists")
PARTS = os.path.join(RESULTS, "parts")
TOOL = config["program"]
NUMBERS = range(1, config["parts"] + 1)

IMAGES = image_files.images_of(config["images"], config["recursive"], RESULTS)
if not IMAGES:
    raise WorkflowError(f"There are no TIFF files in {config['images']}")

def of_part(number):
    return [image for image in IMAGES if image_files.part_of(image.path, config["parts"]) == int(number)]

def option(name, key):
    return [name, str(config[key])] if config.get(key) is not None else []

SIZE = option("--pixel-size-if-missing", "pixel_size_if_missing_nm")
GIVEN = (["--recursive"] if config["recursive"] else []) + config["images"]
DETECT = SIZE + option("--parameters", "parameters_file") + config["detect"]
MEASURE = SIZE + config["measure"]
GROUP_TABLE = [config["groups"]] if config["groups"] not in ("none", "folder") else []
REPORT = SIZE + config["report"] + ([] if config["groups"] == "none" else ["--group-by", config["groups"]])

def options_text():
    parameters = ""
    if "parameters_file" in config:
        with open(config["parameters_file"]) as file:
            parameters = file.read()
    return f"{DETECT!r}\n{parameters}"

# Jobs of a run read this file too: they find what was written when it began.
if workflow.mode == Mode.default:
    for number in NUMBERS:
        image_files.write_if_changed(os.path.join(LISTS, f"{number}.txt"), image_files.listing(of_part(number), LABELS))
    image_files.write_if_changed(os.path.join(LISTS, "options.txt"), options_text())
    # Rows of images that are gone must go too.
    image_files.write_if_changed(os.path.join(LISTS, "all.txt"), "".join(f"{image.path!r}\n" for image in IMAGES))

# Every image has to be in exactly one part, with or without objects; else the merge fails and says which is not.
EXPECTED = (["--recursive"] if config["recursive"] else []) + [
    word for folder in config["images"] for word in ("--images", folder)]

def memory_mb(wildcards, attempt):
    return config["memory_mb"] * 2 ** (attempt - 1)

def minutes(wildcards, attempt):
    return config["minutes"] * 2 ** (attempt - 1)

def part_images(wildcards):
    return [(image.path, image.below) for image in of_part(wildcards.part)]

def shard(wildcards):
    return f"{wildcards.part}/{config['parts']}"

def folder_of_output(wildcards, output):
    return os.path.dirname(output[0])

def folders_of_parts(wildcards, input):
    return [os.path.dirname(part) for part in input.parts]
