"""Prototypes of data in several parts, a map of them, and the place of every row on it."""

import dask
import dask.array as da
import numpy as np

import qvtx.large

dask.config.set(scheduler="threads")  # a distributed.Client takes the same calls to more machines

random = np.random.default_rng(1)
turn, height = 1.5 * np.pi * (1 + 2 * random.random(40_000)), 21 * random.random(40_000)
roll = np.c_[turn * np.cos(turn), height, turn * np.sin(turn)]
data = da.from_array(roll, chunks=(10_000, 3))  # as if no machine held more than a quarter

found = qvtx.large.kmeans(data, 150)
print(f"{len(found.prototypes)} prototypes after {len(found.history)} epochs, error {found.error:.3f}")

with qvtx.large.session(found, qvtx.large.sample(data, 5_000)).map("cc", 2) as session:
    print(f"stress {session.stress}, lost neighbours {session.rate().lost_neighbours:.1%}")
    places = qvtx.large.interpolate(data, session).compute()

# The roll lies flat: one direction of the map is the length along the roll.
line = np.c_[places, np.ones(len(places))]
along = (turn * np.sqrt(1 + turn**2) + np.arcsinh(turn)) / 2
rest = along - line @ np.linalg.lstsq(line, along, rcond=None)[0]
print(f"{1 - rest.var() / along.var():.1%} of the variance along the roll is explained")
