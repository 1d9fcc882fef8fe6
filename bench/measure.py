"""The measurements. Each returns numbers, and raises Missing with the reason where it cannot be made here."""

import collections
import contextlib
import json
import os
import pathlib
import pty
import re
import shutil
import signal
import statistics
import subprocess
import tempfile
import time

from box import Box, Missing, find_below

DAEMON = ["zelt-stats", "-d", "RM520N"]
FIRST, LAST = 41, 241  # of the cycles measured: a tenth of them with a health check, half with the subscriber


def need(program):
    if not shutil.which(program):
        raise Missing(f"{program} is not installed")


class Bench:
    def __init__(self, root):
        self.root = root
        self.build = root / "build/figures"
        self.scenario = root / "bench/steady.scenario"
        self.daemon = [self.build / DAEMON[0], *DAEMON[1:]]
        self.floor = [self.build / "bench/floor"]

    def box(self, command, **options):
        return Box(self.build, options.pop("scenario", self.scenario), command, **options)

    def preloaded(self, library, command):
        return ["env", f"LD_PRELOAD={self.build}/bench/lib{library}.so", *command]

    # Processor time of a cycle, in microseconds.
    def cycle_time(self, command, **options):
        with self.box(command, **options) as box:
            box.wait_for(FIRST)
            begin = box.nanoseconds()
            box.wait_for(LAST)
            return (box.nanoseconds() - begin) / 1000 / (LAST - FIRST)

    # (daemon, floor) a pair: what the machine does besides falls on both.
    def cycle_pairs(self, number):
        return [(self.cycle_time(self.daemon), self.cycle_time(self.floor)) for _ in range(number)]

    # To the end of the first cycle, in milliseconds of processor time: the values are published by then.
    def start_time(self):
        with self.box(self.daemon) as box:
            box.wait_for(1)
            return box.nanoseconds() / 1e6

    # {name of the call: how often in two cycles, one with the subscriber and one without}, calls while it sleeps.
    def system_calls(self, command):
        need("strace")
        with tempfile.TemporaryDirectory() as folder, self.box(command, speed=20) as box:
            trace = pathlib.Path(folder) / "trace"
            box.wait_for(20)
            tracer = subprocess.Popen(["strace", "-q", "-o", trace, "-p", box.pid], stderr=subprocess.PIPE, text=True)
            box.wait_for(25)
            tracer.terminate()
            _, trouble = tracer.communicate()
            lines = trace.read_text(errors="replace").splitlines() if trace.exists() else []
        sleeps = [i for i, line in enumerate(lines) if line.startswith(("clock_nanosleep", "restart_syscall"))]
        if len(sleeps) < 4:
            raise Missing(f"strace may not look at the daemon: {trouble.strip()}")
        begin, end = sleeps[-3] + 1, sleeps[-1] + 1
        calls = collections.Counter(line.split("(")[0] for line in lines[begin:end])
        return calls

    def port_clock(self):
        with self.box(self.preloaded("port_clock", self.daemon), name="zelt-stats") as box:
            box.wait_for(LAST)
            lines = [line.split() for line in box.end() if "port_clock" in line]
        times = collections.defaultdict(list)
        for words in lines:
            times[words[-2]].append(float(words[-1]))
        if not times["held"]:
            raise Missing("the daemon's exchanges could not be timed")
        return times["held"], times["visible"]

    # {cause: how many}, for one cycle.
    def allocations(self, **options):
        with self.box(self.preloaded("allocations", self.daemon), name="zelt-stats", **options) as box:
            box.wait_for(30)
            found = [line.split()[1:] for line in box.end() if line.startswith("allocation ")]
        if not found:
            raise Missing("the daemon's allocations could not be counted")
        return collections.Counter(self._cause(addresses) for addresses in found)

    # The same of a cell of LTE alone.
    def lte_allocations(self):
        with edited(self.scenario, lambda text: re.sub(r".*NR5G-NSA.*\n", "", text)) as scenario:
            return self.allocations(scenario=scenario)

    # The innermost function of the project, by name.
    def _cause(self, addresses):
        inside = [a for a in addresses if len(a) < 10]  # offsets in the program; libraries lie far from it
        text = subprocess.run(["addr2line", "-Cfe", self.build / "zelt-stats", *inside], stdout=subprocess.PIPE,
                              text=True, check=True).stdout.splitlines()
        for function, place in zip(text[::2], text[1::2]):
            folder = pathlib.PurePath(place).parent.name
            if (self.root / folder / "CMakeLists.txt").exists():
                name = function.replace("(anonymous namespace)::", "")
                return f"{folder}: {re.split(r'[(<[]', name)[0].split(' ')[-1]}"
        return "libraries"

    # Of the running daemon.
    def daemon_memory(self):
        with self.box(self.daemon) as box:
            box.wait_for(LAST)
            return memory(box.pid)

    # Of a program that is linked with the same libraries and does nothing.
    def empty_memory(self):
        with subprocess.Popen([self.build / "bench/empty"], stdout=subprocess.PIPE) as program:
            program.stdout.readline()
            found = memory(program.pid)
            program.kill()
            return found

    # (milliseconds of processor time a second beside the daemon, the same while nothing changes, wake-ups then,
    # resident kB) of a program that follows the database.
    def tool(self, command):
        ours, theirs = pty.openpty()
        with self.box(self.daemon, speed=1) as box:
            box.wait_for(2)
            attach = [self.build / "zelt-sim", "attach", "--box", box.number(), "--"]
            tool = subprocess.Popen([*attach, self.build / command[0], *command[1:]],
                                    stdin=theirs, stdout=theirs, stderr=theirs, start_new_session=True,
                                    env={**os.environ, "TERM": "xterm"})
            try:
                return self._watch_tool(box, tool, ours, command[0])
            finally:
                tool.kill()
                tool.wait()
                os.close(ours)
                os.close(theirs)

    def _watch_tool(self, box, tool, screen, name):
        def state():
            empty(screen)
            waits = re.search(r"^voluntary_ctxt_switches:\s+(\d+)", pathlib.Path(f"/proc/{pid}/status").read_text(), re.M)
            return int(pathlib.Path(f"/proc/{pid}/schedstat").read_text().split()[0]) / 1e6, int(waits[1])

        def over(seconds):
            begin = state()
            for _ in range(seconds):
                time.sleep(1)
                empty(screen)
            return [after - before for before, after in zip(begin, state())]

        pid = find_below(tool.pid, name)
        give_up = time.monotonic() + 20  # on a busy machine
        while pid is None and time.monotonic() < give_up:
            time.sleep(0.1)
            pid = find_below(tool.pid, name)
        if pid is None:
            raise Missing(f"{name} did not start in the box")
        time.sleep(2)  # its first picture
        busy = over(30)[0] / 30
        os.kill(int(box.pid), signal.SIGSTOP)
        try:
            time.sleep(1)
            idle, wake_ups = over(10)
        finally:
            os.kill(int(box.pid), signal.SIGCONT)
        return busy, idle / 10, wake_ups, memory(pid)[0]

    def stripped_bytes(self, build, strip="strip"):
        if not (build / "zelt-stats").exists():
            raise Missing(f"{build.name} is not built here: scripts/arm-sysroot, then cmake --preset {build.name} and "
                          f"cmake --build --preset {build.name} --target zelt-stats")
        need(strip)
        with tempfile.TemporaryDirectory() as folder:
            copy = pathlib.Path(folder) / "zelt-stats"
            subprocess.run([strip, "-o", copy, build / "zelt-stats"], check=True)
            return copy.stat().st_size

    # Code and data of the daemon's folders.
    def core_bytes(self, build):
        if not (build / "libzelt_core.a").exists():
            raise Missing(f"{build.name} is not built here")
        text = subprocess.run(["size", "-t", build / "libzelt_core.a"], stdout=subprocess.PIPE, text=True, check=True)
        return int(text.stdout.splitlines()[-1].split()[3])

    # Processor time of a cycle, in microseconds, with more of something.
    def with_carriers(self, number):
        line = '| +QCAINFO: "SCC",'
        rows = "".join(f'{line}{6300 + i},50,"LTE BAND 20",1,{101 + i},-101,-12,-72,8,0,-,-\n' for i in range(number))

        def with_rows(text):
            text = "".join(row for row in text.splitlines(True) if not row.startswith(line))
            return re.sub(r'(\| \+QCAINFO: "PCC".*\n)', lambda found: found[1] + rows, text)

        with edited(self.scenario, with_rows) as scenario:
            return self.cycle_time(self.daemon, scenario=scenario)

    def with_readers(self, number):
        readers = f"for i in $(seq {number}); do '{self.build}/sysdb' watch CELL >/dev/null 2>&1 & done"
        return self.cycle_time(["sh", "-c", f"{readers}; exec {self._daemon_line()}"], name="zelt-stats")

    def with_foreign_keys(self, number):
        fill = f"'{self.build}/bench/fill' {number}"
        return self.cycle_time(["sh", "-c", f"{fill} && exec {self._daemon_line()}"], name="zelt-stats")

    def _daemon_line(self):
        return " ".join(f"'{word}'" for word in self.daemon)

    # Medians in nanoseconds, by name.
    def micro(self):
        if not (self.build / "bench/micro").exists():
            raise Missing("libbenchmark-dev is not installed")
        text = subprocess.run([self.build / "bench/micro", "--benchmark_repetitions=5", "--benchmark_format=json",
                               "--benchmark_report_aggregates_only=true"], stdout=subprocess.PIPE,
                              stderr=subprocess.DEVNULL, check=True).stdout
        rows = json.loads(text)["benchmarks"]
        return {row["run_name"]: row["cpu_time"] for row in rows if row["aggregate_name"] == "median"}

    # From a commit to what a waiting reader has read, in microseconds.
    def notice_times(self):
        text = subprocess.run([self.build / "bench/notice"], stdout=subprocess.PIPE, check=True, text=True).stdout
        return [float(line) for line in text.split()]


