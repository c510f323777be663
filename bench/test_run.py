"""Tests of the benchmark runner's parsing and bookkeeping (python3 -m unittest discover bench)."""
import math
import unittest

import run

GECODE_ALL = """q = array1d(1..4, [2, 4, 1, 3]);
----------
q = array1d(1..4, [3, 1, 4, 2]);
----------
==========
%%%mzn-stat: initTime=0.0004
%%%mzn-stat: solutions=2
%%%mzn-stat: nodes=13
%%%mzn-stat: failures=5
%%%mzn-stat-end
"""

GECODE_OPT = """X_INTRODUCED_8_ = 60;
----------
X_INTRODUCED_8_ = 55;\r
----------
==========
%%%mzn-stat: nodes=633103
%%%mzn-stat-end
"""


class ParseOutput(unittest.TestCase):
    def test_all_solutions_with_statistics(self):
        res = run.parse_output(GECODE_ALL)
        self.assertEqual(res.solutions, 2)
        self.assertEqual(res.status, "complete")
        self.assertEqual(res.nodes(), 13)
        self.assertEqual(res.last_solution["q"], "array1d(1..4, [3, 1, 4, 2])")
        self.assertEqual(run.answer("all", res), "2")

    def test_optimum_is_last_objective_value_of_complete_search(self):
        res = run.parse_output(GECODE_OPT)
        self.assertEqual(run.answer("opt", res, "X_INTRODUCED_8_"), "55")
        # Without the final status line the optimum is not proven.
        cut = run.parse_output(GECODE_OPT.replace("==========\n", ""))
        self.assertIsNone(run.answer("opt", cut, "X_INTRODUCED_8_"))
        self.assertIsNone(run.answer("all", cut))

    def test_first_solution_unsat_and_failures(self):
        self.assertEqual(run.answer("first", run.parse_output("x = 1;\n----------\n")), "SAT")
        unsat = run.parse_output("=====UNSATISFIABLE=====\n%%%mzn-stat: nodes=0\n")
        self.assertEqual(run.answer("first", unsat), "UNSAT")
        self.assertEqual(run.answer("all", unsat), "0")
        self.assertEqual(unsat.nodes(), 0)
        self.assertIsNone(run.answer("first", run.parse_output("=====UNKNOWN=====\n")))
        self.assertIsNone(run.answer("first", run.parse_output("=====ERROR=====\n")))
        self.assertIsNone(run.parse_output("").nodes())


class FlatZinc(unittest.TestCase):
    FZN = ("var 1..81: X_INTRODUCED_8_ ::var_is_introduced :: is_defined_var;\n"
           "var 0..5: total :: output_var;\n"
           "solve :: int_search(mark,input_order,indomain_min,complete) minimize X_INTRODUCED_8_;\n")

    def test_objective_name(self):
        self.assertEqual(run.objective_name(self.FZN), "X_INTRODUCED_8_")
        self.assertIsNone(run.objective_name("var bool: b;\nsolve satisfy;\n"))

    def test_expose_objective_marks_only_the_objective_once(self):
        out = run.expose_objective(self.FZN, "X_INTRODUCED_8_")
        self.assertIn("var 1..81: X_INTRODUCED_8_ :: output_var ::var_is_introduced", out)
        self.assertEqual(run.expose_objective(out, "X_INTRODUCED_8_"), out)
        self.assertEqual(run.expose_objective(self.FZN, "total"), self.FZN)


class Agreement(unittest.TestCase):
    def test_verdicts(self):
        self.assertEqual(run.agreement("55", "55", "55"), ("yes", None))
        self.assertEqual(run.agreement("55", None, "55"), ("n/a", None))
        verdict, err = run.agreement("55", "54", "55")
        self.assertEqual(verdict, "NO")
        self.assertIn("nuvfd answered 54, gecode answered 55", err)
        # Both solvers agreeing on a wrong answer is still an error.
        self.assertEqual(run.agreement("55", "54", "54")[0], "NO")
        # An unknown expectation only compares the solvers.
        self.assertEqual(run.agreement("?", "7", "7"), ("yes", None))
        self.assertEqual(run.agreement("?", None, "7"), ("n/a", None))


class GeometricMean(unittest.TestCase):
    def test_geometric_mean_skips_missing_ratios(self):
        self.assertTrue(math.isclose(run.geometric_mean([2.0, 0.5, None]), 1.0))
        self.assertTrue(math.isclose(run.geometric_mean([1.0, 4.0]), 2.0))
        self.assertIsNone(run.geometric_mean([None]))


if __name__ == "__main__":
    unittest.main()
