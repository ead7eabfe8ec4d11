"""Records a call: what the machine plays on the left, a microphone on the right.

two_endpoints.py FILE.wav SECONDS [MICROPHONE]
"""

import asyncio
import sys
import wave

import zevra

RATE = 16000


async def record(file, seconds, microphone):
    settings = {"rate": RATE, "channels": 1, "dtype": "int16"}
    async with zevra.capture(**settings) as played, zevra.capture(microphone, **settings) as spoken:
        left_blocks, right_blocks = played.blocks(seconds=0.1), spoken.blocks(seconds=0.1)
        for _ in range(round(seconds / 0.1)):
            # Both clocks count the same time but for a few frames an hour.
            left, right = await asyncio.gather(left_blocks.__anext__(), right_blocks.__anext__())
            both = bytearray(2 * left.nbytes)
            frames = memoryview(both).cast("h")
            frames[0::2] = memoryview(left).cast("B").cast("h")
            frames[1::2] = memoryview(right).cast("B").cast("h")
            file.writeframes(both)


def main():
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    microphones = zevra.endpoints("capture")
    if len(sys.argv) > 3:
        microphone = zevra.Endpoint(sys.argv[3], "capture")
    elif microphones:
        microphone = microphones[0]
    else:
        sys.exit("there is no microphone")
    with wave.open(sys.argv[1], "wb") as file:
        file.setparams((2, 2, RATE, 0, "NONE", None))
        asyncio.run(record(file, float(sys.argv[2]), microphone))


main()
