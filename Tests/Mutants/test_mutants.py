#!/usr/bin/python3 -B
"""Tests of Scripts/check-mutants: Tests/Mutants/test_mutants.py."""

import concurrent.futures
import contextlib
import fnmatch
import io
import os
import pathlib
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import time
import unittest
import unittest.mock

import clang.cindex

import changes
import check_mutants
import history
import reasons
import rewriting
import runs
import tree

SOURCE = r'''#include <cstdio>
#include <string>
#define TOVRA_ASSERT(condition, message) \
    do { if (!(condition)) { std::printf("%s %s %d\n", #condition, message, __LINE__); } } while (false)
constexpr int limit = 3;
int s_count = 0;
void Add(int number) {
    s_count += number;
}
void Double() {
    s_count *= 2;
}
bool IsFull() {
    return s_count >= limit;
}
constexpr int GetNext(int number) {
    return number + 1;
}
static_assert(GetNext(2) == 3);
int main(int count, char**) {
    char buffer[8] = {};
    Add(1);
    Double();
    if (count > 1 && !IsFull()) {
        std::puts("many");
    }
    switch (count) {
    case 1:
        std::puts("one");
        break;
    default:
        std::puts("more");
    }
    TOVRA_ASSERT(count ==
                     1,
                 "Too many.");
    std::printf("%d %d %zu %d\n", s_count, GetNext(4), sizeof(buffer), __LINE__);
    return 0;
}
'''


def explain(name, change):
    """An entry that gives a change a reason."""
    return check_mutants.get_entry(name, change).replace('reason = ""', 'reason = "Nobody sees it."')


class Signed:
    """Signatures of tests, each of which is in the file of its suite; a test changes a file by its content."""

    def __init__(self):
        self.contents = {}

    def get_own(self, test):
        return self.contents.get(test.split(".")[0], "as it was")


