#!/usr/bin/python3 -B
"""What Scripts/bench makes of the times that it measures: test_bench.py PROJECT [unittest arguments]"""

import contextlib
import io
import math
import os
import re
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path
from unittest import mock

sys.dont_write_bytecode = True
sys.path.insert(0, str(Path(sys.argv.pop(1)).resolve() / "Benchmarks"))

import bench
import documents
import figures
import page
import rows
import surroundings
from rows import Memory, Rival, Row, at_most, merge, read_rows

PAGE = f"# Performance\n\nBefore.\n\n{page.BEGIN}\n\nold\n\n{documents.END}\n\n## System calls\n\nAfter.\n"


def no_bound(reason):
    """As the benchmark programs print it."""
    return rows.Bound(0, reason)


def make_row(ratios, bound, name="work", kind="peer", rival="theirs"):
    """A row with these ratios and a bound, 0 for none."""
    return Row(name, kind, rival, at_most(bound) if bound else no_bound("it does less"),
               {0: [(ratio, 1) for ratio in ratios]})


def write_program(folder, name, script):
    """A program of this name, which is a shell script."""
    path = folder / name
    path.write_text(f"#!/bin/sh\n{script}\n")
    path.chmod(0o700)
    return path


class WithFolder(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="a blank ")
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)


class Figures(unittest.TestCase):
    def test_a_ratio_is_the_median_of_the_rounds_ratios(self):
        # The ratio of the medians would be 1.5, that of the sums less than 1.
        self.assertEqual(figures.ratio([(2, 1), (30, 10), (3, 1000)]), 2)

    def test_the_time_of_a_start_is_subtracted_from_theirs(self):
        self.assertEqual(figures.ratio([(4, 13, 5), (4, 1008, 1000), (4, 1001, 1000)]), 0.5)

    def test_a_time_that_is_lost_in_that_of_the_start_gives_no_ratio(self):
        self.assertEqual(figures.ratio([(4, 10, 10)]), math.inf)
        self.assertEqual(figures.ratio([(4, 9, 10)]), math.inf)

    def test_a_slope_has_the_least_squares(self):
        self.assertAlmostEqual(figures.slope([(10, 107), (100, 1007), (1000, 10007)]), 10)
        self.assertAlmostEqual(figures.slope([(0, 0), (1, 3), (2, 0), (3, 3)]), 0.6)

    def test_a_start_is_in_no_slope(self):
        sizes = {size: [(100 + 3 * size, 7000 + 6 * size, 6900)] * 3 for size in (1, 10, 100)}
        self.assertAlmostEqual(figures.estimate(sizes), 0.5)

    def test_a_slope_goes_through_the_medians(self):
        sizes = {size: [(size, size), (2 * size, 4 * size), (900, 5000)] for size in (1, 10, 100)}
        self.assertAlmostEqual(figures.estimate(sizes), 0.5)

    def test_an_interval_is_narrow_for_equal_rounds_and_wide_for_others(self):
        self.assertEqual(figures.interval({0: [(3, 2)] * 20}), (1.5, 1.5))
        low, high = figures.interval({0: [(1, 1)] * 5 + [(2, 1)] * 5 + [(3, 1)] * 5})
        self.assertLess(low, 2)
        self.assertGreater(high, 2)

    def test_an_interval_is_wider_where_neighbours_are_alike(self):
        def get_width(ratios):
            low, high = figures.interval({0: [(ratio, 1) for ratio in ratios]})
            return high - low
        self.assertGreater(get_width(range(1, 102)), 1.5 * get_width(index * 37 % 101 + 1 for index in range(101)))

    def test_as_many_rounds_are_drawn_as_there_are(self):
        for count in (1, 2, 5, 101):
            self.assertEqual(len(figures.draw(figures.random.Random(1), list(range(count)))), count)

    def test_an_interval_draws_from_the_rounds_of_each_size(self):
        sizes = {1: [(1, 1)] * 9, 100: [(100, 100)] * 3 + [(150, 100)] * 3 + [(200, 100)] * 3}
        low, high = figures.interval(sizes)
        self.assertGreaterEqual(low, 1)
        self.assertLess(low, high)
        self.assertLessEqual(high, 199 / 99)

    def test_equal_rounds_give_equal_intervals(self):
        rounds = {size: [(index * 37 % 101 + size, index * 17 % 53 + size) for index in range(35)] for size in (1, 9)}
        self.assertEqual(figures.interval(rounds), figures.interval(rounds))

    def test_a_bound_is_kept_at_the_upper_end_missed_below_the_interval_and_not_settled_in_it(self):
        self.assertEqual(figures.judge(0.8, 1.0, 1.0), "kept")
        self.assertEqual(figures.judge(0.8, 1.001, 1.0), "not settled")
        self.assertEqual(figures.judge(1.0, 1.1, 1.0), "not settled")
        self.assertEqual(figures.judge(1.001, 1.1, 1.0), "missed")
        self.assertEqual(figures.judge(1.1, math.inf, 1.0), "not settled")
        self.assertEqual(figures.judge(5, 6, 0), "")


