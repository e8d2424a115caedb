"""Sphinx configuration: the guides of docs/ (Markdown) and the reference,
which docs/reference.py writes at each build from the module's docstrings
and its type stubs."""
import os
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))

import quendalib  # noqa: E402  the built module (make docs builds it first)

project = "quendalib"
version = release = quendalib.__version__
extensions = ["myst_parser", "reference"]
source_suffix = {".md": "markdown", ".rst": "restructuredtext"}
root_doc = "index"
exclude_patterns = ["_build", "requirements.txt"]
myst_heading_anchors = 3
html_theme = "alabaster"
html_title = f"quendalib {release}"
nitpicky = False
