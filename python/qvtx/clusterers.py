"""Quantizations as scikit-learn clusterers."""

from __future__ import annotations

from typing import Any

import numpy as np
import numpy.typing as npt
from sklearn.base import ClusterMixin
from sklearn.utils.validation import check_is_fitted

from qvtx.blend import nearest
from qvtx.estimator import Estimator, Pair, Settings, first_and_last
from qvtx.matrices import Array
from qvtx.session import Session


class _Clusterer(ClusterMixin, Estimator):
    """Attributes after `fit`:

    cluster_centers_ : (n_clusters, n_features) float64, the prototypes
    labels_ : (n_samples,) int64, the nearest prototype of each sample
    graph_ : scipy.sparse.csr_array (n_clusters, n_clusters), lengths of the links of the prototypes
    n_iter_ : int, epochs or iterations
    """

    _drops_empty = True  # a cluster without samples is none

    def fit(self, X: npt.ArrayLike, y: Any = None) -> Any:
        """Quantizes X (n_samples, n_features)."""
        X = self._rows(X)
        count = self._least_samples()
        if len(X) < count:
            raise ValueError(f"n_samples={len(X)} should be >= {count}")
        self.n_iter_ = 1
        with self._session(X) as session:
            self._quantize(session)
            if self._drops_empty and (session.hits == 0).any():
                session.remove("lost")
            self._take(session)
        return self

    def _least_samples(self) -> int:
        return int(getattr(self, "n_clusters", 1))

    def _quantize(self, session: Session) -> None:
        raise NotImplementedError

    def _take(self, session: Session) -> None:
        self.cluster_centers_ = session.prototypes
        self.labels_ = self._nearest(session.X)
        self.graph_ = session.links

    def predict(self, X: npt.ArrayLike) -> Array:
        """(n_samples,) int64: the nearest prototype of each row of X."""
        check_is_fitted(self)
        X = self._rows(X, reset=False)
        return self._nearest(X)

    def _nearest(self, X: Array) -> Array:
        return nearest(self.cluster_centers_, X, 1, self.p)[0][:, 0]


class NeuralGas(_Clusterer):
    """Neural gas (`ng`).

    n_clusters : number of prototypes
    max_iter : epochs, at least 2 (`vngepoq`)
    learning_rate : first and last step size (`vngaini`, `vngafin`)
    neighborhood : first and last width, in ranks (`vnglini`, `vnglfin`)
    """

    __doc__ += _Clusterer.__doc__ or ""

    def __init__(
        self,
        n_clusters: int = 8,
        *,
        max_iter: int | None = None,
        learning_rate: Pair | None = None,
        neighborhood: Pair | None = None,
        p: float = 2,
        settings: Settings | None = None,
        random_state: Any = 0,
    ) -> None:
        self.n_clusters = n_clusters
        self.max_iter = max_iter
        self.learning_rate = learning_rate
        self.neighborhood = neighborhood
        self.p = p
        self.settings = settings
        self.random_state = random_state

    def _method_settings(self) -> dict[str, Any]:
        return {
            "vngepoq": self.max_iter,
            **first_and_last("vngaini", "vngafin", self.learning_rate),
            **first_and_last("vnglini", "vnglfin", self.neighborhood),
        }

    def _quantize(self, session: Session) -> None:
        session.quantize("ng", self.n_clusters)


class KMeans(_Clusterer):
    """K-means by Linde, Buzo and Gray (`km`).

    n_clusters : number of prototypes
    max_iter : most iterations (`vlbgitr`)
    tol : stop when no more than this share of the samples changes its prototype (`vlbgxch`)
    """

    __doc__ += _Clusterer.__doc__ or ""

    def __init__(
        self,
        n_clusters: int = 8,
        *,
        max_iter: int | None = None,
        tol: float | None = None,
        p: float = 2,
        settings: Settings | None = None,
        random_state: Any = 0,
    ) -> None:
        self.n_clusters = n_clusters
        self.max_iter = max_iter
        self.tol = tol
        self.p = p
        self.settings = settings
        self.random_state = random_state

    def _method_settings(self) -> dict[str, Any]:
        return {"vlbgitr": self.max_iter, "vlbgxch": self.tol}

    def _quantize(self, session: Session) -> None:
        session.quantize("km", self.n_clusters)


class CompetitiveLearning(_Clusterer):
    """Competitive learning (`cl`), or its frequency-sensitive form (`fc`).

    n_clusters : number of prototypes
    frequency_sensitive : `fc` instead of `cl`
    max_iter : epochs, at least 2 (`vclepoq`, `vfclepoq`)
    learning_rate : first and last step size (`vclaini`, `vclafin`; `vfclaini`, `vfclafin`)
    """

    __doc__ += _Clusterer.__doc__ or ""

    def __init__(
        self,
        n_clusters: int = 8,
        *,
        frequency_sensitive: bool = False,
        max_iter: int | None = None,
        learning_rate: Pair | None = None,
        p: float = 2,
        settings: Settings | None = None,
        random_state: Any = 0,
    ) -> None:
        self.n_clusters = n_clusters
        self.frequency_sensitive = frequency_sensitive
        self.max_iter = max_iter
        self.learning_rate = learning_rate
        self.p = p
        self.settings = settings
        self.random_state = random_state

    def _method_settings(self) -> dict[str, Any]:
        form = "vfcl" if self.frequency_sensitive else "vcl"
        return {
            form + "epoq": self.max_iter,
            **first_and_last(form + "aini", form + "afin", self.learning_rate),
        }

    def _quantize(self, session: Session) -> None:
        session.quantize("fc" if self.frequency_sensitive else "cl", self.n_clusters)


