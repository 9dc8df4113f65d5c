"""The text files of the tree, for the scripts that read all of them."""
import subprocess
from pathlib import Path


def texts():
    """Path and text of each file that git knows or would add; not of links, inputs of the fuzz
    targets, and files that are no text."""
    listed = subprocess.run(["git", "ls-files", "-co", "--exclude-standard", "-z"], check=True,
                            capture_output=True, text=True).stdout.split("\0")
    for name in sorted(set(listed) - {""}):
        path = Path(name)
        if "/corpus/" in name or not path.is_file() or path.is_symlink():
            continue
        try:
            yield path, path.read_text(encoding="utf-8")
        except UnicodeDecodeError:
            continue
