"""Models from arrays: answers, their signs, statuses, options, callbacks, changes and files."""

import io
import os
import pickle
import signal
import subprocess
import sys
import tempfile
import threading
import unittest
from contextlib import redirect_stdout
from pathlib import Path

import numpy as np
from scipy import sparse

import qzlp
from qzlp import Model, Solver, Status

EXAMPLES = Path(__file__).resolve().parents[2] / "examples"


def workshop() -> Model:
    """maximise 6 t + 5 c - 10: 44 at (4, 6)."""
    return Model(
        [6.0, 5.0],
        [[3.0, 2.0], [1.0, 2.0], [1.0, -1.0]],
        row_lower=[-np.inf, -np.inf, -4.0],
        row_upper=[24.0, 16.0, 4.0],
        constant=-10.0,
        maximize=True,
        name="workshop",
        column_names=["tables", "chairs"],
        row_names=["wood", "time", "match"],
    )


def transport(sources: int, sinks: int, seed: int = 1) -> Model:
    random = np.random.default_rng(seed)
    supply = sparse.kron(sparse.eye(sources), np.ones((1, sinks)))
    demand = sparse.kron(np.ones((1, sources)), sparse.eye(sinks))
    need = random.uniform(1.0, 5.0, sinks)
    return Model(
        random.uniform(1.0, 9.0, sources * sinks),
        sparse.vstack([supply, demand]),
        row_lower=np.concatenate([np.full(sources, -np.inf), need]),
        row_upper=np.concatenate([np.full(sources, 1.2 * need.sum() / sources), np.full(sinks, np.inf)]),
    )


class Answers(unittest.TestCase):
    def test_linear(self) -> None:
        result = workshop().solve()
        self.assertEqual(result.status, Status.OPTIMAL)
        self.assertTrue(result.optimal)
        self.assertAlmostEqual(result.objective, 44.0, 4)
        np.testing.assert_allclose(result.x, [4.0, 6.0], atol=1e-5)
        np.testing.assert_allclose(result.row_activity, [24.0, 16.0, -2.0], atol=1e-5)
        np.testing.assert_allclose(result.dual, [1.75, 0.75, 0.0], atol=1e-5)
        np.testing.assert_allclose(result.reduced_cost, [0.0, 0.0], atol=1e-5)
        self.assertGreater(result.iterations, 0)
        self.assertLess(result.primal_infeasibility, 1e-6)
        self.assertLess(result.duality_gap, 1e-6)
        self.assertGreater(result.total_time, 0.0)
        self.assertIn("optimum", result.message)

    def test_quadratic(self) -> None:
        # x'Qx / 2 - 4 x - 6 y with Q = [[2, 1], [1, 4]]: the stationary point is (10/7, 8/7).
        Q = np.array([[2.0, 1.0], [1.0, 4.0]])
        for form in (Q, sparse.csr_matrix(Q), sparse.coo_array(Q)):
            result = qzlp.solve([-4.0, -6.0], lower=-np.inf, Q=form)
            self.assertEqual(result.status, Status.OPTIMAL)
            np.testing.assert_allclose(result.x, [10.0 / 7.0, 8.0 / 7.0], atol=1e-5)
            np.testing.assert_allclose(result.reduced_cost, [0.0, 0.0], atol=1e-5)

    def test_reduced_costs_are_those_of_the_arrays(self) -> None:
        model = transport(6, 8)
        result = model.solve()
        np.testing.assert_allclose(result.reduced_cost, model.c - model.A.T @ result.dual, atol=1e-9)
        np.testing.assert_allclose(result.row_activity, model.A @ result.x, atol=1e-9)

    def test_without_rows_and_without_columns(self) -> None:
        result = qzlp.solve([1.0, -1.0], lower=[2.0, 0.0], upper=[9.0, 3.0])
        np.testing.assert_allclose(result.x, [2.0, 3.0], atol=1e-6)
        empty = qzlp.solve([], constant=2.5)
        self.assertEqual((empty.status, empty.objective, len(empty.x)), (Status.OPTIMAL, 2.5, 0))

    def test_scalars_stand_for_arrays_and_none_is_changed(self) -> None:
        A = sparse.coo_matrix(([1.0, 1.0, 2.0], ([0, 0, 0], [0, 0, 1])), shape=(1, 2))  # an element in two parts
        result = qzlp.solve([1.0, 1.0], A, row_lower=4.0, upper=1.5)
        np.testing.assert_allclose(result.objective, 2.0, atol=1e-5)  # 2 x + 2 y = 4
        self.assertEqual(A.nnz, 3)

    def test_a_vertex_with_crossover(self) -> None:
        result = transport(5, 7).solve(crossover=True)
        self.assertEqual(result.status, Status.OPTIMAL)
        basics = np.count_nonzero(result.column_basis == qzlp.Basis.BASIC) + np.count_nonzero(
            result.row_basis == qzlp.Basis.BASIC
        )
        self.assertEqual(basics, 12)
        self.assertIsNone(transport(5, 7).solve().column_basis)


