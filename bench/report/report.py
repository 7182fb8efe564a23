"""The benchmark report: one table and one chart from the captured output of every benchmark.

    /usr/bin/python3 bench/report/report.py REPORT_DIR

REPORT_DIR (default: $WEFT_BUILD_DIR/report, else build/report) holds logs/<bench>.txt, each
benchmark's whole output, and logs/status.tsv (bench, exit code, seconds), as `weft.sh report`
leaves them. Writes REPORT_DIR/report.md and REPORT_DIR/report.png beside it.

The benchmarks print their figures among their human-readable lines as tab-separated lines
(bench/support/BenchSupport.h):
    @figure  bench  name  value  unit  ratio  goal  <=|>=  against
    @curve   bench  curve  x label  y label  series  x  y
A ratio is the figure over the same figure of `against`; a goal applies to the ratio, or to the
value when there is no ratio. Rerunning the script on the same folder draws the same report.
"""
import datetime
import math
import os
import platform
import subprocess
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import weftplot  # noqa: E402


class Figure:
    def __init__(self, fields):
        (self.bench, self.name, value, self.unit, ratio, goal, self.direction, self.against) = fields
        self.value = float(value)
        self.ratio = float(ratio) if ratio else None
        self.goal = float(goal) if goal else None

    def target(self):
        return self.ratio if self.ratio is not None else self.value

    def met(self):
        """True, False, or None without a goal (or without a number to hold against it)."""
        t = self.target()
        if self.goal is None or t is None or math.isnan(t):
            return None if self.goal is None else False
        return t <= self.goal if self.direction == "<=" else t >= self.goal


def read_logs(logs):
    """Gives {bench: (exit code, seconds)}, [Figure], {(bench, curve): ...} and {bench: last line}."""
    status = {}
    path = os.path.join(logs, "status.tsv")
    if os.path.exists(path):
        for line in open(path, encoding="utf-8"):
            parts = line.rstrip("\n").split("\t")
            if len(parts) == 3:
                status[parts[0]] = (int(parts[1]), int(parts[2]))
    for name in sorted(os.listdir(logs)):
        if name.endswith(".txt") and name[:-4] not in status:
            status[name[:-4]] = (0, 0)  # a log without a recorded status: taken as it is
    figures, curves, last = [], {}, {}
    for bench in status:
        path = os.path.join(logs, bench + ".txt")
        if not os.path.exists(path):
            continue
        for line in open(path, encoding="utf-8", errors="replace"):
            parts = line.rstrip("\r\n").split("\t")
            try:
                if parts[0] == "@figure" and len(parts) == 9:
                    figures.append(Figure(parts[1:]))
                elif parts[0] == "@curve" and len(parts) == 8:
                    _, b, curve, xlabel, ylabel, series, x, y = parts
                    c = curves.setdefault((b, curve), {"x": xlabel, "y": ylabel, "series": {}})
                    c["series"].setdefault(series, []).append((float(x), float(y)))
                elif line.strip() and not line.startswith("@"):
                    last[bench] = line.strip()
            except ValueError:
                last[bench] = line.strip()  # a malformed figure is shown as the bench's last words
    return status, figures, curves, last


def number(v):
    if v is None:
        return ""
    if math.isnan(v) or math.isinf(v):
        return "n/a"
    a = abs(v)
    if a >= 1000:
        return f"{v:,.0f}"
    if a >= 100:
        return f"{v:.1f}"
    if a >= 10:
        return f"{v:.2f}"
    if a >= 1:
        return f"{v:.3f}"
    return f"{v:.3g}"


def ratio_text(r):
    if math.isnan(r) or math.isinf(r):
        return "n/a"
    return f"{r:.3f}" if abs(r) < 10 else f"{r:.1f}"


def cell(text):
    return str(text).replace("|", "\\|")


def machine():
    cpu = ""
    try:
        for line in open("/proc/cpuinfo", encoding="utf-8"):
            if line.startswith("model name"):
                cpu = line.split(":", 1)[1].strip()
                break
    except OSError:
        pass
    try:
        wine = subprocess.run(["wine", "--version"], capture_output=True, text=True, timeout=60).stdout
        wine = wine.splitlines()[0].strip() if wine.strip() else "unknown"
    except (OSError, subprocess.SubprocessError):
        wine = "not found"
    try:
        here = os.path.dirname(os.path.abspath(__file__))
        commit = subprocess.run(["git", "-C", here, "describe", "--always", "--dirty"], capture_output=True,
                                text=True, timeout=30).stdout.strip()
    except (OSError, subprocess.SubprocessError):
        commit = ""
    return cpu, wine, commit


def duration(seconds):
    return f"{seconds} s" if seconds < 120 else f"{round(seconds / 60)} min"


def failure(code, seconds):
    if code == 124:
        return f"timed out after {seconds} s"
    if code == 127:
        return "not built"
    return f"exit code {code}"


