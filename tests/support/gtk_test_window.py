#!/usr/bin/python3
"""A small GTK3 window for accessibility tests: a text entry, a password
entry, two labelled buttons and a plain label.

Options: --at X Y places it; --button LABEL makes it one button filling the
window instead; --second X Y LABEL maps a second window of this program
later (so above the first), one button filling it; --desktop makes it a
full-screen desktop window kept at the bottom of the stack, with one button
"Desktop Folder" at (1200, 700).

Once the window is on screen it prints one line of JSON with each widget's
rectangle in root coordinates, then reads commands from standard input, one a
line: "focus NAME" gives the keyboard focus to a widget, "quit" ends.
Run it with Debian's /usr/bin/python3 (python3-gi, gir1.2-gtk-3.0).
"""
import json
import sys

import gi

gi.require_version("Gdk", "3.0")
gi.require_version("Gtk", "3.0")
from gi.repository import Gdk, GLib, Gtk  # noqa: E402

options = sys.argv[1:]


def option(name, count):
    if name not in options:
        return None
    at = options.index(name)
    return options[at + 1:at + 1 + count]


def button_window(title, x, y, label, widgets, name):
    win = Gtk.Window(title=title)
    win.move(x, y)
    win.set_default_size(420, 260)
    widgets[name] = (win, Gtk.Button(label=label))
    win.add(widgets[name][1])
    return win


widgets = {}
window = Gtk.Window(title="Vantrel test window")
at = option("--at", 2) or ["40", "60"]
window.move(int(at[0]), int(at[1]))
window.set_default_size(420, 260)
if "--desktop" in options:
    screen = window.get_screen()
    window.set_type_hint(Gdk.WindowTypeHint.DESKTOP)
    window.set_decorated(False)
    window.move(0, 0)
    window.set_default_size(screen.get_width(), screen.get_height())
    fixed = Gtk.Fixed()
    widgets["folder"] = (window, Gtk.Button(label="Desktop Folder"))
    fixed.put(widgets["folder"][1], 1200, 700)
    window.add(fixed)
elif option("--button", 1):
    widgets["button"] = (window, Gtk.Button(label=option("--button", 1)[0]))
    window.add(widgets["button"][1])
else:
    box = Gtk.Box(orientation=Gtk.Orientation.VERTICAL, spacing=8, margin=12)
    for name, widget in {
        "entry": Gtk.Entry(),
        "password": Gtk.Entry(visibility=False),
        "save": Gtk.Button(label="Save Document"),
        "settings": Gtk.Button(label="Open Settings"),
        "label": Gtk.Label(label="Plain label text"),
    }.items():
        widgets[name] = (window, widget)
        box.pack_start(widget, False, False, 0)
    window.add(box)
window.connect("destroy", Gtk.main_quit)


def rectangles():
    result = {}
    for name, (top, widget) in widgets.items():
        origin = top.get_window().get_origin()
        allocation = widget.get_allocation()
        x, y = widget.translate_coordinates(top, 0, 0)
        result[name] = [origin.x + x, origin.y + y, allocation.width, allocation.height]
    return result


def map_second():
    second = option("--second", 3)
    if second:
        button_window("Second window", int(second[0]), int(second[1]), second[2], widgets,
                      "second").show_all()
    return False


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
        widgets[name][0].get_window().focus(0)
        widgets[name][1].grab_focus()
    return True


window.show_all()
if "--desktop" in options:
    # A window manager keeps the desktop below; without one we lower it ourselves.
    window.get_window().lower()
GLib.timeout_add(300, map_second)
GLib.timeout_add(700, announce)
GLib.io_add_watch(GLib.IOChannel.unix_new(sys.stdin.fileno()), GLib.IO_IN | GLib.IO_HUP, command)
Gtk.main()
