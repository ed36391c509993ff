"""Detects in the images of one part, and writes down the state of their labels. Run by the rule `detect`."""
import os
import subprocess
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import images as image_files  # noqa: E402

job = snakemake  # noqa: F821 (given by the engine)
of_part = [image_files.Image(path, below) for path, below in job.params.images]
settings_time = os.stat(job.input.options).st_mtime_ns
with open(job.log[0], "w") as log:
    for sentence in image_files.put_aside_stale(of_part, job.params.labels, settings_time):
        print(sentence, file=log, flush=True)
    status = subprocess.call(
        [job.params.tool, "detect", *job.params.arguments, "--shard", job.params.shard, "--threads", str(job.threads),
         *job.params.given], stdout=log, stderr=subprocess.STDOUT)
if status != 0:
    with open(job.log[0]) as log:
        sys.stderr.write(log.read()[-4000:])
    sys.exit(f"korvane-batch ended with status {status}; see {job.log[0]}")
# So that labels that this run made do not look like changed ones to the next run.
image_files.write_if_changed(job.input.listing, image_files.listing(of_part, job.params.labels))
listing = os.stat(job.input.listing).st_mtime_ns
with open(job.output[0], "w") as file:
    file.write(image_files.listing(of_part, job.params.labels))
os.utime(job.output[0], ns=(max(listing, os.stat(job.output[0]).st_mtime_ns),) * 2)
