"""Companion of the console program `qvtx`: its files as numpy arrays, its sessions, and estimators on top of
them.

::

    import qvtx
    session = qvtx.Session(X).quantize("ng", 300).map("cc", 2)
    session.images
"""

from qvtx.files import read, write
from qvtx.matrices import FileError
from qvtx.preferences import Preferences
from qvtx.program import QvtxError
from qvtx.session import Rating, Session
from qvtx.snapshot import Links, Snapshot

__all__ = ["FileError", "Links", "Preferences", "QvtxError", "Rating", "Session", "Snapshot", "read", "write"]
