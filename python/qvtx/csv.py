"""Tables to data files and back: ``qvtx-csv data.csv NAME`` and ``qvtx-csv --back NAME out.csv``.

The first writes NAME.dat (always with a header, or binary: a first line of numbers alone could be taken for
one), NAME.lab when a column is the label (one integer a datum), and NAME.names, a JSON object:

===========  ==========================================================================================
variables    names of the columns of NAME.dat, d texts
mean, scale  d numbers each: value of the table = mean + scale * value of NAME.dat (0 and 1 unless --scale)
label        name of the label's column, or null
classes      what each integer of NAME.lab stands for: {"0": "setosa", ...}
dropped      rows of the table (0: the first below the header) that have no datum
table        where the table is, seen from the folder of NAME.names; `sha256` of its content
form         how it was read: sep, decimal, thousands, encoding, header, na
===========  ==========================================================================================

The second writes the table again, every row joined with what the program saved under NAME about its datum.
"""

from __future__ import annotations

import argparse
import codecs
import csv
import dataclasses
import hashlib
import itertools
import json
import os
import re
import sys
import warnings
from pathlib import Path
from typing import Any, Iterator

import numpy as np
import pandas as pd

from qvtx.dialogue import listed
from qvtx.files import Name, write
from qvtx.matrices import header_lines
from qvtx.saved import Saved, beside

MOST_CLASSES = 50  # texts of one column that --encode turns into variables; more are names, not classes
NUMBER = r"\s*[+-]?(\d+\.?\d*|\.\d+)([eE][+-]?\d+)?\s*"
LIKE_A_NUMBER = r"\s*[+-]?[$€£]?[\d.,' ]*\d\s*[%$€£]?\s*"  # in another form than the one found: to be told


class Refused(ValueError):
    """A table, or a cell of it, that cannot become data. The text names file and line."""


@dataclasses.dataclass
class Form:
    """How a table is written. `header`: whether its first line names the columns; `na`: texts that mean
    "missing" beside those that pandas knows."""

    sep: str
    decimal: str
    thousands: str | None
    encoding: str
    header: bool
    na: list[str]


class Table:
    """A table of text: `frame` (rows, columns) with the types that pandas finds."""

    def __init__(self, path: Path, form: Form) -> None:
        self.path = path
        self.form = form
        self.frame = _read(path, form)
        if self.frame.shape[0] == 0:
            raise Refused(f"{path}: no row below the header")

    def line(self, row: int) -> int:
        """Line of the file on which a row begins. Quoted texts may hold line ends; blank lines are none."""
        return next(itertools.islice(_records(self.path, self.form), row + self.form.header, None))[0]

    def refuse(self, row: int, column: str, why: str) -> Refused:
        """The refusal of a cell."""
        return Refused(f"{self.path}, line {self.line(row)}: column {column!r}: {why}")


def _records(path: Path, form: Form) -> Iterator[tuple[int, list[str]]]:
    """The line on which each record begins and its fields."""
    with open(path, encoding=form.encoding, newline="") as file:
        reader = csv.reader(file, delimiter=form.sep, skipinitialspace=True)
        start = 1
        for fields in reader:
            if len(fields) > 1 or "".join(fields).strip():
                yield start, fields
            start = reader.line_num + 1


def _too_long(path: Path, form: Form) -> str:
    records = _records(path, form)
    width = len(next(records)[1])
    line, fields = next((record for record in records if len(record[1]) > width), (0, []))
    return f"{path}, line {line}: {len(fields)} fields where the header names {width}"


def _read(path: Path, form: Form, rows: int | None = None, **more: Any) -> pd.DataFrame:
    options = dict(
        sep=form.sep,
        decimal=form.decimal,
        thousands=form.thousands,
        encoding=form.encoding,
        header=0 if form.header else None,
        na_values=form.na,
        index_col=False,
        skipinitialspace=True,
        low_memory=False,
        float_precision="round_trip",
        nrows=rows,
    )
    with warnings.catch_warnings():
        warnings.simplefilter("error", pd.errors.ParserWarning)
        try:
            frame = pd.read_csv(path, **{**options, **more})
        except pd.errors.ParserWarning:
            raise Refused(_too_long(path, form)) from None
        except (pd.errors.ParserError, pd.errors.EmptyDataError) as error:
            raise Refused(f"{path}: {str(error).strip()}") from None
        except UnicodeDecodeError as error:
            raise Refused(f"{path}: no {form.encoding} text ({error.reason}); tell its --encoding") from None
    frame.columns = [str(name).strip() if form.header else f"v{name}" for name in frame.columns]
    return frame


