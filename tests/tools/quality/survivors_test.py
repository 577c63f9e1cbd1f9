"""What is told of the mutants that were tried."""

import unittest

from survivors import read_judged, show

JUDGED = """Comments come first.
== src/core/A.cpp: nobody reads it
a  = 1;
a = 2;
# a comment
== src/core/A.cpp: a block without its second line is none
b = 1;
"""


def mutant(killer, before="x", after="y", file="src/core/A.cpp", operator="constant"):
    return {"file": file, "line": 7, "operator": operator, "before": before, "after": after, "killer": killer}


class Survivors(unittest.TestCase):
    def test_each_survivor_is_shown_with_its_place_and_its_change(self):
        out = show([mutant(None, "a < b", "a <= b"), mutant("core tests", "c", "d")], {})
        self.assertIn("Survivors:", out)
        self.assertIn("  src/core/A.cpp:7: constant", out)
        self.assertIn("      a < b", out)
        self.assertIn("   -> a <= b", out)
        self.assertNotIn("      c", out)

    def test_the_score_is_that_of_all_of_each_operator_and_of_each_folder(self):
        out = show([mutant(None), mutant("core tests"), mutant("net tests", file="src/net/B.cpp"),
                    mutant("net tests", file="src/net/B.cpp", operator="condition")], {})
        self.assertIn("  all                      3 of    4  75.0 %", out)
        self.assertIn("  constant                 2 of    3  66.7 %", out)
        self.assertIn("  src/net                  2 of    2  100.0 %", out)

    def test_equivalent_ones_are_apart_and_the_score_is_told_without_them_too(self):
        out = show([mutant(None, "a = 1;", "a = 2;"), mutant("core tests")], read_judged(JUDGED))
        self.assertIn("No survivors.", out)
        self.assertIn("  src/core/A.cpp:7: constant: nobody reads it", out)
        self.assertIn("  all                      1 of    2  50.0 %", out)
        self.assertIn("  without equivalent       1 of    1  100.0 %", out)

    def test_a_judgement_is_for_its_file_and_its_change_only(self):
        judged = read_judged(JUDGED)
        self.assertEqual(["nobody reads it"], list(judged.values()))
        self.assertIn("Survivors:", show([mutant(None, "a = 1;", "a = 0;")], judged))
        self.assertIn("Survivors:", show([mutant(None, "a = 1;", "a = 2;", file="src/core/B.cpp")], judged))


if __name__ == "__main__":
    unittest.main()
