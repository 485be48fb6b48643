#!/usr/bin/python3
"""Times `nq` and `cc` of a swiss roll, the whole run, with the distances of all pairs in memory and without.

    /usr/bin/python3 bench/memory.py build/release/qvtx [rows [epochs ...]]

Seconds of processor time, user and system, and the most memory held; one run each.
"""

import os
import subprocess
import sys
import tempfile
from pathlib import Path

EXAMPLES = Path(__file__).resolve().parent.parent / "examples"
COMMANDS = "ld\nroll\nnq\ncc\nmp\nm\n2\nxt\ny\n"


def run(program, folder, memory, epochs):
    """Seconds and MB."""
    options = [f"--set=vgmemory={memory}", f"--set=tcdepoq={epochs}", str(EXAMPLES / "Qvtx.prf")]
    process = subprocess.Popen([program, *options], stdin=subprocess.PIPE, cwd=folder, stdout=subprocess.DEVNULL,
                               stderr=subprocess.DEVNULL)
    process.stdin.write(COMMANDS.encode())
    process.stdin.close()
    _, status, used = os.wait4(process.pid, 0)
    if status:
        sys.exit(f"{program} failed")
    return used.ru_utime + used.ru_stime, used.ru_maxrss / 1024


def main(program, rows, all_epochs):
    program = os.path.abspath(program)
    with tempfile.TemporaryDirectory() as folder:
        with open(Path(folder) / "roll.dat", "w") as file:
            subprocess.run(["awk", "-v", "set=swiss", "-v", f"n={rows}", "-v", "seed=1", "-f",
                            EXAMPLES / "synthetic.awk"], stdout=file, check=True)
        for epochs in all_epochs:
            (stored, much), (computed, little) = (run(program, folder, memory, epochs) for memory in (1, 0))
            print(f"{rows} prototypes, {epochs} epochs: stored {stored:.2f} s, {much:.0f} MB; computed "
                  f"{computed:.2f} s, {little:.0f} MB; {computed / stored:.1f} times", flush=True)


if __name__ == "__main__":
    numbers = [int(text) for text in sys.argv[2:]]
    main(sys.argv[1], numbers[0] if numbers else 10000, numbers[1:] or [5, 50])
