"""Helpers of the scripts: the machine of a test (PLINTH_ROOT), programs that run to their end."""
import os
import subprocess

ROOT = os.environ["PLINTH_ROOT"]
PATIENCE = 60  # seconds until a program that should have ended counts as stuck


def folder_outside():
    """A folder outside of ROOT, below which opening never waits. The launcher removes it."""
    os.makedirs(ROOT + ".outside", exist_ok=True)
    return ROOT + ".outside"


def fifo_outside():
    """A FIFO outside of ROOT, below which programs refuse one."""
    path = folder_outside() + "/fifo"
    os.mkfifo(path)
    return path


def run(*command, **more):
    """The result, whatever the exit code. Without input, standard input is empty."""
    if "input" not in more:
        more["stdin"] = subprocess.DEVNULL
    more = {"stdout": subprocess.PIPE, "stderr": subprocess.PIPE, "encoding": "utf-8", **more}
    return subprocess.run(command, timeout=PATIENCE, check=False, **more)
