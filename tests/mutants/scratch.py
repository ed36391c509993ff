"""A copy of the tree that changes are made in, with a build folder of its own."""
import collections
import hashlib
import json
import os
import re
import resource
import shutil
import signal
import subprocess
import threading
import time

import modules

Suite = collections.namedtuple("Suite", "name program command filter label")

BUILD_SECONDS = 3600
MEMORY_LIMIT = 8 << 30
FILE_LIMIT = 4 << 30
COMPILER_ERROR = re.compile(r"\berror: |undefined reference|internal compiler error|\bKilled\b")


RUNNING = set()  # sessions


def stop_all():
    for session in list(RUNNING):
        stop(session)


def stop(session):
    """Ends the processes of a session; ninja gives each compiler a group of its own."""
    for pid, _ in processes_of(session):
        try:
            os.kill(pid, signal.SIGKILL)
        except ProcessLookupError:
            pass


def processes_of(session):
    for entry in os.listdir("/proc"):
        if entry.isdigit():
            try:
                fields = open(f"/proc/{entry}/stat").read().rsplit(")", 1)[1].split()
            except OSError:
                continue
            if int(fields[3]) == session:
                yield int(entry), fields


def run_limited(command, cwd, cpu_seconds, wall_seconds, environment, output):
    """Runs a command in a session of its own: (its status, or None at a time limit, and its CPU seconds).

    The wall clock counts only while nothing goes on: on a busy machine a process may wait long for the processor, and
    its CPU limit ends it.
    """
    def limits():
        # Tests of the signal would fail where it was ignored, as it is of what goes on without its terminal.
        signal.signal(signal.SIGHUP, signal.SIG_DFL)
        # Where the kernel shares the processors among sessions, niceness counts within one only.
        try:
            with open("/proc/self/autogroup", "w") as group:
                group.write("19")
        except OSError:
            pass
        resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
        # Tests set these two themselves, and back.
        resource.setrlimit(resource.RLIMIT_AS, (MEMORY_LIMIT, resource.getrlimit(resource.RLIMIT_AS)[1]))
        resource.setrlimit(resource.RLIMIT_FSIZE, (FILE_LIMIT, resource.getrlimit(resource.RLIMIT_FSIZE)[1]))
        resource.setrlimit(resource.RLIMIT_CPU, (cpu_seconds, cpu_seconds + 5))

    process = subprocess.Popen(command, cwd=cwd, env=environment, stdin=subprocess.DEVNULL, stdout=output,
                               stderr=subprocess.STDOUT, start_new_session=True, preexec_fn=limits)
    RUNNING.add(process.pid)
    end = time.monotonic() + wall_seconds
    limit_reached, before = False, None
    try:
        while True:
            pid, status, used = os.wait4(process.pid, os.WNOHANG)
            if pid != 0:
                break
            if time.monotonic() > end:
                now = ticks_of(process.pid)
                if now is None or now != before:
                    before, end = now, time.monotonic() + 20
                else:
                    limit_reached = True
                    stop(process.pid)
            time.sleep(0.05)
    finally:
        RUNNING.discard(process.pid)
        stop(process.pid)
    process.returncode = os.waitstatus_to_exitcode(status)
    seconds = used.ru_utime + used.ru_stime
    if limit_reached or process.returncode == -signal.SIGXCPU:
        return None, seconds
    return process.returncode, seconds


def ticks_of(session):
    """The processor time of a session's processes so far; None while one of them could run."""
    ticks = 0
    for _, fields in processes_of(session):
        if fields[0] in "RD":
            return None
        ticks += int(fields[11]) + int(fields[12])
    return ticks


class Timing:
    """What each suite takes without a change, measured once for each program and shared by all copies."""

    def __init__(self, path):
        self.path = path
        self.lock = threading.Lock()
        self.programs = json.load(open(path)) if os.path.exists(path) else {}

    def keep(self, program, suite, known):
        with self.lock:
            self.programs.setdefault(program, {})[suite] = known
            with open(self.path + ".new", "w") as file:
                json.dump(self.programs, file, indent=1)
            os.replace(self.path + ".new", self.path)


