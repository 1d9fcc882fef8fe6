"""Stands in the daemon's place in a box: starts the daemon, stops it at a random instant of a random phase, and looks at
what it leaves; again and again. stops.py PROGRAM NUMBER SEED"""

import collections
import contextlib
import os
import random
import signal
import socket
import subprocess
import sys
import threading
import time

from module import Module, start_daemon

PORT = "/dev/ttyQSB3"
LOCK = "/tmp/zelt.cli"
PERMISSION = "/tmp/zstats.running"
LINE = b"Zelt Stats received SIGTERM"
SPAN = 0.25  # seconds: the start and some cycles
HANG = 8  # seconds; a stop is bounded to 5

signals = [signal.SIGTERM, signal.SIGINT, signal.SIGQUIT]


class Log:
    """The system log in the box's place."""

    def __init__(self):
        os.rename("/dev/log", "/dev/log.box")
        self._socket = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self._socket.bind("/dev/log")
        self.stop_lines = 0
        threading.Thread(target=self._serve, daemon=True).start()

    def _serve(self):
        while True:
            if LINE in self._socket.recv(65536):
                self.stop_lines += 1

    def settled(self):
        """How many stop lines there were, when everything that was sent was read."""
        mark = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        mark.connect("/dev/log")
        mark.send(b"mark")
        time.sleep(0.002)
        return self.stop_lines


def paused():
    os.remove(PERMISSION)


def locked():
    open(LOCK, "w").close()


def gone():
    os.rename(PORT, PORT + ".away")


def steady():
    pass


PHASES = {"steady": steady, "paused": paused, "waiting for the lock": locked, "without the module": gone}


def restore():
    open(PERMISSION, "w").close()
    with contextlib.suppress(FileNotFoundError):
        os.remove(LOCK)
    with contextlib.suppress(FileNotFoundError):
        os.rename(PORT + ".away", PORT)


def catches(pid, which):
    with open(f"/proc/{pid}/status") as file:
        caught = next(line for line in file if line.startswith("SigCgt"))
    return bool(int(caught.split()[1], 16) >> (which - 1) & 1)


def one_stop(program, log, chance, found):
    name = chance.choice(list(PHASES))
    PHASES[name]()
    before = log.settled()
    daemon = start_daemon(program)
    time.sleep(chance.uniform(0, SPAN))
    which = chance.choice(signals)
    was_ready = catches(daemon.pid, which)
    daemon.send_signal(which)
    begin = time.monotonic()
    try:
        status = daemon.wait(HANG)
    except subprocess.TimeoutExpired:
        daemon.kill()
        daemon.wait()
        return f"hangs after {which.name}, {name}"
    found["longest"] = max(found["longest"], time.monotonic() - begin)
    lines = log.settled() - before
    too_early = status == -which and lines == 0 and not was_ready
    found[name if not too_early else "before its handler is there"] += 1
    if not too_early and (status != 0 or lines != 1):
        return f"{which.name}, {name}: status {status}, {lines} stop lines"
    if os.path.exists(LOCK) != (name == "waiting for the lock"):
        return f"{which.name}, {name}: the lock is " + ("gone" if name == "waiting for the lock" else "left")
    return None


def main():
    program, number, seed = sys.argv[1], int(sys.argv[2]), int(sys.argv[3])
    Module(PORT)
    log = Log()
    chance = random.Random(seed)
    found = collections.Counter(longest=0)
    failures = 0
    for run in range(number):
        failure = one_stop(program, log, chance, found)
        restore()
        if failure:
            failures += 1
            print(f"run {run}: {failure}", flush=True)
    longest = found.pop("longest")
    print("; ".join(f"{count} {name}" for name, count in found.items()), flush=True)
    print(f"{number} stops, seed {seed}, longest {longest:.1f} s, {failures} failed", flush=True)
    print("done", flush=True)
    signal.pause()


main()
