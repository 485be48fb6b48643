"""What a session saved, as arrays: prototypes, codes, links as a graph, settings."""

import tempfile
from pathlib import Path

import numpy as np

import qvtx

iris = qvtx.read(Path(__file__).resolve().parents[2] / "examples/iris.dat")  # float64 (150, 4)

with tempfile.TemporaryDirectory() as folder:
    name = Path(folder, "iris")
    qvtx.Session(iris).quantize("ng", 30).map("cc", 2).save(name)

    prototypes = qvtx.read(name.with_suffix(".pro"))
    codes = qvtx.read(name.with_suffix(".cod"))
    print(f"{len(prototypes)} prototypes, the most frequent stands for {np.bincount(codes).max()} flowers")

    # The snapshot holds all of it with all bits; the text files have six decimals.
    snapshot = qvtx.read(name.with_suffix(".mbf"))
    print("difference of the two:", f"{np.abs(snapshot.prototypes - prototypes).max():.1e}")
    print("steps done:", ", ".join(step for step, done in snapshot.steps.items() if done))
    print("linking rule:", snapshot.settings["vglink_p"])

    from scipy.sparse.csgraph import connected_components

    count, parts = connected_components(snapshot.graph())
    print(f"{len(snapshot.links)} links, {count} components of {np.bincount(parts)} prototypes")

    # Written again, the file has the same bytes.
    copy = Path(folder, "copy.mbf")
    qvtx.write(copy, snapshot)
    print("same bytes:", copy.read_bytes() == name.with_suffix(".mbf").read_bytes())
