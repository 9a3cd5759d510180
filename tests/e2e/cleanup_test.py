"""A person scans, chooses, confirms and gets space back."""

import os
import pathlib
import shutil
import subprocess

import desktop
from desktop import HOME, keys, make_file, wait_until

CHROME = HOME / ".cache/google-chrome/Default"
FIREFOX = HOME / ".cache/mozilla/firefox/abc.default"
TRASH = HOME / ".local/share/Trash"


def facts():
    """Of every file in the reach of the program: whether it is still the same."""
    found = {}
    for place in ("/tmp", "/var/tmp", HOME):
        for folder, folders, files in os.walk(place):
            here = pathlib.Path(folder)
            folders[:] = [name for name in folders if here / name != desktop.REPOSITORY]
            for path in (here / name for name in folders + files):
                if not path.is_dir() or path.is_symlink():
                    status = path.lstat()
                    found[path] = (status.st_ino, status.st_size, status.st_mtime_ns)
    return found


def furnish():
    """Makes a home as people have it, with what must stay. Gives what may go, by category."""
    make_file("/tmp/new.txt", age_hours=1)
    os.link(make_file("/tmp/two-names"), "/tmp/the-other-name")
    pathlib.Path("/tmp/link").symlink_to(make_file(HOME / "documents/thesis.odt", 8000).parent)
    for name in ("History", "Cookies", "Preferences"):
        make_file(HOME / ".config/google-chrome/Default" / name, 9000)
    make_file(FIREFOX / "startupCache/startup.bin")
    trashed = make_file(TRASH / "files/film.mkv", 90_000), make_file(TRASH / "info/film.mkv.trashinfo")
    trashed[1].write_text("[Trash Info]\nPath=/home/person/film.mkv\nDeletionDate=2026-01-01T12:00:00\n")
    return {
        "temp": {make_file("/tmp/build/log", 3000), make_file("/var/tmp/old.bin", 5000), make_file("/tmp/a ä'.txt", 700)},
        "browser": {
            make_file(CHROME / "Cache/Cache_Data/f_000001", 40_000, age_hours=1),
            make_file(CHROME / "Code Cache/js/index", 2000),
            make_file(FIREFOX / "cache2/entries/AB12", 30_000),
        },
        "trash": set(trashed),
    }


class CleanupTest(desktop.DesktopTest):
    def scan(self, program):
        program.click("push button", "Start scan")
        program.find("push button", "Scan again")

    def question(self, program, title, text):
        dialog = program.active_window(title, role="alert")
        self.assertRegex(dialog.find("label").name, text)
        self.assertIn("focused", dialog.find("push button", "No").states)
        return dialog

    def summary(self, program):
        """Its text, once it is there; it is closed with Return."""
        dialog = program.active_window(role="alert")
        text = dialog.find("label").name
        desktop.screenshot(self.id().split(".")[-1] + "-summary")
        keys("Return")
        program.wait_gone("alert")
        return text

    def assert_gone(self, before, expected):
        """Exactly these files, and every other is what it was."""
        self.assertEqual({path for path, _ in before.items() - facts().items()}, set(expected))


