"""How every chart of the documentation looks. Its colours are told apart by colour-blind readers too."""

import io
import math

import matplotlib

matplotlib.use("agg")
matplotlib.rcParams.update({
    "font.family": "sans-serif",
    "font.size": 10,
    "axes.titlesize": 11,
    "figure.constrained_layout.use": True,
    "figure.facecolor": "white",  # a card of its own on a dark page
    "savefig.dpi": 160,  # twice what a page shows
    "axes.spines.top": False,
    "axes.spines.right": False,
    "axes.axisbelow": True,
    "axes.grid": True,
    "grid.color": "#dddddd",
    "grid.linewidth": 0.6,
    "legend.frameon": False,
    "legend.handlelength": 1.0,
    "legend.columnspacing": 1.2,
})

import matplotlib.pyplot as plt  # noqa: E402  the backend is chosen first
from PIL import Image  # noqa: E402

BLUE, ORANGE, SKY, VERMILION = "#0072b2", "#e69f00", "#56b4e9", "#d55e00"
GREY, DARK = "#c9c9c9", "#444444"
GRADE_COLORS = [GREY, ORANGE, SKY, BLUE]  # 0 to 3
COLORS, ALIKE = 32, 16.0  # of a file: how many, and how far apart at least

plt.rcParams["axes.prop_cycle"] = matplotlib.cycler(color=[BLUE, ORANGE, DARK, SKY, VERMILION])


def show_grades(axes, **place):
    handles = [plt.Rectangle((0, 0), 1, 1, color=color, label=f"grade {grade}")
               for grade, color in enumerate(GRADE_COLORS)]
    axes.legend(handles=handles, ncol=len(handles), **place)


def save(figure, path):
    drawn = io.BytesIO()
    figure.savefig(drawn, format="png", bbox_inches="tight", pad_inches=0.12)
    plt.close(figure)
    few_colors(Image.open(drawn).convert("RGB")).save(path, format="PNG", optimize=True)


def few_colors(picture):
    """The colours of most pixels stay what they are; the shades at edges become the nearest of them."""
    palette = []
    for _, color in sorted(picture.getcolors(picture.width * picture.height), reverse=True):
        if len(palette) < COLORS and all(math.dist(color, other) > ALIKE for other in palette):
            palette.append(color)
    named = Image.new("P", (1, 1))
    named.putpalette([part for color in palette for part in color])
    return picture.quantize(palette=named, dither=Image.Dither.NONE)
