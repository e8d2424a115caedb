import importlib.util
import os

# The heap measure of the problem tests, shared rather than copied.
_spec = importlib.util.spec_from_file_location(
    "problem_conftest", os.path.join(os.path.dirname(__file__), "..", "problem", "conftest.py"))
_problem = importlib.util.module_from_spec(_spec)
_spec.loader.exec_module(_problem)
heap_growth = _problem.heap_growth