class Statuses(unittest.TestCase):
    def test_infeasible(self) -> None:
        result = qzlp.solve([1.0], [[1.0]], row_upper=-1.0)
        self.assertEqual(result.status, Status.PRIMAL_INFEASIBLE)
        self.assertFalse(result.optimal)
        for array in (result.objective, result.x, result.dual, result.reduced_cost, result.row_activity):
            self.assertIsNone(array)

    def test_unbounded(self) -> None:
        result = qzlp.solve([-1.0, -1.0], [[1.0, -1.0]], row_lower=0.0)
        self.assertIn(result.status, (Status.DUAL_INFEASIBLE, Status.BOTH_INFEASIBLE))

    def test_not_convex(self) -> None:
        saddle = qzlp.solve([0.0, 0.0], [[1.0, 1.0]], row_upper=1.5, upper=1.0, Q=[[-2.0, 0.0], [0.0, 1.0]])
        self.assertEqual(saddle.status, Status.NOT_CONVEX)

    def test_limits(self) -> None:
        self.assertEqual(transport(9, 9).solve(max_iter=1).status, Status.ITERATION_LIMIT)
        limited = transport(9, 9).solve(time_limit=0.0)
        self.assertEqual(limited.status, Status.TIME_LIMIT)
        self.assertFalse(limited.optimal)

    def test_every_status_has_a_text(self) -> None:
        for status in Status:
            self.assertGreater(len(status.text), 10)


class BadArrays(unittest.TestCase):
    def test_they_are_value_errors_that_tell_what_is_wrong(self) -> None:
        A = [[1.0, 1.0]]
        cases = {
            "c must be a vector": lambda: Model([[1.0, 2.0]]),
            "A must be a matrix": lambda: Model([1.0], [1.0]),
            "A has 2 columns, but c has 3": lambda: Model([1.0, 2.0, 3.0], A),
            "row_lower has the shape": lambda: Model([1.0, 2.0], A, row_lower=[1.0, 2.0]),
            "upper has the shape": lambda: Model([1.0, 2.0], A, upper=[1.0, 2.0, 3.0]),
            "Q has 1 rows": lambda: Model([1.0, 2.0], Q=[[1.0, 0.0]]),
            "1 column names for 2 columns": lambda: Model([1.0, 2.0], column_names=["x"]),
            "obj[1] is nan": lambda: qzlp.solve([1.0, np.nan], A),
            "matValue[0] is inf": lambda: qzlp.solve([1.0, 1.0], [[np.inf, 1.0]]),
            "lower[0] is nan": lambda: qzlp.solve([1.0], lower=np.nan),
            "rhs[0] is nan": lambda: qzlp.solve([1.0, 1.0], A, row_upper=np.nan),
            "nothing can meet": lambda: qzlp.solve([1.0, 1.0], A, row_lower=2.0, row_upper=1.0),
            "mirror": lambda: qzlp.solve([1.0, 1.0], A, Q=[[1.0, 2.0], [3.0, 4.0]]),
        }
        for text, call in cases.items():
            with self.subTest(text), self.assertRaises(ValueError) as caught:
                call()
            self.assertIn(text, str(caught.exception))

    def test_random_sides_become_the_same_rows_one_by_one_and_all_at_once(self) -> None:
        from qzlp.model import _rows, row_record

        random = np.random.default_rng(3)
        ends = np.array([-np.inf, -1e20, -3.0, 0.0, 2.0, 1e25, np.inf])
        low, high = random.choice(ends, 200), random.choice(ends, 200)
        low, high = np.minimum(low, high), np.maximum(low, high)
        sense, rhs, width = _rows(Model([1.0], np.ones((200, 1)), low, high))
        for i in range(200):
            if low[i] >= 1e20 or high[i] <= -1e20:
                continue  # the library's error
            self.assertEqual((sense[i : i + 1], rhs[i], width[i]), row_record(low[i], high[i]), (low[i], high[i]))


