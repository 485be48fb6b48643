"""Everything that a session saved under one name, together with the data that it came from."""

from __future__ import annotations

import dataclasses
import json
import os
import tempfile
from pathlib import Path
from typing import Any

import numpy as np
import numpy.typing as npt

from qvtx.files import Name, read
from qvtx.matrices import parse_matrix
from qvtx.snapshot import Links

Array = npt.NDArray[Any]

# Colours of classes in pictures and in the explorer, which does without matplotlib: the ten of Petroff (2021).
CLASSES = "#3f90da #ffa90e #bd1f01 #94a4a2 #832db6 #a96b59 #e76300 #b9ac70 #717581 #92dadb".split()


def beside(name: Name, extension: str) -> Path:
    """The file `name` + extension; dots in the name stay."""
    path = Path(name)
    return path.parent / (path.name + extension)


def optional(name: Name, extension: str) -> Any:
    """What the file `name` + extension holds, or None when there is none."""
    path = beside(name, extension)
    return read(path) if path.exists() else None


@dataclasses.dataclass
class Saved:
    """n data of d variables, p prototypes, their images in q dimensions. What was not saved is None."""

    name: Path
    data_name: Path
    names: dict[str, Any]  # content of the .names file, {} without
    data: Array | None  # (n, d)
    labels: Array | None  # (n,) integers, or reals where the file holds such
    prototypes: Array  # (p, d)
    codes: Array  # (n,) prototype of each datum, -1 for one that is not finite and was left out
    links: Links | None  # between prototypes
    components: Array  # (p,)
    images: Array | None  # (p, q)
    positions: Array | None  # (n, q) interpolated data
    rebuilt: Array | None  # (n, d) data reconstructed from the positions
    grid: Array | None  # (p, 2) nodes of a self-organizing map
    hexagonal: bool
    gods: dict[str, tuple[Array, Array]]  # "s", "e", "c": histogram (x bins, y bins), statistics (x bins, 4)
    rank: Array | None  # (p - 2, 3): neighbourhood size K, R_NX(K) in space, in the graph

    @property
    def hits(self) -> Array:
        """(p,): data of each prototype."""
        return np.bincount(self.codes[self.used], minlength=len(self.prototypes))

    @property
    def used(self) -> Array:
        """(n,) booleans: data that have a prototype."""
        return self.codes >= 0

    @property
    def variables(self) -> list[str]:
        """Names of the d variables; v0, v1, ... without a .names file."""
        return self.names.get("variables") or [f"v{k}" for k in range(self.prototypes.shape[1])]

    @property
    def classified(self) -> bool:
        """Whether there are labels that stand for classes."""
        return self.labels is not None and self.labels.dtype.kind == "i"

    def class_name(self, label: int) -> str:
        """What a label stands for; -1 for none, where classes have names."""
        classes = self.names.get("classes", {})
        return classes.get(str(label), "none" if classes and label == -1 else str(label))

    def classes(self, labels: Array) -> list[tuple[int, str]]:
        """The different labels and what they stand for, -1 last."""
        found = sorted(map(int, np.unique(labels)), key=lambda label: (label == -1, label))
        return [(label, self.class_name(label)) for label in found]

    def original(self, values: Array) -> Array:
        """Rows (m, d) in data units as values of the table that they came from."""
        if "scale" not in self.names:
            return values
        return values * np.array(self.names["scale"]) + np.array(self.names["mean"])

    def majority(self) -> Array:
        """(p,): most frequent label among each prototype's data; -1 without data. Needs labels."""
        if self.labels is None:
            raise ValueError("there are no labels")
        found, ranks = np.unique(self.labels, return_inverse=True)
        votes = np.zeros((len(self.prototypes), len(found)), dtype=np.int64)
        np.add.at(votes, (self.codes[self.used], ranks[self.used]), 1)
        return np.where(votes.any(axis=1), found[votes.argmax(axis=1)], -1)

    @classmethod
    def of(cls, source: Any, data: Name | None = None, labels: Any = None) -> Saved:
        """A `Saved` as it is, what was saved under a name, or what a `qvtx.Session` knows now. `data`: name
        of the data that the name's results came from; `labels`: (n,) or the name of their file."""
        if isinstance(source, cls):
            saved = source
        elif hasattr(source, "save"):
            with tempfile.TemporaryDirectory() as folder:
                source.save(Path(folder) / "session")
                saved = cls.load(Path(folder) / "session")
            here = Path("session")
            saved = dataclasses.replace(saved, name=here, data_name=here, data=source.X)
            if source.variables:
                saved.names["variables"] = source.variables
            if not source.interpolated_data:
                saved = dataclasses.replace(saved, positions=None, rebuilt=None)
        else:
            file = labels if isinstance(labels, (str, os.PathLike)) else None
            saved = cls.load(source, data, file)
        if labels is not None and not isinstance(labels, (str, os.PathLike)):
            saved = saved._labelled(_plain(labels), getattr(labels, "name", None))
        return saved

    def _labelled(self, labels: Array, title: Any = None) -> Saved:
        """The same with labels (n,): integers, truth values, reals, or texts, which become classes, -1 where
        one is missing. `title`: what they are, when it is a text."""
        names = {**self.names, "label": title} if isinstance(title, str) else self.names
        if labels.dtype.kind in "bu":
            labels = labels.astype(np.int64)
        elif labels.dtype.kind not in "if":
            known = labels == labels  # neither NaN nor NaT
            known &= np.array([label is not None for label in labels])
            texts, codes = np.unique(labels[known].astype(str), return_inverse=True)
            labels = np.full(len(labels), -1)
            labels[known] = codes
            names = {**names, "classes": {str(code): str(text) for code, text in enumerate(texts)}}
        return dataclasses.replace(self, labels=_checked(labels, len(self.codes)), names=names)

    @classmethod
    def load(cls, name: Name, data: Name | None = None, labels: Name | None = None) -> Saved:
        """Reads what `sm` (and `sp`, `xg`) saved under `name`, with the data NAME.dat, or the same base
        name's in the folder above or the working one, or those told. Labels lie beside the data unless told.
        Both names also with their extension. Raises FileNotFoundError without prototypes or codes, ValueError
        where rows do not belong together."""
        name = _without(name, ".mbf")
        shot = optional(name, ".mbf")
        if shot is not None:
            parts = dict(
                prototypes=shot.prototypes,
                codes=shot.codes,
                links=shot.links,
                components=shot.components,
                images=shot.images if len(shot.images) else None,
            )
        else:
            parts = _from_texts(name)
        rows, columns = len(parts["codes"]), parts["prototypes"].shape[1]
        data_name = _without(data, ".dat") if data else _find_data(name)
        values = optional(data_name, ".dat")
        if data and values is None:
            raise FileNotFoundError(f"{beside(data_name, '.dat')}: not there")
        if values is not None and values.shape != (rows, columns):
            raise ValueError(
                f"{beside(data_name, '.dat')} is {values.shape[0]} x {values.shape[1]}, "
                f"{name} was saved from {rows} x {columns}: tell which data it came from"
            )
        found = beside(data_name, ".names")
        grid = shot is not None and len(shot.grid) == len(shot.prototypes) > 0
        return cls(
            name,
            data_name,
            json.loads(found.read_text(encoding="utf-8")) if found.exists() else {},
            values,
            _labels(Path(labels) if labels else beside(data_name, ".lab"), rows, told=labels is not None),
            positions=_rows(name, ".prj", rows),
            rebuilt=_rows(name, ".jrp", rows),
            grid=shot.grid if grid else None,
            hexagonal=bool(grid and shot.grid_shape[0, 2]),
            gods=_gods(name),
            rank=_rank(name),
            **parts,
        )


