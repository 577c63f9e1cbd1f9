"""What is told of the lines that were counted."""

import unittest

from coverage_report import branches_taken, evaluate, ranges, read_exempt, show

SOURCE = "first();\n  second();\nif (third()) fourth();\n  second();\n"
FILE = "src/core/A.cpp"


def branch(count, fallthrough=False, throw=False):
    return {"count": count, "fallthrough": fallthrough, "throw": throw}


def decision(on, elsewhere):
    return [branch(on, fallthrough=True), branch(elsewhere)]


def line(number, count, *branches):
    return {"line_number": number, "count": count, "branches": list(branches)}


def report(lines, exempt=""):
    data = {"files": [{"file": FILE, "lines": lines}]}
    return evaluate(data, {FILE: SOURCE}, read_exempt(exempt))


class Report(unittest.TestCase):
    def test_lines_and_branches_are_counted_by_folder(self):
        counted = report([line(1, 3), line(2, 0), line(3, 1, *decision(1, 0))])
        self.assertEqual((3, 2), (counted.lines["src/core"].total, counted.lines["src/core"].run))
        self.assertEqual((2, 1), (counted.branches["src/core"].total, counted.branches["src/core"].run))

    def test_a_line_that_is_not_run_is_shown_with_its_text(self):
        out = show(report([line(1, 3), line(2, 0)]), {FILE: SOURCE}, False)
        self.assertIn("  src/core/A.cpp:2: second();", out)

    def test_branches_that_the_compiler_makes_do_not_count(self):
        may_throw = [branch(1, fallthrough=True), branch(0, throw=True)]
        was_thrown = [branch(0), branch(0)]
        counted = report([line(3, 1, *may_throw, *decision(1, 1), *was_thrown), line(1, 1, *decision(1, 0))])
        self.assertEqual(2, counted.branches["src/core"].total)
        self.assertEqual({}, counted.half)

    def test_every_case_of_a_switch_counts(self):
        self.assertEqual([True, True, False], branches_taken([branch(2), branch(1), branch(0)], "switch (a) {"))

    def test_lines_with_a_branch_not_taken_are_named_on_request(self):
        counted = report([line(3, 1, *decision(1, 0))])
        self.assertIn("  src/core/A.cpp: 3", show(counted, {FILE: SOURCE}, True))
        self.assertNotIn("  src/core/A.cpp: 3", show(counted, {FILE: SOURCE}, False))

    def test_numbers_in_a_row_become_a_range(self):
        self.assertEqual("1-3, 7", ranges([1, 2, 3, 7]))


class Exempt(unittest.TestCase):
    def test_a_listed_line_is_found_by_its_text_wherever_it_stands_and_not_counted(self):
        counted = report([line(1, 1), line(2, 0), line(4, 0)], f"== {FILE}: why\n    second();\n")
        self.assertEqual(1, counted.lines["src/core"].total)
        self.assertEqual({}, counted.uncovered)
        self.assertIn("  src/core/A.cpp:2, 4: why", show(counted, {FILE: SOURCE}, False))

    def test_several_lines_in_a_row_tell_one_place_from_another(self):
        counted = report([line(2, 0), line(4, 0)], f"== {FILE}: why\nfirst();\nsecond();\n")
        self.assertEqual({FILE: [4]}, counted.uncovered)

    def test_lines_of_a_block_that_are_run_count(self):
        counted = report([line(1, 1), line(2, 0)], f"== {FILE}: why\nfirst();\nsecond();\n")
        self.assertEqual(1, counted.lines["src/core"].total)

    def test_branches_of_a_listed_line_are_not_counted(self):
        counted = report([line(3, 1, *decision(1, 0))], f"== {FILE}: why\nif (third()) fourth();\n")
        self.assertEqual(0, counted.branches["src/core"].total)
        self.assertEqual([], counted.stale)

    def test_a_block_whose_lines_are_run_or_gone_is_named(self):
        counted = report([line(1, 1)], f"== {FILE}: why\nfirst();\n== {FILE}: why\nfifth();\n")
        self.assertEqual(2, len(counted.stale))
        self.assertIn("  src/core/A.cpp: fifth();", show(counted, {FILE: SOURCE}, False))

    def test_what_stands_before_the_first_block_is_a_comment(self):
        self.assertEqual([], read_exempt("Some words.\n# more\n"))


if __name__ == "__main__":
    unittest.main()