# ---- Finding the form ----


def find_form(
    path: Path,
    sep: str | None = None,
    decimal: str | None = None,
    thousands: str | None = None,
    encoding: str | None = None,
    header: bool | None = None,
    na: list[str] | None = None,
) -> Form:
    """The form of a table: what is told, and for None what its beginning shows."""
    encoding = encoding or _find_encoding(path)
    try:
        with open(path, encoding=encoding, newline="") as file:
            head = file.readlines(1 << 16)
    except UnicodeDecodeError as error:
        raise Refused(f"{path}: no {encoding} text ({error.reason}); tell its --encoding") from None
    sep = sep or _find_separator("".join(head))
    form = Form(sep, decimal or ".", thousands, encoding, True, na if na is not None else ["?"])
    form.decimal = decimal or _find_decimal(path, form)
    form.header = header if header is not None else not _all_numbers(path, form)
    return form


def _find_encoding(path: Path) -> str:
    with open(path, "rb") as file:
        head = file.read(4)
        if head.startswith((codecs.BOM_UTF16_LE, codecs.BOM_UTF16_BE)):
            return "utf-16"
        decoder = codecs.getincrementaldecoder("utf-8")()
        try:
            while head:
                decoder.decode(head)
                head = file.read(1 << 20)
            decoder.decode(b"", final=True)
        except UnicodeDecodeError:
            return "cp1252"
    return "utf-8-sig"


def _find_separator(head: str) -> str:
    try:
        return csv.Sniffer().sniff(head, delimiters=",;\t|").delimiter
    except csv.Error:  # one column, or columns parted by blanks
        return " " if len(head.split("\n", 1)[0].split()) > 1 and not set(head) & set(',;\t|"') else ","


def _find_decimal(path: Path, form: Form) -> str:
    """The decimal sign that makes more columns numeric."""
    if form.sep == ",":
        return "."
    numeric = [
        _read(path, dataclasses.replace(form, decimal=sign), rows=1000).select_dtypes("number").shape[1]
        for sign in ".,"
    ]
    return "," if numeric[1] > numeric[0] else "."


def _all_numbers(path: Path, form: Form) -> bool:
    first = _read(path, dataclasses.replace(form, header=False), rows=1)
    return first.shape[0] == 1 and all(pd.api.types.is_numeric_dtype(kind) for kind in first.dtypes)


# ---- Table to data ----


@dataclasses.dataclass
class Data:
    """What a table becomes. `values` (n, d); `labels` (n,) int64 or None; `names` the content of NAME.names;
    `story`: pairs of a column and what became of it."""

    values: np.ndarray
    labels: np.ndarray | None
    names: dict[str, Any]
    story: list[tuple[str, str]]


