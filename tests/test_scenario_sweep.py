"""The scale-out example: the sweep over a two-worker Dask LocalCluster and
over local processes gives, scenario by scenario, the costs of solving the
scenarios one after the other in this process."""
import math
import os
import sys

import pytest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.dirname(os.path.abspath(__file__))),
                                "examples"))
import scenario_sweep  # noqa: E402

N = 200


@pytest.fixture(scope="module")
def serial():
    return scenario_sweep.run("serial", N, workers=1)


def check(table, serial):
    assert [row["scenario"] for row in table] == list(range(N))
    for got, want in zip(table, serial):
        assert got["status"] == want["status"] == "lp_optimal"
        assert got["demand"] == want["demand"]
        assert math.isclose(got["cost"], want["cost"], rel_tol=1e-9)


def test_serial_costs_follow_demand(serial):
    # More demand never costs less to serve: a sanity check of the model
    # that makes the comparisons below meaningful.
    rows = sorted(serial, key=lambda r: r["demand"])
    assert rows[0]["cost"] < rows[-1]["cost"]
    assert len({round(r["cost"], 6) for r in serial}) == N


def test_processes(serial):
    check(scenario_sweep.run("processes", N, workers=2), serial)


def test_dask_local_cluster(serial):
    pytest.importorskip("dask.distributed")
    check(scenario_sweep.run("dask", N, workers=2), serial)
