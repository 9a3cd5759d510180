"""The main window of the real program: its settings, its keys, and that its look depends on its state alone."""

import random
import subprocess

import desktop
from desktop import HOME, keys, look, wait_until

DATA = HOME / ".local/share/Dustmere"
BUTTON = "push button"
NAVIGATION = ["PC cleanup", "Disk space", "Help", "Our website", "Settings"]


def in_german(text):
    table = (desktop.REPOSITORY / "src/i18n/catalogue.tsv").read_text(encoding="utf-8")
    return next(row.split("\t")[6] for row in table.splitlines() if row.split("\t")[1] == text)


def still_look(place):
    """What the screen shows there, without the pointer and once nothing moves any more."""
    desktop.point_at(1599, 999)
    looks = []

    def is_still():
        looks.append(look(*place))
        return looks[-3:].count(looks[-1]) == 3

    wait_until(is_still, "rest")
    return looks[-1]


def background(window):
    left, top, _, _ = window.place
    return look(left + 300, top + 20).hex()


def result_line(window):
    left, top, _, height = window.place
    return left + 250, top + height - 41, 700, 26


class MainWindow(desktop.DesktopTest):
    def open_settings(self):
        program = self.start()
        window = program.active_window()
        program.click(BUTTON, f"Settings|{in_german('Settings')}")
        program.find("slider")
        return program, window

    def end(self, program):
        keys("alt+F4")
        program.find(BUTTON, "Dustmere [0-9.]+").click(button=3)
        desktop.menu()
        keys("Up", "Return")
        self.assertEqual(program.wait_end(), 0)


class Settings(MainWindow):
    def test_each_takes_effect_at_once_and_survives_a_restart(self):
        program, window = self.open_settings()
        heard, change = [], "object:property-change:accessible-name"
        listener = desktop.Atspi.EventListener.new(lambda event: heard.append(event.source.get_name()))
        listener.register(change)
        self.addCleanup(listener.deregister, change)
        for name in ("Close browsers", "Skip files in use", "Optional analytics", "Desktop widget"):
            before = program.find(BUTTON, f"{name} · (On|Off)").name
            program.click(BUTTON, before)
            after = f"{name} · " + ("Off" if before.endswith("On") else "On")
            program.find(BUTTON, after)
            wait_until(lambda: after in heard, f"{after}, told to the screen reader")
        program.find(BUTTON, "Hide widget")
        slider = program.find("slider", "Widget opacity")
        opacity = slider.value
        slider.click(at=(0.3, 0.5))
        wait_until(lambda: slider.value < opacity, "a new opacity")
        keys("Right")
        wait_until(lambda: slider.value % 10, "an opacity set by key")
        opacity = slider.value
        self.assertEqual(background(window), "f4f7f9")
        program.click(BUTTON, "Dark")
        wait_until(lambda: background(window) == "0d141a", "the dark theme")
        program.click(BUTTON, "Rose")
        program.find(BUTTON, "Selected · Rose")
        program.click("combo box")
        program.find("list item", "Deutsch").click()
        close_browsers = f"{in_german('Close browsers')} · {in_german('On')}"
        program.find(BUTTON, close_browsers)
        desktop.screenshot("settings-changed")
        widget = program.find(BUTTON, in_german("Hide widget")).place
        self.end(program)

        program, window = self.open_settings()
        selected = f"{in_german('Selected')} · .*"
        for name in (close_browsers, f"{in_german('Skip files in use')} · {in_german('Off')}", selected):
            program.find(BUTTON, name)
        program.find("combo box", "Deutsch")
        self.assertEqual(program.find("slider").value, opacity)
        self.assertEqual(background(window), "0d141a")
        self.assertEqual(program.find(BUTTON, in_german("Hide widget")).place, widget)
        desktop.screenshot("settings-kept")
        self.end(program)

    def test_one_that_cannot_be_stored_works_until_the_end(self):
        program, window = self.open_settings()
        empty_line = still_look(result_line(window))
        desktop.mount(DATA, DATA, flags=desktop.MS_BIND)
        self.addCleanup(subprocess.run, ["umount", "--lazy", DATA])
        desktop.set_read_only(DATA, set_flag=desktop.MOUNT_ATTR_RDONLY)
        program.click(BUTTON, "Close browsers · Off")
        program.find(BUTTON, "Close browsers · On")
        self.assertNotEqual(still_look(result_line(window)), empty_line, "nothing was told")
        desktop.screenshot("settings-not-stored")
        self.end(program)
        program, _ = self.open_settings()
        program.find(BUTTON, "Close browsers · Off")


