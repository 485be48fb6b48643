"""Pictures of what a session saved, on matplotlib axes: ``qvtx.plot.map("results/iris")``, or ``qvtx-plot
NAME``.

Every function takes the name that `sm` saved under, a `qvtx.Session` or a `Saved` first, and the axes to draw
on (new ones without). Colours can be told apart with colour-blind eyes: classes in the ten of Petroff (2021),
numbers from blue to yellow (cividis), gain and loss in blue and red beside grey. """

from __future__ import annotations

import argparse
import sys
from pathlib import Path
from typing import Any, Callable, NamedTuple

import matplotlib
import numpy as np
import numpy.typing as npt
from matplotlib import pyplot
from matplotlib.axes import Axes
from matplotlib.axis import Axis
from matplotlib.collections import LineCollection, PatchCollection
from matplotlib.colors import ListedColormap, LogNorm, TwoSlopeNorm
from matplotlib.figure import Figure
from matplotlib.patches import RegularPolygon
from matplotlib.ticker import LogLocator, NullFormatter
from scipy.sparse.csgraph import dijkstra
from scipy.spatial.distance import cdist

from qvtx.dialogue import listed
from qvtx.saved import CLASSES, Saved, beside

Array = npt.NDArray[Any]

MARKS = "osD^vP*X"  # the next ten classes differ by their marks
NUMBERS = "cividis"
LEAST, MOST = 12.0, 110.0  # areas of the smallest and largest prototype, in square points
NARROWEST = 0.4  # shorter side of a map's axes, in longer sides
CONFIDENCE = 0.95
MOST_NAMED = 40  # classes in a legend
LONGEST = 24  # characters of a class in it
PANELS = 24  # component planes in one picture


class Colouring(NamedTuple):
    """Numbers that colour the prototypes (p,) and the data (n,) or None; the names of classes, None for a
    scale."""

    title: str
    prototypes: Array
    data: Array | None
    classes: dict[int, str] | None


def colouring(saved: Saved, colour: str | None = None) -> Colouring:
    """What `colour` names: "label", "hits", "component", "error" (root mean squared distance of a prototype's
    data from it) or a variable; for None the label, else the hits. ValueError when there is no such thing."""
    codes = saved.codes
    if colour is None:
        colour = "hits" if saved.labels is None else "label"
    if colour == "label" and saved.labels is not None:
        if not saved.classified:
            return Colouring("label", _means(saved, saved.labels), saved.labels, None)
        classes = dict(saved.classes(saved.labels))
        return Colouring(saved.names.get("label") or "label", saved.majority(), saved.labels, classes)
    if colour == "component":
        classes = {int(number): str(number) for number in np.unique(saved.components)}
        return Colouring("component", saved.components, saved.components[codes], classes)
    if colour == "hits":
        return Colouring("hits", saved.hits, None, None)
    if colour == "error" and saved.data is not None:
        squares = ((saved.data - saved.prototypes[codes]) ** 2).sum(axis=1)
        return Colouring("radius of the prototype", np.sqrt(_means(saved, squares)), None, None)
    if colour in saved.variables:
        k = saved.variables.index(colour)
        data = None if saved.data is None else saved.original(saved.data)[:, k]
        return Colouring(colour, saved.original(saved.prototypes)[:, k], data, None)
    raise ValueError(
        f"nothing to colour by is called {colour!r}: label, hits, component, error, or a variable: "
        + listed(saved.variables)
    )


def _means(saved: Saved, values: Array) -> Array:
    """(p,): mean of a number (n,) over each prototype's data; NaN without data."""
    with np.errstate(invalid="ignore"):
        return np.bincount(saved.codes[saved.used], values[saved.used], len(saved.prototypes)) / saved.hits


# ---- The map ----


