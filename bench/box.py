"""One program in a box, in the daemon's place, followed cycle by cycle."""

import contextlib
import pathlib
import re
import subprocess
import threading

CYCLE = re.compile(r"\s*[\d.]+s\s+cycle\s+(\d+)")
OUTPUT = re.compile(r"\s*[\d.]+s\s+output\s+(.*)")
STUCK_SECONDS = 60  # no cycle takes that long, whatever else the machine does


class Missing(Exception):
    """What cannot be measured here, and why."""


class BoxError(Missing):
    """The box ended, or nothing happened in it, before it had been measured."""


def _children(pid):
    for task in pathlib.Path(f"/proc/{pid}/task").iterdir():
        yield from (task / "children").read_text().split()


def find_below(pid, name):
    """The process of that name below pid, or None."""
    with contextlib.suppress(OSError):
        if pathlib.Path(f"/proc/{pid}/comm").read_text().strip() == name:
            return pid
        for child in _children(pid):
            found = find_below(child, name)
            if found:
                return found
    return None


class Box:
    """with Box(...) as box: box.wait_for(cycle); box.pid is the process in the daemon's place."""

    def __init__(self, build, scenario, command, speed=100, name=None):
        self.name = name or pathlib.Path(command[0]).name
        self.lines = []  # what the program itself said
        arguments = [build / "zelt-sim", "run", scenario, "--speed", str(speed), "--verbose", "--", *command]
        self._process = subprocess.Popen(
            [str(a) for a in arguments], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT, text=True, errors="replace")
        self._alarm = None
        self.pid = None

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.end()

    def wait_for(self, cycle):
        """Returns as the program begins the sleep behind that cycle."""
        for line in self._read():
            found = CYCLE.match(line)
            if found and int(found[1]) >= cycle:
                self.pid = self.pid or find_below(str(self._process.pid), self.name)
                if not self.pid:
                    raise BoxError(f"no process {self.name} in the box")
                return
        raise BoxError(f"{self.name} ended before cycle {cycle}: {' / '.join(self.lines[-3:])}")

    def number(self):
        """By which zelt-sim attach knows this box: its inner half, the parent of the program in it."""
        return re.search(r"^PPid:\s+(\d+)", pathlib.Path(f"/proc/{self.pid}/status").read_text(), re.M)[1]

    def nanoseconds(self):
        """Processor time so far."""
        return int(pathlib.Path(f"/proc/{self.pid}/schedstat").read_text().split()[0])

    def end(self):
        """Stops the program as its user would, and returns what it said."""
        if self._process.poll() is None:
            self._process.terminate()
            list(self._read())
        self._process.wait()
        return self.lines

    def _read(self):
        while True:
            alarm = threading.Timer(STUCK_SECONDS, self._process.kill)
            alarm.start()
            line = self._process.stdout.readline()
            alarm.cancel()
            if not line:
                return
            said = OUTPUT.match(line)
            if said:
                self.lines.append(said[1].strip())
            yield line