def convert(
    table: Table,
    label: str | None = None,
    drop: list[str] | None = None,
    scale: bool = False,
    missing: str | None = None,
    encode: list[str] | None = None,
) -> Data:
    """The data of a table. `missing`: "drop" rows with an empty cell, fill in the "mean" of the column, or
    None to refuse; `encode`: text columns that become one 0/1 variable a text, [] for every text column,
    None for none. Raises `Refused` for a column that is not there, a cell that is no number, missing cells.
    """
    for name in (*([label] if label else []), *(drop or []), *(encode or [])):
        if name not in table.frame:
            raise Refused(f"{table.path}: no column {name!r}; there are {listed(list(table.frame))}")
    parts, story = [], []
    for name, column in table.frame.items():
        part, told = (
            (None, "dropped")
            if name in (drop or [])
            else (None, "label")
            if name == label
            else _variables(table, name, column, encode)
        )
        story.append((name, told))
        if part is not None:
            parts.append(part)
    if not parts:
        raise Refused(f"{table.path}: no column of numbers is left")
    values = pd.concat(parts, axis=1)
    kept = _complete(table, values, story, missing)
    values = values[kept].fillna(values[kept].mean())
    mean, deviation = np.zeros(values.shape[1]), np.ones(values.shape[1])
    if scale:
        mean, spread = values.mean().to_numpy(), values.std(ddof=0).to_numpy()
        deviation = np.where(spread > 0, spread, 1.0)
        story.append(("--scale", "every variable to mean 0 and deviation 1; constant ones to 0"))
    labels, classes = _labels(table.frame.loc[kept, label]) if label else (None, {})
    if label:
        story = [(name, _tell_label(classes) if told == "label" else told) for name, told in story]
    names = dict(
        variables=list(values.columns),
        mean=mean.tolist(),
        scale=deviation.tolist(),
        label=label,
        classes=classes,
        dropped=np.flatnonzero(~kept).tolist(),
        form=dataclasses.asdict(table.form),
    )
    return Data((values.to_numpy(float) - mean) / deviation, labels, names, story)


def _variables(
    table: Table, name: str, column: pd.Series, encode: list[str] | None
) -> tuple[pd.DataFrame | None, str]:
    """The variables that a column becomes, None for none, and what to say of it."""
    if column.isna().all():
        return None, "left out: empty"
    if column.dtype == object and column.dropna().map(type).eq(bool).all() and name not in (encode or []):
        column = column.astype(float)  # truth values, some missing
    if (
        encode
        and name in encode
        or encode == []
        and column.dtype == object
        and not _numbers(column, table.form).any()
    ):
        count = column.nunique()
        if count > MOST_CLASSES:
            raise Refused(
                f"{table.path}: column {name!r} has {count} different texts, too "
                "many for --encode: --drop it"
            )
        coded = pd.get_dummies(column, prefix=name, prefix_sep="=", dtype=float)
        coded[column.isna()] = np.nan
        return coded, f"{coded.shape[1]} variables, 0 or 1: {', '.join(coded.columns)}"
    if column.dtype == object:
        good = _numbers(column, table.form)
        if not (good | column.astype(str).str.fullmatch(LIKE_A_NUMBER)).any():
            return None, f"left out: text (--encode would make {column.nunique()} variables of it)"
        row = int(np.flatnonzero(~good & column.notna())[0])
        raise table.refuse(
            row,
            name,
            f"{column.iloc[row]!r} is not a number (--drop leaves the column out, "
            "--na tells what means missing, --decimal and --thousands how to read)",
        )
    column = column.astype(float)
    infinite = np.flatnonzero(np.isinf(column))
    if infinite.size:
        raise table.refuse(int(infinite[0]), name, "an infinite number")
    told = (
        f"variable, {column.min():g} to {column.max():g}"
        if column.min() < column.max()
        else "variable, constant"
    )
    if len(column) > 2 and (column.diff().iloc[1:] == 1).all():
        told += " (numbers the rows: --drop it?)"
    return column.to_frame(name), told


def _numbers(column: pd.Series, form: Form) -> pd.Series:
    """Which cells are numbers in the form of the table."""
    number = NUMBER.replace(r"\.", re.escape(form.decimal))
    text = column.astype(str)
    return (text.str.replace(form.thousands, "", regex=False) if form.thousands else text).str.fullmatch(
        number
    )


def _complete(
    table: Table, values: pd.DataFrame, story: list[tuple[str, str]], missing: str | None
) -> np.ndarray:
    """Which rows become data: a mask (rows,)."""
    empty = values.isna()
    if not empty.to_numpy().any():
        return np.ones(len(values), bool)
    rows = np.flatnonzero(empty.any(axis=1))
    if missing is None:
        name = values.columns[int(np.flatnonzero(empty.iloc[rows[0]])[0])]
        raise table.refuse(
            int(rows[0]),
            name,
            f"missing; {len(rows)} row{'s lack' if len(rows) > 1 else ' lacks'} a number (--missing drop "
            "leaves them out, --missing mean fills in the mean of the column)",
        )
    if missing == "mean":
        told = ", ".join(f"{count} in {name}" for name, count in empty.sum().items() if count)
        story.append(("--missing", f"means filled in: {told}"))
        return np.ones(len(values), bool)
    lines = ", ".join(str(table.line(int(row))) for row in rows[:10]) + (", ..." if len(rows) > 10 else "")
    story.append(("--missing", f"{len(rows)} of {len(values)} rows dropped, on lines {lines}"))
    if len(rows) == len(values):
        raise Refused(f"{table.path}: every row lacks a number")
    return ~empty.any(axis=1).to_numpy()


