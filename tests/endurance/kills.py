"""Stands in the daemon's place in a box: starts the daemon and kills it at a random instant, while readers look at the
database all the time and see whether its values belong together. kills.py PROGRAM NUMBER SEED"""

import collections
import multiprocessing
import os
import random
import struct
import sys
import time

import lmdb

from module import Module, expected, expected_carrier
from router import (CONNECTION, FOLDER, LOCK, PATIENCE, PORT, Log, becomes_true, end, processes, restore, start_daemon,
                    touch)

SPAN = 0.03  # seconds: some cycles
START_SPAN = 0.06
HURRY = 20000  # how many times shorter the pauses are: most instants then lie within the work itself
READERS = 2
SNAPSHOTS = 50  # of one opening
NOT_REPORTED = -999
PAGE = os.sysconf("SC_PAGESIZE")
BROKEN = "broken"


def open_database():
    """None before there is one. A file that has not its first two pages yet would have to be made by us."""
    try:
        if os.stat(FOLDER + "/data.mdb").st_size < 2 * PAGE:
            return None
    except FileNotFoundError:
        return None
    environment = lmdb.open(FOLDER, readonly=True, max_dbs=16, subdir=True)
    try:
        return environment, environment.open_db(b"CELL", create=False)
    except lmdb.NotFoundError:
        environment.close()
        return None


def snapshot(opened):
    """{key: integer}, of the values that are integers."""
    environment, database = opened
    with environment.begin(database) as seen:
        return {key.decode(): struct.unpack("<i", bytes(value[1:]))[0]
                for key, value in seen.cursor() if value[:1] == b"i"}


def values():
    """Of a reader that begins now. None before the daemon has published anything."""
    opened = None
    try:
        opened = open_database()
        return opened and snapshot(opened)
    except lmdb.Error as error:
        return {BROKEN: str(error)}
    finally:
        if opened:
            opened[0].close()


def differences(now, name, wanted):
    return [f"{name}: {key} is {now.get(key)}, not {value}" for key, value in wanted.items() if now.get(key) != value]


def trouble(now):
    """What of a snapshot does not belong together."""
    if BROKEN in now:
        return [now[BROKEN]]
    cell, channel = now.get("CELL_CID"), now.get("CELL_CHANNEL_SCC_1")
    found = []
    if cell is not None:
        wanted = expected(cell)
        if now.get("CELL_RSRP") == NOT_REPORTED:  # cleared, or not yet asked: the identities stay
            wanted = {key: NOT_REPORTED for key in wanted if key not in ("CELL_TAC", "CELL_PCID")}
        found += differences(now, f"cell {cell}", wanted)
    if channel is not None and channel != NOT_REPORTED:
        found += differences(now, f"second carrier on {channel}", expected_carrier(channel))
    return found


def read_all_the_time(whole, wrong, seed):
    chance = random.Random(seed)
    while True:
        opened = None
        try:
            opened = open_database()
            for _ in range(SNAPSHOTS if opened else 0):
                now = snapshot(opened)
                for text in trouble(now)[:3]:
                    wrong.put("a reader: " + text)
                if now.get("CELL_RSRP", NOT_REPORTED) != NOT_REPORTED:
                    with whole.get_lock():
                        whole.value += 1
                time.sleep(chance.uniform(0, 0.002))
        except lmdb.Error as error:
            wrong.put("a reader: " + str(error))
        finally:
            if opened:
                opened[0].close()
        time.sleep(chance.uniform(0, 0.002))


class Kills:
    def __init__(self, program, seed, wrong):
        self._program, self._wrong = program, wrong
        self._chance = random.Random(seed)
        self._module = Module(PORT)
        self._log = Log()
        self._others = processes()
        self._published = False
        self.cells = set()
        self.found = collections.Counter()

    def one(self):
        """What is wrong with one kill."""
        phase = self._chance.choice(["starting", "working", "working", "working", "bringing the link up"])
        wait = self._chance.uniform(0, START_SPAN if phase == "starting" else SPAN)
        if phase == "bringing the link up":
            touch(CONNECTION)
        questions = self._module.questions
        daemon = start_daemon(self._program, HURRY)
        found = []
        if phase != "starting" and not becomes_true(
                lambda: self._module.questions > questions or daemon.poll() is not None):
            found.append(f"no question within {PATIENCE} s")
        time.sleep(wait)
        if daemon.poll() is not None:
            found.append(f"ended by itself, status {daemon.returncode}")
        daemon.kill()
        daemon.wait()
        self.found[phase] += 1
        self.found["with the lock left behind"] += os.path.exists(LOCK)
        found += self._look()
        restore()
        # The commands that a killed daemon was waiting for come to their end.
        if not becomes_true(lambda: processes() <= self._others):
            found.append("a process is left")
        self._module.forget_user()
        return [f"{phase}, {1000 * wait:.1f} ms: {text}" for text in found]

    def _look(self):
        now = values()
        if now is None:
            return ["the database or its values are gone"] if self._published else []
        found = trouble(now)
        if "CELL_CID" in now:
            self._published = True
            self.cells.add(now["CELL_CID"])
        while not self._wrong.empty():
            found.append(self._wrong.get())
        return found


def main():
    program, number, seed = sys.argv[1], int(sys.argv[2]), int(sys.argv[3])
    whole, wrong = multiprocessing.Value("L", 0), multiprocessing.Queue()
    readers = [multiprocessing.Process(target=read_all_the_time, args=(whole, wrong, seed + reader), daemon=True)
               for reader in range(READERS)]
    for reader in readers:
        reader.start()
    kills = Kills(program, seed, wrong)
    failures = 0
    for run in range(number):
        found = kills.one()
        failures += bool(found)
        for text in found[:5]:
            print(f"seed {seed}, run {run}: {text}", flush=True)
    if not all(reader.is_alive() for reader in readers):
        failures += 1
        print("a reader has ended", flush=True)
    # Without these a run would have proved nothing.
    if len(kills.cells) < number // 3 or whole.value < number:
        failures += 1
        print(f"only {len(kills.cells)} different cells left behind, {whole.value} whole snapshots read", flush=True)
    for name, count in sorted(kills.found.items()):
        print(f"counted {count} {name}", flush=True)
    print(f"counted {len(kills.cells)} different cells left behind", flush=True)
    print(f"counted {whole.value} snapshots with a cell's values, by {READERS} readers in parallel", flush=True)
    end(f"{number} kills, seed {seed}, {failures} failed")


main()
