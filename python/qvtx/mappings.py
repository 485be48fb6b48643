"""Projections as scikit-learn transformers."""

from __future__ import annotations

import dataclasses
from typing import Any

import numpy as np
import numpy.typing as npt
from sklearn.base import ClassNamePrefixFeaturesOutMixin, TransformerMixin
from sklearn.utils.validation import check_is_fitted

from qvtx.blend import Reconstruction
from qvtx.estimator import Estimator, Pair, Settings, first_and_last
from qvtx.matrices import Array
from qvtx.session import Session
from qvtx.snapshot import Snapshot


class _Mapping(ClassNamePrefixFeaturesOutMixin, TransformerMixin, Estimator):
    """n_components : dimension of the map
    n_prototypes : quantize first, to so many prototypes; None maps the samples themselves
    quantizer : method that does it: "ng", "km", "cl", "fc" or "om"
    graph_weight : 0 keeps Euclidean distances, 1 those along the links of the prototypes (`tdgb`)

    Attributes after `fit`:

    prototypes_ : (p, n_features) float64
    images_ : (p, n_components) float64, their places in the map
    codes_ : (n_samples,) int64, the prototype of each sample
    graph_ : scipy.sparse.csr_array (p, p), lengths of the links of the prototypes
    stress_ : float, Sammon's stress of the images, as the report prints it
    n_iter_ : int, epochs
    """

    _command = ""  # the program's command for the mapping

    n_components: int
    n_prototypes: int | None
    quantizer: str
    graph_weight: float

    def fit(self, X: npt.ArrayLike, y: Any = None) -> Any:
        """Maps X (n_samples, n_features); at least two samples."""
        X = self._rows(X, ensure_min_samples=2)
        self.n_iter_ = 1
        with self._session(X) as session:
            if self.n_prototypes is None or self.n_prototypes >= len(X):
                session.quantize("nq")
            else:
                session.quantize(self.quantizer, self.n_prototypes)
            session.map(self._command, self.n_components)
            self.codes_ = session.codes
            self.graph_ = session.links
            self.stress_ = session.stress
            self._snapshot = self._finite(session.snapshot)
        self._samples = X
        self.prototypes_ = self._snapshot.prototypes
        self.images_ = self._snapshot.images
        return self

    @staticmethod
    def _finite(snapshot: Snapshot) -> Snapshot:
        """Axes without a positive eigenvalue have no coordinates; all samples are at 0 there."""
        return dataclasses.replace(snapshot, images=np.nan_to_num(snapshot.images))

    @property
    def _n_features_out(self) -> int:
        return int(self.images_.shape[1])

    def _method_settings(self) -> dict[str, Any]:
        return {"tdgb": float(self.graph_weight)}

    def transform(self, X: npt.ArrayLike) -> Array:
        """(n_samples, n_components) float64: places of the rows of X in the map, by interpolation."""
        check_is_fitted(self)
        X = self._rows(X, reset=False)
        # Positions come as text with six decimals. A power of two makes them numbers around 1000 and changes
        # no other bit.
        largest = np.abs(self.images_).max()
        scale = 2.0 ** (10 - np.frexp(largest)[1]) if largest > 0 else 1.0
        with Session.load(_scaled(self._snapshot, scale), self._samples * scale, progress=False) as session:
            if self.p != 2:
                session.distance(exponent=self.p)
            return session.interpolate(X * scale, like=self._command) / scale

    def fit_transform(self, X: npt.ArrayLike, y: Any = None, **fit_params: Any) -> Array:
        """`fit`, then `transform` of the same samples."""
        return self.fit(X).transform(X)

    def inverse_transform(self, X: npt.ArrayLike) -> Array:
        """(m, n_features) float64: samples at the places X (m, n_components) of the map, by
        reconstruction."""
        check_is_fitted(self)
        positions = np.asarray(X, dtype=float)
        if positions.ndim != 2 or positions.shape[1] != self.images_.shape[1]:
            wanted = f"(m, {self.images_.shape[1]})"
            raise ValueError(f"places of shape {wanted} are needed, not {positions.shape}")
        linked = self._snapshot.settings["vglink_p"] != 0
        links = self._snapshot.links if linked else None
        return Reconstruction(self.prototypes_, self.images_, links, self.p).samples(positions)


def _scaled(snapshot: Snapshot, scale: float) -> Snapshot:
    """The same analysis of data multiplied by a power of two."""

    def longer(store: Any) -> Any:
        factors = [1.0] + [scale] * (store.values.shape[1] - 1)  # a strength has no unit
        return dataclasses.replace(store, values=store.values * factors)

    return dataclasses.replace(
        snapshot,
        prototypes=snapshot.prototypes * scale,
        images=snapshot.images * scale,
        link_store=longer(snapshot.link_store),
        image_store=longer(snapshot.image_store),
    )


