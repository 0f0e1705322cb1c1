#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""Tests of scripts/campaigns/defects itself."""

import importlib.machinery
import importlib.util
import pathlib
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.dont_write_bytecode = True
loader = importlib.machinery.SourceFileLoader("defects", str(ROOT / "scripts/campaigns/defects"))
defects = importlib.util.module_from_spec(importlib.util.spec_from_loader("defects", loader))
loader.exec_module(defects)

PATCH = """A wait is left out.
Kind: wait

--- a/ds3000/hw/wait.h
+++ b/ds3000/hw/wait.h
@@ -8,1 +8,1 @@
-{before}
+// nothing
"""


def defect_of(text):
    with tempfile.TemporaryDirectory() as folder:
        path = pathlib.Path(folder, "001-no-wait.patch")
        path.write_text(text)
        return defects.read_defect(path)


class Patches(unittest.TestCase):
    def test_a_patch_says_what_it_is_and_which_folder_it_changes(self):
        defect = defect_of(PATCH.format(before="x"))
        self.assertEqual(defect[:4], ("001-no-wait", "A wait is left out.", "wait", "hw"))

    def test_a_patch_without_a_kind_is_refused(self):
        with self.assertRaises(defects.DoesNotBuild):
            defect_of(PATCH.format(before="x").replace("Kind: wait", ""))

    def test_a_patch_whose_line_is_gone_is_loud(self):
        with tempfile.TemporaryDirectory() as folder:
            with self.assertRaisesRegex(defects.DoesNotBuild, "001-no-wait does not apply"):
                defects.apply(defect_of(PATCH.format(before="no such line")), pathlib.Path(folder))

    def test_a_patch_changes_a_copy_and_leaves_the_driver(self):
        path = ROOT / "ds3000/hw/wait.h"
        line = path.read_text().splitlines()[7]
        with tempfile.TemporaryDirectory() as folder:
            changed = defects.apply(defect_of(PATCH.format(before=line)), pathlib.Path(folder))
            self.assertEqual(changed, ["ds3000/hw/wait.h"])
            self.assertIn("// nothing", pathlib.Path(folder, changed[0]).read_text())
        self.assertNotIn("// nothing", path.read_text())


class Verdicts(unittest.TestCase):
    def test_a_name_stands_once(self):
        with tempfile.TemporaryDirectory() as folder:
            path = pathlib.Path(folder, "commands")
            path.write_text("# names\none: a: b\ntwo: c\n")
            self.assertEqual(defects.named_lines(path), {"one": "a: b", "two": "c"})
            path.write_text("one: a\n\n# again\none: b\n")
            with self.assertRaisesRegex(SystemExit, "commands:4: one is there already"):
                defects.named_lines(path)

    def test_figures_do_not_judge(self):
        document = {"locked": True, "lock_ms": 100, "quality_db": 17}
        self.assertEqual(list(defects.judging_members(document)), [("locked", "True")])

    def test_a_row_is_known_by_its_table_and_number(self):
        document = {"totals": {"locked": 1},
                    "transponders": [{"table": "t", "row": 3, "class": "locked", "lock_ms": 5}]}
        self.assertEqual(list(defects.judging_members(document)),
                         [("transponders", "table t", "row 3", "class", "locked")])

    def test_a_scan_is_judged_by_the_rows_found_and_missed(self):
        document = {"comparison": {"found": [{"row": 1, "offset_khz": 3}], "missed": [{"row": 2}]}}
        self.assertEqual(list(defects.judging_members(document)),
                         [("comparison", "found", "1"), ("comparison", "missed", "2")])

    def test_the_same_lines_are_no_difference(self):
        self.assertIsNone(defects.difference([["a", "b"]], ["a", "b"]))

    def test_a_line_that_goes_and_one_that_comes_are_told(self):
        self.assertEqual(defects.difference([["a", "b"]], ["a", "c"]), "b -> c")

    def test_what_the_seed_alone_changes_is_no_difference(self):
        self.assertIsNone(defects.difference([["a", "locked"], ["a", "no lock"]], ["a", "no lock"]))


class Judgement(unittest.TestCase):
    def outcome(self, name, command):
        return defects.Outcome(defects.Defect(name, "", "", "", ""), command, command)

    def lists(self, unseen=(), still_open=()):
        return {"unseen": dict.fromkeys(unseen, "why"), "moments": {},
                "open": dict.fromkeys(still_open, "what")}

    def test_a_mistake_that_nothing_notices_has_to_be_listed(self):
        outcomes = [self.outcome("001-a", None)]
        self.assertEqual(len(defects.judge(outcomes, [], self.lists(), False)), 1)
        self.assertEqual(defects.judge(outcomes, [], self.lists(["001-a"]), False), [])
        self.assertEqual(defects.judge(outcomes, [], self.lists([], ["001-a"]), False), [])

    def test_a_reason_for_what_is_noticed_is_wrong(self):
        outcomes = [self.outcome("001-a", "tune")]
        self.assertEqual(len(defects.judge(outcomes, [], self.lists(["001-a"]), False)), 1)

    def test_a_complete_run_tells_what_is_open_no_more(self):
        outcomes = [self.outcome("001-a", "tune")]
        for complete, wrong in ((False, 0), (True, 1)):
            found = defects.judge(outcomes, [], self.lists([], ["001-a"]), complete)
            self.assertEqual(len(found), wrong)

    def test_what_a_moved_moment_shows_is_not_noticed(self):
        outcomes = [self.outcome("001-a", "tune"), self.outcome("002-b", "tune"),
                    self.outcome("001-a", "sweep")]
        found = defects.without_moments(outcomes, {"001-a": "why"})
        self.assertEqual([(o.defect.name, o.command) for o in found],
                         [("001-a", None), ("002-b", "tune")])

    def test_55_of_a_thousand_may_go_unnoticed_and_56_not_whatever_list_has_them(self):
        for unseen, wrong in ((55, 0), (56, 1)):
            names = [f"{i:03d}-x" for i in range(1000)]
            outcomes = [self.outcome(name, None if i < unseen else "tune")
                        for i, name in enumerate(names)]
            lists = self.lists(names[:3], names[3:unseen])
            self.assertEqual(len(defects.judge(outcomes, [], lists, True)), wrong)

    def test_a_patch_that_does_not_build_is_wrong(self):
        self.assertEqual(defects.judge([], ["001-a does not apply"], self.lists(), False),
                         ["001-a does not apply"])


if __name__ == "__main__":
    unittest.main()
