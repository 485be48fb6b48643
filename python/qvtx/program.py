"""The program as a child process: where it is, what it writes by default, and a dialogue with it."""

from __future__ import annotations

import functools
import os
import re
import shutil
import signal
import subprocess
import tempfile
import weakref
from pathlib import Path
from typing import Callable, Sequence

from qvtx.preferences import Preferences, parse_preferences

HERE = Path(__file__).resolve().parent
PROMPT = ">> "

Listener = Callable[[str, int, int], None]


class QvtxError(RuntimeError):
    """The program refused. The text is the program's own line; `output` is everything that it said."""

    def __init__(self, line: str, output: str = "") -> None:
        super().__init__(line)
        self.output = output


def find_program() -> str:
    """Path of the program `qvtx`: $QVTX; else the one in this package; else the newest that the repository
    around this package has built; else the one on the search path. FileNotFoundError when there is none."""
    if named := os.environ.get("QVTX"):
        if not (os.path.isfile(named) and os.access(named, os.X_OK)):
            raise FileNotFoundError(f"$QVTX names no program: {named}")
        return str(Path(named).resolve())
    built = HERE.parents[1].glob("build/*/qvtx")
    candidates = [HERE / "bin" / "qvtx", *sorted(built, key=lambda path: -path.stat().st_mtime)]
    for path in candidates:
        if path.is_file() and os.access(path, os.X_OK):
            return str(path)
    if found := shutil.which("qvtx"):
        return found
    raise FileNotFoundError("the program qvtx is not there: build it, put it on the search path or set $QVTX")


@functools.lru_cache(maxsize=None)
def default_preferences(program: str) -> str:
    """Text of the preference file that `qvtx --init` writes. QvtxError from a program that writes none."""
    with tempfile.TemporaryDirectory(prefix="qvtx-") as folder:
        said = ""
        try:
            ran = subprocess.run(
                [program, "--init"], cwd=folder, capture_output=True, text=True, errors="replace"
            )
            said = ran.stdout + ran.stderr
            return Path(folder, "Qvtx.prf").read_text("latin-1")
        except OSError:
            raise QvtxError(f"{program} is not qvtx, or too old: it wrote no preferences", said) from None


@functools.lru_cache(maxsize=None)
def settings_of(program: str) -> Preferences:
    """The default settings of the program; not to be changed."""
    return parse_preferences(default_preferences(program))


# ---- Dialogue ----

_NO_COMMAND = "~~"
_PROGRESS = re.compile(r"^ToMapp\.(\w+): .*\.\.\. *$|^loop +(\d+)/(\d+)", re.MULTILINE)
_COMMON = re.compile(  # lines that tell of no refusal
    r"loop |[_^]+$|loading |saving | +\w\w = |\W*$"
    r"|.*(: $|done!|\.\.\. |not found!|dist\.: \[.*|using default parameters)$"
)


def refusal(output: str, fallback: str) -> str:
    """The line of the program's output that tells why it refused; `fallback` when it said nothing."""
    report = re.search(r"^Data: ", output, re.MULTILINE)
    said = output[: report.start()] if report else output
    lines = [line.rstrip("\r") for line in re.split(r"\n|>> ", said)]
    telling = [line.strip() for line in lines if not _COMMON.match(line) and "? " not in line]
    reasons = [line for line in telling if not line.endswith("made no prototypes")] or telling
    return reasons[-1] if reasons else fallback


