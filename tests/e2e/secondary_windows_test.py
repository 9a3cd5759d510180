"""The preview and the history beside the main window of the real program, used by a person."""

import subprocess

import desktop
from desktop import HOME, keys, wait_until

LOG = HOME / ".local/share/Dustmere/history.log"


def records():
    return LOG.read_text().splitlines() if LOG.exists() else []


def shown_at(x, y, width=1, height=1):
    """The pixels of the screen there."""
    crop = ("-crop", f"{width}x{height}+{x}+{y}", "-depth", "8", "rgb:-")
    return subprocess.run(["import", "-window", "root", *crop], capture_output=True, check=True).stdout


class SecondaryWindows(desktop.DesktopTest):
    def begin(self):
        self.program = self.start()
        self.main = self.program.active_window()

    def press(self, name, at=(0.5, 0.5)):
        """On the main window, which lies below those that it owns."""
        self.main.find("push button", name).click(at=at)

    def scan(self, button):
        before = len(records())
        # Not where the same button was clicked just before: that could make a double click.
        self.press(button, at=(0.3 if button == "Scan again" else 0.7, 0.5))
        wait_until(lambda: len(records()) > before, "the scan's record")
        self.main.find("push button", "Clean up.*")

    def put_aside(self, title, x, y):
        """Moves the window that has the keys off the main one; gives it with its number on the screen."""
        window = wait_until(
            lambda: [one for one in self.program.all("frame", title) if "active" in one.states], f"keys for {title}"
        )[0]
        number = desktop.xdotool("getactivewindow").strip()
        desktop.xdotool("windowmove", number, str(x), str(y))
        wait_until(lambda: window.place[0] >= x, f"{title} at its new place")
        return window, number

    def rows(self, window):
        """The categories and paths, in the order of the paths."""
        cells = [cell.name for cell in window.all("table cell")]
        return sorted(zip(cells[::3], cells[2::3]), key=lambda row: row[1])

    def test_each_preview_keeps_what_it_was_opened_with(self):
        one = desktop.make_file("/tmp/one", size=2048)
        self.begin()
        self.scan("Start scan")
        self.press("View files.*")
        title = "Dustmere — file preview"
        first, first_number = self.put_aside(title, 1300, 500)
        self.assertEqual(self.rows(first), [("Temporary files", "\u200e/tmp/one")])
        two = desktop.make_file("/tmp/two\nlines", size=2048)
        self.scan("Scan again")
        self.press("View files.*")
        wait_until(lambda: len(self.program.all("frame", title)) == 2, "a second preview")
        second, second_number = self.put_aside(title, 1300, 700)
        self.assertNotEqual(first_number, second_number)

        self.press("Clean up.*")
        self.program.active_window("Confirm cleanup", role="alert").find("push button", "Yes").click()
        wait_until(lambda: not one.exists() and not two.exists(), "the clean-up")
        self.program.active_window(role="alert").find("push button", "OK").click()
        self.program.wait_gone("alert")
        light = shown_at(first.place[0] + 220, first.place[1] + 10)
        self.press("Settings")
        self.main.find("combo box").click()
        self.program.find("list item", "Deutsch").click()
        self.press("Dunkel")
        wait_until(lambda: shown_at(first.place[0] + 220, first.place[1] + 10) != light, "the dark theme")
        desktop.screenshot("previews")
        for window, names in ((first, ["one"]), (second, ["one", "two\u240alines"])):
            self.assertEqual(window.name, "Dustmere — Dateivorschau")
            window.find("table column header", "Kategorie")
            self.assertEqual(self.rows(window), [("Temporäre Dateien", f"\u200e/tmp/{name}") for name in names])

        desktop.xdotool("windowactivate", "--sync", first_number)
        keys("Escape")
        wait_until(lambda: len(self.program.all("frame", window.name)) == 1, "the end of one preview")
        self.assertEqual(len(self.rows(self.program.find("frame", window.name))), 2)
        self.main.find("push button", "PC-Bereinigung")

    def test_the_history_follows_and_stays_where_it_is_read(self):
        LOG.parent.mkdir(parents=True, mode=0o700)
        LOG.write_text("".join(f"{line}: as it stands\n" for line in range(1000, 1300)))
        self.begin()
        self.press("Settings")
        self.press("Open activity history")
        window, number = self.put_aside("Dustmere — Activity history", 700, 500)
        text = window.find("text")

        def top():
            """What the lines at the top look like."""
            left, y, _, _ = text.place
            return shown_at(left, y, 200, 100)

        wait_until(lambda: "1299" in text.text, "the history")
        end = top()
        text.click()
        keys("ctrl+Home")
        wait_until(lambda: top() != end, "the beginning")
        first = top()
        keys(*["Page_Down"] * 3, *["Down"] * 8)  # where the caret blinks elsewhere
        wait_until(lambda: top() not in (first, end), "a place in the middle")
        read = wait_until(lambda: (shown := top()) == top() and shown, "a still picture")
        desktop.screenshot("history")
        self.press("PC cleanup")
        self.scan("Start scan")
        wait_until(lambda: "Scan:" in text.text, "the scan's record in the history")
        self.assertEqual(top(), read)

        LOG.unlink()
        self.press("PC cleanup")  # two quick clicks on one button would be a double click, which does nothing more
        self.scan("Scan again")
        wait_until(lambda: "as it stands" not in text.text and text.text.count("Scan:") == 1, "a new history")
        desktop.xdotool("windowactivate", "--sync", number)
        keys("Escape")
        self.program.wait_gone("frame", "Dustmere — Activity history")
        self.program.active_window()


if __name__ == "__main__":
    desktop.run()
