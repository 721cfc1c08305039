#!/usr/bin/python3 -B
"""Tests of measure.py, on exports that are made up: Tests/Coverage/test_measure.py."""

import contextlib
import io
import sys
import tempfile
import unittest
import unittest.mock
from pathlib import Path

sys.path[:0] = [str(Path(__file__).resolve().parent), str(Path(__file__).resolve().parents[1] / "Support")]

import documents
import measure

SOURCE = """int f(bool flag) {
    if (flag) {
        return 1;
    }
    return 2;
}
int g() {
    return 1;
}
"""


def make_function(first, last, count):
    """The segments of a function's lines: it is entered in the first and left in the last."""
    return [[first, 1, count, True, True, False], [last, 2, 0, False, False, False]] if first <= last else []


class Measure(unittest.TestCase):
    """The tree has one room with 100 lines that are run and, in A.cpp, the lines above."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = Path(folder.name).resolve() / "it's a tree"
        self.write("Source/Room/A.cpp", SOURCE)
        self.write("Source/Room/B.cpp", "")
        self.entries = {}
        self.add("Source/Room/B.cpp", make_function(1, 100, 5))

    def write(self, path, text):
        (self.root / path).parent.mkdir(parents=True, exist_ok=True)
        (self.root / path).write_text(text, encoding="utf-8")

    def add(self, path, segments, branches=()):
        self.entries[path] = {"filename": str(self.root / path), "segments": segments, "branches": list(branches)}

    def add_flag(self, true, false, g=1):
        """A.cpp, whose condition was so often true and false, and whose second function was called so often."""
        self.add("Source/Room/A.cpp", [
            [1, 18, true + false, True, True, False],
            [2, 9, true + false, True, True, False],
            [2, 13, true + false, True, False, False],
            [2, 15, true, True, True, False],
            [4, 6, false, True, True, True],
            [5, 5, false, True, True, False],
            [6, 2, 0, False, False, False],
            *make_function(7, 9, g),
        ], [[2, 9, 2, 13, true, false, 0, 0, 4]])

    def read(self):
        return measure.read_accounts([{"data": [{"files": [entry]}]} for entry in self.entries.values()], self.root)

    def report(self, reasons=(), document=None):
        """Whether it is enough, and what is printed."""
        output = io.StringIO()
        with contextlib.redirect_stdout(output):
            is_enough = measure.report(self.read(), list(reasons), self.root, document)
        return is_enough, output.getvalue()

    def test_counts_the_lines_with_code(self):
        self.add_flag(true=0, false=3)
        self.assertEqual(self.read()["Source/Room/A.cpp"].lines, {1: 3, 2: 3, 3: 0, 4: 0, 5: 3, 6: 3, 7: 1, 8: 1, 9: 1})

    def test_a_line_counts_as_the_most_frequent_of_its_statements(self):
        self.add("Source/Room/A.cpp", [
            [1, 1, 4, True, True, False],
            [1, 10, 0, True, True, False],
            [1, 20, 4, True, False, False],
            [2, 1, 0, True, True, False],
            [3, 1, 0, False, True, False],
            [5, 1, 0, False, False, False],
        ])
        self.assertEqual(self.read()["Source/Room/A.cpp"].lines, {1: 4, 2: 4})

    def test_looks_at_sources_alone(self):
        self.add_flag(1, 1)
        self.add("Tests/Room/ATest.cpp", make_function(1, 1, 0))
        self.add("Source/../Tests/ATest.cpp", make_function(1, 1, 0))
        self.assertEqual(sorted(self.read()), ["Source/Room/A.cpp", "Source/Room/B.cpp"])

    def test_a_line_or_branch_counts_if_any_program_or_instantiation_takes_it(self):
        self.add_flag(true=0, false=3)
        self.entries["again"] = self.entries.pop("Source/Room/A.cpp")
        self.add_flag(true=2, false=0)
        # Of a template, each instantiation has its branches.
        self.entries["again"]["branches"] *= 2
        self.assertEqual(self.read()["Source/Room/A.cpp"].get_missing_lines(), [])
        self.assertEqual(self.read()["Source/Room/A.cpp"].get_missing_branches(), [])

    def test_a_condition_has_two_branches(self):
        self.add_flag(true=0, false=3)
        branches = self.read()["Source/Room/A.cpp"].branches
        self.assertEqual(branches, {(2, 9, 2, 13, "true"): 0, (2, 9, 2, 13, "false"): 3})

    def test_a_condition_that_the_compiler_decides_has_none(self):
        self.add_flag(true=0, false=3)
        self.entries["Source/Room/A.cpp"]["branches"][0][4:6] = [0, 0]
        self.assertEqual(self.read()["Source/Room/A.cpp"].branches, {})
        # In a program that does not run it, it looks like any other.
        self.entries["again"] = self.entries.pop("Source/Room/A.cpp")
        self.add_flag(true=0, false=0)
        self.assertEqual(self.read()["Source/Room/A.cpp"].branches, {})
        del self.entries["again"]
        self.assertEqual(len(self.read()["Source/Room/A.cpp"].get_missing_branches()), 2)

    def test_is_enough_where_all_is_run(self):
        self.add_flag(1, 1)
        is_enough, output = self.report()
        self.assertTrue(is_enough)
        self.assertIn("| `Room` | 109 | 100.0 % | 2 | 100.0 % |\n| all | 109 | 100.0 % | 2 | 100.0 % |\n", output)

    def test_a_line_that_is_not_run_needs_a_reason(self):
        self.add_flag(1, 1, g=0)
        self.add("Source/Room/B.cpp", make_function(1, 900, 5))
        is_enough, output = self.report()
        self.assertFalse(is_enough)
        for line in (7, 8, 9):
            self.assertIn(f"Source/Room/A.cpp:{line}: not run, and without a reason\n", output)
        reason = {"file": "Source/Room/A.cpp", "text": "int g() {\n  return 1;\n}\n", "reason": "nobody calls it"}
        is_enough, output = self.report([reason])
        self.assertTrue(is_enough, output)
        self.assertIn("Lines that are not run: 3. Reasons for them: 1.\n", output)
        # It stands for these lines alone.
        is_enough, output = self.report([{**reason, "text": "int g() {\nreturn 1;"}])
        self.assertFalse(is_enough)
        self.assertNotIn("A.cpp:8:", output)
        self.assertIn("Source/Room/A.cpp:9: not run, and without a reason\n", output)

    def test_a_reason_holds_though_lines_move(self):
        self.write("Source/Room/A.cpp", "\n" + SOURCE)
        self.add("Source/Room/A.cpp", [*make_function(2, 7, 1), *make_function(8, 10, 0)])
        self.add("Source/Room/B.cpp", make_function(1, 900, 5))
        reason = {"file": "Source/Room/A.cpp", "text": "int g() {\nreturn 1;\n}", "reason": "so"}
        self.assertTrue(self.report([reason])[0])

    def test_a_text_that_is_there_twice_is_told_by_what_is_above_it(self):
        self.add_flag(1, 1, g=0)
        self.add("Source/Room/B.cpp", make_function(1, 900, 5))
        self.assertTrue(self.report([
            {"file": "Source/Room/A.cpp", "behind": "return 2;\n}", "text": "int g() {", "reason": "so"},
            {"file": "Source/Room/A.cpp", "behind": "int g() {", "text": "return 1;\n}", "reason": "so"},
        ])[0])
        self.check_reason(
            {"file": "Source/Room/A.cpp", "behind": "int f() {", "text": "return 1;", "reason": "so"},
            "the reason for 'return 1;' names a text that is there 0 times\n",
        )

    def check_reason(self, reason, finding):
        """A reason that fails although all lines are run enough."""
        is_enough, output = self.report([reason])
        self.assertFalse(is_enough)
        self.assertIn(finding, output)

    def test_a_reason_is_outdated_if_its_line_is_run(self):
        self.add_flag(1, 1)
        reason = {"file": "Source/Room/A.cpp", "text": "return 2;", "reason": "so"}
        self.check_reason(reason, "Source/Room/A.cpp: the reason for 'return 2;' names lines that are run: 5\n")
        self.add_flag(1, 0, g=1)
        self.add("Source/Room/B.cpp", make_function(1, 900, 5))
        self.check_reason({**reason, "text": "}\nreturn 2;\n}\nint g() {"}, "names lines that are run: 4, 7\n")

    def test_a_reason_with_an_unknown_key_is_refused(self):
        self.add_flag(1, 1, g=0)
        self.add("Source/Room/B.cpp", make_function(1, 900, 5))
        reason = {"file": "Source/Room/A.cpp", "text": "int g() {\nreturn 1;\n}", "reason": "so"}
        self.assertTrue(self.report([reason])[0])
        self.check_reason({**reason, "sometimes": True}, "the reason for 'int g() {' has an unknown sometimes\n")

    def test_a_reason_is_outdated_if_its_line_is_no_more_or_twice_or_without_code(self):
        self.add_flag(1, 1)
        reason = {"file": "Source/Room/A.cpp", "text": "return 3;", "reason": "so"}
        self.check_reason(reason, "the reason for 'return 3;' names a text that is there 0 times\n")
        self.check_reason({**reason, "text": "return 1;"}, "'return 1;' names a text that is there 2 times\n")
        self.check_reason({**reason, "file": "Source/Room/C.cpp"}, "names a text that is there 0 times\n")
        self.check_reason({**reason, "text": ""}, "names a text that is there 0 times\n")
        self.write("Source/Room/A.cpp", SOURCE + "// the end\n")
        self.check_reason({**reason, "text": "// the end"}, "names no line with code\n")

    def test_a_reason_says_something(self):
        self.add_flag(1, 0)
        self.add("Source/Room/B.cpp", make_function(1, 900, 5))
        reason = {"file": "Source/Room/A.cpp", "text": "return 2;\n}", "reason": " "}
        self.check_reason(reason, "the reason for 'return 2;' is empty\n")

    def check_lines(self, run, missing, room_run, room_missing):
        """The findings where a room has these lines and the other one these."""
        self.write("Source/Other/C.cpp", "line\n" * (run + missing))
        self.add("Source/Other/C.cpp", make_function(1, run, 1) + make_function(run + 1, run + missing, 0))
        room_end = room_run + room_missing
        self.add("Source/Room/A.cpp", make_function(1, room_run, 1) + make_function(room_run + 1, room_end, 0))
        self.entries.pop("Source/Room/B.cpp", None)
        return measure.check_bounds(measure.count_rooms(self.read()))

    def test_all_rooms_have_their_bound_of_lines(self):
        self.assertEqual(self.check_lines(9890, 10, 95, 5), [])

    def test_a_room_may_not_be_below_its_bound(self):
        self.assertEqual(self.check_lines(9890, 10, 94, 6), ["Room: 94.0 % of the lines are run, and 95 % have to be"])

    def test_the_total_may_not_be_below_its_bound(self):
        self.assertEqual(self.check_lines(9800, 100, 100, 0), [])
        finding = "Source: 98.9 % of the lines are run, and 99 % have to be"
        self.assertEqual(self.check_lines(9799, 101, 100, 0), [finding])

    def test_branches_have_bounds_of_their_own(self):
        def check(*counts):
            branches = [[1, column, 1, column, *pair, 0, 0, 4] for column, pair in enumerate(counts)]
            self.add("Source/Room/B.cpp", make_function(1, 100, 0), branches)
            self.entries.pop("Source/Room/A.cpp", None)
            self.entries["Source/Room/B.cpp"]["segments"] = make_function(1, 100, 5)
            return measure.check_bounds(measure.count_rooms(self.read()))

        self.assertEqual(check(*[(1, 1)] * 18, (0, 1), (1, 0)), [])
        self.assertEqual(
            check(*[(1, 1)] * 17, (0, 1), (1, 0), (1, 0)),
            ["Source: 92.5 % of the branches are run, and 95 % have to be"],
        )
        self.assertEqual(
            check(*[(1, 1)] * 9, *[(0, 1)] * 10),
            [
                "Room: 73.6 % of the branches are run, and 75 % have to be",
                "Source: 73.6 % of the branches are run, and 95 % have to be",
            ],
        )

    def test_a_share_is_rounded_down(self):
        self.assertEqual(measure.Share(10000, 9999).describe(), "99.9 %")

    def test_a_source_that_no_program_contains_is_named(self):
        self.add_flag(1, 1)
        self.write("Source/Room/C.mm", "")
        self.write("Source/Room/C.h", "")
        is_enough, output = self.report()
        self.assertFalse(is_enough)
        self.assertIn("Source/Room/C.mm: no program contains it\n", output)
        self.assertNotIn("C.h", output)

    def test_the_table_is_written_between_the_marks_even_if_it_is_not_enough(self):
        document = self.root / "Document.md"
        others = f"<!-- Scripts/others writes from here -->\n{documents.END}\n"
        before = f"# A\n\n{others}{measure.BEGIN}\n\nold\n\n{documents.END}\n\nafter\n"
        document.write_text(before, encoding="utf-8")
        self.add_flag(1, 0)
        self.assertFalse(self.report(document=document)[0])
        self.assertIn("| all | 109 | 98.1 % | 2 | 50.0 % |\n\nLines that are not run: 2. Reasons for them: 0.\n\n"
                      f"{documents.END}", document.read_text(encoding="utf-8"))
        self.add_flag(1, 1)
        for _ in range(2):
            self.assertTrue(self.report(document=document)[0])
            self.assertEqual(
                document.read_text(encoding="utf-8"),
                f"# A\n\n{others}{measure.BEGIN}\n\n"
                "| room | lines | run | branches | taken |\n| --- | ---: | ---: | ---: | ---: |\n"
                "| `Room` | 109 | 100.0 % | 2 | 100.0 % |\n| all | 109 | 100.0 % | 2 | 100.0 % |\n\n"
                "Lines that are not run: 0. Reasons for them: 0.\n\n"
                f"{documents.END}\n\nafter\n",
            )

    def report_macos(self):
        output = io.StringIO()
        with contextlib.redirect_stdout(output):
            is_enough = measure.report_macos(self.read(), self.root)
        return is_enough, output.getvalue()

    def test_the_macos_host_is_counted_alone(self):
        for path in ("Source/Room/B_MacOS.mm", "Source/Room/A_MacOS.cpp"):
            self.write(path, "")
        self.add("Source/Room/A.cpp", make_function(1, 10, 0))
        self.add("Source/Room/B_MacOS.mm", make_function(1, 2, 1) + make_function(3, 4, 0))
        # No program has the other one.
        is_enough, output = self.report_macos()
        self.assertFalse(is_enough)
        self.assertEqual(output, "Source/Room/A_MacOS.cpp: 0 of 0 lines\n"
                                 "Source/Room/B_MacOS.mm: 2 of 4 lines, not 3 4\n"
                                 "2 of 4 lines are run, 50.0 %.\n")
        self.add("Source/Room/A_MacOS.cpp", make_function(1, 36, 1))
        is_enough, output = self.report_macos()
        self.assertTrue(is_enough)
        self.assertTrue(output.endswith("\n38 of 40 lines are run, 95.0 %.\n"))
        self.add("Source/Room/A_MacOS.cpp", make_function(1, 35, 1))
        self.assertFalse(self.report_macos()[0])
        self.entries.clear()
        self.assertFalse(self.report_macos()[0])

    def parse(self, *arguments):
        """The status, output and errors for a script's options."""
        output, errors = io.StringIO(), io.StringIO()
        with contextlib.redirect_stdout(output), contextlib.redirect_stderr(errors), \
                unittest.mock.patch("sys.argv", ["measure.py", "--parse", "Scripts/any", *arguments]):
            try:
                status = measure.main()
            except SystemExit as end:
                status = end.code
        return status, output.getvalue(), errors.getvalue()

    def test_a_scripts_options_are_looked_at_without_a_build(self):
        self.assertEqual(self.parse(), (0, "", ""))
        self.assertEqual(self.parse("--branches", "--macos", "--write", "a b.md"), (0, "", ""))
        # The script chooses the folders.
        for wrong in (["--brnaches"], ["--branch"], ["build"], ["--write"], ["--profiles", "here"]):
            status, output, errors = self.parse(*wrong)
            self.assertEqual((status, output), (2, ""), wrong)
            self.assertTrue(errors.startswith("usage: Scripts/any "), errors)

    def test_each_option_has_its_help(self):
        status, output, _ = self.parse("--help")
        self.assertEqual(status, 0)
        for option in ("--branches ", "--macos ", "--write FILE "):
            self.assertRegex(output, rf"\n  {option} *\w+")
        self.assertEqual([action.dest for action in measure.make_parser()._actions if not action.help], [])


if __name__ == "__main__":
    unittest.main()
