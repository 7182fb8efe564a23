"""Chart of the soak's samples: one panel per figure over time.

    soak_plot.py samples.csv soak.png

Run with Debian's /usr/bin/python3 (python3-matplotlib). Figures that stayed 0 (those the system
does not report) are left out.
"""
import csv
import pathlib
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "report"))
import weftplot  # noqa: E402


def main(source, target):
    with open(source, newline="") as f:
        rows = list(csv.DictReader(f))
    if not rows:
        raise SystemExit(f"{source}: no samples")
    names = [n for n in rows[0] if n != "seconds" and any(float(r[n]) != 0 for r in rows)]
    seconds = [float(r["seconds"]) for r in rows]
    cols = 2
    fig, axes = weftplot.figure((len(names) + cols - 1) // cols, cols, height_per_row=3)
    for i, name in enumerate(names):
        scale, unit = (1 / 1048576, " (MiB)") if "bytes" in name or "committed" in name else (1, "")
        ys = [float(r[name]) * scale for r in rows]
        weftplot.curves(axes[i // cols][i % cols], name, "seconds", name + unit, {name: (seconds, ys)}, log=False)
    for j in range(len(names), len(axes) * cols):
        axes[j // cols][j % cols].set_visible(False)
    weftplot.save(fig, target)


if __name__ == "__main__":
    main(sys.argv[1], sys.argv[2])
