"""What clusterers and transformers share."""

from __future__ import annotations

from typing import Any, Mapping

import numpy as np
import numpy.typing as npt
from sklearn.base import BaseEstimator
from sklearn.utils import check_random_state

from qvtx.matrices import Array
from qvtx.program import find_program, settings_of
from qvtx.session import Session

Settings = Mapping[str, Any]
Pair = tuple[float, float]


class Estimator(BaseEstimator):
    """What clusterers and transformers share: a session with the parameters as settings."""

    p: float
    settings: Settings | None
    random_state: Any

    def _method_settings(self) -> dict[str, Any]:
        """The settings that the parameters stand for."""
        return {}

    def _rows(self, X: npt.ArrayLike, **wanted: Any) -> Array:
        """X (n_samples, n_features) as scikit-learn checks it, in reals."""
        rows: Array = self._validate_data(X, dtype=np.float64, **wanted)
        return rows

    def _session(self, X: Array) -> Session:
        seed = self.random_state
        if not isinstance(seed, (int, np.integer)):
            seed = check_random_state(seed).randint(1, 2**31)
        # Defaults are left alone: the program has them in single precision. The error before every epoch,
        # which it would print, costs time and changes nothing.
        usual = settings_of(find_program())
        wanted = {key: value for key, value in self._method_settings().items() if value is not None}
        chosen = {key: value for key, value in wanted.items() if usual[key] != value}
        settings = {"vgerrors": 0, **chosen, **(self.settings or {})}
        session = Session(X, seed=seed, settings=settings, progress=self._count_iterations)
        if self.p != 2:
            session.distance(exponent=self.p)
        return session

    def _count_iterations(self, method: str, step: int, steps: int) -> None:
        self.n_iter_ = step


def first_and_last(first: str, last: str, values: Pair | None) -> dict[str, float]:
    """The two settings between which a schedule runs; none for None. It must not rise."""
    if values is None:
        return {}
    if np.shape(values) != (2,):
        raise TypeError(
            f"a pair is needed for {first} and {last}, the first and the last value, not {values!r}"
        )
    begin, end = map(float, values)
    if begin < end:
        raise ValueError(f"{first} must not be below {last}, as in {values!r}")
    return {first: begin, last: end}
