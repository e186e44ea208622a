#!/usr/bin/env python3
"""Makes tables and a plot of a run of cfgex_bench.

    report.py RESULTS.json                                     prints the tables
    report.py RESULTS.json --markdown=FILE --plot=FILE --directory=DIR
                        writes them between the markers of FILE, and the plot; DIR is where
                        the files of the run were written
"""
import argparse
import datetime
import json
import math
import os
import re
import subprocess
import sys

US = "cfgex"
# Subjects as they are shown, in this order.
TITLES = {
    "cfgex": "the library",
    "floor": "floor",
    "in-full": "in full",
    "by-hand": "by hand",
    "libyang": "libyang",
    "libyang-unvalidated": "libyang, unvalidated",
    "xsdcxx": "xsdcxx",
    "sqlite-wal": "SQLite, WAL",
    "sqlite-delete": "SQLite, journal",
}
FIELDS = ["get-int", "get-bool", "get-text", "get-int-below", "set-int", "set-bool", "set-text", "set-int-below",
          "create-Sensor", "create-Zone"]
CLOSURES = ["closure-read", "closure-write", "closure-remove", "closure-copy"]
THREADS = ["threads-one-store", "threads-own-store"]
VERSIONS = ["libxml2-dev", "libyang2-dev", "xsdcxx", "libxerces-c-dev", "libsqlite3-dev", "libbenchmark-dev"]


class Results:
    """Medians: time in seconds and counters, by (operation, subject, size)."""

    def __init__(self, path):
        with open(path, encoding="utf-8") as file:
            runs = json.load(file)["benchmarks"]
        repeated = any(run.get("aggregate_name") == "median" for run in runs)
        self.repetitions = max((int(run.get("repetitions", 1)) for run in runs), default=1)
        self.runs = {}
        for run in runs:
            if repeated and run.get("aggregate_name") not in (None, "median"):
                continue
            if repeated and run["run_type"] != "aggregate":
                continue
            operation, subject, size = run["run_name"].split("/")[:3]
            self.runs[operation, subject, int(size)] = run
        self.compose()

    def compose(self):
        """Rows that are sums of several measurements."""
        for size in self.sizes("write", "floor"):
            write = self.time("write", "floor", size)
            copy = self.time("memcpy", "floor", size)
            for operation in ("commit", "insert", "remove"):
                self.add(operation, "floor", size, write, copy)
                self.add(operation, "in-full", size, write, self.time("validate", "floor", size),
                         self.time("serialise", "floor", size))
            unvalidated = self.time("commit-unvalidated", "libyang", size)
            self.add("commit", "libyang-unvalidated", size, unvalidated)

    def add(self, operation, subject, size, *times):
        if None not in times:
            self.runs[operation, subject, size] = {"real_time": sum(times) * 1e6, "time_unit": "us"}

    def time(self, operation, subject, size):
        run = self.runs.get((operation, subject, size))
        unit = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1.0}
        return run["real_time"] * unit[run["time_unit"]] if run else None

    def cpu(self, operation, subject, size):
        run = self.runs.get((operation, subject, size))
        return run["cpu_time"] * 1e-6 if run else None

    def counter(self, operation, subject, size, name):
        return self.runs.get((operation, subject, size), {}).get(name)

    def sizes(self, operation, subject=US):
        return sorted(s for o, who, s in self.runs if o == operation and who == subject)


def shown(seconds):
    if seconds is None:
        return ""
    for unit, name in ((1.0, "s"), (1e-3, "ms"), (1e-6, "µs")):
        if seconds >= unit:
            return f"{seconds / unit:.3g} {name}"
    return f"{seconds * 1e9:.3g} ns"


def ratio(value):
    return f"{value:.0f}" if value >= 100 else f"{value:.3g}"


def table(head, rows, rest=" ---: "):
    lines = ["| " + " | ".join(head) + " |", "|" + "|".join([" --- "] + [rest] * (len(head) - 1)) + "|"]
    return "\n".join(lines + ["| " + " | ".join(row) + " |" for row in rows])


def count(size):
    return f"{size:,}"


def compared(results, operation):
    """A row per subject: its time and, in brackets, the library's time as a multiple of it."""
    sizes = results.sizes(operation)
    rows = []
    for subject, title in TITLES.items():
        row = [title]
        for size in sizes:
            theirs = results.time(operation, subject, size)
            ours = results.time(operation, US, size)
            cell = shown(theirs)
            if theirs is not None and subject != US:
                cell += f" ({ratio(ours / theirs)})"
            row.append(cell)
        if any(row[1:]):
            rows.append(row)
    return table(["instances"] + [count(size) for size in sizes], rows)


