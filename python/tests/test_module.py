"""The module beside the batch tool: the same bytes, numbers and messages."""
import ast
import csv
import gc
import inspect
import os
import pickle
import subprocess
import sys
import tempfile
import threading
import unittest

import numpy as np

import korvane

BATCH = os.environ["KORVANE_BATCH"]
SOURCE = os.environ["KORVANE_SOURCE"]
SAMPLES = [os.path.join(SOURCE, "samples", name)
           for name in ("vesicles_8bit.tif", "vesicles_16bit.tif", "vesicles_float.tif", "neighbours_16bit.tif")]


def batch(*arguments):
    return subprocess.run([BATCH, *arguments], capture_output=True, text=True)


def content(path):
    with open(path, "rb") as file:
        return file.read()


class WithFolder(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def path(self, *names):
        return os.path.join(self.folder, *names)


class SameAsBatch(WithFolder):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.results = folder.name
        done = batch("detect", "-o", cls.results, "--csv", os.path.join(cls.results, "objects.csv"), "--stages",
                     os.path.join(cls.results, "stages"), *SAMPLES)
        assert done.returncode == 0, done.stderr

    def labels_file(self, sample):
        return os.path.join(self.results, "seg_" + os.path.basename(sample))

    def test_detect_and_write_give_the_same_files(self):
        for sample in SAMPLES:
            image = korvane.read(sample)
            labels = korvane.detect(image.pixels, image.pixel_size_nm)
            korvane.write(self.path("seg.tif"), labels, like=image)
            self.assertEqual(content(self.path("seg.tif")), content(self.labels_file(sample)), sample)
            self.assertGreater(labels.max(), 3)

    def test_parameters_are_those_of_the_batch_tool(self):
        sample = SAMPLES[0]
        options = ["--area-fraction", "0.25", "--roundness", "0.5", "--min-diameter", "0.05", "--exosome-size", "1.25"]
        self.assertEqual(batch("detect", "-o", self.folder, "--pixel-size", "1.75", *options, sample).returncode, 0)
        image = korvane.read(sample)
        labels = korvane.detect(image.pixels, 1.75, area_fraction=0.25, roundness_threshold=0.5,
                                min_object_diameter_um=0.05, relative_exosome_size=1.25)
        expected = korvane.read_labels(self.path("seg_" + os.path.basename(sample))).pixels
        np.testing.assert_array_equal(labels, expected)

    def test_segment_gives_the_same_labels(self):
        sample = SAMPLES[1]
        image = korvane.read(sample)
        seeds = np.zeros(image.pixels.shape, np.uint16)
        detected = korvane.read_labels(self.labels_file(sample)).pixels
        for label in np.unique(detected)[1:]:
            y, x = (int(c.mean()) for c in np.nonzero(detected == label))
            seeds[y - 2:y + 3, x - 2:x + 3] = label
        name = self.path("seg_" + os.path.basename(sample))
        korvane.write(name, seeds, like=image)
        done = batch("segment", "-o", self.folder, "--overwrite", sample)
        self.assertEqual(done.returncode, 0, done.stderr)
        grown = korvane.segment(image.pixels, seeds, image.pixel_size_nm)
        np.testing.assert_array_equal(grown, korvane.read_labels(name).pixels)
        self.assertGreater(np.count_nonzero(grown), np.count_nonzero(seeds))

    def test_stages_are_the_files_of_the_stages(self):
        sample = SAMPLES[0]
        image = korvane.read(sample)
        maps = korvane.stages(image.pixels, image.pixel_size_nm)
        folder = os.path.join(self.results, "stages")
        self.assertEqual(list(maps), ["edges", "candidates", "filtered", "separated", "relief", "markers", "labels"])
        for name, array in maps.items():
            file = self.labels_file(sample) if name == "labels" else \
                os.path.join(folder, name + "_" + os.path.basename(sample))
            stored = korvane.read_labels(file).pixels
            self.assertEqual(array.dtype, stored.dtype, name)
            np.testing.assert_array_equal(array, stored, name)

    def test_measure_gives_the_numbers_of_the_table_of_objects(self):
        with open(os.path.join(self.results, "objects.csv"), newline="", encoding="utf-8") as file:
            rows = list(csv.DictReader(file))
        compared = 0
        for sample in SAMPLES:
            image = korvane.read(sample)
            labels = korvane.read_labels(self.labels_file(sample)).pixels
            table = korvane.measure(labels, image.pixels, pixel_size_nm=image.pixel_size_nm)
            of_image = [row for row in rows if row["image"] == sample]
            self.assertEqual(len(of_image), len(table["label"]))
            for name, values in table.items():
                for row, value in zip(of_image, values):
                    text = row[name]
                    if values.dtype.kind == "U":
                        self.assertEqual(value, text)
                    elif text == "":
                        self.assertTrue(np.isnan(value), name)
                    else:
                        decimals = len(text.partition(".")[2])
                        self.assertEqual(f"{value:.{decimals}f}", text, name)
                        compared += 1
        self.assertGreater(compared, 1000)

    def test_messages_are_those_of_the_batch_tool(self):
        with open(self.path("broken.tif"), "wb") as file:
            file.write(content(SAMPLES[0])[:5000])
        with self.assertRaises(korvane.FileError) as caught:
            korvane.read(self.path("broken.tif"))
        self.assertIn(str(caught.exception), batch("detect", "-o", self.folder, self.path("broken.tif")).stderr)
        image = korvane.read(SAMPLES[0])
        flat = np.full_like(image.pixels, 7)
        with self.assertRaises(korvane.Error) as caught:
            korvane.detect(flat, image.pixel_size_nm)
        korvane.write(self.path("flat.tif"), flat, like=image)
        self.assertIn(str(caught.exception), batch("detect", "-o", self.folder, self.path("flat.tif")).stderr)
        with self.assertRaises(ValueError) as caught:
            korvane.detect(image.pixels, image.pixel_size_nm, area_fraction=2)
        self.assertIn(str(caught.exception).split(": ", 1)[1],
                      batch("detect", "--area-fraction", "2", SAMPLES[0]).stderr)


class Arrays(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.image = korvane.read(SAMPLES[0])
        cls.labels = korvane.detect(cls.image.pixels, cls.image.pixel_size_nm)

    def test_any_layout_and_type_of_the_same_values_gives_the_same_labels(self):
        pixels = self.image.pixels
        wide = np.zeros((pixels.shape[0], 2 * pixels.shape[1]), pixels.dtype)
        wide[:, ::2] = pixels
        for array in (pixels.astype(np.float32), pixels.astype(np.uint16), np.asfortranarray(pixels), wide[:, ::2],
                      np.ascontiguousarray(pixels[::-1])[::-1], np.asfortranarray(pixels.astype(np.float32))):
            np.testing.assert_array_equal(korvane.detect(array, self.image.pixel_size_nm), self.labels)

    def test_the_other_order_of_bytes_gives_the_same(self):
        """Readers of TIFF files give the arrays of big-endian ones as they are stored."""
        size = self.image.pixel_size_nm
        for kind in (">u2", ">f4"):
            np.testing.assert_array_equal(korvane.detect(self.image.pixels.astype(kind), size), self.labels)
        swapped = korvane.measure(self.labels.astype(">u2"), self.image.pixels.astype(">f4"), pixel_size_nm=size)
        plain = korvane.measure(self.labels, self.image.pixels, pixel_size_nm=size)
        np.testing.assert_array_equal(swapped["rim_diameter_nm"], plain["rim_diameter_nm"])

    def test_inputs_are_not_changed_and_results_own_their_memory(self):
        floats = self.image.pixels.astype(np.float32)
        before = floats.copy()
        floats.flags.writeable = False
        labels = korvane.detect(floats, self.image.pixel_size_nm)
        np.testing.assert_array_equal(floats, before)
        kept = labels[10:20].copy()
        view = labels[10:20]
        del labels
        gc.collect()
        np.testing.assert_array_equal(view, kept)
        view[:] = 1  # a result can be changed

    def test_labels_of_other_whole_numbers_are_taken_where_they_fit(self):
        size = self.image.pixel_size_nm
        expected = korvane.measure(self.labels, pixel_size_nm=size)["area_nm2"]
        for kind in (np.int32, np.int64, np.uint32):
            np.testing.assert_array_equal(
                korvane.measure(self.labels.astype(kind), pixel_size_nm=size)["area_nm2"], expected)
        with self.assertRaisesRegex(ValueError, "0 to 65535, not 70000"):
            korvane.measure(self.labels.astype(np.int32) + 70000, pixel_size_nm=size)
        with self.assertRaisesRegex(ValueError, "0 to 65535, not 18446744073709551615"):
            korvane.measure(np.full((4, 4), 2**64 - 1, np.uint64), pixel_size_nm=size)
        with self.assertRaisesRegex(TypeError, "float64"):
            korvane.measure(self.labels.astype(float), pixel_size_nm=size)

    def test_refusals_are_short_and_name_the_argument(self):
        for given, text in ((self.image.pixels.tolist(), "image: it holds int64"), (None, "image: wanted are rows"),
                            ("x", "image: wanted are rows")):
            with self.assertRaises((TypeError, ValueError)) as caught:
                korvane.detect(given, 1.5)
            self.assertIn(text, str(caught.exception))
            self.assertLess(len(str(caught.exception)), 200)

    def test_pixel_sizes_are_numbers_or_pairs(self):
        expected = korvane.detect(self.image.pixels, (1.5, 1.5))
        for size in (1.5, [1.5, 1.5], np.array([1.5, 1.5]), np.float32(1.5), np.array(1.5)):
            np.testing.assert_array_equal(korvane.detect(self.image.pixels, size), expected)
        for size in (-1, float("nan"), float("inf"), (1, 2, 3), (1.5, -1), []):
            with self.assertRaisesRegex(ValueError, "pixel_size_nm: wanted is a number above 0"):
                korvane.measure(self.labels, pixel_size_nm=size)

    def test_numbers_of_threads_are_those_that_work(self):
        for count in (0, -1, 1025, 10**6, 2**40):
            with self.assertRaisesRegex(ValueError, "from 1 to 1024"):
                korvane.set_threads(count)
        with self.assertRaises(TypeError):
            korvane.set_threads(1.5)

    def test_what_is_no_image_is_refused(self):
        for array, error in ((self.image.pixels.astype(float), TypeError), (np.zeros((2, 3, 4), np.uint8), ValueError),
                             (np.zeros(5, np.uint8), ValueError), (np.zeros((5, 5), complex), TypeError)):
            with self.assertRaises(error):
                korvane.detect(array, 1.0)
        with self.assertRaises(korvane.Error):
            korvane.detect(np.zeros((0, 5), np.float32), 1.0)
        with self.assertRaises(korvane.Error):
            korvane.detect(self.image.pixels, None)
        with self.assertRaisesRegex(TypeError, "no parameter 'roundnes'"):
            korvane.detect(self.image.pixels, 1.0, roundnes=0.5)
        with self.assertRaises(korvane.Error):
            korvane.segment(self.image.pixels, self.labels[1:], 1.5)

    def test_without_an_image_what_needs_it_is_not_measured(self):
        size = self.image.pixel_size_nm
        whole = korvane.measure(self.labels, self.image.pixels, pixel_size_nm=size)
        alone = korvane.measure(self.labels, pixel_size_nm=size)
        self.assertEqual(list(alone), list(whole))
        for name in ("grey_mean", "grey_min", "grey_max", "rim_diameter_nm", "edge_diameter_nm", "contrast"):
            self.assertTrue(np.isnan(alone[name]).all(), name)
        for name in ("label", "area_nm2", "diameter_nm", "x_px", "roundness", "feret_max_nm"):
            np.testing.assert_array_equal(alone[name], whole[name], name)

    def test_curves_enclose_the_diameters_that_are_measured(self):
        size = self.image.pixel_size_nm
        table = korvane.measure(self.labels, self.image.pixels, pixel_size_nm=size)
        for curves, column in ((korvane.rim_curves, "rim_diameter_nm"), (korvane.edge_curves, "edge_diameter_nm")):
            found = curves(self.image.pixels, self.labels, size)
            self.assertEqual(set(found), set(table["label"][~np.isnan(table[column])].astype(int)))
            for label, diameter in zip(table["label"].astype(int), table[column]):
                if label in found:
                    x, y = found[label].T
                    area = abs(np.dot(x, np.roll(y, -1)) - np.dot(y, np.roll(x, -1))) / 2 * size[0] * size[1]
                    self.assertAlmostEqual(2 * np.sqrt(area / np.pi), diameter, delta=0.005 * diameter)

    def test_threads_are_those_of_the_task(self):
        program = "import korvane; print(korvane._korvane.usable_processors())"
        def usable(**variables):
            return int(subprocess.run([sys.executable, "-c", program], env={**os.environ, **variables}, check=True,
                                      capture_output=True, text=True).stdout)
        self.assertEqual(usable(SLURM_CPUS_PER_TASK="1"), 1)
        self.assertLessEqual(usable(SLURM_CPUS_PER_TASK="100000"), len(os.sched_getaffinity(0)))

    def test_threads_work_at_the_same_time(self):
        """The interpreter goes on while an image is worked on, and results do not depend on the number of threads."""
        self.addCleanup(korvane.set_threads, korvane._korvane.usable_processors())
        results, steps = [], 0
        for threads in (1, 3):
            korvane.set_threads(threads)
            workers = [threading.Thread(target=lambda: results.append(
                korvane.detect(self.image.pixels, self.image.pixel_size_nm))) for _ in range(2)]
            for worker in workers:
                worker.start()
            while any(worker.is_alive() for worker in workers):
                steps += 1
            for worker in workers:
                worker.join()
        self.assertEqual(len(results), 4)
        for labels in results:
            np.testing.assert_array_equal(labels, self.labels)
        self.assertGreater(steps, 100)

    def test_functions_can_be_sent_to_other_processes(self):
        self.assertIs(pickle.loads(pickle.dumps(korvane.detect)), korvane.detect)
        np.testing.assert_array_equal(pickle.loads(pickle.dumps(self.image)).pixels, self.image.pixels)


class Files(WithFolder):
    def test_write_then_read_is_identity(self):
        labels = np.arange(600, dtype=np.uint16).reshape(20, 30) * 100
        korvane.write(self.path("a.tif"), labels, (1.5, 2.5))
        image = korvane.read_labels(self.path("a.tif"))
        np.testing.assert_array_equal(image.pixels, labels)
        np.testing.assert_allclose(image.pixel_size_nm, (1.5, 2.5), rtol=1e-6)
        korvane.write(self.path("b.tif"), labels)
        self.assertIsNone(korvane.read(self.path("b.tif")).pixel_size_nm)

    def test_names_may_be_any(self):
        labels = np.ones((4, 4), np.uint16)
        for name in ("\u00fc \u4e2d.tif", b"\xff\xfe.tif"):
            path = os.path.join(os.fsencode(self.folder), os.fsencode(name))
            korvane.write(path, labels)
            np.testing.assert_array_equal(korvane.read(path).pixels, labels)

    def test_pages_and_names_that_cannot_be_are_refused(self):
        for page in (0, -1, 2**32, 2**70):
            with self.assertRaisesRegex(ValueError, "from 1, not"):
                korvane.read(SAMPLES[0], page)
        for page in (1.5, "1"):
            with self.assertRaises(TypeError):
                korvane.read(SAMPLES[0], page)
        np.testing.assert_array_equal(korvane.read(SAMPLES[0], np.int64(1)).pixels, korvane.read(SAMPLES[0]).pixels)
        for call in (korvane.read, korvane.read_labels, lambda path: korvane.write(path, np.ones((4, 4), np.uint16))):
            with self.assertRaisesRegex(ValueError, "zero byte"):
                call(self.path("a\0b.tif"))
        self.assertEqual(os.listdir(self.folder), [])

    def test_failures_name_the_file(self):
        with self.assertRaisesRegex(korvane.FileError, "none.tif"):
            korvane.read(self.path("none.tif"))
        with self.assertRaisesRegex(korvane.FileError, "a.tif"):
            korvane.write(self.path("none", "a.tif"), np.ones((4, 4), np.uint16))

    def test_parameters_files_are_read(self):
        with open(self.path("p.json"), "w", encoding="utf-8") as file:
            file.write('{"areaFraction": 0.3, "comment": "x"}')
        self.assertEqual(korvane.read_parameters(self.path("p.json")), korvane.default_parameters() | {"area_fraction": 0.3})
        with self.assertRaisesRegex(korvane.Error, "none.json"):
            korvane.read_parameters(self.path("none.json"))


class Texts(unittest.TestCase):
    def test_stubs_name_what_the_module_has(self):
        with open(os.path.join(os.path.dirname(korvane.__file__), "__init__.pyi"), encoding="utf-8") as file:
            tree = ast.parse(file.read())
        functions = {node.name: node.args for node in tree.body if isinstance(node, ast.FunctionDef)}
        classes = {node.name: node for node in tree.body if isinstance(node, ast.ClassDef)}
        self.assertEqual(sorted([*functions, *classes]), sorted(korvane.__all__))
        for name, arguments in functions.items():
            said = [a.arg for a in arguments.posonlyargs + arguments.args]
            said += [a.arg for a in (arguments.vararg,) if a] + [a.arg for a in arguments.kwonlyargs]
            said += [a.arg for a in (arguments.kwarg,) if a]
            signature = inspect.signature(getattr(korvane, name))
            self.assertEqual(said, list(signature.parameters), name)
            optional = sum(p.default is not p.empty for p in signature.parameters.values())
            self.assertEqual(len(arguments.defaults) + sum(d is not None for d in arguments.kw_defaults), optional, name)
        fields = [node.target.id for node in classes["Image"].body if isinstance(node, ast.AnnAssign)]
        self.assertEqual(tuple(fields), korvane.Image._fields)

    def test_everything_has_its_help(self):
        for name in korvane.__all__:
            self.assertTrue(getattr(korvane, name).__doc__, name)
        self.assertIn("korvane.detect(image.pixels", korvane.__doc__)

    def test_the_version_is_that_of_the_batch_tool(self):
        self.assertEqual("korvane-batch " + korvane.__version__, batch("--version").stdout.strip())


if __name__ == "__main__":
    unittest.main()