class Tiny(unittest.TestCase):
    built = None

    def setUp(self):
        temporary = tempfile.TemporaryDirectory()
        self.addCleanup(temporary.cleanup)
        self.folder = pathlib.Path(temporary.name)
        self.signatures = Signed()

    def get_results(self):
        return check_mutants.Results(self.folder / "results.jsonl")

    def notice(self, results, name, change, test="A.B"):
        results.add_noticed(name, change, self.signatures, "UnitTests", test, "failed")

    def get_reasons(self, text=""):
        path = self.folder / "reasons.toml"
        path.write_text(text)
        return reasons.Reasons(path)

    def report(self, wanted, results, listed):
        """What is told, and the counts by room with the changes that survived, were put to fast tests only, or were
        noticed in spite of a reason."""
        output = io.StringIO()
        with contextlib.redirect_stdout(output):
            found = check_mutants.report(wanted, results, listed, self.signatures)
        return output.getvalue(), *found

    def find(self, text):
        path = self.folder / "Tiny.cpp"
        path.write_text(text)
        source = changes.Source(str(path), "Source/System/Tiny/Tiny.cpp")
        unit = clang.cindex.Index.create().parse(str(path), args=["-std=c++20", "-stdlib=libc++"])
        self.assertEqual([str(one) for one in unit.diagnostics], [])
        changes.Finder([source]).find(unit)
        source.finish()
        return source

    def find_in_body(self, body, head="int Get(int a, int b)"):
        """The changes in a function's body, as (kind, before, after)."""
        source = self.find(f"#include <string>\nvoid F(int);\nvoid G();\n{head} {{ {body} }}\n")
        return {(change.kind, change.before, change.after) for change in source.changes}

    def build(self, source):
        numbered = list(enumerate(sorted(source.changes, key=lambda one: one.start), 1))
        text, _, left_out = rewriting.rewrite(source, numbered)
        self.assertEqual(left_out, set())
        self.assertEqual(text.count(b"\n"), source.bytes.count(b"\n"))
        rewritten = self.folder / "Rewritten.cpp"
        rewritten.write_bytes(text)
        chooser, program = self.folder / "Mutation.o", self.folder / "program"
        subprocess.run(["clang-19", "-D_GNU_SOURCE", f'-DTOVRA_MUTANT_FILE="{self.folder / "chosen"}"', "-c",
                        tree.HERE / "Mutation.c", "-o", chooser], check=True)
        header = (tree.HERE / "Mutation.h").read_text().replace("TOVRA_REPORT_ASSERTION(__func__, text, message)",
                                                                'std::printf("%s %s %d\\n", text, message, __LINE__)')
        (self.folder / "Mutation.h").write_text(header)
        subprocess.run(["clang++-19", "-std=c++20", "-stdlib=libc++", "-Wno-everything", "-Werror=vla-extension",
                        "-include", self.folder / "Mutation.h", rewritten, chooser, "-o", program], check=True)
        return program, numbered

    def get_program(self):
        """SOURCE, built once for all tests that run it: they work in the folder whose file names the chosen change."""
        tiny = type(self)
        if tiny.built is None:
            temporary = tempfile.TemporaryDirectory()
            tiny.addClassCleanup(temporary.cleanup)
            self.folder = pathlib.Path(temporary.name)
            tiny.built = self.folder, self.build(self.find(SOURCE))
        self.folder, built = tiny.built
        (self.folder / "chosen").unlink(missing_ok=True)
        return built

    def run_program(self, program, *arguments, **environment):
        return subprocess.run([program, *arguments], env=os.environ | environment, capture_output=True, text=True,
                              check=True).stdout

    def test_comparisons_are_turned(self):
        found = self.find_in_body("return a < b;")
        self.assertEqual(found, {(changes.COMPARISON_TURNED, "a < b", "a <= b"),
                                 (changes.COMPARISON_TURNED, "a < b", "a >= b")})

    def test_comparisons_of_objects_are_turned(self):
        found = self.find_in_body('return a == b;', "bool Get(const std::string& a, const std::string& b)")
        self.assertEqual(found, {(changes.COMPARISON_TURNED, "a == b", "a != b")})
        found = self.find_in_body('return a != b;', "bool Get(const std::string& a, const std::string& b)")
        self.assertEqual(found, {(changes.COMPARISON_TURNED, "a != b", "a == b")})

    def test_conditions_are_forced(self):
        found = self.find_in_body("if (a) { return b; } return a;")
        self.assertEqual(found, {(changes.CONDITION_FORCED, "a", "true"), (changes.CONDITION_FORCED, "a", "false")})
        self.assertEqual(self.find_in_body("while (a) { return b; } return a;"), {
            (changes.CONDITION_FORCED, "a", "false"),
            (changes.STATEMENT_LEFT_OUT, "while (a) { return b; }", "")})
        found = self.find_in_body("return a && b;")
        self.assertEqual(found, {(changes.OPERATOR_CHANGED, "a && b", "(a) || (b)"),
                                 (changes.CONDITION_FORCED, "a && b", "a"), (changes.CONDITION_FORCED, "a && b", "b")})

    def test_what_a_compiler_decides_stays(self):
        self.assertEqual(self.find_in_body("if constexpr (sizeof(a) > 2) { return b; } return a;"), set())
        self.assertEqual(self.find_in_body("constexpr int c = 3; static_assert(c == 3); return c;"), set())
        self.assertEqual(self.find_in_body("int c[3]; return c[a];"), set())
        self.assertEqual(self.find_in_body("return 3;", "consteval int Get()"), set())
        self.assertEqual(self.find_in_body("return __builtin_return_address(0);", "void* Get()"), set())
        constant = self.find("constexpr int limit = 3; "
                             "struct S { int size = 2; bool operator==(const S&) const = default; };\n")
        self.assertEqual(constant.changes, [])

    def test_statements_are_left_out_and_exchanged(self):
        found = self.find_in_body("F(a); G(); int c = a; G(); return c;")
        self.assertEqual(found, {(changes.STATEMENT_LEFT_OUT, "F(a);", ""), (changes.STATEMENT_LEFT_OUT, "G();", ""),
                                 (changes.STATEMENTS_EXCHANGED, "F(a);", "G();")})

    def test_constants_are_off_and_texts_are_changed(self):
        found = self.find_in_body('std::string s = "abcde"; return 7;')
        self.assertEqual(found, {(changes.TEXT_CHANGED, '"abcde"', '"xbcde"'),
                                 (changes.TEXT_CHANGED, '"abcde"', '"abcdx"'),
                                 (changes.CONSTANT_OFF, "7", "7 + 1")})

    def test_values_are_negated(self):
        found = self.find_in_body("return Get(false);", "bool Get(bool)")
        self.assertEqual(found, {(changes.VALUE_NEGATED, "Get(false)", "!(Get(false))"),
                                 (changes.VALUE_NEGATED, "false", "true")})

    def test_without_a_choice_all_is_as_before(self):
        program, _ = self.get_program()
        self.assertEqual(self.run_program(program), "one\n2 5 8 37\n")
        self.assertEqual(self.run_program(program, "2"), "many\nmore\ncount == 1 Too many. 36\n2 5 8 37\n")

    def test_the_chosen_change_alone_is_in_force(self):
        program, numbered = self.get_program()

        def run(kind, before, after, *arguments):
            numbers = [number for number, change in numbered if (change.kind, change.before, change.after)
                       == (kind, before, after)]
            self.assertEqual(len(numbers), 1, (kind, before, after))
            return self.run_program(program, *arguments, TOVRA_MUTANT=str(numbers[0]))

        self.assertEqual(run(changes.STATEMENTS_EXCHANGED, "Add(1);", "Double();"), "one\n1 5 8 37\n")
        self.assertEqual(run(changes.STATEMENT_LEFT_OUT, "Double();", ""), "one\n1 5 8 37\n")
        self.assertEqual(run(changes.STATEMENT_LEFT_OUT, "break;", ""), "one\nmore\n2 5 8 37\n")
        self.assertEqual(run(changes.TEXT_CHANGED, '"one"', '"xne"'), "xne\n2 5 8 37\n")
        self.assertEqual(run(changes.OPERATOR_CHANGED, "number + 1", "number - 1"), "one\n2 3 8 37\n")
        self.assertEqual(run(changes.CONDITION_FORCED, "count > 1 && !IsFull()", "true"), "many\none\n2 5 8 37\n")
        self.assertEqual(run(changes.COMPARISON_TURNED, "s_count >= limit", "s_count < limit", "2"),
                         "more\ncount == 1 Too many. 36\n2 5 8 37\n")
        self.assertEqual(run(changes.TEXT_CHANGED, '"Too many."', '"xoo many."', "2"),
                         "many\nmore\ncount == 1 xoo many. 36\n2 5 8 37\n")
        self.assertEqual(run(changes.COMPARISON_TURNED, "count == 1", "count != 1"),
                         "one\ncount == 1 Too many. 36\n2 5 8 37\n")

    def test_what_is_reached_is_noted(self):
        program, numbered = self.get_program()
        reached = self.folder / "reached"
        reached.write_bytes(bytes(len(numbered) + 1))
        self.assertEqual(self.run_program(program, TOVRA_MUTANT_REACHED=str(reached)), "one\n2 5 8 37\n")
        found = {change.before for number, change in numbered if reached.read_bytes()[number]}
        self.assertIn('"one"', found)
        self.assertIn("count > 1", found)
        self.assertNotIn('"many"', found)
        self.assertNotIn("!IsFull()", found)

    def test_a_process_without_environment_has_the_change_of_the_file(self):
        program, numbered = self.get_program()
        number = next(number for number, change in numbered if change.after == '"xne"')
        (self.folder / "chosen").write_text(f"TOVRA_MUTANT={number}\n")
        self.assertEqual(subprocess.run(["env", "-i", program], capture_output=True, text=True, check=True).stdout,
                         "xne\n2 5 8 37\n")
        self.assertEqual(self.run_program(program, TOVRA_MUTANT="0"), "one\n2 5 8 37\n")

    def test_a_process_without_environment_notes_what_it_reaches(self):
        program, numbered = self.get_program()
        reached = self.folder / "reached"
        reached.write_bytes(bytes(len(numbered) + 1))
        (self.folder / "chosen").write_text(f"TOVRA_MUTANT_REACHED={reached}\n")
        subprocess.run(["env", "-i", program], capture_output=True, check=True)
        self.assertIn('"one"', {change.before for number, change in numbered if reached.read_bytes()[number]})

    def test_a_child_whose_environment_is_cleared_is_changed_too(self):
        program, numbered = self.get_program()
        number = next(number for number, change in numbered if change.after == '"xne"')
        worker = runs.Worker(self.folder, 0)
        self.addCleanup(worker.close)
        other = runs.Worker(self.folder, 1)
        self.addCleanup(other.close)
        for one, expected in ((worker, "xne\n"), (other, "one\n")):
            choice = {"TOVRA_MUTANT": str(number)} if one is worker else {"TOVRA_MUTANT": "0"}
            answer = one.run(["sh", "-c", 'env -i "$0"', str(program)], str(self.folder), {"A.B": 60}, **choice)
            self.assertEqual(answer["output"], f"{expected}2 5 8 37\n")

    def test_a_survivor_is_printed_with_file_and_line_unless_it_has_a_reason(self):
        source = self.find("int Get(int a) { return\n    a + 1; }\n")
        wanted = [(source.name, change) for change in source.changes]
        results = self.get_results()
        for name, change in wanted:
            if change.kind == changes.CONSTANT_OFF:
                self.notice(results, name, change)
            else:
                results.add(name, change, check_mutants.SURVIVED, "1 test reaches it")
        told, rooms, survivors, unsettled, _ = self.report(wanted, results, self.get_reasons())
        self.assertEqual((rooms, unsettled), ({"System/Tiny": check_mutants.Counts(noticed=1, unexplained=1)}, []))
        self.assertEqual(len(survivors), 1)
        self.assertIn("Source/System/Tiny/Tiny.cpp:2: operator changed: a + 1  ->  a - 1: 1 test reaches it\n", told)

        listed = self.get_reasons(check_mutants.get_entry(*survivors[0]).replace('""', '"Nobody sees it."'))
        self.assertEqual(listed.match(wanted), [])
        _, rooms, survivors, _, _ = self.report(wanted, results, listed)
        self.assertEqual((rooms, survivors), ({"System/Tiny": check_mutants.Counts(noticed=1, explained=1)}, []))

    def test_it_is_told_how_many_of_the_tests_that_reach_a_change_were_asked(self):
        change = unittest.mock.Mock(key="key", function="Get", source_line="")

        def tell(programs, *seconds, by_suite=False):
            tests = unittest.mock.Mock(reached_by={"key": [(programs[0], f"A.{number}", one, 1)
                                                           for number, one in enumerate(seconds)]}, by_suite=by_suite)
            return check_mutants.get_reach(tests, "Source/System/Tiny/Tiny.cpp", change, programs)

        self.assertEqual(tell(["UnitTests"]), "no test reaches it")
        self.assertEqual(tell(["UnitTests"], 0.1), "1 of 1 test that reaches it was asked")
        self.assertEqual(tell(["UnitTests"], 0.1, 0.1), "2 of 2 tests that reach it were asked")
        self.assertEqual(tell(["UnitTests"], 9, 9, 9), "2 of 3 tests that reach it were asked")
        self.assertEqual(tell(["ToolTests"], 25, 9), "1 of 2 tests that reach it was asked")
        self.assertEqual(tell(["ToolTests"], 16, 9, by_suite=True), "2 of 2 suites that reach it were asked")

    def test_what_does_not_tell_how_many_tests_were_asked_is_found(self):
        source = self.find("int Get(int a) { return a + 1; }\n")
        results = self.get_results()
        for why, is_told in (("1 test reaches it", False), ("57 tests reach it", False), ("no test reaches it", True),
                             ("40 of 57 tests that reach it were asked", True)):
            results.add(source.name, source.changes[0], check_mutants.SURVIVED, why)
            self.assertEqual(results.is_told(source.changes[0]), is_told)

    def test_as_many_tests_are_told_as_are_asked(self):
        worker = FakeWorker()
        change = unittest.mock.Mock(key="key", function="Get", source_line="")
        reached = [(program, f"{program}.{number}", 0.7, number) for program in runs.PROGRAMS for number in range(50)]
        tests = unittest.mock.Mock(reached_by={"key": reached}, by_suite=False, numbers={"key": 1},
                                   programs={program: {"path": program, "folder": "."} for program in runs.PROGRAMS})
        run = runs.Runs(tests, worker, {})
        fast, slow = list(runs.FAST), [program for program in runs.PROGRAMS if program not in runs.FAST]
        for programs in (fast, slow):
            for near in (True, False):
                self.assertIsNone(run.try_change("Source/System/Tiny/Tiny.cpp", change, programs, near))
        asked = sum(len(request) for request in worker.requests)
        self.assertEqual(check_mutants.get_reach(tests, "Source/System/Tiny/Tiny.cpp", change, fast + slow),
                         f"{asked} of {len(reached)} tests that reach it were asked")
        self.assertLess(asked, len(reached))

    def test_the_share_is_of_changes_whose_fate_is_final(self):
        counts = check_mutants.Counts(noticed=5, explained=1, unexplained=2, untried=92)
        self.assertEqual((counts.all, counts.share), (100, "25.0"))
        self.assertEqual(check_mutants.Counts(untried=92).share, "–")
        # The survivors are among those that the fast programs did not notice.
        self.assertEqual(check_mutants.Counts(noticed=5, unsettled=1).share, "–")

    def test_what_is_not_tried_is_counted_as_that(self):
        source = self.find("int Get(int a) { return a + 1; }\n")
        wanted = [(source.name, change) for change in source.changes]
        results = self.get_results()
        self.assertEqual(self.report(wanted, results, self.get_reasons())[1],
                         {"System/Tiny": check_mutants.Counts(untried=2)})
        self.notice(results, *wanted[0])
        self.assertEqual(self.report(wanted, results, self.get_reasons())[1],
                         {"System/Tiny": check_mutants.Counts(noticed=1, untried=1)})

    def test_the_table_keeps_the_rows_of_other_rooms(self):
        path = self.folder / "Table.md"
        path.write_text(f"Before.\n{check_mutants.BEGIN}\n{check_mutants.END}\nAfter.\n")
        check_mutants.write_table({"System/A": check_mutants.Counts(1, 2, 3, 0, 0),
                                   "System/B": check_mutants.Counts(95)}, path)
        rooms = check_mutants.write_table({"System/B": check_mutants.Counts(noticed=6, untried=7)}, path)
        self.assertEqual(sorted(rooms), ["System/A", "System/B"])
        self.assertEqual(path.read_text(), f"""Before.
{check_mutants.BEGIN}

| room | changes | noticed | survived with a reason | without a reason | without, of 100 final \
| only fast tests asked | not tried | at most 3 of 100 |
| --- | ---: | ---: | ---: | ---: | ---: | ---: | ---: | ---: |
| System/A | 6 | 1 | 2 | 3 | 50.0 | 0 | 0 | **no** |
| System/B | 13 | 6 | 0 | 0 | 0.0 | 0 | 7 | open |
| all | 19 | 7 | 2 | 3 | 25.0 | 0 | 7 | open |

{check_mutants.END}
After.
""")

    def test_a_room_may_have_few_survivors_without_a_reason(self):
        counts = check_mutants.Counts
        for one, verdict in ((counts(noticed=97, unexplained=3), check_mutants.KEPT),
                             (counts(noticed=96, unexplained=4), check_mutants.OVER),
                             (counts(noticed=96, explained=1, unexplained=3), check_mutants.KEPT),
                             (counts(noticed=99, untried=1), check_mutants.OPEN),
                             (counts(unexplained=99, unsettled=1), check_mutants.OPEN)):
            self.assertEqual(one.verdict, verdict, one)
        kept, over, left = counts(noticed=1), counts(unexplained=1), counts(untried=1)
        for rooms, status in (({"A": kept}, 0), ({"A": kept, "B": left}, check_mutants.UNFINISHED),
                              ({"A": over, "B": left}, check_mutants.FOUND)):
            output = io.StringIO()
            with contextlib.redirect_stdout(output):
                self.assertEqual(check_mutants.judge_table(rooms, [], []), status)
            self.assertEqual("A: 100.0 of 100 changes survive" in output.getvalue(), status == check_mutants.FOUND)

        self.assertEqual(check_mutants.judge_table({"A": kept}, ["an outdated reason"], []), check_mutants.FOUND)
        self.assertEqual(check_mutants.judge_table({"A": kept}, [], ["A.h"]), check_mutants.UNFINISHED)

    def test_a_table_without_verdicts_is_read_too(self):
        head = " | ".join(check_mutants.HEAD[:-1])
        self.assertEqual(check_mutants.read_table(f"| {head} |\n| --- |\n| A | 15 | 1 | 2 | 3 | – | 4 | 5 |\n"),
                         {"A": check_mutants.Counts(1, 2, 3, 4, 5)})

    def test_a_reason_excuses_only_the_changes_that_it_names(self):
        source = self.find("int Get(int a) { return 0 + a + 0; }\n")
        wanted = [(source.name, change) for change in source.changes if change.kind == changes.CONSTANT_OFF]
        self.assertEqual([change.occurrence for _, change in wanted], [1, 2])
        entry = explain(*wanted[1])
        listed = self.get_reasons(entry)
        self.assertEqual(listed.match(wanted), [])
        self.assertEqual([listed.find(change) for _, change in wanted], [None, "Nobody sees it."])
        both = self.get_reasons(entry.replace("[2]", "[1, 2]"))
        self.assertEqual(both.match(wanted), [])
        self.assertEqual([both.find(change) for _, change in wanted], ["Nobody sees it."] * 2)
        which = self.get_reasons(entry.replace("occurrences = [2]\n", ""))
        self.assertEqual(which.match(wanted),
                         ["an entry for Source/System/Tiny/Tiny.cpp, int Get(int a) { return 0 + a + 0; } "
                          "fits 2 changes: `occurrences` has to say which"])
        self.assertEqual([which.find(change) for _, change in wanted], [None, None])
        self.assertEqual(len(self.get_reasons(entry.replace("[2]", "[2, 3]")).match(wanted)), 1)
        self.assertEqual(len(self.get_reasons(f"{entry}\n{entry}").match(wanted)), 1)
        self.assertEqual(len(self.get_reasons(entry.replace("constant off by one", "text changed")).match(wanted)), 1)

    def test_a_reason_whose_change_is_not_tried_is_not_outdated(self):
        source = self.find("int Get(int a) { return a + 1; }\n")
        wanted = [(source.name, change) for change in source.changes]
        listed = self.get_reasons(explain(*wanted[0]))
        self.assertEqual(listed.match(wanted), [])
        _, rooms, _, _, noticed = self.report(wanted, self.get_results(), listed)
        self.assertEqual((rooms["System/Tiny"].untried, noticed), (2, []))

    def test_a_reason_for_what_is_noticed_is_told(self):
        source = self.find("int Get(int a) { return a + 1; }\n")
        wanted = [(source.name, change) for change in source.changes]
        listed = self.get_reasons(explain(*wanted[0]))
        listed.match(wanted)
        results = self.get_results()
        self.notice(results, *wanted[0])
        told, _, _, _, noticed = self.report(wanted, results, listed)
        self.assertEqual(noticed, wanted[:1])
        self.assertIn("has a reason, but is noticed: UnitTests A.B failed\n", told)

    def test_a_reason_that_fits_nothing_or_says_nothing_is_refused(self):
        entry = ('[[survivor]]\nfile = "Source/System/Tiny/Tiny.cpp"\nfunction = "Get"\nkind = "text changed"\n'
                 'line = "gone"\nbefore = "a"\nafter = "b"\n')
        source = self.find("int Get(int a) { return a + 1; }\n")
        wanted = [(source.name, change) for change in source.changes]
        listed = self.get_reasons(entry + 'reason = "It was so."\n')
        self.assertEqual(listed.match(wanted), ["an entry for Source/System/Tiny/Tiny.cpp, gone fits no change"])
        self.assertEqual(listed.match([("Source/System/Tiny/Other.cpp", wanted[0][1])]), [])
        self.assertEqual([listed.find(change) for _, change in wanted], [None, None])
        for text in (entry, entry + 'reason = ""\n', entry.replace('kind = "text changed"\n', "") + 'reason = "So."\n',
                     entry + 'reason = "So."\nlater = 1\n'):
            with self.assertRaises(SystemExit):
                self.get_reasons(text)

    def test_a_reason_whose_line_is_gone_is_found_without_a_compiler(self):
        source = self.find("int Get(int a) {\n    return a + 1;\n}\n")
        entry = explain(source.name, source.changes[0])
        path = self.folder / source.name
        path.parent.mkdir(parents=True)
        described = ["an entry for Source/System/Tiny/Tiny.cpp, return a + 1;"]
        for text, gone in ((source.text, []), (source.text.replace("Get", "GetIt"), described),
                           (source.text.replace("a + 1", "a + 2"), described),
                           (source.text.replace("a + 1;", "a + 1; // So."), described)):
            path.write_text(text)
            self.assertEqual(self.get_reasons(entry).find_gone(self.folder), gone)
        path.unlink()
        self.assertEqual(self.get_reasons(entry).find_gone(self.folder), described)

    def test_a_reason_that_fits_nothing_is_told_of_a_branch_too_and_once(self):
        source = self.find("int Get(int a) { return a + 1; }\n")
        place = unittest.mock.Mock()
        place.find_changes = lambda names, _: {name: source for name in names}
        trial = check_mutants.Trial(None, place, [], None)
        entry = explain(source.name, source.changes[0])
        trial.listed = self.get_reasons(entry.replace("a - 1", "a - 2").replace("1 + 1", "1 + 2"))
        output = io.StringIO()
        with contextlib.redirect_stdout(output):
            found, wrong = trial.find([source.name])
            self.assertEqual((list(found), len(wrong)), ([source.name], 1))
            found, wrong = trial.find([source.name])
        self.assertEqual((list(found), wrong), ([source.name], []))
        self.assertIn("reasons.toml: an entry for Source/System/Tiny/Tiny.cpp, int Get(int a) { return a + 1; } "
                      "fits no change", output.getvalue())

    def test_every_reason_fits_a_line_of_the_sources(self):
        self.assertEqual(reasons.Reasons(tree.HERE / "reasons.toml").find_gone(tree.ROOT), [])

    def test_what_is_noticed_is_tried_again_once_its_function_or_test_changes(self):
        source = self.find("int Get(int a) {\n    return a + 1;\n}\n")
        self.notice(self.get_results(), source.name, source.changes[0])
        moved = self.find("// A line more.\nint Get(int a) {\n    return a + 1;\n}\n")
        again = self.get_results()
        first = next(change for change in moved.changes if change.key == source.changes[0].key)
        self.assertEqual(again.get_fate(first, self.signatures), check_mutants.NOTICED)
        changed = self.find("int Get(int a) {\n    a = 1;\n    return a + 1;\n}\n")
        self.assertIn(first.key, {change.key for change in changed.changes})
        fates = {again.get_fate(change, self.signatures) for change in changed.changes}
        self.assertEqual(fates, {check_mutants.UNTRIED})
        self.signatures.contents["B"] = "new"
        self.assertEqual(again.get_fate(first, self.signatures), check_mutants.NOTICED)
        self.signatures.contents["A"] = "new"
        self.assertEqual(again.get_fate(first, self.signatures), check_mutants.UNTRIED)

    def test_a_test_is_in_the_file_whose_name_its_suite_begins_with(self):
        for name in ("Path", "PathName"):
            (self.folder / "Tests" / "System").mkdir(parents=True, exist_ok=True)
            (self.folder / "Tests" / "System" / f"{name}Test.cpp").write_text(name)
        (self.folder / "Source").mkdir()
        signatures = runs.Signatures(self.folder)
        tests = ("Path.A", "PathTest.A", "All/PathTest/0.A/1", "PathNameTest.A")
        own = {test: signatures.get_own(test) for test in tests}
        self.assertEqual(len(set(own.values())), 2)
        self.assertEqual(own["Path.A"], own["All/PathTest/0.A/1"])
        self.assertNotEqual(own["Path.A"], own["PathNameTest.A"])
        self.assertIsNone(signatures.get_own("Other.A"))
        self.assertIsNone(signatures.get_own(""))

    def test_what_survived_is_tried_again_if_another_test_reaches_it(self):
        source = self.find("int Get(int a) { return a + 1; }\n")
        change = source.changes[0]
        self.get_results().add(source.name, change, check_mutants.NOT_BY_FAST, "1 test reaches it", fast="one")
        again = self.get_results()
        self.assertTrue(again.has_survived(change, None, "fast", "one"))
        self.assertFalse(again.has_survived(change, None, "fast", "two"))
        self.assertFalse(again.has_survived(change, None, "slow", "one"))
        self.assertFalse(again.has_survived(change, "survivors", "fast", "one"))
        self.assertEqual(again.get_fate(change, self.signatures), check_mutants.NOT_BY_FAST)

    def test_what_only_fast_tests_were_asked_about_is_no_survivor(self):
        source = self.find("int Get(int a) { return a; }\nvoid F(); void G() { F(); }\n")
        wanted = [(source.name, source.changes[0])]
        results = self.get_results()
        results.add(*wanted[0], check_mutants.NOT_BY_FAST, "no test reaches it", fast="one")
        _, rooms, survivors, unsettled, _ = self.report(wanted, results, self.get_reasons())
        counts = {"System/Tiny": check_mutants.Counts(unsettled=1)}
        self.assertEqual((rooms, survivors, unsettled), (counts, [], wanted))
        # A reason is not put to the test before the other programs are asked.
        listed = self.get_reasons(explain(*wanted[0]))
        listed.match(wanted)
        _, rooms, _, unsettled, _ = self.report(wanted, results, listed)
        self.assertEqual((rooms, unsettled), ({"System/Tiny": check_mutants.Counts(unsettled=1)}, []))

    def test_only_functions_whose_text_differs_are_taken(self):
        old = "int Get(int a) { return a + 1; }\nint Other(int a) { return a - 1; }\n"
        source = self.find("// A line more.\nint Get(int a) {\n    return a + 1;\n}\n"
                           "int Other(int a) { return a - 2; }\n")
        source.keep_changed(old)
        self.assertEqual({change.function for change in source.changes}, {"Other"})
        source.keep_changed("")
        self.assertEqual({change.function for change in source.changes}, {"Other"})

    def test_what_a_limit_of_time_cuts_is_spread_over_files_and_always_the_same(self):
        source = self.find("int Get(int a) { return a + 1 + 2 + 3; }\n")
        wanted = [(name, change) for name in ("A.cpp", "B.cpp") for change in source.changes]
        found = check_mutants.spread(wanted)
        self.assertCountEqual(found, wanted)
        self.assertEqual([name for name, _ in found], ["A.cpp", "B.cpp"] * len(source.changes))
        self.assertEqual(found, check_mutants.spread(wanted[::-1][len(source.changes):] + wanted[len(source.changes):]))

    def test_nothing_is_tried_once_time_is_over(self):
        source = self.find("int Get(int a) { return a + 1; }\n")
        wanted = [(source.name, change) for change in source.changes]
        tests = unittest.mock.Mock(reached_by={}, signatures=self.signatures)
        with contextlib.redirect_stdout(io.StringIO()):
            survived, undone = check_mutants.try_by(tests, [FakeWorker()], ["UnitTests"], wanted, self.get_results(),
                                                    lambda *one: self.fail(), lambda: True, self.fail)
        self.assertEqual((survived, undone), ([], wanted))

    def test_what_no_test_could_answer_in_time_is_not_tried(self):
        source = self.find("int Get(int a) { return a + 1; }\n")
        wanted = [(source.name, change) for change in source.changes]
        reached = {change.key: [("UnitTests", "A.B", 0.01, 1)] for _, change in wanted}
        tests = unittest.mock.Mock(reached_by=reached, signatures=self.signatures, numbers=dict.fromkeys(reached, 1),
                                   programs={"UnitTests": {"path": "UnitTests", "folder": "."}})
        overtaken = unittest.mock.Mock()
        is_over = unittest.mock.Mock(return_value=False)

        def run(*_, **__):
            is_over.return_value = True
            raise runs.TimeIsOver

        overtaken.run = run
        with contextlib.redirect_stdout(io.StringIO()):
            survived, undone = check_mutants.try_by(tests, [overtaken], ["UnitTests"], wanted, self.get_results(),
                                                    lambda *one: self.fail(), is_over, self.fail)
        self.assertEqual((survived, undone), ([], wanted))

    def test_where_tests_cannot_be_run_no_change_is_noticed_and_all_ends(self):
        source = self.find("int Get(int a) { return a + 1; }\n")
        wanted = [(source.name, change) for change in source.changes]
        reached = {change.key: [("UnitTests", "A.B", 0.01, 1)] for _, change in wanted}
        tests = unittest.mock.Mock(reached_by=reached, signatures=self.signatures, numbers=dict.fromkeys(reached, 1),
                                   programs={"UnitTests": {"path": "UnitTests", "folder": "."}})
        worker, stopped, output = FakeWorker(), threading.Event(), io.StringIO()
        worker.run = lambda *_, **__: {"status": 127, "output": "Not found.\n"}
        with contextlib.redirect_stdout(output):
            survived, undone = check_mutants.try_by(tests, [worker], ["UnitTests"], wanted, self.get_results(),
                                                    lambda *one: self.fail(), stopped.is_set, stopped.set)
        self.assertEqual((survived, undone), ([], wanted))
        self.assertEqual(output.getvalue(), "UnitTests ended with 127 before its first test, also without a change.\n")

    def test_a_notice_without_a_name_is_known_only_if_it_was_confirmed(self):
        source = self.find("int Get(int a) { return a + 1; }\n")
        change = source.changes[0]
        self.get_results().add(source.name, change, check_mutants.NOTICED, "UnitTests ended with 127", test="",
                               made=None)
        results, signatures = self.get_results(), runs.Signatures(self.folder)
        self.assertEqual(results.get_fate(change, signatures), check_mutants.UNTRIED)
        results.add_noticed(source.name, change, signatures, "UnitTests", "", "ended with -11")
        self.assertEqual(self.get_results().get_fate(change, signatures), check_mutants.NOTICED)

    def test_a_build_has_to_end_in_time(self):
        begin = time.time()
        place = tree.Tree(self.folder / "mutants", begin + 1)
        with self.assertRaises(tree.OutOfTime):
            place.run(["sleep", "600"], "sleep.log")
        self.assertLess(time.time() - begin, 60)

    def test_a_build_that_is_stopped_has_not_run_out_of_time(self):
        place = tree.Tree(self.folder / "mutants")
        before = signal.signal(signal.SIGALRM, signal.default_int_handler)
        self.addCleanup(signal.signal, signal.SIGALRM, before)
        signal.setitimer(signal.ITIMER_REAL, 0.5)
        begin = time.time()
        with self.assertRaises(KeyboardInterrupt):
            place.run(["sleep", "600"], "sleep.log")
        self.assertLess(time.time() - begin, 60)

    def test_what_does_not_compile_is_left_out_until_its_function_changes(self):
        place = FakeTree(self.folder / "mutants")
        for text, unfit in (("int Get(int a) {\n    return a + 1;\n}\n", "a - 1"),
                            ("int Get(int a) {\n    a = 2;\n    return a + 1;\n}\n", None)):
            source = self.find(text)
            place.unfit = unfit
            numbered = {source.name: list(enumerate(sorted(source.changes, key=lambda one: one.start), 1))}
            with contextlib.redirect_stdout(io.StringIO()):
                dropped = place.compile({source.name: source}, numbered, ["UnitTests"], 2)
            left_out = [change.after for change in source.changes if change.identity in dropped]
            self.assertEqual(left_out, [unfit] if unfit else [])
            written = (place.sources / source.name).read_text()
            self.assertEqual("(a - 1)" in written, unfit is None)

    def test_changes_that_overlap_are_left_out_and_told_as_that(self):
        source = self.find("void F(int); void G(int a) { F(a); F(1); F(a); }\n")
        numbered = list(enumerate(source.changes, 1))
        across = changes.Change("across", numbered[0][1].start, numbered[-1][1].start + 2, "", 1, "G")
        _, _, left_out = rewriting.rewrite(source, [*numbered, (100, across)])
        self.assertTrue(left_out)
        place = FakeTree(self.folder / "mutants")
        place.write_sources({source.name: source}, {source.name: [*numbered, (100, across)]}, dropped := set())
        self.assertEqual(len(dropped), len(left_out))
        self.assertIn("do not compile, or overlap", check_mutants.get_count(3, 1, len(dropped)))

    def parse(self, text):
        """Finds the changes of a source as they are found in a tree; gives the files that they are kept in."""
        self.addCleanup(os.chdir, os.getcwd())
        (self.folder / "Tiny.cpp").write_text(text)
        kept = self.folder / "kept"
        with unittest.mock.patch("tree.ROOT", self.folder):
            found = tree.find_in_unit(("Tiny.cpp", ["-std=c++20"], str(self.folder), [("Tiny.cpp", kept)]))
        return found, kept

    def test_the_changes_of_a_source_with_an_error_are_not_known(self):
        found, kept = self.parse("int Get(int a) { return a + 1; }\n")
        self.assertEqual(len(found[0][1].changes), 2)
        self.assertTrue(kept.exists())
        kept.unlink()
        with self.assertRaisesRegex(SystemExit, "Tiny.cpp has an error"):
            self.parse("int Get(int a) { return a + 1; }\nint Other() { return missing + 1; }\n")
        self.assertFalse(kept.exists())

    def test_a_header_that_nothing_includes_is_not_finished(self):
        place = FakeTree(self.folder / "mutants")
        with contextlib.redirect_stdout(io.StringIO()), unittest.mock.patch("tree.ROOT", self.folder):
            (self.folder / "Source").mkdir()
            (self.folder / "Source" / "Alone.h").write_text("")
            self.assertEqual(place.find_changes(["Source/Alone.h"], 1), {})
        self.assertEqual(check_mutants.get_unread(place, ["Source/Alone.h"]), ["Source/Alone.h"])
        self.assertEqual(check_mutants.get_unread(place, ["Source/Other.h"]), [])

    def test_which_programs_are_asked_about_a_change(self):
        for name, more in (("Source/System/Log/Log.cpp", []),
                           ("Source/System/Log/File_Linux.cpp", ["HostTests", "WindowTests"]),
                           ("Source/System/X11/Atoms.cpp", ["HostTests", "WindowTests"]),
                           ("Source/System/Desktop/Window_MacOS.mm", ["AppKitTests"]),
                           ("Source/System/Error/ErrorHandler.cpp", ["ErrorHandlerTests"]),
                           ("Source/Fieldhost/Tools/Main.cpp", ["ToolTests"])):
            self.assertEqual(check_mutants.get_programs([name]), [*runs.FAST, *more])

    def test_an_end_of_the_tests_other_than_success_is_notice(self):
        judge = runs.Runs.judge
        running = "[ RUN      ] A.B\n"
        self.assertIsNone(judge({"status": 0, "output": running}))
        self.assertEqual(judge({"status": 1, "output": running + "[  FAILED  ] A.B (3 ms)\n"}), ("A.B", "failed"))
        self.assertEqual(judge({"status": None, "limit": 5, "output": running}), ("A.B", "took more than 5 s"))
        self.assertEqual(judge({"status": -11, "output": running}), ("A.B", "ended with -11"))


