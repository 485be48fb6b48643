"""Data that one machine does not hold: K-means over the partitions of a Dask array or data frame, a session
on the prototypes found, and the interpolation of all data onto its map.

::

    data = qvtx.large.open("part-*.csv")                       # or any Dask array or data frame of numbers
    found = qvtx.large.kmeans(data, 300)
    session = qvtx.large.session(found, qvtx.large.sample(data, 20_000)).map("cc", 2)
    places = qvtx.large.interpolate(data, session)             # as lazy as the data

Everything runs where Dask runs: in this process, or on the workers of the `distributed.Client` in force,
which need this package (and, for `interpolate`, the program). Whatever a partition adds is computed from its
number and its data alone and is summed in the order of the partitions. Hence the same prototypes for any
number of workers, and what a lost worker had is computed again. """

from __future__ import annotations

import dataclasses
import glob
import io
from typing import Any, Sequence, Union

import dask
import numpy as np
import numpy.typing as npt
from dask import array as da
from dask import dataframe as dd
from dask.delayed import Delayed
from sklearn.cluster import KMeans
from sklearn.metrics import pairwise_distances_argmin_min
from threadpoolctl import threadpool_limits

from qvtx.dialogue import column_names, same_columns
from qvtx.files import write
from qvtx.session import Session
from qvtx.snapshot import Snapshot, read_snapshot, write_snapshot

Array = npt.NDArray[Any]
Data = Union[da.Array, dd.DataFrame]

ROUNDS = 5  # of the start; Bahmani and others found no gain from more
OVERSAMPLING = 1.0  # candidates a round, in prototypes: five times as many as needed in all
FAN = 16  # partial sums that one task adds up


def open(pattern: str, **options: Any) -> dd.DataFrame:
    """The files that a pattern names (.csv, .csv.gz, .parquet), in partitions. Options go to
    `dask.dataframe`; Parquet needs pyarrow or fastparquet."""
    if ".parquet" in pattern:
        return dd.read_parquet(pattern, **options)
    if not glob.glob(pattern):
        raise FileNotFoundError(f"no file is called {pattern}")
    return dd.read_csv(pattern, **options)


def _blocks(data: Data) -> list[Delayed]:
    """The partitions as delayed float64 arrays (rows, d)."""
    if isinstance(data, dd.DataFrame):
        parts = data.to_delayed()
    elif not isinstance(data, da.Array):
        raise TypeError(
            "a Dask array or data frame is needed (dask.array.from_array, dask.dataframe.from_pandas)"
        )
    else:
        parts = data.rechunk({1: -1}).to_delayed().ravel()
    return [_numbers(part) for part in parts]


@dask.delayed
def _numbers(part: Any) -> Array:
    block = np.ascontiguousarray(part, dtype=float)
    if not np.isfinite(block).all():
        raise ValueError("the data hold numbers that are not finite")
    return block


# ---- Sums over a partition ----


@dataclasses.dataclass
class Sums:
    """What a partition adds to the prototypes (p, d): sums (p, d) and counts (p,) of the data nearest to
    each, their summed squared distances, and its datum (d,) farthest from its prototype with that squared
    distance."""

    sums: Array
    counts: Array
    error: float
    far: list[tuple[float, Array]]


def _nearest(block: Array, points: Array) -> tuple[Array, Array]:
    """Number of each row's nearest point and the squared distance to it; on one core a worker."""
    with threadpool_limits(1):
        return pairwise_distances_argmin_min(block, points, metric="sqeuclidean")


@dask.delayed
def _assign(block: Array, prototypes: Array) -> Sums:
    count, columns = prototypes.shape
    if len(block) == 0:
        return Sums(np.zeros((count, columns)), np.zeros(count, np.int64), 0.0, [])
    nearest, squares = _nearest(block, prototypes)
    sums = np.column_stack([np.bincount(nearest, block[:, k], count) for k in range(columns)])
    worst = int(squares.argmax())
    far = [(float(squares[worst]), block[worst])]
    return Sums(sums, np.bincount(nearest, minlength=count), float(squares.sum()), far)


@dask.delayed
def _merge(parts: Sequence[Sums]) -> Sums:
    first = parts[0]
    sums, counts, error, far = first.sums.copy(), first.counts.copy(), first.error, list(first.far)
    for part in parts[1:]:
        sums += part.sums
        counts += part.counts
        error += part.error
        far += part.far
    return Sums(sums, counts, error, far)


def _total(blocks: list[Delayed], prototypes: Array) -> Sums:
    """The sums over all partitions, added up in their order by a tree."""
    points = dask.delayed(prototypes)
    level = [_assign(block, points) for block in blocks]
    while len(level) > 1:
        level = [_merge(level[first : first + FAN]) for first in range(0, len(level), FAN)]
    return level[0].compute()


