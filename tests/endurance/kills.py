"""Stands in the daemon's place in a box: starts the daemon and kills it at a random instant, while readers look at the
database all the time and see whether its values belong together. kills.py PROGRAM NUMBER SEED"""

import multiprocessing
import os
import random
import signal
import struct
import sys
import time

import lmdb

from module import Module, expected, start_daemon

PORT = "/dev/ttyQSB3"
FOLDER = "/run/sysdb"
SPAN = 0.4  # seconds: the start and some cycles
READERS = 3


def values():
    """{key: integer} of one snapshot; empty before there is one."""
    try:
        with lmdb.open(FOLDER, readonly=True, max_dbs=16, subdir=True) as environment:
            database = environment.open_db(b"CELL", create=False)
            with environment.begin(database) as snapshot:
                return {key.decode(): struct.unpack("<i", bytes(value[1:]))[0]
                        for key, value in snapshot.cursor() if value[:1] == b"i"}
    except lmdb.NotFoundError:
        return {}
    except lmdb.Error as error:
        return {} if not os.path.exists(FOLDER + "/data.mdb") else {"broken": str(error)}


def trouble(now):
    """What does not belong together."""
    if "broken" in now:
        return [now["broken"]]
    cell = now.get("CELL_CID", 0)
    if not cell or now.get("CELL_RSRP") == -999:  # cleared: the cell stays
        return []
    return [f"cell {cell}: {key} is {now.get(key)}, not {value}" for key, value in expected(cell).items()
            if now.get(key) != value]


def read_all_the_time(seen, wrong):
    while True:
        found = trouble(values())
        with seen.get_lock():
            seen.value += 1
        if found:
            wrong.put(found)


def main():
    program, number, seed = sys.argv[1], int(sys.argv[2]), int(sys.argv[3])
    Module(PORT)
    seen, wrong = multiprocessing.Value("L", 0), multiprocessing.Queue()
    readers = [multiprocessing.Process(target=read_all_the_time, args=(seen, wrong), daemon=True)
               for _ in range(READERS)]
    for reader in readers:
        reader.start()
    chance = random.Random(seed)
    failures, states = 0, set()
    for run in range(number):
        daemon = start_daemon(program)
        time.sleep(chance.uniform(0, SPAN))
        daemon.kill()
        daemon.wait()
        now = values()
        states.add(now.get("CELL_CID", 0))
        found = trouble(now)
        while not wrong.empty():
            found += wrong.get()
        if found:
            failures += 1
            print(f"run {run}: {'; '.join(found[:3])}", flush=True)
    print(f"{number} kills, seed {seed}, {len(states)} different cells left behind, {seen.value} snapshots read by "
          f"{READERS} readers meanwhile, {failures} failed", flush=True)
    print("done", flush=True)
    signal.pause()


main()
