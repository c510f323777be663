"""Self-tests of the differential tester (no solver runs): the generator's
determinism and coverage, the FlatZinc round trip, the int_pow rewrite for
gecode, the oracle's arithmetic, the comparison categories and the minimiser.

usage: python3 -m unittest discover -s tests/diff -p 'test_*.py'
"""
import os
import re
import sys
import tempfile
import unittest

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))

import fznmodel  # noqa: E402
import gen  # noqa: E402
import minimise  # noqa: E402
import oracle  # noqa: E402
import run  # noqa: E402


def model(text):
    return fznmodel.parse(text)


class Generator(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.models = [gen.generate(s) for s in range(1, 601)]

    def test_deterministic_per_seed(self):
        self.assertEqual(gen.generate(7).text(), gen.generate(7).text())
        self.assertNotEqual(gen.generate(7).text(), gen.generate(8).text())

    def test_text_round_trips(self):
        for m in self.models[:300]:
            self.assertEqual(fznmodel.parse(m.text()).text(), m.text())

    def test_every_builtin_plain_and_with_shared_arguments(self):
        seen, shared = set(), set()
        for m in self.models:
            for name, args in m.cons:
                seen.add(name)
                if run.shared(args):
                    shared.add(name)
        self.assertEqual(seen, set(gen.FAMILIES))
        # Sharing must reach the constraints whose propagators special-case
        # it least: comparisons, linear sums, arithmetic and element.
        for name in ("int_lt", "int_lin_eq", "int_times", "int_mod", "array_var_int_element",
                     "bool_clause_reif", "int_le_reif"):
            self.assertIn(name, shared)

    def test_shapes(self):
        holes = any(v.kind == "int" and v.dom[-1] - v.dom[0] + 1 > len(v.dom)
                    for m in self.models for v in m.vars)
        kinds = {m.kind() for m in self.models}
        hidden = any("var_is_introduced" in v.anns and "output_var" not in v.anns
                     for m in self.models for v in m.vars)
        index_is_result = any(n == "array_var_int_element" and a[0] == a[2]
                              for m in self.models for n, a in m.cons)
        self.assertTrue(holes and hidden and index_is_result)
        self.assertEqual(kinds, {"sat", "min", "max"})
        for m in self.models:
            k = 4 if m.kind() == "sat" else 10
            for v in m.vars:
                if v.name.startswith("x"):
                    self.assertTrue(-k <= v.dom[0] and v.dom[-1] <= k)
            for n, a in m.cons:
                if n == "int_pow":
                    e = a[1]
                    self.assertTrue(int(e) >= 0 if re.fullmatch(r"-?\d+", e) else m.var(e).dom[0] >= 0)


class PowRewrite(unittest.TestCase):
    def check(self, text):
        m = model(text)
        g = fznmodel.for_gecode(m)
        self.assertFalse(any(n == "int_pow" for n, _ in g.cons))
        self.assertEqual(set(oracle.solve(g)), set(oracle.solve(m)))

    def test_constant_exponents(self):
        for k in range(4):
            self.check(f"var -2..2: x :: output_var;\nvar -8..8: z :: output_var;\n"
                       f"constraint int_pow(x, {k}, z);\nsolve satisfy;\n")

    def test_variable_exponent_shared_with_the_base(self):
        self.check("var {0,1,2}: x :: output_var;\nvar 0..2: e :: output_var;\n"
                   "var 0..8: z :: output_var;\nconstraint int_pow(x, e, z);\n"
                   "constraint int_pow(e, e, x);\nsolve satisfy;\n")


class Oracle(unittest.TestCase):
    def holds(self, name, *args):
        return oracle._holds(name, list(args))

    def test_division_truncates_and_mod_follows_the_dividend(self):
        self.assertTrue(self.holds("int_div", -7, 2, -3))
        self.assertTrue(self.holds("int_div", 7, -2, -3))
        self.assertTrue(self.holds("int_mod", -7, 2, -1))
        self.assertTrue(self.holds("int_mod", 7, -2, 1))
        self.assertFalse(self.holds("int_div", 3, 0, 0))
        self.assertFalse(self.holds("int_mod", 3, 0, 0))

    def test_element_outside_the_array_fails(self):
        self.assertTrue(self.holds("array_int_element", 2, [5, 6], 6))
        self.assertFalse(self.holds("array_int_element", 0, [5, 6], 5))
        self.assertFalse(self.holds("array_var_bool_element", 3, [True, False], True))

    def test_reified_forms(self):
        self.assertTrue(self.holds("int_lin_le_reif", [1, 1], [2, 3], 4, False))
        self.assertTrue(self.holds("bool_clause_reif", [], [True], False))
        self.assertTrue(self.holds("set_in_reif", 3, {1, 3}, True))
        self.assertTrue(self.holds("bool_lt_reif", False, True, True))
        self.assertTrue(self.holds("array_bool_xor", [True, True, True]))

    def test_projection_and_optimum(self):
        m = model("var 0..2: x :: output_var;\nvar 0..2: y;\n"
                  "constraint int_lt(x, y);\nsolve maximize x;\n")
        found = oracle.solve(m)
        self.assertEqual(set(found), {("x=0;",), ("x=1;",)})
        self.assertEqual(oracle.optimum(m, found), "1")


def answer(status, *blocks):
    return run.Answer(status, [tuple(b.split()) for b in blocks])


class Compare(unittest.TestCase):
    def test_categories(self):
        g = answer("complete", "x=1;", "x=2;")
        self.assertEqual(run.compare_sat(answer("complete", "x=2;", "x=1;"), g).kind, "ok")
        self.assertEqual(run.compare_sat(answer("complete", "x=1;", "x=2;", "x=1;"), g).kind, "dup")
        self.assertEqual(run.compare_sat(answer("complete", "x=1;"), g).category, "missing-solutions")
        self.assertEqual(run.compare_sat(answer("complete", "x=1;", "x=2;", "x=3;"), g).category,
                         "extra-solutions")
        self.assertEqual(run.compare_sat(answer("unsat"), g).category, "unsat-of-sat")
        self.assertEqual(run.compare_sat(answer("complete", "x=1;"), answer("unsat")).category,
                         "solutions-of-unsat")
        self.assertEqual(run.compare_sat(answer("partial", "x=1;", "x=2;"), g).category, "status")

    def test_output_parsing(self):
        blocks, status = run.parse_output("x = 1;\nxs = array1d(1..2, [1, 2]);\n----------\n"
                                          "x = 2;\nxs = array1d(1..2, [2, 2]);\n----------\n==========\n")
        self.assertEqual(status, "complete")
        self.assertEqual(blocks[1], ("x=2;", "xs=[2,2];"))
        self.assertEqual(run.parse_output("=====UNSATISFIABLE=====\n"), ([], "unsat"))

    def test_family_names_shared_arguments(self):
        m = model("var 0..2: x;\nvar 0..2: y;\nconstraint int_lt(x, x);\n"
                  "constraint int_lin_eq([1, 1], [x, y], 2);\nsolve satisfy;\n")
        self.assertEqual(run.family(m), "int_lin_eq + int_lt[shared]")
        m = model("var 0..2: x;\nvar 0..1: y = x;\nvar bool: b;\nvar 0..1: i;\n"
                  "constraint int_le_reif(x, y, b);\nconstraint bool2int(b, i);\n"
                  "constraint int_eq_reif(i, 1, b);\nsolve satisfy;\n")
        self.assertEqual(run.family(m), "bool2int + int_eq_reif[shared] + int_le_reif[shared]")


class Replay(unittest.TestCase):
    """Regression files replayed against a stand-in solver printing canned
    output."""

    def replay(self, expect, output, solve="solve satisfy;"):
        with tempfile.TemporaryDirectory() as d:
            solver = os.path.join(d, "solver")
            with open(solver, "w") as f:
                f.write("#!/bin/sh\ncat <<'EOF'\n" + output + "EOF\n")
            os.chmod(solver, 0o755)
            path = os.path.join(d, "r.fzn")
            with open(path, "w") as f:
                f.write("".join(f"% {e}\n" for e in expect))
                f.write(f"var 0..3: x :: output_var;\nconstraint int_le(x, 1);\n{solve}\n")
            return run.replay(run.Config(solver, "fzn-gecode", 10, 10, d), path)

    def test_solution_sets_ignore_order_and_duplicates(self):
        expect = ["expect: SOLUTIONS", "expect-solution: x=0;", "expect-solution: x=1;"]
        self.assertIsNone(self.replay(expect, "x = 1;\n----------\nx = 0;\n----------\n"
                                              "x = 1;\n----------\n==========\n"))
        self.assertIn("missing", self.replay(expect, "x = 1;\n----------\n==========\n"))
        self.assertIn("complete", self.replay(expect, "x = 1;\n----------\nx = 0;\n----------\n"))

    def test_unsat_and_optimum(self):
        self.assertIsNone(self.replay(["expect: UNSATISFIABLE"], "=====UNSATISFIABLE=====\n"))
        self.assertIn("UNSAT", self.replay(["expect: UNSATISFIABLE"], "x = 0;\n----------\n==========\n"))
        out = "x = 1;\n----------\n==========\n"
        self.assertIsNone(self.replay(["expect: OPTIMUM 1"], out, "solve maximize x;"))
        self.assertIn("optimum", self.replay(["expect: OPTIMUM 0"], out, "solve minimize x;"))


class Minimiser(unittest.TestCase):
    def test_keeps_the_culprit_only(self):
        # A stand-in for a solver pair that disagrees exactly when int_lt has
        # the same variable twice and y can be 2.
        def check(m):
            bad = any(n == "int_lt" and a[0] == a[1] for n, a in m.cons)
            y = m.var("y")
            bad = bad and y is not None and 2 in y.dom
            return run.Verdict("disagree" if bad else "ok", "extra-solutions" if bad else "")
        m = model("var -2..2: x :: output_var;\nvar {-1,0,2}: y :: output_var;\nvar bool: b;\n"
                  "constraint int_le_reif(x, y, b);\nconstraint int_lt(y, y);\n"
                  "constraint int_plus(x, y, y);\nconstraint bool_eq(b, true);\n"
                  "solve :: int_search([x], input_order, indomain_min, complete) minimize x;\n")
        small, v = minimise.minimise(m, check(m), check)
        self.assertEqual(v.kind, "disagree")
        self.assertEqual(small.cons, [("int_lt", ["y", "y"])])
        self.assertEqual([(x.name, x.dom) for x in small.vars], [("y", [2])])
        self.assertNotIn("::", small.solve)

    def test_shrinks_literal_sets_and_linear_terms_together(self):
        def check(m):
            bad = any(n == "set_in" and "2" in a[1] for n, a in m.cons) and any(
                n == "int_lin_le" and "y" in a[1] for n, a in m.cons)
            return run.Verdict("disagree" if bad else "ok", "optimum" if bad else "")
        m = model("var -2..2: x;\nvar 0..3: y;\nconstraint set_in(x, {-1,1,2});\n"
                  "constraint int_lin_le([1, 3, -2], [x, y, x], 3);\nsolve satisfy;\n")
        small, _ = minimise.minimise(m, check(m), check)
        self.assertEqual(small.cons, [("set_in", ["x", "{2}"]), ("int_lin_le", ["[3]", "[y]", "3"])])


if __name__ == "__main__":
    unittest.main()
