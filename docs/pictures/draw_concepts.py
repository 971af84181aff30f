#!/usr/bin/env python3
"""Draws the pictures of docs/concepts.md. Needs matplotlib: python3 docs/pictures/draw_concepts.py"""

import numpy as np

from canvas import BLUE, DARK_BLUE, DARK_GREEN, DARK_ORANGE, GREEN, GREY, ORANGE, PURPLE, WHITE, Canvas, plt, save

IONS = (  # m/z, charge, scan, strength
    (451.3, 2, 620, 1.0), (612.8, 2, 470, 0.8), (743.4, 3, 520, 0.9), (838.2, 2, 330, 0.7), (987.6, 2, 240, 0.6),
    (560.1, 1, 250, 0.35))
RAMP = 900


def peaks_of_a_frame():
    """Scan, m/z and intensity of some ions with their isotopes, and of noise."""
    random = np.random.default_rng(5)
    parts = []
    for mz, charge, centre, strength in IONS:
        for isotope, share in enumerate((1.0, 0.85, 0.45, 0.18)):
            scans = random.normal(centre, 11, 60)
            height = 1000 * strength * share * np.exp(-0.5 * ((scans - centre) / 11) ** 2)
            parts.append(np.stack([scans, np.full(60, mz + 1.0033 * isotope / charge), height]))
    parts.append(np.stack([random.uniform(0, RAMP, 350), random.uniform(400, 1050, 350), random.uniform(2, 25, 350)]))
    return np.concatenate(parts, axis=1)


def frame():
    scan, mz, intensity = peaks_of_a_frame()
    order = np.argsort(intensity)
    figure, axes = plt.subplots(2, 2, figsize=(9, 5.2), facecolor="white", width_ratios=(4, 1), height_ratios=(1, 3),
                                sharex="col", sharey="row", layout="constrained")
    dots = axes[1, 0].scatter(mz[order], scan[order], c=intensity[order], s=7, cmap="cividis_r", linewidths=0, rasterized=True)
    axes[1, 0].set(xlim=(400, 1050), ylim=(RAMP, 0), xlabel="time-of-flight index, or m/z in Th", ylabel="scan, counted from 0")
    axes[1, 0].axhspan(512, 528, facecolor="none", edgecolor=DARK_ORANGE, linewidth=1.2)
    axes[1, 0].annotate("one scan is one spectrum", (905, 520), (905, 640), ha="center", color=DARK_ORANGE,
                        arrowprops={"arrowstyle": "-|>", "color": DARK_ORANGE})
    axes[1, 0].annotate("one dot is one peak:\nindex and intensity", (838.2, 330), (905, 110), ha="center", color=DARK_BLUE,
                        arrowprops={"arrowstyle": "-|>", "color": DARK_BLUE})
    sums, edges = np.histogram(mz, 650, (400, 1050), weights=intensity)
    axes[0, 0].stairs(sums, edges, color="black", linewidth=0.9)
    axes[0, 0].set(yticks=[], title="all scans summed: a mass spectrum")
    sums, edges = np.histogram(scan, 300, (0, RAMP), weights=intensity)
    axes[1, 1].stairs(sums, edges, color="black", linewidth=0.9, orientation="horizontal")
    axes[1, 1].set(xticks=[], title="all indices summed:\na mobilogram")
    bar = figure.colorbar(dots, ax=axes[1, 1], location="right", label="intensity, counts", aspect=30)
    bar.outline.set_linewidth(0.8)
    axes[0, 1].axis("off")
    for side in (axes[0, 0], axes[1, 1]):
        side.spines[["top", "right"]].set_visible(False)
    save(figure, "frame")