class Scratch:
    def __init__(self, tree, source, timing, data, given, log):
        self.tree, self.source, self.timing, self.log = tree, source, timing, log
        self.build = os.path.join(source, "build", "dev")
        self.temporary, self.build_log, self.test_log = source + ".tmp", source + ".build.log", source + ".test.log"
        self.environment = dict(os.environ, TMPDIR=self.temporary)
        self.measured = set()
        os.makedirs(self.source, exist_ok=True)
        self.clear_temporary()
        self.copy_tree()
        self.configure(data, given)

    def clear_temporary(self):
        subprocess.run(["chmod", "-R", "u+rwX", self.temporary], stderr=subprocess.DEVNULL)
        shutil.rmtree(self.temporary, ignore_errors=True)
        os.makedirs(self.temporary, exist_ok=True)

    def copy_tree(self):
        """Files that are the same keep their time, so that they are not compiled again."""
        listing = subprocess.check_output(["git", "ls-files", "-z", "-co", "--exclude-standard"], cwd=self.tree)
        files = [f for f in listing.decode().split("\0") if f and os.path.isfile(os.path.join(self.tree, f))]
        for file in files:
            target = os.path.join(self.source, file)
            content = open(os.path.join(self.tree, file), "rb").read()
            if not os.path.exists(target) or open(target, "rb").read() != content:
                os.makedirs(os.path.dirname(target), exist_ok=True)
                open(target, "wb").write(content)
            shutil.copymode(os.path.join(self.tree, file), target)
        known = set(files)
        for path, folders, names in os.walk(self.source):
            if path == self.source and "build" in folders:
                folders.remove("build")
            for name in names:
                if os.path.relpath(os.path.join(path, name), self.source) not in known:
                    os.remove(os.path.join(path, name))

    def configure(self, data, given):
        # Optimised a little and without debug information: the fastest to build and run. Warnings are no errors, or the
        # compiler would turn away changes that only tests should notice.
        flags, errors = ("-O1 -g1", "ON") if given.like_dev else ("-O1", "OFF")
        command = ["cmake", "-G", "Ninja", "-S", self.source, "-B", self.build, "-DCMAKE_BUILD_TYPE=Debug",
                   f"-DCMAKE_CXX_FLAGS_DEBUG={flags} -D_GLIBCXX_ASSERTIONS", "-DKORVANE_ASSERTIONS=ON",
                   f"-DKORVANE_WERROR={errors}", f"-DKORVANE_TEST_DATA={data}"]
        if given.linker:
            command.append(f"-DCMAKE_EXE_LINKER_FLAGS=-fuse-ld={given.linker}")
        if shutil.which("ccache"):
            command.append("-DCMAKE_CXX_COMPILER_LAUNCHER=ccache")
        subprocess.run(command, check=True, stdout=subprocess.DEVNULL)

    # ---- building

    def steps_to(self, program):
        """How much there is to do until a program is built."""
        listing = subprocess.run(["ninja", "-C", self.build, "-n", program], capture_output=True, text=True).stdout
        counts = re.findall(r"^\[\d+/(\d+)\]", listing, flags=re.M)
        return int(counts[0]) if counts else 0

    def make(self, program, changed):
        """None if it is built, otherwise the outcome."""
        # Objects of a change are never needed again; those of the tree are.
        environment = dict(self.environment, CCACHE_READONLY="1") if changed else self.environment
        with open(self.build_log, "w") as output:
            status, _ = run_limited(["ninja", "-C", self.build, "-j1", program], self.temporary, 1200, BUILD_SECONDS,
                                    environment, output)
        if status == 0:
            return None
        text = open(self.build_log, errors="replace").read()
        if status is not None and COMPILER_ERROR.search(text):
            return "compiler", first_error(text.replace(self.source + "/", ""))
        if status is not None and "CMake Error" not in text:
            raise RuntimeError(f"{program} is not built, see {self.build_log}")
        return ("time limit" if status is None else "test"), program + " does not list its tests"

    # ---- running

    def suites(self, program):
        for path, _, names in os.walk(os.path.join(self.build, "tests")):
            if program + "_suites.cmake" in names:
                text = open(os.path.join(path, program + "_suites.cmake")).read()
                break
        else:
            raise RuntimeError(f"{program} has no list of suites")
        found = []
        entry = r"add_test\(\[==\[(.*?)\]==\](.*?)\)\nset_tests_properties.*?LABELS (\w+)"
        for name, words, label in re.findall(entry, text):
            *command, wanted = re.findall(r"\[==\[(.*?)\]==\]", words)
            found.append(Suite(name, program, command, wanted.replace("--gtest_filter=", ""), label))
        return found

    def run(self, suites, cpu_seconds):
        """Runs suites of one program: (None or the outcome, CPU seconds)."""
        command = suites[0].command + ["--gtest_fail_fast", "--gtest_filter=" + ":".join(s.filter for s in suites)]
        with open(self.test_log, "w") as output:
            status, seconds = run_limited(command, self.temporary, int(10 + 6 * cpu_seconds), 180 + 20 * cpu_seconds,
                                          self.environment, output)
        self.clear_temporary()
        if status == 0:
            return None, seconds
        failed = re.findall(r"^\[  FAILED  \] ([\w/.]+)", open(self.test_log, errors="replace").read(), flags=re.M)
        by = failed[0] if failed else suites[0].program + (" ends early" if status is not None else "")
        return ("time limit" if status is None else "test", by), seconds

    def measure(self, program):
        """Builds a program without a change, and runs its suites once."""
        if program in self.measured:
            return
        if self.make(program, changed=False):
            raise RuntimeError(f"{program} cannot be built without a change, see {self.build_log}")
        self.measured.add(program)
        files = [open(path).read() for path in self.test_sources(program)]
        known = self.timing.programs.get(program, {})
        for suite in self.suites(program):
            name = suite.name.split(".")[1]
            content = "".join(sorted(f for f in files if re.search(rf"\b{name}\b", f)))
            digest = hashlib.sha256(content.encode()).hexdigest()
            if known.get(suite.name, {}).get("digest") == digest:
                continue
            outcome, seconds = self.run([suite], 600)
            if outcome:
                self.log(f"{suite.name} fails without a change and is left out: {outcome[1]}")
            self.timing.keep(program, suite.name, {"digest": digest, "seconds": None if outcome else round(seconds, 2)})

    def test_sources(self, program):
        """The sources in the folder that makes the program."""
        for path, _, names in os.walk(os.path.join(self.source, "tests")):
            text = open(os.path.join(path, "CMakeLists.txt")).read() if "CMakeLists.txt" in names else ""
            if re.search(rf"\((?:TARGET )?{program}\b", text):
                return [os.path.join(path, name) for name in names if name.endswith(".cpp")]
        return []

    def groups(self, program, file, before):
        """Suites to run together: that of the test `before`, if any, those that are named like the file, then the quick
        ones, then the long ones."""
        taken = {name: known["seconds"] for name, known in self.timing.programs[program].items()}
        usable = [s for s in self.suites(program) if taken.get(s.name) is not None]
        words = set(words_of(os.path.splitext(os.path.basename(file))[0]))
        close = lambda s: len(words & set(words_of(s.name.split(".")[1]))) >= min(2, len(words))
        is_before = lambda s: s.name.split(".")[1] == before.split(".")[0]
        near = sorted((s for s in usable if close(s) or is_before(s)), key=lambda s: (not is_before(s), taken[s.name]))
        quick = [s for s in usable if s not in near and s.label == "quick"]
        rest = sorted((s for s in usable if s not in near and s.label != "quick"), key=lambda s: taken[s.name])
        groups = [[s] for s in near] + ([quick] if quick else []) + [[s] for s in rest]
        # Each suite of a window program needs a display of its own.
        if usable and len(usable[0].command) > 1:
            groups = [[s] for group in groups for s in group]
        return [(group, sum(taken[s.name] for s in group)) for group in groups]

    def try_change(self, change, programs, before=""):
        """(outcome, what noticed it); `before`: the test that noticed it before."""
        for program in programs:
            self.measure(program)
        path = os.path.join(self.source, change.file)
        original = open(path).read()
        with open(path, "w") as file:
            file.write(original[:change.start] + change.text + original[change.end:])
        try:
            for program in sorted(programs, key=self.steps_to):
                outcome = self.make(program, changed=True)
                if outcome:
                    return outcome
                for suites, seconds in self.groups(program, change.file, before):
                    outcome, _ = self.run(suites, seconds)
                    if outcome and program in modules.TRIED_TWICE:
                        outcome, _ = self.run(suites, seconds)
                    if outcome:
                        return outcome
            return "survived", ""
        finally:
            with open(path, "w") as file:
                file.write(original)


def words_of(name):
    return re.findall(r"[A-Z][a-z0-9]*|[a-z0-9]+", name)


def first_error(text):
    return next((line.strip()[-160:] for line in text.split("\n") if COMPILER_ERROR.search(line)), "")
