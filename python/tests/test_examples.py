"""Every example runs to its end."""

import os
import subprocess
import sys
from pathlib import Path

import pytest

PACKAGE = Path(__file__).resolve().parents[1]


@pytest.mark.parametrize("example", sorted((PACKAGE / "examples").glob("*.py")), ids=lambda path: path.stem)
def test_example_runs(example, tmp_path):
    environment = {**os.environ, "PYTHONPATH": str(PACKAGE), "MPLBACKEND": "Agg", "TMPDIR": str(tmp_path)}
    ran = subprocess.run(
        [sys.executable, example], cwd=tmp_path, env=environment, capture_output=True, text=True
    )
    assert ran.returncode == 0, ran.stderr
    assert ran.stdout
