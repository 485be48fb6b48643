"""The tests run the program that the repository's build made, or the one that $QVTX names."""

import sys
from pathlib import Path

import pytest

sys.path.insert(0, str(Path(__file__).resolve().parents[1]))


def pytest_addoption(parser):
    parser.addoption("--no-skips", action="store_true", help="fail when a test is skipped")


def skipped(config):
    """How many tests and whole modules were skipped although none may be."""
    reporter = config.pluginmanager.get_plugin("terminalreporter")
    return len(reporter.stats.get("skipped", [])) if config.getoption("--no-skips") else 0


def pytest_sessionfinish(session):
    if skipped(session.config):
        session.exitstatus = pytest.ExitCode.TESTS_FAILED


def pytest_terminal_summary(terminalreporter, config):
    if skipped(config):
        terminalreporter.write_line(f"failed: {skipped(config)} skipped, which --no-skips forbids", red=True)


@pytest.fixture(scope="session")
def program():
    """Path of the program."""
    from qvtx.program import find_program

    return find_program()
