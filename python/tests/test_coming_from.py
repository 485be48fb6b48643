"""The page for users of scikit-learn and R says what is true: its code runs and its assertions hold."""

import os
import re
import shutil
import subprocess
import sys
from pathlib import Path

import pytest

TOP = Path(__file__).resolve().parents[2]


def code(language: str) -> str:
    """All indented blocks of that language on the page, one after the other."""
    page = (TOP / "docs/coming-from.md").read_text()
    sections = re.split(r"^## ", page, flags=re.M)
    chosen = [text for text in sections if text.startswith("Files in R\n") == (language == "R")]
    return "\n".join(line[4:] for text in chosen for line in text.splitlines() if line.startswith("    "))


@pytest.mark.parametrize("language, command", [("Python", sys.executable), ("R", "Rscript")])
def test_the_code_of_the_page_runs(language, command, program, tmp_path):
    if not shutil.which(command):
        pytest.skip(f"there is no {command}")
    for name in ("iris.dat", "Qvtx.prf"):
        shutil.copy(TOP / "examples" / name, tmp_path)
    roll = ["awk", "-v", "set=swiss", "-v", "n=1000", "-v", "seed=1", "-f", TOP / "examples/synthetic.awk"]
    (tmp_path / "swiss.dat").write_bytes(subprocess.run(roll, capture_output=True, check=True).stdout)
    (tmp_path / "qvtx").symlink_to(Path(program).resolve())
    (tmp_path / "code").write_text(code(language))
    environment = {**os.environ, "PATH": f"{tmp_path}:{os.environ['PATH']}"}
    ran = subprocess.run([command, "code"], cwd=tmp_path, env=environment, capture_output=True, text=True)
    assert ran.returncode == 0, ran.stderr
