#!/usr/bin/python3 -B
"""Tests of what history.py finds changed: Tests/Support/test_history.py. Those of the commit that a branch is compared
with are in Tests/Mutants/test_mutants.py."""

import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

import history


class Changed(unittest.TestCase):
    """A tree in a folder of a repository, with the program in it."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="a blank ")
        self.addCleanup(folder.cleanup)
        self.repository = pathlib.Path(folder.name).resolve()
        self.root = self.repository / "Größe and more"
        self.write("Tests/Support/history.py")
        shutil.copy(history.__file__, self.root / "Tests/Support/history.py")
        for name in ("Source/A.h", "Source/A.cpp", "Source/Room/B.cpp", "Source/Gone.cpp", "Text.md", "../Outside.cpp"):
            self.write(name)
        (self.root / ".gitignore").write_text("Ignored.cpp\n")
        self.git("init", "--quiet", "--initial-branch=main")
        self.commit()

    def write(self, name, text=""):
        path = self.root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text)

    def git(self, *words):
        settings = ["-c", "user.name=A", "-c", "user.email=a@b", "-c", "commit.gpgsign=false",
                    "-c", "core.hooksPath=/dev/null"]
        return subprocess.run(["git", *settings, "-C", self.repository, *words], check=True, capture_output=True,
                              text=True).stdout.strip()

    def commit(self):
        self.git("add", "--all")
        self.git("commit", "--quiet", "--message", "Change")
        return self.git("rev-parse", "HEAD")

    def change(self):
        """Changes files in each way that git knows, and gives what is to be found."""
        start = self.git("rev-parse", "HEAD")
        self.write("Source/A.cpp", "committed")
        (self.root / "Source/Gone.cpp").unlink()
        self.commit()
        self.write("Source/A.h", "staged")
        self.git("add", "--all")
        self.write("Text.md", "not staged")
        for name in ("Source/Room/Größe.cpp", "Ignored.cpp", "../Outside.cpp"):
            self.write(name, "new")
        return start, ["Source/A.cpp", "Source/A.h", "Source/Room/Größe.cpp", "Text.md"]

    def test_a_change_is_found_however_far_it_has_come(self):
        start, changed = self.change()
        self.assertEqual(history.get_changed(self.root, start), changed)

    def test_patterns_choose_among_what_changed(self):
        start, _ = self.change()
        self.assertEqual(history.get_changed(self.root, start, ":(glob)Source/**/*.cpp", "*.md"),
                         ["Source/A.cpp", "Source/Room/Größe.cpp", "Text.md"])

    def test_all_files_have_changed_where_there_is_nothing_to_compare_with(self):
        self.write("Source/New.cpp")
        (self.root / "Source/Gone.cpp").unlink()
        self.assertEqual(history.get_changed(self.root, None, "Source"),
                         ["Source/A.cpp", "Source/A.h", "Source/New.cpp", "Source/Room/B.cpp"])

    def test_a_commit_that_is_not_known_is_no_lack_of_changes(self):
        with self.assertRaisesRegex(RuntimeError, "^git diff fails in "):
            history.get_changed(self.root, "0123456789")

    def run_program(self, *patterns):
        return subprocess.run([sys.executable, self.root / "Tests/Support/history.py", *patterns], capture_output=True,
                              check=False, env={**os.environ, "GIT_CEILING_DIRECTORIES": str(self.repository.parent)})

    def test_the_program_prints_what_differs_in_its_tree(self):
        self.assertEqual(self.run_program("Source").stdout,
                         b"Source/A.cpp\0Source/A.h\0Source/Gone.cpp\0Source/Room/B.cpp\0")
        _, changed = self.change()
        result = self.run_program()
        self.assertEqual((result.returncode, result.stdout.decode()), (0, "".join(f"{name}\0" for name in changed)))

    def test_the_program_fails_without_a_repository(self):
        shutil.rmtree(self.repository / ".git")
        result = self.run_program()
        self.assertEqual((result.returncode, result.stdout), (1, b""))
        self.assertRegex(result.stderr.decode(), "^history.py: git ls-files fails in ")


if __name__ == "__main__":
    unittest.main()
