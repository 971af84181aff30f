#!/usr/bin/env python3
"""Draws the pictures of docs/format.md. Needs matplotlib: python3 docs/pictures/draw_format.py"""

from canvas import BLUE, GREEN, GREY, ORANGE, PURPLE, Canvas, save


def blob_file():
    canvas = Canvas(76, 15)
    canvas.text(1, 1.6, "table Frames in analysis.kvd", align="left", bold=True)
    for column, x, width in (("Id", 1, 6), ("KovaId", 7, 8), ("…", 15, 5)):
        canvas.cell(x, 3, width, 2, column, GREY)
        for row, values in enumerate((("1", "16", "…"), ("2", "41 984", "…"), ("3", "55 301", "…"))):
            canvas.cell(x, 5 + 2 * row, width, 2, values[("Id", "KovaId", "…").index(column)])
    canvas.text(30, 1.6, "analysis.kvd_bin", align="left", bold=True)
    canvas.ruler(30, 5, [(3, "", GREY, "0"), (17, "block of frame 1", BLUE, "16"), (11, "frame 2", GREEN, "41 984"),
                         (13, "frame 3", ORANGE, "55 301"), (0, None, None, "end")])
    for row, x in ((6, 33.5), (8, 50.5), (10, 61.5)):
        level = {6: 9.6, 8: 11.2, 10: 12.8}[row]
        canvas.line([20, 31 - row / 2, 31 - row / 2, x], [row, row, level, level])
        canvas.arrow((x, level), (x, 8.05))
    save(canvas.figure, "blob-file")


def scan_wise_block():
    canvas = Canvas(76, 16)
    canvas.ruler(3, 3, [(8, "first\nword", GREY, "0"), (8, "number of\nscans S", BLUE, "4"), (8, "offset 0", GREEN, "8"),
                        (8, "offset 1", GREEN, "12"), (5, "…", GREEN, "16"), (8, "offset S", GREEN, "8+4S"),
                        (9, "LZF of\nscan 0", ORANGE, "offset 0"), (9, "LZF of\nscan 1", ORANGE, "offset 1"),
                        (6, "…", ORANGE, ""), (0, None, None, "offset S")], height=3.6)
    canvas.line([48, 18], [6.6, 9.4], linestyle=":")
    canvas.line([57, 66], [6.6, 9.4], linestyle=":")
    canvas.text(3, 10.9, "decompressed:", align="left", size=9)
    for x, value in zip((18, 30, 42, 54), ("−4", "10", "−2", "20")):
        canvas.cell(x, 9.4, 12, 3, value, BLUE if value[0] == "−" else PURPLE, mono=True)
    for x, text in zip((24, 36, 48, 60), ("skip bins 0 to 3", "bin 4 holds 10", "skip bins 5, 6", "bin 7 holds 20")):
        canvas.text(x, 13.6, text, size=9)
    save(canvas.figure, "block-type-1")


def frame_wise_block():
    canvas = Canvas(76, 22)
    canvas.ruler(3, 3, [(10, "block\nsize", GREY, "0"), (10, "number of\nscans S", BLUE, "4"),
                        (40, "one zstd frame", ORANGE, "8"), (0, None, None, "block size")], height=3.6)
    canvas.line([23, 3], [6.6, 10.6], linestyle=":")
    canvas.line([63, 73.2], [6.6, 10.6], linestyle=":")
    canvas.text(39, 8.4, "decompress, then put the bytes of each word together again: N words", size=9)
    words = (("3", "start", GREEN), ("4", "size 0", GREEN), ("0", "size 1", GREEN), ("5", "delta", BLUE),
             ("10", "intensity", PURPLE), ("3", "delta", BLUE), ("20", "intensity", PURPLE), ("3", "delta", BLUE),
             ("300", "intensity", PURPLE))
    width = 7.8
    canvas.ruler(3, 12.4, [(width, f"{word}\n{meaning}", colour, f"{number}") for number, (word, meaning, colour)
                           in enumerate(words)] + [(0, None, None, "N = 9")], height=3.8)
    for begin, end, text in ((0, 3, "scan table of 3 scans"), (3, 7, "scan 0: words 3 to 6"), (7, 9, "scan 2: words 7, 8")):
        left, right = 3 + begin * width + 0.4, 3 + end * width - 0.4
        canvas.line([left, left, right, right], [16.7, 17.3, 17.3, 16.7])
        canvas.text((left + right) / 2, 18.5, text, size=9)
    canvas.text(3 + 7 * width, 20.6, "scan 1 is empty: it begins and ends at word 7", size=9)
    save(canvas.figure, "block-type-2")


def shuffling():
    canvas = Canvas(76, 19)
    words = (3, 4, 0, 5, 10, 3, 20, 3, 300)
    width = 6.6
    canvas.text(14.5, 1.8, "word i  =  sum of  plane k [i] · 256ᵏ", align="left", size=10)
    for number, word in enumerate(words):
        x = 14.5 + number * width
        canvas.text(x + width / 2, 4, f"word {number}", size=8)
        canvas.text(x + width / 2, 5.6, str(word), bold=True)
        for plane, colour in enumerate((BLUE, GREEN, ORANGE, PURPLE)):
            canvas.cell(x, 7 + 2.4 * plane, width, 2.4, f"{(word >> (8 * plane)) & 255:02X}", colour, mono=True)
    for plane in range(4):
        start = f"{plane}N" if plane > 1 else ("N" if plane else "0")
        canvas.text(13.5, 8.2 + 2.4 * plane, f"plane {plane}, from byte {start}", size=8.5, align="right")
    canvas.text(14.5, 17.9, "stored row by row: 03 04 00 05 0A 03 14 03 2C  00 00 00 00 00 00 00 00 01  00 …", size=8.5,
                align="left", mono=True)
    save(canvas.figure, "shuffling")


def spectrum_block():
    canvas = Canvas(76, 17)
    canvas.ruler(3, 3, [(10, "block\nsize", GREY, "0"), (10, "line part\nsize L", BLUE, "4"),
                        (22, "line part: one zstd frame", ORANGE, "8"), (26, "profile part: one zstd frame", GREEN, "8+L"),
                        (0, None, None, "block size")], height=3.6)
    canvas.line([23, 3], [6.6, 9.3], linestyle=":")
    canvas.line([45, 37], [6.6, 9.3], linestyle=":")
    canvas.ruler(3, 11, [(15, "n positions\ndouble", ORANGE, "0"), (10, "n intensities\nfloat", ORANGE, "8n"),
                         (9, "n widths\nfloat", "#fbe8c4", "12n"), (0, None, None, "16n")], height=3.6)
    canvas.line([45.2, 46], [6.6, 9.3], linestyle=":")
    canvas.line([71, 74], [6.6, 9.3], linestyle=":")
    canvas.ruler(46, 11, [(28, "N intensities, shuffled\nunsigned, one per index", GREEN, "0"), (0, None, None, "4N")],
                 height=3.6)
    canvas.text(3, 16, "widths only where the analysis has them", size=8.5, align="left")
    save(canvas.figure, "block-type-3")


if __name__ == "__main__":
    blob_file()
    scan_wise_block()
    frame_wise_block()
    shuffling()
    spectrum_block()
