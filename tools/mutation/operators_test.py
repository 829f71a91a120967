#!/usr/bin/env python3
"""The mutants that a text has, and those that it must not have."""

import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True
sys.path.insert(0, os.path.dirname(os.path.dirname(os.path.abspath(__file__))))

from mutation.operators import Mutator, sibling_names  # noqa: E402
from mutation.records import read_equivalents  # noqa: E402
from mutation.source import Source  # noqa: E402


def mutants(body, *more, path="a.cpp"):
    source = Source(path, f"int f(int a, int b)\n{{\n    {body}\n}}\n")
    return Mutator(source, sibling_names([source, *more])).all()


class Operators(unittest.TestCase):
    def expect(self, body, *places):
        self.assertEqual({(m.operator, m.after) for m in mutants(body)}, set(places))

    def test_a_comparison_is_turned_round_and_its_bound_moved(self):
        self.expect("return a < b;", ("relational", "return a >= b;"), ("bound", "return a <= b;"),
                    ("return", "return {};"))

    def test_a_condition_is_negated(self):
        self.expect("if (a) b = a;", ("condition", "if (!(a)) b = a;"))
        self.expect("b = a ? b : a;", ("condition", "b = !(a) ? b : a;"), ("assignment", ";"))

    def test_a_constant_is_one_off_or_nothing(self):
        self.expect("int c = 7;", *(("constant", f"int c = {value};") for value in (8, 6, 0)))
        self.expect("int c = 0;", ("constant", "int c = 1;"))
        self.expect("int c = 0x0Fu;", *(("constant", f"int c = 0x{value}u;") for value in ("10", "E", "0")))

    def test_digits_behind_a_point_are_decimal(self):
        self.expect("double c = 1.08;", *(("constant", f"double c = {value};") for value in
                                          ("2.08", "0.08", "1.9", "1.7", "1.0")))

    def test_a_call_is_left_out(self):
        self.expect("g(a);", ("call", ";"))

    def test_one_letter_of_a_message_changes_and_no_conversion(self):
        self.expect('const char* c = "%d az\\n";', ("message", 'const char* c = "%d bz\\n";'))

    def test_a_loop_goes_on_where_it_ended(self):
        self.expect("for (;;) { break; }", ("jump", "for (;;) { continue; }"))

    def test_the_result_of_success_fails(self):
        self.expect("return SNS_SUCCESS;", ("return", "return -1;"))

    def test_a_name_gives_way_to_its_neighbour(self):
        names = Source("names.h", "enum Names { kOne, kTwo };\n")
        self.assertEqual([(m.operator, m.after) for m in mutants("int c = kTwo;", names)], [("name", "int c = kOne;")])

    def test_brackets_of_types_comments_and_static_assertions_stay(self):
        self.expect("std::vector<int> c;  // a < b")
        self.expect('static_assert(1 < 2, "text");')

    def test_the_lines_behind_a_statement_keep_their_numbers(self):
        mutant = mutants("g(a,\n      b);")[0]
        self.assertEqual(mutant.text.count("\n"), 5)
        self.assertEqual(mutant.line, 3)

    def test_the_same_slip_twice_has_two_names(self):
        self.assertEqual(len({m.id for m in mutants("g(a);\n    g(a);")}), 2)


class Equivalents(unittest.TestCase):
    def read(self, *lines):
        known = mutants("return a < b;")
        with tempfile.NamedTemporaryFile("w") as file:
            file.write("\n".join(lines))
            file.flush()
            reasons, errors = read_equivalents(pathlib.Path(file.name), known)
        return [m.after for m in known if m.id in reasons], errors

    def test_an_entry_names_its_mutant(self):
        entry = ("[a.cpp f bound]", "- return a < b;", "+ return a <= b;", "They are never equal.")
        self.assertEqual(self.read(*entry), (["return a <= b;"], []))

    def test_an_entry_without_its_mutant_is_an_error(self):
        entry = ("[a.cpp f bound]", "- return a > b;", "+ return a >= b;", "They are never equal.")
        self.assertEqual(self.read(*entry), ([], ["entry 1 ([a.cpp f bound]): there is no such mutant: return a >= b;"]))

    def test_an_entry_without_a_reason_is_an_error(self):
        entry = ("[a.cpp f bound]", "- return a < b;", "+ return a <= b;")
        self.assertEqual(self.read(*entry), ([], ["entry 1 ([a.cpp f bound]): not heading, -, + and reason"]))

    def test_every_listed_mutant_is_one_of_the_sources(self):
        tool = pathlib.Path(__file__).parents[1] / "mutate"
        listed = subprocess.run([tool, "--list"], capture_output=True, text=True, check=False)
        self.assertEqual((listed.returncode, listed.stderr), (0, ""))


if __name__ == "__main__":
    unittest.main()
