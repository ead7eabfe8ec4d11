"""A running capture: its buffer, its end, and the ways to read it."""

from __future__ import annotations

import asyncio
import collections
import ctypes
import os
import threading
import time
import warnings
import weakref
from typing import Any, Callable, NamedTuple

from ._library import (
    NOT_STOPPED,
    AudioFormat,
    Callback,
    Endpoint,
    error,
    library,
    open_endpoint,
)

try:
    import numpy
except ImportError:
    numpy = None  # type: ignore[assignment]

_E_FAIL = 0x80004005 - 2**32
_QUIET_SECONDS = 1.0
_PACKETS_WITHOUT_AUDIO = 200


class OverflowWarning(RuntimeWarning):
    """Audio came faster than it was read for longer than the buffer holds, and some is lost."""


class Dtype(NamedTuple):
    kind: int  # of sample, as in the library
    bits: int
    code: str  # of a sample in a memoryview


DTYPES = {
    "uint8": Dtype(0, 8, "B"),
    "int16": Dtype(0, 16, "h"),
    "int24": Dtype(0, 24, "B"),
    "int32": Dtype(0, 32, "i"),
    "float32": Dtype(1, 32, "f"),
}


def make_format(rate: int, channels: int, dtype: str) -> AudioFormat:
    if dtype not in DTYPES:
        raise ValueError(f"dtype is one of {', '.join(DTYPES)}, not {dtype!r}")
    if not 4000 <= rate <= 384000:
        raise ValueError(f"rate is 4000 to 384000 frames a second, not {rate}")
    if not 1 <= channels <= 8:
        raise ValueError(f"channels are 1 to 8, not {channels}")
    kind, bits, _ = DTYPES[dtype]
    return AudioFormat(kind, channels, bits, rate, 0, bits, 0)


# Threads that run a callback right now. Waiting for a capture's end there could wait for itself.
_calling: set[int] = set()
_streams: weakref.WeakSet[Stream] = weakref.WeakSet()