class FakeTree(tree.Tree):
    """Compiles nothing, and finds an error in one change."""

    unfit = None

    def get_commands(self):
        return {}

    def run(self, command, log):
        for path in self.sources.rglob("*.cpp"):
            text = path.read_text()
            position = text.find(f"({self.unfit})") if self.unfit else -1
            if position >= 0:
                line = text.count("\n", 0, position) + 1
                column = position - text.rfind("\n", 0, position)
                return 1, f"{path}:{line}:{column}: error: no\n"
        return 0, ""


class FakeWorker:
    """Runs nothing, and lets one test fail."""

    def __init__(self):
        self.requests, self.failing = [], None
        # A test before which the failing one has to run.
        self.spoiling = None
        # How the program ends before any test, each time, by the number of the change.
        self.ends = {}
        # A test and how long it takes each time.
        self.slow, self.slow_seconds = None, []

    def run(self, command, folder, limits, **environment):
        wanted, _, left_out = command[-1].partition("=")[2].partition("-")
        asked = wanted.split(":")
        self.requests.append(asked + [f"-{left_out}"] if left_out else asked)
        ends = self.ends.get(environment["TOVRA_MUTANT"])
        if ends:
            return {"status": ends.pop(0), "output": ""}
        if self.spoiling and self.spoiling not in asked or left_out == self.failing:
            return {"status": 0, "output": ""}
        if self.slow in asked:
            seconds = self.slow_seconds.pop(0)
            if seconds > limits[self.slow]:
                return {"status": None, "limit": limits[self.slow], "output": f"[ RUN      ] {self.slow}\n"}
        fails = any(fnmatch.fnmatchcase(self.failing or "", one) for one in asked)
        if not fails or set(asked) != set(limits) or environment != {"TOVRA_MUTANT": "1"}:
            return {"status": 0, "output": ""}
        return {"status": 1, "output": f"[  FAILED  ] {self.failing} (3 ms)\n"}


