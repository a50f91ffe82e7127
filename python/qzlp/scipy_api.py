"""linprog with the signature and the result of SciPy's function of that name."""

from __future__ import annotations

import warnings
from typing import Any, Callable, Dict, Optional, Tuple

import numpy as np
from numpy.typing import ArrayLike
from scipy import sparse
from scipy.optimize import OptimizeResult, OptimizeWarning

from .model import Model
from .solver import Progress, Solver, _camel, option_table
from .status import Result, Status

# Methods that end at a vertex, as SciPy's do by default, and those that leave the interior answer.
_VERTEX_METHODS = ("qzlp", "highs", "highs-ds", "highs-ipm", "simplex", "revised simplex")
_INTERIOR_METHODS = ("qzlp-ipm", "interior-point")

# SciPy's names of options.
_OPTION_NAMES = {
    "maxiter": "maxIter",
    "time_limit": "timeLimit",
    "primal_feasibility_tolerance": "tolPrimal",
    "dual_feasibility_tolerance": "tolDual",
    "ipm_optimality_tolerance": "tolOptimality",
    "tol": "tol",
}

# SciPy's numbers of what a solve came to.
_SUCCESS, _LIMIT, _INFEASIBLE, _UNBOUNDED, _TROUBLE = range(5)
_STATUS = {
    Status.OPTIMAL: _SUCCESS,
    Status.NEAR_OPTIMAL: _SUCCESS,
    Status.ITERATION_LIMIT: _LIMIT,
    Status.TIME_LIMIT: _LIMIT,
    Status.INTERRUPTED: _LIMIT,
    Status.PRIMAL_INFEASIBLE: _INFEASIBLE,
}


def linprog(
    c: ArrayLike,
    A_ub: Any = None,
    b_ub: Optional[ArrayLike] = None,
    A_eq: Any = None,
    b_eq: Optional[ArrayLike] = None,
    bounds: Any = None,
    method: str = "qzlp",
    callback: Optional[Callable[[OptimizeResult], Any]] = None,
    options: Optional[Dict[str, Any]] = None,
    x0: Optional[ArrayLike] = None,
    integrality: Optional[ArrayLike] = None,
) -> OptimizeResult:
    """minimise c'x,  A_ub x <= b_ub,  A_eq x = b_eq,  bounds: drop-in for scipy.optimize.linprog.

    Where it differs: `method` is "qzlp", which ends at a vertex like SciPy's default, or "qzlp-ipm", which leaves the
    interior-point answer; SciPy's own names are taken for the one or the other. `callback` is called at each iteration
    with an OptimizeResult of nit and the measures, without x; something true stops the solve. `options` are SciPy's
    maxiter, disp, time_limit, tol and the feasibility and optimality tolerances, and all of this package. `x0` is of no
    effect, as with SciPy's default method. A nonzero `integrality` is a ValueError: this solver has no integers.

    The result has SciPy's fields: x, fun, slack, con, ineqlin, eqlin, lower, upper, status (0 to 4), message, success,
    nit, crossover_nit; and `qzlp_status`, the status of this package.
    """
    if integrality is not None and np.any(np.asarray(integrality) != 0):
        raise ValueError("integrality: this solver has continuous variables only")
    if x0 is not None:
        warnings.warn("x0 is of no effect: an interior-point method starts from a point of its own", OptimizeWarning, 2)
    parts = _Parts(c, A_ub, b_ub, A_eq, b_eq, bounds)
    settings, disp = _settings(method, options)
    progress = None if callback is None else lambda now: callback(_progress_result(now))
    with Solver(parts.model, **settings) as solver:
        answer = solver.solve(log=disp, progress=progress)
        status = _scipy_status(answer, solver)
    return parts.result(answer, status)


class _Parts:
    """The arrays of one call."""

    def __init__(self, c: Any, A_ub: Any, b_ub: Any, A_eq: Any, b_eq: Any, bounds: Any) -> None:
        self.c = np.atleast_1d(np.squeeze(np.asarray(c, dtype=float)))
        if self.c.ndim != 1:
            raise ValueError("c must be a vector")
        self.A_ub, self.b_ub = _rows(A_ub, b_ub, "ub", len(self.c))
        self.A_eq, self.b_eq = _rows(A_eq, b_eq, "eq", len(self.c))
        self.lower, self.upper = _bounds(bounds, len(self.c))
        self.model = Model(
            self.c,
            sparse.vstack([self.A_ub, self.A_eq], format="csc"),
            row_lower=np.concatenate([np.full(len(self.b_ub), -np.inf), self.b_eq]),
            row_upper=np.concatenate([self.b_ub, self.b_eq]),
            lower=self.lower,
            upper=self.upper,
        )

    def result(self, answer: Result, status: int) -> OptimizeResult:
        out = OptimizeResult(
            x=answer.x,
            fun=answer.objective,
            status=status,
            success=status == _SUCCESS,
            message=answer.message,
            nit=answer.iterations,
            crossover_nit=answer.simplex_iterations,
            qzlp_status=answer.status,
        )
        count = len(self.b_ub)
        slack = con = atLower = atUpper = dual = cost = None
        if answer.x is not None and answer.dual is not None and answer.reduced_cost is not None:
            slack, con = self.b_ub - self.A_ub @ answer.x, self.b_eq - self.A_eq @ answer.x
            atLower, atUpper = answer.x - self.lower, self.upper - answer.x
            dual, cost = answer.dual, answer.reduced_cost
        out["slack"], out["con"] = slack, con
        out["ineqlin"] = OptimizeResult(residual=slack, marginals=None if dual is None else dual[:count])
        out["eqlin"] = OptimizeResult(residual=con, marginals=None if dual is None else dual[count:])
        # Of two bounds the one that the sign of the reduced cost speaks of has the marginal.
        out["lower"] = OptimizeResult(
            residual=atLower,
            marginals=None if cost is None else np.where(np.isfinite(self.lower), np.maximum(cost, 0.0), 0.0),
        )
        out["upper"] = OptimizeResult(
            residual=atUpper,
            marginals=None if cost is None else np.where(np.isfinite(self.upper), np.minimum(cost, 0.0), 0.0),
        )
        return out


