"""The program's files as numpy arrays, and back.

``read(name)`` knows every saved file by its extension, ``write(name, value)`` writes it again, byte for byte
as the program does:

==================================  ======================================================================
extension                           value
==================================  ======================================================================
.dat                                float64 array (rows, columns), from a text or a binary matrix
.pro .map .prj .ppr .jrp .mre       float64 array (rows, columns)
.sst .est .cst                      float64 array (bins, 4): statistics of a GoD graph
.clp .ngp .nwp .omp .sam .rdp .jpp  float64 array (epochs, parameters): a schedule; also .cmp and .smp
.cod .ind .lab                      int64 array (rows,): prototype of each datum, datum of each prototype,
                                    labels (float64 when one of them is not whole)
.clu                                int64 array (rows, 2): prototype and component of each datum
.bwt                                int64 array (prototypes, 2): predecessors, prototypes by distance
.sgd .egd .cgd                      int64 array (x bins, y bins): histogram of a GoD graph
.crv .lnk                           `Links`
.mbf                                `Snapshot`
.prf                                `Preferences`
.log .trc                           str
==================================  ======================================================================
"""

from __future__ import annotations

import os
import struct
import uuid
from pathlib import Path
from typing import Any, BinaryIO, Union

import numpy as np

from qvtx.matrices import format_histogram, format_matrix, header_lines, parse_matrix, read_block, write_block
from qvtx.preferences import format_preferences, parse_preferences
from qvtx.snapshot import Links, read_snapshot, write_snapshot

Name = Union[str, "os.PathLike[str]"]

SCHEDULES = (".clp", ".ngp", ".nwp", ".omp", ".cmp", ".smp", ".sam", ".rdp", ".jpp")
REALS = (".dat", ".pro", ".map", ".rnk", ".prj", ".ppr", ".jrp", ".mre", ".sst", ".est", ".cst") + SCHEDULES
COUNTS = (".cod", ".ind", ".lab", ".clu", ".bwt")
HISTOGRAMS = (".sgd", ".egd", ".cgd")
LINKS = (".crv", ".lnk")
TEXTS = (".log", ".trc")


def read(name: Name) -> Any:
    """What a saved file holds; the module's table tells the type by extension.

    Raises OSError when the file cannot be opened, `FileError` when the program would not load it and
    ValueError for an extension that is none of the program's.
    """
    path = Path(name)
    extension = path.suffix
    data = path.read_bytes()
    if extension in TEXTS:
        return data.decode("utf-8", "surrogateescape")
    if extension == ".prf":
        return parse_preferences(data.decode("latin-1"))
    with path.open("rb") as file:
        if extension == ".mbf":
            return read_snapshot(file)
        if extension in (".dat", ".cod") and is_binary(data):
            table = read_block(file)[0]
        elif extension in REALS + COUNTS + HISTOGRAMS + LINKS:
            table = parse_matrix(data.decode("latin-1"))
        else:
            raise ValueError(f"no file of the program: {path.name}")
    if extension in LINKS:
        return Links(table[:, :2].astype(np.int64), table[:, 2:])
    if extension == ".lab" and (table % 1 != 0).any():
        return table[:, 0]
    if extension in COUNTS + HISTOGRAMS:
        table = table.astype(np.int64)
        return table[:, 0] if extension in (".cod", ".ind", ".lab") else table
    return table.astype(float)


def is_binary(data: bytes) -> bool:
    """Whether the bytes of a file begin with a binary matrix; a text one begins with other numbers."""
    if len(data) < 20:
        return False
    allocated, columns, rows, growth, width = struct.unpack_from("<5i", data)
    plausible = width in (1, 4, 8) and 0 <= rows <= allocated and columns >= 1 and growth >= 1
    return plausible and rows * columns * width <= len(data) - 20


def write(name: Name, value: Any, binary: bool = False) -> None:
    """Writes what `read` gives under a name of the same extension, with the bytes of the program.

    `binary` chooses the binary form, which keeps every bit of a real, for .dat (the form that a validation
    set needs) and .cod. The file is complete or not there: it is written beside its place and moved. Raises
    ValueError for an extension that is none of the program's, OverflowError for an integer beyond 4 bytes in
    a binary file.
    """
    path = Path(name)
    extension = path.suffix
    if binary and extension not in (".dat", ".cod"):
        raise ValueError(f"{extension} has no binary form")
    with _replacing(path) as file:
        if extension == ".mbf":
            write_snapshot(file, value)
        elif binary:
            write_block(file, np.asarray(value, dtype=float if extension == ".dat" else None))
        else:
            file.write(_as_text(extension, value).encode("utf-8", "surrogateescape"))


def _as_text(extension: str, value: Any) -> str:
    if extension in TEXTS:
        return str(value)
    if extension == ".prf":
        return format_preferences(value)
    if extension in LINKS:
        return _format_links(value)
    if extension in HISTOGRAMS:
        return format_histogram(value)
    if extension in REALS or (extension == ".lab" and np.asarray(value).dtype.kind == "f"):
        return format_matrix(np.asarray(value, dtype=float))
    if extension in COUNTS:
        return format_matrix(np.asarray(value, dtype=np.int64))
    raise ValueError(f"no file of the program: {extension!r}")


def _format_links(links: Links) -> str:
    columns = 2 + links.values.shape[1]
    line = "%10d\t%10d\t" + "%10.6f\t" * (columns - 2) + "\n"
    rows = zip(links.ends.tolist(), links.values.tolist())
    return header_lines((len(links), columns)) + "".join(line % (*ends, *values) for ends, values in rows)


class _replacing:
    """A file written under another name in the same folder that takes its place when all went well."""

    def __init__(self, path: Path) -> None:
        self.path = path.resolve()  # a symbolic link keeps its place
        self.temporary = self.path.with_name(f".qv{uuid.uuid4().hex}")

    def __enter__(self) -> BinaryIO:
        self.file = self.temporary.open("xb")
        return self.file

    def __exit__(self, kind: Any, *_: Any) -> None:
        self.file.close()
        if kind is None:
            self.temporary.replace(self.path)
        else:
            self.temporary.unlink()