class Rows(unittest.TestCase):
    def test_lines_for_several_sizes_make_one_row(self):
        lines = ["work\tpeer\ttheirs\t0.7\t\t10\t1 2\t3 4\t5 6\n", "work\tpeer\ttheirs\t0.7\t\t20\t7\t8\t9\n",
                 "work\tlimit\tbare\t0\tit does less\t10\t1 2\t2 1\t\n", "work\tlimit\tbarer\t2\t\t10\t1\t1\t\n"]
        first, second, third = read_rows(lines)
        self.assertEqual(first, Row("work", "peer", "theirs", at_most(0.7),
                                    {10: [(1, 3, 5), (2, 4, 6)], 20: [(7, 8, 9)]}))
        self.assertEqual(second, Row("work", "limit", "bare", no_bound("it does less"), {10: [(1, 2), (2, 1)]}))
        self.assertEqual(third, Row("work", "limit", "barer", at_most(2), {10: [(1, 1)]}))

    def test_a_line_with_a_time_missing_is_refused(self):
        with self.assertRaises(ValueError):
            read_rows(["work\tpeer\ttheirs\t0.7\t\t0\t1 2\t3\t\n"])

    def test_a_row_has_a_bound_or_says_why_it_has_none(self):
        for bound in (rows.Bound(0, ""), rows.Bound(1, "it does less")):
            with self.assertRaisesRegex(ValueError, "^work, theirs: a row has a bound, or a reason why it has none.$"):
                Row("work", "peer", "theirs", bound)

    def test_rows_of_the_same_comparison_are_merged(self):
        groups = [[Row("work", "peer", "theirs", at_most(1), {size: [(size, 1)]})] for size in (1, 2)]
        self.assertEqual(merge(groups), [Row("work", "peer", "theirs", at_most(1), {1: [(1, 1)], 2: [(2, 1)]})])


