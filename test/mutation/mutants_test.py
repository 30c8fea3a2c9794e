# SPDX-License-Identifier: MIT
"""The mutants that a piece of C++ has."""

import unittest

from mutants import mutants


def changes(statements):
    """What is changed in a function's body."""
    return [mutant.change() for mutant in mutants("f.cpp", f"void f(int n) {{\n{statements}\n}}")]


class MutantsTest(unittest.TestCase):
    def test_a_condition_is_forced_and_its_operators_are_exchanged(self):
        self.assertEqual(changes("if (a < b && !c) {}"), [
            "a < b && !c -> false", "a < b && !c -> true", "< -> <=", "< -> >=", "&& -> ||",
            "! -> removed"])

    def test_a_loops_condition_is_not_forced_true(self):
        self.assertEqual(changes("while (a) {}"), ["a -> false"])
        self.assertEqual(changes("for (; a; b()) {}"), ["a -> false"])

    def test_the_condition_before_a_question_mark_is_forced(self):
        self.assertEqual(changes("return a ? b : c;"), [
            "return a ? b : c -> return {}", "a -> false", "a -> true"])

    def test_constants_are_changed_a_little(self):
        text = 'int a = 0, b = 1, c = 7; char d = \'x\'; const char *e = "%s ab", *g = "";'
        self.assertEqual([mutant.change() for mutant in mutants("f.cpp", text)], [
            "0 -> 1", "1 -> 0", "7 -> 8", "'x' -> 'y'", '"%s ab" -> "%s ac"', '"" -> "x"'])

    def test_statements_are_removed_but_not_declarations_in_use(self):
        self.assertEqual(changes("Guard guard(a); File file(b); use(file); ++a;"), [
            "Guard guard(a) -> removed", "use(file) -> removed", "++ -> --", "++a -> removed"])

    def test_neighbouring_arguments_are_swapped_but_not_parameters(self):
        self.assertEqual(changes("call(a, b, b);"), [
            "call(a, b, b) -> removed", "a, b -> b, a"])
        self.assertEqual(mutants("f.h", "void f(int a, const std::string& b);"), [])

    def test_changes_of_a_line_that_look_the_same_are_numbered(self):
        self.assertEqual(changes("a[0] = b[0];"), [
            "a[0] = b[0] -> removed", "0 -> 1", "0 -> 1 (2)"])

    def test_what_does_nothing_when_the_program_runs_stays(self):
        for text in ('#include "a.h"', "// 1 < 2", '/* "text" */', "static_assert(1 < 2);",
                     "[[gnu::format(printf, 1, 2)]] int f();", "std::map<int, A> a;"):
            with self.subTest(text):
                self.assertEqual(mutants("f.cpp", text + "\n"), [])

    def test_lines_that_are_the_same_are_numbered(self):
        self.assertEqual([mutant.line_text for mutant in mutants("f.cpp", "a(1);\n a(1);\n")],
                         ["a(1);", "a(1); (2)"])

    def test_a_mutant_is_the_whole_text_with_one_change(self):
        self.assertEqual([(mutant.line, mutant.line_text, mutant.text)
                          for mutant in mutants("f.cpp", "int a;\n  int b = 2;\n")],
                         [(2, "int b = 2;", "int a;\n  int b = 3;\n")])
