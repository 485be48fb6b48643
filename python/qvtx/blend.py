"""Samples at any positions of a map: the rule by which the program reconstructs what it has interpolated.

The program reconstructs positions that it found itself. For positions that a person chooses the same rule is
written here with numpy: a modified Shepard method on one affine map per prototype
(docs/methods/interpolation.md).
"""

from __future__ import annotations

import numpy as np

from qvtx.matrices import Array
from qvtx.snapshot import Links

RIDGE = 0.01  # share of the mean diagonal that keeps the fits solvable
TRUSTED_PER_AXIS = 4  # neighbours in rank that trust each other, per dimension of the map
CHUNK = 1 << 22  # distances held at a time


def nearest(points: Array, queries: Array, count: int, exponent: float = 2) -> tuple[Array, Array]:
    """The `count` nearest points (n, d) of each query (m, d): row numbers and distances, both (m, count),
    nearest first, ties by the lower number."""
    rows = [np.empty((0, count), np.int64)]
    found = [np.empty((0, count))]
    step = max(1, CHUNK // max(1, points.size))
    for first in range(0, len(queries), step):
        difference = queries[first : first + step, None, :] - points[None, :, :]
        distances = np.linalg.norm(difference, ord=np.inf if exponent >= 8 else exponent, axis=2)
        order = np.argsort(distances, axis=1, kind="stable")[:, :count]
        rows.append(order)
        found.append(np.take_along_axis(distances, order, axis=1))
    return np.concatenate(rows), np.concatenate(found)


class Reconstruction:
    """The affine maps of the prototypes (p, d) from the map, where their images (p, q) lie, into the data.

    `links` are those of the prototypes; None takes the 2 (q + 1) nearest prototypes instead. `exponent` is
    the Minkowski exponent of the distances in the data.
    """

    def __init__(self, prototypes: Array, images: Array, links: Links | None, exponent: float = 2) -> None:
        self.prototypes, self.images = prototypes, images
        reach = min(TRUSTED_PER_AXIS * images.shape[1], len(images) - 1)
        self._near_data = self._trusted(prototypes, reach, exponent)
        near_map = self._trusted(images, reach, 2)
        self._graph = self._neighbours(links, exponent)
        self.maps = np.zeros((len(images), prototypes.shape[1], images.shape[1]))
        self.reach = np.zeros(len(images))
        for i in range(len(images)):
            self._fit(i, near_map)

    @staticmethod
    def _trusted(points: Array, reach: int, exponent: float) -> Array:
        """(p, p): whether one row is among the nearest of the other; a row is not its own neighbour."""
        rows, _ = nearest(points, points, min(reach + 1, len(points)), exponent)
        near = np.zeros((len(points), len(points)), bool)
        for i, row in enumerate(rows):
            near[i, row[row != i][:reach]] = True
        return near | near.T | np.eye(len(points), dtype=bool)

    def _neighbours(self, links: Links | None, exponent: float) -> list[Array]:
        if links is None:
            count = min(2 * (self.images.shape[1] + 1), len(self.images) - 1)
            rows, _ = nearest(self.prototypes, self.prototypes, count + 1, exponent)
            return [row[row != i][:count] for i, row in enumerate(rows)]
        ends = np.concatenate([links.ends, links.ends[:, ::-1]])
        ends = ends[np.argsort(ends[:, 0], kind="stable")]
        return np.split(ends[:, 1], np.searchsorted(ends[:, 0], np.arange(1, len(self.images))))

    def _fit(self, i: int, near_map: Array) -> None:
        images, prototypes = self.images, self.prototypes
        near = {j for j in self._graph[i] if j != i and near_map[i, j]}
        if len(near) < images.shape[1] + 1:
            near |= {j for r in list(near) for j in self._graph[r] if j != i and near_map[i, j]}
        rows = np.array([j for j in sorted(near) if (images[j] != images[i]).any()], dtype=np.int64)
        if rows.size == 0:
            return
        a, c = images[rows] - images[i], prototypes[rows] - prototypes[i]
        self.reach[i] = np.linalg.norm(c, axis=1).max()
        unit = np.linalg.norm(a, axis=1, keepdims=True)
        a, c = a / unit, c / unit
        gram = a.T @ a
        gram += RIDGE * np.trace(gram) / len(gram) * np.eye(len(gram))
        self.maps[i] = np.linalg.solve(gram, a.T @ c).T

    def samples(self, positions: Array) -> Array:
        """(m, d): the samples at positions (m, q); the prototype itself at the image of one, NaN where a
        position is not finite."""
        count = min(self.images.shape[1] + 1, len(self.images) - 1)
        result = np.full((len(positions), self.prototypes.shape[1]), np.nan)
        finite = np.flatnonzero(np.isfinite(positions).all(axis=1))
        rows, distances = nearest(self.images, positions[finite], count + 1)
        for k, i in enumerate(finite):
            if count == 0 or distances[k, 0] == 0:
                result[i] = self.prototypes[rows[k, 0]]
            else:
                result[i] = self._mix(positions[i], rows[k, :count], distances[k])
        return result

    def _mix(self, position: Array, rows: Array, distances: Array) -> Array:
        at, end = distances[:-1], distances[-1]
        weights = ((end - at) / end * (at[0] / at)) ** 2 * self._near_data[rows[0], rows]
        weights = weights / weights.sum() if weights.sum() > 0 else np.eye(len(rows))[0]
        steps = np.einsum("kdq,kq->kd", self.maps[rows], position - self.images[rows])
        taken = np.linalg.norm(steps, axis=1)
        cut = np.divide(self.reach[rows], taken, out=np.ones(len(rows)), where=taken > self.reach[rows])
        return weights @ (self.prototypes[rows] + cut[:, None] * steps)
