"""The tests run the program that the repository's build made, or the one that $QVTX names."""

import sys
from pathlib import Path

import pytest

sys.path.insert(0, str(Path(__file__).resolve().parents[1]))


@pytest.fixture(scope="session")
def program():
    """Path of the program."""
    from qvtx.program import find_program

    return find_program()
