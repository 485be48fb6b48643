"""The explorer: one HTML page about a session that works offline: ``qvtx-view NAME`` or
``qvtx.view.view(source)``.

It shows what a printed map cannot tell: where the map lies. Per datum, among the data shown: the share of its
twelve nearest in the map that are not among its 48 nearest in the data (false neighbours), and the share of
its twelve nearest in the data that are not among its 48 nearest in the map (missing neighbours). Twelve
against 48, since a place or two in a ranking is no lie. Distances in the data are Euclidean.

The page's script reads one JSON object: texts and counts as they are, matrices as base64 of little-endian
4-byte numbers, row by row, so that they become typed arrays without parsing. """

from __future__ import annotations

import argparse
import base64
import dataclasses
import html
import json
import sys
import webbrowser
from pathlib import Path
from typing import Any

import numpy as np
import numpy.typing as npt
from plotly.offline import get_plotlyjs
from sklearn.decomposition import PCA
from sklearn.neighbors import NearestNeighbors

from qvtx.saved import CLASSES, Saved, beside

Array = npt.NDArray[Any]

TEMPLATES = Path(__file__).parent / "templates"
MOST_ROWS = 20_000  # data in a page; more are drawn at random
NEAR = 12  # neighbours that a click joins
FAR = 48  # beyond so many places a neighbour is false or missing
TOUR = 10  # principal components that the tour turns; the rest of the variance stays unseen
GOLDEN = np.pi * (3 - np.sqrt(5))


def neighbours(points: Array, count: int) -> Array:
    """(n, count): the nearest other rows of points (n, d), by increasing distance; at most n - 1."""
    count = min(count, len(points) - 1)
    return NearestNeighbors(n_neighbors=count).fit(points).kneighbors(return_distance=False)


def lies(data: Array, places: Array) -> tuple[Array, Array]:
    """Shares (n,) of false and of missing neighbours, as the module says, of data (n, d) at places (n, q)."""
    true, shown = neighbours(data, FAR), neighbours(places, FAR)
    return _absent(shown[:, :NEAR], true), _absent(true[:, :NEAR], shown)


def _absent(near: Array, others: Array) -> Array:
    """Share of each row of near (n, k) that is not in the same row of others (n, m)."""
    return 1 - np.array([np.isin(row, other).mean() for row, other in zip(near, others)])


def places(saved: Saved) -> tuple[Array, bool]:
    """Where the data are in the map (n, q), and whether that was interpolated. Without interpolation the data
    of a prototype lie round its image, evenly, within a third of the way to the nearest other image."""
    if saved.images is None:
        raise ValueError(f"{saved.name}: no map was saved")
    if saved.positions is not None and np.isfinite(saved.positions[saved.used]).all():
        return saved.positions, True
    order = np.argsort(saved.codes, kind="stable")
    codes = saved.codes[order]
    first = np.searchsorted(codes, codes)
    place = np.arange(len(codes)) - first
    apart = (
        NearestNeighbors(n_neighbors=1).fit(saved.images).kneighbors()[0][:, 0]
        if len(saved.images) > 1
        else [1.0]
    )
    radius = np.asarray(apart)[codes] / 3 * np.sqrt(place / np.maximum(1, saved.hits[codes]))
    table = saved.images[saved.codes].astype(float)
    table[order, 0] += radius * np.cos(GOLDEN * place)
    if table.shape[1] > 1:
        table[order, 1] += radius * np.sin(GOLDEN * place)
    return table, False


# ---- Page ----


