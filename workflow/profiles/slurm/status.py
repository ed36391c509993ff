#!/usr/bin/env python3
"""status.py JOB: running, success or failed, as Snakemake asks for it. Asks the accounting where there is one, and the
controller, which forgets a job some minutes after its end, where there is none."""
import re
import subprocess
import sys

RUNNING = ("PENDING", "CONFIGURING", "COMPLETING", "RUNNING", "SUSPENDED", "PREEMPTED", "REQUEUED", "REQUEUE_HOLD",
           "REQUEUE_FED", "RESIZING", "STAGE_OUT", "SIGNALING", "STOPPED")


def run(*command):
    return subprocess.run(command, capture_output=True, text=True)


def state(job):
    told = run("scontrol", "show", "job", "-o", job)
    found = re.search(r"\bJobState=(\w+)", told.stdout)
    if found:
        return found.group(1)
    try:
        words = run("sacct", "-j", job, "-n", "-X", "-P", "-o", "State").stdout.split()
    except FileNotFoundError:
        words = []
    if words:
        return words[0]
    # Forgotten by all: how it ended is not known, and the workflow tries it again.
    return "UNKNOWN" if "Invalid job id" in told.stderr else ""


def main():
    job = sys.argv[1].split(";")[0]
    found = state(job)
    if found == "COMPLETED":
        print("success")
    elif found in RUNNING or not found:
        print("running")  # also while the controller does not answer
    else:
        print("failed")


if __name__ == "__main__":
    main()
