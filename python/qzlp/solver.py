"""A solver that keeps its model, and the solve of arrays in one call."""

from __future__ import annotations

import ctypes
import os
import re
import signal
import threading
from contextlib import contextmanager
from typing import Any, Callable, Dict, Iterator, List, NamedTuple, Optional, Union

import numpy as np
from numpy.typing import ArrayLike

from . import _library as lib
from .model import Model, Path, array_of, fetch, load, row_record
from .status import Result, Status

LogTarget = Union[bool, Callable[[str], None]]
Number = Union[int, float, str, bool]


class Progress(NamedTuple):
    """Where an iteration stands. The measures are those of the model behind presolve and scaling."""

    iteration: int
    seconds: float
    complementarity: float
    duality_gap: float
    primal_infeasibility: float
    bound_infeasibility: float
    dual_infeasibility: float


class Option(NamedTuple):
    """What there is to know about one option."""

    name: str
    is_integer: bool
    default: float
    minimum: float
    maximum: float
    description: str


# Words for the values 0, 1, ... of an option, and names for several options at once.
_WORDS = {"method": ("augmented", "normal"), "scaling": ("standard", "row")}
_GROUPS = {"tol": ("tolPrimal", "tolDual", "tolOptimality")}


def option_table() -> List[Option]:
    """All options with their types, ranges and meanings, in the order of the documentation."""
    table = []
    for index in range(lib.library.qzlp_optionCount()):
        record = lib.library.qzlp_optionAt(index).contents
        table.append(
            Option(
                record.name.decode(),
                record.type == 0,
                record.defaultValue,
                record.minimum,
                record.maximum,
                record.description.decode(),
            )
        )
    return table


def _camel(name: str) -> str:
    """tolPrimal for tol_primal."""
    return re.sub(r"_([a-z])", lambda match: match.group(1).upper(), name)


# Null pointers, by which the library forgets a callback.
_NO_LOG = ctypes.cast(0, lib.LogCallback)
_NO_PROGRESS = ctypes.cast(0, lib.ProgressCallback)
_NO_BREAK = ctypes.cast(0, lib.BreakCallback)


class _Calls:
    """The callbacks of one solve. What a caller's function raises stops the solve and is raised behind it."""

    def __init__(self, log: LogTarget, progress: Any, should_stop: Any, showsDebug: bool) -> None:
        self.raised: Optional[BaseException] = None
        self.interrupted = False
        self._log: Any = print if log is True else log
        self._progress = progress
        self._should_stop = should_stop
        self._lowest = lib.LOG_DEBUG if showsDebug else lib.LOG_DEBUG + 1
        self.log: Any = lib.LogCallback(self._tell_line) if log else _NO_LOG
        self.progress: Any = lib.ProgressCallback(self._tell_progress) if progress is not None else _NO_PROGRESS
        self.stop = lib.BreakCallback(self._poll)

    def _guarded(self, call: Callable[[], Any]) -> int:
        if self.raised is not None:
            return 1
        try:
            return 1 if call() else 0
        except BaseException as error:  # nothing may pass through the library's frames
            self.raised = error
            return 1

    def _tell_line(self, level: int, _code: int, line: bytes, _data: Any) -> None:
        if level >= self._lowest:
            self._guarded(lambda: self._log(line.decode(errors="replace")))

    def _tell_progress(self, record: Any, _data: Any) -> int:
        now = record.contents
        return self._guarded(
            lambda: self._progress(
                Progress(
                    now.iteration,
                    now.seconds,
                    now.complementarity,
                    now.dualityGap,
                    now.primalInfeasibility,
                    now.boundInfeasibility,
                    now.dualInfeasibility,
                )
            )
        )

    def _poll(self, _data: Any) -> int:
        if self.interrupted or self.raised is not None:
            return 1
        return self._guarded(self._should_stop) if self._should_stop is not None else 0

    @contextmanager
    def catching_interrupts(self) -> Iterator[None]:
        """Ctrl-C only raises a word here, so that the solver can stop at its next poll; then the handler of before has
        its turn. Signals reach the main thread alone."""
        before = signal.getsignal(signal.SIGINT)
        if threading.current_thread() is not threading.main_thread() or not callable(before):
            yield
            return

        def note(_number: int, _frame: Any) -> None:
            self.interrupted = True

        signal.signal(signal.SIGINT, note)
        try:
            yield
        finally:
            signal.signal(signal.SIGINT, before)
            if self.interrupted:
                before(signal.SIGINT, None)


