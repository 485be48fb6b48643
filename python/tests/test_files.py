"""Files: what the program saved is read and written again with the same bytes; damaged files are refused."""

import io
import subprocess
from pathlib import Path

import numpy as np
import pytest

import qvtx
from qvtx import files, matrices, snapshot

REPOSITORY = Path(__file__).resolve().parents[2]
EXAMPLES = REPOSITORY / "examples"


@pytest.fixture(scope="session")
def saved(tmp_path_factory, program):
    """A folder with everything that the example scripts save, and what --init writes."""
    folder = tmp_path_factory.mktemp("saved")
    (folder / "results").mkdir()
    for name in ("iris.dat", "digits.dat", "wine.dat"):
        (folder / name).symlink_to(EXAMPLES / name)
    subprocess.run([program, "--init"], cwd=folder, check=True)
    for script in sorted(EXAMPLES.glob("*.cmd")):
        with script.open() as commands:
            subprocess.run([program], stdin=commands, cwd=folder, check=True, capture_output=True)
    return folder


def test_reading_and_writing_keeps_every_byte(saved, tmp_path):
    names = [*(saved / "results").iterdir(), *saved.glob("Qvtx.prf"), *saved.glob("default.*")]
    names += (EXAMPLES / "schedules").iterdir()
    kinds = {name.suffix for name in names}
    assert {".mbf", ".cod", ".clu", ".crv", ".lnk", ".sgd", ".mre", ".bwt", ".trc", ".ngp"} <= kinds
    for name in names:
        copy = tmp_path / name.name
        binary = name.suffix == ".cod" and files.is_binary(name.read_bytes())
        qvtx.write(copy, qvtx.read(name), binary=binary)
        assert copy.read_bytes() == name.read_bytes(), name.name


def test_snapshot_agrees_with_the_text_files_beside_it(saved):
    saved_state = qvtx.read(saved / "results/cc.mbf")
    assert np.allclose(saved_state.prototypes, qvtx.read(saved / "results/cc.pro"), atol=5e-7)
    assert np.allclose(saved_state.images, qvtx.read(saved / "results/cc.map"), atol=5e-7)
    assert np.array_equal(saved_state.codes, qvtx.read(saved / "results/cc.cod"))
    clusters = qvtx.read(saved / "results/cc.clu")
    assert np.array_equal(clusters, np.column_stack((saved_state.codes, saved_state.components[saved_state.codes])))
    assert np.array_equal(saved_state.links.ends, qvtx.read(saved / "results/cc.crv").ends)
    assert saved_state.steps["mapp_fin"]
    preferences = qvtx.read(saved / "Qvtx.prf")
    assert all(saved_state.settings[key] == preferences[key] for key in ("vlnnbr", "tcdepoq", "tdccsfac"))


def test_graph_is_symmetric_with_lengths_between_prototypes(saved):
    saved_state = qvtx.read(saved / "results/ng.mbf")
    graph = saved_state.graph().toarray()
    i, j = saved_state.links.ends[0]
    assert np.array_equal(graph, graph.T)
    assert graph[i, j] == pytest.approx(np.linalg.norm(saved_state.prototypes[i] - saved_state.prototypes[j]))


@pytest.mark.parametrize(
    ("text", "expected"),
    [
        ("     2\t     0\t\n     1\t     0\t\n  1.5\t 2\t\n", [[1.5, 2]]),
        ("1.5 2 3\n4 5 6 7\n", [[1.5, 2, 3], [4, 5, 6]]),
        ("1 2 3\n4 5 6 7\n", [[3], [4]]),
        ("2 0\n5 7\n", [[2, 0, 5, 7]]),
        ("3 0\n4 5 6\n7 8\n", [[3, 0], [4, 5], [6, 7]]),
        ("2 0\r\n1 0\r\n8\r\n9\r\n", [[8, 9]]),
        ("2.5 3\n4 5\nend 6 7\n", [[2.5, 3], [4, 5]]),
    ],
)
def test_text_matrices_follow_the_reading_rules_of_the_program(text, expected):
    assert matrices.parse_matrix(text).tolist() == expected


@pytest.mark.parametrize("text", ["", "words\n", "1.5 2", "2 0\n3 0\n1 2 3\n", "1.5 + 2\n"])
def test_text_without_the_numbers_it_needs_is_refused(text):
    with pytest.raises(qvtx.FileError):
        matrices.parse_matrix(text)


def test_reals_are_written_as_the_program_writes_them():
    text = matrices.format_matrix([[0.5, -0.0, np.nan], [1e12, 2.5e-7, np.inf]], header=False)
    assert text == "  0.500000\t -0.000000\t       nan\t\n1000000000000.000000\t  0.000000\t       inf\t\n"


def test_every_short_snapshot_is_refused(saved):
    data = (saved / "results/km.mbf").read_bytes()
    for length in range(0, len(data) - 1, 977):
        with pytest.raises(qvtx.FileError):
            snapshot.read_snapshot(io.BytesIO(data[:length]))


def test_binary_matrix_has_the_documented_bytes(tmp_path):
    qvtx.write(tmp_path / "a.dat", [[1, -2]], binary=True)
    words = "01000000 02000000 01000000 05000000 08000000 000000000000F03F 00000000000000C0"
    assert (tmp_path / "a.dat").read_bytes() == bytes.fromhex(words)
    with pytest.raises(OverflowError):
        qvtx.write(tmp_path / "a.cod", np.array([2**31]), binary=True)
    assert [name.name for name in tmp_path.iterdir()] == ["a.dat"]


def test_preferences_refuse_values_out_of_range():
    preferences = qvtx.read(EXAMPLES / "Qvtx.prf")
    preferences["vlnnbr"] = 8
    assert preferences["vlnnbr"] == 8
    with pytest.raises(ValueError, match="vlnnbr"):
        preferences["vlnnbr"] = 0
    with pytest.raises(KeyError):
        preferences["absent"] = 0


@pytest.mark.parametrize("labels", [np.array([3, -1]), np.array([0.5, 2.0])])
def test_labels_keep_their_kind(labels, tmp_path):
    qvtx.write(tmp_path / "a.lab", labels)
    again = qvtx.read(tmp_path / "a.lab")
    assert again.dtype == labels.dtype and np.array_equal(again, labels)
