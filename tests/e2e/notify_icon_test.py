"""A hidden window always has a way back and a way out, whatever the desktop shows icons with."""

import desktop
from desktop import keys, wait_until


class NotifyIcon(desktop.DesktopTest):
    ICON = ("push button", "Dustmere .*")

    def hide(self, program):
        program.active_window()
        keys("alt+F4")
        program.wait_gone("frame")

    def test_without_a_panel_the_icon_stands_in_the_corner(self):
        program = self.start()
        self.hide(program)
        icon = program.find(*self.ICON)
        program.find("label", ".*The app is running in the notification area.*")
        desktop.screenshot("corner-icon")
        icon.click()
        program.active_window()
        program.wait_gone(*self.ICON)

        self.hide(program)
        program.find(*self.ICON)
        self.assertEqual(program.all("label"), [], "the balloon comes once")
        keys("alt+Tab")
        wait_until(lambda: "focused" in program.find(*self.ICON).states, "focus on the icon")
        keys("space")
        self.hide(program)
        program.find(*self.ICON).click(button=3)
        desktop.menu().find("menu item", "Show widget").click()
        program.find("push button", "Hide widget")
        keys("Menu")
        desktop.menu()
        desktop.screenshot("corner-menu")
        keys("Up", "Return")
        self.assertEqual(program.wait_end(), 0)

    def test_a_window_with_a_dialog_stays(self):
        program = self.start()
        window = program.active_window()
        program.click("push button", "View files .*")
        program.active_window(role="alert")
        left, top, width, _ = window.place
        desktop.point_at(left + width - 10, top - 10)
        desktop.xdotool("click", "1")
        keys("Return")
        program.wait_gone("alert")
        program.active_window()
        self.hide(program)


if __name__ == "__main__":
    desktop.run()
