"""Companion of the console program `qvtx`: its files as numpy arrays, its sessions, and estimators on top of
them.

::

    import qvtx
    session = qvtx.Session(X).quantize("ng", 300).map("cc", 2)
    session.images

`qvtx.csv`, `qvtx.plot`, `qvtx.view`, `qvtx.large` and `qvtx.estimators` are imported when they are first
used, as each needs more packages than numpy.
"""

import importlib
from types import ModuleType

from qvtx.files import read, write
from qvtx.matrices import FileError
from qvtx.preferences import Preferences
from qvtx.program import QvtxError
from qvtx.session import Rating, Session
from qvtx.snapshot import Links, Snapshot

MODULES = ("csv", "estimators", "large", "plot", "view")


def __getattr__(name: str) -> ModuleType:
    if name in MODULES:
        return importlib.import_module(f"{__name__}.{name}")
    raise AttributeError(f"module {__name__!r} has no attribute {name!r}")


__all__ = ["FileError", "Links", "Preferences", "QvtxError", "Rating", "Session", "Snapshot", "read", "write"]
