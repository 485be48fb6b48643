"""What a session types and reads: arguments as answers, figures out of reports, progress."""

from __future__ import annotations

import re
import sys
from pathlib import Path
from typing import Any, Callable, Mapping, Sequence

import numpy as np
import numpy.typing as npt

from qvtx.files import Name
from qvtx.matrices import Array

Progress = Callable[[str, int, int], None]
MOST_LISTED = 20  # names in a refusal
Steps = list[Any]  # answers for `Console.run`


def matrix(values: npt.ArrayLike, name: str) -> Array:
    """float64 (rows, columns), at least one of each; what is missing or masked is NaN. ValueError for another
    shape or what is no number, with the columns of a data frame that hold such."""
    if hasattr(values, "toarray"):
        raise TypeError(f"{name} is sparse: give {name}.toarray()")
    if hasattr(values, "columns") and hasattr(values, "iloc"):
        values = _of_frame(values, name)
    elif isinstance(values, np.ma.MaskedArray):
        values = np.ma.filled(values.astype(float), np.nan)
    elif np.iscomplexobj(values):
        raise ValueError(f"{name} holds complex numbers")
    table = np.ascontiguousarray(values, dtype=float)
    if table.ndim != 2:
        raise ValueError(f"{name} must have two dimensions (rows, columns), not {table.ndim}")
    if 0 in table.shape:
        raise ValueError(f"{name} needs a row and a column, not the shape {table.shape}")
    return table


def _of_frame(frame: Any, name: str) -> Array:
    """The numbers of a data frame."""
    parts, refused = [], []
    for k, title in enumerate(frame.columns):
        column = frame.iloc[:, k]
        try:
            if column.dtype.kind in "mM":  # dates and spans would become nanoseconds
                raise TypeError
            parts.append(np.asarray(column.astype(float)))
        except (TypeError, ValueError):
            refused.append(str(title))
    if refused:
        raise ValueError(f"{name} has columns that hold no numbers: {listed(refused)}")
    return np.column_stack(parts) if parts else np.empty(frame.shape)


def listed(names: Sequence[str]) -> str:
    """The names in quotes, of many the first ones."""
    more = len(names) - MOST_LISTED
    return ", ".join(map(repr, names[:MOST_LISTED])) + (f" and {more} more" if more > 0 else "")


def same_columns(values: Any, name: str, variables: list[str] | None) -> None:
    """ValueError for a data frame whose columns are not those of the session, in their order."""
    names = column_names(values)
    if names and variables and names != variables:
        raise ValueError(f"{name} has the columns {listed(names)}, the session {listed(variables)}")


def column_names(values: Any) -> list[str] | None:
    """Names of a data frame's columns; None where there are none, or not all are texts."""
    names = list(getattr(values, "columns", []))
    return names if names and all(isinstance(name, str) for name in names) else None


def known(word: str, table: Mapping[str, str], kind: str = "method") -> None:
    """ValueError with the words that there are when this one is not among them."""
    if word not in table:
        names = ", ".join(f"{key} ({name})" for key, name in table.items())
        raise ValueError(f"no {kind} {word!r}; there are {names}")


def schedule_file(method: str) -> str:
    """Extension of the schedule file of a quantization."""
    extensions = {"cl": ".clp", "fc": ".clp", "ng": ".ngp", "nw": ".nwp", "om": ".omp", "jp": ".jpp"}
    if method not in extensions:
        raise ValueError(f"{method} has no schedule; {', '.join(extensions)} have one")
    return extensions[method]


def count(value: float | None, name: str) -> int:
    """The value as int. TypeError when it is none."""
    if value is None or isinstance(value, str) or float(value) != int(value):
        raise TypeError(f"{name} must be an integer, not {value!r}")
    return int(value)


def manual_or_automatic(manual: float | None, confidence: float | None, prompt: str, text: str) -> Steps:
    """The answers to "Manual or Automatic ?": the value's text at its prompt, or the confidence."""
    if (manual is None) == (confidence is None):
        raise TypeError("give either a value or a confidence")
    if confidence is None:
        return [("[m|a] ", "m"), (prompt, text)]
    return [("[m|a] ", "a"), ("(0.xx) ? ", repr(float(confidence)))]


def with_extension(name: Name, extension: str) -> Path:
    """The name, with the extension behind it unless it is there."""
    path = Path(name)
    return path if path.suffix == extension else path.with_name(path.name + extension)


def figure(report: str, name: str) -> float:
    """The number behind "name = " in a report, NaN for a dash or no such line."""
    match = re.search(name + r" = +(-?[\d.]+)", report)
    return float(match[1]) if match else float("nan")


def listener_for(progress: Progress | bool | None) -> Progress | None:
    """What hears the progress: a function itself; True prints it, False does not, None prints in a
    notebook."""
    if callable(progress):
        return progress
    wanted = _in_notebook() if progress is None else progress
    return _print_progress if wanted else None


def _in_notebook() -> bool:
    shell = getattr(sys.modules.get("IPython"), "get_ipython", lambda: None)()
    return type(shell).__name__ == "ZMQInteractiveShell"


def _print_progress(method: str, step: int, steps: int) -> None:
    end = "\n" if step == steps else ""
    print(f"\r{method}: {step}/{steps}", end=end, file=sys.stderr, flush=True)
