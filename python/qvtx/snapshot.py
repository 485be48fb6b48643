"""Links and snapshots: what a session knows beside its data."""

from __future__ import annotations

import dataclasses
import struct
from typing import Any, BinaryIO, Callable

import numpy as np

from qvtx.matrices import Array, FileError, Layout, read_block, write_block

# ---- Links ----


@dataclasses.dataclass
class Links:
    """Links in the order of the program's table. `ends`: int64 (links, 2), the smaller number first;
    `values`: float64 (links, k) with k = 3 for prototypes (strength, length in the data, length in the map;
    the last is the length on the grid for a self-organizing map) and k = 2 for images (strength, length)."""

    ends: Array
    values: Array

    @property
    def strength(self) -> Array:
        """(links,): how often the linking rule counted the link."""
        return self.values[:, 0]

    @property
    def length(self) -> Array:
        """(links,): distance between the two ends."""
        return self.values[:, 1]

    def __len__(self) -> int:
        return len(self.ends)

    def graph(self, nodes: int | None = None, value: str = "length") -> Any:
        """Symmetric `scipy.sparse.csr_array` (nodes, nodes) of lengths or strengths; needs scipy."""
        from scipy import sparse

        weight = {"length": self.length, "strength": self.strength}[value]
        count = nodes if nodes is not None else int(self.ends.max(initial=-1)) + 1
        i, j = self.ends.T
        return sparse.csr_array((np.r_[weight, weight], (np.r_[i, j], np.r_[j, i])), shape=(count, count))


@dataclasses.dataclass
class LinkStore:
    """The link tables of a snapshot: `free` the first free slot, `nodes` (n,) the first link of each node's
    list, `slots` (m, 6) the doubly linked lists, `values` (m, k) the values of the links."""

    free: int
    nodes: Array
    slots: Array
    values: Array

    @property
    def links(self) -> Links:
        """The links without the free slots."""
        live = self.slots[:, 2] >= 0
        return Links(self.slots[live][:, [2, 5]], self.values[live])


# ---- Snapshots ----


@dataclasses.dataclass
class SettingTable:
    """One of the two tables of settings. `values` (n, 4): smallest, largest, actual and future value;
    `labels` and `descriptions` (n,): bytes; the others hold the names of values as linked lists."""

    values: Array
    labels: Array
    descriptions: Array
    heads: Array
    nexts: Array
    named: Array
    names: Array

    def keys(self) -> list[str]:
        """The keys without trailing blanks, in table order."""
        return [_text(label) for label in self.labels]


def _text(label: bytes) -> str:
    """The characters before the terminating zero, without the blanks that pad them."""
    return label.split(b"\0")[0].decode("latin-1").rstrip(" ")


@dataclasses.dataclass
class Snapshot:
    """All that a session knows except the data (n rows, d columns): p prototypes and their images in q
    dimensions.

    The fields are the items of the file in its order. `layouts` keeps what binary matrices tell beside their
    values, so that an unchanged snapshot is written with the bytes that were read; it may be empty.
    """

    rows: int
    columns: int
    verbose: int
    flags: Array  # (8,) whether each analysis step is done
    step_links: LinkStore
    step_names: Array  # bytes
    integers: SettingTable
    reals: SettingTable
    work: Array  # (n,)
    codes: Array  # (n,) prototype of each datum, -1 for one that is not finite and was left out
    changes: Array  # (n, 2)
    prototypes: Array  # (p, d)
    prototype_work: Array  # (p,)
    hits: Array  # (p,)
    components: Array  # (p,)
    link_store: LinkStore
    grid: Array  # (p, 2) or (0, 2): nodes of a self-organizing map
    grid_shape: Array  # (1, 3) or (0, 3): width, length, kind
    prototype_count: int
    prototype_columns: int
    images: Array  # (p, q), or (0, 1) without mapping
    image_store: LinkStore
    layouts: dict[str, Layout] = dataclasses.field(default_factory=dict, repr=False)

    @property
    def steps(self) -> dict[str, bool]:
        """The analysis steps by name ("dataload", "prot_ini", ...) and whether each is done."""
        return {_text(name): bool(flag) for name, flag in zip(self.step_names, self.flags)}

    @property
    def settings(self) -> dict[str, int | float]:
        """Every setting that a method would use now."""
        tables = ((self.integers, int), (self.reals, float))
        return {key: kind(row[3]) for table, kind in tables for key, row in zip(table.keys(), table.values)}

    @property
    def links(self) -> Links:
        """Links of the prototypes."""
        return self.link_store.links

    @property
    def image_links(self) -> Links:
        """Links of the images."""
        return self.image_store.links

    def graph(self, value: str = "length") -> Any:
        """`scipy.sparse.csr_array` (p, p) of the prototypes' links."""
        return self.links.graph(len(self.prototypes), value)


_COLUMNS = ("work", "codes", "prototype_work", "hits", "components", "flags")  # one column: a vector
_ITEM_FIELDS = [field for field in dataclasses.fields(Snapshot) if field.name != "layouts"]


class _SnapshotReader:
    def __init__(self, file: BinaryIO) -> None:
        self.file = file
        self.layouts: dict[str, Layout] = {}

    def integer(self, name: str) -> int:
        data = self.file.read(4)
        if len(data) < 4:
            raise FileError(f"the file ends before {name}")
        return int(struct.unpack("<i", data)[0])

    def matrix(self, name: str) -> Array:
        values, self.layouts[name] = read_block(self.file)
        return values[:, 0] if name in _COLUMNS or name.endswith(".nodes") else values

    def record(self, name: str, kind: Callable[..., Any]) -> Any:
        fields = dataclasses.fields(kind)  # type: ignore[arg-type]
        return kind(*(self.item(f"{name}.{field.name}", field.type) for field in fields))

    def item(self, name: str, kind: Any) -> Any:
        if kind == "int":
            return self.integer(name)
        return self.matrix(name) if kind == "Array" else self.record(name, globals()[kind])


def read_snapshot(file: BinaryIO) -> Snapshot:
    """The snapshot in an open binary file. Raises `FileError` when the file is short or its sizes are
    none."""
    reader = _SnapshotReader(file)
    items = {field.name: reader.item(field.name, field.type) for field in _ITEM_FIELDS}
    return Snapshot(**items, layouts=reader.layouts)


def write_snapshot(file: BinaryIO, snapshot: Snapshot) -> None:
    """Writes all items of a snapshot in the order of the file."""

    def put(name: str, value: Any) -> None:
        if isinstance(value, (int, np.integer)):
            file.write(struct.pack("<i", value))
        elif dataclasses.is_dataclass(value):
            for field in dataclasses.fields(value):
                put(f"{name}.{field.name}", getattr(value, field.name))
        else:
            write_block(file, value, snapshot.layouts.get(name))

    for field in _ITEM_FIELDS:
        put(field.name, getattr(snapshot, field.name))