def _labels(column: pd.Series) -> tuple[np.ndarray, dict[str, str]]:
    """Integers (n,) and what they stand for: whole numbers stay what they are, others are counted in sorted
    order; a missing label is -1."""
    known = column.dropna()
    if pd.api.types.is_numeric_dtype(column) and (known % 1 == 0).all() and (known.abs() < 2**31).all():
        codes = column.fillna(-1).to_numpy(np.int64)
        return codes, {str(code): str(code) for code in np.unique(known.to_numpy(np.int64))}
    codes, found = pd.factorize(column, sort=True)
    return codes.astype(np.int64), {str(code): str(text) for code, text in enumerate(found)}


def _tell_label(classes: dict[str, str]) -> str:
    few = ", ".join(f"{code} {text}" for code, text in itertools.islice(classes.items(), 10))
    return f"label, {len(classes)} classes: {few}" + (", ..." if len(classes) > 10 else "")


def save(name: Name, table: Table, data: Data, binary: bool = False) -> None:
    """Writes NAME.dat, NAME.lab (not without label) and NAME.names. Text keeps every digit of the numbers."""
    if binary:
        write(beside(name, ".dat"), data.values, binary=True)
    else:
        rows = pd.DataFrame(data.values).to_csv(sep="\t", header=False, index=False, lineterminator="\n")
        beside(name, ".dat").write_text(header_lines(data.values.shape) + rows)
    if data.labels is not None:
        write(beside(name, ".lab"), data.labels)
    elif beside(name, ".lab").exists():
        print(f"  {beside(name, '.lab')} stands as it was: it is none of this table's", file=sys.stderr)
    target = beside(name, ".names")
    names = {**data.names, "table": os.path.relpath(table.path, target.parent), "sha256": _digest(table.path)}
    target.write_text(json.dumps(names, indent=1, ensure_ascii=False) + "\n", encoding="utf-8")


def _digest(path: Path) -> str:
    with open(path, "rb") as file:
        return hashlib.file_digest(file, "sha256").hexdigest()


# ---- Results to table ----


def back(name: Name, out: Name, data: Name | None = None) -> list[str]:
    """Writes the table that became `data` (NAME's own unless told) to `out`, with the columns `prototype`,
    `component`, `map_0` ... (image of the prototype) and `position_0` ... (interpolated), as far as they were
    saved under NAME; they are empty for rows without datum. Separator and decimal sign are the table's.
    Returns the names of the new columns. Raises `Refused` when the table is gone or another one."""
    saved = Saved.load(name, data)
    if not saved.names:
        raise Refused(f"{name}: no .names file beside its data (qvtx-csv writes one)")
    source = Path(os.path.normpath(saved.data_name.parent / saved.names["table"]))
    if not source.exists() or _digest(source) != saved.names["sha256"]:
        raise Refused(f"{source}: {'changed since it became data' if source.exists() else 'not there'}")
    form = Form(**saved.names["form"])
    frame = _read(source, form, dtype=str, keep_default_na=False, na_values=[], skipinitialspace=False)
    if form.header:  # as they stand: empty or twice the same, to which pandas gives names of its own
        frame.columns = next(_records(source, form))[1]
    joined = _results(saved)
    kept = np.setdiff1d(np.arange(len(frame)), saved.names["dropped"])
    if len(kept) != len(joined):
        raise Refused(f"{name}: {len(joined)} data were saved, {source} has {len(kept)} rows")
    joined.index = kept
    clash = [column for column in joined if column in frame]
    joined = joined.rename(columns={column: f"{column}_qvtx" for column in clash})
    frame.join(joined).to_csv(out, sep=form.sep, decimal=form.decimal, index=False, header=form.header)
    return list(joined.columns)


