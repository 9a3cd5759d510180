"""A hidden window always has a way back and a way out, whatever the desktop shows icons with."""

import os

import desktop
from desktop import keys, wait_until


class Panel:
    """Shows icons as desktops do; it comes when it is made and can die."""

    INTERFACE = """<node><interface name="org.kde.StatusNotifierWatcher">
        <method name="RegisterStatusNotifierItem"><arg direction="in" type="s"/></method>
        <property name="IsStatusNotifierHostRegistered" type="b" access="read"/></interface></node>"""

    def __init__(self):
        from gi.repository import Gio, GLib

        self.items = []
        self.variant = GLib.Variant
        flags = Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION
        address = os.environ["DBUS_SESSION_BUS_ADDRESS"]
        self.bus = Gio.DBusConnection.new_for_address_sync(address, flags, None, None)
        interface = Gio.DBusNodeInfo.new_for_xml(self.INTERFACE).interfaces[0]
        self.bus.register_object("/StatusNotifierWatcher", interface, self.register, lambda *_: GLib.Variant("b", True))
        Gio.bus_own_name_on_connection(self.bus, interface.name, Gio.BusNameOwnerFlags.NONE, None, None)

    def register(self, bus, sender, path, interface, method, arguments, invocation):
        self.items.append(sender)
        invocation.return_value(None)

    def choose(self, method):
        """What a click on the last item does."""
        place = self.variant("(ii)", (400, 400))
        item = wait_until(lambda: self.items, "an item in the panel")[-1]
        self.bus.call(item, "/StatusNotifierItem", "org.kde.StatusNotifierItem", method, place, None, 0, -1, None)

    def die(self):
        if not self.bus.is_closed():
            self.bus.close_sync()


class NotifyIcon(desktop.DesktopTest):
    ICON = ("push button", "Dustmere .*")

    def hide(self, program):
        program.active_window()
        keys("alt+F4")
        program.wait_gone("frame")

    def panel(self):
        panel = Panel()
        self.addCleanup(panel.die)
        return panel

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

    def test_a_panel_that_dies_and_returns_leaves_a_way_back(self):
        panel = self.panel()
        program = self.start()
        self.hide(program)
        panel.choose("Activate")
        program.active_window()
        self.hide(program)
        self.assertEqual(program.all(*self.ICON), [])
        panel.die()
        program.find(*self.ICON)
        panel = self.panel()
        program.wait_gone(*self.ICON)
        panel.choose("ContextMenu")
        desktop.menu().find("menu item", "Open Dustmere").click()
        self.hide(program)
        panel.choose("ContextMenu")
        desktop.menu().find("menu item", "Exit").click()
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
