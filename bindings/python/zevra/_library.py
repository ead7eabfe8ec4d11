"""Finds the shared library and calls it: declarations, results, threads.

The library's own functions are reached through `library()`, which also initialises it on the
calling thread. Text is UTF-16 in native order there, and str outside.
"""

from __future__ import annotations

import ctypes
import glob
import os
import sys
import threading
from dataclasses import dataclass
from typing import Any

FLOWS = {"render": 0, "capture": 1}
NOT_STOPPED = 0x88890005 - 2**32
_CHANGED_MODE = 0x80010106 - 2**32
_NAMES = {
    0x80004003: "ZEVRA_E_POINTER",
    0x80004005: "ZEVRA_E_FAIL",
    0x8000FFFF: "ZEVRA_E_UNEXPECTED",
    0x80070006: "ZEVRA_E_HANDLE",
    0x8007000E: "ZEVRA_E_OUTOFMEMORY",
    0x80070057: "ZEVRA_E_INVALIDARG",
    0x80070490: "ZEVRA_E_NOT_FOUND",
    0x800401F0: "ZEVRA_E_NOT_INITIALIZED",
    0x88890004: "ZEVRA_E_DEVICE_INVALIDATED",
    0x88890005: "ZEVRA_E_NOT_STOPPED",
    0x88890010: "ZEVRA_E_SERVICE_NOT_RUNNING",
}


class Error(Exception):
    """A call of the library that failed.

    call: the function. result: its signed result; positive is an error number of the system.
    name: the result's name in zevra.h, such as "ZEVRA_E_NOT_FOUND", or "" if it has none.
    """

    def __init__(self, call: str, result: int) -> None:
        super().__init__(call, result)
        self.call = call
        self.result = result
        self.name = _NAMES.get(result % 2**32, "")

    def __str__(self) -> str:
        if self.result > 0:
            return f"{self.call}: {os.strerror(self.result)} (error {self.result})"
        code = f"0x{self.result % 2**32:08X}"
        return f"{self.call}: {self.name} ({code})" if self.name else f"{self.call}: {code}"


class NotFoundError(Error, LookupError):
    """No endpoint has that name, or there is no default endpoint."""


class EndpointLostError(Error):
    """The endpoint was removed, or the sound server ended."""


class ServiceNotRunningError(Error):
    """The audio service (on Linux: the sound server) is not running."""


_CLASSES = {
    "ZEVRA_E_NOT_FOUND": NotFoundError,
    "ZEVRA_E_DEVICE_INVALIDATED": EndpointLostError,
    "ZEVRA_E_SERVICE_NOT_RUNNING": ServiceNotRunningError,
}


def error(call: str, result: int) -> Error:
    return _CLASSES.get(_NAMES.get(result % 2**32, ""), Error)(call, result)


class LibraryNotFoundError(ImportError):
    """The shared library is nowhere that it is looked for, or cannot be loaded."""


@dataclass(frozen=True)
class Endpoint:
    """An audio endpoint. flow: "render" if it plays, "capture" if it records."""

    name: str
    flow: str


class AudioFormat(ctypes.Structure):
    _fields_ = [
        ("sample_kind", ctypes.c_int32),
        ("channels", ctypes.c_uint16),
        ("bits_per_sample", ctypes.c_uint16),
        ("samples_per_second", ctypes.c_uint32),
        ("channel_mask", ctypes.c_uint32),
        ("valid_bits_per_sample", ctypes.c_uint16),
        ("reserved", ctypes.c_uint16),
    ]


class DeviceList(ctypes.Structure):
    _fields_ = [("names", (ctypes.c_uint16 * 256) * 8), ("count", ctypes.c_uint32)]


Callback = ctypes.CFUNCTYPE(
    None, ctypes.c_void_p, ctypes.c_uint32, ctypes.c_void_p, ctypes.c_uint32
)

_HANDLE = ctypes.c_void_p
_FUNCTIONS: dict[str, list[Any]] = {
    "ZevraInitialize": [],
    "ZevraUninitialize": [],
    "ZevraGetInnerRecordDeviceList": [ctypes.POINTER(DeviceList)],
    "ZevraGetOutRecordDeviceList": [ctypes.POINTER(DeviceList)],
    "ZevraOpenDevice": [ctypes.POINTER(_HANDLE), ctypes.c_char_p, ctypes.c_uint32],
    "ZevraCloseDevice": [_HANDLE],
    "ZevraStartPlay": [_HANDLE],
    "ZevraStartCapture": [
        _HANDLE,
        ctypes.POINTER(AudioFormat),
        ctypes.c_void_p,
        ctypes.c_void_p,
    ],
    "ZevraStopCapture": [_HANDLE],
    "ZevraGetVolume": [_HANDLE, ctypes.POINTER(ctypes.c_float)],
}


