"""The main window of the real program, used by a person."""

import desktop
from desktop import wait_until


class Keyboard(desktop.DesktopTest):
    def test_tab_goes_through_the_page_in_the_told_order(self):
        program = self.start()
        program.active_window()
        for name in ("PC cleanup", "Disk space", "Help", "Our website", "Settings", "Start scan", "View files .*"):
            desktop.keys("Tab")
            wait_until(lambda: "focused" in program.find("push button", name).states, f"focus on {name}")
        desktop.screenshot("focus")


if __name__ == "__main__":
    desktop.run()
