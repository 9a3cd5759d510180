"""Days with the real program: it lives as long as the session does, and is killed by power cuts."""

import json
import os
import pathlib

import desktop
from desktop import HOME, keys, make_file, wait_until

DAYS = int(os.environ.get("DUSTMERE_DAYS", "4"))
HISTORY = HOME / ".local/share/Dustmere/history.log"


class DayTest(desktop.DesktopTest):
    def spend_day(self, program, day):
        """Everything that a person does with the program, up to where it was at the beginning."""
        for number in range(5):
            make_file(f"/tmp/day{day}/{number}", 2000)
        program.active_window()
        program.click("push button", "PC cleanup")
        self.scan(program)
        program.find("push button", "Clean up .*")
        program.click("push button", "View files .*")
        preview = program.active_window(".*file preview")
        self.assertIn(f"\u200e/tmp/day{day}/0", [cell.name for cell in preview.all("table cell")])
        keys("Escape")
        program.active_window()

        keys("alt+F4")
        program.wait_gone("frame")
        self.icon(program).click()
        program.active_window()

        self.start_cleanup(program)
        wait_until(lambda: not any(pathlib.Path(f"/tmp/day{day}").iterdir()), "the last deletion")
        wait_until(lambda: [one for one in program.all("alert") if one.name != "Confirm cleanup"], "the summary")
        keys("Return")
        program.wait_gone("alert")
        program.active_window()

        program.click("push button", "Disk space")
        program.click("push button", "Find large files")
        window = program.active_window(".*Large files")
        window.find("text").click()  # the folder
        keys("ctrl+a")
        desktop.type_text("/etc")  # a folder on a disk; the home is on none
        window.find("push button", "Start search").click()
        wait_until(lambda: "enabled" not in window.find("push button", "Cancel").states, "the end of the search")
        keys("Escape")
        program.active_window()

        program.click("push button", "Settings")
        program.click("push button", "Open activity history")
        program.active_window(".*Activity history")
        keys("Escape")
        program.active_window()

        self.choose_language(program, "العربية", "Next")
        program.find("push button", "الإعدادات")
        self.choose_language(program, "English", "Prior")
        program.find("push button", "Settings")

    def choose_language(self, program, name, key):
        """The key brings the part of the list that it is in."""
        program.click("combo box")
        program.find("list item")
        keys(key, key)
        program.find("list item", name).click()
        program.wait_gone("list item")

    def icon(self, program):
        """Once the window manager has placed it."""
        icon = program.find("push button", "Dustmere .*")
        wait_until(lambda: icon.place[:2] != (0, 0), "the icon's place")
        return icon

    def exit(self, program):
        keys("alt+F4")
        self.icon(program).click(button=3)
        desktop.menu().find("menu item", "Exit").click()
        self.assertEqual(program.wait_end(), 0)

    def needs(self, program):
        """Resident memory in KiB, and open descriptors."""
        folder = pathlib.Path("/proc") / str(program.process.pid)
        rollup = (folder / "smaps_rollup").read_text()
        return int(rollup.split("Rss:")[1].split()[0]), len(list((folder / "fd").iterdir()))

    def scan(self, program):
        program.click("push button", "Start scan|Scan again")

    def start_cleanup(self, program):
        program.click("push button", "Clean up .*")
        program.active_window("Confirm cleanup", role="alert").find("push button", "Yes").click()


class Day(DayTest):
    def test_many_days_need_no_more_than_one(self):
        program = self.start()
        # What is loaded and kept at the first use of each window is there after two.
        for day in range(2):
            self.spend_day(program, day)
        memory, descriptors = self.needs(program)
        for day in range(2, 2 + DAYS):
            self.spend_day(program, day)
        memory_then, descriptors_then = self.needs(program)
        print(f"{DAYS} days: {memory} KiB resident before, {memory_then} after; {descriptors} descriptors, {descriptors_then}")
        # A sanitizer keeps what is freed for a while.
        sanitized = "libasan" in pathlib.Path(f"/proc/{program.process.pid}/maps").read_text()
        self.exit(program)
        self.assertEqual(descriptors_then, descriptors)
        if not sanitized:
            self.assertLessEqual(memory_then, memory * 1.02)
        self.assertEqual(HISTORY.read_text().count('"kind":"cleanup"'), 2 + DAYS)


class Kill(DayTest):
    COUNT = 3000

    def left(self):
        return len(os.listdir("/tmp/many"))

    def test_at_any_moment_leaves_a_home_that_works(self):
        for number in range(self.COUNT):
            make_file(f"/tmp/many/{number}", 10)
        for moment in (self.starting, self.scanning, self.scanned, self.cleaning, self.cleaning, self.storing, self.hidden):
            with self.subTest(moment=moment.__name__):
                program = self.start()
                moment(program)
                program.kill()
        self.assertLess(self.left(), self.COUNT - 1)
        program = self.start()
        self.spend_day(program, 0)
        self.exit(program)
        self.assertEqual(self.left(), 0)
        self.assertEqual([path for path in pathlib.Path("/tmp").rglob("*.kept-*")], [])
        for line in HISTORY.read_text().splitlines():
            json.loads(line[line.index("{") :])

    def starting(self, program):
        wait_until(lambda: (HOME / ".local/share/Dustmere").exists(), "the first trace of a start")

    def scanning(self, program):
        program.active_window()
        self.scan(program)

    def scanned(self, program):
        program.active_window()
        self.scan(program)
        program.find("push button", "Clean up .*")

    def cleaning(self, program):
        self.scanned(program)
        before = self.left()
        self.start_cleanup(program)
        wait_until(lambda: self.left() < before, "the first deletion")

    def storing(self, program):
        program.active_window()
        program.click("push button", "Settings")
        program.click("push button", "Dark|Light")

    def hidden(self, program):
        program.active_window()
        keys("alt+F4")
        program.wait_gone("frame")


if __name__ == "__main__":
    desktop.run()