def own(results):
    names = ["open", "read", "read-any", "commit", "commit-memory", "insert", "remove", "copy", "copy-deep"]
    sizes = results.sizes("read")
    rows = [[name] + [shown(results.time(name, US, size)) for size in sizes] for name in names]
    rows.append(["commit, of it on the processor"] + [shown(results.cpu("commit", US, size)) for size in sizes])
    return table(["operation"] + [count(size) for size in sizes], rows)


def parts(results):
    names = ["write", "memcpy", "validate", "serialise", "open"]
    sizes = results.sizes("write", "floor")
    rows = [[name] + [shown(results.time(name, "floor", size)) for size in sizes] for name in names]
    files = [results.counter("write", "floor", size, "file") for size in sizes]
    rows.append(["size of the file"] + [f"{size / 1e6:.3g} MB" for size in files])
    return table(["part"] + [count(size) for size in sizes], rows)


def fields(results):
    rows = []
    for name in FIELDS:
        theirs = results.time(name, "by-hand", 1)
        rows.append([name, shown(results.time(name, US, 1)), shown(theirs)])
    return table(["operation", "the library", "by hand"], rows)


def closures(results):
    """Each time and, in brackets, the time per instance of the closure."""
    sizes = results.sizes("closure-read")
    rows = []
    for size in sizes:
        times = [results.time(name, US, size) for name in CLOSURES]
        rows.append([count(size)] + [f"{shown(time)} ({shown(time / size)})" if time else "" for time in times])
    return table(["closure"] + CLOSURES, rows)


def threads(results):
    rows = []
    for name in THREADS:
        for size in results.sizes(name):
            rate = results.counter(name, US, size, "items_per_second")
            rows.append([name, str(size), f"{rate:,.0f}"])
    return table(["operation", "threads", "reads per second"], rows)


def memory(results):
    sizes = results.sizes("memory")
    rows = []
    lines = [("the library, opened", "memory", US, "bytes"), ("the library, read from", "memory", US, "bytes_used"),
             ("libxml2's tree", "memory", "floor", "bytes"),
             ("libxml2's tree without blanks", "memory-noblanks", "floor", "bytes"),
             ("libyang", "memory", "libyang", "bytes"), ("xsdcxx", "memory", "xsdcxx", "bytes")]
    for title, operation, subject, counter in lines:
        row = [title]
        for size in sizes:
            used = results.counter(operation, subject, size, counter)
            ours = results.counter("memory", US, size, "bytes")
            row.append("" if used is None else f"{used:,.0f}" + ("" if subject == US else f" ({ours / used:.2f})"))
        if any(row[1:]):
            rows.append(row)
    return table(["bytes per instance"] + [count(size) for size in sizes], rows)


def output_of(*command):
    try:
        return subprocess.run(command, capture_output=True, text=True, check=True).stdout.strip()
    except (OSError, subprocess.CalledProcessError):
        return ""


def conditions(results, directory):
    processor, cores = "unknown", os.cpu_count()
    with open("/proc/cpuinfo", encoding="utf-8") as file:
        found = re.search(r"^model name\s*:\s*(.*)$", file.read(), re.M)
        if found:
            processor = found.group(1)
    with open("/proc/meminfo", encoding="utf-8") as file:
        gigabytes = int(re.search(r"MemTotal:\s*(\d+)", file.read()).group(1)) / 2**20
    while not os.path.isdir(directory):
        directory = os.path.dirname(directory) or "."
    where = output_of("findmnt", "-n", "-o", "FSTYPE,SOURCE", "-T", directory).split()
    system = output_of("sh", "-c", ". /etc/os-release && echo $PRETTY_NAME")
    versions = []
    for package in VERSIONS:
        version = output_of("dpkg-query", "-W", "-f", "${Version}", package)
        if version:
            versions.append(f"{re.sub('-dev$', '', package)} {version}")
    rows = [
        ("Date", datetime.date.today().isoformat()),
        ("Processor", f"{processor}, {cores} cores seen"),
        ("Memory", f"{gigabytes:.0f} GiB"),
        ("Disk", f"{where[0]} on {where[1]}" if len(where) == 2 else "unknown"),
        ("System", f"{system}, Linux {os.uname().release}"),
        ("Compiler", output_of("c++", "--version").split("\n")[0] + ", RelWithDebInfo"),
        ("Packages", ", ".join(versions)),
        ("Repetitions", "1" if results.repetitions == 1 else
         f"{results.repetitions} (3 with 100,000 instances), in random order; medians of them"),
    ]
    return table(["", ""], [list(row) for row in rows], " --- ")


