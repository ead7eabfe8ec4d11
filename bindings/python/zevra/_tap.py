"""A running capture as a host sees it, and the ways to read it."""

from __future__ import annotations

import asyncio
import time
import warnings
import weakref
from typing import Any, Callable

from ._library import Endpoint
from ._stream import DTYPES, QUIET_SECONDS, Stream, make_format

try:
    import numpy
except ImportError:
    numpy = None  # type: ignore[assignment]


class OverflowWarning(RuntimeWarning):
    """Audio came faster than it was read for longer than the buffer holds, and some is lost."""


class Tap:
    """A running capture. Made by zevra.capture(); a context manager, which closes it.

    Any thread may use it, as long as one that has called zevra.capture() runs. It ends with
    close(), with the `with` block, when nothing refers to it any more, and when the interpreter
    exits.
    """

    def __init__(
        self,
        endpoint: Endpoint | str | None,
        rate: int,
        channels: int,
        dtype: str,
        callback: Callable[[Any], None] | None,
        silence: bool,
        buffer_seconds: float,
    ) -> None:
        self.rate = rate
        self.channels = channels
        self.dtype = dtype
        audio_format = make_format(rate, channels, dtype)
        if not buffer_seconds > 0:
            raise ValueError(f"buffer_seconds is above 0, not {buffer_seconds}")
        to_array = _array_maker(dtype, channels)
        self._to_array = to_array
        self._callback = callback
        self._warned_bytes = 0
        self._raised = False
        # The stream must not keep a tap that only its own callback refers to.
        here = weakref.ref(self)

        def deliver(packet: bytes) -> None:
            if (tap := here()) is not None:
                tap._callback(to_array(bytearray(packet)))

        self._stream = Stream(
            endpoint, audio_format, silence, deliver if callback is not None else None, buffer_seconds
        )
        # Also runs when the interpreter exits: a callback then would find no interpreter.
        self._end = weakref.finalize(self, self._stream.close)

    @property
    def lost_frames(self) -> int:
        """Frames lost so far because they were not read in time; see `buffer_seconds`."""
        return self._stream.lost_bytes // self._stream.frame_bytes

    @property
    def volume(self) -> float:
        """The endpoint's master volume: 0.0 to 1.0, on the scale of the system's mixer."""
        return self._stream.volume()

    def blocks(self, seconds: float | None = None, frames: int | None = None) -> Blocks:
        """Iterates over the audio, with `for` or with `async for`.

        Each block has the shape (frames, channels): a NumPy array of the tap's dtype, or without
        NumPy a memoryview. For "int24" it is (frames, channels, 3) of little-endian bytes. With
        `seconds` or `frames` all blocks but the last have that length; without, a block is what
        has come since the one before. The iteration ends when the tap is closed.

        Warns with OverflowWarning where frames are lost between two blocks. Raises
        EndpointLostError or another Error if the capture ends by itself.
        """
        if self._callback is not None:
            raise ValueError("the callback receives this tap's audio")
        if seconds is not None:
            frames = round(seconds * self.rate)
        if frames is not None and frames < 1:
            raise ValueError("a block has at least one frame")
        return Blocks(self, frames)

    def wait(self, seconds: float | None = None) -> None:
        """Waits until the tap is closed or `seconds` are over.

        Raises what the callback raised, and Error if the capture ends by itself.
        """
        end = None if seconds is None else time.monotonic() + seconds
        while not self._stream.closed:
            left = QUIET_SECONDS if end is None else end - time.monotonic()
            if left <= 0:
                return
            self._stream.wait(left)
            if self._stream.failure is not None:
                self._raised = True
                raise self._stream.failure

    def close(self) -> None:
        """Ends the capture and its silence, which takes up to half a second.

        Raises what the callback raised, once. In a callback it returns at once, and the capture
        ends soon after.
        """
        # At its exit the interpreter waits for a close that a callback has begun.
        if not self._stream.in_callback():
            self._end()
        # Another thread may be at it.
        self._stream.close()
        self._raise_failure()

    def _raise_failure(self) -> None:
        failure = self._stream.failure
        if failure is not None and not self._raised:
            self._raised = True
            raise failure

    def __enter__(self) -> Tap:
        return self

    def __exit__(self, kind: Any, *_: Any) -> None:
        if kind is None:
            self.close()
        else:
            self._end()

    async def __aenter__(self) -> Tap:
        return self

    async def __aexit__(self, *reason: Any) -> None:
        await asyncio.get_running_loop().run_in_executor(None, self.__exit__, *reason)


class Blocks:
    """The iterator of Tap.blocks()."""

    def __init__(self, tap: Tap, frames: int | None) -> None:
        self._tap = tap
        self._stream = tap._stream
        self._size = None
        if frames is not None:
            self._size = frames * self._stream.frame_bytes
            # What is dropped from a full buffer must not keep a block from coming together.
            self._stream.capacity = max(self._stream.capacity, 2 * self._size)

    def _next(self) -> Any:
        """A block, or None if it has not come yet. StopIteration after the last."""
        ended = self._stream.closed
        data = self._stream.take(self._size)
        tap = self._tap
        if data is not None:
            if self._stream.lost_bytes > tap._warned_bytes:
                tap._warned_bytes = self._stream.lost_bytes
                warnings.warn(
                    f"{tap.lost_frames} frames lost so far: they were not read in time",
                    OverflowWarning,
                    stacklevel=3,
                )
            return tap._to_array(data)
        tap._raise_failure()
        if ended:
            raise StopIteration
        return None

    def __iter__(self) -> Blocks:
        return self

    def __next__(self) -> Any:
        while (block := self._next()) is None:
            self._stream.wait()
        return block

    def __aiter__(self) -> Blocks:
        return self

    async def __anext__(self) -> Any:
        loop = asyncio.get_running_loop()
        came = asyncio.Event()

        def wake() -> None:
            loop.call_soon_threadsafe(came.set)

        self._stream.wakers.add(wake)
        try:
            while True:
                came.clear()
                try:
                    block = self._next()
                except StopIteration:
                    raise StopAsyncIteration from None
                if block is not None:
                    return block
                try:
                    await asyncio.wait_for(came.wait(), QUIET_SECONDS)
                except asyncio.TimeoutError:
                    pass
                self._stream.check()
        finally:
            self._stream.wakers.discard(wake)


def _array_maker(dtype: str, channels: int) -> Callable[[bytearray], Any]:
    _, bits, code = DTYPES[dtype]
    shape = (channels, 3) if bits == 24 else (channels,)
    kind = "uint8" if bits == 24 else dtype

    def with_numpy(data: bytearray) -> Any:
        return numpy.frombuffer(data, kind).reshape(-1, *shape)

    def without(data: bytearray) -> Any:
        frames = len(data) * 8 // (bits * channels)
        return memoryview(data).cast(code, (frames, *shape))

    return without if numpy is None else with_numpy
