"""A session from data to a rated map, new samples placed in it, and the script that repeats it."""

from pathlib import Path

import numpy as np

import qvtx

digits = qvtx.read(Path(__file__).resolve().parents[2] / "examples/digits.dat")  # float64 (1797, 64)
known, new = digits[:1500], digits[1500:]

with qvtx.Session(known, seed=1, settings={"vglink_p": "n_link", "vlnnbr": 6}) as session:
    session.quantize("ng", 150).map("cc", 2)
    print(f"{len(session.prototypes)} prototypes, {session.links.nnz // 2} links, stress {session.stress}")

    rating = session.rate()
    print(f"lost neighbours {rating.lost_neighbours:.1%}, lost links {rating.lost_links:.1%}")

    # New images find their place; from there they can be made again, more or less.
    places = session.interpolate(new)
    again = session.reconstruct()
    print(f"places {places.shape}, mean squared error {np.mean(np.sum((again - new) ** 2, axis=1)):.1f}")
    print(f"gain over the nearest prototypes: {session.reconstruction_error().gain:.1%}")

    # A refusal is an exception with the program's line, and the session goes on.
    try:
        session.set(vlnnbr=0)
    except qvtx.QvtxError as refused:
        print("refused:", refused)

    # A place of one's own: the image in the middle of the map.
    middle = session.reconstruct(session.images.mean(axis=0, keepdims=True))
    print(
        "\n".join(
            "".join(" .:-=+*#%@"[int(np.clip(v, 0, 16) / 1.7)] * 2 for v in row)
            for row in middle.reshape(8, 8)
        )
    )

    print("At the console:", session.commands.replace("\n", " "))
