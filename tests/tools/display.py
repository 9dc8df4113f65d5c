"""A display that a test starts for itself (Xvfb), and the environment of programs that use it."""
import os
import subprocess

from needs import needs_program

# The launcher sets the last one to keep programs off the desktop.
DISPLAY_NAMES = ("DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM", "PLINTH_DESKTOP")


def environment(**more):
    clean = {name: value for name, value in os.environ.items() if name not in DISPLAY_NAMES}
    return {**clean, "XDG_RUNTIME_DIR": os.environ["PLINTH_ROOT"], "NO_AT_BRIDGE": "1",
            "XDG_CONFIG_HOME": os.environ["PLINTH_ROOT"], **more}


def start_display(test):
    """Returns the name of a new display, which ends with the test."""
    return start_server(test)[1]


def start_server(test):
    """Returns the display's process, too: for a test that ends it."""
    needs_program("Xvfb", "xvfb")
    read, write = os.pipe()
    server = subprocess.Popen(["Xvfb", "-displayfd", str(write), "-screen", "0", "1280x1024x24",
                               "-nolisten", "tcp", "-noreset"],
                              pass_fds=[write], stderr=subprocess.DEVNULL)
    test.addCleanup(server.wait)
    test.addCleanup(server.terminate)
    os.close(write)
    with os.fdopen(read) as numbers:
        return server, ":" + numbers.readline().strip()
