"""The explorer page of the digits: one HTML file, which a browser opens without a network."""

import sys
import tempfile
from pathlib import Path

import qvtx

folder = Path(__file__).resolve().parents[2] / "examples"
digits, labels = qvtx.read(folder / "digits.dat"), qvtx.read(folder / "digits.lab")

with tempfile.TemporaryDirectory() as work:
    page = Path(sys.argv[1] if len(sys.argv) > 1 else Path(work, "digits.html"))  # explorer.py digits.html
    with qvtx.Session(digits).quantize("ng", 300).map("cc", 2) as session:
        session.interpolate()
        session.view(page, labels=labels, show=len(sys.argv) > 1)
    print(f"{page.name}: {page.stat().st_size / 1e6:.1f} MB")