class Asked(unittest.TestCase):
    """Which tests a change is put to."""

    def setUp(self):
        self.worker = FakeWorker()
        # Test number n reaches n changes.
        reached = [("UnitTests", f"A.{number}", 0.01, number) for number in range(runs.NEAR + 5, 0, -1)]
        known = unittest.mock.Mock(reached_by={"key": reached}, numbers={"key": 1},
                                   programs={"UnitTests": {"path": "UnitTests", "folder": "."}})
        self.runs = runs.Runs(known, self.worker, {})
        self.change = unittest.mock.Mock(key="key", function="Get", source_line="return AvoidShaderCache();")

    def ask(self, near):
        return self.runs.try_change("Source/System/Tiny/Tiny.cpp", self.change, ["UnitTests"], near)

    def test_the_tests_that_reach_least_come_first_and_all_others_later(self):
        self.assertIsNone(self.ask(True))
        self.assertEqual(self.worker.requests, [[f"A.{number}" for number in range(1, runs.NEAR + 1)]])
        self.assertTrue(self.runs.has_others(self.change, ["UnitTests"]))
        self.assertIsNone(self.ask(False))
        self.assertEqual(self.worker.requests[1:], [[f"A.{number}" for number in range(runs.NEAR + 1, runs.NEAR + 6)]])

    def test_what_noticed_something_in_a_function_is_asked_before_all(self):
        self.worker.failing = f"A.{runs.NEAR + 3}"
        self.assertIsNone(self.ask(True))
        self.assertEqual(self.ask(False), ("UnitTests", self.worker.failing, "failed"))
        self.worker.requests.clear()
        self.assertEqual(self.ask(True), ("UnitTests", self.worker.failing, "failed"))
        self.assertEqual(self.worker.requests, [[self.worker.failing]])

    def test_of_a_slow_program_those_come_first_whose_names_have_words_of_the_change(self):
        known = self.runs.tests
        known.programs["ToolTests"] = known.programs["UnitTests"]
        known.reached_by["key"] = [("ToolTests", test, 20.0, count) for test, count in
                                   (("A.FailsInTime", 1), ("A.LeavesNoShaderCache", 5), ("A.HasCache", 3))]
        self.assertIsNone(self.runs.try_change("Source/System/Tiny/Tiny.cpp", self.change, ["ToolTests"], False))
        self.assertEqual(self.worker.requests, [["A.LeavesNoShaderCache"]])

    def test_a_test_that_takes_too_long_is_asked_again_alone(self):
        self.worker.slow, self.worker.slow_seconds = "A.7", [3, 3]
        self.assertIsNone(self.ask(True))
        others = [one for one in self.worker.requests[0] if one != "A.7"]
        self.assertEqual(self.worker.requests[1:], [["A.7"], others])
        self.worker.slow_seconds = [30, 30]
        self.assertEqual(self.ask(True), ("UnitTests", "A.7", "took more than 5 s"))

    def test_a_failure_that_depends_on_the_other_tests_of_the_process_is_no_notice(self):
        self.worker.failing, self.worker.spoiling = "A.7", "A.3"
        self.assertIsNone(self.ask(True))
        others = [one for one in self.worker.requests[0] if one != "A.7"]
        self.assertEqual(self.worker.requests[1:], [["A.7"], others])
        self.worker.spoiling = None
        self.assertEqual(self.ask(True), ("UnitTests", "A.7", "failed"))
        self.assertEqual(self.worker.requests[-1], ["A.7"])

    def test_the_other_tests_of_a_suite_are_asked_where_one_passes_alone(self):
        self.runs.tests.reached_by["key"] = [("UnitTests", "A.*", 0.01, 1), ("UnitTests", "B.*", 0.01, 2)]
        self.worker.failing, self.worker.spoiling = "A.7", "A.*"
        self.assertIsNone(self.ask(True))
        self.assertEqual(self.worker.requests, [["A.*", "B.*"], ["A.7"], ["A.*", "B.*", "-A.7"]])
        self.worker.spoiling = None
        self.assertEqual(self.ask(True), ("UnitTests", "A.7", "failed"))

    def test_an_end_before_any_test_is_notice_only_if_it_comes_twice_and_not_without_the_change(self):
        self.worker.ends = {"1": [-11, -11]}
        self.assertEqual(self.ask(True), ("UnitTests", "", "ended with -11"))
        self.assertEqual(len(self.worker.requests), 3)
        self.worker.ends = {"1": [-11]}
        self.assertIsNone(self.ask(True))
        self.worker.ends = {"1": [127, 127], "0": [127]}
        with self.assertRaises(runs.CannotRun):
            self.ask(True)

    def test_a_change_that_few_tests_reach_has_no_others(self):
        del self.runs.tests.reached_by["key"][runs.NEAR:]
        self.assertFalse(self.runs.has_others(self.change, ["UnitTests"]))


