"""K-means over partitions: the same prototypes wherever they are computed, and none lost with a worker."""

import os
import signal
import threading
import time

import numpy as np
import pytest

dask = pytest.importorskip("dask")
da = pytest.importorskip("dask.array")
distributed = pytest.importorskip("distributed")

from qvtx import large

CENTRES = 10 * np.random.default_rng(5).normal(size=(8, 3))


def clusters(rows, seed=0):
    """(rows, 3): tight clusters round CENTRES."""
    random = np.random.default_rng(seed)
    return CENTRES[random.integers(8, size=rows)] + 0.1 * random.normal(size=(rows, 3))


def partitions(rows=4000, chunk=500):
    return da.from_array(clusters(rows), chunks=(chunk, 2))


@pytest.fixture(scope="module")
def alone():
    """K-means in this process."""
    with dask.config.set(scheduler="synchronous"):
        return large.kmeans(partitions(), 8)


@pytest.fixture
def client(tmp_path):
    """A client of two worker processes."""
    dask.config.set({"distributed.worker.use-file-locking": False, "temporary-directory": str(tmp_path)})
    with distributed.LocalCluster(2, threads_per_worker=1, dashboard_address=None) as cluster:
        with distributed.Client(cluster) as client:
            yield client


def test_planted_clusters_are_found(alone):
    order = [int(np.linalg.norm(alone.prototypes - centre, axis=1).argmin()) for centre in CENTRES]
    np.testing.assert_allclose(alone.prototypes[order], CENTRES, atol=0.05)
    assert alone.hits.sum() == 4000
    data = clusters(4000)
    squares = ((data[:, None] - alone.prototypes) ** 2).sum(axis=2).min(axis=1)
    assert alone.error == pytest.approx(0.5 * squares.mean(), rel=1e-9)
    assert all(np.diff(alone.history) <= 0)
    again = large.kmeans(partitions(), 8, epochs=0, start=alone.prototypes)
    assert again.history == alone.history[-1:]


def test_two_processes_find_what_one_finds(alone, client):
    found = large.kmeans(partitions(), 8)
    np.testing.assert_allclose(found.prototypes, alone.prototypes, rtol=0, atol=1e-9)
    np.testing.assert_array_equal(found.hits, alone.hits)


def slow(block):
    time.sleep(0.05)
    return block


def test_a_killed_worker_loses_nothing(alone, client):
    data = partitions().map_blocks(slow, meta=np.empty((0, 0))).persist()
    distributed.wait(data)
    victim = list(client.run(os.getpid).values())[0]
    killer = threading.Timer(0.3, os.kill, (victim, signal.SIGKILL))
    killer.start()
    found = large.kmeans(data, 8)
    assert not killer.is_alive()
    assert victim not in client.run(os.getpid).values()
    np.testing.assert_allclose(found.prototypes, alone.prototypes, rtol=0, atol=1e-9)


@pytest.mark.parametrize(
    "rows, count, complaint",
    [([[1.0, np.nan]] * 5, 2, "not finite"), ([[1.0, 2.0]] * 3, 4, "3 data are too few for 4")],
)
def test_unfit_data_are_refused(rows, count, complaint):
    with pytest.raises(ValueError, match=complaint):
        large.kmeans(da.from_array(np.array(rows), chunks=2), count)


def test_few_different_data_are_enough():
    found = large.kmeans(da.from_array(np.repeat([[0.0], [1.0]], 20, axis=0), chunks=7), 2)
    assert sorted(found.prototypes.ravel()) == [0, 1]


def test_csv_files_are_partitions(tmp_path, alone):
    dd = pytest.importorskip("dask.dataframe")
    for part, rows in enumerate(np.split(clusters(4000), 4)):
        np.savetxt(tmp_path / f"{part}.csv", rows, delimiter=",", header="x,y,z", comments="", fmt="%.17g")
    data = large.open(str(tmp_path / "*.csv"))
    assert isinstance(data, dd.DataFrame)
    found = large.kmeans(data, 8)
    assert found.error == pytest.approx(alone.error, rel=1e-6)
    with pytest.raises(FileNotFoundError):
        large.open(str(tmp_path / "*.tsv"))
    with large.session(found, large.sample(data, 200)).map("md", 2) as session:
        with pytest.raises(ValueError, match="columns"):
            large.interpolate(data[["z", "y", "x"]], session)


@pytest.mark.parametrize("method", ["cc", "mm"])
def test_the_map_of_the_prototypes_takes_all_data(program, alone, method):
    data = partitions()
    picked = large.sample(data, 400)
    assert len(np.unique(picked, axis=0)) == 400
    with large.session(alone, picked) as session:
        np.testing.assert_array_equal(session.prototypes, alone.prototypes)
        assert session.links.nnz > 0
        session.map(method, 2)
        places = large.interpolate(data, session)
        assert places.shape == (4000, 2)
        whole = session.interpolate(clusters(4000))
        np.testing.assert_array_equal(places.compute(scheduler="synchronous"), whole)
        frame = large.interpolate(data.to_dask_dataframe(columns=list("xyz")), session)
        np.testing.assert_array_equal(frame.compute(scheduler="synchronous").to_numpy(), whole)
