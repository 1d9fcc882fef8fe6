"""A module at a pseudo-terminal whose every answer carries a number: what was published from one answer fits together,
what was mixed from two does not."""

import os
import re
import select
import threading
import time
import tty

# Of answer n. A cell identity tells which it was, the others must fit it.
RSRP = 97
RSRQ = 17
TAC = 65535
PCID = 504
CHANNEL = 60000

QUESTION = 'at+qeng="servingcell"'


def expected(cell):
    """What the daemon publishes beside this cell identity, in one transaction."""
    rsrp, rsrq = -44 - cell % RSRP, -3 - cell % RSRQ
    return {"CELL_RSRP": rsrp, "CELL_LTE_RSRP": rsrp, "CELL_RSRQ": rsrq, "CELL_LTE_RSRQ": rsrq,
            "CELL_TAC": cell % TAC, "CELL_PCID": cell % PCID}


def expected_carrier(channel):
    """What the daemon publishes beside this channel of the second carrier, in one transaction. Numbers stay below
    CHANNEL in a run, so that the channel tells which answer it was."""
    return {"CELL_RSRP_SCC_1": -44 - channel % RSRP, "CELL_RSRQ_SCC_1": -3 - channel % RSRQ}


class Module:
    """Answers in a thread of its own. `questions` counts those for the serving cell: it is the number of cycles."""

    def __init__(self, port):
        self._ours, self._theirs = os.openpty()
        tty.setraw(self._theirs)
        if os.path.lexists(port):
            os.remove(port)
        os.symlink(os.ttyname(self._theirs), port)
        self.questions = 0
        self.piece = None  # bytes at a time, a millisecond apart; None: whole answers
        self.silent = False  # to the question for the serving cell
        threading.Thread(target=self._serve, daemon=True).start()

    def forget_user(self):
        """A daemon that was killed may leave an answer behind, and a port that is its own alone."""
        while select.select([self._theirs], [], [], 0)[0]:
            os.read(self._theirs, 4096)

    def _serve(self):
        said = b""
        while True:
            said += os.read(self._ours, 4096)
            *commands, said = re.split(b"\r", said)
            for command in commands:
                text = command.decode(errors="replace")
                asked = text.strip().lower()
                answer = self._answer(asked)
                if not (self.silent and asked == QUESTION):
                    self._say((text + "\r\r\n" + answer).encode())

    def _say(self, answer):
        size = self.piece or len(answer)
        for begin in range(0, len(answer), size):
            os.write(self._ours, answer[begin:begin + size])
            if self.piece:
                time.sleep(0.001)

    def _answer(self, command):
        if command == QUESTION:
            self.questions += 1
            cell = self.questions
            value = expected(cell)
            return (f'+QENG: "servingcell","NOCONN","LTE","FDD",001,01,{cell:X},{value["CELL_PCID"]},1300,3,5,5,'
                    f'{value["CELL_TAC"]:X},{value["CELL_RSRP"]},{value["CELL_RSRQ"]},-68,14,29\r\n\r\nOK\r\n')
        if command in ("at+creg?", "at+cgreg?", "at+cereg?"):
            return command[2:].upper().replace("?", ": 0,1") + "\r\n\r\nOK\r\n"
        if command == "at+qcainfo":
            n = self.questions % CHANNEL
            carrier = expected_carrier(n)
            return (f'+QCAINFO: "PCC",1300,100,"LTE BAND 3",1,389,-97,-11,-68,14\r\n'
                    f'+QCAINFO: "SCC",{n},50,"LTE BAND 20",1,101,{carrier["CELL_RSRP_SCC_1"]},'
                    f'{carrier["CELL_RSRQ_SCC_1"]},-72,8,0,-,-\r\n\r\nOK\r\n')
        return "OK\r\n"