# ---- K-means ----


@dataclasses.dataclass
class Found:
    """`prototypes` (p, d); `hits` (p,) data nearest to each; `error` half the mean squared distance of the
    data from their prototypes, as the program's quantization error; `history`: that error at each epoch;
    `variables`: names of the d columns, None without."""

    prototypes: Array
    hits: Array
    error: float
    history: list[float]
    variables: list[str] | None = None


def kmeans(
    data: Data,
    count: int,
    epochs: int = 50,
    tolerance: float = 1e-4,
    seed: int = 1,
    start: npt.ArrayLike | None = None,
) -> Found:
    """K-means (Lloyd 1982) from prototypes `start` (count, d), such as those of an earlier call, or from
    k-means|| (Bahmani, Moseley, Vattani, Kumar and Vassilvitskii 2012).

    Ends when an epoch lowers the error by at most the share `tolerance` of it, at the latest after `epochs`.
    A prototype that loses all data moves to one of the data farthest from theirs. The data must not change
    between passes: each epoch reads every partition once, k-means|| twelve times; `data.persist()` first when
    the workers' memory holds them. ValueError for fewer data than prototypes and for numbers that are not
    finite."""
    blocks = _blocks(data)
    prototypes = _start(blocks, count, seed) if start is None else np.array(start, dtype=float)
    history: list[float] = []
    while True:
        total = _total(blocks, prototypes)
        history.append(0.5 * total.error / total.counts.sum())
        done = (
            len(history) > epochs or len(history) > 1 and history[-2] - history[-1] <= tolerance * history[-2]
        )
        if done and total.counts.all() or len(history) > 2 * epochs:
            return Found(prototypes, total.counts, history[-1], history, column_names(data))
        prototypes = _moved(prototypes, total)


def _moved(prototypes: Array, total: Sums) -> Array:
    """The means of the data of each prototype; those without data go where the error is largest."""
    moved = np.where(total.counts[:, None] > 0, total.sums / np.maximum(total.counts, 1)[:, None], prototypes)
    far = sorted(total.far, key=lambda pair: -pair[0])
    for empty, (_, datum) in zip(np.flatnonzero(total.counts == 0), far):
        moved[empty] = datum
    return moved


def _start(blocks: list[Delayed], count: int, seed: int) -> Array:
    """(count, d): prototypes by k-means||: in every round each datum is drawn with a probability proportional
    to its squared distance from those drawn so far; the draws, weighted by the data nearest to them, are
    clustered here."""
    sizes = dask.compute(*[dask.delayed(len)(block) for block in blocks])
    if sum(sizes) < count:
        raise ValueError(f"{sum(sizes)} data are too few for {count} prototypes")
    random = np.random.default_rng(seed)
    first, row = _locate(sizes, int(random.integers(sum(sizes))))
    candidates = dask.delayed(lambda block: block[row : row + 1])(blocks[first]).compute()
    near = list(dask.persist(*[_closer(block, None, 0, candidates) for block in blocks]))
    for turn in range(ROUNDS):
        cost = sum(dask.compute(*[_cost(part) for part in near]))
        if cost == 0:
            break
        chance = OVERSAMPLING * count / cost
        draws = [_draw(*pair, chance, (seed, turn, place)) for place, pair in enumerate(zip(blocks, near))]
        points = np.concatenate(dask.compute(*draws))
        known = len(candidates)
        near = list(dask.persist(*[_closer(*pair, known, points) for pair in zip(blocks, near)]))
        candidates = np.concatenate([candidates, points])
    weights = sum(dask.compute(*[_weights(part, len(candidates)) for part in near]))
    if np.count_nonzero(weights) < count:  # few different data
        return _filled(blocks, candidates[weights > 0], count)
    return _clustered(candidates, weights, count, seed)


def _locate(sizes: Sequence[int], row: int) -> tuple[int, int]:
    """Partition and row in it of a row of the whole."""
    ends = np.cumsum(sizes)
    block = int(np.searchsorted(ends, row, side="right"))
    return block, row - int(ends[block] - sizes[block])


# Of each row of a partition (rows,): squared distance to its nearest candidate, and that one's number.
Near = tuple[Array, Array]


@dask.delayed
def _closer(block: Array, near: Near | None, known: int, points: Array) -> Near:
    """`near` with regard to the new candidates `points` (m, d), whose numbers begin at `known`."""
    squares, owner = near or (np.full(len(block), np.inf), np.zeros(len(block), np.int32))
    if len(points) == 0 or len(block) == 0:
        return squares, owner
    found, distance = _nearest(block, points)
    closer = distance < squares
    return np.where(closer, distance, squares), np.where(closer, found + known, owner).astype(np.int32)


