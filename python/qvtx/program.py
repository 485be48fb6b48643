"""Where the program is."""

from __future__ import annotations

import os
import shutil
from pathlib import Path

HERE = Path(__file__).resolve().parent


def find_program() -> str:
    """Path of the program `qvtx`: $QVTX; else the one in this package; else the newest that the repository
    around this package has built; else the one on the search path. FileNotFoundError when there is none."""
    if named := os.environ.get("QVTX"):
        if not os.access(named, os.X_OK):
            raise FileNotFoundError(f"$QVTX names no program: {named}")
        return str(Path(named).resolve())
    built = HERE.parents[1].glob("build/*/qvtx")
    candidates = [HERE / "bin" / "qvtx", *sorted(built, key=lambda path: -path.stat().st_mtime)]
    for path in candidates:
        if path.is_file() and os.access(path, os.X_OK):
            return str(path)
    if found := shutil.which("qvtx"):
        return found
    raise FileNotFoundError("the program qvtx is not there: build it, put it on the search path or set $QVTX")