class Programs(WithFolder):
    """The programs of a build, each replaced by a script."""

    def setUp(self):
        super().setUp()
        self.bench = rows.Bench(self.folder)

    def test_each_row_is_measured_by_a_process_of_its_own(self):
        write_program(self.folder, "WorkBenchmark",
                      r"""[ $# = 1 ] && printf '%s\tpeer\ttheirs\t1\t\t0\t3 3\t2 2\t\n' "$1" """)
        first, second = self.bench.run_benchmark("Work", os.environ, ["one row", "another row"])
        self.assertEqual(first, Row("one row", "peer", "theirs", at_most(1), {0: [(3, 2), (3, 2)]}))
        self.assertEqual(second.name, "another row")

    def test_a_row_that_its_program_does_not_know_is_an_error(self):
        write_program(self.folder, "WorkBenchmark", "true")
        with self.assertRaisesRegex(RuntimeError, "^WorkBenchmark knows no row 'one row'.$"):
            self.bench.run_benchmark("Work", os.environ, ["one row"])

    def test_a_program_that_fails_is_an_error_though_it_printed_times(self):
        write_program(self.folder, "Programs", r"printf '1\t1\t1\n1\t1\t1\n'; exit 2")
        with self.assertRaisesRegex(RuntimeError, "/Programs ended with status 2, so nothing is known of its times.$"):
            self.bench.compare_programs("work", ["ours"], [Rival("peer", "theirs", at_most(1), ["theirs"])],
                                        os.environ, 1)

    def test_programs_get_the_statuses_that_are_expected_of_them(self):
        write_program(self.folder, "Programs", f"""printf '%s\n' "$@" >'{self.folder}/arguments'
            printf '4 6\t1 2\t5 7 9\n2 2\t3 3\t1 1 1\n1 2\t3 3\t1 1 1\n'""")
        rivals = [Rival("peer", "theirs", at_most(1), ["theirs", "-x"], status=1),
                  Rival("limit", "bare", no_bound("it does less"), ["bare"])]
        compared, memory = self.bench.compare_programs("work", ["ours", "-y"], rivals, os.environ, 2, 30)
        self.assertEqual((self.folder / "arguments").read_text().split("\n")[:-1],
                         ["2", "0", "ours", "-y", "--", "1", "theirs", "-x", "--", "0", "bare"])
        self.assertEqual(compared, [Row("work", "peer", "theirs", at_most(1), {30: [(4, 2), (6, 2)]}),
                                    Row("work", "limit", "bare", no_bound("it does less"), {30: [(4, 1), (6, 2)]})])
        self.assertEqual(memory, [(7, 1.5), (1, 3), (1, 3)])

    def test_the_limit_of_help_writes_as_much_as_the_tool(self):
        write_program(self.folder, "TovraFieldhostSetupTool", '[ "$*" = -Help ] && printf 12345')
        self.assertEqual(bench.get_help_limit(self.bench, "compile"),
                         [f"{self.folder}/HelpLimit", "5", f"{self.folder}/{bench.SCHEMA}", "compile"])

    def test_a_tool_that_fails_has_no_help(self):
        write_program(self.folder, "TovraFieldhostSetupTool", "echo; exit 3")
        with self.assertRaises(subprocess.CalledProcessError):
            self.bench.get_help_size()


