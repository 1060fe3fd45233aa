from os import PathLike
from typing import Any, Callable, Mapping, Sequence

import numpy as np
from numpy.typing import NDArray

__all__ = ["Effect", "EffectInfo", "effects", "join", "render", "render_edit"]
__version__: str

Picture = NDArray[np.uint8]
Progress = Callable[[int, int], Any]

class EffectInfo:
    id: str
    name: str
    sentence: str
    clips: int
    arrives: bool
    has_knobs: bool
    reveals: bool

def effects() -> list[EffectInfo]: ...

class Effect:
    def __init__(self, effect: str = ..., *, direction: str = ..., seed: int = ..., threads: int = ...) -> None: ...
    @property
    def id(self) -> str: ...
    def render(
        self, a: Picture, b: Picture | None = ..., position: float = ..., *, out: Picture | None = ..., alpha: str = ...
    ) -> Picture: ...

def render(
    a: Picture,
    b: Picture | None = ...,
    effect: str = ...,
    position: float = ...,
    *,
    direction: str = ...,
    seed: int = ...,
    out: Picture | None = ...,
    alpha: str = ...,
) -> Picture: ...
def render_edit(
    edit: str | Mapping[str, Any],
    output: str | PathLike[str],
    *,
    folder: str | PathLike[str] = ...,
    replace: bool = ...,
    progress: Progress | None = ...,
) -> None: ...
def join(
    clips: Sequence[str | PathLike[str]],
    output: str | PathLike[str],
    *,
    effect: str | Sequence[str] = ...,
    duration: float | str | None = ...,
    direction: str | None = ...,
    seed: int | None = ...,
    still: float | str | None = ...,
    size: tuple[int, int] | str | None = ...,
    rate: float | str | None = ...,
    sound: str = ...,
    copy_bodies: str | None = ...,
    replace: bool = ...,
    progress: Progress | None = ...,
) -> None: ...
