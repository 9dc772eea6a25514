#!/usr/bin/env python3
"""performance.py on made-up figures. Skipped (77) without Matplotlib."""
import importlib.util
import json
import pathlib
import subprocess
import sys
import tempfile
import unittest

SCRIPT = pathlib.Path(__file__).with_name("performance.py")
BY_HAND = "\n## How to read it\n\nBy hand.\n\n## Why\n"


def run_of(slower, peer, commit="abc1234", contenders=("sse2", "avx2", "avx512")):
    """A run on a machine that is `slower` times as slow; libyuv's time is `peer` times avx512's."""
    def row(shape, kind, contender, seconds):
        return {"kernel": "fill", "shape": shape, "kind": kind, "contender": contender, "pixels": 1920,
                "seconds": seconds * slower}

    results = []
    for shape in ("1920", "3840x2160"):
        results += [row(shape, "build", build, 4e-6 / 2**i) for i, build in enumerate(contenders)]
        results += [row(shape, "peer", "pixman", 9e-6), row(shape, "peer", "libyuv", peer * 1e-6)]
        results += [row(shape, "plain", "native g++", 5e-6), row(shape, "plain", "native clang++", 8e-6)]
    return {"processor": "Made up", "commit": commit, "bits": 64, "results": results}


class Performance(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.folder = pathlib.Path(directory.name)
        self.page = self.folder / "performance.md"
        self.page.write_text("# Old" + BY_HAND)

    def make(self, **files):
        for name, content in files.items():
            path = self.folder / f"{name.replace('__', '.').replace('_', '-')}.json"
            path.write_text(content if isinstance(content, str) else json.dumps(content))
        paths = sorted(self.folder.glob("*.json"))
        return subprocess.run([sys.executable, SCRIPT, self.folder, *paths], capture_output=True, text=True, check=False)

    def test_ratios_are_of_one_run_each_and_their_median_counts(self):
        bits32 = {"processor": "Made up", "commit": "abc1234", "bits": 32,
                  "results": [{"kernel": "fill", "contender": "avx2", "ratio": 1.25}]}
        done = self.make(zen_4__1=run_of(4, 1), zen_4__2=run_of(3, 3), zen_4__3=run_of(2, 2), zen_4__32=bits32,
                         other=run_of(1, 0.5))
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        text = self.page.read_text()
        other, zen = text.partition("## Zen 4\n")[::2]
        self.assertIn("| fill | 0.64 | 0.50 | 1.00 | 2.00 |  | 0.40 | libyuv |", zen)
        self.assertIn("| fill | 1.92 | 0.12 | 0.25 | 0.50 |  | 0.10 | libyuv |", other)
        self.assertIn("| fill |  | 1.25 |  |", zen)
        self.assertTrue(text.endswith(BY_HAND))
        self.assertTrue((self.folder / "performance.png").read_bytes().startswith(b"\x89PNG"))

        for path in self.folder.glob("*.json"):
            path.unlink()
        for path in (self.folder / "performance").iterdir():  # what is kept makes the page again
            path.rename(self.folder / path.name)
        self.assertEqual(self.make().returncode, 0)
        self.assertEqual(self.page.read_text(), text)

    def test_refuses_what_is_no_such_figures_and_changes_nothing(self):
        no_peer = run_of(1, 2)
        no_peer["results"] = [row for row in no_peer["results"] if row["kind"] != "peer"]
        no_time = run_of(0, 2)
        for second, sentence in (('{"bits": 64', "x.2.json: not what"), ({"bits": 64}, "x.2.json: not what"),
                                 (no_time, "x.2.json: not what"), ({**run_of(1, 2), "bits": 16}, "x.2.json: not what"),
                                 (run_of(1, 2, commit="def5678"), "several processors or commits"),
                                 (run_of(1, 2, contenders=["sse2"]), "not every run has every figure")):
            done = self.make(x__1=run_of(1, 2), x__2=second)
            self.assertEqual(done.returncode, 1)
            self.assertIn(sentence, done.stderr)
            self.assertEqual(done.stderr.count("\n"), 1)
        self.assertIn("no other library beside fill 1920", self.make(x__1=no_peer, x__2=no_peer).stderr)
        self.assertEqual(self.page.read_text(), "# Old" + BY_HAND)
        self.assertFalse((self.folder / "performance").exists())


if __name__ == "__main__":
    if not importlib.util.find_spec("matplotlib"):
        print("Skipped: Matplotlib is not installed")
        sys.exit(77)
    unittest.main()
