"""Pictures: that they show what was saved, and that the numbers behind them are right."""

import re
import subprocess

import matplotlib
import numpy as np
import pytest

matplotlib.use("Agg")
from matplotlib.colors import to_hex

from qvtx import plot, write
from qvtx.saved import Saved

SCRIPT = "ld t ng 12 md mp a 0.9 ag sm run om 12 3 us mp sm grid xt y".replace(" ", "\n") + "\n"


@pytest.fixture(scope="module")
def folder(tmp_path_factory, program):
    """A folder where 150 flat data in 4 variables were mapped as `run` and `grid`."""
    folder = tmp_path_factory.mktemp("plot")
    random = np.random.default_rng(1)
    flat = random.normal(size=(150, 2)) @ random.normal(size=(2, 4)) + 0.02 * random.normal(size=(150, 4))
    write(folder / "t.dat", flat, binary=True)
    write(folder / "t.lab", flat[:, 0] > 0)
    subprocess.run([program, "--init"], cwd=folder, check=True, capture_output=True)
    subprocess.run([program], cwd=folder, input=SCRIPT, check=True, capture_output=True, text=True)
    return folder


def test_the_shell_draws_every_picture_that_it_can(folder, capsys):
    data = ["--data", str(folder / "t")]
    assert plot.main([str(folder / "run"), *data]) == 0
    assert sorted(path.name for path in folder.glob("run-*.png")) == [
        f"run-{name}.png" for name in sorted(plot.PICTURES) if name != "grid"
    ]
    assert "no grid was saved" in capsys.readouterr().err
    assert plot.main([str(folder / "grid"), "grid", "--format", "svg", *data]) == 0
    assert plot.main([str(folder / "run"), "map", "--colour", "nonsense", *data]) == 1
    assert "'nonsense': label, hits, component, error, or a variable: 'v0', 'v1'" in capsys.readouterr().err


def test_the_map_places_images_links_and_colours(folder):
    saved = Saved.of(folder / "run", folder / "t")
    ax = plot.map(saved)
    assert ax.get_aspect() == 1
    assert len(ax.collections[0].get_segments()) == len(saved.links)
    shown = {}
    for part in ax.collections[1:]:
        colours = part.get_facecolors()
        shown.update({tuple(point): to_hex(colours[0]) for point in part.get_offsets().data if len(colours)})
    classes = plot.CLASSES[:2]
    expected = {tuple(image): classes[label] for image, label in zip(saved.images[:, :2], saved.majority())}
    assert shown == expected


@pytest.mark.parametrize("colour", ["label", "hits", "component", "error", "v3"])
def test_everything_colours(folder, colour):
    shown = plot.colouring(Saved.of(folder / "run", folder / "t"), colour)
    assert shown.prototypes.shape == (12,)
    plot.map(Saved.of(folder / "run", folder / "t"), colour).figure.canvas.draw()


def test_local_pca_is_the_programs(folder):
    rows = re.findall(
        r"^  \d +((?:\| +\d\.\d\d ){5})", (folder / "run.log").read_text().split("Local PCA")[1], re.M
    )
    reported = np.array([[float(word) for word in re.findall(r"\d\.\d\d", row)] for row in rows[:5]])
    computed = plot.local_profile(Saved.of(folder / "run", folder / "t"))
    np.testing.assert_allclose(computed.T, reported, atol=0.00501)


def test_rank_quality_is_one_for_a_true_map_and_nought_for_chance(folder):
    saved = Saved.of(folder / "run", folder / "t")
    written = saved.rank
    saved.rank = None  # computed from now on
    np.testing.assert_allclose(plot.rank_quality(saved), written, atol=1e-5)
    random = np.random.default_rng(2)
    saved.prototypes = random.normal(size=(300, 2))
    saved.links = None
    saved.images = saved.prototypes * 7
    np.testing.assert_array_equal(plot.rank_quality(saved)[:, 1], 1)
    saved.images = random.normal(size=(300, 2))
    np.testing.assert_allclose(plot.rank_quality(saved)[:, 1], 0, atol=0.05)


def test_shepard_bins_are_where_the_program_counted(folder):
    saved = Saved.of(folder / "run", folder / "t")
    counts, statistics = saved.gods["e"]
    mesh = plot.shepard(saved, "e").collections[0]
    corners = mesh.get_coordinates()[0, :, 0]
    np.testing.assert_allclose((corners[1:] + corners[:-1]) / 2, statistics[:, 0], atol=1e-4)
    assert mesh.get_array().sum() == counts.sum()
