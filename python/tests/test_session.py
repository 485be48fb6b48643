"""Sessions: what they give is what the console gives; refusals are exceptions; nothing stays behind."""

import os
import signal
import subprocess
import sys
import threading
from pathlib import Path

import numpy as np
import pandas as pd
import pytest

import qvtx

PACKAGE = Path(__file__).resolve().parents[1]
IRIS = qvtx.read(PACKAGE.parent / "examples/iris.dat")


@pytest.fixture
def private(tmp_path, monkeypatch):
    """The folder in which sessions make theirs."""
    folder = tmp_path / "private"
    folder.mkdir()
    monkeypatch.setattr("tempfile.tempdir", str(folder))
    return folder


@pytest.mark.parametrize(
    "analyse",
    [
        lambda s: s.quantize("nq").map("md", 2),
        lambda s: s.quantize("gc"),
        lambda s: s.quantize("km", 20).map("it", 3),
        lambda s: s.quantize("dk", confidence=0.8).remove("lost"),
        lambda s: s.quantize("xn", 0.8).map("cc", confidence=0.9),
        lambda s: s.quantize("nw", confidence=0.7).remove("copies"),
        lambda s: s.set(vglink_p="n_link", vlnnbr=8, vclaini=0.1).quantize("cl", 25),
        lambda s: s.distance("cosine").quantize("fc", 12, fast=True),
        lambda s: s.distance(exponent=1).quantize("ng", 30).map("mm", 2).interpolate(IRIS[:9] + 0.1),
        lambda s: s.quantize("om", 32, ratio=2).map("us").interpolate(),
        lambda s: s.quantize("jp", schedule=[[14, 7]]),
    ],
)
def test_commands_repeat_the_session_at_the_console(analyse, program, tmp_path):
    with qvtx.Session(IRIS, seed=5) as session:
        analyse(session)
        script = session.save_script(tmp_path)
        session.save(tmp_path / "expected")
    script.write_text(script.read_text().removesuffix("xt\ny\n") + "sm\nrepeated\n")
    subprocess.run([program, "--replay", script.name], cwd=tmp_path, check=True, capture_output=True)
    assert (tmp_path / "repeated.mbf").read_bytes() == (tmp_path / "expected.mbf").read_bytes()


def test_cells_that_are_missing_or_masked_are_left_out():
    frame = pd.DataFrame(
        {"whole": pd.array([1, None, 3, 4], dtype="Int64"), "true": [True, False, True, True]}
    )
    masked = np.ma.masked_equal([[1, 1], [2, 0], [3, 1], [4, 1]], 2)
    for table in (frame, masked):
        session = qvtx.Session(table).quantize("km", 2)
        assert (session.codes < 0).tolist() == [False, True, False, False]
    with pytest.raises(ValueError, match="columns"):
        qvtx.Session(frame).quantize("km", 2).map("md", 1).interpolate(frame[["true", "whole"]])


def test_seeds_choose_the_random_numbers():
    first = {}
    for seed in (0, 1, 2, 1):
        prototypes = qvtx.Session(IRIS, seed=seed).quantize("cl", 4).prototypes
        assert np.array_equal(first.setdefault(seed, prototypes), prototypes)
    assert len({values.tobytes() for values in first.values()}) == 3


@pytest.mark.parametrize(
    ("attempt", "line"),
    [
        (lambda s: s.quantize("xn", -1.0), "xn needs a radius above 0, not -1"),
        (lambda s: s.quantize("km", 0), "km needs at least 1 prototype"),
        (lambda s: s.map("us"), "us needs the prototypes of a self-organizing map"),
        (lambda s: s.map("cc", 0), "a map has at least 1 dimension"),
        (lambda s: s.set(vlnnbr=0), r"vlnnbr.*out of range \[1,1000000\]"),
        (lambda s: s.path(10), "bw needs distances"),
        (lambda s: s.quantize("jp", schedule=[[0]]), "jp: k not parametric"),
        (lambda s: s.quantize("ng", 9, schedule=[[0.5, 1], [5, 1]]), "ng_itr: anow not parametric"),
    ],
)
def test_refusals_raise_the_line_of_the_program_and_leave_the_session_alive(attempt, line):
    with qvtx.Session(IRIS).quantize("ng", 10) as session:
        with pytest.raises(qvtx.QvtxError, match=line):
            attempt(session)
        assert session.quantize("km", 3).prototypes.shape == (3, 4)


