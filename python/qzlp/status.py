"""How a solve ended, and what it left."""

from __future__ import annotations

from dataclasses import dataclass
from enum import IntEnum
from typing import Optional

import numpy as np

from ._library import library


class Status(IntEnum):
    """How a solve ended. Only OPTIMAL and NEAR_OPTIMAL are an optimum."""

    NONE = 0
    OPTIMAL = 1
    PRIMAL_INFEASIBLE = 3
    DUAL_INFEASIBLE = 4
    ITERATION_LIMIT = 7
    TIME_LIMIT = 8
    FAILED = 10
    INTERRUPTED = 12
    BOTH_INFEASIBLE = 14
    NEAR_OPTIMAL = 15
    NOT_CONVEX = 1000
    OUT_OF_MEMORY = -1086

    @property
    def text(self) -> str:
        """What the status means and what may help."""
        return library.qzlp_statusText(self.value).decode()


class Basis(IntEnum):
    """Where a column or a row stands in a basis."""

    BASIC = 1
    LOWER = 2
    UPPER = 3
    FREE = 4


@dataclass
class Result:
    """The answer of a solve.

    Arrays are None when the status leaves no point. Duals and reduced costs belong to the objective as it stands, also
    when maximising: reduced_cost = c + Q x - A' dual. The measures are relative to 1 + the norm of their data, but for
    the complementarity.
    """

    status: Status
    message: str
    objective: Optional[float]
    x: Optional[np.ndarray]
    dual: Optional[np.ndarray]
    reduced_cost: Optional[np.ndarray]
    row_activity: Optional[np.ndarray]
    column_basis: Optional[np.ndarray]  # of Basis values, with the option crossover
    row_basis: Optional[np.ndarray]
    iterations: int
    simplex_iterations: int
    primal_infeasibility: float
    bound_infeasibility: float
    dual_infeasibility: float
    duality_gap: float
    complementarity: float
    presolve_time: float  # seconds
    total_time: float  # seconds

    @property
    def optimal(self) -> bool:
        """True for OPTIMAL and NEAR_OPTIMAL."""
        return self.status in (Status.OPTIMAL, Status.NEAR_OPTIMAL)
