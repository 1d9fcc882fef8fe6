#!/usr/bin/python3
"""Prints each change of the cell's values: python3 follow.py [KEY...]. Needs python3-lmdb.

Reads a consistent snapshot and waits for the next commit. A key that went is printed as "-".
"""

import os
import struct
import sys
import time

import lmdb

FOLDER = os.environ.get("SYSDB_DIR") or "/run/sysdb"
LOOK_SECONDS = 0.5  # the number of the last commit costs no lock: looking is cheap


def decoded(stored):
    """The value of one key; None for what only a foreign program writes."""
    kind, payload = stored[:1], stored[1:]
    if kind == b"i" and len(payload) == 4:
        return struct.unpack("<i", payload)[0]
    if kind == b"r" and len(payload) == 8:
        return struct.unpack("<d", payload)[0]
    if kind == b"s":
        return payload.decode(errors="replace")
    return None


def identity():
    """Which data file there is now: a database may be made anew under its name."""
    try:
        status = os.stat(FOLDER + "/data.mdb")
        return (status.st_dev, status.st_ino) if status.st_size > 0 else None
    except FileNotFoundError:
        return None


def snapshot(environment):
    """Every key of "CELL", all as of one commit."""
    try:
        cell = environment.open_db(b"CELL", create=False)
    except lmdb.NotFoundError:
        return {}
    with environment.begin(db=cell) as transaction:
        return {key.decode(): decoded(value) for key, value in transaction.cursor()}


def follow(keys):
    opened, environment, commit, known = None, None, None, {}
    while True:
        if identity() != opened:
            if environment:
                environment.close()
            opened = identity()
            environment = opened and lmdb.open(FOLDER, readonly=True, max_dbs=16, create=False)
            commit = None
        if environment and environment.info()["last_txnid"] != commit:
            commit = environment.info()["last_txnid"]
            values = snapshot(environment)
            for key in sorted(known.keys() | values.keys()):
                if known.get(key) != values.get(key) and (not keys or key in keys):
                    print(key, values.get(key, "-"), flush=True)
            known = values
        time.sleep(LOOK_SECONDS)


if __name__ == "__main__":
    try:
        follow(set(sys.argv[1:]))
    except (KeyboardInterrupt, BrokenPipeError):
        pass
