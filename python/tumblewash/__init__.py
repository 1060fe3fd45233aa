"""Thirteen classic video transitions for pictures in numpy arrays and for clips in files.

>>> import numpy, tumblewash
>>> a = numpy.zeros((480, 640, 3), numpy.uint8)
>>> b = numpy.full((480, 640, 3), 255, numpy.uint8)
>>> middle = tumblewash.render(a, b, effect="wash-away", position=0.4, seed=7)

Pictures are arrays of height x width x 3 (RGB) or 4 (RGBA) bytes. Rows may lie anywhere in memory; an array whose
pixels do not lie side by side is copied. Python's lock is released while pictures are made, so threads render side
by side.
"""

import dataclasses
import json
import math
import operator
import os

from . import _native

__all__ = ["Effect", "EffectInfo", "effects", "join", "render", "render_edit"]
__version__ = _native.version


@dataclasses.dataclass(frozen=True)
class EffectInfo:
    """What an effect is.

    ``clips`` is the number of pictures it takes, 1 or 2; of those with one, ``arrives`` tells whether the picture
    comes or leaves. ``has_knobs``: direction and seed change it. ``reveals``: the incoming picture moves.
    """

    id: str
    name: str
    sentence: str
    clips: int
    arrives: bool
    has_knobs: bool
    reveals: bool


def effects():
    """All effects, a list of `EffectInfo` in the order of the catalogue."""
    return [EffectInfo(**one) for one in _native.effects()]


class Effect:
    """An effect that is kept for many pictures: the same bytes as `render`, without preparing it each time.

    Threads may share one. ``threads``, 1 to 64, is how many threads render one picture of more than a megapixel
    together, with the same bytes: for programs that render one picture at a time. They end with the effect. Raises
    ValueError for an unknown effect or direction and for another number of threads.
    """

    def __init__(self, effect="wash-away", *, direction="right", seed=1, threads=1):
        self._native = _native.Effect(_text("effect", effect), _text("direction", direction), _seed(seed),
                                      _threads(threads))

    @property
    def id(self):
        """The effect's short name."""
        return self._native.id

    def render(self, a, b=None, position=0.5, *, out=None, alpha="straight"):
        """One picture; see `tumblewash.render`."""
        return self._native.render(a, b, position, out, _text("alpha", alpha))


def render(a, b=None, effect="wash-away", position=0.5, *, direction="right", seed=1, out=None, alpha="straight"):
    """One moment of a transition from picture `a` to picture `b`.

    :param a: the outgoing or only picture, uint8, height x width x 3 (RGB) or 4 (RGBA)
    :param b: the incoming picture, of the same size; effects of one clip do not look at it
    :param effect: an id of `effects()`
    :param position: 0 is `a` itself and 1 is `b` itself
    :param direction: "right", "left", "up" or "down": the edge by which a wash leaves
    :param seed: which random field a wash has, 0 to 4294967295
    :param out: an array to write to, which shares no memory with `a` and `b`; without it a new one is made, RGB
        where both pictures are RGB, else RGBA
    :param alpha: what the fourth channel means, "straight" or "premultiplied", in and out
    :returns: the picture
    :raises ValueError: for an unknown effect, wrong shapes, sizes that differ
    :raises TypeError: for what is no array of uint8
    """
    return Effect(effect, direction=direction, seed=seed).render(a, b, position, out=out, alpha=alpha)


def render_edit(edit, output, *, folder="", replace=False, progress=None):
    """Renders an edit document to a file.

    :param edit: the document as a dict (see the edit format), or as JSON text
    :param output: the file to make; its ending says what it becomes
    :param folder: where relative names of clips start; the working directory unless told
    :param replace: replace a file that exists, once the new one is finished
    :param progress: is called with the pictures done and all of them; when it answers False or raises, the work ends
        and nothing is written
    :raises ValueError: when the edit is not valid
    :raises OSError: when a clip cannot be read or the output cannot be written
    :raises InterruptedError: when `progress` answered False
    """
    text = edit if isinstance(edit, str) else json.dumps(edit)
    _native.render_edit(text, os.fsencode(folder), os.fsencode(output), replace, progress)


def join(clips, output, *, effect="wash-away", duration=None, direction=None, seed=None, still=None, size=None,
         rate=None, sound="equal-power", copy_bodies=None, replace=False, progress=None):
    """Joins clips and photos into a movie with a transition at each seam.

    :param clips: files, as strings or paths
    :param output: the movie to make
    :param effect: an id of `effects()` that takes two clips, or a list of them, used in turn
    :param duration: of each transition, in seconds or as a text such as "26f"; as long as the clips allow unless told,
        at most a second
    :param direction: of the washes
    :param seed: of the washes
    :param still: how long a photo lasts, in seconds or as a text; 4 seconds unless told
    :param size: (width, height) of the movie, or a text such as "720p"; the first clip's unless told
    :param rate: pictures per second, a number or a text such as "30000/1001"; the first clip's unless told
    :param sound: how sound passes from clip to clip: "equal-power", "natural", "plugin" (the effect's own levels) or "none"
    :param copy_bodies: whether frames between seams are copied as they are coded: "auto" (where the clips allow it), "always"
        or "never"; "auto" unless told
    :param replace: as in `render_edit`
    :param progress: as in `render_edit`
    """
    if isinstance(clips, (str, bytes, os.PathLike)):
        raise TypeError("clips must be a list of files")
    names = [os.path.abspath(os.fsdecode(clip)) if _is_file(clip) else clip for clip in clips]
    ids = [effect] if isinstance(effect, str) else list(effect)
    if not ids:
        raise ValueError("effect is an empty list; name at least one")
    shared = {"duration": _time(duration), "direction": direction, "seed": None if seed is None else _seed(seed)}
    made = []
    for i, name in enumerate(names):
        clip = {"file": name}
        if i > 0:
            clip["seam"] = _without_none({"effect": ids[(i - 1) % len(ids)], **shared})
        made.append(clip)
    out = _without_none({"size": _size(size), "rate": None if rate is None else str(rate), "copyBodies": copy_bodies})
    document = _without_none({"tumblewash": 1, "sound": sound, "output": out or None, "still": _time(still), "clips": made})
    render_edit(document, output, replace=replace, progress=progress)


def _is_file(clip):
    return not (isinstance(clip, str) and clip.startswith("pattern:"))


def _text(what, value):
    if not isinstance(value, str):
        raise TypeError(f"{what} must be a text, not {type(value).__name__}")
    return value


def _threads(value):
    threads = operator.index(value)
    if not 1 <= threads <= 64:
        raise ValueError("threads must be a whole number from 1 to 64")
    return threads


def _seed(value):
    seed = operator.index(value)
    if not 0 <= seed <= 0xFFFFFFFF:
        raise ValueError("seed must be a whole number from 0 to 4294967295")
    return seed


def _size(value):
    if value is None or isinstance(value, str):
        return value
    width, height = (operator.index(edge) for edge in value)
    return f"{width}x{height}"


def _time(value):
    if value is None or isinstance(value, str):
        return value
    if not math.isfinite(value):
        raise ValueError(f"{value} is not a time; give seconds, or a text such as '26f'")
    return f"{round(value * 1000)}ms"


def _without_none(values):
    return {key: value for key, value in values.items() if value is not None}
