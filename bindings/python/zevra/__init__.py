"""zevra: a tap on the machine's audio.

    import zevra

    for endpoint in zevra.endpoints():
        print(endpoint.name, endpoint.flow)

    with zevra.capture(rate=16000, channels=1, dtype="int16") as tap:  # what the machine plays
        for block in tap.blocks(seconds=0.5):  # (frames, channels)
            ...

    zevra.record("meeting.wav", seconds=60)

Failures of the library are raised as zevra.Error with the result's name. Any thread may call
anything here. The library is looked for beside this package and then where the system's loader
looks; the environment variable ZEVRA_LIBRARY names another file, or with the word "builtin" the
twin that needs no sound server, for tests.
"""

from __future__ import annotations

import os
import wave
from typing import Any, Callable

from ._library import (
    Endpoint,
    EndpointLostError,
    Error,
    LibraryNotFoundError,
    NotFoundError,
    ServiceNotRunningError,
    endpoints,
)
from ._stream import DTYPES
from ._tap import Blocks, OverflowWarning, Tap

__all__ = [
    "Blocks",
    "Endpoint",
    "EndpointLostError",
    "Error",
    "LibraryNotFoundError",
    "NotFoundError",
    "OverflowWarning",
    "ServiceNotRunningError",
    "Tap",
    "capture",
    "endpoints",
    "record",
]


def capture(
    endpoint: Endpoint | str | None = None,
    *,
    rate: int = 48000,
    channels: int = 2,
    dtype: str = "float32",
    callback: Callable[[Any], None] | None = None,
    silence: bool = True,
    buffer_seconds: float = 10.0,
) -> Tap:
    """Starts to capture and gives the running capture, best used in a `with` statement.

    endpoint: None for what the machine plays (the default endpoint), or an Endpoint, or its full
        name, compared without case; one that plays comes before one that records.
    rate: frames a second, 4000 to 384000. channels: 1 to 8.
    dtype: "uint8", "int16", "int24", "int32" or "float32" (full scale is -1.0 to 1.0).
    callback: called on the capture thread with each block, as Tap.blocks() describes it. It should
        return soon. What it raises ends the calls; Tap.wait() and Tap.close() raise it.
    silence: keep the endpoint awake by silence, so that blocks come while nothing else plays.
    buffer_seconds: how much waits to be read; the oldest audio is lost beyond that, see
        Tap.lost_frames.

    Raises NotFoundError, ServiceNotRunningError or another Error; ValueError for a format that does
    not exist; LibraryNotFoundError.
    """
    return Tap(endpoint, rate, channels, dtype, callback, silence, buffer_seconds)


def record(
    path: str | os.PathLike[str],
    seconds: float,
    endpoint: Endpoint | str | None = None,
    *,
    rate: int = 48000,
    channels: int = 2,
    dtype: str = "int16",
    silence: bool = True,
) -> int:
    """Records into a WAV file and gives the number of frames, `seconds` times `rate`.

    dtype is one of the integers. An exception, such as KeyboardInterrupt, leaves a whole file with
    what has come by then. Otherwise like capture(); raises OSError if the file cannot be written.
    """
    if dtype == "float32":
        raise ValueError("a WAV file is recorded with integer samples")
    frames = round(seconds * rate)
    with capture(endpoint, rate=rate, channels=channels, dtype=dtype, silence=silence) as tap:
        frame_bytes = channels * DTYPES[dtype].bits // 8
        left = frames * frame_bytes
        if not 0 <= left < 2**32 - 64:
            raise ValueError("a WAV file holds up to 4 GiB")
        with open(path, "wb") as raw, wave.open(raw, "wb") as file:
            file.setnchannels(channels)
            file.setsampwidth(frame_bytes // channels)
            file.setframerate(rate)
            for block in tap.blocks():
                data = memoryview(block).cast("B")[:left]
                file.writeframesraw(data)
                left -= len(data)
                if left == 0:
                    break
    return frames


# A traceback shows the names that a host can import.
for _name in __all__:
    if isinstance(globals()[_name], type):
        globals()[_name].__module__ = __name__
