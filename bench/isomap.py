#!/usr/bin/python3
"""Times `nq` and `md` of a swiss roll, the whole run of the program, against Isomap of scikit-learn.

    /usr/bin/python3 bench/isomap.py build/release/qvtx [rows ...]

Both link each datum with its 9 nearest and find two axes, on one thread. Isomap is timed without the imports,
the program with its start and the reading of the text. Seconds of processor time, user and system, medians of
interleaved repetitions.
"""

import os

for name in ("OMP_NUM_THREADS", "OPENBLAS_NUM_THREADS", "MKL_NUM_THREADS"):
    os.environ[name] = "1"

import resource
import statistics
import subprocess
import sys
import tempfile
from pathlib import Path

import numpy as np
from sklearn.manifold import Isomap

NEIGHBOURS = 9
REPETITIONS = 5
PREFERENCES = Path(__file__).resolve().parent.parent / "examples" / "Qvtx.prf"
COMMANDS = "ld\nroll\nnq\nmd\nmp\nm\n2\nxt\ny\n"


def swiss_roll(rows):
    random = np.random.default_rng(1)
    angle = 1.5 * np.pi * (1 + 2 * random.random(rows))
    return np.column_stack([angle * np.cos(angle), 21 * random.random(rows), angle * np.sin(angle)])


def run_program(program, folder):
    settings = {"tdgb": 1, "vglink_p": 2, "vlnnbr": NEIGHBOURS}
    options = [f"--set={key}={value}" for key, value in settings.items()]
    subprocess.run([program, *options, str(PREFERENCES)], input=COMMANDS, text=True, cwd=folder, check=True,
                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def seconds(who, work):
    """Processor time that the work takes: of this process or of its children."""
    begin = resource.getrusage(who)
    work()
    end = resource.getrusage(who)
    return end.ru_utime + end.ru_stime - begin.ru_utime - begin.ru_stime


def main(program, sizes):
    program = os.path.abspath(program)
    for rows in sizes:
        data = swiss_roll(rows)
        with tempfile.TemporaryDirectory() as folder:
            np.savetxt(Path(folder) / "roll.dat", data, "%.6f")
            ours, theirs = [], []
            for _ in range(REPETITIONS):
                ours.append(seconds(resource.RUSAGE_CHILDREN, lambda: run_program(program, folder)))
                isomap = Isomap(n_neighbors=NEIGHBOURS, n_components=2)
                theirs.append(seconds(resource.RUSAGE_SELF, lambda: isomap.fit_transform(data)))
        own, other = statistics.median(ours), statistics.median(theirs)
        print(f"{rows} rows: program {own:.3f}, Isomap {other:.3f}, ratio {other / own:.2f}", flush=True)


if __name__ == "__main__":
    main(sys.argv[1], [int(text) for text in sys.argv[2:]] or [1000, 3000, 5000])
