"""What ./figures writes: docs/figures.md, its pictures, and the guard of the counts."""

import platform
import statistics
import subprocess

import measure
from measure import Missing, median, percentile

COUNTS_MARGIN = 0.05  # beyond it something was added, below it something may be celebrated


class Table:
    """Rows of the page. What cannot be measured is a row too, with its reason."""

    def __init__(self):
        self.rows = []

    def add(self, figure, goal, measurement):
        try:
            value, verdict = measurement()
        except Missing as reason:
            value, verdict = f"left out: {reason}", ""
        print(f"{figure}: {value}", flush=True)
        self.rows.append(f"| {figure} | {goal} | {value} | {verdict} |")

    def text(self):
        return "\n".join(["| figure | to reach | measured | |", "|---|---|---|---|", *self.rows])


def verdict(value, goal):
    return "yes" if value <= goal else "**no**"


def spread(values, unit, digits=0):
    low, middle, high = min(values), median(values), max(values)
    return f"{middle:.{digits}f} {unit} ({low:.{digits}f} to {high:.{digits}f})"


def counts(bench):
    """{name: how it is measured} of what does not depend on how busy the machine is."""
    traced = once(lambda: [bench.system_calls(bench.daemon)], 1)[0]
    return {
        "system calls a cycle": lambda: sum(traced().values()) / 2,
        "wake-ups between two cycles": lambda: traced()["clock_nanosleep"] / 2 - 1,
        "heap allocations a cycle": lambda: sum(bench.allocations().values()),
        "heap allocations a cycle, LTE alone": lambda: sum(bench.lte_allocations().values()),
        "processes started a cycle": lambda: sum(traced()[name] for name in ("clone", "clone3", "fork", "vfork")) / 2,
        "bytes of the daemon, stripped": lambda: bench.stripped_bytes(bench.build),
    }


GROWN, LEFT_OUT = 1, 3  # exit statuses


def compare(measured, accepted):
    """(what there is to say, the exit status that it calls for, the number to accept)."""
    try:
        value = measured()
    except Missing as reason:
        return f"left out: {reason}", LEFT_OUT, accepted
    is_grown = accepted is not None and value > float(accepted) * (1 + COUNTS_MARGIN)
    text = f"{value:g}, accepted {accepted or 'nothing'}" + ("  GROWN" if is_grown else "")
    return text, GROWN if is_grown else 0, f"{value:g}"


def guard(root, bench, accept):
    file = root / "bench/counts.txt"
    before = dict(line.rsplit(": ", 1) for line in file.read_text().splitlines())
    statuses = set()
    now = {}
    for name, measured in counts(bench).items():
        text, status, now[name] = compare(measured, before.get(name))
        print(f"{name}: {text}", flush=True)
        statuses.add(status)
    if accept:
        file.write_text("".join(f"{name}: {number}\n" for name, number in now.items() if number is not None))
        statuses.discard(GROWN)
    if GROWN in statuses:
        print("figures: more than was accepted. Find what was added; when it is worth it: ./figures --counts --accept")
        return GROWN
    if LEFT_OUT in statuses:
        print("figures: not everything was measured, see above")
        return LEFT_OUT
    return 0


def write(root, arguments):
    bench = measure.Bench(root)
    if arguments:
        return guard(root, bench, "--accept" in arguments)
    table = Table()
    add_times(table, bench)
    add_counts(table, bench)
    add_memory(table, bench)
    add_sizes(table, bench)
    curves = [draw(root, bench, *each) for each in (
        ("carriers", "secondary carriers", range(7), bench.with_carriers),
        ("readers", "programs that follow the database", (0, 10, 25, 50, 100), bench.with_readers),
        ("keys", "keys of other programs", (0, 100, 1000, 3000, 10000), bench.with_foreign_keys),
    )]
    page = PAGE.format(commit=commit(root), machine=machine(), table=table.text(), causes=causes(bench),
                       calls=calls(bench), micro=micro(bench), curves="\n".join(curves))
    (root / "docs/figures.md").write_text(page)
    print("written: docs/figures.md")
    return 0


