"""A module at a pseudo-terminal whose every answer carries a number: what was published from one answer fits together,
what was mixed from two does not."""

import os
import re
import subprocess
import threading
import tty

# Of answer n. A cell identity tells which it was, the others must fit it.
RSRP = 97
RSRQ = 17


def expected(cell):
    """What the daemon publishes beside this cell identity, in one transaction."""
    rsrp, rsrq = -44 - cell % RSRP, -3 - cell % RSRQ
    return {"CELL_RSRP": rsrp, "CELL_LTE_RSRP": rsrp, "CELL_RSRQ": rsrq, "CELL_LTE_RSRQ": rsrq,
            "CELL_TAC": cell % 65535, "CELL_PCID": cell % 504}


class Module:
    def __init__(self, port):
        self._ours, self._theirs = os.openpty()
        tty.setraw(self._theirs)
        if os.path.lexists(port):
            os.remove(port)
        os.symlink(os.ttyname(self._theirs), port)
        self._number = 0
        threading.Thread(target=self._serve, daemon=True).start()

    def _serve(self):
        said = b""
        while True:
            said += os.read(self._ours, 4096)
            *commands, said = re.split(b"\r", said)
            for command in commands:
                text = command.decode(errors="replace").strip().lower()
                os.write(self._ours, (command.decode(errors="replace") + "\r\r\n" + self._answer(text)).encode())

    def _answer(self, command):
        if command == 'at+qeng="servingcell"':
            self._number += 1
            cell = self._number
            value = expected(cell)
            return (f'+QENG: "servingcell","NOCONN","LTE","FDD",001,01,{cell:X},{value["CELL_PCID"]},1300,3,5,5,'
                    f'{value["CELL_TAC"]:X},{value["CELL_RSRP"]},{value["CELL_RSRQ"]},-68,14,29\r\n\r\nOK\r\n')
        if command == "at+creg?":
            return "+CREG: 0,1\r\n\r\nOK\r\n"
        if command == "at+qcainfo":
            n = self._number
            return (f'+QCAINFO: "PCC",1300,100,"LTE BAND 3",1,389,-97,-11,-68,14\r\n'
                    f'+QCAINFO: "SCC",{n % 60000},50,"LTE BAND 20",1,101,{-44 - n % RSRP},{-3 - n % RSRQ},-72,8,0,-,-'
                    f'\r\n\r\nOK\r\n')
        return "OK\r\n"


def start_daemon(program):
    """With pauses of 4 ms between its cycles: the box shortens them only to what it starts itself."""
    hurry = {"LD_PRELOAD": os.path.join(os.path.dirname(program), "libzelt_speed.so"), "ZELT_SPEED": "1000"}
    return subprocess.Popen([program, "-d", "EC25"], stdin=subprocess.DEVNULL, env={**os.environ, **hurry})
