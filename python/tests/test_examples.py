"""Every example runs to its end, and so does every command of the shell."""

import os
import subprocess
import sys
from pathlib import Path

import pytest

PACKAGE = Path(__file__).resolve().parents[1]


def run(*arguments, folder):
    """What Python prints with these arguments, when it ends well and leaves no temporary file."""
    temporary = folder / "temporary"
    temporary.mkdir()
    environment = {**os.environ, "PYTHONPATH": str(PACKAGE), "MPLBACKEND": "Agg", "TMPDIR": str(temporary)}
    command = [sys.executable, *map(str, arguments)]
    ran = subprocess.run(command, cwd=folder, env=environment, capture_output=True, text=True)
    assert ran.returncode == 0, ran.stderr
    assert not list(temporary.iterdir())
    return ran.stdout


@pytest.mark.parametrize("example", sorted((PACKAGE / "examples").glob("*.py")), ids=lambda path: path.stem)
def test_example_runs(example, tmp_path):
    assert run(example, folder=tmp_path)


@pytest.mark.parametrize("command", ["csv", "plot", "view"])
def test_commands_of_the_shell_tell_their_use(command, tmp_path):
    assert f"usage: qvtx-{command}" in run("-m", f"qvtx.{command}", "--help", folder=tmp_path)
    assert f'qvtx-{command} = "qvtx.{command}:main"' in (PACKAGE / "pyproject.toml").read_text()


@pytest.mark.parametrize(
    ("module", "others"),
    [
        ("session", "scipy pandas matplotlib plotly sklearn dask"),
        ("csv", "scipy matplotlib plotly sklearn dask"),
        ("plot", "pandas plotly sklearn dask"),
        ("view", "pandas matplotlib dask"),
        ("estimators", "pandas matplotlib plotly dask"),
    ],
)
def test_a_module_needs_no_package_of_other_extras(module, others, tmp_path):
    run(
        "-c",
        f"import sys; sys.modules.update(dict.fromkeys({others.split()})); import qvtx.{module}",
        folder=tmp_path,
    )