@pytest.mark.parametrize(
    ("attempt", "error"),
    [
        (lambda s: qvtx.Session(IRIS[0]), ValueError),
        (lambda s: qvtx.Session(IRIS[:0]), ValueError),
        (lambda s: qvtx.Session([["a"]]), ValueError),
        (lambda s: qvtx.Session(pd.DataFrame({"day": pd.to_datetime(["2024-02-29"])})), ValueError),
        (lambda s: s.distance("chebyshev"), ValueError),
        (lambda s: s.set(tdgb=np.nan), ValueError),
        (lambda s: s.quantize("ng", 9, schedule=[[np.nan, 1]]), ValueError),
        (lambda s: s.map("md").interpolate(like="none"), ValueError),
        (lambda s: qvtx.Session(IRIS, seed=-1), ValueError),
        (lambda s: s.quantize("kmeans", 3), ValueError),
        (lambda s: s.quantize("km", 3.5), TypeError),
        (lambda s: s.quantize("xn"), TypeError),
        (lambda s: s.set(absent=1), KeyError),
        (lambda s: s.set(vlnnbr=1.5), TypeError),
        (lambda s: s.set(vglink_p="no_rule"), TypeError),
        (lambda s: s.images, ValueError),
        (lambda s: s.interpolate(), ValueError),
        (lambda s: s.reconstruct(), ValueError),
        (lambda s: s.map("md").interpolate(IRIS[:, :3]), ValueError),
        (lambda s: s.map("md").reconstruct([[1, 2, 3]]), ValueError),
    ],
)
def test_wrong_arguments_are_the_errors_of_numpy_users(attempt, error):
    with qvtx.Session(IRIS).quantize("ng", 10) as session, pytest.raises(error):
        attempt(session)


@pytest.mark.parametrize("settings", [{}, {"vglink_p": "none"}, {"vglink_p": "e_link", "vleeps": 0.3}])
@pytest.mark.parametrize("exponent", [1, 2, 8])
def test_reconstruction_at_chosen_positions_is_that_of_the_program(settings, exponent):
    with qvtx.Session(IRIS, settings=settings).distance(exponent=exponent) as session:
        session.quantize("ng", 30).map("cc", 2)
        positions = session.interpolate(IRIS + 0.05)
        # The program reconstructs from all digits of the positions, of which six decimals are known here.
        assert np.allclose(session.reconstruct(), session.reconstruct(positions), atol=1e-4)
        assert np.array_equal(session.reconstruct(session.images), session.prototypes)


def test_interpolation_reconstructs_better_than_the_nearest_prototypes():
    with qvtx.Session(IRIS).quantize("ng", 30).map("cc", 2) as session:
        session.interpolate()
        samples = session.reconstruct()
        error = session.reconstruction_error()
    assert error.with_interpolation == pytest.approx(np.sum((samples - IRIS) ** 2, axis=1).mean(), abs=1e-5)
    assert error.gain == pytest.approx(1 - error.with_interpolation / error.without_interpolation, abs=1e-4)
    assert error.gain > 0.2


def test_saved_session_goes_on_where_it_was(tmp_path):
    with qvtx.Session(IRIS).set(tdgb=0.5).quantize("ng", 30).map("mm", 2) as session:
        session.save(tmp_path / "iris")
        expected = session.interpolate(IRIS[:5])
    with qvtx.Session.load(tmp_path / "iris", IRIS) as loaded:
        assert np.array_equal(loaded.interpolate(IRIS[:5], like="mm"), expected)
        assert loaded.snapshot.settings["tdgb"] == 0.5
    with pytest.raises(qvtx.QvtxError, match="data of 150 x 4, these are 149 x 4"):
        qvtx.Session.load(tmp_path / "iris", IRIS[1:])
    with pytest.raises(FileNotFoundError):
        qvtx.Session.load(tmp_path / "absent", IRIS)


def test_rating_holds_what_the_report_tells_and_the_god_graphs():
    with qvtx.Session(IRIS).quantize("ng", 30).map("cc", 2) as session:
        rating = session.rate()
        assert f"stress = {rating.stress:.4f}, lost neighbours =" in session.report()
        assert 0 < rating.lost_links < 1
        assert rating.gods.keys() == {"self", "euclidean", "curvilinear"}
        assert rating.gods["euclidean"][0].sum() == 30 * 29 / 2
        predecessors = session.path(3)[:, 0]
        assert predecessors[3] == -1


