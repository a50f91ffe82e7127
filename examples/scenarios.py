"""Capacity for an uncertain demand: a two-stage stochastic program, its scenarios solved by the workers of a cluster.

    minimise    sum_i build_i x_i + mean over the scenarios s of R_s(x),       0 <= x <= largest

R_s(x) is what it costs to serve the demands d_s from the plants' capacities x, with a penalty for what stays unserved:

    R_s(x) = minimise   sum_ij ship_ij y_ij + penalty sum_j u_j
             subject to sum_j y_ij <= x_i,   sum_i y_ij + u_j >= d_sj,   y, u >= 0

R_s is convex, and with the dual prices p of the capacity rows at a trial x^ it lies above R_s(x^) + p'(x - x^). These
cuts build up a model of the mean from below, whose minimum is the next trial (the L-shaped method: Van Slyke and Wets
1969). The scenarios are independent of each other: Dask's distributed scheduler spreads them over its workers, here
processes of one machine, elsewhere machines of a cluster by Client("address:port").

    python3 scenarios.py [scenarios [workers]]
"""

from __future__ import annotations

import sys
from dataclasses import dataclass
from typing import Any, Callable, Iterable, List, Tuple

import numpy as np
from scipy import sparse

import qzlp


@dataclass(frozen=True)
class Network:
    """Plants and customers."""

    build: np.ndarray  # cost of a unit of capacity, per plant
    largest: np.ndarray  # most capacity, per plant
    ship: np.ndarray  # cost of a unit from plant to customer
    penalty: float  # for a unit that stays unserved


def make_network(plants: int = 5, customers: int = 8, seed: int = 1) -> Network:
    random = np.random.default_rng(seed)
    return Network(
        build=random.uniform(4.0, 7.0, plants),
        largest=np.full(plants, 60.0),
        ship=random.uniform(1.0, 6.0, (plants, customers)),
        penalty=30.0,
    )


def make_demands(count: int, customers: int = 8, seed: int = 2) -> np.ndarray:
    """A row of demands for each scenario."""
    return np.random.default_rng(seed).gamma(4.0, 5.0, (count, customers))


def recourse_rows(plants: int, customers: int) -> sparse.csc_array:
    """Capacity rows on top of demand rows, for the columns y by plants and then u."""
    capacity = sparse.kron(sparse.eye(plants), np.ones((1, customers)))
    demand = sparse.kron(np.ones((1, plants)), sparse.eye(customers))
    unserved = sparse.vstack([sparse.csr_matrix((plants, customers)), sparse.eye(customers)])
    return sparse.csc_array(sparse.hstack([sparse.vstack([capacity, demand]), unserved]))


def solve_scenarios(network: Network, demands: np.ndarray, x: np.ndarray) -> Tuple[float, np.ndarray]:
    """What a worker does: the sum of R_s(x) over the given scenarios, and the sum of the prices of the capacities.

    One solver serves all of them, since only the demands differ."""
    plants, customers = network.ship.shape
    cost = np.concatenate([network.ship.ravel(), np.full(customers, network.penalty)])
    rows = recourse_rows(plants, customers)
    upper = np.concatenate([x, np.full(customers, np.inf)])
    lower = np.concatenate([np.full(plants, -np.inf), np.zeros(customers)])
    total, prices = 0.0, np.zeros(plants)
    with qzlp.Solver(qzlp.Model(cost, rows, lower, upper), threads=1, tol=1e-8) as solver:
        for demand in demands:
            for j in range(customers):
                solver.set_row(plants + j, lower=demand[j])
            result = solver.solve()
            if not result.optimal:
                raise RuntimeError(f"a scenario ended as {result.status.name}: {result.message}")
            total += result.objective
            prices += result.dual[:plants]
    return total, prices


Spread = Callable[[Callable[..., Any], Iterable[Any]], List[Any]]


def plan(network: Network, demands: np.ndarray, spread: Spread, parts: int, gap: float = 1e-5) -> Tuple[np.ndarray, float]:
    """The best capacities and their expected cost. `spread` maps a function over a list, wherever it likes."""
    plants = len(network.build)
    shares = np.array_split(demands, parts)
    cuts: List[Tuple[np.ndarray, float]] = []  # slope and constant: mean R >= slope'x + constant
    x, best, bestCost = network.largest / 2.0, network.largest / 2.0, np.inf
    for trial in range(1, 200):
        answers = spread(lambda share: solve_scenarios(network, share, x), shares)
        mean = sum(total for total, _ in answers) / len(demands)
        slope = sum(prices for _, prices in answers) / len(demands)
        cost = float(network.build @ x + mean)
        if cost < bestCost:
            best, bestCost = x, cost
        cuts.append((slope, mean - slope @ x))
        # The columns x and theta, the model of the mean: theta - slope'x >= constant for each cut.
        rows = np.array([np.append(-cut, 1.0) for cut, _ in cuts])
        master = qzlp.solve(
            np.append(network.build, 1.0),
            rows,
            row_lower=[constant for _, constant in cuts],
            upper=np.append(network.largest, np.inf),
            tol=1e-8,
        )
        if not master.optimal:
            raise RuntimeError(f"the master ended as {master.status.name}: {master.message}")
        print(f"trial {trial:3d}: cost {cost:.4f}, at least {master.objective:.4f}")
        if bestCost - master.objective <= gap * (1.0 + abs(bestCost)):
            return best, bestCost
        x = np.clip(master.x[:plants], 0.0, network.largest)
    raise RuntimeError("too many trials")


def main(scenarios: int = 200, workers: int = 2) -> None:
    from distributed import Client

    network, demands = make_network(), make_demands(scenarios)
    with Client(n_workers=workers, threads_per_worker=1, dashboard_address=None) as client:
        best, cost = plan(network, demands, lambda work, shares: client.gather(client.map(work, shares)), 4 * workers)
    print(f"expected cost {cost:.4f} with the capacities {np.round(best, 2)}")


if __name__ == "__main__":
    main(*(int(word) for word in sys.argv[1:]))