class Apart(unittest.TestCase):
    """Programs in namespaces of their own."""

    def setUp(self):
        temporary = tempfile.TemporaryDirectory()
        self.addCleanup(temporary.cleanup)
        self.folder = pathlib.Path(temporary.name)
        self.worker = runs.Worker(self.folder, 0)
        self.addCleanup(self.worker.close)

    def run_script(self, script, limits):
        return self.worker.run(["sh", "-c", script], str(self.folder), limits)

    def test_a_test_that_stands_still_is_ended_by_its_own_limit(self):
        begin = time.monotonic()
        answer = self.run_script("echo '[ RUN      ] A.Long'; sleep 1.5; echo '[ RUN      ] A.B'; sleep 600",
                                 {"A.Long": 300, "A.B": 1})
        self.assertLess(time.monotonic() - begin, 60)
        self.assertEqual(runs.Runs.judge(answer), ("A.B", "took more than 1 s"))

    def test_a_test_is_not_waited_for_once_time_is_over(self):
        begin = time.time()
        worker = runs.Worker(self.folder, 1, begin + 2)
        self.addCleanup(worker.close)
        self.assertEqual(worker.run(["true"], str(self.folder), {"A.B": 600})["status"], 0)
        with self.assertRaises(runs.TimeIsOver):
            worker.run(["sleep", "600"], str(self.folder), {"A.B": 600})
        self.assertLess(time.time() - begin, 60)

    def test_tests_may_take_longer_together_than_one_of_them(self):
        answer = self.run_script("for name in B C D; do echo \"[ RUN      ] A.$name\"; sleep 1; done",
                                 {"A.B": 2.5, "A.C": 2.5, "A.D": 2.5})
        self.assertEqual(answer["status"], 0)

    def test_no_signal_is_ignored_because_the_caller_ignores_it(self):
        before = signal.signal(signal.SIGHUP, signal.SIG_IGN)
        self.addCleanup(signal.signal, signal.SIGHUP, before)
        worker = runs.Worker(self.folder, 1)
        self.addCleanup(worker.close)
        answer = worker.run(["sh", "-c", "grep SigIgn /proc/self/status"], str(self.folder), {"A.B": 5})
        self.assertEqual(int(answer["output"].split()[1], 16) & 1 << signal.SIGHUP - 1, 0)

    def test_another_worker_may_have_the_same_ports_and_abstract_sockets(self):
        rights = int(self.run_script("grep CapEff /proc/self/status", {"A.B": 5})["output"].split()[1], 16)
        if not rights & 1 << 12: # CAP_NET_ADMIN
            self.skipTest("This machine lets its user set up no network.")
        other = runs.Worker(self.folder, 1)
        self.addCleanup(other.close)
        listen = """if True:
            import os, socket, sys, time
            port, name = int(sys.argv[1]), "\\0" + sys.argv[2]
            sockets = [socket.create_server(("127.0.0.1", port)), socket.socket(socket.AF_UNIX)]
            sockets[1].bind(name)
            socket.create_connection(("127.0.0.1", port), 5)
            open(sys.argv[2] + sys.argv[3], "w").close()
            while not all(os.path.exists(sys.argv[2] + one) for one in "01"):
                time.sleep(0.01)
            """
        with socket.create_server(("127.0.0.1", 0)) as listener:
            command = [sys.executable, "-c", listen, str(listener.getsockname()[1]), str(self.folder / "listens")]
            with concurrent.futures.ThreadPoolExecutor() as threads:
                answers = list(threads.map(lambda worker: worker[1].run([*command, str(worker[0])], str(self.folder),
                                                                        {"A.B": 60}),
                                           enumerate((self.worker, other))))
        self.assertEqual([(answer["status"], answer["output"]) for answer in answers], [(0, "")] * 2)

    def test_nothing_that_a_test_has_started_is_left(self):
        self.assertEqual(self.run_script("sleep 600 & setsid sleep 600 & exit 3", {"A.B": 5})["status"], 3)
        found = self.run_script("cat /proc/[0-9]*/comm", {"A.B": 5})
        self.assertNotIn("sleep", found["output"])