def content(saved: Saved, rows: int = MOST_ROWS, seed: int = 0) -> dict[str, Any]:
    """What the script needs (see templates/view.js), of at most `rows` data."""
    if saved.data is None:
        raise ValueError(f"{saved.name}: its data are not there; tell where (--data)")
    table, interpolated = places(saved)
    chosen = np.flatnonzero(saved.used)
    if len(chosen) > rows:
        chosen = np.sort(np.random.default_rng(seed).choice(chosen, rows, replace=False))
    codes, table = saved.codes[chosen], table[chosen]
    data = np.where(np.isfinite(saved.data[chosen]), saved.data[chosen], saved.prototypes[codes])
    if len(data) < 3:
        raise ValueError(f"{saved.name}: {len(data)} data are too few to explore")
    false, missing = lies(data, table)
    rebuilt = saved.prototypes[codes] if saved.rebuilt is None else saved.rebuilt[chosen]
    with np.errstate(invalid="ignore"):  # no variance has no shares
        turned = PCA(n_components=min(TOUR, *data.shape)).fit(data)
    links = saved.links.ends if saved.links is not None else np.zeros((0, 2))
    return {
        "name": saved.name.name,
        "total": len(saved.codes),
        "interpolated": interpolated,
        "errorName": "quantization error" if saved.rebuilt is None else "reconstruction error",
        "variables": saved.variables,
        "labelName": saved.names.get("label") or "label",
        "classes": _classes(saved, chosen),
        "palette": list(CLASSES),
        "seen": float(np.nan_to_num(turned.explained_variance_ratio_, nan=1.0).sum()),
        "unit": (saved.names.get("scale") or [1.0] * data.shape[1]),
        "arrays": {
            "row": _packed(chosen, "<i4"),
            "places": _packed(table),
            "images": _packed(saved.images),
            "data": _packed(saved.original(saved.data[chosen])),
            "turned": _packed(turned.transform(data)),
            "turnedPrototypes": _packed(turned.transform(saved.prototypes)),
            "codes": _packed(codes, "<i4"),
            "links": _packed(links, "<i4"),
            "hits": _packed(saved.hits, "<i4"),
            "components": _packed(saved.components, "<i4"),
            "neighbours": _packed(neighbours(data, NEAR), "<i4"),
            "error": _packed(np.sqrt(((data - rebuilt) ** 2).sum(axis=1))),
            "false": _packed(false),
            "missing": _packed(missing),
            "label": None if saved.labels is None else _packed(saved.labels[chosen]),
        },
    }


def _classes(saved: Saved, chosen: Array) -> list[list[Any]] | None:
    """Pairs of a label and its name; None for labels that are no classes."""
    if saved.labels is None or not saved.classified:
        return None
    return [[label, name] for label, name in saved.classes(saved.labels[chosen])]


def _packed(table: Any, kind: str = "<f4") -> dict[str, Any]:
    values = np.ascontiguousarray(table, dtype=kind)
    columns = values.shape[1] if values.ndim > 1 else 1
    return {"type": kind[1:], "columns": columns, "data": base64.b64encode(values.tobytes()).decode()}


def page(source: Any, data: Any = None, labels: Any = None, rows: int = MOST_ROWS) -> str:
    """The HTML page about a name, a `qvtx.Session` or a `Saved`."""
    saved = Saved.of(source, data, labels)
    told = json.dumps(content(saved, rows), ensure_ascii=False, allow_nan=False).replace("<", "\\u003c")
    text = (TEMPLATES / "view.html").read_text(encoding="utf-8")
    for key, value in (
        ("TITLE", html.escape(saved.name.name)),
        ("STYLE", (TEMPLATES / "view.css").read_text(encoding="utf-8")),
        ("CONTENT", told),
        ("SCRIPT", (TEMPLATES / "view.js").read_text(encoding="utf-8")),
        ("PLOTLY", get_plotlyjs()),  # last: nothing in it is a place of ours
    ):
        text = text.replace(f"@@{key}@@", value)
    return text


def view(
    source: Any,
    out: Any = None,
    data: Any = None,
    labels: Any = None,
    rows: int = MOST_ROWS,
    show: bool = True,
) -> Path:
    """Writes the page to `out` (NAME.html beside what was saved, without) and shows it in a browser if asked
    to.

    source: the name given to `sm`, a `qvtx.Session` or a `Saved`; data: name of the data, when it is another
    one; labels: (n,) or the name of their file. Returns the page's path."""
    saved = Saved.of(source, data, labels)
    if out and hasattr(source, "save"):  # a session has no name but the page's
        saved = dataclasses.replace(saved, name=Path(Path(out).stem))
    target = Path(out) if out else beside(saved.name, ".html")
    target.write_text(page(saved, rows=rows), encoding="utf-8")
    if show:
        webbrowser.open(target.resolve().as_uri())
    return target


def main(arguments: list[str] | None = None) -> int:
    """The command line; returns the exit status."""
    parser = argparse.ArgumentParser(
        prog="qvtx-view", description="One HTML page to explore what qvtx saved as NAME."
    )
    parser.add_argument("name", help="the name given to sm")
    parser.add_argument("--out", metavar="FILE", help="the page; NAME.html without")
    parser.add_argument("--data", metavar="NAME", help="name of the data, when it is another one")
    parser.add_argument("--labels", metavar="FILE", help="the labels, when they are not beside the data")
    parser.add_argument(
        "--rows", type=int, default=MOST_ROWS, help=f"data shown at most ({MOST_ROWS}); more are drawn"
    )
    parser.add_argument("--show", action="store_true", help="open the page in a browser")
    given = parser.parse_args(arguments)
    try:
        made = view(given.name, given.out, given.data, given.labels, given.rows, given.show)
    except (OSError, ValueError) as error:
        print(f"qvtx-view: {error}", file=sys.stderr)
        return 1
    print(made)
    return 0


if __name__ == "__main__":
    sys.exit(main())