def map(
    source: Any,
    colour: str | None = None,
    ax: Axes | None = None,
    axes: tuple[int, int] = (0, 1),
    data: bool = True,
    links: bool = True,
) -> Axes:
    """Prototypes in the map, their areas by their data, with their links, and the interpolated data as fine
    dots. `colour`: see `colouring`; `axes`: which two coordinates of the map."""
    saved = Saved.of(source)
    points = _plane(saved, _images(saved), axes)
    shown = colouring(saved, colour)
    ax = ax or _axes(wider=_legend_width(shown))
    if links and saved.links is not None:
        ax.add_collection(LineCollection(points[saved.links.ends], colors="0.6", linewidths=0.7, zorder=1))
    if data and saved.positions is not None:
        places = _plane(saved, saved.positions, axes)
        colours = "0.75" if shown.data is None else shown.data
        _scatter(ax, places, colours, shown, s=5, alpha=0.55, linewidths=0, zorder=2)
    hits = saved.hits
    crowd = min(1.0, 60 / len(points))
    areas = crowd * (LEAST + (MOST - LEAST) * hits / max(1, hits.max()))
    drawn = _scatter(
        ax, points, shown.prototypes, shown, s=areas, edgecolors="0.15", linewidths=0.5, zorder=3
    )
    _as_map(ax, saved, axes)
    _explain(ax, drawn, shown)
    ax.set_title(f"{_title(saved)}: {len(points)} prototypes of {len(saved.codes)} data")
    return ax


def _images(saved: Saved) -> Array:
    if saved.images is None:
        raise ValueError(f"{saved.name}: no map was saved")
    return saved.images


def _plane(saved: Saved, table: Array, axes: tuple[int, int]) -> Array:
    """(rows, 2): two coordinates; a map of one dimension lies on a line."""
    if table.shape[1] == 1:
        return np.column_stack([table[:, 0], np.zeros(len(table))])
    return table[:, list(axes)]


def _scatter(ax: Axes, points: Array, values: Any, shown: Colouring, **style: Any) -> Any:
    """Points coloured by values; classes beyond the tenth by their marks, too. Returns what a colour bar is
    for."""
    if isinstance(values, str):
        return ax.scatter(*points.T, color=values, **style)
    if shown.classes is None:
        return ax.scatter(*points.T, c=values, cmap=NUMBERS, **style)
    sizes = np.broadcast_to(style.pop("s"), len(points))
    for place, label in enumerate(shown.classes):
        rows = values == label
        ax.scatter(*points[rows].T, s=sizes[rows], color=CLASSES[place % 10], marker=_mark(place), **style)
    rest = ~np.isin(values, list(shown.classes))
    return ax.scatter(*points[rest].T, s=sizes[rest], facecolors="none", **{"edgecolors": "0.5", **style})


