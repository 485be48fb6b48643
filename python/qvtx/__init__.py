"""Companion of the console program `qvtx`: its files as numpy arrays."""

from qvtx.files import read, write
from qvtx.matrices import FileError
from qvtx.preferences import Preferences
from qvtx.snapshot import Links, Snapshot

__all__ = ["FileError", "Links", "Preferences", "Snapshot", "read", "write"]
