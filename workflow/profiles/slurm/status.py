#!/usr/bin/env python3
"""status.py JOB: running, success or failed, as Snakemake asks for it. Asks the accounting where there is one, and the
controller, which forgets a job some minutes after its end, where there is none."""
import re
import subprocess
import sys

RUNNING = ("PENDING", "CONFIGURING", "COMPLETING", "RUNNING", "SUSPENDED", "PREEMPTED", "REQUEUED", "REQUEUE_HOLD",
           "REQUEUE_FED", "RESIZING", "STAGE_OUT", "SIGNALING", "STOPPED")


def answer(*command):
    result = subprocess.run(command, capture_output=True, text=True)
    return result.stdout if result.returncode == 0 else ""


def state(job):
    found = re.search(r"\bJobState=(\w+)", answer("scontrol", "show", "job", "-o", job))
    if found:
        return found.group(1)
    words = answer("sacct", "-j", job, "-n", "-X", "-P", "-o", "State").split()
    return words[0] if words else ""


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