class Options(unittest.TestCase):
    def test_both_forms_of_a_name_and_words(self) -> None:
        with Solver(tol=1e-7, tolPrimal=1e-8, max_iter=50, method="normal", crossover=True) as solver:
            options = solver.options()
        self.assertEqual((options["tolPrimal"], options["tolDual"], options["tolOptimality"]), (1e-8, 1e-7, 1e-7))
        self.assertEqual((options["maxIter"], options["method"], options["crossover"]), (50, 1, 1))

    def test_bad_ones_are_value_errors(self) -> None:
        cases = {
            "there is no option speed": {"speed": 1},
            "not between": {"threads": -1},
            "no whole number": {"maxIter": 1.5},
            "not a number": {"tolDual": float("nan")},
            "augmented or normal": {"method": "other"},
            "'fast' is no number": {"tol_dual": "fast"},
        }
        for text, options in cases.items():
            with self.subTest(text), self.assertRaises(ValueError) as caught:
                Solver(**options)
            self.assertIn(text, str(caught.exception))

    def test_the_table_is_the_librarys(self) -> None:
        table = {option.name: option for option in qzlp.option_table()}
        self.assertEqual(len(table), 14)
        self.assertTrue(table["threads"].is_integer)
        self.assertEqual(table["tolPrimal"].default, 1e-6)
        with Solver(threads=2) as solver:
            solver.reset_options()
            self.assertEqual(solver.options(), {name: option.default for name, option in table.items()})


