#!/usr/bin/python3
"""A small GTK3 window for accessibility tests: a text entry, a password
entry, two labelled buttons and a plain label.

Once the window is on screen it prints one line of JSON with each widget's
rectangle in root coordinates, then reads commands from standard input, one a
line: "focus NAME" gives the keyboard focus to a widget, "quit" ends.
Run it with Debian's /usr/bin/python3 (python3-gi, gir1.2-gtk-3.0).
"""
import json
import sys

import gi

gi.require_version("Gtk", "3.0")
from gi.repository import GLib, Gtk  # noqa: E402

window = Gtk.Window(title="Vantrel test window")
window.move(40, 60)
window.set_default_size(420, 260)
box = Gtk.Box(orientation=Gtk.Orientation.VERTICAL, spacing=8, margin=12)
widgets = {
    "entry": Gtk.Entry(),
    "password": Gtk.Entry(visibility=False),
    "save": Gtk.Button(label="Save Document"),
    "settings": Gtk.Button(label="Open Settings"),
    "label": Gtk.Label(label="Plain label text"),
}
for widget in widgets.values():
    box.pack_start(widget, False, False, 0)
window.add(box)
window.connect("destroy", Gtk.main_quit)


def rectangles():
    origin = window.get_window().get_origin()
    result = {}
    for name, widget in widgets.items():
        allocation = widget.get_allocation()
        x, y = widget.translate_coordinates(window, 0, 0)
        result[name] = [origin.x + x, origin.y + y, allocation.width, allocation.height]
    return result


def announce():
    print(json.dumps(rectangles()), flush=True)
    return False


def command(channel, condition):
    line = channel.readline()
    if not line or line.strip() == "quit":
        Gtk.main_quit()
        return False
    verb, _, name = line.strip().partition(" ")
    if verb == "focus" and name in widgets:
        # No window manager runs under Xvfb: take the X focus ourselves.
        window.get_window().focus(0)
        widgets[name].grab_focus()
    return True


window.show_all()
GLib.timeout_add(700, announce)
GLib.io_add_watch(GLib.IOChannel.unix_new(sys.stdin.fileno()), GLib.IO_IN | GLib.IO_HUP, command)
Gtk.main()