@dask.delayed
def _cost(near: Near) -> float:
    return float(near[0].sum())


@dask.delayed
def _weights(near: Near, count: int) -> Array:
    return np.bincount(near[1], minlength=count)


@dask.delayed
def _draw(block: Array, near: Near, chance: float, seed: tuple[int, ...]) -> Array:
    return block[np.random.default_rng(seed).random(len(block)) < chance * near[0]]


def _filled(blocks: list[Delayed], candidates: Array, count: int) -> Array:
    rows = [dask.delayed(lambda block: block[:count])(block) for block in blocks]
    return np.concatenate([candidates, *dask.compute(*rows)])[:count]


def _clustered(candidates: Array, weights: Array, count: int, seed: int) -> Array:
    with threadpool_limits(1):  # sums of several threads have no fixed order
        model = KMeans(count, init="k-means++", n_init=1, max_iter=100, random_state=seed, algorithm="lloyd")
        return model.fit(candidates, sample_weight=weights).cluster_centers_


# ---- Session and map ----


def sample(data: Data, rows: int, seed: int = 1) -> Array:
    """(at most rows, d): data drawn without replacement, from every partition its share."""
    blocks = _blocks(data)
    sizes = np.array(dask.compute(*[dask.delayed(len)(block) for block in blocks]))
    random = np.random.default_rng(seed)
    shares = random.multivariate_hypergeometric(sizes, min(rows, int(sizes.sum())), method="marginals")
    return np.concatenate(dask.compute(*[
        _pick(block, int(share), (seed, place)) for place, (block, share) in enumerate(zip(blocks, shares))
    ]))  # fmt: skip


@dask.delayed
def _pick(block: Array, rows: int, seed: tuple[int, ...]) -> Array:
    return block[np.sort(np.random.default_rng(seed).choice(len(block), rows, replace=False))]


def session(found: Found | npt.ArrayLike, data: npt.ArrayLike, **settings: float | str) -> Session:
    """A session on a sample (m, d) of the data whose prototypes (p, d) are those found, exactly, linked by
    the rule of the settings. The sample decides about links, so it should hold 20 data a prototype or
    more."""
    prototypes = np.asarray(found.prototypes if isinstance(found, Found) else found, dtype=float)
    still = {"vgkeep_p": 1, "vgrepl_p": 0, "vgcent_p": 0}
    with Session(data, settings=settings) as other:
        usual = {key: other.snapshot.settings[key] for key in still}
        snapshot = other.quantize("cl", len(prototypes)).snapshot
    snapshot.prototypes = prototypes
    linked = Session.load(snapshot, data)
    schedule = linked.folder / "data.clp"
    write(
        schedule, np.zeros((1, 1))
    )  # one epoch of steps of length 0: the data find their prototypes, which stay
    linked.set(**still).quantize("cl", len(prototypes)).set(**usual)
    schedule.unlink()
    if isinstance(found, Found) and found.variables:
        linked.variables = found.variables
    return linked


def interpolate(data: Data, session: Session) -> Data:
    """Positions of all data in the map of a session: a Dask array (rows, q), or a data frame with the columns
    position_0 ... and the index of the data; nothing is computed yet. Every partition starts a session of its
    own, so partitions of 100,000 rows and more are worth while. A data frame has the columns of the session,
    in their order."""
    same_columns(data, "data", session.variables)
    text = io.BytesIO()
    write_snapshot(text, session.snapshot)
    state = dask.delayed((text.getvalue(), session.X, session.mapping))
    columns = session.images.shape[1]
    if isinstance(data, dd.DataFrame):
        names = [f"position_{k}" for k in range(columns)]
        return data.map_partitions(_place_frame, state, names, meta={name: float for name in names})
    rows = data.rechunk({1: -1})
    return rows.map_blocks(
        _place, state, dtype=float, chunks=(rows.chunks[0], (columns,)), meta=np.empty((0, 0))
    )


def _place(block: Array, state: tuple[bytes, Array, str]) -> Array:
    """(rows, q): positions of a block (rows, d)."""
    snapshot: Snapshot = read_snapshot(io.BytesIO(state[0]))
    if len(block) == 0:
        return np.empty((0, snapshot.images.shape[1]))
    with Session.load(snapshot, state[1]) as own:
        return own.interpolate(block, like=state[2])  # which a loaded session does not know


def _place_frame(part: Any, state: tuple[bytes, Array, str], names: list[str]) -> Any:
    import pandas as pd

    return pd.DataFrame(_place(np.asarray(part, dtype=float), state), columns=names, index=part.index)
