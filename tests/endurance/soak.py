"""Stands in the daemon's place in a box: one daemon, with hardly a pause between its cycles, at a module that plays the
shipped drive over and over, on a router that does everything else to it that a router can do. From time to time says
what of the daemon could grow. soak.py PROGRAM CYCLES SCENARIO"""

import contextlib
import os
import re
import select
import signal
import socket
import struct
import subprocess
import sys
import time
import tty

import lmdb

from router import CLEAR, CONNECTION, FOLDER, LOCK, PERMISSION, PORT, STOP_LINE, end, remove, start_daemon, touch

HURRY = 1000000  # how many times shorter the pauses are: next to none
SAMPLES = 200
QUESTION = 'at+qeng="servingcell"'
MARKERS = {os.path.basename(path) for path in (CLEAR, CONNECTION, LOCK, PERMISSION)}
HANG = 60  # seconds without a question
CELL = re.compile(r"\b[12][AB][0-9A-F]{5}\b")  # an identity in an answer of LTE or WCDMA: a new one each time


def rounds_of(path):
    """[(cycle, {command: answer})], and the cycle in which the story begins anew, of a scenario's `answer`s."""
    steps, command = [(0, {})], None
    with open(path) as scenario:
        for line in scenario:
            words = line.split()
            if line.startswith("|") and command:
                steps[-1][1][command] += CELL.sub("CELL", line.rstrip("\n")[2:]) + "\r\n"
            elif words[:2] == ["after", "cycle"]:
                steps.append((int(words[2]), {}))
            elif words[:1] == ["answer"]:
                command = words[1].lower()
                steps[-1][1][command] = ""
            elif words and not line.startswith("#"):
                command = None
    return steps, steps[-1][0] + 2


