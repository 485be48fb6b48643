"""Tables to data files and back."""

import subprocess

import numpy as np
import pytest

from qvtx import csv, read


def convert(folder, content, *arguments):
    """Exit status of qvtx-csv over a table with this content; the data go to folder/t."""
    (folder / "t.csv").write_bytes(content if isinstance(content, bytes) else content.encode())
    return csv.main([str(folder / "t.csv"), str(folder / "t"), *arguments])


@pytest.mark.parametrize(
    "content, rows",
    [
        ("x,y\n1,2\n3,4\n", [[1, 2], [3, 4]]),
        ("\ufeffx;y\n1,5;2\n-,5;1e-300\n", [[1.5, 2], [-0.5, 1e-300]]),
        ("x\ty\n1\t2\n".encode("utf-16"), [[1, 2]]),
        ("é,y\n1,2\n".encode("cp1252"), [[1, 2]]),
        ('"a;b";"c"\n"1";"2"\n\n3;4\n', [[1, 2], [3, 4]]),
        ("x y\n1 0.1\n", [[1, 0.1]]),
        ("1\n42\n7\n", [[1], [42], [7]]),  # no header, and what the program would take for one
        ("1,42,0\n7,8,9\n", [[1, 42, 0], [7, 8, 9]]),
        ("x,y,\n1,True,\n3,False,\n", [[1, 1], [3, 0]]),
    ],
)
@pytest.mark.parametrize("form", [(), ("--binary",)])
def test_numbers_arrive_exactly(tmp_path, content, rows, form):
    assert convert(tmp_path, content, *form) == 0
    assert read(tmp_path / "t.dat").tolist() == rows


@pytest.mark.parametrize("first", ["1", "1,42", "2,0", "1,0"])
def test_the_program_reads_every_table(tmp_path, program, first):
    assert convert(tmp_path, f"{first}\n{first}\n{first}\n", "--no-header") == 0
    subprocess.run([program, "--init"], cwd=tmp_path, check=True, capture_output=True)
    told = subprocess.run([program], cwd=tmp_path, input="ld\nt\ndd\nxt\ny\n", capture_output=True, text=True)
    assert f"Data: 3 samples, {first.count(',') + 1} variable" in told.stdout


@pytest.mark.parametrize(
    "content, arguments, complaint",
    [
        ("x,y\n1,2\n\n3,four\n5,6\n", [], "line 4: column 'y': 'four'"),
        ('x,t\n1,"a\nb"\n,c\n', [], "line 4: column 'x': missing"),
        ("x,f\n1,True\n2,\n", [], "line 3: column 'f': missing"),
        ("x,p\n1,12 %\n2,7 %\n", [], "line 2: column 'p': '12 %'"),
        ("x,y\n1,2\n3,-inf\n", [], "line 3: column 'y': an infinite"),
        ("x;y\n3,5;4\n1.234,5;2\n", ["--decimal", ","], "line 3: column 'x': '1.234,5'"),
        ("x,y\n1,2\n1,2,3\n", [], "line 3, saw 3"),
        ("x,y\n1,2,3\n4,5,6\n", [], "line 2: 3 fields"),
        ("x,y\n1,2\n", ["--label", "z"], "no column 'z'; there are 'x', 'y'"),
        ("x,y\n1,\n,2\n", ["--missing", "drop"], "every row"),
        ("t\na\nb\n", [], "no column of numbers"),
        ("x,y\n", [], "no row"),
        ("", [], "No columns"),
    ],
)
def test_refusals_name_the_place_and_write_nothing(tmp_path, capsys, content, arguments, complaint):
    assert convert(tmp_path, content, *arguments) == 1
    assert complaint in capsys.readouterr().err
    assert not (tmp_path / "t.dat").exists()


def test_columns_become_label_variables_or_nothing_and_the_screen_says_so(tmp_path, capsys):
    table = "id,kind,x,colour,note\n7,b,1,red,hm\n8,a,?,blue,so\n9,b,4,red,la\n"
    assert (
        convert(tmp_path, table, "--label", "kind", "--drop", "id", "--encode", "colour", "--missing", "mean")
        == 0
    )
    assert read(tmp_path / "t.dat").tolist() == [[1, 0, 1], [2.5, 1, 0], [4, 0, 1]]
    assert read(tmp_path / "t.lab").tolist() == [1, 0, 1]
    names = csv.json.loads((tmp_path / "t.names").read_text())
    assert names["variables"] == ["x", "colour=blue", "colour=red"]
    assert names["classes"] == {"0": "a", "1": "b"}
    told = capsys.readouterr().out
    for piece in ("id         dropped", "label, 2 classes: 0 a, 1 b", "note       left out: text", "1 in x"):
        assert piece in told


def test_scaling_can_be_undone_and_spares_constant_columns(tmp_path):
    assert convert(tmp_path, "x,c\n1,5\n2,5\n6,5\n", "--scale") == 0
    values = read(tmp_path / "t.dat")
    np.testing.assert_allclose(values.mean(axis=0), 0, atol=1e-15)
    assert values[:, 0].std() == pytest.approx(1)
    names = csv.json.loads((tmp_path / "t.names").read_text())
    np.testing.assert_allclose(values * names["scale"] + names["mean"], [[1, 5], [2, 5], [6, 5]])


def test_back_joins_results_with_the_rows_that_had_data(tmp_path, program, capsys):
    lines = [f"{x},5;{x * x};kind {x % 2};" for x in range(40)]
    lines[3] = "?;1;kind 1;"
    assert convert(tmp_path, "x;x;k;\n" + "\n".join(lines) + "\n", "--label", "k", "--missing", "drop") == 0
    subprocess.run([program, "--init"], cwd=tmp_path, check=True, capture_output=True)
    script = "ld t km 5 cc mp m 2 cc il sp run sm run xt y".replace(" ", "\n") + "\n"
    subprocess.run([program], cwd=tmp_path, input=script, check=True, capture_output=True, text=True)
    back = ["--back", str(tmp_path / "run"), str(tmp_path / "out.csv"), "--data", str(tmp_path / "t")]
    assert csv.main(back) == 0
    out = (tmp_path / "out.csv").read_text().splitlines()
    assert out[0] == "x;x;k;;prototype;component;map_0;map_1;position_0;position_1"
    assert out[4] == "?;1;kind 1;;;;;;;"
    assert [int(line.split(";")[4]) for line in out[1:4]] == read(tmp_path / "run.cod")[:3].tolist()
    (tmp_path / "t.csv").write_text("x;y;k\n1;2;3\n")
    assert csv.main(back) == 1
    assert "changed since" in capsys.readouterr().err
