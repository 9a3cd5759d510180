"""A desktop of its own for tests of the real program: display, window manager, message bus and screen reader's bus.

Whoever tests here is a person at the machine: looks for controls by role and name as a screen reader does, moves the
pointer, presses keys, looks at the screen. All of it happens in namespaces where nothing but fresh RAM disks can be
written: the program scans and cleans fixed places and every volume's trash. A test file ends with

    if __name__ == "__main__":
        desktop.run()

and is started with the path of the built program; screenshots go to the folder `e2e` beside that.
"""

import contextlib
import ctypes
import os
import pathlib
import re
import shutil
import subprocess
import sys
import time
import unittest

PROGRAM = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else "dustmere").absolute()
PICTURES = PROGRAM.parent / "e2e"
REPOSITORY = pathlib.Path(__file__).resolve().parents[2]
HOME, RUNTIME = pathlib.Path("/home/person"), pathlib.Path("/home/runtime")
PATIENCE = 60  # seconds until something that never comes counts as missing
SKIPPED = 77
LEAVES = {"push button", "slider", "list item", "table cell"}  # each question costs a way over the bus

last_click = None  # where on the screen
Atspi = GLib = None  # from the system's Python, loaded once there is a bus for them


def wait_until(condition, what):
    """Gives the first true value of the condition. Events of the screen reader's bus arrive meanwhile."""
    end = time.monotonic() + PATIENCE
    while True:
        while GLib.MainContext.default().iteration(False):
            pass
        with contextlib.suppress(GLib.Error):  # what a question was about can be gone before the answer
            if value := condition():
                return value
        if time.monotonic() > end:
            raise AssertionError(f"never came: {what}")
        time.sleep(0.02)


class Control:
    """What a screen reader knows of one thing on the screen."""

    def __init__(self, node):
        self.node = node

    role = property(lambda self: self.node.get_role_name())
    name = property(lambda self: self.node.get_name())
    text = property(lambda self: Atspi.Text.get_text(self.node, 0, -1))
    value = property(lambda self: self.node.get_value_iface().get_current_value())

    @property
    def states(self):
        return {state.value_nick for state in self.node.get_state_set().get_states()}

    @property
    def place(self):
        """Left, top, width and height in pixels of the screen."""
        box = self.node.get_component_iface().get_extents(Atspi.CoordType.SCREEN)
        return box.x, box.y, box.width, box.height

    def click(self, button=1, at=(0.5, 0.5), times=1):
        """With the pointer, at a share of the width and height; beside the last click, since two quick ones at one
        place are a double click."""
        global last_click
        left, top, width, height = self.place
        x, y = left + int(width * at[0]), top + int(height * at[1])
        last_click = (x + 8, y) if (x, y) == last_click else (x, y)
        point_at(*last_click)
        xdotool("click", "--repeat", str(times), "--delay", "50", str(button))

    def descendants(self):
        yield self
        if self.role in LEAVES or "showing" not in self.states:
            return
        for index in range(self.node.get_child_count()):
            child = self.node.get_child_at_index(index)
            if child is not None:
                yield from Control(child).descendants()

    def all(self, role, name=""):
        """What shows of a role (as the bus names it) whose whole name matches; an empty pattern matches any."""
        return [
            one
            for one in self.descendants()
            if one.role == role and re.fullmatch(name or ".*", one.name, re.DOTALL) and "showing" in one.states
        ]

    def find(self, role, name=""):
        """Waits for the first of them."""
        return wait_until(lambda: self.all(role, name), f"{role} {name!r}")[0]


class Program:
    """The program under test, from its start on."""

    def __init__(self, *arguments, environment=None):
        with open(PICTURES / "stderr.txt", "ab") as errors:
            self.process = subprocess.Popen(
                [PROGRAM, *arguments], env={**os.environ, **(environment or {})}, stderr=errors, cwd=HOME
            )

    def root(self):
        """The node with all of the program's windows; None before it has told the bus of itself."""
        screen = Atspi.get_desktop(0)
        for index in range(screen.get_child_count()):
            node = screen.get_child_at_index(index)
            if node is not None and node.get_process_id() == self.process.pid:
                return Control(node)
        return None

    def all(self, role, name=""):
        root = self.root()
        return root.all(role, name) if root else []

    def find(self, role, name=""):
        """Waits for it, as long as the program lives."""
        return wait_until(lambda: self.alive() and self.all(role, name), f"{role} {name!r}")[0]

    def click(self, role, name=""):
        self.find(role, name).click()

    def wait_gone(self, role, name=""):
        wait_until(lambda: self.alive() and not self.all(role, name), f"end of {role} {name!r}")

    def active_window(self, name=r"Dustmere [0-9.]+", role="frame"):
        """Waits for a window, the main one by default, that has the keys."""
        window = self.find(role, name)
        wait_until(lambda: "active" in window.states, f"keys for {name}")
        return window

    def focused(self):
        """The control that has the keys, or None."""
        root = self.root()
        return next((one for one in root.descendants() if "focused" in one.states), None) if root else None

    def alive(self):
        if self.process.poll() is not None:
            raise AssertionError(f"the program has ended with {self.process.returncode}")
        return True

    def wait_end(self):
        """Its exit code."""
        wait_until(lambda: self.process.poll() is not None, "the program's end")
        return self.process.returncode

    def kill(self):
        if self.process.poll() is None:
            self.process.kill()
        self.process.wait()