class Soak:
    def __init__(self, program, cycles, scenario):
        self._goal = cycles
        self._story, self._length = rounds_of(scenario)
        self._answers = {}
        self.cycles = 0
        self._said = b""
        self._stop_lines = 0
        self._events = self._what_happens()
        self._deferred = []  # (when, what to do)
        self._samples = 0
        self._start = min(1000, cycles // 10)
        self._next_sample = self._start
        self._cells = set()
        self.failures = []
        self._log = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        os.rename("/dev/log", "/dev/log.box")
        self._log.bind("/dev/log")
        self._log.setblocking(False)
        self._ours, self._theirs = os.openpty()
        os.set_blocking(self._ours, False)
        tty.setraw(self._theirs)
        remove(PORT)
        os.symlink(os.ttyname(self._theirs), PORT)
        self._silent = False
        self._poll = select.poll()
        self._poll.register(self._ours, select.POLLIN)
        self._poll.register(self._log, select.POLLIN)
        self._daemon = start_daemon(program, HURRY, ("-d", "RM520N"))

    # --- What happens around the daemon: every so many cycles, and so many cycles behind such a one ---

    def _what_happens(self):
        return [
            (1000, 100, self._address("10.64.12.5/30")),
            (1000, 102, lambda: touch(CONNECTION)),
            (1000, 300, self._address("10.77.3.18/30")),
            (1000, 302, lambda: touch(CONNECTION)),
            (1000, 500, lambda: touch(CLEAR)),
            (1000, 600, lambda: self._for_a_while(lambda: remove(PERMISSION), lambda: touch(PERMISSION))),
            (1000, 700, lambda: self._for_a_while(lambda: os.rename(PORT, PORT + ".away"),
                                                  lambda: os.rename(PORT + ".away", PORT))),
            (1000, 800, lambda: self._for_a_while(lambda: touch(LOCK), lambda: remove(LOCK))),
            (1000, 950, self._reader_that_dies),
            (10000, 9950, self._silence),
            (50000, 49960, self._folder_is_removed),
        ]

    @staticmethod
    def _address(address):
        def change():
            subprocess.run(["ip", "-4", "address", "flush", "dev", "wwan0"], check=True)
            subprocess.run(["ip", "address", "add", address, "dev", "wwan0"], check=True)
        return change

    def _for_a_while(self, begin, after):
        begin()
        self._deferred.append((time.monotonic() + 0.02, after))

    def _silence(self):
        self._silent = True

    @staticmethod
    def _reader_that_dies():
        """Its place in the lock file is somebody's to clear."""
        if os.fork() == 0:
            with contextlib.suppress(lmdb.Error):
                environment = lmdb.open(FOLDER, readonly=True, max_dbs=16)
                with environment.begin():
                    os.kill(os.getpid(), signal.SIGKILL)
            os._exit(1)
        os.wait()

    @staticmethod
    def _folder_is_removed():
        subprocess.run(["rm", "-rf", FOLDER], check=True)

    # --- One loop ---

    def run(self):
        last = time.monotonic()
        while self.cycles < self._goal and self._daemon.poll() is None:
            before = self.cycles
            for descriptor, _ in self._poll.poll(10):
                self._serve_module() if descriptor == self._ours else self._read_log()
            now = time.monotonic()
            while self._deferred and self._deferred[0][0] <= now:
                self._deferred.pop(0)[1]()
            if self.cycles != before:
                last = now
            elif now - last > HANG:
                self.failures.append(f"no question for {HANG} s, after {self.cycles} cycles")
                break
        self._stop()

    def _serve_module(self):
        with contextlib.suppress(BlockingIOError):
            self._said += os.read(self._ours, 4096)
        *commands, self._said = re.split(b"\r", self._said)
        for command in commands:
            text = command.decode(errors="replace")
            asked = text.strip().lower()
            if asked == QUESTION:
                self._new_cycle()
                if self._silent:
                    self._silent = False
                    continue
            answer = self._answers.get(asked, "OK\r\n").replace("CELL", f"{self.cycles:X}")
            os.write(self._ours, (text + "\r" + ("" if answer.startswith("\r\n") else "\r\n") + answer).encode())

    def _new_cycle(self):
        self.cycles += 1
        at = self.cycles % self._length
        for cycle, answers in self._story:
            if cycle == at or (self.cycles == 1 and cycle == 0):
                self._answers.update(answers)
        for every, behind, happens in self._events:
            if self.cycles % every == behind:
                happens()
        if self.cycles >= self._next_sample:
            self.sample()

    def _read_log(self):
        with contextlib.suppress(BlockingIOError):
            while True:
                self._stop_lines += STOP_LINE in self._log.recv(65536)

    # --- What could grow, and whether the daemon still does its work ---

    def sample(self):
        self._samples += 1
        # Not always at the same place of the story, which the first summand alone would often be.
        self._next_sample = max(self._start, self._goal * self._samples // SAMPLES) + 7 * self._samples % self._length
        folder = f"/proc/{self._daemon.pid}"
        with open(folder + "/status") as file:
            resident = int(re.search(r"^VmRSS:\s+(\d+)", file.read(), re.M)[1])
        pages = readers = -1
        with contextlib.suppress(lmdb.Error), lmdb.open(FOLDER, readonly=True, max_dbs=16) as environment:
            pages = environment.info()["last_pgno"] + 1
            # Ours is the one that has just been opened.
            readers = sum(1 for line in environment.readers().splitlines()[1:] if line.split()[0] != str(os.getpid()))
            database = environment.open_db(b"CELL", create=False)
            with environment.begin(database) as seen:
                cell = seen.get(b"CELL_CID")
                self._cells.add(struct.unpack("<i", bytes(cell[1:]))[0] if cell else None)
        print(f"sample {self.cycles},{resident},{len(os.listdir(folder + '/fd'))},{pages},{readers},"
              f"{len(set(os.listdir('/tmp')) - MARKERS)}", flush=True)

    def _stop(self):
        with contextlib.suppress(OSError), open(f"/proc/{self._daemon.pid}/schedstat") as file:
            daemon, beside = int(file.read().split()[0]) / 1e6, 1000 * time.process_time()
            print(f"of processor time a cycle: {daemon / self.cycles:.2f} ms the daemon, {beside / self.cycles:.2f} ms "
                  "this module", flush=True)
        self._daemon.send_signal(signal.SIGTERM)
        while True:
            with contextlib.suppress(subprocess.TimeoutExpired):
                status = self._daemon.wait(0.01)
                break
            self._read_log()
        self._read_log()
        if (status, self._stop_lines) != (0, 1):
            self.failures.append(f"status {status}, {self._stop_lines} stop lines")
        if len(self._cells) < self._samples // 3:
            self.failures.append(f"only {len(self._cells)} different cells were ever published")


def main():
    soak = Soak(sys.argv[1], int(sys.argv[2]), sys.argv[3])
    soak.run()
    for failure in soak.failures:
        print(failure, flush=True)
    end(f"{soak.cycles} cycles, {len(soak.failures)} failed")


main()
