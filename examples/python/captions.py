"""Live captions: gives what is said on this machine to a speech recogniser, sentence by sentence.

    captions.py COMMAND [ARGUMENT...]

COMMAND reads a WAV file of 16 kHz, one channel, 16 bits from its standard input and prints the text.
"""

import io
import queue
import subprocess
import sys
import threading
import wave

import zevra

RATE = 16000
BLOCK_SECONDS = 0.1
QUIET = 500  # of 32768: no speech is below
PAUSE_BLOCKS = 5  # end a sentence
LONGEST_BLOCKS = 150


def recognize(sentences, command):
    while (sentence := sentences.get()) is not None:
        file = io.BytesIO()
        with wave.open(file, "wb") as sound:
            sound.setparams((1, 2, RATE, 0, "NONE", None))
            sound.writeframes(sentence)
        try:
            done = subprocess.run(command, input=file.getvalue(), stdout=subprocess.PIPE, check=True)
            print(done.stdout.decode().strip(), flush=True)
        except (OSError, subprocess.CalledProcessError) as error:
            print(f"captions: {error}", file=sys.stderr)


def sentences_of(tap):
    sentence, pause = bytearray(), 0
    try:
        for block in tap.blocks(seconds=BLOCK_SECONDS):
            samples = memoryview(block).cast("B").cast("h")
            loud = max(max(samples), -min(samples)) > QUIET
            pause = 0 if loud else pause + 1
            if loud or sentence:
                sentence += samples.tobytes()
            too_long = len(sentence) > LONGEST_BLOCKS * BLOCK_SECONDS * RATE * 2
            if sentence and (pause == PAUSE_BLOCKS or too_long):
                yield bytes(sentence)
                sentence.clear()
    except KeyboardInterrupt:
        pass
    if sentence:
        yield bytes(sentence)


def main():
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    # The recogniser has a thread of its own, so that no audio is lost while it works.
    sentences = queue.Queue()
    recognizer = threading.Thread(target=recognize, args=(sentences, sys.argv[1:]))
    recognizer.start()
    try:
        with zevra.capture(rate=RATE, channels=1, dtype="int16") as tap:
            for sentence in sentences_of(tap):
                sentences.put(sentence)
    finally:
        sentences.put(None)
        recognizer.join()


main()