@contextlib.contextmanager
def edited(scenario, edit):
    """The name of a file with the edited text, while it is there."""
    with tempfile.NamedTemporaryFile("w", suffix=".scenario") as file:
        file.write(edit(scenario.read_text()))
        file.flush()
        yield file.name


def empty(screen):
    """Takes what was written to a terminal, so that whoever writes goes on."""
    os.set_blocking(screen, False)
    with contextlib.suppress(BlockingIOError):
        while os.read(screen, 65536):
            pass


def memory(pid):
    """(resident, private dirty) in kB."""
    text = pathlib.Path(f"/proc/{pid}/smaps_rollup").read_text()
    return tuple(int(re.search(rf"^{name}:\s+(\d+)", text, re.M)[1]) for name in ("Rss", "Private_Dirty"))


def percentile(values, share):
    return sorted(values)[min(len(values) - 1, int(len(values) * share))]


def gpsd_memory():
    """Of gpsd with one device that sends a position each second."""
    program = shutil.which("gpsd") or "/usr/sbin/gpsd"
    if not os.path.exists(program):
        raise Missing("gpsd is not installed")
    ours, theirs = pty.openpty()
    os.set_blocking(ours, False)
    server = subprocess.Popen([program, "-N", "-n", "-S", "29470", os.ttyname(theirs)], stdout=subprocess.DEVNULL,
                              stderr=subprocess.DEVNULL)
    try:
        for _ in range(10):
            os.write(ours, b"$GPGGA,120000.00,4807.038,N,01131.000,E,1,08,0.9,545.4,M,46.9,M,,*69\r\n")
            time.sleep(0.5)
        if server.poll() is not None:
            raise Missing("gpsd does not run here")
        return memory(server.pid)
    finally:
        server.kill()
        server.wait()
        os.close(ours)
        os.close(theirs)


def median(values):
    return statistics.median(values)
