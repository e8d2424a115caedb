"""The tree events of the Cbc engine: prenode, newnode, infnode and
nodecutoff fire on real searches with node numbers that make a tree."""
import pytest

import quendalib as quenda

from cbmodels import knapsacks, read

STOP_USER = 9
NODE_KINDS = ["prenode", "newnode", "infnode", "nodecutoff"]


def record_tree(p):
    """Registers all four kinds on p; returns the list of events seen, each
    (kind, node, depth, parent, branch)."""
    events = []

    def prenode(prob, data):
        a = prob.attributes
        events.append(("prenode", a.currentnode, a.nodedepth, None, None))
        return 0

    def newnode(prob, data, parent, node, branch):
        events.append(("newnode", node, prob.attributes.nodedepth, parent, branch))

    def infnode(prob, data):
        a = prob.attributes
        events.append(("infnode", a.currentnode, a.nodedepth, None, None))

    def nodecutoff(prob, data, node):
        assert prob.attributes.currentnode == node
        events.append(("nodecutoff", node, prob.attributes.nodedepth, None, None))

    for kind, f in [("prenode", prenode), ("newnode", newnode), ("infnode", infnode),
                    ("nodecutoff", nodecutoff)]:
        getattr(p, "addcb" + kind)(f)
    return events


def check_tree(events):
    """The events describe one tree: children made after their parent with
    growing numbers, each node evaluated at most once and ended at most once."""
    depth = {1: 1}
    evaluated, ended = set(), set()
    last = 1
    for kind, node, d, parent, branch in events:
        if kind == "newnode":
            assert parent in depth and node > last and branch >= 0
            assert d == depth[parent] + 1
            depth[node] = d
            last = node
            continue
        assert node in depth and d == depth[node], (kind, node)
        if kind == "prenode":
            assert node not in evaluated
            evaluated.add(node)
        else:
            assert node not in ended
            ended.add(node)
    return depth, evaluated, ended


@pytest.mark.parametrize("model", ["knapsack", "flugpl.mps", "lseu.mps"])
def test_tree_events_describe_the_search_and_keep_the_optimum(model):
    p = knapsacks()[0] if model == "knapsack" else read(model)
    p.solve()
    best = p.getObjVal()
    events = record_tree(p)
    p.solve()
    assert p.attributes.engine == 2
    assert p.getObjVal() == pytest.approx(best, rel=1e-6)
    depth, evaluated, ended = check_tree(events)
    kinds = {e[0] for e in events}
    assert {"prenode", "newnode"} <= kinds
    assert 1 in evaluated and len(depth) > 2
    # Every child either waits, was evaluated, or was cut off before.
    assert len(evaluated) <= len(depth)
    assert p.attributes.currentnode == 0  # outside callbacks


def test_nodecutoff_and_infnode_end_solved_nodes_once():
    p, _, _ = knapsacks(n=30, m=5, seed=3)
    events = record_tree(p)
    p.solve()
    _, evaluated, ended = check_tree(events)
    kinds = [e[0] for e in events]
    assert "nodecutoff" in kinds and "infnode" in kinds and ended
    # A node found infeasible had its LP solved first.
    assert all(e[1] in evaluated for e in events if e[0] == "infnode")


def test_prenode_declaring_nodes_infeasible():
    p, x, _ = knapsacks()
    marked, infeasible = [], []

    def prenode(prob, data):
        if prob.attributes.nodedepth >= 2:
            marked.append(prob.attributes.currentnode)
            return 1
        return 0

    p.addcbprenode(prenode)
    p.addcbinfnode(lambda prob, data: infeasible.append(prob.attributes.currentnode))
    p.solve()
    assert marked and marked == infeasible
    # Only the root was searched: what was found came from its heuristics.
    assert p.attributes.nodes <= len(marked) + 1


def test_prenode_declaring_the_root_infeasible_ends_the_search():
    p, _, _ = knapsacks()
    seen = []
    p.addcbprenode(lambda prob, data: 1)
    p.addcbinfnode(lambda prob, data: seen.append(prob.attributes.currentnode))
    p.solve()
    assert seen == [1]
    assert p.getProbStatusString() == "mip_infeas"


@pytest.mark.parametrize("kind", NODE_KINDS)
def test_exception_in_a_tree_event_stops_the_search_and_reaches_the_caller(kind, capsys):
    p, _, _ = knapsacks(n=30, m=5, seed=3)
    calls = []

    def f(*args):
        calls.append(1)
        raise ValueError("from " + kind)

    getattr(p, "addcb" + kind)(f)
    with pytest.raises(ValueError, match="from " + kind):
        p.solve()
    assert len(calls) == 1
    assert p.attributes.stopstatus == STOP_USER
    assert "callback, stopping optimization" in capsys.readouterr().err
    getattr(p, "removecb" + kind)()
    p.solve()
    assert p.attributes.stopstatus == 0


@pytest.mark.parametrize("kind", ["mipthread", "destroymt"])
def test_worker_kinds_register_harmlessly(kind):
    p, _, _ = knapsacks()
    p.solve()
    best = p.getObjVal()
    getattr(p, "addcb" + kind)(lambda *a: None)
    p.solve()
    assert p.attributes.engine == 1 and p.getObjVal() == pytest.approx(best)
