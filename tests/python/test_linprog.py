"""linprog against SciPy's own function of that name."""

import inspect
import unittest
import warnings

import numpy as np
import scipy.optimize
from scipy import sparse
from scipy.optimize import OptimizeWarning

import qzlp


class Signature(unittest.TestCase):
    def test_is_scipys_but_for_the_method(self) -> None:
        ours = inspect.signature(qzlp.linprog).parameters
        theirs = inspect.signature(scipy.optimize.linprog).parameters
        self.assertEqual(list(ours), list(theirs))
        for name in ours:
            if name != "method":
                self.assertEqual(ours[name].default, theirs[name].default, name)


def random_program(seed: int) -> dict:
    """Feasible and bounded: b from a point, c from duals."""
    random = np.random.default_rng(seed)
    n, m, k = random.integers(2, 9), random.integers(0, 6), random.integers(0, 3)
    A_ub, A_eq = random.integers(-4, 5, (m, n)).astype(float), random.integers(-4, 5, (k, n)).astype(float)
    low = np.where(random.random(n) < 0.3, -np.inf, random.integers(-5, 1, n))
    high = np.where(random.random(n) < 0.3, np.inf, random.integers(2, 7, n))
    x = random.uniform(0.0, 2.0, n)
    c = -A_ub.T @ random.uniform(0.0, 2.0, m) + A_eq.T @ random.normal(size=k)
    c += np.where(np.isfinite(low), random.uniform(0.0, 1.0, n), 0.0)
    c -= np.where(np.isfinite(high), random.uniform(0.0, 1.0, n), 0.0)
    return {
        "c": c,
        "A_ub": A_ub,
        "b_ub": A_ub @ x + random.uniform(0.0, 1.0, m),
        "A_eq": A_eq,
        "b_eq": A_eq @ x,
        "bounds": list(zip(low, high)),
    }


class Answers(unittest.TestCase):
    def same(self, program: dict, **arguments: object) -> None:
        theirs = scipy.optimize.linprog(**program)
        ours = qzlp.linprog(**program, **arguments)
        self.assertEqual(ours.status, theirs.status, ours.message)
        self.assertEqual(ours.success, theirs.success)
        # A callback of SciPy's other methods brings fields of its own; those of an answer are all here.
        missing = {name for name in theirs if not name.startswith("mip_")} - set(ours)
        self.assertEqual(missing, set())
        if not theirs.success:
            return
        scale = 1.0 + abs(theirs.fun)
        self.assertLess(abs(ours.fun - theirs.fun), 1e-5 * scale)
        np.testing.assert_allclose(ours.fun, np.dot(program["c"], ours.x), atol=1e-6 * scale)
        self.assertGreater(np.min(ours.slack, initial=0.0), -1e-5)
        self.assertLess(np.max(np.abs(ours.con), initial=0.0), 1e-5)
        # The marginals price the objective exactly: c = A_ub' y + A_eq' z + lower + upper, with SciPy's signs.
        price = program["c"] - ours.lower.marginals - ours.upper.marginals
        if program.get("A_ub") is not None:
            price = price - np.atleast_2d(program["A_ub"]).T @ ours.ineqlin.marginals
        if program.get("A_eq") is not None:
            price = price - np.atleast_2d(program["A_eq"]).T @ ours.eqlin.marginals
        self.assertLess(np.max(np.abs(price)), 1e-5)
        self.assertLess(np.max(ours.ineqlin.marginals, initial=0.0), 1e-5)
        for side in (ours.lower, ours.upper):
            finite = np.isfinite(side.residual)
            self.assertGreater(np.min(side.residual[finite], initial=0.0), -1e-5)
            self.assertLess(np.max(np.abs(side.residual[finite] * side.marginals[finite]), initial=0.0), 1e-4)

    def test_random_programs(self) -> None:
        for seed in range(150):
            for method in ("qzlp", "qzlp-ipm"):
                with self.subTest(seed=seed, method=method):
                    self.same(random_program(seed), method=method)

    def test_unique_optima_and_their_marginals(self) -> None:
        program = {
            "c": [-6.0, -5.0],
            "A_ub": [[3.0, 2.0], [1.0, 2.0]],
            "b_ub": [24.0, 16.0],
            "bounds": [(0, None), (None, 10)],
        }
        ours, theirs = qzlp.linprog(**program), scipy.optimize.linprog(**program)
        np.testing.assert_allclose(ours.x, theirs.x, atol=1e-7)
        for side in ("ineqlin", "lower", "upper"):
            np.testing.assert_allclose(ours[side].marginals, theirs[side].marginals, atol=1e-6)
            np.testing.assert_allclose(ours[side].residual, theirs[side].residual, atol=1e-6)

    def test_the_default_ends_at_a_vertex(self) -> None:
        # An assignment, where each vertex is a permutation and the interior answer a mean of several.
        cost = np.ones((4, 4))
        rows, columns = np.kron(np.eye(4), np.ones(4)), np.kron(np.ones(4), np.eye(4))
        program = {"c": cost.ravel(), "A_eq": np.vstack([rows, columns]), "b_eq": np.ones(8)}
        np.testing.assert_array_equal(np.sort(qzlp.linprog(**program).x), [0.0] * 12 + [1.0] * 4)
        interior = qzlp.linprog(**program, method="interior-point").x
        self.assertLess(np.max(interior), 0.9)

    def test_sparse_matrices_and_odd_shapes(self) -> None:
        base = random_program(7)
        for kind in (sparse.csr_matrix, sparse.coo_array, np.asmatrix):
            program = dict(base, A_ub=kind(base["A_ub"]), A_eq=kind(base["A_eq"]))
            self.assertAlmostEqual(qzlp.linprog(**program).fun, scipy.optimize.linprog(**base).fun, 5)
        one = {"c": [[1.0, 2.0]], "A_ub": [-1.0, -1.0], "b_ub": -3.0}
        self.assertAlmostEqual(qzlp.linprog(**one).fun, 3.0, 6)

    def test_forms_of_bounds(self) -> None:
        c, A_ub, b_ub = [-1.0, -2.0, 1.0], [[1.0, 1.0, 1.0]], [4.0]
        for bounds in (
            None,
            (0, None),
            (0, 3),
            [(0, 3)],
            [(-1, 2), (None, 3), (0.5, None)],
            np.array([[-1.0, 2.0], [0.0, 3.0], [0.5, np.inf]]),
            [],
        ):
            with self.subTest(bounds=bounds):
                self.same({"c": c, "A_ub": A_ub, "b_ub": b_ub, "bounds": bounds})

    def test_infeasible_and_unbounded(self) -> None:
        self.same({"c": [1.0], "A_ub": [[1.0]], "b_ub": [-1.0]})
        self.same({"c": [-1.0, -1.0], "A_ub": [[1.0, -1.0]], "b_ub": [1.0]})
        self.same({"c": [0.0, 1.0], "bounds": [(0, 1), (None, 4)]})
        unbounded = qzlp.linprog([-1.0, -1.0], A_ub=[[1.0, -1.0]], b_ub=[1.0])
        self.assertIsNone(unbounded.x)
        self.assertIsNone(unbounded.slack)