def _results(saved: Saved) -> pd.DataFrame:
    """One row a datum, the columns that `back` adds; nothing stands in the row of a datum that was left out."""
    frame = pd.DataFrame({"prototype": saved.codes, "component": saved.components[saved.codes]}).astype(
        "Int64"
    )
    frame[~saved.used] = pd.NA
    tables = {
        "map": saved.images[saved.codes] if saved.images is not None else None,
        "position": saved.positions,
    }
    for stem, table in tables.items():
        if table is None:
            continue
        for k in range(table.shape[1]):
            frame[f"{stem}_{k}"] = np.where(saved.used, table[:, k], np.nan)
    return frame


# ---- Shell ----


def _parser() -> argparse.ArgumentParser:
    parser = argparse.ArgumentParser(
        prog="qvtx-csv", description="Tables to data files of qvtx, and results back."
    )
    parser.add_argument("source", help="the table; with --back the name that `sm` saved under")
    parser.add_argument(
        "target", help="NAME of NAME.dat, NAME.lab, NAME.names; with --back the table to write"
    )
    parser.add_argument("--back", action="store_true", help="join the rows of the table with the results")
    parser.add_argument(
        "--data", metavar="NAME", help="with --back: name of the data, when `sm` used another one"
    )
    parser.add_argument("--label", metavar="COLUMN", help="column that becomes NAME.lab")
    parser.add_argument("--drop", metavar="COLUMN", nargs="+", action="extend", help="columns to leave out")
    parser.add_argument("--scale", action="store_true", help="every variable to mean 0 and deviation 1")
    parser.add_argument(
        "--missing", choices=("drop", "mean"), help="rows with empty cells: drop or fill in the mean"
    )
    parser.add_argument(
        "--encode", metavar="COLUMN", nargs="*", help="a 0/1 variable for every text of a column"
    )
    parser.add_argument(
        "--binary", action="store_true", help="NAME.dat as a binary matrix (which `iv` needs)"
    )
    parser.add_argument("--sep", help="what parts the columns; found when not told")
    parser.add_argument("--decimal", choices=(".", ","), help="decimal sign; found when not told")
    parser.add_argument("--thousands", help="sign between thousands; none when not told")
    parser.add_argument("--encoding", help="such as utf-8 or cp1252; found when not told")
    parser.add_argument(
        "--header",
        action=argparse.BooleanOptionalAction,
        default=None,
        help="whether the first line names the columns; found when not told",
    )
    parser.add_argument("--na", metavar="TEXT", nargs="+", help="texts that mean missing")
    return parser


def _convert(given: argparse.Namespace) -> None:
    path = Path(given.source)
    sep = {"tab": "\t", "\\t": "\t"}.get(given.sep, given.sep)
    form = find_form(path, sep, given.decimal, given.thousands, given.encoding, given.header, given.na)
    table = Table(path, form)
    data = convert(table, given.label, given.drop, given.scale, given.missing, given.encode)
    save(given.target, table, data, given.binary)
    print(
        f"{path}: {len(table.frame)} rows, columns parted by {form.sep!r}, decimal {form.decimal!r}, "
        f"{form.encoding.removesuffix('-sig')}, {'' if form.header else 'no '}header"
    )
    width = max(len(name) for name, _ in data.story)
    for name, told in data.story:
        print(f"  {name:{width}}  {told}")
    kinds = ".dat" + (", .lab" if data.labels is not None else "") + ", .names"
    rows, columns = data.values.shape
    print(f"{given.target} ({kinds}): {rows} data, {columns} variable{'s' if columns > 1 else ''}")


def main(arguments: list[str] | None = None) -> int:
    """The command line; returns the exit status."""
    given = _parser().parse_args(arguments)
    try:
        if given.back:
            columns = back(given.source, given.target, given.data)
            print(f"{given.target}: joined with {', '.join(columns)}")
        else:
            _convert(given)
    except (OSError, ValueError, LookupError) as error:
        print(f"qvtx-csv: {error}", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
