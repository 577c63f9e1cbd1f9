"""The changes that docs/changing.md shows fit the tree, and a page that does not fit it is refused."""

import pathlib
import shutil
import tempfile
import unittest

from walkthrough import PAGE, SECTIONS, Stale, blocks, change, targets

TREE = pathlib.Path(__file__).resolve().parents[3]

SECTION = """## A new setting

Text.

```cpp new.cpp
int x;
```

```diff old.txt
 two
-three
+3
@@
 five
+six
```

```sh
cmake --build --preset release --target a_tests b_tests
build/release/a_tests
```

## Another section

```cpp other.cpp
```
"""
OLD = "one\ntwo\nthree\nfour\nfive\n"


class Walkthrough(unittest.TestCase):
    def setUp(self):
        temporary = tempfile.TemporaryDirectory()
        self.addCleanup(temporary.cleanup)
        self.root = pathlib.Path(temporary.name)
        (self.root / "old.txt").write_text(OLD)

    def change(self, page=SECTION):
        return change(page, "setting", self.root)

    def refusal(self, page=SECTION):
        with self.assertRaises(Stale) as caught:
            self.change(page)
        return str(caught.exception)

    def test_a_section_is_made_and_its_commands_are_told(self):
        created, commands = self.change()
        self.assertEqual(["new.cpp"], created)
        self.assertEqual("int x;\n", (self.root / "new.cpp").read_text())
        self.assertEqual("one\ntwo\n3\nfour\nfive\nsix\n", (self.root / "old.txt").read_text())
        self.assertEqual(["a_tests", "b_tests"], targets(commands))
        self.assertFalse((self.root / "other.cpp").exists())

    def test_lines_that_are_not_there_are_refused_with_their_place(self):
        (self.root / "old.txt").write_text("one\ntwo\n3\n")
        self.assertIn("docs/changing.md:9: old.txt: these lines stand there 0 times", self.refusal())

    def test_lines_that_are_there_twice_are_refused(self):
        (self.root / "old.txt").write_text(OLD + OLD)
        self.assertIn("2 times", self.refusal())

    def test_lines_are_whole_lines(self):
        (self.root / "old.txt").write_text("one\n-two\nthree\nfour\nfive\n")
        self.assertIn("0 times", self.refusal())

    def test_a_new_file_that_is_there_is_refused(self):
        (self.root / "new.cpp").write_text("")
        self.assertIn("new.cpp: it is there already", self.refusal())

    def test_a_file_that_is_gone_is_refused(self):
        (self.root / "old.txt").unlink()
        self.assertIn("docs/changing.md:9: old.txt: ", self.refusal())

    def test_a_section_that_shows_nothing_is_refused(self):
        self.assertIn("shows no change or no command", self.refusal("## A new setting\n"))

    def test_every_change_of_the_page_fits_the_tree(self):
        page = (TREE / PAGE).read_text()
        for name, heading in SECTIONS.items():
            root = self.root / name
            for step in blocks(page, heading):
                if not step.path:
                    continue
                (root / step.path).parent.mkdir(parents=True, exist_ok=True)
                if step.language == "diff":
                    shutil.copy(TREE / step.path, root / step.path)
            _, commands = change(page, name, root)
            self.assertTrue(targets(commands))


if __name__ == "__main__":
    unittest.main()
