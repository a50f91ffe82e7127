"""The scenario program of the examples against its extensive form: all scenarios in one model."""

import sys
import unittest
from pathlib import Path

import numpy as np
from scipy import sparse

import qzlp

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "examples"))  # the workers inherit it
import scenarios  # noqa: E402


def extensive_form(network: scenarios.Network, demands: np.ndarray) -> qzlp.Model:
    plants, customers = network.ship.shape
    count = len(demands)
    rows = scenarios.recourse_rows(plants, customers)
    link = sparse.vstack([-sparse.eye(plants), sparse.csr_matrix((customers, plants))])
    cost = np.concatenate([network.ship.ravel(), np.full(customers, network.penalty)]) / count
    return qzlp.Model(
        np.concatenate([network.build, np.tile(cost, count)]),
        sparse.hstack([sparse.vstack([link] * count), sparse.block_diag([rows] * count)]),
        row_lower=np.concatenate([np.concatenate([np.full(plants, -np.inf), demand]) for demand in demands]),
        row_upper=np.tile(np.concatenate([np.zeros(plants), np.full(customers, np.inf)]), count),
        upper=np.concatenate([network.largest, np.full(len(cost) * count, np.inf)]),
    )


class Scenarios(unittest.TestCase):
    network = scenarios.make_network()
    demands = scenarios.make_demands(24)

    def check(self, spread: scenarios.Spread) -> None:
        best, cost = scenarios.plan(self.network, self.demands, spread, 6)
        whole = extensive_form(self.network, self.demands).solve(tol=1e-8)
        self.assertTrue(whole.optimal, whole.message)
        self.assertLess(abs(cost - whole.objective), 5e-5 * (1.0 + abs(whole.objective)))
        self.assertGreaterEqual(np.min(best), 0.0)

    def test_one_after_the_other(self) -> None:
        self.check(lambda work, shares: [work(share) for share in shares])

    def test_prices_are_the_slopes_of_the_recourse(self) -> None:
        x, step = np.full(5, 25.0), 1e-3
        total, prices = scenarios.solve_scenarios(self.network, self.demands, x)
        for i in range(5):
            more = x.copy()
            more[i] += step
            grown, later = scenarios.solve_scenarios(self.network, self.demands, more)
            slope = (grown - total) / step
            self.assertLessEqual(prices[i] - 1e-2, slope)
            self.assertLessEqual(slope, later[i] + 1e-2)

    def test_on_a_cluster_of_processes(self) -> None:
        try:
            from distributed import Client
        except ImportError:
            self.skipTest("Dask's distributed scheduler is missing (Debian: python3-distributed)")
        with Client(n_workers=2, threads_per_worker=1, dashboard_address=None) as client:
            self.assertEqual(len(client.nthreads()), 2)
            self.check(lambda work, shares: client.gather(client.map(work, shares)))


if __name__ == "__main__":
    unittest.main()
