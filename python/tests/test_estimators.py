"""Estimators: scikit-learn's own checks without exemption, and agreement with sessions."""

import pickle
from pathlib import Path

import numpy as np
import pytest

import qvtx

pytest.importorskip("sklearn")
from sklearn.pipeline import make_pipeline  # noqa: E402
from sklearn.preprocessing import StandardScaler  # noqa: E402
from sklearn.utils.estimator_checks import parametrize_with_checks  # noqa: E402

from qvtx import estimators  # noqa: E402
from qvtx.program import find_program, settings_of  # noqa: E402

IRIS = qvtx.read(Path(__file__).resolve().parents[2] / "examples/iris.dat")
ALL = [getattr(estimators, name) for name in estimators.__all__]
MAPPINGS = [kind for kind in ALL if hasattr(kind, "transform")]


@parametrize_with_checks([kind() for kind in ALL])
def test_scikit_learn_accepts(estimator, check):
    check(estimator)


@pytest.mark.parametrize(
    ("estimator", "method", "size"),
    [
        (estimators.NeuralGas(12), "ng", 12),
        (estimators.KMeans(12), "km", 12),
        (estimators.CompetitiveLearning(12), "cl", 12),
        (estimators.CompetitiveLearning(12, frequency_sensitive=True), "fc", 12),
        (estimators.SelfOrganizingMap((4, 3)), "om", 12),
        (estimators.GrowingNeuralCover(0.7), "xn", 0.7),
    ],
)
def test_clusterers_give_the_prototypes_of_a_session(estimator, method, size):
    with qvtx.Session(IRIS, seed=0).quantize(method, size, ratio=4 / 3) as session:
        assert np.array_equal(estimator.fit(IRIS).cluster_centers_, session.prototypes)


@pytest.mark.parametrize("exponent", [1, 2])
@pytest.mark.parametrize("kind", MAPPINGS)
def test_transformers_give_the_images_of_a_session(kind, exponent):
    mapping = kind(n_prototypes=30, p=exponent).fit(IRIS)
    with qvtx.Session(IRIS, seed=0, settings={"tdgb": mapping.graph_weight}) as session:
        session.distance(exponent=exponent).quantize("ng", 30).map(kind._command, 2)
        assert np.array_equal(mapping.images_, session.images)
        assert np.allclose(mapping.transform(IRIS), session.interpolate(), atol=1e-6, rtol=0)
        assert mapping.stress_ == session.stress


@pytest.mark.parametrize("kind", MAPPINGS)
def test_samples_come_back_from_the_map(kind):
    mapping = kind(n_prototypes=40).fit(IRIS)
    error = np.sum((mapping.inverse_transform(mapping.transform(IRIS)) - IRIS) ** 2, axis=1).mean()
    quantization = np.sum((mapping.prototypes_[mapping.codes_] - IRIS) ** 2, axis=1).mean()
    assert error < quantization


def test_small_units_lose_no_digits():
    unit = 2.0**-40
    large = estimators.Sammon(n_prototypes=30).fit_transform(IRIS)
    small = estimators.Sammon(n_prototypes=30).fit_transform(IRIS * unit)
    assert np.array_equal(small / unit, large)


def test_pipelines_take_and_give_data_frames():
    pandas = pytest.importorskip("pandas")
    frame = pandas.DataFrame(IRIS, columns=list("abcd"), index=np.arange(150) * 2)
    pipeline = make_pipeline(StandardScaler(), estimators.CurvilinearComponents(n_prototypes=30))
    placed = pipeline.set_output(transform="pandas").fit_transform(frame)
    assert list(placed.columns) == ["curvilinearcomponents0", "curvilinearcomponents1"]
    assert placed.index.equals(frame.index)
    again = pickle.loads(pickle.dumps(pipeline)).transform(frame)
    assert placed.equals(again)


def test_axes_without_positive_eigenvalue_are_zero():
    placed = estimators.ClassicalScaling(3).fit_transform([[0.0, 0.0], [3.0, 4.0]])
    assert np.allclose(np.abs(np.diff(placed, axis=0)), [[5, 0, 0]], atol=1e-6)


def test_defaults_are_the_programs_settings_win_and_refusals_reach_the_caller():
    usual = settings_of(find_program())
    assert estimators.CurvilinearComponents().fit(IRIS[:20]).n_iter_ == usual["tcdepoq"]
    assert estimators.NeuralGas(5, settings={"vngepoq": 7}).fit(IRIS).n_iter_ == 7
    with pytest.raises(qvtx.QvtxError, match="vngepoq.*out of range"):
        estimators.NeuralGas(5, max_iter=1).fit(IRIS)