class Compared(unittest.TestCase):
    """What --changed compares with, in a repository of its own."""

    def setUp(self):
        temporary = tempfile.TemporaryDirectory()
        self.addCleanup(temporary.cleanup)
        self.root = pathlib.Path(temporary.name) / "with a blank"
        self.git("init", "--quiet", "--initial-branch=main", str(self.root), inside=False)
        self.commit("First")

    def git(self, *command, inside=True):
        place = ["-C", self.root] if inside else []
        settings = ["-c", "user.name=A", "-c", "user.email=a@b", "-c", "commit.gpgsign=false",
                    "-c", "core.hooksPath=/dev/null"]
        return subprocess.run(["git", *settings, *place, *command], check=True, capture_output=True,
                              text=True).stdout.strip()

    def commit(self, name):
        self.write(name)
        self.git("add", "--all")
        self.git("commit", "--quiet", "--message", name)
        return self.git("rev-parse", "HEAD")

    def write(self, name):
        path = self.root / "Source" / f"{name}.cpp"
        path.parent.mkdir(exist_ok=True)
        path.write_text(f"{name}\n")

    def get_names(self, base="main"):
        return check_mutants.get_changed_names(history.find_start(self.root, base), self.root)

    def test_a_branch_is_compared_with_where_it_left_main(self):
        self.git("switch", "--quiet", "--create", "branch")
        self.commit("Second")
        self.commit("Third")
        self.git("switch", "--quiet", "main")
        self.commit("OfMain")
        self.git("switch", "--quiet", "branch")
        self.write("New")
        self.assertEqual(self.get_names(), ["Source/New.cpp", "Source/Second.cpp", "Source/Third.cpp"])

    def test_main_itself_is_compared_with_its_first_parent(self):
        self.git("switch", "--quiet", "--create", "branch")
        self.commit("OfBranch")
        self.git("switch", "--quiet", "main")
        first = self.commit("OfMain")
        self.git("merge", "--quiet", "--no-ff", "--message", "Merged", "branch")
        self.assertEqual(history.find_start(self.root), first)
        self.assertEqual(self.get_names(), ["Source/OfBranch.cpp"])

    def test_main_itself_is_not_compared_with_an_older_origin(self):
        self.git("update-ref", "refs/remotes/origin/main", "HEAD")
        self.commit("Second")
        self.commit("Third")
        self.assertEqual(self.get_names(), ["Source/Third.cpp"])

    def test_the_main_of_origin_is_taken_where_there_is_no_other(self):
        self.git("update-ref", "refs/remotes/origin/main", "HEAD")
        self.git("switch", "--quiet", "--create", "branch")
        self.git("branch", "--quiet", "--delete", "--force", "main")
        self.commit("Second")
        self.commit("Third")
        self.assertEqual(self.get_names(), ["Source/Second.cpp", "Source/Third.cpp"])

    def test_without_a_main_the_first_parent_is_taken(self):
        self.git("branch", "--quiet", "--move", "other")
        self.commit("Second")
        self.commit("Third")
        self.assertEqual(self.get_names(), ["Source/Third.cpp"])

    def test_without_a_parent_there_is_nothing_to_compare_with(self):
        self.assertIsNone(history.find_start(self.root))
        self.git("branch", "--quiet", "--move", "other")
        self.assertIsNone(history.find_start(self.root))
        output = io.StringIO()
        with contextlib.redirect_stdout(output), unittest.mock.patch("sys.argv", ["check-mutants", "--changed"]), \
                unittest.mock.patch("check_mutants.find_start", lambda root, base: None):
            self.assertEqual(check_mutants.main(), 0)
        self.assertIn("HEAD has no parent", output.getvalue())

    def test_the_tests_that_differ_are_those_that_were_there_before(self):
        folder = self.root / "Tests" / "System"
        folder.mkdir(parents=True)
        for name in ("FooTest.cpp", "BarTest.cpp", "SameTest.cpp", "Support.cpp"):
            (folder / name).write_text("old\n")
        self.commit("Second")
        for name in ("FooTest.cpp", "NewTest.cpp", "Support.cpp"):
            (folder / name).write_text("new\n")
        (folder / "BarTest.cpp").unlink()
        self.git("add", "--all")
        self.assertEqual(check_mutants.get_changed_tests("HEAD", self.root),
                         ["Tests/System/BarTest.cpp", "Tests/System/FooTest.cpp"])
        self.assertEqual(check_mutants.get_text("HEAD", "Tests/System/BarTest.cpp", self.root), b"old\n")

    def test_a_test_is_made_for_the_sources_of_its_name(self):
        names = [f"Source/System/A/{name}"
                 for name in ("Foo.cpp", "Foo.h", "Foo_Linux.cpp", "FooBar.h", "Bar.h", "HostBar.h")]
        self.assertEqual(check_mutants.get_tested_names(["Tests/System/A/FooTest.cpp"], names), names[:3])
        self.assertEqual(check_mutants.get_tested_names(["Tests/Host/HostBarTest.cpp"], names), names[4:])
        self.assertEqual(check_mutants.get_tested_names([], names), [])

    def test_the_old_text_is_that_of_all_sources_that_differ(self):
        self.commit("Second")
        self.git("rm", "--quiet", "Source/First.cpp")
        (self.root / "Source" / "Second.cpp").write_text("new")
        self.assertEqual(check_mutants.get_old_text("HEAD", self.root), "First\n\nSecond\n")


