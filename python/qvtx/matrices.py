"""Matrices in text and in binary form, as the program reads and writes them."""

from __future__ import annotations

import re
import struct
from typing import Any, BinaryIO, NamedTuple

import numpy as np
import numpy.typing as npt

Array = npt.NDArray[Any]

GROWTH = 5  # rows by which the program lets a matrix grow unless it is told otherwise


class FileError(ValueError):
    """A file that the program would refuse to load."""


# ---- Text matrices ----

_FOREIGN = re.compile(r"[^\s0-9+\-.eEinfa]")  # "inf" and "nan" are written, though the program reads neither


def parse_matrix(text: str) -> Array:
    """The float64 array (rows, columns) that a text matrix, with or without header, holds.

    Follows the program's reading rules: two header lines (column count, row count, each followed by columns -
    1 zeros) or none; without header the first line tells the column count, later line ends mean nothing and
    an incomplete last row is dropped. Raises `FileError` where the program refuses to load.
    """
    body, numbers = _numbers(text)
    columns, rows, first = _header(body, numbers)
    if rows is None:
        whole_line = re.search(r"[\r\n]", body.lstrip())
        rows = numbers.size // columns if columns and whole_line else 0
        if rows == 0:
            raise FileError("no complete row of numbers")
    values = numbers[first : first + rows * columns]
    if values.size < rows * columns:
        raise FileError(f"the header promises {rows} x {columns} numbers, the file holds {values.size}")
    return values.reshape(rows, columns)


def _numbers(text: str) -> tuple[str, Array]:
    """The text before the first word that is no number, and its numbers."""
    foreign = _FOREIGN.search(text)
    body = text[: foreign.start()] if foreign else text
    try:
        return body, np.array(body.split(), dtype=float)
    except ValueError:
        pass
    for word in re.finditer(r"\S+", body):
        try:
            float(word[0])
        except ValueError:
            body = body[: word.start()]
            break
    return body, np.array(body.split(), dtype=float)


def _header(body: str, numbers: Array) -> tuple[int, int | None, int]:
    """Columns, rows (None without header) and where the values begin."""
    ends = np.cumsum(
        [len(line.split()) for line in re.split(r"[\r\n]+", body[: _head_length(body, numbers)])]
    )

    def line_end(position: int) -> int:  # number of values up to the end of the line that holds this one
        return int(ends[np.searchsorted(ends, position, side="right")])

    position = 0
    counts = []
    for least in (1, 0):
        if position >= numbers.size:
            return position, None, 0
        count = numbers[position]
        if not (count >= least and count == np.rint(count)):
            return line_end(position), None, 0
        counts.append(int(count))
        end, line = position + counts[0], line_end(position)
        zeros = numbers[position + 1 : min(end, line)]
        if zeros.any() or (counts[0] > 1 and line < end):
            return line, None, 0
        position = end
    return counts[0], counts[1], position


def _head_length(body: str, numbers: Array) -> int:
    """Characters that are sure to hold the header, so that only they are split into lines."""
    count = numbers[0] if numbers.size and 1 <= numbers[0] < numbers.size else 1
    words = re.compile(r"\S+")
    end = 0
    for word, _ in zip(words.finditer(body), range(2 * int(count) + 2)):
        end = word.end()
    newline = re.compile(r"[\r\n]").search(body, end)
    return newline.end() if newline else len(body)


def format_matrix(values: npt.ArrayLike, header: bool = True) -> str:
    """The text matrix of a two-dimensional array as the program writes it; a one-dimensional one is a column.

    Reals have six decimals in fields of ten characters, integers fields of ten; every number is followed by a
    tab.
    """
    table = np.asarray(values)
    if table.ndim == 1:
        table = table[:, None]
    if table.ndim != 2 or table.shape[1] == 0:
        raise ValueError(f"a matrix of at least one column is needed, not an array of shape {table.shape}")
    field = "%10d\t" if table.dtype.kind in "iub" else "%10.6f\t"
    line = field * table.shape[1] + "\n"
    body = "".join(line % tuple(row) for row in table.tolist())
    return header_lines(table.shape) + body if header else body


def header_lines(shape: tuple[int, ...], width: int = 6) -> str:
    """The two header lines of a matrix of this shape."""
    rows, columns = shape
    zeros = f"{0:{width}d}\t" * (columns - 1)
    return "".join(f"{count:{width}d}\t{zeros}\n" for count in (columns, rows))


def format_histogram(values: npt.ArrayLike) -> str:
    """The text of a GoD graph, whose numbers are not aligned."""
    table = np.asarray(values)
    rows, columns = table.shape
    head = "".join("\t".join([str(count)] + ["0"] * (columns - 1)) + "\n" for count in (columns, rows))
    return head + "".join("\t".join(map(str, row)) + "\t\n" for row in table.tolist())


# ---- Binary matrices ----

_ELEMENTS: dict[int, np.dtype[Any]] = {8: np.dtype("<f8"), 4: np.dtype("<i4"), 1: np.dtype("S1")}


class Layout(NamedTuple):
    """What a binary matrix tells beside its values."""

    allocated: int
    growth: int


def read_block(file: BinaryIO) -> tuple[Array, Layout]:
    """The next binary matrix of an open file: float64 or int64 (rows, columns); characters as bytes
    (rows,)."""
    head = file.read(20)
    if len(head) < 20:
        raise FileError("the file ends within a matrix")
    allocated, columns, rows, growth, width = struct.unpack("<5i", head)
    if width not in _ELEMENTS or not 0 <= rows <= allocated or columns < 1 or growth < 1:
        raise FileError(f"no binary matrix: {rows} of {allocated} rows, {columns} columns, {width} bytes")
    data = file.read(rows * columns * width)
    if len(data) < rows * columns * width:
        raise FileError(f"the file ends within a matrix of {rows} x {columns}")
    if width == 1:
        return np.frombuffer(data, f"S{columns}").copy(), Layout(allocated, growth)
    values = np.frombuffer(data, _ELEMENTS[width]).reshape(rows, columns)
    return values.astype(np.float64 if width == 8 else np.int64), Layout(allocated, growth)


def write_block(file: BinaryIO, values: npt.ArrayLike, layout: Layout | None = None) -> None:
    """Writes a matrix of reals, of integers (4 bytes each) or of byte strings. `layout` defaults to the
    program's for a new matrix: no row more than is used."""
    table = np.asarray(values)
    if table.dtype.kind == "S":
        shape, width, data = (table.shape[0], table.dtype.itemsize), 1, table.tobytes()
    else:
        table = table[:, None] if table.ndim == 1 else table
        if table.ndim != 2 or table.shape[1] == 0:
            raise ValueError(f"a matrix needs two dimensions and a column, not the shape {table.shape}")
        shape, width = (table.shape[0], table.shape[1]), 4 if table.dtype.kind in "iub" else 8
        data = (_four_bytes(table) if width == 4 else np.ascontiguousarray(table, "<f8")).tobytes()
    allocated, growth = layout or Layout(shape[0], GROWTH)
    file.write(struct.pack("<5i", max(allocated, shape[0]), shape[1], shape[0], growth, width))
    file.write(data)


def _four_bytes(table: Array) -> Array:
    narrow = table.astype("<i4")
    if not np.array_equal(narrow, table):
        raise OverflowError("a number does not fit a 4-byte integer")
    return narrow
