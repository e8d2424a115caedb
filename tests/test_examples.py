"""The examples run as a user runs them, and the README's quick start is the
one in examples/ (so the snippet a user copies is known to work)."""
import os
import re
import subprocess
import sys

import pytest

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
EXAMPLES = os.path.join(ROOT, "examples")
SCRIPTS = sorted(f for f in os.listdir(EXAMPLES) if f.endswith(".py"))


@pytest.mark.parametrize("script", SCRIPTS)
def test_example_runs(script):
    run = subprocess.run([sys.executable, os.path.join(EXAMPLES, script)],
                         capture_output=True, text=True, timeout=240, cwd=ROOT)
    assert run.returncode == 0, run.stderr[-2000:]


def test_quickstart_output_and_readme():
    run = subprocess.run([sys.executable, os.path.join(EXAMPLES, "quickstart.py")],
                         capture_output=True, text=True, timeout=60, check=True)
    lines = run.stdout.splitlines()
    assert lines[0] == "lp_optimal 24.0"
    assert lines[1] == "[6. 4. 0.]"
    assert lines[2] == "[1. 1.] 3.0"
    readme = open(os.path.join(ROOT, "README.md"), encoding="utf-8").read()
    snippet = re.search(r"## Quick start\n\n```python\n(.*?)```", readme, re.S).group(1)
    code = open(os.path.join(EXAMPLES, "quickstart.py"), encoding="utf-8").read()
    body = code.split('"""', 2)[2].lstrip("\n")
    strip = lambda text: [re.sub(r"\s*#.*", "", ln) for ln in text.splitlines()]
    assert strip(snippet) == strip(body)
