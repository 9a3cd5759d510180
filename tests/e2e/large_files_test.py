"""The large-files window of the real program, used by a person on a real disk."""

import os
import re
import shutil
import subprocess
import urllib.parse

import desktop
from desktop import HOME, wait_until

MEGABYTE = 1 << 20
DISK = desktop.PICTURES / "disk"
VIDEOS = HOME / "Videos"
TRASH = HOME / ".local/share/Trash"


class LargeFiles(desktop.DesktopTest):
    """The home lies on the disk of the build: a RAM disk has no trash and is not searched."""

    def setUp(self):
        super().setUp()
        kind = subprocess.run(["stat", "-f", "-c", "%T", desktop.PICTURES], capture_output=True, text=True).stdout
        if kind.strip() not in ("ext2/ext3", "xfs", "btrfs"):
            self.skipTest(f"the build lies on {kind.strip()}, which has no trash that can be trusted")
        shutil.rmtree(DISK, ignore_errors=True)
        DISK.mkdir(mode=0o700)
        desktop.mount(DISK, HOME, flags=desktop.MS_BIND)
        self.addCleanup(shutil.rmtree, DISK)
        self.addCleanup(subprocess.run, ["umount", "--lazy", HOME], check=True)

    def open_window(self):
        self.program.active_window()
        self.program.click("push button", "Disk space")
        self.program.click("push button", "Find large files")
        self.window = self.program.active_window("Dustmere — Large files")

    def search(self, megabytes):
        fields = wait_until(lambda: self.window.all("text"), "fields")
        for field, text in zip(fields, (str(VIDEOS), str(megabytes))):
            field.click()
            desktop.keys("ctrl+a")
            desktop.type_text(text)
            wait_until(lambda: field.text == text, f"{text} in its field")
        self.window.find("push button", "Start search").click()

    def cells(self):
        """Names of the rows' cells, path and size in turn."""
        return [cell.name for cell in self.window.all("table cell")]

    def wait_paths(self, *names):
        shown = [f"\u200e{VIDEOS}/{name}" for name in names]
        wait_until(lambda: self.cells()[::2] == shown, f"rows {names}")

    def row(self, name):
        return self.window.find("table cell", f"\u200e{VIDEOS}/{name}")

    def is_selected(self, name):
        left, top, width, height = self.row(name).place
        return desktop.look(left + 1, top + height // 2) != b"\xff\xff\xff"

    def select(self, *names):
        for index, name in enumerate(names):
            desktop.xdotool("keydown" if index else "keyup", "ctrl")
            self.row(name).click()
        desktop.xdotool("keyup", "ctrl")
        wait_until(lambda: all(self.is_selected(name) for name in names), f"selection of {names}")

    def box_with(self, text):
        """The message box that says this, if it is there. A long list is not looked through for it."""
        root = self.program.root().node
        for box in [desktop.Control(root.get_child_at_index(index)) for index in range(root.get_child_count())]:
            if box.role == "alert" and any(text in one.name for one in box.descendants() if one.role == "label"):
                return box
        return None

    def answer(self, button, text):
        """Presses a button of the message box that says this."""
        wait_until(lambda: self.box_with(text), f"a message box with {text!r}").find("push button", button).click()
        wait_until(lambda: self.box_with(text) is None, f"the end of the message box with {text!r}")

    def is_enabled(self, button):
        return "enabled" in self.window.find("push button", button).states

    def test_what_is_selected_is_moved_and_comes_back_from_the_trash(self):
        names = ["A", "b", "line\nfeed", "bytes\udcff", "busy", "stays"]
        for megabytes, name in enumerate(names, start=2):
            desktop.make_file(VIDEOS / name, megabytes * MEGABYTE)
        desktop.make_file(VIDEOS / "small", MEGABYTE)
        contents = {VIDEOS / name: (VIDEOS / name).read_bytes() for name in names}
        self.program = self.start()
        self.open_window()
        self.search(megabytes=2)
        self.wait_paths("stays", "busy", "bytes\ufffd", "line\u240afeed", "b", "A")
        self.assertEqual(self.cells()[1::2], ["7.0 MB", "6.0 MB", "5.0 MB", "4.0 MB", "3.0 MB", "2.0 MB"])
        self.assertFalse(self.is_enabled("Move selected to Recycle Bin"))

        self.select("A", "busy", "bytes\ufffd", "line\u240afeed")
        desktop.screenshot("large-files-selected")
        question = "Move selected files to Recycle Bin?\n\nSelected files: 4 · 17.0 MB"
        with open(VIDEOS / "busy", "rb"):
            self.window.find("push button", "Move selected to Recycle Bin").click()
            self.answer("No", question)
            self.window.find("push button", "Move selected to Recycle Bin").click()
            self.answer("Yes", question)
            self.answer("OK", "Moved to Recycle Bin: 3 · 11.0 MB\nSkipped: 1 · Errors: 0")
        self.wait_paths("stays", "busy", "b")
        self.assertEqual([self.is_selected(name) for name in ("stays", "busy", "b")], [False, True, False])
        self.assertEqual({path for path in contents if path.exists()}, {VIDEOS / name for name in ("stays", "busy", "b")})
        self.assertEqual(len(list((TRASH / "files").iterdir())), 3)
        desktop.screenshot("large-files-moved")

        restore_by_hand("bytes\udcff")
        for _ in range(2):
            subprocess.run(["trash-restore"], input=b"0\n", cwd=VIDEOS, env={**os.environ, "LC_ALL": "C.UTF-8"}, capture_output=True)
        self.assertEqual({path: path.read_bytes() for path in contents}, contents)
        self.assertEqual(list((TRASH / "files").iterdir()), [])

    def test_a_hundred_thousand_rows_are_sorted_and_selected(self):
        VIDEOS.mkdir()
        for number in range(100_000):
            with open(VIDEOS / f"{number:06}", "wb") as file:
                file.truncate(MEGABYTE + number)
        self.program = self.start()
        self.open_window()
        table, by_path = self.window.find("table"), self.window.find("table column header", "Full path")
        buttons = self.window.all("push button")
        self.search(megabytes=1)

        def row(number):
            return desktop.Atspi.Table.get_accessible_at(table.node, number, 0).get_name()

        wait_until(lambda: desktop.Atspi.Table.get_n_rows(table.node) == 100_000, "rows")
        wait_until(lambda: row(0).endswith("/099999") and row(99_999).endswith("/000000"), "the largest first")
        by_path.click()
        wait_until(lambda: row(0).endswith("/000000") and row(99_999).endswith("/099999"), "the order of the paths")
        table.click(at=(0.1, 0.5))
        desktop.keys("Home", "shift+End")
        move = next(button for button in buttons if button.name == "Move selected to Recycle Bin")
        wait_until(lambda: "enabled" in move.states, "a selection")
        desktop.screenshot("large-files-many")
        move.click()
        self.answer("No", "Selected files: 100000 · 102.31 GB")


def restore_by_hand(name):
    """For what is no text, which trash-restore does not take: by what is written beside the file in the trash."""
    info = TRASH / "info" / f"{name}.trashinfo"
    path = re.search("^Path=(.*)$", info.read_text(), re.MULTILINE)[1]
    (TRASH / "files" / name).rename(urllib.parse.unquote(path, errors="surrogateescape"))
    info.unlink()


if __name__ == "__main__":
    desktop.run()
