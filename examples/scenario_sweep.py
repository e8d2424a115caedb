"""Scenario sweep: one transport model solved for 200 demand scenarios in
parallel, on local processes or on a Dask cluster, with the same code.

The model is built once.  Each task receives it pickled (the problem with
its variables and demand rows), replaces the demand rows by those of its
scenario, solves, and returns the cost.  Independent solves are what
scales: each runs in a worker of its own, and the sweep takes about
(scenarios / workers) times one solve, plus the cost of shipping the model.

    python examples/scenario_sweep.py                       # local processes
    python examples/scenario_sweep.py --backend dask        # a LocalCluster
    python examples/scenario_sweep.py --backend dask --address tcp://host:8786
"""
from __future__ import annotations

import argparse
import concurrent.futures
import os
import time
from typing import Any, Callable, Dict, Iterable, List, Optional, Sequence, Tuple

import numpy as np
import numpy.typing as npt

import quendalib as quenda

PLANTS = {"north": 900.0, "south": 1100.0, "east": 700.0, "west": 800.0}
CUSTOMERS = [f"c{j:02d}" for j in range(12)]
BASE_DEMAND = np.linspace(150.0, 250.0, len(CUSTOMERS))

# The model that travels to the workers: the problem, its shipments by
# (plant, customer) and the demand rows that each scenario replaces.
Model = Tuple[quenda.problem, Dict[Tuple[str, str], quenda.var], List[quenda.constraint]]


def build_model() -> Model:
    rng = np.random.default_rng(7)
    cost = rng.uniform(2.0, 12.0, size=(len(PLANTS), len(CUSTOMERS)))
    p = quenda.problem(name="transport")
    p.setControl("outputlog", 0)
    ship = {(i, j): quenda.var(name=f"ship_{i}_{j}") for i in PLANTS for j in CUSTOMERS}
    p.addVariable(ship)
    p.addConstraint(
        quenda.constraint(quenda.Sum(ship[i, j] for j in CUSTOMERS) <= cap, name=f"cap_{i}")
        for i, cap in PLANTS.items())
    demand = demand_rows(ship, BASE_DEMAND)
    p.addConstraint(demand)
    p.setObjective(quenda.Sum(float(cost[a, b]) * ship[i, j]
                              for a, i in enumerate(PLANTS) for b, j in enumerate(CUSTOMERS)))
    return p, ship, demand


def demand_rows(ship: Dict[Tuple[str, str], quenda.var],
                demand: npt.NDArray[np.float64]) -> List[quenda.constraint]:
    return [quenda.constraint(quenda.Sum(ship[i, j] for i in PLANTS) >= float(d), name=f"dem_{j}")
            for j, d in zip(CUSTOMERS, demand)]


def scenarios(n: int, seed: int = 2024) -> npt.NDArray[np.float64]:
    """n demand vectors: the base demand scaled customer by customer."""
    rng = np.random.default_rng(seed)
    return BASE_DEMAND * rng.uniform(0.6, 1.3, size=(n, len(CUSTOMERS)))


def solve_scenario(model: Model, demand: npt.NDArray[np.float64]) -> Tuple[float, str]:
    """The cost of one scenario.  model arrives unpickled: p, ship and rows
    belong together, so the rows can be replaced by object."""
    p, ship, rows = model
    p.delConstraint(rows)
    rows[:] = demand_rows(ship, demand)  # the model's rows from now on
    p.addConstraint(rows)
    p.solve()
    status = p.getProbStatusString()
    return (p.getObjVal() if status == "lp_optimal" else float("nan")), status


# How a sweep spreads its tasks: map(fn, models, demands) -> results in order.
Mapper = Callable[..., Iterable[Tuple[float, str]]]


def sweep(mapper: Mapper = map, n: int = 200) -> List[Dict[str, Any]]:
    """The table of the sweep: one row per scenario.  The default mapper
    solves in this process, one scenario after the other."""
    model = build_model()
    demands = scenarios(n)
    results = mapper(solve_scenario, [model] * n, list(demands))
    return [{"scenario": k, "demand": float(d.sum()), "cost": cost, "status": status}
            for k, (d, (cost, status)) in enumerate(zip(demands, results))]


def dask_mapper(client: Any) -> Mapper:
    """map over a Dask cluster: all tasks submitted at once (the Executor
    interface of the client would wait for each submission in turn)."""
    def mapper(fn: Callable[..., Tuple[float, str]], *columns: Sequence[Any]) -> Any:
        return client.gather(client.map(fn, *columns, pure=False))
    return mapper


def run(backend: str, n: int, workers: int, address: Optional[str] = None) -> List[Dict[str, Any]]:
    if backend == "serial":
        return sweep(map, n)
    if backend == "processes":
        with concurrent.futures.ProcessPoolExecutor(max_workers=workers) as pool:
            return sweep(pool.map, n)
    # A LocalCluster unless the address of a running scheduler is given.
    # (Dask's constructors carry no annotations, hence the ignores.)
    from dask.distributed import Client, LocalCluster

    if address:
        with Client(address) as client:  # type: ignore[no-untyped-call]
            return sweep(dask_mapper(client), n)
    with LocalCluster(  # type: ignore[no-untyped-call]
            n_workers=workers, threads_per_worker=1, processes=True,
            dashboard_address=None) as cluster, Client(cluster) as client:  # type: ignore[no-untyped-call]
        return sweep(dask_mapper(client), n)


def main() -> None:
    ap = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    ap.add_argument("--backend", choices=["serial", "processes", "dask"], default="processes")
    ap.add_argument("--scenarios", type=int, default=200)
    ap.add_argument("--workers", type=int, default=min(4, os.cpu_count() or 1))
    ap.add_argument("--address", help="scheduler of a running Dask cluster (tcp://host:8786)")
    args = ap.parse_args()
    start = time.perf_counter()
    table = run(args.backend, args.scenarios, args.workers, args.address)
    elapsed = time.perf_counter() - start
    print(f"{'scenario':>8} {'demand':>10} {'cost':>12}  status")
    for row in table[:10]:
        print(f"{row['scenario']:8d} {row['demand']:10.1f} {row['cost']:12.2f}  {row['status']}")
    if len(table) > 10:
        print(f"{'...':>8}")
    costs = np.array([row["cost"] for row in table])
    print(f"{len(table)} scenarios on {args.backend} in {elapsed:.2f}s: cost min {np.nanmin(costs):.2f}, "
          f"mean {np.nanmean(costs):.2f}, max {np.nanmax(costs):.2f}")


if __name__ == "__main__":
    main()