def _plain(labels: Any) -> Array:
    """Labels as an array; what is missing in a column of pandas is NaN."""
    if not hasattr(labels, "isna"):
        return np.asarray(labels)
    kind = labels.dtype.kind
    if kind in "biuf":  # of numpy's or a nullable type
        whole = {"b": "bool", "f": "float64"}.get(kind, "int64")
        return np.asarray(labels.astype("float64" if labels.isna().any() else whole))
    return np.asarray(labels.astype(object).where(labels.notna(), np.nan))


def _without(name: Name, extension: str) -> Path:
    return Path(os.fspath(name).removesuffix(extension))


def _from_texts(name: Path) -> dict[str, Any]:
    if not beside(name, ".pro").exists():
        raise FileNotFoundError(
            f"{name}: nothing was saved under this name (no {name.name}.mbf, no {name.name}.pro)"
        )
    prototypes, codes = read(beside(name, ".pro")), read(beside(name, ".cod"))
    links = optional(name, ".crv")
    components = np.zeros(len(prototypes), dtype=np.int64)
    if links is not None:
        from scipy.sparse.csgraph import connected_components

        components = connected_components(links.graph(len(prototypes)), directed=False)[1].astype(np.int64)
    return dict(
        prototypes=prototypes, codes=codes, links=links, components=components, images=optional(name, ".map")
    )


def _find_data(name: Path) -> Path:
    places = (name, name.parent.parent / name.name, Path(name.name))
    return next((place for place in places if beside(place, ".dat").exists()), name)


def _labels(path: Path, rows: int, told: bool) -> Array | None:
    if not path.exists() and not told:
        return None
    labels = parse_matrix(path.read_text())[:, 0]
    return _checked(labels.astype(np.int64) if (labels % 1 == 0).all() else labels, rows)


def _checked(labels: Array, rows: int) -> Array:
    if labels.shape != (rows,):
        raise ValueError(f"labels of shape {labels.shape} for {rows} data")
    return labels


def _rows(name: Path, extension: str, rows: int) -> Array | None:
    """A file with one row a datum; None when it is about other data, as after `iv`."""
    table = optional(name, extension)
    return table if table is not None and len(table) == rows else None


def _gods(name: Path) -> dict[str, tuple[Array, Array]]:
    found = {letter: (optional(name, f".{letter}gd"), optional(name, f".{letter}st")) for letter in "sec"}
    return {letter: pair for letter, pair in found.items() if pair[0] is not None and pair[1] is not None}


def _rank(name: Path) -> Array | None:
    path = beside(name, ".rnk")
    return parse_matrix(path.read_text()) if path.exists() else None