TINY = {
    "CMakeLists.txt": """cmake_minimum_required(VERSION 3.25)
project(Tiny CXX)
enable_testing()
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
add_executable(UnitTests Source/System/Tiny/Tiny.cpp Tests/System/Tiny/TinyTest.cpp)
target_link_libraries(UnitTests m)
foreach(target MacHostTests TovraStandardHeaders TovraTestHeaders)
    add_custom_target(${target})
endforeach()
foreach(test Tiny.Adds Tiny.IsLarge Other.Adds)
    add_test(NAME ${test} COMMAND UnitTests --gtest_filter=${test})
endforeach()
""",
    "CMakePresets.json": """{"version": 6, "configurePresets": [{"name": "debug", "generator": "Ninja",
"binaryDir": "${sourceDir}/build/debug", "cacheVariables": {"CMAKE_CXX_COMPILER": "clang++-19",
"CMAKE_CXX_COMPILER_LAUNCHER": "",
"CMAKE_CXX_COMPILER_WORKS": "ON", "CMAKE_CXX_ABI_COMPILED": "ON", "CMAKE_EXPORT_COMPILE_COMMANDS": "ON"}}],
"testPresets": [{"name": "debug", "configurePreset": "debug"}]}
""",
    ".gitignore": "/build/\n",
    "Tests/Mutants/reasons.toml": "",
    "Source/System/Tiny/Tiny.cpp": """int Add(int a, int b) {
    return a + b;
}
bool IsLarge(int a) {
    return a > 10;
}
int GetHalf(int a) {
    return a / 2;
}
""",
    # Prints what a program of GoogleTest prints.
    "Tests/System/Tiny/TinyTest.cpp": r"""#include <fnmatch.h>
#include <stdio.h>
#include <string.h>
int Add(int a, int b);
bool IsLarge(int a);
static bool Run(const char* filter, const char* name, bool isRight) {
    char text[1000];
    snprintf(text, sizeof(text), "%s", filter);
    for (char* one = strtok(text, ":"); one != nullptr; one = strtok(nullptr, ":")) {
        if (fnmatch(one, name, 0) == 0) {
            printf("[ RUN      ] %s\n%s %s (0 ms)\n", name, isRight ? "[       OK ]" : "[  FAILED  ]", name);
            return isRight;
        }
    }
    return true;
}
int main(int count, char** arguments) {
    const char* filter = strchr(arguments[count - 1], '=') + 1;
    if (!Run(filter, "Tiny.Adds", Add(2, 3) == 5) ||
        !Run(filter, "Other.Adds", Add(0, 0) == 0) ||
        !Run(filter, "Tiny.IsLarge", IsLarge(11) && !IsLarge(10))) {
        return 1;
    }
    puts("[  PASSED  ] 1 test.");
}
""",
}


class Place(unittest.TestCase):
    """What of a tree is built, and what the compiler says of it."""

    def setUp(self):
        temporary = tempfile.TemporaryDirectory()
        self.addCleanup(temporary.cleanup)
        self.root = pathlib.Path(temporary.name) / "with a blank"

    def write(self, name, text="", seconds=None):
        path = self.root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text)
        if seconds is not None:
            os.utime(path, (seconds, seconds))

    def test_the_build_that_was_built_last_is_taken(self):
        self.assertIsNone(tree.find_build(self.root))
        for preset, seconds in (("debug", 10), ("asan", 20), ("tsan", 30)):
            self.write(f"build/{preset}/.ninja_log", "", seconds)
        # Without the tests it is none.
        self.assertIsNone(tree.find_build(self.root))
        self.write("build/debug/bin/UnitTests")
        self.assertEqual(tree.find_build(self.root), self.root / "build" / "debug")
        self.write("build/asan/bin/UnitTests")
        self.write("build/tsan/bin/UnitTests")
        self.assertEqual(tree.find_build(self.root), self.root / "build" / "asan")

    def find_includer(self, name, *includers):
        with unittest.mock.patch("tree.ROOT", self.root):
            return tree.find_includer(name, list(includers))

    def test_a_header_is_read_with_a_source_that_includes_it_if_only_through_others(self):
        self.write("Source/A/Own.cpp")
        self.write("Source/A/Far.h")
        self.write("Source/A/Near.h", "#include <A/Far.h>\n")
        self.write("Source/B/Uses.cpp", "#include <A/Near.h>\n")
        self.write("Source/B/Unbuilt.cpp", "#include <A/Far.h>\n")
        self.assertEqual(self.find_includer("Source/A/Own.h", "Source/B/Uses.cpp", "Source/A/Own.cpp"),
                         "Source/A/Own.cpp")
        self.assertEqual(self.find_includer("Source/A/Own.h", "Source/A/Own_Linux.cpp"), "Source/A/Own_Linux.cpp")
        self.assertEqual(self.find_includer("Source/A/Far.h", "Source/B/Uses.cpp"), "Source/B/Uses.cpp")
        self.assertIsNone(self.find_includer("Source/A/Far.h", "Source/A/Own.cpp"))

    def test_an_error_is_where_the_first_place_in_the_sources_is(self):
        output = f"""[1/3] Building.
{self.root}/Source/A/A.cpp:1:2: warning: odd
{self.root}/Source/A/A.cpp:3:4: error: wrong
{self.root}/Source/A/A.cpp:5:6: note: declared here
/usr/include/vector:7:8: error: wrong in a header
{self.root}/Source/A/B.h:9:10: note: in what this asks for
../Source/A/C.cpp:11:12: fatal error: not found
{self.root}/Tests/A/ATest.cpp:13:14: error: in a test
"""
        self.assertEqual(list(tree.find_errors(output, self.root, self.root / "build")),
                         [("Source/A/A.cpp", 3, 4), ("Source/A/B.h", 9, 10), ("Source/A/C.cpp", 11, 12)])
        self.assertEqual(tree.find_offset(b"ab\ncd\nef\n", 3, 2), 7)

    def test_a_copy_is_like_the_tree_but_for_what_is_rewritten(self):
        for name in ("Source/A.cpp", "Source/B.cpp", "Ignored.txt"):
            self.write(name, "old")
        self.write("Run", "#!/bin/sh\n")
        (self.root / "Run").chmod(0o755)
        self.write(".gitignore", "Ignored.txt\nplace/\n")
        self.write("cmake/Compiling.cmake", "    -Wall -Werror\n")
        subprocess.run(["git", "init", "--quiet", self.root], check=True)
        place = tree.Tree(self.root / "place")
        with unittest.mock.patch("tree.ROOT", self.root):
            place.copy({"Source/B.cpp"})
            files = {str(path.relative_to(place.sources)) for path in place.sources.rglob("*") if path.is_file()}
            self.assertEqual(files, {"Source/A.cpp", "Run", ".gitignore", "cmake/Compiling.cmake"})
            self.assertIn("-Wno-everything", (place.sources / "cmake/Compiling.cmake").read_text())
            self.assertTrue(os.access(place.sources / "Run", os.X_OK))
            # What is rewritten stays, what is as before is not touched, and what is gone goes.
            (place.sources / "Source/B.cpp").write_text("rewritten")
            os.utime(place.sources / "Source/A.cpp", (1, 1))
            (self.root / "Run").unlink()
            place.copy({"Source/B.cpp"})
        self.assertEqual((place.sources / "Source/B.cpp").read_text(), "rewritten")
        self.assertEqual((place.sources / "Source/A.cpp").stat().st_mtime, 1)
        self.assertFalse((place.sources / "Run").exists())


