"""A session of the program, driven from Python."""

from __future__ import annotations

import dataclasses
import operator
import re
import secrets
import shutil
import warnings
from pathlib import Path
from typing import Any, Mapping

import numpy as np
import numpy.typing as npt

from qvtx import files
from qvtx.blend import Reconstruction
from qvtx.dialogue import (
    Progress,
    Steps,
    column_names,
    count,
    figure,
    known,
    listener_for,
    manual_or_automatic,
    matrix,
    same_columns,
    schedule_file,
    with_extension,
)
from qvtx.matrices import Array
from qvtx.program import PROMPT, Console, QvtxError, find_program, refusal, settings_of
from qvtx.snapshot import Snapshot

QUANTIZERS = {
    "nq": "no quantization",
    "gc": "one prototype at the mean",
    "km": "K-means",
    "dk": "dynamic K-means",
    "xn": "EXIN",
    "nw": "Neural Water",
    "cl": "competitive learning",
    "fc": "fast competitive learning",
    "ng": "neural gas",
    "om": "self-organizing map",
    "jp": "Jarvis-Patrick",
}
MAPPINGS = {
    "md": "multidimensional scaling",
    "mm": "Sammon's mapping",
    "cc": "curvilinear component analysis",
    "it": "Isotop",
    "us": "the grid of a self-organizing map",
}
_SIZED = ("km", "cl", "fc", "ng", "om")
_BOUNDED = {"dk": "  Mean Error (numeric) ? ", "xn": "  Action radius (numeric) ? "}
_BOUNDED["nw"] = _BOUNDED["xn"]
_CLASSES = {"minkowski": "powers of differences", "area": "between curves", "cosine": "of the angle"}
_SINGLES = {"lost": "no datum", "copies": "a single datum"}
_FILE = "extension? "


@dataclasses.dataclass
class Rating:
    """How faithful a map is. `stress` (Sammon's, over the distances of the mapping), `lost_neighbours` and
    `lost_links` (shares of all) are as the report prints them, NaN where it prints a dash. `gods` holds for
    "self", "euclidean" and "curvilinear" the histogram (128, 128) and the statistics (128, 4) of the GoD
    graph."""

    stress: float
    lost_neighbours: float
    lost_links: float
    gods: dict[str, tuple[Array, Array]]


@dataclasses.dataclass
class ReconstructionError:
    """Mean squared error of the nearest prototypes and of the reconstruction; `gain` is what the latter
    saves."""

    without_interpolation: float
    with_interpolation: float
    gain: float


