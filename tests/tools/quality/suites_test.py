"""A suite has its file's name in its own, so that one finds the other, and stands in no other file."""

import pathlib
import re
import unittest

TESTS = pathlib.Path(__file__).resolve().parents[2]


class Suites(unittest.TestCase):
    def setUp(self):
        self.files = {}
        for file in TESTS.rglob("*Test.cpp"):
            for suite in set(re.findall(r"^TEST(?:_F|_P)?\((\w+),", file.read_text(), re.M)):
                self.files.setdefault(suite, []).append(file)

    def test_each_has_the_name_of_its_file(self):
        others = [(suite, file.name) for suite, files in self.files.items() for file in files
                  if file.stem.removesuffix("Test") not in suite]
        self.assertEqual([], others)

    def test_each_stands_in_one_file(self):
        self.assertEqual({}, {suite: files for suite, files in self.files.items() if len(files) > 1})


if __name__ == "__main__":
    unittest.main()