class SelfOrganizingMap(_Clusterer):
    """Self-organizing map (`om`).

    grid_shape : width and length of the grid, width at least length
    hexagonal : hexagonal grid instead of a square one (`vsomhexf`)
    batch : batch rule instead of the online one (`vsomrule`)
    max_iter : epochs, at least 2 (`vsomepoq`)
    learning_rate : first and last step size (`vsomaini`, `vsomafin`)
    neighborhood : first and last width, in grid units (`vsomlini`, `vsomlfin`)

    Nodes without samples stay, so that the labels may have gaps. `grid_` (n_nodes, 2): places of the nodes.
    """

    __doc__ += _Clusterer.__doc__ or ""
    _drops_empty = False  # the grid stays whole

    def __init__(
        self,
        grid_shape: tuple[int, int] = (3, 2),
        *,
        hexagonal: bool = True,
        batch: bool = False,
        max_iter: int | None = None,
        learning_rate: Pair | None = None,
        neighborhood: Pair | None = None,
        p: float = 2,
        settings: Settings | None = None,
        random_state: Any = 0,
    ) -> None:
        self.grid_shape = grid_shape
        self.hexagonal = hexagonal
        self.batch = batch
        self.max_iter = max_iter
        self.learning_rate = learning_rate
        self.neighborhood = neighborhood
        self.p = p
        self.settings = settings
        self.random_state = random_state

    def _method_settings(self) -> dict[str, Any]:
        return {
            "vsomhexf": int(self.hexagonal),
            "vsomrule": int(self.batch),
            "vsomepoq": self.max_iter,
            **first_and_last("vsomaini", "vsomafin", self.learning_rate),
            **first_and_last("vsomlini", "vsomlfin", self.neighborhood),
        }

    def _quantize(self, session: Session) -> None:
        width, length = self.grid_shape
        session.quantize("om", width * length, ratio=width / length)

    def _take(self, session: Session) -> None:
        super()._take(session)
        self.grid_ = session.snapshot.grid


class GrowingNeuralCover(_Clusterer):
    """A cover of the data by balls that grows sample by sample, EXIN (`xn`).

    radius : a sample farther than this from all prototypes becomes a new one; None takes the confidence
    confidence : the radius is 2 (1 - confidence) times the mean distance of the samples from their mean
    """

    __doc__ += _Clusterer.__doc__ or ""

    def __init__(
        self,
        radius: float | None = None,
        *,
        confidence: float = 0.5,
        p: float = 2,
        settings: Settings | None = None,
        random_state: Any = 0,
    ) -> None:
        self.radius = radius
        self.confidence = confidence
        self.p = p
        self.settings = settings
        self.random_state = random_state

    def _least_samples(self) -> int:
        return 2 if self.radius is None else 1  # one sample has no mean distance

    def _quantize(self, session: Session) -> None:
        session.quantize("xn", self.radius, confidence=self.confidence if self.radius is None else None)


class JarvisPatrick(_Clusterer):
    """Jarvis-Patrick clustering by shared nearest neighbours (`jp`).

    n_neighbors : length of the lists of neighbours (column 0 of the schedule)
    min_shared : two samples of a cluster share at least so many neighbours (column 1 of the schedule)
    min_cluster_size : smaller clusters join the nearest one (`vjpminc`)

    A new sample belongs to the cluster of the nearest sample, not of the nearest centre.
    """

    __doc__ += _Clusterer.__doc__ or ""

    def __init__(
        self,
        n_neighbors: int = 10,
        *,
        min_shared: int = 5,
        min_cluster_size: int = 5,
        p: float = 2,
        settings: Settings | None = None,
        random_state: Any = 0,
    ) -> None:
        self.n_neighbors = n_neighbors
        self.min_shared = min_shared
        self.min_cluster_size = min_cluster_size
        self.p = p
        self.settings = settings
        self.random_state = random_state

    def _method_settings(self) -> dict[str, Any]:
        return {"vjpminc": self.min_cluster_size}

    def _quantize(self, session: Session) -> None:
        session.quantize("jp", schedule=[[self.n_neighbors, self.min_shared]])

    def _take(self, session: Session) -> None:
        super()._take(session)
        self.labels_ = session.codes
        self._samples = session.X

    def predict(self, X: npt.ArrayLike) -> Array:
        """(n_samples,) int64: the cluster of the nearest sample of the fit."""
        check_is_fitted(self)
        X = self._rows(X, reset=False)
        return self.labels_[nearest(self._samples, X, 1, self.p)[0][:, 0]]