def write_markdown(out, status, figures, curves, last, chart):
    cpu, wine, commit = machine()
    met = [f.met() for f in figures]
    failed = [b for b, (code, _) in status.items() if code != 0]
    lines = [
        "# Benchmark report",
        "",
        f"- Date: {datetime.datetime.now().strftime('%Y-%m-%d %H:%M')}",
        f"- Machine: nproc {nproc()}{', ' + cpu if cpu else ''}; "
        f"{platform.system()} {platform.release()}; {wine}",
    ]
    if commit:
        lines.append(f"- Source: {commit}")
    lines += [
        f"- Benchmarks: {len(status)} run in {duration(sum(s for _, s in status.values()))}, "
        f"{len(failed)} failed{': ' + ', '.join(failed) if failed else ''}",
        f"- Goals: {met.count(True)} met, {met.count(False)} missed, of {met.count(True) + met.count(False)}",
        "",
        "A ratio is the figure over the same figure of what it is measured against (the raw calls, a "
        "peer, a smaller tree), in the figure's unit: for a time lower is better, for a rate higher; "
        "the goal's sign says which. A goal without a ratio applies to the value. The logs of each "
        "benchmark are in logs/.",
        "",
        "| bench | figure | value | ratio | goal | met? |",
        "|---|---|---:|---|---|---|",
    ]
    for bench, (code, seconds) in status.items():
        own = [f for f in figures if f.bench == bench]
        for f in own:
            ratio = f"{ratio_text(f.ratio)} vs {f.against}" if f.ratio is not None else ""
            goal = ""
            if f.goal is not None:
                on_value = f.ratio is None and not math.isnan(f.value)  # NaN: nothing was measured
                goal = f"{f.direction} {f.goal:,g}" + (f" {f.unit}" if on_value else "")
            verdict = {True: "met", False: "**missed**", None: "–"}[f.met()]
            lines.append(f"| {cell(bench)} | {cell(f.name)} | {number(f.value)} {cell(f.unit)} | {cell(ratio)} "
                         f"| {goal} | {verdict} |")
        if code != 0 or not own:
            what = f"failed: {failure(code, seconds)}" if code != 0 else "no figures printed"
            if bench in last:
                what += f" (last line: {last[bench][:100]})"
            lines.append(f"| {cell(bench)} | {cell(what)} | | | | **failed** |")
    if chart:
        lines += ["", "![Ratios against their goals, and the scaling curves](report.png)", ""]
    with open(os.path.join(out, "report.md"), "w", encoding="utf-8") as f:
        f.write("\n".join(lines) + "\n")


def nproc():
    """The processors this process may use, as nproc counts them."""
    try:
        return len(os.sched_getaffinity(0))
    except AttributeError:
        return os.cpu_count()


def growth(f):
    """A ratio against a smaller size of the same work, e.g. against "10,000 files"."""
    return f.against[:1].isdigit()


def write_chart(out, figures, curves):
    """Draws report.png; gives False when there is nothing to draw."""
    drawn = [f for f in figures if f.ratio is not None and math.isfinite(f.ratio) and f.ratio > 0]
    goals = [f for f in drawn if f.goal is not None and not growth(f)]
    peers = [f for f in drawn if f.goal is None and not growth(f)]
    growths = [f for f in drawn if growth(f)]
    if not drawn and not curves:
        return False

    def rows(fs):
        return [(f.name if " vs " in f.name else f"{f.name} (vs {f.against})", f.ratio, f.goal, f.direction == "<=")
                for f in fs]

    bars = [(fs, title, xlabel, log) for fs, title, xlabel, log in (
        (goals, "Ratios against their goals (black mark); green: met, red: missed", None, False),
        (peers, "Ratios without a goal: against peers and other figures (log scale)",
         "ratio to the raw calls or peer", True),
        (growths, "Growth with size: time on the larger tree over the same on the smaller one",
         "ratio to the smaller tree (black mark: goal)", False)) if fs]
    heights = [max(1.6, 0.22 * len(fs) + 1.1) for fs, _, _, _ in bars]
    curve_rows = (len(curves) + 1) // 2
    heights += [3.6] * curve_rows
    fig, panels = weftplot.rows(heights)
    for fs, title, xlabel, log in bars:
        ax = panels.pop(0).subplots()
        weftplot.ratio_bars(ax, rows(fs))
        ax.set_title(title, fontsize=9)
        if xlabel:
            ax.set_xlabel(xlabel)
        if log:
            ax.set_xscale("log")
    cells = [ax for panel in panels for ax in panel.subplots(1, 2)]
    for ax in cells[len(curves):]:
        ax.set_visible(False)
    for ax, ((bench, name), c) in zip(cells, sorted(curves.items())):
        series = {s: ([p[0] for p in sorted(pts)], [p[1] for p in sorted(pts)]) for s, pts in c["series"].items()}
        weftplot.curves(ax, f"{bench}: {name}", c["x"], c["y"], series)
    weftplot.save(fig, os.path.join(out, "report.png"))
    return True


def main():
    default = os.path.join(os.environ.get("WEFT_BUILD_DIR", "build"), "report")
    out = sys.argv[1] if len(sys.argv) > 1 else default
    logs = os.path.join(out, "logs")
    if not os.path.isdir(logs):
        print(f"report.py: no logs in {logs}; run ./weft.sh report", file=sys.stderr)
        return 2
    status, figures, curves, last = read_logs(logs)
    chart = write_chart(out, figures, curves)
    write_markdown(out, status, figures, curves, last, chart)
    print(f"report: {os.path.join(out, 'report.md')}" + (f" and {os.path.join(out, 'report.png')}" if chart else ""))
    missed = sum(1 for f in figures if f.met() is False)
    failed = sum(1 for code, _ in status.values() if code != 0)
    print(f"report: {len(figures)} figures, goals missed: {missed}, benchmarks failed: {failed}")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