def run():
    canvas = Canvas(76, 27)
    canvas.arrow((4, 12), (75, 12))
    canvas.text(74, 13.2, "retention time", align="right", size=9)
    windows = {2: ((2, "17", BLUE), (5.5, "23", ORANGE)), 3: ((1, "31", PURPLE), (5.5, "23", ORANGE)), 6: ((3.2, "40", GREEN),)}
    for number in range(8):
        x, survey = 4 + 8.8 * number, number % 4 == 0
        canvas.box(x, 4, 7.2, 7, "", GREY if survey else WHITE)
        canvas.text(x + 3.6, 2.6, f"frame {number + 1}", size=9)
        canvas.text(x + 3.6, 5.3, "MS1" if survey else "MS/MS", size=8.5, bold=survey)
        for y in np.linspace(6.4, 10.4, 9):
            canvas.line([x + 0.7, x + 6.5], [y, y], linewidth=0.5, color="#888888")
    canvas.text(40, 15.4, "MS/MS frames: scans that belong to precursors (table ZorelFrameMsMsInfo)", size=9.5)
    for place, number in enumerate((2, 3, 6)):
        x = 8 + 23 * place
        canvas.text(x + 7, 17.2, f"frame {number}", size=9)
        canvas.cell(x, 18, 14, 8, "", WHITE)
        for y, precursor, colour in windows[number]:
            canvas.cell(x, 18 + y - 0.6, 14, 1.9, f"precursor {precursor}", colour, 9)
        canvas.text(x - 0.5, 18.6, "scan 0", size=8, align="right")
    canvas.line([22, 31], [23.8, 23.8], color=DARK_ORANGE, linewidth=1.4)
    canvas.text(26.5, 25.3, "summed", size=8.5, colour=DARK_ORANGE)
    save(canvas.figure, "run")


def coordinates():
    canvas = Canvas(76, 19)
    canvas.text(1, 1.5, "needs the mass calibration of the frame", align="left", size=9, colour=DARK_BLUE)
    canvas.box(1, 3, 15, 4, "index\ncounted from 0", BLUE)
    canvas.box(27, 3, 15, 4, "flight time", WHITE)
    canvas.box(53, 3, 22, 4, "m/z\nTh", BLUE)
    canvas.arrow((16, 5), (27, 5), "timebase, delay", both=True)
    canvas.arrow((42, 5), (53, 5), "A0, A1, A2, …", both=True)
    canvas.text(1, 10, "needs the mobility calibration of the frame", align="left", size=9, colour=DARK_GREEN)
    canvas.box(1, 11.5, 15, 4, "scan number\ncounted from 0", GREEN)
    canvas.box(27, 11.5, 15, 4, "ramp voltage\nV", WHITE)
    canvas.box(53, 11.5, 9, 4, "1/K₀\nV·s/cm²", GREEN)
    canvas.box(69, 11.5, 6, 4, "CCS\nÅ²", ORANGE)
    canvas.arrow((16, 13.5), (27, 13.5), "ramp", both=True)
    canvas.arrow((42, 13.5), (53, 13.5), "c0, c1", both=True)
    canvas.arrow((62, 13.5), (69, 13.5), "", both=True)
    canvas.arrow((65.5, 7), (65.5, 13.2), "and charge", offset=(0.6, 0.2), align="left", colour=DARK_ORANGE)
    canvas.text(65.5, 16.8, "no calibration needed", size=8.5, colour=DARK_ORANGE)
    save(canvas.figure, "coordinates")


def calibration_states():
    canvas = Canvas(76, 21)
    canvas.box(1, 2, 20, 4, "re-calibrated state\nasked for on opening?")
    canvas.box(28, 2, 20, 4, "calibration.sqlite\nin the directory?")
    canvas.box(55, 2, 20, 4, "a complete state\nin it?")
    canvas.box(55, 14, 20, 5, "newest complete state\nof calibration.sqlite", GREEN)
    canvas.box(11, 14, 28, 5, "calibration of the acquisition\nof analysis.kvd", BLUE)
    canvas.arrow((21, 4), (28, 4), "yes")
    canvas.arrow((48, 4), (55, 4), "yes")
    canvas.arrow((65, 6), (65, 14), "yes", offset=(0.5, 0), align="left")
    canvas.arrow((14, 6), (14, 14), "no", offset=(0.5, 0), align="left")
    canvas.arrow((36, 6), (36, 14), "no", offset=(0.5, 0), align="left")
    canvas.line([58, 58], [6, 10.5])
    canvas.line([58, 38], [10.5, 10.5])
    canvas.arrow((38, 10.5), (38, 14), "")
    canvas.text(48, 9.6, "no", size=9)
    save(canvas.figure, "calibration-states")


if __name__ == "__main__":
    frame()
    run()
    coordinates()
    calibration_states()