class Surroundings(WithFolder):
    def test_a_process_ends_with_its_block_even_if_that_fails(self):
        with self.assertRaises(KeyError):
            with surroundings.run(["sleep", "60"]) as process:
                self.assertIsNone(process.poll())
                raise KeyError
        self.assertEqual(process.returncode, -15)

    def test_a_screen_has_a_display_that_only_its_clients_may_use(self):
        with surroundings.start_screen(self.folder) as environment:
            command = ["xdpyinfo", "-display", environment["DISPLAY"]]
            shown = subprocess.run(command, env=environment, check=True, stdout=subprocess.PIPE, text=True).stdout
            self.assertRegex(shown, "dimensions: +1280x1024 pixels")
            stranger = subprocess.run(command, env={**environment, "XAUTHORITY": "/nowhere"}, check=False,
                                      stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            self.assertEqual(stranger.returncode, 1)
        self.assertEqual(subprocess.run(command, env=environment, check=False, stdout=subprocess.DEVNULL,
                                        stderr=subprocess.DEVNULL).returncode, 1)

    def test_a_desktop_has_a_window_manager_as_soon_as_it_is_there(self):
        for _ in range(2):
            with surroundings.start_desktop(self.folder) as environment:
                manager = subprocess.run(["xprop", "-root", "_NET_SUPPORTING_WM_CHECK"], env=environment, check=True,
                                         stdout=subprocess.PIPE, text=True).stdout
                self.assertRegex(manager, "window id # 0x[0-9a-f]+")

    def test_a_server_that_ends_at_once_did_not_start(self):
        server = write_program(self.folder, "server", "exit 1")
        with self.assertRaisesRegex(RuntimeError, "/server did not start.$"):
            with surroundings.start_server(self.folder, [str(server)]):
                self.fail()

    def test_a_window_manager_that_ends_at_once_did_not_start(self):
        write_program(self.folder, "openbox", "exit 1")
        with mock.patch.dict(os.environ, PATH=f"{self.folder}:{os.environ['PATH']}"):
            with self.assertRaisesRegex(RuntimeError, "^openbox did not start.$"):
                with surroundings.start_desktop(self.folder):
                    self.fail()

    def test_monitors_are_side_by_side(self):
        with surroundings.start_monitors(self.folder) as environment:
            shown = subprocess.run(["xrandr", "--listactivemonitors"], env=environment, check=True,
                                   stdout=subprocess.PIPE, text=True).stdout
        self.assertIn("Monitors: 3\n", shown)
        self.assertRegex(shown, r"\+1024\+0 [^\n]*\n[^\n]*\+2048\+0 ")

    def test_processes_are_there_for_a_block_and_gone_after_it(self):
        program = write_program(self.folder, "Sleepers", f"""echo "$1" >'{self.folder}/count'; echo started; read -r _
            echo ended >'{self.folder}/end'""")
        with surroundings.start_processes(program, 20):
            self.assertEqual((self.folder / "count").read_text(), "20\n")
            self.assertFalse((self.folder / "end").exists())
        self.assertTrue((self.folder / "end").exists())

    def test_processes_that_cannot_be_made_are_an_error(self):
        program = write_program(self.folder, "Sleepers", "exit 1")
        with self.assertRaisesRegex(RuntimeError, "^There can't be 20 processes.$"):
            with surroundings.start_processes(program, 20):
                self.fail()


class Page(unittest.TestCase):
    def test_a_line_of_the_table_has_all_peers_and_limits_of_the_work(self):
        rows = [make_row([1.5] * 9, 2.0), make_row([3] * 9, 2.5, rival="others"),
                make_row([0.75] * 9, 0, kind="limit", rival="bare"),
                make_row([1] * 9 + [2] * 9 + [3] * 9, 2.0, name="more")]
        table = page.format_table(rows)
        self.assertIn("| work | theirs: **1.50** (1.50 to 1.50), at most 2<br>others: **3.00** (3.00 to 3.00), at most "
                      "2.5, **missed** | bare: **0.75** (0.75 to 0.75), no bound, as it does less |\n", table)
        self.assertIn("| more | theirs: **2.00** (1.00 to 3.00), at most 2, **not settled** |  |\n", table)

    def test_growth_and_memory_have_tables_of_their_own(self):
        growing = Row("further work", "peer", "theirs", at_most(1), {1: [(1, 2)], 2: [(2, 4)]})
        text = page.format_tables([make_row([1], 0), growing], [Memory("work", (300, 100), (60, 40))])
        self.assertLess(text.index("| work | theirs"), text.index("## Growth"))
        self.assertLess(text.index("## Growth"), text.index("| further work | theirs: **0.50**"))
        self.assertIn("| work | 300 | 100 | 3.00 | 60 | 40 | 1.50 |\n", text[text.index("## Memory"):])


class Program(unittest.TestCase):
    def run_bench(self, found, arguments=()):
        """Its status, its output, what the part was asked for and the page, where one part gives these rows."""
        asked = []

        def measure(_, folder, names):
            asked.append((folder, names))
            if isinstance(found, Exception):
                raise found
            return found, []

        parts = {"part": bench.Part(measure, {"work": 61, "further work": 4}),
                 "other": bench.Part(lambda *_: ([make_row([1], 0, name="other")], []), {"other part": 5})}
        with tempfile.TemporaryDirectory() as folder, contextlib.redirect_stdout(io.StringIO()) as output, \
                contextlib.redirect_stderr(output), \
                mock.patch.dict(bench.os.environ), mock.patch.object(bench, "PROJECT", Path(folder)), \
                mock.patch.object(bench, "PARTS", parts), \
                mock.patch.object(sys, "argv", ["bench.py", *arguments]):
            (Path(folder) / "Documentation").mkdir()
            (Path(folder) / "Documentation/Performance.md").write_text(PAGE)
            try:
                status = bench.main()
            except SystemExit as end:
                status = end.code
            return status, output.getvalue(), asked, (Path(folder) / "Documentation/Performance.md").read_text()

    def test_fails_if_a_bound_is_missed(self):
        status, output, *_ = self.run_bench([make_row([2] * 9, 1.5), make_row([1] * 9, 1.5, rival="others")])
        self.assertEqual(status, 1)
        self.assertTrue(output.endswith("\nmissed: work, theirs\n"))

    def test_succeeds_and_says_nothing_if_all_bounds_are_kept(self):
        status, output, *_ = self.run_bench([make_row([1] * 9, 1.5), make_row([9] * 9, 0, rival="others")], ["part"])
        self.assertEqual(status, 0)
        self.assertRegex(output, "others .* no bound +\n$")

    def test_fails_otherwise_if_a_bound_is_not_settled(self):
        unsettled = make_row([1] * 9 + [2] * 9 + [3] * 9, 2)
        status, output, *_ = self.run_bench([unsettled, make_row([1] * 9, 1.5, rival="others")], ["part"])
        self.assertEqual(status, 3)
        self.assertTrue(output.endswith("\nnot settled: work, theirs\n"))
        # One that is missed is worse.
        status, output, *_ = self.run_bench([unsettled, make_row([2] * 9, 1.5, rival="others")])
        self.assertEqual(status, 1)
        self.assertTrue(output.endswith("\nmissed: work, others\nnot settled: work, theirs\n"))

    def test_writes_the_page_of_all_rows_even_if_a_bound_is_missed(self):
        written = self.run_bench([make_row([2] * 9, 1.5)])[3]
        self.assertIn("| work | theirs: **2.00** (2.00 to 2.00), at most 1.5, **missed** |", written)
        self.assertTrue(written.startswith("# Performance\n\nBefore.\n\n"))
        self.assertTrue(written.endswith("\n## System calls\n\nAfter.\n"))
        self.assertNotIn("old", written)

    def test_measures_a_part_and_writes_no_page_of_it(self):
        _, _, [(_, names)], written = self.run_bench([make_row([2] * 9, 0)], ["part"])
        self.assertEqual(names, ["work", "further work"])
        self.assertEqual(written, PAGE)

    def test_measures_single_rows_by_a_text_in_their_names(self):
        self.assertEqual(self.run_bench([], ["further"])[2][0][1], ["further work"])
        self.assertEqual(self.run_bench([], ["work", "other"])[2][0][1], ["work", "further work"])

    def test_a_word_that_is_a_parts_name_chooses_no_rows_of_others(self):
        self.assertEqual(self.run_bench([], ["part"])[1].splitlines()[0], "2 rows, about 1:05 minutes")

    def test_says_first_how_many_rows_it_measures_and_how_long_that_takes(self):
        for words, expected in (([], "3 rows, about 1:10 minutes"), (["further"], "1 row, about 0:04 minutes")):
            self.assertEqual(self.run_bench([], words)[1].splitlines()[0], expected)

    def test_refuses_a_word_that_chooses_nothing(self):
        status, output, asked, _ = self.run_bench([], ["part", "nothing"])
        self.assertEqual((status, asked), (2, []))
        self.assertTrue(output.endswith(": error: no part is called 'nothing', and no row's name contains it\n"))

    def test_lists_the_rows_and_measures_nothing(self):
        status, output, asked, written = self.run_bench([], ["--list"])
        self.assertEqual((status, asked, written), (0, [], PAGE))
        self.assertEqual([line.split("  ")[0] for line in output.splitlines()], ["part", "part", "other"])
        self.assertRegex(output.splitlines()[1], "^part +further work +4 s$")

    def test_ends_with_a_message_and_writes_nothing_if_something_cannot_be_measured(self):
        for error in (RuntimeError("Xorg did not start."), FileNotFoundError("Xorg did not start."),
                      subprocess.SubprocessError("Xorg did not start.")):
            status, output, _, written = self.run_bench(error)
            self.assertEqual((status, written), (2, PAGE))
            self.assertTrue(output.endswith("\nScripts/bench: Xorg did not start.\n"))

    def test_measures_in_a_folder_that_is_removed(self):
        [(folder, _)] = self.run_bench([], ["further"])[2]
        self.assertFalse(folder.exists())

    def test_its_page_has_the_marks(self):
        documents.find((bench.PROJECT / "Documentation/Performance.md").read_text(encoding="utf-8"), page.BEGIN)

    def test_its_rows_are_those_of_the_benchmarks(self):
        sources = "".join(path.read_text() for path in (bench.PROJECT / "Benchmarks").glob("*.cpp"))
        measured = re.findall(r'(?:\bCompare(?:Utf8)?\(|Row =)\s*"([^"]+)"', sources)
        listed = [name for part, (_, seconds) in bench.PARTS.items() if part not in ("help", "opengl", "processes")
                  for name in seconds]
        self.assertEqual(sorted(measured), sorted(listed))


if __name__ == "__main__":
    unittest.main()
