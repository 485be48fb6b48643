"""The methods as scikit-learn estimators: a pipeline with data frames, a search over parameters, clusters."""

from pathlib import Path

import pandas as pd
from sklearn.metrics import adjusted_rand_score
from sklearn.neighbors import KNeighborsClassifier
from sklearn.model_selection import GridSearchCV, cross_val_score
from sklearn.pipeline import make_pipeline
from sklearn.preprocessing import StandardScaler

import qvtx
from qvtx.estimators import CurvilinearComponents, JarvisPatrick, NeuralGas

folder = Path(__file__).resolve().parents[2] / "examples"
wine = pd.DataFrame(qvtx.read(folder / "wine.dat")).add_prefix("chemical ")
cultivar = qvtx.read(folder / "wine.lab")

# Thirteen chemical values, in units of their deviations, on a map of 60 prototypes.
mapping = make_pipeline(StandardScaler(), CurvilinearComponents(n_prototypes=60)).set_output(
    transform="pandas"
)
places = mapping.fit_transform(wine)
print(places.head(3))
print(f"stress {mapping[-1].stress_}, {mapping[-1].graph_.nnz // 2} links")

# How much of the cultivar the map still tells, and how many prototypes that takes.
classifier = make_pipeline(StandardScaler(), CurvilinearComponents(), KNeighborsClassifier())
search = GridSearchCV(classifier, {"curvilinearcomponents__n_prototypes": [15, 30, 60]}, cv=4)
search.fit(wine, cultivar)
print(f"{search.best_params_}: {search.best_score_:.1%} right")
without_map = cross_val_score(make_pipeline(StandardScaler(), KNeighborsClassifier()), wine, cultivar, cv=4)
print(f"without map {without_map.mean():.1%}")

# Clusters without labels.
scaled = StandardScaler().fit_transform(wine)
for clusterer in (NeuralGas(3), JarvisPatrick(n_neighbors=30, min_shared=20)):
    agreement = adjusted_rand_score(cultivar, clusterer.fit_predict(scaled))
    print(f"{clusterer}: {len(clusterer.cluster_centers_)} clusters, agreement {agreement:.2f}")
