"""Measures the real program on a desktop of its own, as a person meets it. Prints a line of JSON for each figure.

    program.py PROGRAM start|smoke|memory|idle|responses
"""

import ctypes
import json
import os
import pathlib
import random
import statistics
import subprocess
import sys
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "tests/e2e"))
import desktop  # noqa: E402

WINDOW = (150, 75, 1298, 823)  # where its content stands on the screen of 1600 by 1000
STARTS = 11
FILES, SCANS = 300_000, 5
BARE_WINDOW = [desktop.PROGRAM.parent / "dustmere_first_window", "text", "Noto Sans"]
# The bridge to screen readers is there only for who needs it.
ENVIRONMENT = {"QT_LINUX_ACCESSIBILITY_ALWAYS_ON": "0"}


class Image(ctypes.Structure):
    _fields_ = [(name, ctypes.c_int) for name in ("width", "height", "xoffset", "format")]
    _fields_ += [("data", ctypes.c_void_p)]
    _fields_ += [(name, ctypes.c_int) for name in ("order", "unit", "bit_order", "pad", "depth", "bytes_per_line")]


class Screen:
    """Looks at the screen and moves the pointer fast enough to measure with."""

    def __init__(self):
        self.x11, self.test = ctypes.CDLL("libX11.so.6"), ctypes.CDLL("libXtst.so.6")
        self.x11.XOpenDisplay.restype = ctypes.c_void_p
        self.x11.XGetImage.restype = ctypes.POINTER(Image)
        self.x11.XDefaultRootWindow.restype = ctypes.c_ulong
        self.display = ctypes.c_void_p(self.x11.XOpenDisplay(None))
        self.root = ctypes.c_ulong(self.x11.XDefaultRootWindow(self.display))

    def look(self, left, top, width, height):
        planes, by_pixel = ctypes.c_ulong(0xFFFFFF), 2
        image = self.x11.XGetImage(self.display, self.root, left, top, width, height, planes, by_pixel)
        content = ctypes.string_at(image.contents.data, image.contents.bytes_per_line * height)
        self.x11.XFree(ctypes.c_void_p(image.contents.data))
        self.x11.XFree(image)
        return content

    def point_at(self, x, y):
        self.test.XTestFakeMotionEvent(self.display, -1, x, y, ctypes.c_ulong(0))
        self.x11.XFlush(self.display)


def tell(phase, **figures):
    print(json.dumps({"phase": phase, **figures}, separators=(",", ":")), flush=True)


def start(*command):
    return subprocess.Popen(command, env={**os.environ, **ENVIRONMENT}, stderr=subprocess.DEVNULL, cwd=desktop.HOME)


def end(process):
    process.kill()
    process.wait()


def first_paints(screen, *command):
    """Seconds from the start of a process until its window first shows anything, and until it shows all that it will.

    All is what stands there when nothing has changed for a second.
    """
    black = screen.look(*WINDOW)
    begin = time.monotonic()
    process = start(*command)
    looks = [(begin, hash(black))]
    while time.monotonic() - looks[-1][0] < 1 or len(looks) == 1:
        content = hash(screen.look(*WINDOW))
        if content != looks[-1][1]:
            looks.append((time.monotonic(), content))
    end(process)
    desktop.wait_until(lambda: screen.look(*WINDOW) == black, "an empty screen")
    return looks[1][0] - begin, looks[-1][0] - begin


def measure_start():
    screen = Screen()
    for name, command in (("bare", BARE_WINDOW), ("program", [desktop.PROGRAM])):
        paints = [first_paints(screen, *command) for _ in range(STARTS)]
        first, complete = (statistics.median(times) for times in zip(*paints))
        tell(f"start-{name}", first_seconds=round(first, 4), seconds=round(complete, 4))


def measure_smoke():
    begin = time.monotonic()
    code = start(desktop.PROGRAM, "--smoke-quit").wait()
    tell("smoke", seconds=round(time.monotonic() - begin, 3), code=code)


def resident(process):
    status = pathlib.Path(f"/proc/{process.pid}/status").read_text()
    return int(status.split("VmRSS:")[1].split()[0]) * 1024


def at_rest(*command):
    """A process whose window has been there for two seconds."""
    process = start(*command)
    desktop.wait_until(lambda: desktop.windows(".*"), "a window")
    time.sleep(2)
    return process


def fonts_of(process):
    maps = pathlib.Path(f"/proc/{process.pid}/maps").read_text().splitlines()
    return sorted({line.split()[-1] for line in maps if line.endswith((".ttf", ".otf", ".ttc"))})


def measure_memory():
    program = at_rest(desktop.PROGRAM)
    fonts, own = fonts_of(program), resident(program)
    end(program)
    bare = at_rest(*BARE_WINDOW)
    assert fonts_of(bare) == fonts, "a window with other fonts is no measure"
    tell("memory", bytes=own, bare_bytes=resident(bare), fonts=len(fonts))
    end(bare)


def spent(process):
    """Nanoseconds on a processor and wake-ups of all threads so far."""
    tasks = list(pathlib.Path(f"/proc/{process.pid}/task").iterdir())
    on_processor = sum(int((task / "schedstat").read_text().split()[0]) for task in tasks)
    switches = sum(int((task / "status").read_text().split("\nvoluntary_ctxt_switches:")[1].split()[0]) for task in tasks)
    return on_processor, switches


def measure_idle():
    program = at_rest(desktop.PROGRAM)
    for state in ("shown", "hidden"):
        if state == "hidden":
            desktop.keys("alt+F4")
            time.sleep(12)  # until the balloon has gone
        time.sleep(2)
        before = spent(program)
        time.sleep(60)
        nanoseconds, wakeups = (now - then for now, then in zip(spent(program), before))
        tell(f"idle-{state}", percent=round(nanoseconds / 60e9 * 100, 4), wakeups=wakeups)
    end(program)


def measure_responses():
    """Moves the pointer between two buttons while a scan runs, and waits until the screen answers each move."""
    for folder in range(FILES // 1000):
        os.makedirs(path := f"/tmp/tree/{folder}")
        for number in range(1000):
            os.close(os.open(f"{path}/{number}", os.O_CREAT | os.O_WRONLY))
            os.utime(f"{path}/{number}", (1e9, 1e9))
    screen, chance = Screen(), random.Random(1)
    program = at_rest(desktop.PROGRAM)
    left, top, _, _ = WINDOW
    pill = left + 1110, top + 41, 150, 20  # the text that tells whether work is running
    buttons = [(left + 200, top + y) for y in (240, 302, 364)]
    times = []
    for _ in range(SCANS):
        idle = screen.look(*pill)
        screen.point_at(left + 660, top + 360)
        desktop.xdotool("click", "1")
        desktop.wait_until(lambda: screen.look(*pill) != idle, "the start of the scan")
        running = screen.look(*pill)
        while screen.look(*pill) == running:
            # At any moment of the program's own rhythm; a button has lost its colour when its turn comes again.
            time.sleep(chance.uniform(0.12, 0.15))
            x, y = buttons[len(times) % 3]
            before = screen.look(x, y, 1, 1)
            moved = time.monotonic()
            screen.point_at(x, y)
            while screen.look(x, y, 1, 1) == before:
                time.sleep(0.001)  # leaves the processor to the program
            times.append(time.monotonic() - moved)
        time.sleep(1)
    tell("responses", inputs=len(times), seconds=round(statistics.median(times), 4), slowest=round(max(times), 4))
    end(program)


if __name__ == "__main__":
    desktop.enter()
    desktop.HOME.mkdir(mode=0o700, exist_ok=True)
    globals()[f"measure_{sys.argv[2]}"]()