def _places() -> list[str]:
    wanted = os.environ.get("ZEVRA_LIBRARY", "")
    builtin = wanted == "builtin"
    if wanted and not builtin:
        return [wanted]
    name = "zevra.dll" if sys.platform == "win32" else "libzevra.so.1"
    if builtin:
        name = "libzevra-builtin.so.1"
    beside = os.path.join(os.path.dirname(os.path.abspath(__file__)), name)
    places = [beside] if os.path.exists(beside) else []
    places.append(name)
    if builtin:
        # It is installed in a folder of its own beside the library.
        folders = os.environ.get("LD_LIBRARY_PATH", "").split(":")
        folders += ["/usr/local/lib", "/usr/local/lib/*", "/usr/lib", "/usr/lib/*"]
        for folder in filter(None, folders):
            places += glob.glob(os.path.join(folder, "zevra", name))
    return places


def _load() -> ctypes.CDLL:
    failures = []
    for place in _places():
        try:
            # A bare name is looked for where the system's loader looks, on Windows in PATH too.
            loaded = ctypes.CDLL(place, winmode=0)
        except OSError as failure:
            failures.append(str(failure))
            continue
        for function, arguments in _FUNCTIONS.items():
            getattr(loaded, function).argtypes = arguments
            getattr(loaded, function).restype = ctypes.c_int32
        return loaded
    raise LibraryNotFoundError("cannot load zevra's library: " + "; ".join(failures))


class _Initialization:
    """Keeps the library initialised on the thread that made it, until that thread ends."""

    def __init__(self, loaded: ctypes.CDLL) -> None:
        self._undo = None
        self._thread = threading.get_ident()
        result = loaded.ZevraInitialize()
        # A thread whose COM somebody else initialised for many threads does as well.
        if result < 0 and result != _CHANGED_MODE:
            raise error("ZevraInitialize", result)
        if result >= 0:
            self._undo = loaded.ZevraUninitialize

    def __del__(self, here=threading.get_ident, ending=sys.is_finalizing) -> None:
        if self._undo is not None and here() == self._thread and not ending():
            self._undo()


_lock = threading.Lock()
_loaded: ctypes.CDLL | None = None
_thread = threading.local()


def library() -> ctypes.CDLL:
    """The library, loaded once and initialised on the calling thread."""
    global _loaded
    with _lock:
        if _loaded is None:
            _loaded = _load()
    if not hasattr(_thread, "initialization"):
        _thread.initialization = _Initialization(_loaded)
    return _loaded


def endpoints(flow: str | None = None) -> list[Endpoint]:
    """The active endpoints, those that play first; with `flow` only "render" or "capture".

    The library lists at most eight of each flow, on Linux the default endpoint first. Raises Error, such as ServiceNotRunningError.
    """
    if flow is not None and flow not in FLOWS:
        raise ValueError(f'flow is "render", "capture" or None, not {flow!r}')
    lists = {
        "render": library().ZevraGetInnerRecordDeviceList,
        "capture": library().ZevraGetOutRecordDeviceList,
    }
    found = []
    for one in [flow] if flow else list(lists):
        rows = DeviceList()
        result = lists[one](rows)
        # An endpoint that could not be asked does not hide the others.
        if result < 0 and rows.count == 0:
            raise error("ZevraGetDeviceList", result)
        for row in rows.names[: rows.count]:
            units = bytes(row)[: 2 * (list(row) + [0]).index(0)]
            found.append(Endpoint(units.decode("utf-16-le", "replace"), one))
    return found


def open_endpoint(endpoint: Endpoint | str | None) -> tuple[ctypes.c_void_p, str]:
    """An open handle, the caller's to close, and the endpoint's flow."""
    choices: list[tuple[str | None, str]] = [(None, "render")]
    if isinstance(endpoint, Endpoint):
        choices = [(endpoint.name, endpoint.flow)]
    elif endpoint is not None:
        choices = [(endpoint, "render"), (endpoint, "capture")]
    handle = _HANDLE()
    result = 0
    for name, flow in choices:
        if name is not None and "\0" in name:
            raise ValueError("an endpoint's name has no null character")
        text = None if name is None else (name + "\0").encode("utf-16-le", "surrogatepass")
        result = library().ZevraOpenDevice(handle, text, FLOWS[flow])
        if result >= 0:
            return handle, flow
        if not isinstance(error("", result), NotFoundError):
            break
    raise error(f"ZevraOpenDevice({name!r})" if name else "ZevraOpenDevice", result)
