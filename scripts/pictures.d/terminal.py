"""Runs the commands of README's picture in a terminal and draws what it shows as an SVG.

    terminal.py FILE

It runs under Debian's own Python, which python3-pyte belongs to.
"""

import html
import os
import pathlib
import pty
import select
import signal
import subprocess
import sys
import termios
import time

import pyte

COLUMNS, LINES = 92, 24
CELL_WIDTH, CELL_HEIGHT, MARGIN, BAR = 8.4, 19, 14, 30

FOREGROUND, BACKGROUND = "#d7dae0", "#1d2025"
COLOURS = {
    "green": "#5fbf77",
    "brown": "#e2b14a",
    "red": "#e4655f",
    "brightblack": "#7f8794",
}

# Each channel's tone in hertz, its loudest level, and how often a second it swells.
TONES = [
    (440, 0.62, 1.1),
    (554, 0.42, 0.9),
    (330, 0.9, 0.7),
    (55, 0.2, 0.5),
    (660, 0.08, 1.3),
    (880, 0.03, 0.8),
]


def play_tones():
    """A process that plays until it is ended."""
    channels = "|".join(
        f"{level}*abs(sin({swell}*t))*sin({tone}*2*PI*t)" for tone, level, swell in TONES
    )
    source = f"aevalsrc=exprs={channels}:c=5.1:s=48000"
    output = ["-f", "pulse", "-device", "zevra_surround", "tones"]
    return subprocess.Popen(["ffmpeg", "-loglevel", "error", "-f", "lavfi", "-i", source, *output])


class Shell:
    """A terminal into which commands are typed one by one."""

    def __init__(self):
        self.screen = pyte.Screen(COLUMNS, LINES)
        self.stream = pyte.ByteStream(self.screen)

    def run(self, *command, seconds=None):
        """Shows a command and its output, or what it shows after `seconds`."""
        words = [f'"{word}"' if " " in word else word for word in command]
        self.stream.feed(f"\x1b[90m$\x1b[0m {' '.join(words)}\r\n".encode())
        pid, terminal = pty.fork()
        if pid == 0:
            termios.tcsetwinsize(0, (LINES, COLUMNS))
            os.environ.update(TERM="xterm-256color", LC_ALL="C.UTF-8")
            os.execvp(command[0], command)
        deadline = time.monotonic() + (seconds or 10)
        while select.select([terminal], [], [], max(0, deadline - time.monotonic()))[0]:
            try:
                self.stream.feed(os.read(terminal, 65536))
            except OSError:  # the program has ended
                break
        else:
            os.kill(pid, signal.SIGTERM)
        status = os.waitstatus_to_exitcode(os.waitpid(pid, 0)[1])
        os.close(terminal)
        if status != 0:
            sys.exit(f"{command} failed with {status}")


# Bars are drawn as shapes, since fonts leave gaps between their blocks. Left edge and width in cells.
BLOCKS = {chr(0x2590 - eighths): (0, eighths / 8) for eighths in range(1, 9)}
BLOCKS |= {"▕": (7 / 8, 1 / 8), "│": (3 / 8, 1 / 4)}


def pieces(cells):
    """A line's runs of one colour: [colour, column, width in cells, text]. A shape has no text."""
    runs = []
    for column in range(COLUMNS):
        cell = cells[column]
        colour = COLOURS.get(cell.fg, FOREGROUND)
        left, width = BLOCKS.get(cell.data, (0, 1))
        text = "" if cell.data in BLOCKS else cell.data
        if runs:
            before, start, covered, words = runs[-1]
            adjoins = start + covered == column + left
            if adjoins and before == colour and bool(words) == bool(text):
                runs[-1] = [colour, start, covered + width, words + text]
                continue
        if cell.data != " ":
            runs.append([colour, column + left, width, text])
    return runs


def draw_line(cells, y):
    for colour, column, width, text in pieces(cells):
        x = MARGIN + column * CELL_WIDTH
        text = text.rstrip()
        if text:
            yield (
                f'<text x="{x:.1f}" y="{y + CELL_HEIGHT * 0.72:.1f}" fill="{colour}"'
                f' textLength="{len(text) * CELL_WIDTH:.1f}" xml:space="preserve">'
                f"{html.escape(text)}</text>"
            )
        else:
            yield (
                f'<rect x="{x:.2f}" y="{y + 3}" width="{width * CELL_WIDTH:.2f}"'
                f' height="{CELL_HEIGHT - 6}" fill="{colour}"/>'
            )


def draw(screen):
    used = max(line for line in range(LINES) if screen.display[line].strip()) + 1
    width = COLUMNS * CELL_WIDTH + 2 * MARGIN
    height = used * CELL_HEIGHT + BAR + 2 * MARGIN
    yield (
        f'<svg xmlns="http://www.w3.org/2000/svg" width="{width:.0f}" height="{height:.0f}"'
        f' viewBox="0 0 {width:.0f} {height:.0f}" font-size="14"'
        " font-family=\"'DejaVu Sans Mono', Menlo, Consolas, monospace\">"
    )
    yield "<title>zevra list and zevra meter in a terminal</title>"
    yield f'<rect width="{width:.0f}" height="{height:.0f}" rx="8" fill="{BACKGROUND}"/>'
    for index, colour in enumerate(("#e4655f", "#e2b14a", "#5fbf77")):
        yield f'<circle cx="{MARGIN + 6 + index * 20}" cy="{MARGIN + 6}" r="6" fill="{colour}"/>'
    for line in range(used):
        yield from draw_line(screen.buffer[line], BAR + MARGIN + line * CELL_HEIGHT)
    yield "</svg>"


def main(file):
    player = play_tones()
    try:
        shell = Shell()
        shell.run("zevra", "list")
        shell.stream.feed(b"\r\n")
        shell.run("zevra", "meter", "--device", "Zevra Surround", "--channels", "6", seconds=5)
    finally:
        player.terminate()
        player.wait()
    pathlib.Path(file).write_text("\n".join(draw(shell.screen)) + "\n")
    print(file)


main(*sys.argv[1:])