opened_menus = []


def note_menu(event):
    with contextlib.suppress(GLib.Error):
        if event.detail1 and event.source.get_role_name() == "popup menu":
            opened_menus.append(Control(event.source))


def menu():
    """Waits for the open menu. Menus are in no program's tree: a screen reader learns of them when they open."""
    return wait_until(lambda: [one for one in opened_menus[-1:] if "showing" in one.states], "a menu")[0]


def xdotool(*words):
    return subprocess.run(["xdotool", *words], check=True, capture_output=True, text=True).stdout


def point_at(x, y):
    xdotool("mousemove", str(x), str(y))


def keys(*names):
    """Presses keys one after the other, each as xdotool names it: "Tab", "shift+Tab", "alt+F4"."""
    xdotool("key", "--delay", "20", *names)


def type_text(text):
    xdotool("type", "--delay", "20", text)


def windows(name):
    """The numbers of all visible windows of this name."""
    return subprocess.run(["xdotool", "search", "--onlyvisible", "--name", name], capture_output=True, text=True).stdout.split()


def screenshot(name):
    path = PICTURES / f"{name}.png"
    subprocess.run(["import", "-window", "root", path], check=True)
    return path


def make_file(path, size=1000, age_hours=48):
    """A file of this age, with the folders that it needs; its path."""
    path = pathlib.Path(path)
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_bytes(os.urandom(size))
    then = time.time() - age_hours * 3600
    os.utime(path, (then, then))
    return path


class DesktopTest(unittest.TestCase):
    """Each test has a fresh home and empty temporary folders; the display and the buses are the file's."""

    def setUp(self):
        self.addCleanup(clear_places)
        HOME.mkdir(mode=0o700, exist_ok=True)  # the desktop may have made it

    def start(self, *arguments, environment=None):
        program = Program(*arguments, environment=environment)
        self.addCleanup(program.kill)
        return program


def clear_places():
    for place in (pathlib.Path("/tmp"), pathlib.Path("/var/tmp"), HOME.parent):
        for path in place.iterdir():
            if path in (RUNTIME, REPOSITORY, *REPOSITORY.parents) or path.name.startswith(".X"):
                continue
            if path.is_dir() and not path.is_symlink():
                shutil.rmtree(path)
            else:
                path.unlink()


class PicturesOfFailures(unittest.TextTestResult):
    def addFailure(self, test, err):
        screenshot(f"failed-{test.id().split('.')[-1]}")
        super().addFailure(test, err)

    def addError(self, test, err):
        screenshot(f"failed-{test.id().split('.')[-1]}")
        super().addError(test, err)


LIBC = ctypes.CDLL(None, use_errno=True)
MOUNT_SETATTR, AT_RECURSIVE, MOUNT_ATTR_RDONLY = 442, 0x8000, 1
MS_NOSUID, MS_BIND, MS_REC, MS_PRIVATE = 0x2, 0x1000, 0x4000, 0x40000


def check(result, what):
    if result != 0:
        error = ctypes.get_errno()
        raise OSError(error, os.strerror(error), what)


def mount(source, target, kind=None, flags=0, data=None):
    texts = [os.fsencode(text) if text is not None else None for text in (source, target, kind)]
    check(LIBC.mount(*texts, ctypes.c_ulong(flags), data), str(target))


def set_read_only(path, flags=0, set_flag=0, clear_flag=0):
    attributes = (ctypes.c_uint64 * 4)(set_flag, clear_flag, 0, 0)
    check(LIBC.syscall(MOUNT_SETATTR, -100, os.fsencode(path), flags, attributes, ctypes.sizeof(attributes)), path)