class Keyboard(MainWindow):
    def tab_through(self, program, names, key="Tab"):
        for name in names:
            keys(key)
            wait_until(lambda: (one := program.focused()) and one.name.startswith(name), f"focus on {name}")

    def test_alone_does_everything(self):
        desktop.make_file("/tmp/old", 5000)
        program = self.start()
        program.active_window()
        options = ["Details", "Temporary files", "Browser cache", "Recycle Bin", "Close browsers", "Skip files in use"]
        self.tab_through(program, [*NAVIGATION, "Start scan", "View files", *options, *NAVIGATION, "Start scan"])
        plain = still_look(program.find(BUTTON, "Help").place)
        keys("space")
        program.find(BUTTON, "Clean up 4.9 KB")
        # The button that was pressed could not keep the focus while it was disabled.
        self.tab_through(program, [*NAVIGATION, "Scan again", "Clean up"])
        keys("Return")
        program.active_window("Confirm cleanup", role="alert")
        keys("Escape")
        program.wait_gone("alert")
        program.active_window()
        keys("space")
        program.active_window("Confirm cleanup", role="alert")
        keys("Left", "space")
        program.wait_gone("alert", "Confirm cleanup")
        program.active_window(role="alert")
        keys("Escape")
        program.wait_gone("alert")
        wait_until(lambda: program.focused(), "focus after the summary")

        while not program.focused().name.startswith("Help"):
            keys("shift+Tab")
        self.assertNotEqual(still_look(program.focused().place), plain, "the focus does not show")
        keys("Return")
        program.find(BUTTON, "Open activity history")
        self.tab_through(program, ["Our website", "Settings"])
        keys("space")
        toggles = ["Close browsers", "Skip files in use", "Optional analytics", "Desktop widget"]
        self.tab_through(program, [*toggles, "Open activity history", "Widget opacity", "Follow system", "Light", "Dark"])
        keys("space")
        wait_until(lambda: background(program.active_window()) == "0d141a", "the dark theme")
        self.tab_through(program, ["Selected · Emerald", "Blue", "Violet", "Amber", "Rose", "Teal"])
        keys("Return")
        program.find(BUTTON, "Selected · Teal")
        self.tab_through(program, ["Detect automatically"])
        keys("Down", "Down")
        program.find("combo box", "हिन्दी")
        desktop.screenshot("keyboard")


class Walk(MainWindow):
    """A person resizes the window, turns its pages and changes its look, for long."""

    STEPS = 60

    def resize(self, width, height):
        desktop.xdotool("windowsize", self.number, str(width), str(height))

    def open(self, page, size):
        """A fresh start in a state."""
        program = self.start()
        self.window = program.active_window()
        self.number = desktop.windows("^Dustmere [0-9.]+$")[0]
        desktop.xdotool("windowmove", self.number, "5", "30")
        self.resize(*size)
        self.navigation = program.all(BUTTON)[: len(NAVIGATION)]
        self.navigation[4].click()
        program.find("slider")
        buttons = program.all(BUTTON)
        self.themes, self.accents, self.languages = buttons[-9:-6], buttons[-6:], program.find("combo box")
        self.navigation[page].click()
        return program

    def step(self, chance):
        kind = chance.choices(("size", "page", "look", "language"), (5, 3, 2, 1))[0]
        if kind == "size":
            for _ in range(5):
                self.resize(chance.randrange(700, 1580), chance.randrange(500, 940))
        elif kind == "page":
            self.navigation[chance.choice((0, 1, 2, 4))].click()
        elif kind == "look":
            self.navigation[4].click()
            chance.choice([*self.themes, *self.accents]).click()
        else:
            self.navigation[4].click()
            self.languages.click()
            keys(*[chance.choice(("Up", "Down", "Next", "Home", "End")) for _ in range(3)], "Return")

    def state(self, page, size):
        # The scale keeps still under small changes of the size, so that it depends on those before; not after these.
        for step in ((1300, 850), (900, 640), size):
            self.resize(*step)
            left, top, _, _ = wait_until(lambda: self.window.place[2:] == step and self.window.place, "the size")
        keys("Escape")  # closes a list that was left open
        self.navigation[page].click()
        wait_until(lambda: "focused" in self.navigation[page].states, "the page")
        # The free space beside the cards is not the window's to decide.
        return still_look((left, top, size[0] * 6 // 10 if page == 0 else size[0], size[1]))

    def test_ends_in_the_picture_of_a_fresh_start(self):
        seed = random.randrange(2**32)
        chance = random.Random(seed)
        program = self.open(0, (1300, 850))
        for page in (0, 2, 4):
            for _ in range(self.STEPS):
                self.step(chance)
            size = (chance.randrange(900, 1500), chance.randrange(640, 900))
            walked = self.state(page, size)
            desktop.screenshot(f"walked-{page}")
            self.end(program)
            program = self.open(page, size)
            fresh = self.state(page, size)
            desktop.screenshot(f"fresh-{page}")
            self.assertTrue(walked == fresh, f"page {page} after the walk of seed {seed}")


if __name__ == "__main__":
    desktop.run()