class Solver:
    """A model that is solved, changed and solved again. Use it as a context manager, or close it.

    Options are keyword arguments with the library's names, in the form tolPrimal or tol_primal; `tol` sets all three
    tolerances. One solver serves one thread at a time.

        with qzlp.Solver(model, time_limit=60) as solver:
            result = solver.solve()
            solver.set_row(0, lower=5.0)
            result = solver.solve()
    """

    def __init__(self, model: Optional[Model] = None, **options: Number) -> None:
        self._handle: Optional[int] = None
        self._solving = threading.Lock()
        handle = lib.library.qzlp_create()
        if not handle:
            raise RuntimeError(lib.library.qzlp_error(None).decode())
        self._handle = handle
        try:
            self.set_options(**options)
            if model is not None:
                self.load(model)
        except BaseException:
            self.close()
            raise

    def close(self) -> None:
        """Releases the model and all memory."""
        if self._solving.locked():
            raise RuntimeError("the solver is at work: it can't be closed")
        handle, self._handle = self._handle, None
        if handle is not None:
            lib.library.qzlp_destroy(handle)

    def __enter__(self) -> Solver:
        return self

    def __exit__(self, *_: Any) -> None:
        self.close()

    def __del__(self) -> None:
        if getattr(self, "_handle", None) is not None:
            lib.library.qzlp_destroy(self._handle)

    @property
    def _open(self) -> int:
        if self._handle is None:
            raise RuntimeError("the solver is closed")
        return self._handle

    def _check(self, code: int) -> None:
        if code != lib.OK:
            lib.raise_error(code, lib.library.qzlp_error(self._open).decode(errors="replace"))

    # ---- Model ----

    def load(self, model: Model) -> None:
        """Takes a copy of the model in place of the one before."""
        self._check(load(self._open, model))

    def read(self, path: Path) -> None:
        """Reads an MPS or LP file, plain, gzip or bzip2, in place of the model before."""
        with open(path, "rb"):  # what can't be opened is an error of the system
            pass
        self._check(lib.library.qzlp_readModel(self._open, os.fsencode(path)))

    def write(self, path: Path) -> None:
        """Writes the model as a free MPS file, in full precision."""
        self._check(lib.library.qzlp_writeModel(self._open, os.fsencode(path)))

    def model(self) -> Model:
        """A copy of the model."""
        return fetch(self._open)

    @property
    def num_rows(self) -> int:
        """Rows of the model."""
        return lib.library.qzlp_numRow(self._open)

    @property
    def num_columns(self) -> int:
        """Columns of the model."""
        return lib.library.qzlp_numCol(self._open)

    def set_cost(self, column: int, cost: float) -> None:
        """Changes the cost of a column."""
        self._check(lib.library.qzlp_setCost(self._open, column, cost))

    def set_bounds(self, column: int, lower: float = 0.0, upper: float = np.inf) -> None:
        """Changes both bounds of a column."""
        self._check(lib.library.qzlp_setBounds(self._open, column, lower, upper))

    def set_row(self, row: int, lower: float = -np.inf, upper: float = np.inf) -> None:
        """Changes both sides of a row."""
        self._check(lib.library.qzlp_setRow(self._open, row, *row_record(lower, upper)))

    def set_element(self, row: int, column: int, value: float) -> None:
        """Changes an element of A; 0 takes it out."""
        self._check(lib.library.qzlp_setElement(self._open, row, column, value))

    def set_constant(self, constant: float) -> None:
        """Changes the constant of the objective."""
        self._check(lib.library.qzlp_setObjConstant(self._open, constant))

    def set_maximize(self, maximize: bool) -> None:
        """Maximises from now on, or minimises."""
        self._check(lib.library.qzlp_setObjSense(self._open, -1 if maximize else 1))

    # ---- Options ----

    def set_options(self, **options: Number) -> None:
        """Sets options. An option of its own wins over `tol`, whatever stands first."""
        for name, value in sorted(options.items(), key=lambda item: item[0] not in _GROUPS):
            for single in _GROUPS.get(name, (_camel(name),)):
                self._set_option(single, value)

    def _set_option(self, name: str, value: Number) -> None:
        if isinstance(value, str) and value in _WORDS.get(name, ()):
            value = _WORDS[name].index(value)
        try:
            number = float(value)
        except ValueError:
            words = " or ".join(_WORDS.get(name, ()))
            raise ValueError(f"option {name}: '{value}' is no number" + (f" and not {words}" if words else "")) from None
        self._check(lib.library.qzlp_setDoubleOption(self._open, name.encode(), number))

    def options(self) -> Dict[str, float]:
        """The values of all options."""
        values = {}
        for option in option_table():
            place = ctypes.c_double()
            self._check(lib.library.qzlp_getDoubleOption(self._open, option.name.encode(), place))
            values[option.name] = int(place.value) if option.is_integer else place.value
        return values

    def reset_options(self) -> None:
        """Puts all options back to their defaults."""
        self._check(lib.library.qzlp_resetOptions(self._open))

    # ---- Solve ----

    def solve(
        self,
        log: LogTarget = False,
        progress: Optional[Callable[[Progress], Optional[bool]]] = None,
        should_stop: Optional[Callable[[], bool]] = None,
    ) -> Result:
        """Solves the model.

        `log` True prints the solver's log, a function receives its lines. `progress` is called at each iteration, and
        `should_stop` again and again; when one of them returns something true, the solve ends with INTERRUPTED. What
        they raise ends the solve and is raised here; Ctrl-C raises KeyboardInterrupt.
        """
        handle = self._open
        if not self._solving.acquire(blocking=False):
            raise RuntimeError("the solver is at work already")
        try:
            calls = _Calls(log, progress, should_stop, self.options()["debugLevel"] > 0)
            self._connect(handle, calls.log, calls.progress, calls.stop)
            try:
                with calls.catching_interrupts():
                    code = lib.library.qzlp_solve(handle)
            finally:
                self._connect(handle, _NO_LOG, _NO_PROGRESS, _NO_BREAK)
            if calls.raised is not None:
                raise calls.raised
            self._failed(code)
            return _answer(handle)
        finally:
            self._solving.release()

    def _connect(self, handle: int, log: Any, progress: Any, stop: Any) -> None:
        error = lib.library.qzlp_error(handle)  # setting a callback clears it
        self._error = error.decode(errors="replace")
        lib.library.qzlp_setLogCallback(handle, log, None)
        lib.library.qzlp_setProgressCallback(handle, progress, None)
        lib.library.qzlp_setBreakCallback(handle, stop, None)

    def _failed(self, code: int) -> None:
        if code != lib.OK:
            lib.raise_error(code, self._error)


