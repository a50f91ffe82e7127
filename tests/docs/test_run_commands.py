#!/usr/bin/env python3
"""The comparison that run_commands.py makes, where it must agree and where it must not."""

import unittest

from run_commands import blocks, commands_of, same_lines, same_word


class Comparison(unittest.TestCase):
    def agree(self, shown, found):
        return same_lines(shown.split("\n"), found.split("\n"))[0]

    def test_words_and_numbers(self):
        self.assertTrue(same_word("18.99999", "19.00001"))
        self.assertTrue(same_word("1e-9", "0.00e+00"))
        self.assertTrue(same_word("x=2.0", "x=2.01"))
        self.assertFalse(same_word("19", "20"))
        self.assertFalse(same_word("x=2", "y=2"))
        self.assertFalse(same_word("1e-5", "1e-3"))
        self.assertFalse(same_word("optimal", "failed"))

    def test_lines(self):
        self.assertTrue(self.agree("a b\nc", "a  b\nc"))
        self.assertFalse(self.agree("a\nb", "a"))
        self.assertFalse(self.agree("a", "a\nb"))
        self.assertFalse(self.agree("a b", "a"))

    def test_ellipses(self):
        self.assertTrue(self.agree("a\n...\nd", "a\nb\nc\nd"))
        self.assertTrue(self.agree("...", ""))
        self.assertTrue(self.agree("a ... d", "a b c d"))
        self.assertFalse(self.agree("a\n...\ne", "a\nb\nc\nd"))
        self.assertFalse(self.agree("a\n...", "b\nc"))
        self.assertFalse(self.agree("a ... e", "a b c d"))

    def test_blocks(self):
        self.assertEqual(blocks("x\n```sh\nls\n```\n```output\na\n```\n"), [("sh", "ls\n"), ("output", "a\n")])
        self.assertEqual(commands_of("a \\\n  b\n\nc # exit code 10\n"), [("a    b", 0), ("c # exit code 10", 10)])


if __name__ == "__main__":
    unittest.main()
