#!/usr/bin/env python3
"""What Scripts/bench makes of the times that it measures: check_bench.py PROJECT [unittest arguments]"""

import contextlib
import io
import math
import sys
import tempfile
import unittest
from pathlib import Path
from unittest import mock

sys.dont_write_bytecode = True
sys.path.insert(0, str(Path(sys.argv.pop(1)).resolve() / "Benchmarks"))

# pylint: disable=wrong-import-position
import bench
import figures
import page
from rows import Memory, Row, merge, read_rows

PAGE = f"# Performance\n\nBefore.\n\n{page.BEGIN}old\n{page.END}\n## System calls\n\nAfter.\n"


def make_row(ratios, bound, name="work", kind="peer", rival="theirs"):
    return Row(name, kind, rival, bound, {0: [(ratio, 1) for ratio in ratios]})


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
        lines = ["work\tpeer\ttheirs\t0.7\t10\t1 2\t3 4\t5 6\n", "work\tpeer\ttheirs\t0.7\t20\t7\t8\t9\n",
                 "work\tlimit\tbare\t0\t10\t1 2\t2 1\t\n", "work\tlimit\tbarer\t0\t10\t1\t1\t\n"]
        first, second, third = read_rows(lines)
        self.assertEqual(first, Row("work", "peer", "theirs", 0.7, {10: [(1, 3, 5), (2, 4, 6)], 20: [(7, 8, 9)]}))
        self.assertEqual(second, Row("work", "limit", "bare", 0, {10: [(1, 2), (2, 1)]}))
        self.assertEqual(third, Row("work", "limit", "barer", 0, {10: [(1, 1)]}))

    def test_a_line_with_a_time_missing_is_refused(self):
        with self.assertRaises(ValueError):
            read_rows(["work\tpeer\ttheirs\t0.7\t0\t1 2\t3\t\n"])

    def test_rows_of_the_same_comparison_are_merged(self):
        groups = [[Row("work", "peer", "theirs", 1, {size: [(size, 1)]})] for size in (1, 2)]
        self.assertEqual(merge(groups), [Row("work", "peer", "theirs", 1, {1: [(1, 1)], 2: [(2, 1)]})])


class Page(unittest.TestCase):
    def test_only_what_is_between_the_markers_is_replaced(self):
        text = page.replace_tables(PAGE, "new\n")
        self.assertEqual(text, PAGE.replace("old\n", "new\n"))
        self.assertEqual(page.replace_tables(text, "old\n"), PAGE)

    def test_a_page_without_its_markers_is_refused(self):
        for text in ("", PAGE.replace(page.BEGIN, ""), PAGE.replace(page.END, ""), PAGE + PAGE,
                     page.END + page.BEGIN):
            with self.assertRaises(ValueError):
                page.replace_tables(text, "new\n")

    def test_a_line_of_the_table_has_all_peers_and_limits_of_the_work(self):
        rows = [make_row([1.5] * 9, 2.0), make_row([3] * 9, 2.5, rival="others"),
                make_row([0.75] * 9, 0, kind="limit", rival="bare"),
                make_row([1] * 9 + [2] * 9 + [3] * 9, 2.0, name="more")]
        table = page.format_table(rows)
        self.assertIn("| work | theirs: **1.50** (1.50 to 1.50), at most 2<br>others: **3.00** (3.00 to 3.00), at most "
                      "2.5, **missed** | bare: **0.75** (0.75 to 0.75) |\n", table)
        self.assertIn("| more | theirs: **2.00** (1.00 to 3.00), at most 2, **not settled** |  |\n", table)

    def test_growth_and_memory_have_tables_of_their_own(self):
        growing = Row("further work", "peer", "theirs", 1, {1: [(1, 2)], 2: [(2, 4)]})
        text = page.format_tables([make_row([1], 0), growing], [Memory("work", (300, 100), (60, 40))])
        self.assertLess(text.index("| work | theirs"), text.index("## Growth"))
        self.assertLess(text.index("## Growth"), text.index("| further work | theirs: **0.50**"))
        self.assertIn("| work | 300 | 100 | 3.00 | 60 | 40 | 1.50 |\n", text[text.index("## Memory"):])


class Program(unittest.TestCase):
    def run_bench(self, rows, arguments=()):
        """Its status, its output and the page, where one part gives these rows."""
        parts = {"part": lambda *_: (rows, []), "other": lambda *_: ([make_row([1], 0, name="other")], [])}
        with tempfile.TemporaryDirectory() as folder, contextlib.redirect_stdout(io.StringIO()) as output, \
                mock.patch.dict(bench.os.environ), mock.patch.object(bench, "PROJECT", Path(folder)), \
                mock.patch.object(bench, "PARTS", parts), \
                mock.patch.object(sys, "argv", ["bench.py", *arguments]):
            (Path(folder) / "Documentation").mkdir()
            (Path(folder) / "Documentation/Performance.md").write_text(PAGE)
            status = bench.main()
            return status, output.getvalue(), (Path(folder) / "Documentation/Performance.md").read_text()

    def test_fails_if_a_bound_is_missed(self):
        status, output, _ = self.run_bench([make_row([2] * 9, 1.5), make_row([1] * 9, 1.5, rival="others")])
        self.assertEqual(status, 1)
        self.assertTrue(output.endswith("\nmissed: work, theirs\n"))

    def test_does_not_fail_but_says_so_if_a_bound_is_not_settled(self):
        status, output, _ = self.run_bench([make_row([1] * 9 + [2] * 9 + [3] * 9, 2)])
        self.assertEqual(status, 0)
        self.assertTrue(output.endswith("\nnot settled: work, theirs\n"))

    def test_writes_the_page_of_all_parts_even_if_a_bound_is_missed(self):
        written = self.run_bench([make_row([2] * 9, 1.5)])[2]
        self.assertIn("| work | theirs: **2.00** (2.00 to 2.00), at most 1.5, **missed** |", written)
        self.assertTrue(written.startswith("# Performance\n\nBefore.\n\n"))
        self.assertTrue(written.endswith("\n## System calls\n\nAfter.\n"))
        self.assertNotIn("old", written)

    def test_writes_no_page_of_chosen_parts(self):
        self.assertEqual(self.run_bench([make_row([2] * 9, 0)], ["part"])[2], PAGE)

    def test_refuses_a_part_that_there_is_not(self):
        with self.assertRaises(SystemExit) as raised, contextlib.redirect_stderr(io.StringIO()) as errors:
            self.run_bench([], ["nothing"])
        self.assertEqual(raised.exception.code, 2)
        self.assertIn("There is no part nothing, but part, other.", errors.getvalue())

    def test_its_page_has_the_markers(self):
        page.replace_tables((bench.PROJECT / "Documentation/Performance.md").read_text(), "")


if __name__ == "__main__":
    unittest.main()