class Console:
    """A running program in a folder of its own, which only this user can read.

    The folder and everything in it vanish with the object, with `close`, and when the interpreter ends; the
    program ends with them, and by itself should the interpreter be killed, because its input ends then.
    """

    def __init__(self, program: str, listener: Listener | None = None, options: Sequence[str] = ()) -> None:
        preferences = default_preferences(program)
        self.folder = Path(tempfile.mkdtemp(prefix="qvtx-"))  # mode 0700
        self.listener = listener
        self.took_effect = False  # whether the command interrupted last did: a method keeps what it made
        self._method = ""  # that runs, as the program names it
        self.process: subprocess.Popen[bytes] | None = None
        self._close = weakref.finalize(self, _remove, self.folder, children := [], os.getpid())
        try:
            (self.folder / "Qvtx.prf").write_text(preferences, "latin-1")
            self.process = subprocess.Popen(
                [program, "--interactive", *options],
                cwd=self.folder,
                stdin=subprocess.PIPE,
                stdout=subprocess.PIPE,
                stderr=subprocess.STDOUT,
                bufsize=0,
                umask=0o077,
                start_new_session=True,  # Ctrl-C is for the interpreter, which passes it on
            )
            children.append(self.process)
            self.banner = self._wait(PROMPT)
        except BaseException:
            self.close()
            raise

    @property
    def closed(self) -> bool:
        """Whether the program has ended."""
        return not self._close.alive

    def close(self) -> None:
        """Ends the program and removes its folder; a second call does nothing."""
        self._close()

    def run(self, *answers: str | tuple[str, str]) -> str:
        """Types answers until the program asks for the next command; returns what it said meanwhile.

        An answer is a word for the prompt ">> ", or the end of another prompt with the word for it. A program
        that asks for the next command instead has refused: QvtxError, as when it ends. Whatever else goes
        wrong (an interrupt, an error in a listener) gives the command up: the program asks for the next one
        again when that is raised. A second interrupt, while it does not yet, closes the console.
        """
        said = ""
        try:
            for k, answer in enumerate(answers):
                self._type(answer if isinstance(answer, str) else answer[1])
                following = answers[k + 1] if k + 1 < len(answers) else PROMPT
                expected = PROMPT if isinstance(following, str) else following[0]
                part = self._wait(expected, PROMPT)
                said += part
                if not part.endswith(expected) or "Bad command : " in part or "not a number: " in part:
                    raise QvtxError(refusal(part, f"{answers[0]}: refused"), said)
        except QvtxError:
            raise
        except (Exception, KeyboardInterrupt):
            self._give_up()
            raise
        except BaseException:
            self.close()
            raise
        return said

    def _give_up(self) -> None:
        """Brings the program back to its prompt, or closes the console."""
        self.listener, listener = None, self.listener
        self.took_effect = False
        said = ""
        try:
            if self.process is not None and not self.closed:
                self.process.send_signal(signal.SIGINT)
                self._type(_NO_COMMAND)  # its answer tells that all before is over
                while _NO_COMMAND not in said:
                    said += self._wait(PROMPT)
                self.took_effect = "given up" not in said
        except QvtxError:  # it has ended
            pass
        except BaseException:
            self.close()
            raise
        self.listener = listener

    def _type(self, word: str) -> None:
        if self.closed or self.process is None or self.process.stdin is None:
            raise ValueError("the session is closed")
        try:
            self.process.stdin.write(word.encode() + b"\n")
        except BrokenPipeError:
            self._ended("")

    def _wait(self, *ends: str) -> str:
        """Reads until the output ends with one of the texts."""
        assert self.process is not None and self.process.stdout is not None
        endings = tuple(end.encode() for end in ends)
        said = bytearray()
        heard = 0
        while not said.endswith(endings):
            part = os.read(self.process.stdout.fileno(), 1 << 16)
            if not part:
                self._ended(said.decode("utf-8", "replace"))
            said += part
            if self.listener:
                heard = self._report(said, heard)
        return said.decode("utf-8", "replace")

    def _report(self, said: bytearray, heard: int) -> int:
        """Tells the listener of the last whole loop line since `heard`; returns how far it has heard now."""
        end = max(said.rfind(b"\n") + 1, heard)
        text = said[heard:end].decode("utf-8", "replace")
        latest = None
        for method, step, steps in _PROGRESS.findall(text):
            if method:
                self._method = method
            else:
                latest = (self._method, int(step), int(steps))
        if latest and self.listener:
            self.listener(*latest)
        return end

    def _ended(self, said: str) -> None:
        assert self.process is not None
        status = self.process.wait()
        self.close()
        words = [line.strip() for line in said.splitlines() if line.strip()][-2:]
        if status < 0:
            words = [f"the program was ended by {signal.Signals(-status).name}"]
        raise QvtxError(" ".join(words) or f"the program ended with status {status}", said)


def _remove(folder: Path, children: Sequence[subprocess.Popen[bytes]], owner: int) -> None:
    if os.getpid() != owner:  # a forked copy of the interpreter: the original still needs them
        return
    for child in children:
        child.kill()
        child.wait()
        for stream in (child.stdin, child.stdout):
            if stream:
                stream.close()
    shutil.rmtree(folder, ignore_errors=True)
