"""Preference files: the settings with their ranges, values and names of values."""

from __future__ import annotations

import dataclasses
import re
from typing import Iterator

import numpy as np

from qvtx.matrices import FileError


@dataclasses.dataclass
class Setting:
    """A setting of a preference file: its range, its value and the names of its values."""

    key: str
    description: str
    low: float
    high: float
    value: float
    names: dict[float, str] = dataclasses.field(default_factory=dict)


@dataclasses.dataclass
class Preferences:
    """A preference file: four blocks (integer and real settings of quantization, integer and real settings of
    projection), each with the comment at its head. Reads and sets values by key: ``preferences["vlnnbr"] =
    8``."""

    comments: list[str]
    blocks: list[list[Setting]]

    def __iter__(self) -> Iterator[str]:
        return (setting.key.rstrip() for block in self.blocks for setting in block)

    def find(self, key: str) -> Setting:
        """The setting with this key, trailing blanks aside. KeyError when there is none."""
        for block in self.blocks:
            for setting in block:
                if setting.key.rstrip() == key.rstrip():
                    return setting
        raise KeyError(key)

    def __getitem__(self, key: str) -> float:
        return self.find(key).value

    def __setitem__(self, key: str, value: float) -> None:
        setting = self.find(key)
        if not setting.low <= value <= setting.high:
            raise ValueError(f"{key} = {value} is out of range [{setting.low:g}, {setting.high:g}]")
        setting.value = value


_COMMAND = re.compile(
    r"\s*(?:(?P<entry>[pP])[^{]*\{(?P<key>[^}]*)\}[^{]*\{(?P<text>[^}]*)\}\s*(?P<low>\S+)\s+(?P<high>\S+)"
    r"|(?P<set>[vV])\s*(?P<value>[^\s}]+)"
    r"|(?P<name>[hH?])\s*(?P<of>[^\s{]+)[^{]*\{(?P<label>[^}]*)\}"
    r"|(?P<remark>[cC])[^{]*\{(?P<comment>[^}]*)\}"
    r"|(?P<end>[bBxXqQ]))"
)


def parse_preferences(text: str) -> Preferences:
    """The settings of a preference file. Raises `FileError` where the program ends a block with an error."""
    comments, blocks = [""], [[]]  # type: ignore[var-annotated]
    position = 0
    while match := _COMMAND.match(text, position):
        position = match.end()
        block = blocks[-1]
        if match["entry"]:
            low, high = sorted((float(match["low"]), float(match["high"])))
            block.append(Setting(match["key"][:8], match["text"][:35], low, high, low))
        elif match["remark"]:
            comments[-1] = comments[-1] or match["comment"]
        elif match["end"]:
            comments.append("")
            blocks.append([])
        elif not block:
            raise FileError("a value stands before the first setting of its block")
        elif match["set"]:
            block[-1].value = float(match["value"])
        else:
            block[-1].names[float(match["of"])] = match["label"][:8]
    if text[position:].strip() or len(blocks) != 5 or blocks.pop():
        raise FileError(f"four blocks of settings are expected, {len(blocks) - 1} were read")
    return Preferences(comments[:4], blocks)


def format_preferences(preferences: Preferences) -> str:
    """The preference file in the layout of the shipped one."""
    lines = []
    for comment, block in zip(preferences.comments, preferences.blocks):
        if comment:
            lines.append(f"c {{{comment}}}")
        for s in block:
            key, low, high, value = s.key.ljust(8), _short(s.low), _short(s.high), _short(s.value)
            lines.append(f"p {{{key}}} {{{s.description}}} {low} {high} v {value}")
            lines += [f"h {_short(of)} {{{name}}}" for of, name in s.names.items()]
        lines.append("x")
    return "\n".join(lines) + "\n"


def _short(value: float) -> str:
    """The shortest text that single precision, which is all that the program reads here, tells apart."""
    text = f"{value:g}"
    return text if np.float32(text) == np.float32(value) else f"{value:.9g}"
