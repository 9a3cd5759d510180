"""The desktop widget of the real program: dragged, turned, seen through and clicked through."""

import re
import subprocess

import desktop
from desktop import look, wait_until

WIDTH, CAPTION = 360, 96  # at the scale of the test's display
MARGIN = 8  # that windows keep to the screen's edges


def window_at(x, y):
    desktop.point_at(x, y)
    return re.search(r"WINDOW=(\d+)", desktop.xdotool("getmouselocation", "--shell"))[1]


def drag(start, end):
    desktop.point_at(*start)
    desktop.xdotool("mousedown", "1")
    desktop.point_at(*[(one + other) // 2 for one, other in zip(start, end)])
    desktop.point_at(*end)
    desktop.xdotool("mouseup", "1")


def turn_wheel(button):
    desktop.xdotool("click", button)


class Widget(desktop.DesktopTest):
    def start_with_widget(self):
        program = self.start()
        program.active_window()
        program.click("push button", "Settings")
        program.click("push button", "Desktop widget · Off")
        return program, self.widget_of(program)

    def widget_of(self, program):
        def placed():
            # Its window manager may still be framing it.
            return [one for one in program.all("frame") if one.place[2] == WIDTH and one.place[:2] != (0, 0)]

        return wait_until(placed, "widget")[0]

    def give_keys(self, widget):
        left, top, *_ = widget.place
        desktop.point_at(left + WIDTH - 30, top + CAPTION + 60)
        desktop.xdotool("click", "1")
        wait_until(lambda: "active" in widget.states, "keys for the widget")

    def drag_and_store(self, start, end):
        settings = desktop.HOME / ".local/share/Dustmere/state.dat"
        before = settings.stat().st_ino
        drag(start, end)
        wait_until(lambda: settings.stat().st_ino != before, "stored settings")

    def test_is_dragged_by_its_top_alone_and_comes_back_to_its_place(self):
        program, widget = self.start_with_widget()
        left, top, *_ = widget.place
        drag((left + 200, top + CAPTION - 5), (left + 100, top + CAPTION + 35))
        wait_until(lambda: widget.place[:2] == (left - 100, top + 40), "place of the drag")
        drag((left + 100, top + 40 + CAPTION + 5), (left + 200, top + 200))
        self.drag_and_store((left + 100, top + 60), (0, top + 60))  # so that it would reach beyond the screen's edge
        wait_until(lambda: widget.place[:2] == (MARGIN, top + 40), "place inside the screen")
        program.kill()

        again = self.start()
        wait_until(lambda: self.widget_of(again).place[:2] == (MARGIN, top + 40), "stored place")

    def test_lets_clicks_through_its_corners(self):
        program, widget = self.start_with_widget()
        left, top, width, height = widget.place
        help_left, help_top, help_width, help_height = program.find("push button", "Help").place
        spot = (help_left + help_width // 2, help_top + help_height // 2)
        drag((left + 100, top + 20), (spot[0] + 99, spot[1] + 19))
        wait_until(lambda: widget.place[:2] == (spot[0] - 1, spot[1] - 1), "corner above a button")
        inside = window_at(spot[0] + 30, spot[1] + 30)
        self.assertEqual(window_at(spot[0] + 20, spot[1]), inside)
        self.assertNotEqual(window_at(*spot), inside)
        desktop.xdotool("click", "1")
        program.find("push button", "Help")
        desktop.screenshot("widget-corner")
        wait_until(lambda: not program.all("slider"), "the page below the corner")

    def test_shows_what_is_below_it_as_its_opacity_says(self):
        program, widget = self.start_with_widget()
        left, top, width, _ = widget.place
        spot = (left + width // 2, top + 10)
        beside = (left - 5, top + 10)
        program.click("slider", "Widget opacity")
        desktop.keys("Home")
        wait_until(lambda: program.find("slider", "Widget opacity").value == 20, "the least opacity")
        # Nothing can be seen through it before there is a compositor.
        self.assertEqual(look(*spot), b"\xff\xff\xff")

        compositor = subprocess.Popen(["xcompmgr"], stderr=subprocess.DEVNULL)
        self.addCleanup(compositor.wait)
        self.addCleanup(compositor.terminate)
        for key, opacity in (("End", 100), ("Home", 20)):
            desktop.keys(key)
            wait_until(lambda: program.find("slider", "Widget opacity").value == opacity, f"opacity {opacity}")

            def blended():
                return all(
                    abs(seen - (255 * opacity + below * (100 - opacity)) / 100) <= 2
                    for seen, below in zip(look(*spot), look(*beside))
                )

            wait_until(blended, f"a view through it at {opacity} percent")
            desktop.screenshot(f"widget-opacity-{opacity}")

    def test_keys_and_wheel_go_through_more_drives_than_it_has_rows(self):
        for number in range(7):
            folder = desktop.HOME / f"disk{number}"
            folder.mkdir()
            desktop.mount("tmpfs", folder, "tmpfs", data=b"size=%dm" % (number + 1))
            self.addCleanup(subprocess.run, ["umount", "--lazy", folder], check=True)
        program, widget = self.start_with_widget()
        left, top, width, height = widget.place
        self.assertEqual(height, 352 + 5 * 52)

        def rows():
            return look(left + 10, top + 225, width - 20, 260)

        views = [rows()]
        self.give_keys(widget)
        for act, word in (desktop.keys, "Next"), (turn_wheel, "5"), (desktop.keys, "Prior"), (turn_wheel, "4"):
            act(word)
            wait_until(lambda: rows() != views[-1], f"other rows after {word}")
            views.append(rows())
        desktop.screenshot("widget-rows")
        self.assertEqual((views[0], views[1]), (views[4], views[3]))

    def test_outlives_the_main_window_s_hiding(self):
        program, widget = self.start_with_widget()
        desktop.xdotool("key", "alt+F4")
        wait_until(lambda: len(program.all("frame")) == 1, "hidden main window")
        self.give_keys(widget)
        desktop.keys("Return")
        wait_until(lambda: len(program.all("frame")) == 2, "restored main window")
        widget.find("push button", "Start scan").click(at=(0.9, 0.5))  # which the main window does not cover
        widget.find("push button", "Scan again")
        self.give_keys(widget)
        desktop.keys("Escape")
        program.find("push button", "Desktop widget · Off")
        self.assertEqual(len(program.all("frame")), 1)

    def test_mirrors_itself_in_arabic(self):
        program, widget = self.start_with_widget()
        program.kill()
        widget = self.widget_of(self.start(environment={"LANGUAGE": "ar"}))
        desktop.screenshot("widget-arabic")
        open_button, hide_button, scan_button = widget.all("push button")
        left = widget.place[0]
        self.assertEqual([one.place[0] - left for one in (open_button, hide_button, scan_button)], [185, 20, 20])



if __name__ == "__main__":
    desktop.run()


if __name__ == "__main__":
    desktop.run()