def add_times(table, bench):
    def ratio():
        pairs = bench.cycle_pairs(7)
        ratios = [daemon / floor for daemon, floor in pairs]
        times = spread([d for d, _ in pairs], "µs"), spread([f for _, f in pairs], "µs")
        return (f"{median(ratios):.2f} ({min(ratios):.2f} to {max(ratios):.2f}); {times[0]} over {times[1]}",
                verdict(median(ratios), 1.25))

    def percentiles(values, goals, digits=0):
        parts = [median(values), percentile(values, 0.99)]
        return (f"median {parts[0]:.{digits}f} µs, p99 {parts[1]:.{digits}f} µs of {len(values)}",
                "yes" if all(part <= goal for part, goal in zip(parts, goals)) else "**no**")

    def start():
        values = [bench.start_time() for _ in range(7)]
        return spread(values, "ms", 1), verdict(median(values), 20)

    def decoding():
        times = bench.micro()
        value = times["decode_lte_line"] / times["split_and_convert"]
        return f"{value:.2f}", verdict(value, 3)

    table.add("processor time of a steady cycle, daemon over floor, in pairs", "1.25", ratio)
    held, visible = once(bench.port_clock, 2)
    table.add("AT port held beyond the module's answer", "median 100 µs, p99 1 ms",
              lambda: percentiles(held(), (100, 1000)))
    table.add("answer's last byte to the commit that shows it", "median 0.5 ms",
              lambda: percentiles(visible(), (500, float("inf"))))
    table.add("commit to a waiting reader that has read it", "median 5 ms",
              lambda: percentiles(bench.notice_times(), (5000, float("inf"))))
    table.add("start to the end of the first cycle, processor time", "20 ms", start)
    table.add("LTE line into the statistics, over splitting and converting it", "3", decoding)


def once(measurement, parts):
    """A measurement with several results, made when the first of them is asked for."""
    results = []

    def part(number):
        if not results:
            results.append(measurement())
        return results[0][number]

    return [lambda number=number: part(number) for number in range(parts)]


def add_counts(table, bench):
    def calls_of(command, goal):
        value = sum(bench.system_calls(command).values()) / 2
        return f"{value:g}", verdict(value, goal) if goal else ""

    def allocations():
        value = sum(bench.allocations().values())
        return f"{value}", verdict(value, 50)

    def wake_ups():
        value = bench.system_calls(bench.daemon)["clock_nanosleep"] / 2 - 1
        return f"{value:g}", verdict(value, 0)

    table.add("system calls of a cycle", "250", lambda: calls_of(bench.daemon, 250))
    table.add("the same of the floor", "", lambda: calls_of(bench.floor, None))
    table.add("heap allocations of a steady LTE cycle", "50", allocations)
    table.add("wake-ups between two cycles", "0", wake_ups)


def add_memory(table, bench):
    def against_gpsd(which):
        ours, theirs = bench.daemon_memory()[which], measure.gpsd_memory()[which]
        return f"{ours} kB; gpsd {theirs} kB; {ours / theirs:.2f}", verdict(ours / theirs, 0.75)

    def against_empty():
        ours, empty = bench.daemon_memory()[0], bench.empty_memory()[0]
        return f"{ours / empty:.2f} of {empty} kB", verdict(ours / empty, 1.15)

    table.add("resident memory, against gpsd with one device", "0.75", lambda: against_gpsd(0))
    table.add("the same against an empty C++ program with the same libraries", "1.15", against_empty)
    table.add("private written memory, against gpsd with one device", "0.75", lambda: against_gpsd(1))
    for name, command in (("sysdb watch", ["sysdb", "watch", "CELL"]), ("zelt-top", ["zelt-top"])):
        def tool(command=command):
            busy, idle, wake_ups, resident = bench.tool(command)
            return (f"{busy * 60:.0f} ms of processor a minute beside a daemon with cycles of 4 s; {idle * 60:.0f} ms "
                    f"and {wake_ups:.0f} wake-ups in 10 s while nothing changes; {resident} kB",
                    verdict(busy, 10))
        table.add(name, "1 % of a core, 0 wake-ups", tool)


