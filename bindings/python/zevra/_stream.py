"""The side of a capture that the capture thread knows: its format, its buffer, its end."""

from __future__ import annotations

import collections
import ctypes
import os
import threading
import time
import weakref
from typing import Any, Callable, NamedTuple

from ._library import NOT_STOPPED, AudioFormat, Callback, Endpoint, error, library, open_endpoint

_E_FAIL = 0x80004005 - 2**32
_E_DEVICE_INVALIDATED = 0x88890004 - 2**32
QUIET_SECONDS = 1.0
_PACKETS_WITHOUT_AUDIO = 200


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
    """A running capture and, where that was asked for, the silence on its endpoint.

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
        self._came = time.monotonic()  # the last packet, or the last sign that one may still come
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
            self._came = time.monotonic()
            if length and self.failure is None and not self._closing:
                self._heard = True
                packet = ctypes.string_at(data, length)
                if self._deliver is not None:
                    self._deliver(packet)
                else:
                    self._store(packet)
        except StopIteration as stop:  # no future takes it
            self.failure = RuntimeError("the callback raised StopIteration")
            self.failure.__cause__ = stop
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

    def wait(self, most: float = QUIET_SECONDS) -> None:
        """Waits for a packet, `most` seconds at most. Raises once the stream has ended by itself."""
        with self.condition:
            if self.closed or self.failure:
                return
            self.condition.wait(min(most, QUIET_SECONDS))
        self.check()

    def check(self) -> None:
        """Raises if no audio will come. Finds out where no packet has come for a second."""
        deaf = self._packets >= _PACKETS_WITHOUT_AUDIO and not self._heard
        if time.monotonic() - self._came < QUIET_SECONDS and not deaf:
            return
        self._came = time.monotonic()
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
        # What went away may be back by now.
        raise error("the capture ended", min(reason, 0) or result or _E_DEVICE_INVALIDATED)

    def volume(self) -> float:
        volume = ctypes.c_float()
        with self._lock:
            if self._closing:
                raise ValueError("the capture is closed")
            result = self._library.ZevraGetVolume(self._handle, volume)
        if result < 0:
            raise error("ZevraGetVolume", result)
        return volume.value

    @staticmethod
    def in_callback() -> bool:
        return threading.get_ident() in _calling

    def close(self) -> None:
        with self._lock:
            first = not self._closing
            self._closing = True
        if not self.in_callback():
            if first:
                self._finish()
            self._finished.wait()
        elif first:
            # Not the daemon that it would inherit here: the interpreter waits for it.
            threading.Thread(target=self._finish, name="zevra-close", daemon=False).start()

    def _finish(self) -> None:
        # Ctrl-C may come between any two of these.
        try:
            self._library.ZevraStopCapture(self._handle)
        finally:
            try:
                with self._lock:
                    # This ends the silence too. ZevraStopPlay would end that of every other capture.
                    self._library.ZevraCloseDevice(self._handle)
            finally:
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