def test_progress_hears_every_method_to_its_end():
    heard = []
    epochs = {"vngepoq": 20, "tcdepoq": 30}
    with qvtx.Session(IRIS, settings=epochs, progress=lambda *step: heard.append(step)) as session:
        session.quantize("ng", 9).map("cc", 2)
    assert {("ng", 20, 20), ("cda", 30, 30)} <= set(heard)


def test_rising_schedule_warns_and_then_ends_the_session(private):
    session = qvtx.Session(IRIS)
    with pytest.warns(UserWarning, match="vngafin is above vngaini"):
        session.set(vngaini=0.01)
    with pytest.raises(qvtx.QvtxError, match="fval<lval"):
        session.quantize("ng", 5)
    with pytest.raises(ValueError, match="closed"):
        session.quantize("ng", 5)
    assert not list(private.iterdir())


def test_files_of_a_session_are_private_and_vanish_with_it(private):
    session = qvtx.Session(IRIS).quantize("km", 5)
    session.save(private / "kept")
    (folder,) = (path for path in private.iterdir() if path.is_dir())
    assert folder.stat().st_mode & 0o777 == 0o700
    assert all(path.stat().st_mode & 0o077 == 0 for path in folder.glob("state.*"))
    del session
    assert not folder.exists()


def test_nothing_stays_behind_a_killed_program(private):
    session = qvtx.Session(IRIS)
    os.kill(session._console.process.pid, signal.SIGKILL)
    with pytest.raises(qvtx.QvtxError, match="SIGKILL"):
        session.quantize("km", 5)
    assert not list(private.iterdir())


@pytest.mark.parametrize("error", [KeyboardInterrupt, ZeroDivisionError])
@pytest.mark.parametrize("epochs", [100000, 3])  # the last time the program may be waiting already
def test_an_interrupt_ends_a_method_and_the_session_goes_on(error, epochs, private):
    def stop(method, step, steps):
        if method == "ng" and (step == steps or steps > 3):
            raise error

    with qvtx.Session(IRIS, settings={"vngepoq": epochs}, progress=stop) as session:
        before = session.quantize("km", 7).commands
        with pytest.raises(error):
            session.quantize("ng", 50)
        assert session.prototypes.shape == (50, 4)
        assert session.map("md", 2).images.shape == (50, 2)
        assert session.commands.startswith(before.removesuffix("xt\ny\n") + "ng\n50\nmd\n")
    assert not list(private.iterdir())


def test_an_interrupt_gives_other_commands_up(private):
    rows = np.column_stack([np.arange(3000.0) % 50, np.arange(3000) // 50, np.zeros(3000)])
    with qvtx.Session(rows, settings={"vgmemory": 0}) as session:
        session.quantize("nq")
        threading.Timer(0.2, lambda: os.kill(os.getpid(), signal.SIGINT)).start()
        with pytest.raises(KeyboardInterrupt):
            session.map("md", 40)
        assert "md\nmp\nm\n40" not in session.commands
        assert session.prototypes.shape == (3000, 3)
        assert session.quantize("km", 9).map("md", 1).images.shape == (9, 1)


def test_a_second_interrupt_closes_the_session(private, monkeypatch):
    def interrupt(*_):
        raise KeyboardInterrupt

    with qvtx.Session(IRIS) as session:
        monkeypatch.setattr(session._console, "_wait", interrupt)  # again while the first one waits
        with pytest.raises(KeyboardInterrupt):
            session.quantize("km", 5)
        with pytest.raises(ValueError, match="closed"):
            session.quantize("km", 5)
    assert not list(private.iterdir())


@pytest.mark.parametrize("end", ["", "raise SystemExit(0)", "1 / 0"])
def test_nothing_stays_behind_the_interpreter(end, private):
    script = f"import qvtx; s = qvtx.Session([[1.0, 2], [3, 5]]); print(s.folder.exists()); {end}"
    environment = {**os.environ, "TMPDIR": str(private), "PYTHONPATH": str(PACKAGE)}
    ran = subprocess.run([sys.executable, "-c", script], env=environment, capture_output=True, text=True)
    assert ran.stdout == "True\n"
    assert not list(private.iterdir())
