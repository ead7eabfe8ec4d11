"""Tests a program that records with zevra, on a machine without sound.

    python3 host_test.py PROGRAM

PROGRAM is called with a file and a number of seconds, and records what the machine plays as 16 kHz,
one channel, 16 bits, as the example record.c does. It is tested as it is shipped: the loader finds
libzevra's twin under the library's name, and a settings file beside it says what is to be heard.
"""

import array
import math
import os
import pathlib
import random
import subprocess
import sys
import tempfile
import unittest
import wave

RATE = 16000


def twin() -> pathlib.Path:
    """Where the development package has put the twin."""
    libdir = subprocess.run(
        ["pkg-config", "--variable=libdir", "zevra"], check=True, text=True, capture_output=True
    )
    return pathlib.Path(libdir.stdout.strip(), "zevra", "libzevra-builtin.so.1")


class HostTest(unittest.TestCase):
    program = ""

    def setUp(self) -> None:
        holder = tempfile.TemporaryDirectory()
        self.addCleanup(holder.cleanup)
        self.folder = pathlib.Path(holder.name)
        (self.folder / "libzevra.so.1").symlink_to(twin())

    def record(self, settings: str) -> "array.array[int]":
        """A second of what the program hears, in samples."""
        (self.folder / "zevra-builtin.cfu").write_text(settings)
        heard = self.folder / "heard.wav"
        paths = [str(self.folder), os.environ.get("LD_LIBRARY_PATH", "")]
        subprocess.run(
            [self.program, heard, "1"],
            check=True,
            timeout=60,
            env={**os.environ, "LD_LIBRARY_PATH": ":".join(filter(None, paths))},
        )
        with wave.open(str(heard)) as file:
            self.assertEqual((file.getframerate(), file.getnchannels()), (RATE, 1))
            samples = array.array("h", file.readframes(file.getnframes()))
        self.assertGreater(len(samples), RATE / 2)
        return samples

    def test_speech_arrives_sample_by_sample(self) -> None:
        speech = array.array("h", (random.randrange(-20000, 20000) for _ in range(RATE)))
        with wave.open(str(self.folder / "speech.wav"), "wb") as file:
            file.setparams((1, 2, RATE, 0, "NONE", ""))
            file.writeframes(speech.tobytes())
        heard = self.record("[speakers]\nplays=speech.wav\n")
        # The file is played over and over; the recording begins somewhere in it.
        rounds = len(heard) // RATE + 2
        self.assertIn(heard.tobytes(), speech.tobytes() * rounds)

    def test_a_tone_keeps_its_level_and_pitch(self) -> None:
        heard = self.record("[speakers]\nplays=tone\nfrequency=1000\nlevel=-20\nrate=44100\n")
        steady = heard[RATE // 4 :]
        level = math.sqrt(2 * sum(s * s for s in steady) / len(steady)) / 32768
        self.assertAlmostEqual(20 * math.log10(level), -20, delta=0.1)
        rises = sum(a < 0 <= b for a, b in zip(steady, steady[1:]))
        self.assertAlmostEqual(rises / len(steady) * RATE, 1000, delta=5)

    def test_silence_stays_silent(self) -> None:
        self.assertEqual(set(self.record("[speakers]\nplays=silence\n")), {0})

    def test_a_wrong_setting_is_told_in_the_log(self) -> None:
        heard = self.record("[speakers]\nplays=missing.wav\n")
        self.assertGreater(max(heard), 1000)  # the melody, as without the setting
        log = (self.folder / "zevra.log").read_text()
        self.assertIn("plays=missing.wav cannot be played: there is no such file", log)


if __name__ == "__main__":
    HostTest.program = sys.argv.pop(1)
    unittest.main()
