"""The Python package over the twin, whose endpoints are inside the process, and beside a server."""

import asyncio
import gc
import subprocess
import sys
import tempfile
import threading
import time
import unittest
import warnings
import wave
import weakref

if "--without-numpy" in sys.argv:
    sys.argv.remove("--without-numpy")
    sys.modules["numpy"] = None
import zevra


def peak_of(data, dtype):
    """The greatest sample, 1.0 at full scale; the tunes reach half of it."""
    data = memoryview(data).cast("B")
    if dtype == "float32":
        return max(map(abs, data.cast("f")))
    size, flip = int(dtype.lstrip("uint")) // 8, 0 if dtype == "uint8" else 128
    return max(abs((upper ^ flip) - 128) for upper in data[size - 1 :: size]) / 128


class Builtin(unittest.TestCase):
    def test_formats(self):
        rows = [("uint8", 1, 8000, 1), ("int16", 2, 16000, 1), ("int16", 2, 44100, 2)]
        rows += [("int24", 3, 48000, 2), ("int32", 4, 96000, 6), ("float32", 4, 48000, 2)]
        for dtype, width, rate, channels in rows:
            wanted = {"rate": rate, "channels": channels, "dtype": dtype, "silence": False}
            with self.subTest(**wanted), tempfile.TemporaryDirectory() as folder:
                with zevra.capture(**wanted) as tap:
                    block = next(tap.blocks(seconds=0.5))
                self.assertEqual(block.shape[:2], (rate // 2, channels))
                self.assertTrue(0.2 < peak_of(block, dtype) < 0.75)
                if dtype != "float32":
                    zevra.record(folder + "/a.wav", 0.5, **wanted)
                    with wave.open(folder + "/a.wav") as file:
                        self.assertEqual(file.getparams()[:4], (channels, width, rate, rate // 2))

    def test_forms_at_once(self):
        async def count_blocks(tap, count):
            async for _ in tap.blocks(seconds=0.1):
                if (count := count - 1) == 0:
                    return True

        async def both():
            async with zevra.capture() as a, zevra.capture("Built-in Microphone") as b:
                return await asyncio.gather(count_blocks(a, 3), count_blocks(b, 5))

        called = threading.Event()
        with zevra.capture("built-in headphones", callback=lambda block: called.set()) as kept:
            self.assertEqual(asyncio.run(both()), [True, True])
            self.assertTrue(called.wait(60))  # by its silence: nothing else plays there
            self.assertEqual(kept.volume, 1.0)

    def test_ends_and_failures(self):
        with self.assertRaisesRegex(LookupError, r"'nobody'\): ZEVRA_E_NOT_FOUND \(0x80070490\)"):
            zevra.capture("nobody")
        for wrong in {"rate": 100}, {"channels": 9}, {"dtype": "int8"}, {"buffer_seconds": 0}, {"endpoint": "\0"}:
            self.assertRaises(ValueError, zevra.capture, **wrong)
        for fail, raised in (lambda block: {}[block.nbytes], KeyError), (lambda block: next(iter([])), RuntimeError):
            with zevra.capture(callback=fail) as failing:
                for _ in range(2):
                    self.assertRaises(raised, failing.wait, 60)

        class Owner:
            def __init__(self):
                self.tap = zevra.capture(callback=self.hear)

            def hear(self, block):
                pass

        owner = weakref.ref(Owner())
        gc.collect()
        self.assertIsNone(owner())
        taps = []
        taps.append(zevra.capture(callback=lambda block: taps and taps[0].close()))
        taps[0].wait(60)
        self.assertRaises(ValueError, lambda: taps[0].volume)
        with warnings.catch_warnings(record=True) as seen:
            warnings.simplefilter("always")
            slow = zevra.capture(rate=8000, channels=1, buffer_seconds=0.1)
            time.sleep(1)
            self.assertEqual(next(slow.blocks(seconds=1)).shape, (8000, 1))
            self.assertGreater(slow.lost_frames, 800)
            time.sleep(0.5)
            slow.close()
            rest = [block.shape[0] for block in slow.blocks(frames=100)]
            self.assertEqual(set(rest[:-1]), {100})
            self.assertGreater(sum(rest), 2000)
        self.assertIs(seen[0].category, zevra.OverflowWarning)

    def test_exit_with_running_captures(self):
        start = "import zevra, os, sys, time; t = [zevra.capture(callback=lambda b: sum(range(9999))) for _ in 'ab']\n"
        closing = "t.clear(); c = []; c.append(zevra.capture(callback=lambda b: c and (c[0].close(), sum(range(2**23)))))"
        closing += "\nwhile not c[0]._stream._closing: time.sleep(0.001)"
        ends = [("", 0), ("del t; sys.exit(3)", 3), ("os.fork() or sys.exit(0); os.wait()", 0), (closing, 0)]
        for end, code in ends:
            run = subprocess.run([sys.executable, "-c", start + end], stderr=subprocess.PIPE, timeout=60)
            self.assertEqual((run.returncode, run.stderr), (code, b""), end)


class Server(unittest.TestCase):
    def test_any_name_until_the_endpoint_goes(self):
        name = "Größe € 🎧"
        load = ["pactl", "load-module", "module-null-sink", "sink_name=python"]
        module = subprocess.check_output(load + [f"sink_properties='device.description=\"{name}\"'"])
        self.assertIn(zevra.Endpoint(name, "render"), zevra.endpoints("render"))
        with zevra.capture(name, rate=16000, channels=1, dtype="int16") as tap:
            blocks = tap.blocks(seconds=0.1)
            self.assertEqual(next(blocks).shape, (1600, 1))
            # Also where it is back before anybody has looked.
            subprocess.check_call(["pactl", "unload-module", module.strip()])
            subprocess.check_output(load + [f"sink_properties='device.description=\"{name}\"'"])
            self.assertRaises(zevra.EndpointLostError, list, blocks)


if __name__ == "__main__":
    unittest.main()