class CurvilinearComponents(_Mapping):
    """Curvilinear component analysis, or with graph distances curvilinear distance analysis (`cc`).

    max_iter : epochs, at least 2 (`tcdepoq`)
    learning_rate : first and last step size (`tcdaini`, `tcdafin`)
    neighborhood : first and last width, as a factor (`tcdlini`, `tcdlfin`)
    init : "pca" or "random" (`tcdinm`)
    """

    __doc__ += _Mapping.__doc__ or ""
    _command = "cc"

    def __init__(
        self,
        n_components: int = 2,
        *,
        n_prototypes: int | None = None,
        quantizer: str = "ng",
        graph_weight: float = 1.0,
        max_iter: int | None = None,
        learning_rate: Pair | None = None,
        neighborhood: Pair | None = None,
        init: str | None = None,
        p: float = 2,
        settings: Settings | None = None,
        random_state: Any = 0,
    ) -> None:
        self.n_components = n_components
        self.n_prototypes = n_prototypes
        self.quantizer = quantizer
        self.graph_weight = graph_weight
        self.max_iter = max_iter
        self.learning_rate = learning_rate
        self.neighborhood = neighborhood
        self.init = init
        self.p = p
        self.settings = settings
        self.random_state = random_state

    def _method_settings(self) -> dict[str, Any]:
        return {
            **super()._method_settings(),
            "tcdinm": self.init,
            "tcdepoq": self.max_iter,
            **first_and_last("tcdaini", "tcdafin", self.learning_rate),
            **first_and_last("tcdlini", "tcdlfin", self.neighborhood),
        }


class Sammon(_Mapping):
    """Sammon's mapping (`mm`).

    max_iter : epochs, at least 2 (`tsmepoq`)
    learning_rate : first and last step size (`tsmaini`, `tsmafin`)
    init : "pca" or "random" (`tsminm`)
    """

    __doc__ += _Mapping.__doc__ or ""
    _command = "mm"

    def __init__(
        self,
        n_components: int = 2,
        *,
        n_prototypes: int | None = None,
        quantizer: str = "ng",
        graph_weight: float = 0.0,
        max_iter: int | None = None,
        learning_rate: Pair | None = None,
        init: str | None = None,
        p: float = 2,
        settings: Settings | None = None,
        random_state: Any = 0,
    ) -> None:
        self.n_components = n_components
        self.n_prototypes = n_prototypes
        self.quantizer = quantizer
        self.graph_weight = graph_weight
        self.max_iter = max_iter
        self.learning_rate = learning_rate
        self.init = init
        self.p = p
        self.settings = settings
        self.random_state = random_state

    def _method_settings(self) -> dict[str, Any]:
        return {
            **super()._method_settings(),
            "tsminm": self.init,
            "tsmepoq": self.max_iter,
            **first_and_last("tsmaini", "tsmafin", self.learning_rate),
        }


class Isotop(_Mapping):
    """Isotop, which keeps neighbourhoods along the links instead of distances (`it`).

    max_iter : epochs, at least 2 (`titepoq`)
    learning_rate : first and last step size (`titaini`, `titafin`)
    neighborhood : first and last width, as a factor (`titlini`, `titlfin`)
    init : "pca", "random" or "zero" (`titinm`)
    """

    __doc__ += _Mapping.__doc__ or ""
    _command = "it"

    def __init__(
        self,
        n_components: int = 2,
        *,
        n_prototypes: int | None = None,
        quantizer: str = "ng",
        graph_weight: float = 1.0,
        max_iter: int | None = None,
        learning_rate: Pair | None = None,
        neighborhood: Pair | None = None,
        init: str | None = None,
        p: float = 2,
        settings: Settings | None = None,
        random_state: Any = 0,
    ) -> None:
        self.n_components = n_components
        self.n_prototypes = n_prototypes
        self.quantizer = quantizer
        self.graph_weight = graph_weight
        self.max_iter = max_iter
        self.learning_rate = learning_rate
        self.neighborhood = neighborhood
        self.init = init
        self.p = p
        self.settings = settings
        self.random_state = random_state

    def _method_settings(self) -> dict[str, Any]:
        return {
            **super()._method_settings(),
            "titinm": self.init,
            "titepoq": self.max_iter,
            **first_and_last("titaini", "titafin", self.learning_rate),
            **first_and_last("titlini", "titlfin", self.neighborhood),
        }


class ClassicalScaling(_Mapping):
    """Classical multidimensional scaling; with graph distances that of Isomap (`md`).

    Axes without a positive eigenvalue are 0.
    """

    __doc__ += _Mapping.__doc__ or ""
    _command = "md"

    def __init__(
        self,
        n_components: int = 2,
        *,
        n_prototypes: int | None = None,
        quantizer: str = "ng",
        graph_weight: float = 0.0,
        p: float = 2,
        settings: Settings | None = None,
        random_state: Any = 0,
    ) -> None:
        self.n_components = n_components
        self.n_prototypes = n_prototypes
        self.quantizer = quantizer
        self.graph_weight = graph_weight
        self.p = p
        self.settings = settings
        self.random_state = random_state
