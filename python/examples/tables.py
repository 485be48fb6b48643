"""A table with a label, a unit problem and missing cells: to data, through the program, and back."""

import tempfile
from pathlib import Path

import numpy as np
import pandas as pd

import qvtx
import qvtx.csv

folder = Path(__file__).resolve().parents[2] / "examples"
wine = pd.DataFrame(qvtx.read(folder / "wine.dat")).add_prefix("value ").round(3)
wine["cultivar"] = np.array(["barolo", "grignolino", "barbera"])[qvtx.read(folder / "wine.lab")]
wine.loc[[3, 17], "value 4"] = np.nan

with tempfile.TemporaryDirectory() as work:
    table, name = Path(work, "wine.csv"), Path(work, "wine")
    wine.to_csv(table, sep=";", decimal=",", index=False)  # as a German spreadsheet writes it

    # What the shell does with: qvtx-csv wine.csv wine --label cultivar --scale --missing mean
    qvtx.csv.main([str(table), str(name), "--label", "cultivar", "--scale", "--missing", "mean"])
    data = qvtx.read(name.with_suffix(".dat"))
    print(
        f"{data.shape[0]} x {data.shape[1]}, deviations {data.std(axis=0).min():.3f} to {data.std(axis=0).max():.3f}"
    )

    with qvtx.Session(data).quantize("ng", 40).map("cc", 2) as session:
        session.interpolate()
        session.save(name)

    # qvtx-csv --back wine out.csv
    qvtx.csv.main(["--back", str(name), str(Path(work, "out.csv"))])
    print(pd.read_csv(Path(work, "out.csv"), sep=";", decimal=",").iloc[:3, -7:].to_string())