class Session:
    """An analysis of data X (n rows, d columns; an array or a data frame, whose names the pictures show) by
    the program. Rows that are not finite have the code -1.

    ::

        with qvtx.Session(X, settings={"vlnnbr": 8}) as session:
            session.quantize("ng", 300).map("cc", 2)
            session.images, session.stress

    seed: the state of the random numbers, as the program's option --seed. 0 is that of a fresh start; None
    takes one that differs every time.

    settings: values by key, for a key with named values also the name ("n_link").

    progress: called as progress(method, step, steps) while a method iterates; True prints that, False does
    not, None prints in a notebook.

    A refusal raises `QvtxError` with the program's own line; the session goes on. An interrupt gives the
    command up: a method ends after the epoch at hand, and what it has made stays; other commands leave all as
    it was. A second interrupt closes the session. Without `with`, `close` ends it; so does dropping the
    object. Nothing is left on disk.
    """

    def __init__(
        self,
        X: npt.ArrayLike,
        seed: int | None = 1,
        settings: Mapping[str, float | str] | None = None,
        progress: Progress | bool | None = None,
    ) -> None:
        self._start(X, progress, _state(seed))
        try:
            if settings:
                self.set(**settings)
            self._load("ld")
        except BaseException:
            self.close()
            raise

    @classmethod
    def load(
        cls, name: files.Name | Snapshot, X: npt.ArrayLike, progress: Progress | bool | None = None
    ) -> Session:
        """The session saved as name.mbf (or a `Snapshot`) on the same data X, with the settings it had."""
        snapshot = name if isinstance(name, Snapshot) else files.read(with_extension(name, ".mbf"))
        session = cls.__new__(cls)
        session._start(X, progress)
        try:
            files.write(session._file("data.mbf"), snapshot)
            session._load("la")
            if not snapshot.verbose:
                session._run(["tv"])
        except BaseException:
            session.close()
            raise
        return session

    def _start(self, X: npt.ArrayLike, progress: Progress | bool | None, seed: int = 0) -> None:
        self.X = matrix(X, "X")
        self.variables = column_names(X)  # d texts, or None
        self._program = find_program()
        self._settings = settings_of(self._program)
        self._console = Console(self._program, listener_for(progress), ["--seed", str(seed)] if seed else [])
        self._commands = [f"#= seed {seed}"] if seed else []
        self._cache: Snapshot | None = None
        self._validations = 0
        self._method = ""
        self._metric = ("m", 2.0)
        self._projected: Array | None = None
        self._projected_data = False  # whether these are positions of the data themselves
        self._reconstructed: Array | None = None

    def _load(self, command: str) -> None:
        files.write(self._file("data.dat"), self.X, binary=True)
        said = self._run([command, (_FILE, "data")])
        if command == "la" and not re.search(r"load_mbf: .*done!", said):
            raise QvtxError(refusal(said, "load_mbf: failed!"), said)

    # ---- Settings ----

    def set(self, **settings: float | str) -> Session:
        """Sets settings by key: ``session.set(vlnnbr=8, vglink_p="n_link")``.

        KeyError for a key that does not exist, TypeError for a value of another kind, `QvtxError` for one out
        of range. Methods take a value over when they need it.
        """
        texts: tuple[list[str], list[str]] = ([], [])
        for key, value in settings.items():
            real, number = self._place(key)
            texts[real].append(f"s {number} {self._value(key, value, real)}")
        steps: Steps = ["ms"]
        for table in texts:
            steps += [("pref # ", text) for text in [*table, "x"]]
        said = self._run(steps)
        if refused := re.search(r"pref\. .*(out of range|does not exist).*", said):
            raise QvtxError(refused[0].strip(), said)
        for rising in re.findall(r"(\w+ is above \w+)", said):
            warnings.warn(f"{rising}: a schedule must not rise", stacklevel=2)
        return self

    def _place(self, key: str) -> tuple[int, int]:
        """Table (0 integer, 1 real) and number of a key."""
        for real in (0, 1):
            table = self._settings.blocks[real] + self._settings.blocks[real + 2]
            for number, setting in enumerate(table):
                if setting.key.rstrip() == key.rstrip():
                    return real, number
        raise KeyError(f"no setting has the key {key!r}")

    def _value(self, key: str, value: float | str, real: int) -> str:
        if isinstance(value, str):
            named = {name: of for of, name in self._settings.find(key).names.items()}
            if value not in named:
                raise TypeError(f"{key} has no value {value!r}; it has {', '.join(named) or 'numbers only'}")
            value = named[value]
        if not np.isfinite(float(value)):
            raise ValueError(f"{key} must be finite, not {value}")
        if not real and float(value) != int(value):
            raise TypeError(f"{key} is an integer, not {value}")
        return repr(float(value)) if real else str(int(value))

    def distance(self, kind: str = "minkowski", exponent: float = 2) -> Session:
        """Distance class ("minkowski", "area" or "cosine") and Minkowski exponent (2: Euclidean, 1: city
        block, 8 and more: the largest difference) of the methods to come."""
        known(kind, _CLASSES, "distance class")
        letter = kind[0]
        if not 0 <= exponent < np.inf:
            raise ValueError(f"the exponent must be finite and not negative, not {exponent}")
        self._forget()
        self._run(["dc", ("class:\n", letter)])
        self._run(["mx", ("exponent:\n", repr(float(exponent)))])
        self._metric = (letter, float(exponent))
        return self

    # ---- Methods ----

    def quantize(
        self,
        method: str,
        size: float | None = None,
        *,
        confidence: float | None = None,
        ratio: float = 1.0,
        fast: bool = False,
        schedule: npt.ArrayLike | None = None,
    ) -> Session:
        """Replaces the data by prototypes and links them.

        method: "ng" neural gas, "km" K-means, "cl" and "fc" competitive learning, "om" self-organizing map of
        width / length `ratio`: all with `size` prototypes. "dk" dynamic K-means with mean error `size`, "xn"
        EXIN and "nw" Neural Water with radius `size`; or with a `confidence` that tells the bound. "jp"
        Jarvis-Patrick, "nq" the data themselves, "gc" their mean: without size. `fast` lets "fc" skip the
        searches of stable data. `schedule` (epochs, parameters), with six decimals, takes the place of the
        settings, for this method to the end of the session.
        """
        known(method, QUANTIZERS)
        steps: Steps = [method]
        if method in _SIZED:
            steps.append(("(integer) ? ", str(count(size, "size"))))
        elif method in _BOUNDED:
            steps += manual_or_automatic(size, confidence, _BOUNDED[method], repr(float(size or 0)))
        if method == "om":
            steps.append(("#neurons]) ? ", repr(float(ratio))))
        if method == "fc":
            steps.append(("[0|1] ", str(int(fast))))
        if schedule is not None:
            epochs = matrix(schedule, "schedule")
            if not np.isfinite(epochs).all():
                raise ValueError("schedule must be finite")
            files.write(self._file("data" + schedule_file(method)), epochs)
        self._forget()
        said = self._run(steps)
        if not re.search(r"prot_fin: .*done!", said) or "_itr: " in said:  # an epoch that was refused
            raise QvtxError(refusal(said, f"{method}: refused"), said)
        return self

    def remove(self, which: str = "lost") -> int:
        """Removes the prototypes that no datum ("lost") or a single one ("copies") belongs to; returns how
        many."""
        known(which, _SINGLES, "prototypes")
        said = self._run(["rl" if which == "lost" else "rc"])
        self._forget()
        match = re.search(r"(\d+) \w+ prototypes removed", said)
        return int(match[1]) if match else 0

    def map(self, method: str, dimension: int | None = 2, *, confidence: float | None = None) -> Session:
        """Projects the prototypes to `dimension` coordinates, or to as many as explain the share `confidence`
        of the local variance.

        method: "cc" curvilinear component analysis, "mm" Sammon's mapping, "it" Isotop, "md" multidimensional
        scaling, "us" the grid of a self-organizing map (which has its own two coordinates).
        """
        known(method, MAPPINGS)
        steps: Steps = [method, (PROMPT, "mp")]
        if method != "us":
            wanted = None if confidence is not None else dimension
            text = str(count(wanted, "dimension")) if confidence is None else ""
            steps += manual_or_automatic(wanted, confidence, "(integer) ? ", text)
        self._forget()
        said = self._run(steps)
        if not re.search(r"mapr_fin: .*done!", said):
            raise QvtxError(refusal(said, f"{method}: refused"), said)
        self._method = method
        return self

    def interpolate(self, Xnew: npt.ArrayLike | None = None, *, like: str | None = None) -> Array:
        """Positions (m, q) of samples (m, d) in the map; of the data themselves without argument.

        They come through a text file with six decimals. NaN where a sample is not finite. `like` names the
        mapping in whose menu that is done; "mm" has a rule of its own. By default it is the mapping that was
        made.
        """
        if like:
            known(like, MAPPINGS)
            self._method = like
        menu = self._menu()
        if Xnew is None:
            said = self._run([menu, (PROMPT, "il")])
        else:
            table = matrix(Xnew, "Xnew")
            if table.shape[1] != self.X.shape[1]:
                raise ValueError(f"Xnew has {table.shape[1]} columns, the data have {self.X.shape[1]}")
            same_columns(Xnew, "Xnew", self.variables)
            self._validations += 1
            name = f"new{self._validations}"
            files.write(self._file(name + ".dat"), table, binary=True)
            said = self._run([menu, (PROMPT, "iv"), (_FILE, name)])
        if not re.search(r"interpolating[^!]*\n *done!", said):
            raise QvtxError(refusal(said, "interpolation refused"), said)
        self._reconstructed = None
        self._projected = self._saved_positions(".prj")
        self._projected_data = Xnew is None
        return self._projected

    def reconstruct(self, Y: npt.ArrayLike | None = None) -> Array:
        """Samples (m, d) at positions of the map: at those of the last `interpolate` without argument, else
        at Y (m, q).

        The program reconstructs what it has interpolated (for Sammon's mapping with a rule of its own); at
        other positions the same blend of affine maps is computed here, for the Minkowski class.
        """
        if Y is None:
            if self._projected is None:
                raise ValueError("nothing was interpolated yet")
            said = self._run([self._menu(), (PROMPT, "rd")])
            if "done!" not in said:
                raise QvtxError(refusal(said, "reconstruction refused"), said)
            self._reconstructed = self._saved_positions(".jrp")
            return self._reconstructed
        letter, exponent = self._metric
        if letter != "m":
            raise ValueError("positions of your own need the Minkowski class")
        table = matrix(Y, "Y")
        if table.shape[1] != self.images.shape[1]:
            raise ValueError(f"Y has {table.shape[1]} columns, the map has {self.images.shape[1]}")
        links = self.snapshot.links if self.snapshot.settings["vglink_p"] else None
        return Reconstruction(self.prototypes, self.images, links, exponent).samples(table)

    def reconstruction_error(self) -> ReconstructionError:
        """The error of the last reconstruction (of interpolated positions)."""
        said = self._run(["mq"])
        without, with_it, gain = (
            figure(said, name) for name in ("without interpolation", "with    interpolation", "Gain")
        )
        return ReconstructionError(without, with_it, gain / 100)

    def path(self, prototype: int) -> Array:
        """(p, 2): predecessor of every prototype on the shortest paths from this one, -1 for none; the
        prototypes by increasing distance. Needs a mapping."""
        said = self._run(["bw", ("]", str(int(prototype))), (_FILE, "path")], record=False)
        if "done!" not in said:
            raise QvtxError(refusal(said, f"no prototype {prototype}"), said)
        return files.read(self._file("path.bwt"))

    # ---- Rating and saving ----

    def rate(self) -> Rating:
        """Stress, lost neighbours and links, and the three GoD graphs of the map."""
        self._run(["ag"])
        self._run(["sm", (_FILE, "rated")], record=False)
        gods = {}
        for kind, letter in (("self", "s"), ("euclidean", "e"), ("curvilinear", "c")):
            graph, statistics = (self._file(f"rated.{letter}{end}") for end in ("gd", "st"))
            if graph.exists():
                gods[kind] = (files.read(graph), files.read(statistics))
        report = self.report()
        return Rating(
            figure(report, r"stress"),
            figure(report, r"lost neighbours") / 100,
            figure(report, r"lost links") / 100,
            gods,
        )

    def report(self) -> str:
        """The program's detail report."""
        return self._run(["dd"], record=False).removesuffix(PROMPT)

    def save(self, name: files.Name) -> list[Path]:
        """Saves all that the command `sm` does as name.mbf, name.pro, ..., and positions and reconstructions
        when there are some; returns the files' names."""
        target = Path(name)
        for old in self.folder.glob("saved.*"):
            old.unlink()
        self._run(["sm", (_FILE, "saved")], record=False)
        if self._projected is not None:
            self._run(["sp", (_FILE, "saved")], record=False)
        made = []
        for path in sorted(self.folder.glob("saved.*")):
            made.append(target.with_name(target.name + path.suffix))
            shutil.copyfile(path, made[-1])
        return made

    def view(self, out: files.Name | None = None, labels: Any = None, show: bool = True) -> Path:
        """Writes the explorer, one HTML page that works offline, to `out` ("session.html" without) and opens
        it in a browser unless told not to; returns its path. `labels`: (n,) or the name of their file. Needs
        a mapping, and the packages plotly and scikit-learn."""
        from qvtx import view

        self._done("mapp_fin")
        return view.view(self, out, labels=labels, show=show)

    @property
    def commands(self) -> str:
        """The script that repeats the session at the console, in a folder that `save_script` has filled; a
        method that was interrupted is repeated without the interrupt."""
        return "\n".join([*self._commands, "xt", "y", ""])

    def save_script(self, folder: files.Name) -> Path:
        """Writes session.cmd, the data that it loads and the preference file into a folder: there
        ``qvtx --replay session.cmd`` repeats the session."""
        target = Path(folder)
        target.mkdir(parents=True, exist_ok=True)
        for pattern in ("*.dat", "data.mbf", "data.??p", "Qvtx.prf"):
            for path in self.folder.glob(pattern):
                shutil.copyfile(path, target / path.name)
        script = target / "session.cmd"
        script.write_text(self.commands)
        return script

    # ---- Results ----

    @property
    def snapshot(self) -> Snapshot:
        """Everything that the program knows beside the data."""
        if self._cache is None:
            self._run(["sm", (_FILE, "state")], record=False)
            self._cache = files.read(self._file("state.mbf"))
        return self._cache

    @property
    def prototypes(self) -> Array:
        """(p, d)"""
        return self._done("prot_ini").prototypes

    @property
    def codes(self) -> Array:
        """(n,): the prototype that each datum belonged to when the method ended."""
        return self._done("prot_fin").codes

    @property
    def hits(self) -> Array:
        """(p,): number of data that belong to each prototype."""
        return self._done("prot_fin").hits

    @property
    def components(self) -> Array:
        """(p,): connected component of each prototype."""
        return self._done("prot_fin").components

    @property
    def links(self) -> Any:
        """`scipy.sparse.csr_array` (p, p), symmetric: lengths of the links of the prototypes. Strengths are in
        ``snapshot.links``."""
        return self._done("prot_fin").graph()

    @property
    def images(self) -> Array:
        """(p, q): positions of the prototypes in the map."""
        return self._done("mapp_fin").images

    @property
    def mapping(self) -> str:
        """Command of the mapping in force, as `map` or `interpolate` named it last; "" before, also in a
        session that was loaded."""
        return self._method

    @property
    def projected(self) -> Array:
        """(m, q): the positions that `interpolate` found last."""
        if self._projected is None:
            raise ValueError("nothing was interpolated yet")
        return self._projected

    @property
    def interpolated_data(self) -> bool:
        """Whether `projected` holds the positions of the data themselves."""
        return self._projected is not None and self._projected_data

    @property
    def reconstructed(self) -> Array:
        """(m, d): the samples that `reconstruct` made of `projected`."""
        if self._reconstructed is None:
            raise ValueError("nothing was reconstructed yet")
        return self._reconstructed

    @property
    def stress(self) -> float:
        """Sammon's stress of the map, with the four decimals of the report; NaN where it has none."""
        self._done("mapp_fin")
        return figure(self.report(), "stress")

    # ---- Life ----

    @property
    def folder(self) -> Path:
        """The private folder in which the program works; it vanishes with the session."""
        return self._console.folder

    def close(self) -> None:
        """Ends the program and removes its files. Results that were not read are gone."""
        self._console.close()

    def __enter__(self) -> Session:
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    def __repr__(self) -> str:
        rows, columns = self.X.shape
        state = "closed" if self._console.closed else f"{len(self._commands)} answers"
        return f"<qvtx.Session on {rows} x {columns} data, {state}>"

    # ---- Dialogue ----

    def _file(self, name: str) -> Path:
        return self.folder / name

    def _run(self, steps: Steps, record: bool = True) -> str:
        answers = [step if isinstance(step, str) else step[1] for step in steps]
        try:
            said = self._console.run(*steps)
        except QvtxError:
            raise
        except BaseException:
            self._forget()
            if record and self._console.took_effect:
                self._commands += answers
            raise
        if record:
            self._commands += answers
        return said

    def _menu(self) -> str:
        """Sub-menu with the interpolation of the mapping in force."""
        self._done("mapp_fin")
        return self._method if self._method in ("mm", "it", "us") else "cc"

    def _forget(self) -> None:
        self._cache = self._projected = self._reconstructed = None

    def _done(self, step: str) -> Snapshot:
        snapshot = self.snapshot
        if not snapshot.steps[step]:
            missing = {"prot_ini": "prototypes", "prot_fin": "final prototypes", "mapp_fin": "mapping"}[step]
            raise ValueError(f"no {missing} yet")
        return snapshot

    def _saved_positions(self, extension: str) -> Array:
        self._run(["sp", (_FILE, "positions")], record=False)
        return files.read(self._file("positions" + extension))


def _state(seed: int | None) -> int:
    """State of the random numbers for a seed; 0 for that of a fresh start."""
    if seed is None:
        return 1 + secrets.randbelow(2**32 - 1)
    if not 0 <= operator.index(seed) < 2**32:
        raise ValueError(f"seed must lie in [0, 2^32), not {seed}")
    return operator.index(seed)