class Cleanup(CleanupTest):
    def test_only_what_was_confirmed_goes(self):
        files = furnish()
        held = make_file("/tmp/held.log", 600)
        before = facts()
        program = self.start()
        program.active_window()
        self.assertNotIn("enabled", program.find("push button", "Run a scan first").states)

        self.scan(program)
        program.find("push button", "Temporary files · 9.1 KB · Selected")
        program.find("push button", "Recycle Bin · 87.9 KB · Selected")
        program.find("push button", "Clean up 167.3 KB")
        program.click("push button", "Browser cache · 70.3 KB · Selected")
        program.find("push button", "Browser cache · 70.3 KB · Not selected")
        clean = program.find("push button", "Clean up 97.0 KB")
        desktop.screenshot("deselected")

        with open(held, "rb"):
            clean.click()
            self.question(program, "Confirm cleanup", "Scanned size: 9.1 KB").find("push button", "No").click()
            program.wait_gone("alert")
            clean.click()
            self.question(program, "Confirm cleanup", "permanent")
            keys("shift+Tab", "space")
            dialog = self.question(program, "Empty Recycle Bin", "Files: 1. Size: 87.9 KB")
            keys("Escape")
            program.wait_gone("alert")
            self.assert_gone(before, ())

            clean.click()
            self.question(program, "Confirm cleanup", "permanent")
            keys("Left", "Return")
            dialog = self.question(program, "Empty Recycle Bin", "cannot be restored")
            desktop.screenshot("question")
            dialog.find("push button", "Yes").click()
            text = self.summary(program)
        self.assertEqual(
            text,
            "Cleanup complete.\nDeleted: 4 files; 96.4 KB.\nSkipped: 1. Errors: 0\nRecycle Bin emptied.\n\n"
            "Scan again to update the list.",
        )
        self.assert_gone(before, files["temp"] | files["trash"])
        self.assertNotIn("enabled", program.find("push button", "Run a scan first").states)

    def test_the_cache_of_a_running_browser_goes_once_it_has_closed(self):
        files = furnish()
        before = facts()
        browser_file = HOME / "bin/chrome"
        browser_file.parent.mkdir()
        shutil.copy("/usr/bin/display", browser_file)
        browser = subprocess.Popen([browser_file, "-size", "300x200", "xc:gray"])
        self.addCleanup(browser.kill)
        window = wait_until(lambda: desktop.windows("ImageMagick: gray"), "the browser's window")[0]
        owner = ["xprop", "-id", window, "-f", "_NET_WM_PID", "32c", "-set", "_NET_WM_PID", str(browser.pid)]
        subprocess.run(owner, check=True)
        program = self.start()
        program.active_window()
        program.click("push button", "Temporary files .*")
        program.click("push button", "Recycle Bin .*")

        self.scan(program)
        program.click("push button", "Clean up 70.3 KB")
        self.question(program, "Confirm cleanup", "70.3 KB").find("push button", "Yes").click()
        self.assertIn("Deleted: 0 files; 0 B.\nSkipped: 3. Errors: 0", self.summary(program))
        self.assert_gone(before, ())

        program.click("push button", "Close browsers · Off")
        self.scan(program)
        program.click("push button", "Clean up 70.3 KB")
        self.question(program, "Confirm cleanup", "70.3 KB").find("push button", "Yes").click()
        self.question(program, "Close browsers", "Ask Chrome, Edge and Firefox to close").find("push button", "Yes").click()
        wait_until(lambda: browser.poll() is not None, "the browser's end")
        self.assertIn("Deleted: 3 files; 70.3 KB.\nSkipped: 0. Errors: 0", self.summary(program))
        self.assert_gone(before, files["browser"])


class Middle(CleanupTest):
    """What comes while files are being deleted. So many that a person is quick enough."""

    COUNT = 150_000

    def start_cleanup(self):
        """Gives the program at work."""
        folder = pathlib.Path("/tmp/many")
        folder.mkdir()
        model = make_file(folder / "model", 1)
        then = model.stat().st_mtime_ns
        for number in range(self.COUNT - 1):
            path = f"/tmp/many/{number}"
            os.close(os.open(path, os.O_CREAT | os.O_WRONLY))
            os.utime(path, ns=(then, then))
        program = self.start()
        program.active_window()
        self.scan(program)
        program.click("push button", "Clean up .*")
        self.question(program, "Confirm cleanup", "permanent").find("push button", "Yes").click()
        wait_until(lambda: self.left() < self.COUNT, "the first deletion")
        program.active_window()
        return program

    def left(self):
        return len(os.listdir("/tmp/many"))

    def test_cancel_keeps_what_was_not_yet_deleted(self):
        program = self.start_cleanup()
        program.click("push button", "Cancel")
        text = self.summary(program)
        self.assertGreater(self.left(), 0)
        self.assertIn(f"Cleanup canceled.\nDeleted: {self.COUNT - self.left()} files;", text)

    def choose_exit(self, program):
        """Hides the window and chooses the exit from the icon's menu: the question about the work."""
        keys("alt+F4")
        program.find("push button", "Dustmere.*").click(button=3)
        desktop.menu().find("menu item", "Exit").click()
        return self.question(program, "Dustmere", "Stop the current operation and close the app?")

    def test_work_goes_on_while_hidden_and_after_a_refused_exit(self):
        program = self.start_cleanup()
        self.choose_exit(program).find("push button", "No").click()
        program.wait_gone("alert")
        self.assertGreater(self.left(), 0)
        keys("alt+F4")
        icon = program.find("push button", "Dustmere.*")
        wait_until(lambda: self.left() == 0, "the last deletion")
        icon.click()
        program.active_window()
        program.find("push button", "Run a scan first")
        self.assertEqual(program.all("alert"), [])

    def test_a_confirmed_exit_stops_the_work(self):
        program = self.start_cleanup()
        self.choose_exit(program).find("push button", "Yes").click()
        self.assertEqual(program.wait_end(), 0)
        self.assertGreater(self.left(), 0)


if __name__ == "__main__":
    desktop.run()
