"""The router around a daemon that a script of this folder starts in a box: its log, its markers, its processes."""

import contextlib
import os
import pathlib
import signal
import socket
import subprocess
import threading
import time

PORT = "/dev/ttyQSB3"
LOCK = "/tmp/zelt.cli"
PERMISSION = "/tmp/zstats.running"
CLEAR = "/tmp/zstats.clear"
CONNECTION = "/tmp/new_connection"
FOLDER = "/run/sysdb"
STOP_LINE = b"Zelt Stats received SIGTERM"
PATIENCE = 30  # seconds: whatever else the machine does


class Log:
    """The system log in the place of the box's."""

    def __init__(self):
        os.rename("/dev/log", "/dev/log.box")
        self._socket = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self._socket.bind("/dev/log")
        self._marks = 0
        self._read = threading.Condition()
        self._stop_lines = 0
        self._sender = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self._sender.connect("/dev/log")
        threading.Thread(target=self._serve, daemon=True).start()

    def _serve(self):
        while True:
            line = self._socket.recv(65536)
            with self._read:
                if line.startswith(b"mark "):
                    self._marks = int(line[5:])
                    self._read.notify_all()
                elif STOP_LINE in line:
                    self._stop_lines += 1

    def stop_lines(self):
        """How many there were until now. A datagram overtakes none: behind ours no older one can come."""
        with self._read:
            mark = self._marks + 1
        self._sender.send(b"mark %d" % mark)
        with self._read:
            if not self._read.wait_for(lambda: self._marks >= mark, PATIENCE):
                raise TimeoutError("the log is not read")
            return self._stop_lines


def start_daemon(program, speed, options=("-d", "EC25")):
    """With pauses that many times shorter: the box shortens only those of what it starts itself."""
    hurry = {"LD_PRELOAD": os.environ["ZELT_BUILD"] + "/libzelt_speed.so", "ZELT_SPEED": str(speed)}
    return subprocess.Popen([program, *options], stdin=subprocess.DEVNULL, env={**os.environ, **hurry})


def becomes_true(condition, patience=PATIENCE):
    end = time.monotonic() + patience
    while not condition():
        if time.monotonic() > end:
            return False
        time.sleep(0.0005)
    return True


def catches(pid, which):
    """Whether the process has a handler for the signal."""
    with contextlib.suppress(OSError, StopIteration), open(f"/proc/{pid}/status") as file:
        caught = next(line for line in file if line.startswith("SigCgt"))
        return bool(int(caught.split()[1], 16) >> (which - 1) & 1)
    return False


def processes():
    """Those of the box; ended ones that nobody has waited for do not count."""
    found = set()
    for folder in pathlib.Path("/proc").iterdir():
        if folder.name.isdigit():
            with contextlib.suppress(OSError):
                if (folder / "stat").read_text().rsplit(")", 1)[1].split()[0] != "Z":
                    found.add(int(folder.name))
    return found


def touch(path):
    open(path, "w").close()


def remove(path):
    with contextlib.suppress(FileNotFoundError):
        os.remove(path)


def restore():
    """Everything as a daemon finds it that may run and has its module."""
    for path in (LOCK, CLEAR, CONNECTION):
        remove(path)
    touch(PERMISSION)
    with contextlib.suppress(FileNotFoundError):
        os.rename(PORT + ".away", PORT)


def end(text):
    """The last word to scripts/endurance, which then ends the box."""
    print(text, flush=True)
    print("done", flush=True)
    signal.pause()