def add_sizes(table, bench):
    def kib(value, goal):
        return f"{value / 1024:.0f} KiB", verdict(value, goal * 1024) if goal else ""

    arm = bench.root / "build/arm-host"
    table.add("the daemon for 32-bit ARM with host parts, stripped", "250 KiB",
              lambda: kib(bench.stripped_bytes(arm, "arm-linux-gnueabihf-strip"), 250))
    table.add("its own objects without them", "120 KiB", lambda: kib(bench.core_bytes(arm), 120))
    table.add("the daemon for this machine, stripped", "", lambda: kib(bench.stripped_bytes(bench.build), None))


def draw(root, bench, name, label, numbers, command_with):
    """Processor time of a cycle against a number of something, as a picture and a sentence."""
    points = [(number, median([command_with(number) for _ in range(3)])) for number in numbers]
    for number, time in points:
        print(f"{number} {label}: {time:.0f} µs a cycle", flush=True)
    script = f"""
        set terminal svg size 640,360 background "white"
        set output "{root}/docs/figures-{name}.svg"
        set xlabel "{label}"
        set ylabel "processor time of a cycle, µs"
        set yrange [0:*]
        set grid
        plot "-" using 1:2 with linespoints linewidth 2 pointtype 7 notitle
    """
    data = "\n".join(f"{number} {time}" for number, time in points)
    subprocess.run(["gnuplot"], input=f"{script}\n{data}\ne\n", text=True, check=True)
    first, last = points[0], points[-1]
    return (f"![cycle against {label}](figures-{name}.svg)\n\n{label}: {first[1]:.0f} µs at {first[0]}, "
            f"{last[1]:.0f} µs at {last[0]}.\n")


def listed(counter):
    return "\n".join(f"{number:6g}  {name}" for name, number in counter.most_common())


def causes(bench):
    try:
        return listed(bench.allocations())
    except Missing as reason:
        return f"left out: {reason}"


def calls(bench):
    try:
        return "\n".join(f"{number / 2:6g}  {name}" for name, number in bench.system_calls(bench.daemon).most_common())
    except Missing as reason:
        return f"left out: {reason}"


def micro(bench):
    try:
        times = bench.micro()
    except Missing as reason:
        return f"left out: {reason}"
    return "\n".join(f"{time:8.0f} ns  {name}" for name, time in times.items())


def commit(root):
    text = subprocess.run(["git", "describe", "--always", "--dirty"], cwd=root, stdout=subprocess.PIPE, text=True)
    return text.stdout.strip() or "unknown"


def machine():
    with open("/proc/cpuinfo") as file:
        names = [line.split(":")[1].strip() for line in file if line.startswith("model name")]
    with open("/proc/loadavg") as file:
        load = file.read().split()[0]
    return f"{len(names)} × {names[0] if names else platform.machine()}, Linux {platform.release()}, load {load}"


PAGE = """# Figures

Written by `./figures`, which says how each is measured; do not edit. Commit {commit}; {machine}.

What is measured is a steady cell of EN-DC with one secondary carrier (`bench/steady.scenario`), in the box, with
cycles that follow each other at once. The floor (`bench/floor.cpp`) is the least that such a cycle can be: the same
lock file, exchanges, log datagrams and commits, and nothing else. Times depend on the machine and on what else it does;
ratios do little, counts do not. `./figures --counts` compares the counts with `bench/counts.txt`, in CI too.

{table}

## What a cycle asks of the kernel

Half of what two cycles do, one with the subscriber's questions and one without.

```
{calls}
```

## What a cycle takes from the heap, by cause

```
{causes}
```

## What a cycle costs with more of everything

{curves}

## Pieces

Medians of five runs each; `bench/micro.cpp` says what each is and why it counts.

```
{micro}
```
"""