class Inside(unittest.TestCase):
    """--changed as .ci/run starts it, in a tree of its own that has a source and a program of tests."""

    def setUp(self):
        temporary = tempfile.TemporaryDirectory()
        self.addCleanup(temporary.cleanup)
        self.root = pathlib.Path(temporary.name) / "with a blank"
        for name, text in TINY.items():
            self.write(name, text)
        for path in (*tree.HERE.glob("*.py"), *tree.HERE.glob("Mutation.*"), tree.ROOT / "Tests/Support/documents.py",
                     tree.ROOT / "Tests/Support/history.py", tree.ROOT / "Scripts/isolated"):
            target = self.root / path.relative_to(tree.ROOT)
            target.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(path, target)
        self.run_command("git", "init", "--quiet", "--initial-branch=main")
        self.commit()
        self.run_command("git", "switch", "--quiet", "--create", "branch")
        self.run_command("cmake", "--preset", "debug")
        self.run_command("cmake", "--build", "build/debug")

    def run_command(self, *command):
        result = subprocess.run(command, cwd=self.root, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                                check=False)
        self.assertEqual(result.returncode, 0, result.stdout)

    def commit(self):
        self.run_command("git", "add", "--all")
        self.run_command("git", "-c", "user.name=A", "-c", "user.email=a@b", "-c", "commit.gpgsign=false", "-c",
                         "core.hooksPath=/dev/null", "commit", "--quiet", "--message", "A")

    def write(self, name, text):
        path = self.root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text)

    def replace(self, name, old, new):
        self.assertIn(old, TINY[name])
        self.write(name, TINY[name].replace(old, new))

    def check(self):
        """The status and what is told."""
        before = {path: path.stat().st_mtime_ns for path in self.root.rglob("*") if ".git" not in path.parts}
        result = subprocess.run([self.root / "Tests/Mutants/check_mutants.py", "--changed"], stdout=subprocess.PIPE,
                                stderr=subprocess.STDOUT, text=True, check=False)
        after = {path: path.stat().st_mtime_ns for path in self.root.rglob("*") if ".git" not in path.parts}
        changed = {str(path.relative_to(self.root)) for path in before | after if before.get(path) != after.get(path)}
        self.assertLessEqual(changed, {"build", "build/mutants-changed", "build/mutants-changed/space"})
        return result.returncode, result.stdout

    def test_what_a_branch_changed_is_tried_and_nothing_is_left_in_the_tree(self):
        source, test = "Source/System/Tiny/Tiny.cpp", "Tests/System/Tiny/TinyTest.cpp"
        self.replace(source, "a + b", "b + a")
        self.replace(test, "!IsLarge(10)", "! IsLarge(10)")
        self.commit()
        status, told = self.check()
        self.assertIn("System/Tiny: 1 changes, 1 noticed", told)
        # What the tests never noticed is no fault of the branch.
        self.assertIn("5 changes in the sources of tests that differ", told)
        self.assertIn("2 changes in these, which survived", told)
        self.assertEqual(status, 0, told)

        # What a test does not notice any more.
        self.replace(test, " && !IsLarge(10)", "")
        self.commit()
        status, told = self.check()
        self.assertIn(f"{source}:5: comparison turned: a > 10  ->  a >= 10: no test notices it any more: UnitTests "
                      "Tiny.IsLarge failed at ", told)
        self.assertEqual(told.count("any more"), 1, told)
        # What a test that is as before reaches is known.
        self.assertEqual(told.count("Recording what 2 tests of UnitTests"), 2, told)
        self.assertEqual(told.count("Recording what 1 tests of UnitTests"), 1, told)
        self.assertEqual(status, check_mutants.FOUND)

        # What no test notices.
        self.replace(source, "a / 2", "a / 4")
        self.write(test, TINY[test])
        self.commit()
        status, told = self.check()
        self.assertIn(f"{source}:8: operator changed: a / 4  ->  a * 4: no suite reaches it\n", told)
        self.assertEqual(status, check_mutants.FOUND)


class Status(unittest.TestCase):
    def run_main(self, *arguments):
        output = io.StringIO()
        with contextlib.redirect_stdout(output), unittest.mock.patch("sys.argv", ["check-mutants", *arguments]):
            return check_mutants.main(), output.getvalue()

    def test_nothing_that_fits_is_no_success(self):
        self.assertEqual(self.run_main("--room", "System/None"), (2, "No source fits what is asked for.\n"))

    def test_a_reason_for_what_is_gone_is_told_before_anything_else(self):
        with unittest.mock.patch("reasons.Reasons.find_gone", lambda _, root: ["an entry for Gone.cpp, return;"]):
            status, output = self.run_main("--room", "System/None")
        self.assertEqual(output, "Tests/Mutants/reasons.toml: an entry for Gone.cpp, return; names a line or function "
                                 "that is gone.\nNo source fits what is asked for.\n")
        self.assertEqual(status, 2)

    def test_a_second_run_keeps_out_of_the_folder_of_the_first(self):
        with tempfile.TemporaryDirectory() as name:
            folder = pathlib.Path(name) / "mutants"
            first = tree.Tree(folder)
            self.assertEqual(self.run_main("--room", "System/Log", "--folder", str(folder), "--list"),
                             (3, f"Another run is at work in {folder}.\n"))
            first.free()
            tree.Tree(folder).free()

    def test_a_survivor_or_a_wrong_reason_is_worse_than_what_is_left(self):
        pairs = (([], []), (["a"], []), ([], ["b"]), (["a"], ["b"]))
        self.assertEqual([check_mutants.get_status(*one) for one in pairs], [0, 1, 3, 1])

    def test_a_table_of_parts_of_rooms_is_refused(self):
        with self.assertRaises(SystemExit), contextlib.redirect_stderr(io.StringIO()):
            self.run_main("--table", "--file", "Log.cpp")

    def test_that_nothing_differs_is_said(self):
        with unittest.mock.patch("check_mutants.find_start", lambda root, base: "0123456789abcdef"), \
                unittest.mock.patch("check_mutants.get_changed_names", lambda start: []), \
                unittest.mock.patch("check_mutants.get_changed_tests", lambda start: []):
            self.assertEqual(self.run_main("--changed"),
                             (0, "No source, and no test of one, differs from 0123456789ab.\n"))

    def test_that_time_ran_out_is_said_and_fails_nothing(self):
        def run_out(*_):
            raise tree.OutOfTime("build.log")

        with unittest.mock.patch("check_mutants.find_start", lambda root, base: "0123"), \
                unittest.mock.patch("check_mutants.get_changed_names",
                                    lambda start: ["Source/Fieldhost/Tools/Main.cpp"]), \
                unittest.mock.patch("check_mutants.get_changed_tests", lambda start: []), \
                unittest.mock.patch("tree.run_inside", run_out):
            self.assertEqual(self.run_main("--changed"),
                             (0, "Time ran out while build was under way; no change was tried.\n"))
        with unittest.mock.patch("check_mutants.check", run_out):
            self.assertEqual(self.run_main("--file", "Main.cpp")[0], check_mutants.UNFINISHED)

    def test_what_is_stopped_is_not_finished(self):
        def stop(*_):
            raise KeyboardInterrupt

        with unittest.mock.patch("check_mutants.check", stop):
            self.assertEqual(self.run_main("--file", "Main.cpp"), (check_mutants.UNFINISHED, "Stopped.\n"))


if __name__ == "__main__":
    unittest.main()
