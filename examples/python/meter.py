"""A level meter of what the machine plays, or of an endpoint by its name.

meter.py [NAME]
"""

import math
import sys

import zevra

COLUMNS = 60
LOWEST_DB = -60


def bar(peak):
    db = max(LOWEST_DB, 20 * math.log10(max(peak, 1e-9)))
    filled = round(COLUMNS * (1 - db / LOWEST_DB))
    return f"{'#' * filled:<{COLUMNS}} {db:6.1f} dB"


def main():
    name = sys.argv[1] if len(sys.argv) > 1 else None
    with zevra.capture(name, channels=2) as tap:
        for block in tap.blocks(seconds=0.05):
            samples = memoryview(block).cast("B").cast("f")
            # The samples of both channels take turns.
            peaks = [max(map(abs, samples[channel::2])) for channel in (0, 1)]
            print("\r" + "  ".join(bar(peak) for peak in peaks), end="", flush=True)


try:
    main()
except KeyboardInterrupt:
    print()