def _rows(matrix: Any, rhs: Any, name: str, numCol: int) -> Tuple[sparse.csc_array, np.ndarray]:
    if (matrix is None) != (rhs is None):
        raise ValueError(f"A_{name} and b_{name} must be given together")
    if matrix is None:
        return sparse.csc_array((0, numCol)), np.zeros(0)
    if not sparse.issparse(matrix):
        matrix = np.asarray(matrix, dtype=float)
        if matrix.size == 0:
            matrix = matrix.reshape(0, numCol)
        matrix = np.atleast_2d(matrix)
    packed = sparse.csc_array(matrix, dtype=float)
    sides = np.atleast_1d(np.squeeze(np.asarray(rhs, dtype=float))) if np.size(rhs) > 0 else np.zeros(0)
    if packed.shape != (len(sides), numCol) or sides.ndim != 1:
        raise ValueError(
            f"A_{name} has the shape {packed.shape}, but b_{name} has {np.size(rhs)} entries and c has {numCol}"
        )
    return packed, sides


def _bounds(bounds: Any, numCol: int) -> Tuple[np.ndarray, np.ndarray]:
    """None, one pair for all, or a pair for each column; None in a pair is no bound."""
    if bounds is None or len(bounds) == 0 or (np.ndim(bounds) == 2 and np.size(bounds) == 0):
        bounds = (0, None)
    pairs = np.array(bounds, dtype=object)
    if pairs.shape == (2,):
        pairs = pairs.reshape(1, 2)
    if pairs.ndim != 2 or pairs.shape[1] != 2 or len(pairs) not in (1, numCol):
        raise ValueError(f"bounds have the shape {pairs.shape}, but one pair or {numCol} are needed")
    low = np.array([-np.inf if value is None else float(value) for value in pairs[:, 0]])
    high = np.array([np.inf if value is None else float(value) for value in pairs[:, 1]])
    return np.array(np.broadcast_to(low, numCol)), np.array(np.broadcast_to(high, numCol))


def _settings(method: str, options: Optional[Dict[str, Any]]) -> Tuple[Dict[str, Any], bool]:
    """Options of this package, and whether the log is shown."""
    chosen = str(method).lower()
    if chosen not in _VERTEX_METHODS + _INTERIOR_METHODS:
        raise ValueError(f"there is no method '{method}'; 'qzlp' and 'qzlp-ipm' are those of this package")
    settings: Dict[str, Any] = {"crossover": 1 if chosen in _VERTEX_METHODS else 0}
    given = dict(options or {})
    disp = bool(given.pop("disp", False))
    if isinstance(given.get("presolve"), bool) and given.pop("presolve") is False:
        warnings.warn("presolve can't be switched off", OptimizeWarning, 3)
    known = {option.name for option in option_table()}
    for name, value in given.items():
        own = _OPTION_NAMES.get(name, _camel(name))
        if own not in known and own != "tol":
            warnings.warn(f"unknown option {name}", OptimizeWarning, 3)
        elif value is not None:
            settings[own] = value
    return settings, disp


def _progress_result(now: Progress) -> OptimizeResult:
    return OptimizeResult(nit=now.iteration, **{key: value for key, value in now._asdict().items() if key != "iteration"})


def _scipy_status(answer: Result, solver: Solver) -> int:
    """An interior-point method can't always tell an unbounded model from one without any point; a second solve without
    costs can."""
    if answer.status not in (Status.DUAL_INFEASIBLE, Status.BOTH_INFEASIBLE):
        return _STATUS.get(answer.status, _TROUBLE)
    for column in range(solver.num_columns):
        solver.set_cost(column, 0.0)
    solver.set_options(crossover=0)
    feasible = solver.solve()
    if feasible.optimal:
        return _UNBOUNDED
    return _INFEASIBLE if feasible.status == Status.PRIMAL_INFEASIBLE else _TROUBLE
