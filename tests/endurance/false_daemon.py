#!/usr/bin/python3
"""In the daemon's place: works, but does one thing wrong. What is wrong is in FALSE; checks_can_fail runs them all."""

import os
import signal
import socket
import struct
import subprocess
import sys
import time

import lmdb

from module import QUESTION, expected
from router import FOLDER, LOCK, PORT, STOP_LINE, remove, touch

WRONG = os.environ["FALSE"]


def tell():
    with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as log:
        log.connect("/dev/log")
        log.send(STOP_LINE)


def stop(*_):
    if WRONG == "hangs":
        return
    for _ in range({"no line": 0, "two lines": 2}.get(WRONG, 1)):
        tell()
    if WRONG == "leaves the lock":
        touch(LOCK)
    if WRONG == "takes the lock of others":
        remove(LOCK)
    if WRONG == "leaves a process":
        subprocess.Popen(["/usr/bin/sleep", "40"])
    os._exit(1 if WRONG == "ends with a wrong status" else 0)


def publish(environment, values):
    with environment.begin(environment.open_db(b"CELL"), write=True) as change:
        for key, value in values.items():
            change.put(key.encode(), b"i" + struct.pack("<i", value))


def ask(port):
    """The cell identity of the next answer."""
    os.write(port, QUESTION.encode() + b"\r")
    answer = b""
    while not answer.endswith(b"OK\r\n"):
        answer += os.read(port, 4096)
    try:
        return int(answer.split(b",")[6], 16) % 2**31
    except (IndexError, ValueError):  # of another technology
        return 0


def work():
    os.makedirs(FOLDER, exist_ok=True)
    if WRONG == "breaks the database":
        with open(FOLDER + "/data.mdb", "wb") as file:
            file.write(b"broken" * 10000)
    if WRONG == "loses the database" and os.path.exists(FOLDER + "/data.mdb"):
        os.remove(FOLDER + "/data.mdb")
        return
    environment = WRONG != "breaks the database" and lmdb.open(FOLDER, max_dbs=16)
    port = os.open(PORT, os.O_RDWR | os.O_NOCTTY)
    kept = []
    while True:
        cell = ask(port)
        values = {"CELL_CID": cell, **expected(cell)}
        if WRONG == "tears a cycle apart":
            publish(environment, {key: values.pop(key) for key in ("CELL_CID", "CELL_RSRP")})
        if environment and WRONG != "publishes nothing":
            publish(environment, values)
        if WRONG == "fills the memory":
            kept.append(b"x" * 10000)
        if WRONG == "fills the descriptors":
            kept.append(os.dup(port) if len(kept) < 500 else 0)
        time.sleep(0.001)


if WRONG == "ends by itself":
    sys.exit(0)
for number in (signal.SIGTERM, signal.SIGINT, signal.SIGQUIT):
    signal.signal(number, signal.SIG_DFL if WRONG == "dies of the signal" else stop)
try:
    work()
except (OSError, lmdb.Error):
    while True:  # paused, without a port, or with the database of its own breaking
        time.sleep(0.1)