def _mark(place: int) -> str:
    return MARKS[place // 10 % len(MARKS)]


def _explain(ax: Axes, drawn: Any, shown: Colouring) -> None:
    """A colour bar, or a legend that names the classes."""
    if shown.classes is None:
        ax.figure.colorbar(drawn, ax=ax, label=shown.title, shrink=_bar_share(ax))
    elif len(shown.classes) > 1:
        names = _legend(shown.classes)
        marks = [
            ax.scatter([], [], color=CLASSES[place % 10], marker=_mark(place), label=name)
            for place, name in enumerate(names[:MOST_NAMED])
        ]
        marks += [ax.scatter([], [], alpha=0, label=name) for name in names[MOST_NAMED:]]
        ax.legend(
            handles=marks,
            title=shown.title,
            loc="center left",
            bbox_to_anchor=(1.0, 0.5),
            frameon=False,
            ncols=_legend_columns(names),
        )


def _legend(classes: dict[int, str]) -> list[str]:
    """The names in a legend, the long ones cut; more than it holds are counted in its last line."""
    names = [name if len(name) <= LONGEST else name[: LONGEST - 1] + "…" for name in classes.values()]
    more = len(names) - MOST_NAMED
    return names if more <= 0 else [*names[:MOST_NAMED], f"and {more} more"]


def _legend_columns(names: list[str]) -> int:
    return 1 + len(names) // 22


def _legend_width(shown: Colouring) -> float:
    """Inches that a legend wants beyond those that a colour bar takes."""
    names = _legend(shown.classes or {})
    columns = _legend_columns(names)
    return max(0.0, columns * (0.6 + 0.08 * max((len(name) for name in names), default=0)) - 1.2)


def _axes(height: float = 6, wider: float = 0) -> Axes:
    return pyplot.subplots(figsize=(7 + wider, height), layout="constrained")[1]


def _bar_share(ax: Axes) -> float:
    """Length of a colour bar beside axes of equal units, as a share of the room, so that it is no longer than
    they are high."""
    wide, high = np.ptp(ax.get_xlim()), np.ptp(ax.get_ylim())
    return float(min(0.8, high / wide))


def _as_map(ax: Axes, saved: Saved, axes: tuple[int, int] = (0, 1)) -> None:
    """Equal axes; a narrow map is given some room so that it stays legible."""
    ax.set_aspect("equal", adjustable="box")
    ax.autoscale_view()
    ax.locator_params(nbins=7)
    spans = [np.ptp(ax.get_xlim()), np.ptp(ax.get_ylim())]
    for limits, set_limits, span in zip((ax.get_xlim(), ax.get_ylim()), (ax.set_xlim, ax.set_ylim), spans):
        room = max(0.0, NARROWEST * max(spans) - span) / 2
        set_limits(limits[0] - room, limits[1] + room)
    ax.set_xlabel(f"map, axis {axes[0]}")
    if _images(saved).shape[1] > 1:
        ax.set_ylabel(f"map, axis {axes[1]}")
    else:
        ax.set_yticks([])


def _title(saved: Saved) -> str:
    return saved.name.name


def links(source: Any, ax: Axes | None = None, axes: tuple[int, int] = (0, 1)) -> Axes:
    """The links in the map, coloured by their length there against their length in the data: red links are
    stretched (false gaps), blue ones squeezed (false neighbours), grey ones true. A map of another scale than
    the data's (Isotop, the grid of a self-organizing map) is measured by its median link."""
    saved = Saved.of(source)
    if saved.links is None or not len(saved.links):
        raise ValueError(f"{saved.name}: no links were saved")
    points = _plane(saved, _images(saved), axes)
    ends = saved.links.ends
    lengths = np.linalg.norm(_images(saved)[ends[:, 0]] - _images(saved)[ends[:, 1]], axis=1)
    ratio = np.log2(np.maximum(lengths, 1e-12) / np.maximum(saved.links.length, 1e-12))
    median = np.median(ratio)
    unit = f", over its median {2**median:.2g}" if abs(median) > 1 else ""
    ratio = (ratio - median if unit else ratio).clip(-2, 2)
    order = np.argsort(np.abs(ratio), kind="stable")  # the worst on top
    ax = ax or _axes()
    colours = ListedColormap(_diverging())
    lines = LineCollection(
        points[ends[order]], array=ratio[order], cmap=colours, norm=TwoSlopeNorm(0, -2, 2), linewidths=1.6
    )
    ax.add_collection(lines)
    ax.plot(*points.T, ".", color="0.25", markersize=2.5)
    _as_map(ax, saved, axes)
    label = "length in the map / length in the data" + unit
    bar = ax.figure.colorbar(lines, ax=ax, shrink=_bar_share(ax), label=label)
    bar.set_ticks([-2, -1, 0, 1, 2], labels=["1/4 or less", "1/2", "1", "2", "4 or more"])
    ax.set_title(f"{_title(saved)}: links, blue squeezed, red stretched")
    return ax


def _diverging() -> Array:
    """Blue, grey, red: "coolwarm" with a middle that is seen on white paper."""
    colours = matplotlib.colormaps["coolwarm"](np.linspace(0, 1, 255))
    colours[:, :3] *= 0.93
    return colours


# ---- Distances ----

GRAPHS = {
    "s": ("distance through the graph", "distance in space"),
    "e": ("distance in the map", "distance in space"),
    "c": ("distance in the map", "distance through the graph"),
}


def shepard(source: Any, graph: str | None = None, ax: Axes | None = None) -> Axes:
    """All pairs of prototypes by two distances (a dy-dx picture): the GoD graph "s", "e" or "c" that `sg`,
    `eg`, `cg` or `ag` made and `sm` saved; for None the curvilinear one if it is there, else the Euclidean
    one. On the line both distances agree; above it the map has lost distance, below it has gained some."""
    saved = Saved.of(source)
    graph = graph or next((letter for letter in "ces" if letter in saved.gods), "c")
    if graph not in saved.gods:
        raise ValueError(
            f"{saved.name}: no GoD graph {graph!r} was saved (ag, or rate() of a session, makes it)"
        )
    counts, statistics = saved.gods[graph]
    if not counts.sum():
        raise ValueError(f"{saved.name}: no two prototypes are apart")
    width = statistics[-1, 0] / (len(statistics) - 0.5)  # the rows hold the centres of the bins
    x, y = (width * np.arange(size + 1) for size in counts.shape)
    ax = ax or _axes()
    shades = ax.pcolormesh(
        x,
        y,
        np.ma.masked_equal(counts.T, 0),
        norm=LogNorm(1, max(2, counts.max())),
        cmap=ListedColormap(matplotlib.colormaps["Blues"](np.linspace(0.25, 1, 200))),
        rasterized=True,
    )
    end = max(x[-1], y[-1])
    ax.plot([0, end], [0, end], color="0.2", linewidth=0.8, zorder=0.5)
    ax.set(aspect="equal", xlim=(0, x[-1]), ylim=(0, y[-1]), xlabel=GRAPHS[graph][0], ylabel=GRAPHS[graph][1])
    bar = ax.figure.colorbar(shades, ax=ax, label="pairs of prototypes", shrink=_bar_share(ax))
    _whole_numbers(bar.ax.yaxis)
    ax.set_title(f"{_title(saved)}: {counts.sum()} pairs, mean ratio y / x = {statistics[-1, 2]:.3f}")
    return ax


def rank_quality(source: Any) -> Array:
    """(p - 2, 2 or 3): neighbourhood size K, the share of K-neighbourhoods of the prototypes that the map
    keeps beyond chance, R_NX(K) (Lee and others 2015), against space and, with links, against the graph. What
    `sm` saved as .rnk, else computed, of order p^2 in memory."""
    saved = Saved.of(source)
    if saved.rank is not None:
        return saved.rank
    images = _rank_table(cdist(_images(saved), _images(saved)))
    tables = [_rank_table(cdist(saved.prototypes, saved.prototypes))]
    if saved.links is not None and len(saved.links):
        tables.append(_rank_table(dijkstra(saved.links.graph(len(saved.prototypes)), directed=False)))
    n = len(images)
    if n < 4:
        raise ValueError(f"{saved.name}: {n} prototypes have no neighbourhoods to compare")
    sizes = np.arange(1, n - 1)
    columns: list[Array] = [sizes]
    for table in tables:
        worst = np.bincount(np.maximum(table, images).ravel(), minlength=n)[1:]
        kept = np.cumsum(worst)[: n - 2] / (n * sizes)
        columns.append(((n - 1) * kept - sizes) / (n - 1 - sizes))
    return np.column_stack(columns)


def _rank_table(distances: Array) -> Array:
    """(p, p): place of column j among the others by distance from row i, 1 the nearest; 0 for i itself."""
    np.fill_diagonal(distances, -1)
    order = np.argsort(distances, axis=1, kind="stable")
    table = np.empty_like(order)
    np.put_along_axis(table, order, np.arange(len(order))[None, :], axis=1)
    return table


def rank(source: Any, ax: Axes | None = None) -> Axes:
    """Quality of the map against the size K of the neighbourhood: 1 keeps all neighbours, 0 is chance. The
    number in the legend is the mean over K weighted with 1 / K."""
    saved = Saved.of(source)
    table = rank_quality(saved)
    ax = ax or _axes(4.5)
    for column, (name, colour, style) in enumerate(
        (("space", CLASSES[0], "-"), ("graph", CLASSES[6], "--")), 1
    ):
        if column < table.shape[1]:
            known = np.isfinite(table[:, column])
            mean = np.average(table[known, column], weights=1 / table[known, 0])
            marker = "." if len(table) < 10 else ""
            told = f"against the {name}: {mean:.3f}"
            ax.plot(table[:, 0], table[:, column], style, marker=marker, color=colour, label=told)
    ax.axhline(0, color="0.6", linewidth=0.8)
    ax.set(
        xscale="log",
        xlim=(0.9, 1.1 * max(2, len(table))),
        ylim=(min(-0.02, np.nanmin(table[:, 1:])), 1.02),
        xlabel="neighbours K",
        ylabel="neighbours kept beyond chance, R_NX(K)",
    )
    _whole_numbers(ax.xaxis)
    ax.legend(frameon=False)
    ax.set_title(f"{_title(saved)}: rank quality (1: all kept, 0: chance)")
    return ax


def _whole_numbers(axis: Axis) -> None:
    """Ticks 1, 2, 5, 10, ... of a logarithmic axis of counts."""
    axis.set_major_locator(LogLocator(subs=(1, 2, 5)))
    axis.set_major_formatter("{x:.0f}")
    axis.set_minor_formatter(NullFormatter())


# ---- Local dimension ----


def local_profile(source: Any) -> Array:
    """(5, d + 1): share of the variance in the first c = 0 ... d principal components of a region (the data
    of a prototype and of those linked with it); rows: smallest, mean of the regions below the mean, mean,
    mean of those above, largest. Regions weigh by their data; one with no more data than variables, or
    without variance, counts as explained by no component. Needs data and links."""
    saved = Saved.of(source)
    if saved.data is None or saved.links is None:
        raise ValueError(f"{saved.name}: a local PCA needs the data and links")
    near = saved.links.graph(len(saved.prototypes))
    shares, weights = [], []
    for prototype in range(len(saved.prototypes)):
        members = [prototype, *near.indices[near.indptr[prototype] : near.indptr[prototype + 1]]]
        region = saved.data[np.isin(saved.codes, members)]
        if len(region):
            shares.append(_explained(region))
            weights.append(len(region))
    table, weight = np.array(shares), np.array(weights, float)
    mean = np.average(table, axis=0, weights=weight)
    rows = [table.min(axis=0), mean, mean, mean, table.max(axis=0)]
    for row, side in ((1, table < mean), (3, table > mean)):
        part = weight[:, None] * side
        rows[row] = np.where(
            part.any(axis=0), (part * table).sum(axis=0) / np.maximum(part.sum(axis=0), 1e-300), mean
        )
    return np.array(rows)


def _explained(region: Array) -> Array:
    """(d + 1,): cumulated shares of the variance of a region (rows, d)."""
    columns = region.shape[1]
    spread = np.linalg.svd(region - region.mean(axis=0), compute_uv=False) ** 2
    if len(region) <= columns or spread.sum() == 0:
        return np.ones(columns + 1)
    return np.concatenate([[0.0], np.cumsum(spread) / spread.sum()])


def profile(source: Any, ax: Axes | None = None) -> Axes:
    """How many dimensions the data have near every prototype: the share of the variance that the first
    components of a local PCA explain, over all regions, and how many reach 95 % on average."""
    saved = Saved.of(source)
    least, lower, mean, upper, most = local_profile(saved)
    if mean[0] >= CONFIDENCE:
        raise ValueError(f"{saved.name}: too few data round the prototypes for a local PCA, or no variance")
    components = np.arange(len(mean))
    ax = ax or _axes(4.5)
    ax.fill_between(components, least, most, color=CLASSES[0], alpha=0.18, linewidth=0, label="all regions")
    ax.fill_between(
        components,
        lower,
        upper,
        color=CLASSES[0],
        alpha=0.35,
        linewidth=0,
        label="means below and above the mean",
    )
    ax.plot(components, mean, "o-", color=CLASSES[0], markersize=4, label="mean")
    ax.axhline(CONFIDENCE, color="0.4", linewidth=0.8, linestyle="--")
    if mean[0] > 0:
        ax.plot([], [], " ", label=f"{mean[0]:.0%} of the data: regions too small to tell")
    dimension = int(np.argmax(mean >= CONFIDENCE))
    ax.annotate(
        f"{dimension} for {CONFIDENCE:.0%}",
        (dimension, mean[dimension]),
        (8, -14),
        textcoords="offset points",
    )
    ax.plot(dimension, mean[dimension], "o", color=CLASSES[2])
    last = int(np.argmax(mean >= 0.9999)) + 1  # beyond, nothing is left to explain
    ax.set(xlim=(0, max(last, 2)), ylim=(0, 1.02), xlabel="principal components", ylabel="explained variance")
    ax.xaxis.get_major_locator().set_params(integer=True)
    ax.legend(frameon=False, loc="lower right")
    ax.set_title(f"{_title(saved)}: local PCA, dimension {dimension} of {len(mean) - 1}")
    return ax


# ---- Self-organizing maps ----


def grid(source: Any) -> Figure:
    """The grid of a self-organizing map: the U-matrix (mean distance of each node from its grid neighbours;
    ridges part clusters), the hits, and one plane a variable, at most 22 of them, in units of the table."""
    saved = Saved.of(source)
    if saved.grid is None or saved.links is None:
        raise ValueError(f"{saved.name}: no grid was saved (om makes one)")
    planes = [("U-matrix", _ridges(saved)), ("hits", saved.hits)]
    planes += list(zip(saved.variables, saved.original(saved.prototypes).T))
    width = min(4, len(planes[:PANELS]))
    height = -(-len(planes[:PANELS]) // width)
    span = np.ptp(saved.grid, axis=0) + 1
    figure, panels = pyplot.subplots(
        height,
        width,
        squeeze=False,
        layout="constrained",
        figsize=(3.4 * width, height * (0.7 + 2.9 * span[1] / span[0])),
    )
    for ax in panels.flat:
        ax.set_axis_off()
    for ax, (name, values) in zip(panels.flat, planes):
        figure.colorbar(_nodes(ax, saved, values), ax=ax, shrink=0.8, pad=0.02)
        ax.set_title(name, fontsize="medium")
    more = f", {len(planes) - PANELS} variables more" if len(planes) > PANELS else ""
    figure.suptitle(f"{_title(saved)}: {len(saved.grid)} nodes{more}")
    return figure


def _ridges(saved: Saved) -> Array:
    """(p,): mean length of the links of each node; NaN without links."""
    assert saved.links is not None
    ends, lengths = saved.links.ends.T.ravel(), np.tile(saved.links.length, 2)
    with np.errstate(invalid="ignore"):
        return np.bincount(ends, lengths, len(saved.prototypes)) / np.bincount(
            ends, minlength=len(saved.prototypes)
        )


def _nodes(ax: Axes, saved: Saved, values: Array) -> PatchCollection:
    assert saved.grid is not None
    corners, radius, turn = (6, 1 / np.sqrt(3), 0) if saved.hexagonal else (4, 1 / np.sqrt(2), np.pi / 4)
    cells = [RegularPolygon(node, corners, radius=radius, orientation=turn) for node in saved.grid]
    patches = PatchCollection(
        cells, array=np.ma.masked_invalid(values), cmap=NUMBERS, linewidths=0.2, edgecolors="face"
    )
    ax.add_collection(patches)
    ax.set_aspect("equal")
    ax.autoscale_view()
    return patches


# ---- Shell ----

PICTURES: dict[str, Callable[..., Any]] = {
    "map": map,
    "links": links,
    "shepard": shepard,
    "profile": profile,
    "rank": rank,
    "grid": grid,
}


def save(
    name: str,
    source: Saved,
    pictures: list[str],
    colour: str | None = None,
    kind: str = "png",
    dpi: int = 150,
) -> tuple[list[Path], list[str]]:
    """Draws pictures to NAME-map.png and so on; returns the files, and why the others could not be drawn."""
    files, refused = [], []
    for picture in pictures:
        pyplot.close("all")
        try:
            drawn = map(source, colour) if picture == "map" else PICTURES[picture](source)
        except ValueError as error:
            refused.append(f"{picture}: {error}")
            continue
        files.append(beside(name, f"-{picture}.{kind}"))
        (drawn if isinstance(drawn, Figure) else drawn.figure).savefig(
            files[-1], dpi=dpi, bbox_inches="tight"
        )
    return files, refused


def main(arguments: list[str] | None = None) -> int:
    """The command line; returns the exit status."""
    parser = argparse.ArgumentParser(prog="qvtx-plot", description="Pictures of what qvtx saved under NAME.")
    parser.add_argument("name", help="the name given to sm")
    parser.add_argument("pictures", nargs="*", metavar="PICTURE", help=f"{', '.join(PICTURES)}; all without")
    parser.add_argument("--data", metavar="NAME", help="name of the data, when it is another one")
    parser.add_argument("--labels", metavar="FILE", help="the labels, when they are not beside the data")
    parser.add_argument("--colour", metavar="WHAT", help="label, hits, component, error or a variable")
    parser.add_argument("--format", choices=("png", "pdf", "svg"), default="png")
    given = parser.parse_args(arguments)
    matplotlib.use("Agg")
    if unknown := [picture for picture in given.pictures if picture not in PICTURES]:
        parser.error(f"no picture {unknown[0]!r}: {', '.join(PICTURES)}")
    try:
        saved = Saved.of(given.name, given.data, given.labels)
        colouring(saved, given.colour)
        files, refused = save(given.name, saved, given.pictures or list(PICTURES), given.colour, given.format)
    except (OSError, ValueError) as error:
        print(f"qvtx-plot: {error}", file=sys.stderr)
        return 1
    print(*files, sep="\n")
    for line in refused:
        print(f"  not drawn: {line}", file=sys.stderr)
    return 0 if files and not (given.pictures and refused) else 1


if __name__ == "__main__":
    sys.exit(main())
