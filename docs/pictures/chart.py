"""How every chart of the documentation looks, and that the same figures give the same file."""

import matplotlib

matplotlib.use("svg")
matplotlib.rcParams.update({
    "svg.hashsalt": "qv6d",
    "svg.fonttype": "none",  # text stays text: small files that can be searched
    "font.family": "sans-serif",
    "font.size": 10,
    "figure.facecolor": "white",  # a card of its own on a dark page
    "axes.spines.top": False,
    "axes.spines.right": False,
    "axes.grid": True,
    "grid.color": "#dddddd",
    "grid.linewidth": 0.6,
    "axes.prop_cycle": matplotlib.cycler(color=["#0b6bcb", "#d1495b", "#2a9d5c", "#8661c1", "#c77d0a", "#4a4e69"]),
    "legend.frameon": False,
})

import matplotlib.pyplot as plt  # noqa: E402  the backend is chosen first

GRADE_COLORS = ["#c9c9c9", "#d1495b", "#e0a526", "#2a9d5c"]  # 0 to 3


def save(figure, path):
    figure.savefig(path, bbox_inches="tight", metadata={"Date": None})
    plt.close(figure)