def _answer(handle: int) -> Result:
    library = lib.library
    status = _status(library.qzlp_status(handle))
    hasPoint = library.qzlp_hasPoint(handle) != 0
    numRow, numCol = library.qzlp_numRow(handle), library.qzlp_numCol(handle)

    def vector(pointer: Any, count: int) -> Optional[np.ndarray]:
        return array_of(pointer, count) if hasPoint else None

    def basis(pointer: Any, count: int) -> Optional[np.ndarray]:
        return array_of(pointer, count, np.uint8) if pointer else None

    return Result(
        status=status,
        message=status.text,
        objective=library.qzlp_objective(handle) if hasPoint else None,
        x=vector(library.qzlp_primal(handle), numCol),
        dual=vector(library.qzlp_dual(handle), numRow),
        reduced_cost=vector(library.qzlp_reducedCost(handle), numCol),
        row_activity=vector(library.qzlp_rowActivity(handle), numRow),
        column_basis=basis(library.qzlp_columnBasis(handle), numCol),
        row_basis=basis(library.qzlp_rowBasis(handle), numRow),
        iterations=library.qzlp_iterations(handle),
        simplex_iterations=library.qzlp_simplexIterations(handle),
        primal_infeasibility=library.qzlp_primalInfeasibility(handle),
        bound_infeasibility=library.qzlp_boundInfeasibility(handle),
        dual_infeasibility=library.qzlp_dualInfeasibility(handle),
        duality_gap=library.qzlp_dualityGap(handle),
        complementarity=library.qzlp_complementarity(handle),
        presolve_time=library.qzlp_presolveTime(handle),
        total_time=library.qzlp_totalTime(handle),
    )


def _status(number: int) -> Status:
    infeasible_alias = 256
    return Status.PRIMAL_INFEASIBLE if number == infeasible_alias else Status(number)


def solve_model(
    model: Model,
    log: LogTarget = False,
    progress: Optional[Callable[[Progress], Optional[bool]]] = None,
    should_stop: Optional[Callable[[], bool]] = None,
    **options: Number,
) -> Result:
    """Solves a model with the given options."""
    with Solver(model, **options) as solver:
        return solver.solve(log, progress, should_stop)


def solve(
    c: ArrayLike,
    A: Any = None,
    row_lower: ArrayLike = -np.inf,
    row_upper: ArrayLike = np.inf,
    lower: ArrayLike = 0.0,
    upper: ArrayLike = np.inf,
    Q: Any = None,
    constant: float = 0.0,
    maximize: bool = False,
    log: LogTarget = False,
    progress: Optional[Callable[[Progress], Optional[bool]]] = None,
    should_stop: Optional[Callable[[], bool]] = None,
    **options: Number,
) -> Result:
    """Solves  minimise c'x + x'Qx / 2 + constant,  row_lower <= A x <= row_upper,  lower <= x <= upper.

    The arrays are those of Model, the functions those of Solver.solve, and the options those of option_table().
    """
    model = Model(c, A, row_lower, row_upper, lower, upper, Q, constant, maximize)
    return solve_model(model, log, progress, should_stop, **options)