class Settings(unittest.TestCase):
    program = random_program(11)

    def test_options_of_scipy_and_of_this_package(self) -> None:
        with warnings.catch_warnings():
            warnings.simplefilter("error")
            options = {"maxiter": 1, "presolve": True, "primal_feasibility_tolerance": 1e-7, "tolDual": 1e-7, "threads": 1}
            limited = qzlp.linprog(**random_program(5), options=options, method="interior-point")
        self.assertEqual((limited.status, limited.success), (1, False))
        self.assertEqual(qzlp.linprog(**self.program, options={"time_limit": 0.0}).status, 1)

    def test_what_has_no_effect_is_said(self) -> None:
        for arguments, text in (
            ({"options": {"pivot": 1}}, "unknown option pivot"),
            ({"options": {"presolve": False}}, "presolve"),
            ({"x0": np.zeros(2)}, "x0"),
        ):
            with self.assertWarnsRegex(OptimizeWarning, text):
                qzlp.linprog(**self.program, **arguments)

    def test_errors(self) -> None:
        for arguments, text in (
            ({"method": "magic"}, "no method 'magic'"),
            ({"integrality": 1}, "continuous"),
            ({"b_ub": None}, "together"),
            ({"b_ub": [1.0] * 99}, "99 entries"),
            ({"bounds": [(0, 1)] * 99}, "bounds have the shape"),
            ({"options": {"tol": -1.0}}, "not between"),
        ):
            with self.assertRaisesRegex(ValueError, text):
                qzlp.linprog(**dict(self.program, **arguments))

    def test_callback(self) -> None:
        seen = []
        result = qzlp.linprog(**self.program, callback=seen.append)
        self.assertEqual([now.nit for now in seen], list(range(result.nit + 1)))
        self.assertIn("duality_gap", seen[0])
        stopped = qzlp.linprog(**self.program, callback=lambda now: True)
        self.assertEqual((stopped.status, stopped.qzlp_status), (1, qzlp.Status.INTERRUPTED))


if __name__ == "__main__":
    unittest.main()
