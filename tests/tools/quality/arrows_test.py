"""The arrows between the folders of src/, and the table that shows them."""

import unittest

from arrows import check

PAGE = """# Architecture

## Layers

| folder | what it knows | stands on |
|---|---|---|
| `core/` | the ground | – |
| `net/` | sockets | core |
| `dorn/` | hosts | core, net |
| `core/app/` | the daemon | core, dorn |

## Another section

| `other/` | no layer | dorn |
"""

SOURCES = {
    "core/Clock.h": "#pragma once\n",
    "net/Socket.h": '#include <sys/socket.h>\n\n#include "core/Clock.h"\n',
    "dorn/Dorn.h": '#include "net/Socket.h"\n',
    "dorn/Dorn.cpp": '#include "dorn/Dorn.h"\n\n#include "core/Clock.h"\n',
    "core/app/main.cpp": '#include "core/Clock.h"\n#include "dorn/Dorn.h"\n',
}


def problems(page=PAGE, **changed):
    """Of the sources with these files in place of theirs, named with "_" for "/"."""
    sources = dict(SOURCES)
    for name, text in changed.items():
        folder, _, file = name.rpartition("_")
        sources[f"{folder.replace('_', '/')}/{file}.h"] = text
    return check(sources, page)


class Arrows(unittest.TestCase):
    def test_arrows_that_run_down_as_the_table_says_are_right(self):
        self.assertEqual([], problems())

    def test_an_include_that_runs_up_is_named_with_its_place(self):
        found = problems(net_Socket='#include "core/Clock.h"\n#include "dorn/Packet.h"\n', dorn_Packet="")
        self.assertIn("src/net/Socket.h:2: includes dorn/Packet.h, but dorn/ is a higher layer than net/", found)

    def test_the_table_does_not_allow_an_include_that_runs_up(self):
        page = PAGE.replace("sockets | core |", "sockets | core, dorn |")
        found = problems(page, net_Socket='#include "core/Clock.h"\n#include "dorn/Packet.h"\n', dorn_Packet="")
        self.assertEqual(["src/net/Socket.h:2: includes dorn/Packet.h, but dorn/ is a higher layer than net/"], found)

    def test_the_folder_in_core_that_connects_everything_is_not_the_ground(self):
        found = problems(core_Clock='#include "core/app/Objects.h"\n', core_app_Objects="")
        self.assertIn("src/core/Clock.h:1: includes core/app/Objects.h, "
                      "but core/app/ is a higher layer than core/", found)

    def test_files_that_include_each_other_in_a_circle_are_named_once(self):
        found = problems(net_A='#include "net/B.h"\n', net_B='#include "net/C.h"\n', net_C='#include "net/A.h"\n')
        self.assertEqual(["a circle of includes: net/A.h -> net/B.h -> net/C.h -> net/A.h"], found)

    def test_an_arrow_that_the_table_does_not_show_is_named(self):
        self.assertEqual(["docs/architecture.md: net/ includes from core; the table says –"],
                         problems(PAGE.replace("sockets | core |", "sockets | – |")))

    def test_an_arrow_that_only_the_table_shows_is_named(self):
        self.assertEqual(["docs/architecture.md: core/app/ includes from core, dorn; the table says core, net, dorn"],
                         problems(PAGE.replace("daemon | core, dorn |", "daemon | core, net, dorn |")))

    def test_each_folder_has_a_row_and_each_row_a_folder(self):
        page = PAGE.replace("| `net/` |", "| `gone/` |")
        self.assertIn("docs/architecture.md: there is no folder src/gone/", problems(page))
        self.assertIn("docs/architecture.md: the table has no row for net/", problems(page))

    def test_an_include_of_a_file_that_is_not_in_the_sources_is_named(self):
        found = problems(net_Socket='#include "core/Clock.h"\n#include "Local.h"\n')
        self.assertIn("src/net/Socket.h:2: there is no src/Local.h", found)


if __name__ == "__main__":
    unittest.main()