class Stream:
    """The side of a capture that the capture thread knows.

    `condition` guards the buffer. `_lock` guards the handle, and is never held while the capture
    thread is waited for, because a callback may want it.
    """

    def __init__(
        self,
        endpoint: Endpoint | str | None,
        audio_format: AudioFormat,
        silence: bool,
        deliver: Callable[[bytes], None] | None,
        buffer_seconds: float,
    ) -> None:
        self.format = audio_format
        self.frame_bytes = audio_format.channels * audio_format.bits_per_sample // 8
        self.capacity = round(buffer_seconds * audio_format.samples_per_second) * self.frame_bytes
        self.condition = threading.Condition()
        self.closed = False
        self.failure: BaseException | None = None
        self.lost_bytes = 0
        self.wakers: set[Callable[[], None]] = set()
        self._chunks: collections.deque[bytes] = collections.deque()
        self._buffered = 0
        self._packets = 0
        self._heard = False
        self._deliver = deliver
        self._lock = threading.Lock()
        self._closing = False
        self._finished = threading.Event()
        self._library = library()
        # Referenced as long as the library may call it: until _finish has returned.
        self._callback = Callback(self._on_packet)
        self._handle, flow = open_endpoint(endpoint)
        _streams.add(self)
        try:
            if silence and flow == "render":
                self._start("ZevraStartPlay")
            self._start("ZevraStartCapture", self.format, self._callback, None)
        except BaseException:
            self.close()
            raise

    def _start(self, function: str, *arguments: Any) -> None:
        result = getattr(self._library, function)(self._handle, *arguments)
        if result != 0:
            raise error(function, result)

    def _on_packet(self, _reserved: None, _silent: int, data: int | None, length: int) -> None:
        thread = threading.get_ident()
        _calling.add(thread)
        try:
            self._packets += 1
            if length and self.failure is None and not self._closing:
                self._heard = True
                packet = ctypes.string_at(data, length)
                if self._deliver is not None:
                    self._deliver(packet)
                else:
                    self._store(packet)
        except BaseException as failure:  # nothing may pass through the library
            self.failure = failure
        finally:
            _calling.discard(thread)
            self._wake()

    def _store(self, packet: bytes) -> None:
        with self.condition:
            self._chunks.append(packet)
            self._buffered += len(packet)
            while self._buffered > self.capacity and len(self._chunks) > 1:
                lost = len(self._chunks.popleft())
                self._buffered -= lost
                self.lost_bytes += lost

    def _wake(self) -> None:
        with self.condition:
            self.condition.notify_all()
            wakers = list(self.wakers)
        for wake in wakers:
            try:
                wake()
            except RuntimeError:  # its event loop is closed
                self.wakers.discard(wake)

    def take(self, size: int | None) -> bytearray | None:
        """`size` bytes, or all for None; less only at the end. None if that has not come yet."""
        with self.condition:
            wanted = max(size or 0, 1)
            if self._buffered < wanted and not (self.closed and self._buffered):
                return None
            taken = bytearray()
            while self._chunks and (size is None or len(taken) < size):
                taken += self._chunks.popleft()
            if size is not None and len(taken) > size:
                self._chunks.appendleft(bytes(taken[size:]))
                del taken[size:]
            self._buffered -= len(taken)
            return taken

    def wait(self) -> None:
        """Waits for a packet, a second at most. Raises once the stream has ended by itself."""
        with self.condition:
            if self.closed or self.failure:
                return
            came = self.condition.wait(_QUIET_SECONDS)
        self.check(came)

    def check(self, came: bool) -> None:
        """Raises if no audio will come. `came`: whether there was a packet within a second."""
        deaf = self._packets >= _PACKETS_WITHOUT_AUDIO and not self._heard
        if came and not deaf:
            return
        with self._lock:
            if self._closing:
                return
            # A start leaves a running stream alone and says so.
            result = self._library.ZevraStartCapture(self._handle, self.format, None, None)
            if result == NOT_STOPPED:
                if deaf:
                    raise error("the conversion to this format", _E_FAIL)
                return
            self._library.ZevraStopCapture(self._handle)
            volume = ctypes.c_float()
            reason = self._library.ZevraGetVolume(self._handle, volume)
        raise error("the capture ended", reason if reason < 0 else result or _E_FAIL)

    def volume(self) -> float:
        volume = ctypes.c_float()
        with self._lock:
            if self._closing:
                raise ValueError("the capture is closed")
            result = self._library.ZevraGetVolume(self._handle, volume)
        if result < 0:
            raise error("ZevraGetVolume", result)
        return volume.value

    def close(self) -> None:
        with self._lock:
            first = not self._closing
            self._closing = True
        if threading.get_ident() not in _calling:
            if first:
                self._finish()
            self._finished.wait()
        elif first:
            threading.Thread(target=self._finish, name="zevra-close").start()

    def _finish(self) -> None:
        self._library.ZevraStopCapture(self._handle)
        with self._lock:
            # This ends the silence too. ZevraStopPlay would end that of every other capture.
            self._library.ZevraCloseDevice(self._handle)
        self.closed = True
        self._finished.set()
        self._wake()

    def forget(self) -> None:
        """After a fork: the threads, and who held the locks, are in the other process."""
        self.condition = threading.Condition()
        self._lock = threading.Lock()
        self._closing = self.closed = True
        self._finished.set()


def _forget_all() -> None:
    _calling.clear()
    for stream in list(_streams):
        stream.forget()


if hasattr(os, "register_at_fork"):
    os.register_at_fork(after_in_child=_forget_all)


class Tap:
    """A running capture. Made by zevra.capture(); a context manager, which closes it.

    Any thread may use it. It ends with close(), with the `with` block, when nothing refers to it
    any more, and when the interpreter exits.
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
        deliver = None if callback is None else lambda packet: callback(to_array(bytearray(packet)))
        self._to_array = to_array
        self._callback = callback
        self._warned_bytes = 0
        self._raised = False
        self._stream = Stream(endpoint, audio_format, silence, deliver, buffer_seconds)
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
        while not self._stream.closed and (end is None or time.monotonic() < end):
            self._stream.wait()
            self._raise_failure()

    def close(self) -> None:
        """Ends the capture and its silence, which takes up to half a second.

        Raises what the callback raised, once. In a callback it returns at once, and the capture
        ends soon after.
        """
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
                    await asyncio.wait_for(came.wait(), _QUIET_SECONDS)
                except asyncio.TimeoutError:
                    pass
                self._stream.check(came.is_set())
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