def enter_private_places():
    """Makes every volume read-only here but the pictures' folder and new RAM disks over the places of persons."""
    mount(None, "/", flags=MS_REC | MS_PRIVATE)
    mount(PICTURES, PICTURES, flags=MS_BIND)
    set_read_only("/", AT_RECURSIVE, set_flag=MOUNT_ATTR_RDONLY)
    set_read_only(PICTURES, clear_flag=MOUNT_ATTR_RDONLY)
    repository = os.open(REPOSITORY, os.O_PATH)
    for place in ("/tmp", "/var/tmp", "/home"):
        mount("tmpfs", place, "tmpfs", MS_NOSUID, b"mode=1777")
    if not PROGRAM.exists():  # it lay below one of them
        REPOSITORY.mkdir(parents=True)
        mount(f"/proc/self/fd/{repository}", REPOSITORY, flags=MS_BIND | MS_REC)
    os.close(repository)


def start_server(*command):
    """Starts what lives as long as the tests, and waits for its first line of output; gives that."""
    return subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL).stdout.readline().decode().strip()


def start_display(size):
    """A new display with one screen of that size and a window manager; gives the environment that leads there."""
    # A server that may reset starts over, and takes the manager with it, whenever its only client goes.
    server = ("Xvfb", "-displayfd", "1", "-screen", "0", f"{size}x24", "-nolisten", "tcp", "-noreset")
    display = {"DISPLAY": ":" + start_server(*server)}
    there = {"env": {**os.environ, **display}, "stdout": subprocess.DEVNULL, "stderr": subprocess.DEVNULL}
    subprocess.Popen(["openbox"], **there)
    # What asks the manager for something before it answers is never served.
    question = ("xdotool", "set_num_desktops", "1", "get_num_desktops")
    there = {**there, "stdout": subprocess.PIPE, "text": True}
    wait_until(lambda: subprocess.run(question, **there).stdout == "1\n", "openbox")
    return display


def start_desktop():
    RUNTIME.mkdir(mode=0o700)
    for name in [name for name in os.environ if name.startswith(("XDG_", "DBUS_", "QT_", "LC_", "WAYLAND_"))]:
        del os.environ[name]
    os.environ |= {
        "HOME": str(HOME),
        "TMPDIR": str(RUNTIME),
        "XDG_RUNTIME_DIR": str(RUNTIME),
        "LANG": "en_US.UTF-8",
        "LANGUAGE": "en",
        "QT_LINUX_ACCESSIBILITY_ALWAYS_ON": "1",
    }
    bus = ("dbus-daemon", "--session", "--nofork", "--print-address", f"--address=unix:path={RUNTIME}/bus")
    os.environ["DBUS_SESSION_BUS_ADDRESS"] = start_server(*bus)

    global Atspi, GLib
    from gi.repository import Atspi, GLib

    os.environ |= start_display("1600x1000")
    Atspi.init()
    Atspi.EventListener.new(note_menu).register("object:state-changed:showing")
    Atspi.Accessible.set_cache_mask(Atspi.get_desktop(0), Atspi.Cache.NONE)
    keys("shift")  # the first key brings another keyboard, and the manager takes its shortcuts anew


def what_is_missing():
    """What the machine lacks for these tests, or an empty text."""
    for program in ("unshare", "Xvfb", "openbox", "xdotool", "dbus-daemon", "import", "xprop"):
        if shutil.which(program) is None:
            return f"there is no {program}"
    try:
        import gi

        gi.require_version("Atspi", "2.0")
    except (ImportError, ValueError) as error:
        return f"no bindings of the screen reader's bus: {error}"
    return ""


def enter():
    """Starts the running script anew on a desktop of its own, or ends with the code for "skipped", saying why."""
    reason = what_is_missing()
    # The first process of new namespaces is one that this very function has started there.
    outside = os.environ.get("DUSTMERE_E2E_OUTSIDE")
    inside = os.getpid() == 1 and outside not in (None, os.readlink("/proc/self/ns/mnt"))
    if not reason and not inside:
        PICTURES.mkdir(exist_ok=True)
        own = [] if os.geteuid() == 0 else ["--user", "--map-current-user", "--keep-caps"]
        unshare = ["unshare", *own, "--mount", "--pid", "--net", "--fork", "--kill-child", "--mount-proc"]
        probe = subprocess.run([*unshare, "mount", "-t", "tmpfs", "tmpfs", "/tmp"], capture_output=True, text=True)
        if probe.returncode == 0:
            os.environ["DUSTMERE_E2E_OUTSIDE"] = os.readlink("/proc/self/ns/mnt")
            os.execvp("unshare", [*unshare, sys.executable, *sys.argv])
        reason = f"no namespaces of its own: {probe.stderr.strip()}"
    if reason:
        print(f"Skipped, for {reason}.")
        sys.exit(SKIPPED)
    enter_private_places()
    start_desktop()


def run():
    """Runs the tests of the file that was started, there."""
    enter()
    unittest.main(argv=sys.argv[:1] + sys.argv[2:], testRunner=unittest.TextTestRunner(resultclass=PicturesOfFailures))
