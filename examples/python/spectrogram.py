"""Draws the spectrogram of what the machine plays; needs NumPy and Matplotlib.

spectrogram.py PICTURE [SECONDS]
"""

import sys

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plot
import numpy

import zevra

RATE = 48000


def main():
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    seconds = float(sys.argv[2]) if len(sys.argv) > 2 else 5.0
    with zevra.capture(rate=RATE, channels=1, buffer_seconds=2 * seconds) as tap:
        sound = next(tap.blocks(seconds=seconds))[:, 0]
    # A little noise, far below what is heard, so that silence has a level too.
    figure, axes = plot.subplots(figsize=(10, 5))
    noise = 1e-8 * numpy.random.default_rng().standard_normal(len(sound))
    axes.specgram(sound + noise, NFFT=2048, Fs=RATE, noverlap=1536, vmin=-140)
    axes.set(xlabel="seconds", ylabel="Hz", ylim=(0, 12000))
    figure.savefig(sys.argv[1])


main()