class Callbacks(unittest.TestCase):
    def test_progress_tells_each_iteration(self) -> None:
        told = []
        result = transport(6, 6).solve(progress=told.append)
        self.assertEqual([now.iteration for now in told], list(range(result.iterations + 1)))
        self.assertLess(told[-1].primal_infeasibility, 1e-6)
        self.assertLess(told[-1].duality_gap, 1e-6)
        self.assertLess(told[-1].complementarity, told[0].complementarity)

    def test_progress_and_should_stop_end_a_solve(self) -> None:
        self.assertEqual(transport(6, 6).solve(progress=lambda now: now.iteration == 2).status, Status.INTERRUPTED)
        self.assertEqual(transport(6, 6).solve(should_stop=lambda: True).status, Status.INTERRUPTED)

    def test_what_a_callback_raises_comes_out(self) -> None:
        class Trouble(Exception):
            pass

        def fail(*_: object) -> None:
            raise Trouble("mine")

        for arguments in ({"progress": fail}, {"log": fail}, {"should_stop": fail}):
            with Solver(transport(6, 6)) as solver:
                with self.assertRaises(Trouble):
                    solver.solve(**arguments)
                self.assertEqual(solver.solve().status, Status.OPTIMAL, "the solver is as good as before")

    def test_log(self) -> None:
        lines = []
        workshop().solve(log=lines.append)
        self.assertIn("Optimal solution found.", lines)
        printed = io.StringIO()
        with redirect_stdout(printed):
            workshop().solve(log=True)
            before = printed.getvalue()
            workshop().solve()
        self.assertIn("Optimal solution found.", before)
        self.assertEqual(printed.getvalue(), before, "silent without a log")

    def test_interrupt(self) -> None:
        def press(now: qzlp.Progress) -> None:
            if now.iteration == 1:
                os.kill(os.getpid(), signal.SIGINT)
            self.assertLess(now.iteration, 5, "the solve goes on")

        with Solver(transport(8, 8)) as solver:
            with self.assertRaises(KeyboardInterrupt):
                solver.solve(progress=press)
            self.assertIs(signal.getsignal(signal.SIGINT), signal.default_int_handler, "the handler is back")
            self.assertEqual(solver.solve().status, Status.OPTIMAL)

    def test_interrupt_from_outside_ends_a_program(self) -> None:
        program = (
            "import qzlp, time\n"
            f"model = qzlp.read({str(EXAMPLES / 'transport.mps')!r})\n"
            "model.solve(progress=lambda now: print(now.iteration, flush=True) or time.sleep(0.2))\n"
            "print('solved')\n"
        )
        with subprocess.Popen([sys.executable, "-c", program], stdout=subprocess.PIPE, stderr=subprocess.PIPE) as child:
            self.assertEqual(child.stdout.readline(), b"0\n")
            child.send_signal(signal.SIGINT)
            out, err = child.communicate()
        self.assertIn(b"KeyboardInterrupt", err)
        self.assertNotIn(b"solved", out)
        self.assertEqual(child.returncode, -signal.SIGINT)

    def test_interrupt_reaches_the_handler_of_the_program(self) -> None:
        seen = []
        signal.signal(signal.SIGINT, lambda number, frame: seen.append(number))
        try:
            result = transport(8, 8).solve(progress=lambda now: os.kill(os.getpid(), signal.SIGINT))
        finally:
            signal.signal(signal.SIGINT, signal.default_int_handler)
        self.assertEqual(seen, [signal.SIGINT])
        self.assertEqual(result.status, Status.INTERRUPTED)

    def test_a_solver_at_work_can_be_neither_used_nor_closed(self) -> None:
        with Solver(workshop()) as solver:
            for call in (solver.solve, solver.close, lambda: solver.set_cost(0, 1.0)):
                with self.assertRaises(RuntimeError):
                    solver.solve(progress=lambda now: call())  # noqa: B023
            self.assertEqual(solver.solve().status, Status.OPTIMAL)

    def test_solvers_in_threads(self) -> None:
        answers = {}

        def work(seed: int) -> None:
            answers[seed] = transport(10, 10, seed).solve(threads=1, progress=lambda now: None).objective

        threads = [threading.Thread(target=work, args=(seed,)) for seed in range(6)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        for seed in range(6):
            self.assertEqual(answers[seed], transport(10, 10, seed).solve(threads=1).objective)


class Changes(unittest.TestCase):
    def test_each_change_and_solve_again(self) -> None:
        with Solver(workshop()) as solver:
            solver.set_cost(1, 2.0)
            self.assertAlmostEqual(solver.solve().objective, 33.2, 4)
            solver.set_bounds(0, upper=5.0)
            self.assertAlmostEqual(solver.solve().objective, 29.0, 4)
            solver.set_row(0, upper=20.0)
            self.assertAlmostEqual(solver.solve().objective, 25.0, 4)
            solver.set_element(0, 1, 4.0)
            self.assertAlmostEqual(solver.solve().objective, 22.5, 4)
            solver.set_maximize(False)
            solver.set_constant(3.0)
            self.assertAlmostEqual(solver.solve().objective, 3.0, 4)
            self.assertEqual((solver.num_rows, solver.num_columns), (3, 2))

    def test_bad_indices(self) -> None:
        with Solver(workshop()) as solver:
            for call in (
                lambda: solver.set_cost(2, 0.0),
                lambda: solver.set_bounds(-1),
                lambda: solver.set_row(3),
                lambda: solver.set_element(0, 9, 1.0),
            ):
                with self.assertRaises(ValueError):
                    call()

    def test_without_a_model_and_closed(self) -> None:
        solver = Solver()
        with self.assertRaises(RuntimeError):
            solver.solve()
        solver.close()
        solver.close()
        with self.assertRaises(RuntimeError):
            solver.options()


class Files(unittest.TestCase):
    def same(self, a: Model, b: Model) -> None:
        for name in ("c", "row_lower", "row_upper", "lower", "upper"):
            np.testing.assert_array_equal(getattr(a, name), getattr(b, name), name)
        np.testing.assert_array_equal(a.A.toarray(), b.A.toarray())
        self.assertEqual(a.Q is None, b.Q is None)
        if a.Q is not None:
            np.testing.assert_array_equal(a.Q.toarray(), b.Q.toarray())
        for name in ("constant", "maximize", "column_names", "row_names"):
            self.assertEqual(getattr(a, name), getattr(b, name), name)
        self.assertEqual(a.name or "MODEL", b.name)

    def test_written_models_read_back_the_same(self) -> None:
        models = [workshop(), qzlp.read(EXAMPLES / "portfolio.lp"), qzlp.read(EXAMPLES / "pricing.qps")]
        with tempfile.TemporaryDirectory() as folder:
            for model in models:
                path = Path(folder) / "model.mps"
                model.write(path)
                back = qzlp.read(path)
                self.same(model, back)
                self.assertAlmostEqual(model.solve().objective, back.solve().objective, 9)

    def test_files_of_the_examples(self) -> None:
        diet = qzlp.read(EXAMPLES / "diet.mps")
        self.assertAlmostEqual(diet.solve().objective, 19.0, 4)
        self.assertEqual(len(diet.column_names), 3)

    def test_bad_files(self) -> None:
        with self.assertRaises(FileNotFoundError):
            qzlp.read("/nowhere/at/all.mps")
        with tempfile.NamedTemporaryFile("w", suffix=".mps") as file:
            file.write("ROWS\n X y\n")
            file.flush()
            with self.assertRaises(ValueError) as caught:
                qzlp.read(file.name)
            self.assertIn(file.name, str(caught.exception))
        with self.assertRaises(ValueError):
            workshop().write("/nowhere/at/all.mps")

    def test_models_and_answers_can_be_pickled(self) -> None:
        model = pickle.loads(pickle.dumps(qzlp.read(EXAMPLES / "portfolio.lp")))
        result = pickle.loads(pickle.dumps(model.solve()))
        self.assertEqual(result.status, Status.OPTIMAL)
        self.assertAlmostEqual(result.objective, qzlp.read(EXAMPLES / "portfolio.lp").solve().objective, 12)


class Library(unittest.TestCase):
    def test_version(self) -> None:
        text = (EXAMPLES.parent / "CMakeLists.txt").read_text(encoding="utf-8")
        self.assertIn(f"VERSION {qzlp.__version__} ", text)
        self.assertEqual(qzlp.abi_version(), 1)

    def test_records_have_the_size_of_the_header(self) -> None:
        import ctypes

        from qzlp import _library

        sizes = {"ModelRecord": 104, "QuadraticRecord": 40, "OptionRecord": 48, "ProgressRecord": 56}
        for name, size in sizes.items():
            self.assertEqual(ctypes.sizeof(getattr(_library, name)), size, name)


if __name__ == "__main__":
    unittest.main()
