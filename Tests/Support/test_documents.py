#!/usr/bin/python3 -B
"""Tests of documents.py: Tests/Support/test_documents.py."""

import pathlib
import tempfile
import unittest

import documents

ONE, TWO = "<!-- Scripts/one writes from here -->", "<!-- Scripts/two writes from here -->"
DOCUMENT = f"# Größe\n\n{ONE}\n\nfirst\n\n{documents.END}\n\nBetween.\n\n{TWO}\n{documents.END}\nAfter.\n"


class Documents(unittest.TestCase):
    def test_only_what_is_between_the_marks_is_replaced(self):
        text = documents.replace(DOCUMENT, ONE, "\nnew\n\nlines\n\n")
        self.assertEqual(text, DOCUMENT.replace("first", "new\n\nlines"))
        self.assertEqual(documents.replace(text, ONE, "first"), DOCUMENT)

    def test_what_was_empty_stands_between_blank_lines_too(self):
        self.assertEqual(documents.replace(DOCUMENT, TWO, "second"),
                         DOCUMENT.replace(f"{TWO}\n{documents.END}", f"{TWO}\n\nsecond\n\n{documents.END}"))

    def test_what_is_between_the_marks_can_be_read(self):
        self.assertEqual([documents.read(DOCUMENT, mark) for mark in (ONE, TWO)], ["first", ""])

    def test_a_document_is_refused_unless_each_mark_has_its_end(self):
        begin, middle, end = f"{ONE}\n\nfirst\n\n{documents.END}", "\n\nBetween.\n\n", f"{TWO}\n{documents.END}"
        for text in ("", begin, end + begin.replace(documents.END, ""), begin.replace(ONE, "") + middle + end,
                     begin.replace(documents.END, "") + middle + end, begin + middle + TWO,
                     begin + middle + end + documents.END, documents.END + begin + middle + end,
                     begin + middle + end + begin + middle + end, begin + middle + documents.END + TWO):
            for mark in (ONE, TWO):
                if (text, mark) == (begin, ONE):
                    continue
                with self.assertRaises(ValueError, msg=text):
                    documents.replace(text, mark, "new")
                with self.assertRaises(ValueError, msg=text):
                    documents.read(text, mark)

    def test_a_file_is_written_as_utf_8_and_stays_as_it_is_if_refused(self):
        with tempfile.TemporaryDirectory(prefix="a blank ") as folder:
            path = pathlib.Path(folder) / "Größe.md"
            path.write_bytes(DOCUMENT.encode())
            documents.write(path, TWO, "größer")
            written = path.read_bytes()
            self.assertEqual(written.decode(), documents.replace(DOCUMENT, TWO, "größer"))
            with self.assertRaises(ValueError):
                documents.write(path, "<!-- Scripts/three writes from here -->", "new")
            self.assertEqual(path.read_bytes(), written)

    def test_all_documents_of_the_project_have_their_marks_in_order(self):
        found = 0
        root = pathlib.Path(__file__).resolve().parents[2]
        for path in sorted((root / "Documentation").glob("*.md")):
            text = path.read_text(encoding="utf-8")
            for mark in documents.MARK.findall(text):
                if mark != documents.END:
                    found += 1
                    documents.find(text, mark)
        self.assertGreater(found, 4)


if __name__ == "__main__":
    unittest.main()
