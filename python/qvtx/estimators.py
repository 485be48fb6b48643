"""The program's methods as scikit-learn estimators.

Clusterers: `NeuralGas`, `KMeans`, `CompetitiveLearning`, `SelfOrganizingMap`, `GrowingNeuralCover`,
`JarvisPatrick`. Transformers: `CurvilinearComponents`, `Sammon`, `Isotop`, `ClassicalScaling`.

Where the docstrings name a setting in brackets, None takes the program's own value, that of the preference
file which `qvtx --init` writes. Parameters that all share:

p : exponent of the distance, 2 Euclidean, 1 city block, 8 and more the largest difference (command `mx`).
settings : more settings by key; they win over the other parameters.
random_state : int, RandomState or None. 0 is the program's state at its start; see `qvtx.Session`.

A fit is one process of the program, which ends with it; `QvtxError` tells what the program refused.
"""

from qvtx.clusterers import (
    CompetitiveLearning,
    GrowingNeuralCover,
    JarvisPatrick,
    KMeans,
    NeuralGas,
    SelfOrganizingMap,
)
from qvtx.mappings import ClassicalScaling, CurvilinearComponents, Isotop, Sammon

__all__ = [
    "ClassicalScaling",
    "CompetitiveLearning",
    "CurvilinearComponents",
    "GrowingNeuralCover",
    "Isotop",
    "JarvisPatrick",
    "KMeans",
    "NeuralGas",
    "Sammon",
    "SelfOrganizingMap",
]
