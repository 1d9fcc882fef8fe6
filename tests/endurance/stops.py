"""Stands in the daemon's place in a box: starts the daemon, stops it at a random instant of a random phase, and looks
at what it leaves; again and again. stops.py PROGRAM NUMBER SEED"""

import collections
import os
import random
import signal
import subprocess
import sys
import time

from module import Module
from router import (CLEAR, CONNECTION, LOCK, PATIENCE, PERMISSION, PORT, Log, becomes_true, catches, end, processes,
                    remove, restore, start_daemon, touch)

HANG = 8  # seconds; a stop is bounded to 5
SIGNALS = [signal.SIGTERM, signal.SIGINT, signal.SIGQUIT]

# How many times shorter the pauses are. HURRY leaves little of them: most instants then lie within the work itself.
HURRY, PACE = 20000, 1000


class Phase:
    """What the daemon is to be at, until when it is waited for, and how long it stays there, in seconds."""

    def __init__(self, name, span, speed=HURRY, prepare=lambda module: None, works=False, known=True):
        self.name, self.span, self.speed, self.prepare, self.works = name, span, speed, prepare, works
        self.options = ("-d", "EC25") if known else ()

    def is_reached(self, daemon, module, before):
        # A question may still be that of the daemon before.
        return all(catches(daemon.pid, which) for which in SIGNALS) and (module.questions > before or not self.works)


def in_pieces(module):
    module.piece = 7


def silent(module):
    module.silent = True


def clearing(_):
    touch(CLEAR)


START = Phase("starting", 0.12)
UNKNOWN = Phase("without a module's name", 0.03, PACE, known=False)
PHASES = [
    START,
    UNKNOWN,
    Phase("working", 0.03, works=True),
    Phase("at an answer in pieces", 0.1, prepare=in_pieces, works=True),
    Phase("at a module that is silent", 0.03, prepare=silent, works=True),
    Phase("bringing the link up", 0.15, prepare=lambda _: touch(CONNECTION), works=True),
    Phase("clearing", 0.05, prepare=clearing, works=True),
    Phase("paused", 0.03, PACE, prepare=lambda _: remove(PERMISSION)),
    Phase("waiting for the lock", 0.03, PACE, prepare=lambda _: touch(LOCK)),
    Phase("without the module", 0.03, PACE, prepare=lambda _: os.rename(PORT, PORT + ".away")),
]


class Stops:
    def __init__(self, program, seed):
        self._program = program
        self._chance = random.Random(seed)
        self._module = Module(PORT)
        self._log = Log()
        self._others = processes()
        self.found = collections.Counter()
        self.longest = 0.0

    def one(self):
        """What is wrong with one stop; None when nothing is."""
        phase, which = self._chance.choice(PHASES), self._chance.choice(SIGNALS)
        wait = self._chance.uniform(0, phase.span)  # drawn whatever comes, so that a seed is the same runs everywhere
        phase.prepare(self._module)
        lines, questions = self._log.stop_lines(), self._module.questions
        daemon = start_daemon(self._program, phase.speed, phase.options)
        failure = self._stop(daemon, phase, which, wait, lines, questions)
        if daemon.poll() is None:
            daemon.kill()
            daemon.wait()
        self._module.piece, self._module.silent = None, False
        restore()
        if not becomes_true(lambda: processes() <= self._others):
            failure = failure or "a process is left"
        self._module.forget_user()
        return failure and f"{which.name}, {phase.name}, {1000 * wait:.1f} ms: {failure}"

    def _stop(self, daemon, phase, which, wait, lines, questions):
        if phase not in (START, UNKNOWN) and not becomes_true(
                lambda: phase.is_reached(daemon, self._module, questions) or daemon.poll() is not None):
            return f"not reached within {PATIENCE} s"
        time.sleep(wait)
        was_ready = catches(daemon.pid, which)
        if daemon.poll() is not None:
            return f"ended by itself, status {daemon.returncode}"
        daemon.send_signal(which)
        begin = time.monotonic()
        try:
            status = daemon.wait(HANG)
        except subprocess.TimeoutExpired:
            return "hangs"
        self.longest = max(self.longest, time.monotonic() - begin)
        lines = self._log.stop_lines() - lines
        # The handler comes with the module's name. Before, a signal ends the process by itself.
        too_early = status == -which and not was_ready and phase in (START, UNKNOWN)
        self.found["before there is a handler" if too_early else phase.name] += 1
        if (status, lines) != ((-which, 0) if too_early else (0, 1)):
            return f"status {status}, {lines} stop lines"
        if os.path.exists(LOCK) != (phase.name == "waiting for the lock"):
            return "the lock of somebody else is gone" if phase.name == "waiting for the lock" else "the lock is left"
        return None


def main():
    program, number, seed = sys.argv[1], int(sys.argv[2]), int(sys.argv[3])
    stops = Stops(program, seed)
    failures = 0
    for run in range(number):
        failure = stops.one()
        if failure:
            failures += 1
            print(f"seed {seed}, run {run}: {failure}", flush=True)
    for name, count in sorted(stops.found.items()):
        print(f"counted {count} {name}", flush=True)
    print(f"counted {stops.longest:.3f} longest", flush=True)
    end(f"{number} stops, seed {seed}, {failures} failed")


main()
