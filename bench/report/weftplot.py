"""Charts of the benchmark report and of the soak run, drawn one way.

Run with Debian's /usr/bin/python3, whose python3-matplotlib draws them without a display.
"""
import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt  # noqa: E402


def ratio_bars(ax, rows):
    """rows: (label, ratio, goal, lower_is_better). A bar per figure, its goal as a tick mark; green
    where the goal is met, red where missed, grey without a goal; the ratio written at its end."""
    labels = [r[0] for r in rows]
    ys = list(range(len(rows)))
    colours = []
    for _, ratio, goal, lower in rows:
        if goal is None:
            colours.append("tab:gray")
        else:
            colours.append("tab:green" if (ratio <= goal if lower else ratio >= goal) else "tab:red")
    ax.barh(ys, [r[1] for r in rows], color=colours)
    for y, (_, ratio, goal, _) in zip(ys, rows):
        if goal is not None:
            ax.plot([goal, goal], [y - 0.4, y + 0.4], color="black", linewidth=2)
        ax.text(max(ratio, goal or 0), y, f" {ratio:.2f}", va="center", fontsize=6)
    ax.set_yticks(ys, labels, fontsize=7)
    ax.invert_yaxis()
    ax.axvline(1.0, color="grey", linewidth=0.8, linestyle=":")
    ax.set_xlabel("ratio to the raw calls or peer (black mark: goal)")


def curves(ax, title, xlabel, ylabel, series, log=True):
    """series: {name: (xs, ys)}, one line each."""
    for name, (xs, ys) in series.items():
        ax.plot(xs, ys, marker="o", label=name)
    if log:
        ax.set_xscale("log")
        ax.set_yscale("log")
    ax.set_title(title, fontsize=9)
    ax.set_xlabel(xlabel)
    ax.set_ylabel(ylabel)
    ax.grid(True, which="both", linewidth=0.3)
    ax.legend(fontsize=7)


def save(fig, path):
    if fig.get_layout_engine() is None:  # rows() lays itself out
        fig.tight_layout()
    fig.savefig(path, dpi=110)
    plt.close(fig)


def figure(rows, cols, width=11, height_per_row=4):
    fig, axes = plt.subplots(rows, cols, figsize=(width, height_per_row * rows), squeeze=False)
    return fig, axes


def rows(heights, width=11):
    """A figure of rows of the given heights (inches), each a sub-figure with margins of its own,
    so that one row's long labels do not narrow the others: rows[i].subplots(1, 2) for two
    panels side by side, rows[i].subplots() for one over the whole width."""
    fig = plt.figure(figsize=(width, sum(heights)), layout="constrained")
    return fig, list(fig.subfigures(len(heights), 1, height_ratios=heights, squeeze=False)[:, 0])
