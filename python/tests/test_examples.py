"""The examples run and print what they say."""
import importlib.util
import os
import subprocess
import sys
import tempfile
import unittest

EXAMPLES = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "examples")
SAMPLES = os.path.join(os.environ["KORVANE_SOURCE"], "samples")


class Examples(unittest.TestCase):
    def run_example(self, name, package, *arguments):
        if importlib.util.find_spec(package) is None:
            self.skipTest(f"Python's {package} is not installed")
        done = subprocess.run([sys.executable, os.path.join(EXAMPLES, name), *arguments], capture_output=True, text=True)
        self.assertEqual(done.returncode, 0, done.stderr)
        return done.stdout

    def test_scikit_image_measures_the_labels(self):
        printed = self.run_example("skimage_texture.py", "skimage", os.path.join(SAMPLES, "vesicles_8bit.tif"))
        lines = printed.splitlines()
        self.assertEqual(lines[0].split(), ["label", "diameter_nm", "eccentricity", "entropy"])
        self.assertGreater(len(lines), 5)
        for line in lines[1:]:
            label, diameter, eccentricity, entropy = (float(field) for field in line.split())
            self.assertTrue(10 < diameter < 500 and 0 <= eccentricity < 1 and 0 < entropy < 8, line)

    def test_pandas_groups_the_objects(self):
        printed = self.run_example("pandas_summary.py", "pandas", SAMPLES)
        for name in ("vesicles_8bit.tif", "vesicles_16bit.tif", "vesicles_float.tif", "neighbours_16bit.tif"):
            self.assertIn(name, printed)

    def test_dask_analyses_a_folder(self):
        with tempfile.TemporaryDirectory() as folder:
            printed = self.run_example("dask_folder.py", "dask", SAMPLES, folder)
            self.assertEqual(sorted(os.listdir(folder)),
                             sorted("seg_" + line.split(":")[0] for line in printed.splitlines()))
            self.assertEqual(len(os.listdir(folder)), 4)


if __name__ == "__main__":
    unittest.main()
