"""The shipped modules and the test programs that must notice a change in them."""

# The first folder that a file lies in counts. A program's suites are those that ctest knows. The Python module is left
# out: it converts arrays and calls the libraries below, its tests are no such program, and building it asks for Python's
# headers.
MODULES = [
    ("toolkit", "toolkit", [
        ("toolkit/files/", ["toolkit_tests", "fuzz_replay_tests", "faults_tests"]),
        ("toolkit/", ["toolkit_tests"]),
    ]),
    ("level_sweep", "detection/level_sweep", [("", ["level_sweep_tests", "detection_tests"])]),
    ("detection", "detection", [
        ("detection/support/", ["detection_tests", "segmentation_tests", "samples_tests"]),
        ("", ["detection_tests", "segmentation_tests", "samples_tests"]),
    ]),
    ("annotations", "annotations", [("", ["annotations_tests"])]),
    ("figures", "figures", [("", ["figures_tests"])]),
    ("segmentation", "segmentation", [("", ["segmentation_tests"])]),
    ("measurement", "measurement", [("", ["measurement_tests"])]),
    ("evaluation", "evaluation", [("", ["evaluation_tests"])]),
    ("documents", "documents", [("", ["documents_tests", "faults_tests", "fuzz_replay_tests"])]),
    ("report", "report", [("", ["report_tests"])]),
    ("view", "view", [
        ("view/SingleImageCanvas", ["gui_tests"]),
        ("view/OverlayDrawing", ["gui_tests"]),
        ("view/CanvasOwner", ["gui_tests"]),
        ("", ["view_tests"]),
    ]),
    ("app", "app", [("", ["gui_tests", "gui_end_to_end_tests"])]),
    ("batch", "batch", [("", ["batch_tests"])]),
]

# Their tests share a display with a window manager: on a busy machine one may fail by chance, and counts when it fails
# again.
TRIED_TWICE = ["gui_tests", "gui_end_to_end_tests"]


def module_of(file):
    """The module that a file belongs to: that of the longest folder."""
    fitting = [(len(folder), name) for name, folder, _ in MODULES if file.startswith(folder + "/")]
    return max(fitting)[1] if fitting else None


def programs_for(file):
    name = module_of(file)
    for module, _, rules in MODULES:
        if module == name:
            return next(programs for prefix, programs in rules if file.startswith(prefix))
    return []


def is_tried_twice(file):
    return any(program in TRIED_TWICE for program in programs_for(file))


def all_programs():
    return list(dict.fromkeys(p for _, _, rules in MODULES for _, programs in rules for p in programs))
