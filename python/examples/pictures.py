"""Pictures of a map on matplotlib's axes: the links, the distances, the ranks, and the grid of a SOM."""

import tempfile
from pathlib import Path

import matplotlib.pyplot as plt

import qvtx
import qvtx.plot

folder = Path(__file__).resolve().parents[2] / "examples"
digits = qvtx.read(folder / "digits.dat")

with tempfile.TemporaryDirectory() as work:
    with qvtx.Session(digits).quantize("ng", 150).map("cc", 2) as session:
        session.rate()
        session.save(Path(work, "digits"))
    saved = qvtx.plot.Saved.of(Path(work, "digits"), folder / "digits.dat")
    figure, ((first, second), (third, fourth)) = plt.subplots(2, 2, figsize=(11, 10), layout="constrained")
    qvtx.plot.map(saved, colour="label", ax=first)
    qvtx.plot.links(saved, ax=second)
    qvtx.plot.shepard(saved, ax=third)
    qvtx.plot.rank(saved, ax=fourth)
    figure.savefig(Path(work, "digits.png"), dpi=100)
    print("four pictures of the digits:", Path(work, "digits.png").stat().st_size > 10_000)

    # The grid of a self-organizing map: distances between its nodes, and a plane per variable.
    iris = qvtx.read(folder / "iris.dat")
    with qvtx.Session(iris).quantize("om", 60, ratio=1.7).map("us") as session:
        planes = qvtx.plot.grid(session)
    planes.savefig(Path(work, "iris.png"))
    print("pictures of the grid:", len(planes.axes))
