"""The checker of language files names what is wrong with a file, and nothing that is right."""

import importlib.util
import os
import re
import subprocess
import sys
import tempfile
import unittest

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__)))))
SPEC = importlib.util.spec_from_file_location("languages", os.path.join(ROOT, "scripts", "languages.py"))
languages = importlib.util.module_from_spec(SPEC)
SPEC.loader.exec_module(languages)

ENGLISH_FILE = os.path.join(languages.FOLDER, "english.txt")


class Checker(unittest.TestCase):
    def setUp(self):
        with open(ENGLISH_FILE, encoding="utf-8") as f:
            self.english = f.read()

    def problems(self, content, encoding="utf-8"):
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "x.txt")
            with open(path, "wb") as f:
                f.write(content.encode(encoding))
            return languages.check(path, languages.texts_of(languages.read(ENGLISH_FILE)[0]))

    def changed(self, old, new):
        self.assertIn(old, self.english)
        return self.problems(self.english.replace(old, new, 1))

    def expect_one(self, problems, part):
        self.assertEqual(len(problems), 1, problems)
        self.assertIn(part, problems[0])

    def test_accepts_every_shipped_file(self):
        for name in sorted(os.listdir(languages.FOLDER)):
            if name.endswith(".txt"):
                with open(os.path.join(languages.FOLDER, name), encoding="utf-8") as f:
                    self.assertEqual(self.problems(f.read()), [], name)

    def test_reports_every_missing_number_with_its_english_text(self):
        self.expect_one(self.changed("\n412=", "\n// 412="), 'missing: 412 ("Add, start, pause')
        self.assertEqual(len(self.problems("LANG=Nothing\n0=b\n")),
                         len(languages.texts_of(languages.read(ENGLISH_FILE)[0])) - 2)

    def test_requires_tool_tips_except_for_the_button_without_a_number(self):
        for number in (*range(130, 137), 138):
            without = re.sub(r"\n%d=[^\n]*" % number, "", self.english)
            self.expect_one(self.problems(without), "missing: %d" % number)
        self.assertNotIn("\n137=", self.english)

    def test_accepts_unused_numbers_and_requires_none(self):
        extra = "".join("%d=x\n" % number for number in languages.NEVER_SHOWN)
        self.assertEqual(self.problems(extra + self.english), [])
        self.assertEqual(languages.NEVER_SHOWN, {117, 120, 137, 404, 529, 532, 533, 603, 628})

    def test_reports_unknown_numbers(self):
        self.expect_one(self.problems("1024=x\n" + self.english), "unknown: 1024")
        self.expect_one(self.problems("1025=x\n" + self.english), "unknown: 1025")

    def test_reports_places_for_values_that_differ_from_the_english_text(self):
        self.expect_one(self.changed("Retry in %1 s", "Retry in 8 s"), "812 must have the same")
        self.expect_one(self.changed("\n811=", "\n811=%1"), "811 must have the same")

    def test_reports_a_hint_that_names_the_choice_or_the_page_otherwise(self):
        self.expect_one(self.changed("needs \"All downloads\"", "needs \"Everything\""), "806 must name number 803")
        self.expect_one(self.changed("page \"Transfers\"", "page \"Downloads\""), "820 must name number 800")

    def test_reports_left_sides_that_are_no_number(self):
        self.expect_one(self.problems("Pause=Halt\n" + self.english), "counts as number 0")
        self.expect_one(self.problems("12.6=Halt\n" + self.english), "counts as number 13")
        self.expect_one(self.problems("-5=Halt\n" + self.english), "counts as number -5")

    def test_reads_numbers_of_any_length_like_the_program_in_plain_digits_only(self):
        self.expect_one(self.problems("9" * 5000 + "=x\n" + self.english), "unknown: 1000000000")
        self.expect_one(self.problems("-" + "9" * 400 + "=x\n" + self.english), "is not a number")
        self.expect_one(self.problems("\u0661\u0660\u0666=x\n" + self.english), "counts as number 0")
        self.expect_one(self.problems(".6=x\n" + self.english), "counts as number 1")

    def test_reports_invalid_lines(self):
        self.expect_one(self.problems("Just a thought\n" + self.english), "line 1: neither")

    def test_reports_duplicate_and_empty_entries(self):
        self.expect_one(self.problems("412=x\n" + self.english), "412 is already in line 1")
        self.expect_one(self.changed("\n106=Resume All\n", "\n106=\n"), "106 is empty")

    def test_reports_blanks_and_tabs_that_would_be_lost_or_shown(self):
        self.expect_one(self.changed("106=Resume All\n", "106=Resume All \n"), "blanks around")
        self.expect_one(self.changed("106=Resume All\n", "106=Resume\tAll\n"), "a tab")

    def test_reports_control_characters_and_blank_texts(self):
        for sign in ("\0", "\r", "\x1b", "\u2028"):
            self.expect_one(self.changed("106=Resume All\n", "106=Resume%sAll\n" % sign), "U+%04X" % ord(sign))
        self.expect_one(self.changed("106=Resume All\n", "106=\u00a0\n"), "106 is empty")

    def test_continues_after_an_unreadable_file(self):
        with tempfile.TemporaryDirectory() as folder:
            run = subprocess.run([sys.executable, SPEC.origin, folder, ENGLISH_FILE], capture_output=True, text=True,
                                 check=False)
        self.assertEqual(run.returncode, 1, run.stderr)
        self.assertIn("cannot be read", run.stdout)
        self.assertIn("english.txt: complete", run.stdout)

    def test_requires_the_unit_after_the_name_and_the_name_once(self):
        self.expect_one(self.problems("0=x\n" + self.english.replace("\n0=bytes", "")), "must come after LANG=")
        self.expect_one(self.changed("LANG=English\n", ""), "LANG=")
        self.expect_one(self.problems("// LANG=is the name\n" + self.english), "second language")

    def test_requires_text_ends_that_fit_what_is_appended(self):
        self.expect_one(self.changed("401=Save as:\u00a0", "401=Save as:"), "no-break space")
        self.expect_one(self.changed("from the list (\n536", "from the list.\n536"), "opening bracket")
        self.expect_one(self.changed("951=\"", "951='"), "951 must not")

    def test_requires_short_texts_in_narrow_places_and_one_word_units(self):
        self.expect_one(self.changed("302=Queued", "302=Waiting for a place"), "302 is longer than the 10 characters")
        self.expect_one(self.changed("303=Stopped", "303=Stopped!"), "303 is longer than the 7 characters")
        self.expect_one(self.changed("629=Get now", "629=" + "now " * 18 + "!"), "629 is longer than the 72 characters")
        self.expect_one(self.changed("104=Pause\n", "104=" + "Pause" * 5 + "\n"), "104 is longer than the 24 characters")
        self.expect_one(self.changed("270=", "270=" + "long" * 20), "270 is longer than the 72 characters")
        self.expect_one(self.changed("\n411=", "\n411=" + "long" * 100), "411 is longer than the 400 characters")
        self.assertEqual(self.changed("302=Queued", "302=éééééééééé"), [])
        self.expect_one(self.changed("\n1=kb", "\n1=kilo bytes"), "unit")

    def test_reports_menu_entries_that_share_a_key(self):
        self.expect_one(self.changed("113=&Preferences", "113=Set &Browser"), "Show download &Basket, 113: entries")
        self.expect_one(self.changed("111=&Delete URL", "111=Delete &A URL"), '110, 111: entries of one menu with the same key "a"')

    def test_accepts_a_byte_order_mark_and_carriage_returns(self):
        self.assertEqual(self.problems("\ufeff" + self.english.replace("\n", "\r\n")), [])

    def test_reports_the_line_that_is_not_utf_8(self):
        problems = self.problems(self.english.replace("106=Resume All", "106=Pr\u00fcfen").replace("\u00a0", " "), "latin-1")
        self.assertTrue(any("not UTF-8" in problem for problem in problems), problems)


if __name__ == "__main__":
    unittest.main()