COLOURS = {"cfgex": "#c0392b", "floor": "#7f8c8d", "in-full": "#bdc3c7", "by-hand": "#2c3e50",
           "libyang": "#2980b9", "libyang-unvalidated": "#7fb3d5", "xsdcxx": "#27ae60",
           "sqlite-wal": "#8e44ad", "sqlite-delete": "#d35400"}


def plot(results):
    """Commit time against store size, both axes logarithmic, as SVG."""
    lines = {subject: [(size, results.time("commit", subject, size)) for size in results.sizes("commit", subject)]
             for subject in TITLES}
    lines = {subject: points for subject, points in lines.items() if points}
    all_points = [point for points in lines.values() for point in points]
    left, top, width, height, right = 70, 46, 470, 360, 190

    low = math.floor(math.log10(min(time for _, time in all_points)))
    high = math.ceil(math.log10(max(time for _, time in all_points)))
    first = math.log10(min(size for size, _ in all_points))
    last = max(math.log10(max(size for size, _ in all_points)), first + 1)

    def x(size):
        return left + (math.log10(size) - first) / (last - first) * width

    def y(time):
        return top + (high - math.log10(time)) / (high - low) * height

    svg = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {left + width + right} {top + height + 56}" '
           'font-family="sans-serif" font-size="13">',
           '<rect width="100%" height="100%" fill="white"/>',
           f'<text x="{left}" y="24" font-size="16">One changed instance, committed to the disk</text>',
           f'<text x="{left + width / 2}" y="{top + height + 44}" text-anchor="middle">instances in the store</text>']
    for power in range(low, high + 1):
        at = y(10.0**power)
        svg.append(f'<line x1="{left}" y1="{at:.1f}" x2="{left + width}" y2="{at:.1f}" stroke="#e5e5e5"/>')
        svg.append(f'<text x="{left - 8}" y="{at + 4:.1f}" text-anchor="end">{shown(10.0**power)}</text>')
    for size in sorted({size for size, _ in all_points}):
        svg.append(f'<line x1="{x(size):.1f}" y1="{top}" x2="{x(size):.1f}" y2="{top + height}" stroke="#e5e5e5"/>')
        svg.append(f'<text x="{x(size):.1f}" y="{top + height + 20}" text-anchor="middle">{count(size)}</text>')
    # Labels are beside the last points, moved apart where they would overlap.
    below = -math.inf
    for subject, points in sorted(lines.items(), key=lambda line: -line[1][-1][1]):
        colour = COLOURS[subject]
        weight = 3 if subject == US else 1.6
        path = " ".join(f"{x(size):.1f},{y(time):.1f}" for size, time in points)
        svg.append(f'<polyline points="{path}" fill="none" stroke="{colour}" stroke-width="{weight}"/>')
        svg += [f'<circle cx="{x(size):.1f}" cy="{y(time):.1f}" r="3" fill="{colour}"/>' for size, time in points]
        at = y(points[-1][1])
        label = max(at, below + 16)
        below = label
        svg.append(f'<line x1="{left + width + 4}" y1="{at:.1f}" x2="{left + width + 18}" y2="{label:.1f}" '
                   f'stroke="{colour}" stroke-width="0.8"/>')
        svg.append(f'<text x="{left + width + 22}" y="{label + 4:.1f}" fill="{colour}">{TITLES[subject]}</text>')
    return "\n".join(svg + ["</svg>\n"])


def replaced(text, name, content):
    """The text with what stands between the markers of this name replaced."""
    pattern = re.compile(rf"(<!-- begin {name} -->\n).*?(<!-- end {name} -->)", re.S)
    if not pattern.search(text):
        sys.exit(f"report.py: there are no markers for {name}")
    return pattern.sub(lambda found: found.group(1) + content + "\n" + found.group(2), text)


def main():
    arguments = argparse.ArgumentParser()
    arguments.add_argument("results")
    arguments.add_argument("--markdown")
    arguments.add_argument("--plot")
    arguments.add_argument("--directory", default=".")
    options = arguments.parse_args()

    results = Results(options.results)
    tables = {"own": own(results), "parts": parts(results)}
    for operation in ("commit", "read", "open", "insert", "remove"):
        tables[operation] = compared(results, operation)
    for name, make in (("fields", fields), ("closures", closures), ("threads", threads), ("memory", memory)):
        tables[name] = make(results)
    tables["conditions"] = conditions(results, options.directory)

    if options.markdown:
        with open(options.markdown, encoding="utf-8") as file:
            text = file.read()
        for name, content in tables.items():
            text = replaced(text, name, content)
        with open(options.markdown, "w", encoding="utf-8") as file:
            file.write(text)
    if options.plot:
        with open(options.plot, "w", encoding="utf-8") as file:
            file.write(plot(results))
    for name, content in tables.items():
        print(f"\n{name}\n\n{content}")


if __name__ == "__main__":
    main()
