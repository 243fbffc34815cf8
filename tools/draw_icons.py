#!/usr/bin/env python3
"""Draws the two icons of the settings panel and writes them to resources/.

    python3 tools/draw_icons.py

rescan.ico  a circular arrow: look for the installed effects again.
editor.ico  three faders: show the effect's own controls.

Each file holds six images, for display scalings of 100 % to 300 %. Every size has its own row of
measurements instead of being scaled from another one, so that straight edges and the four outermost
points of the ring lie exactly on pixel boundaries. All lengths are in pixels of the image, with x to the
right and y down from the top left corner.

The panel's background can be anything from white to black, so both colours are mid-tones that keep a
contrast of at least 3:1 against either, and against the usual light grey.

The output depends on nothing but this file: the curves need only basic arithmetic, which rounds alike
everywhere. The icons are kept in the repository, so run this only after a change to the drawing.
"""

import struct
from dataclasses import dataclass
from pathlib import Path

ACCENT = (0x1B, 0x78, 0xD0)  # red, green, blue
NEUTRAL = (0x78, 0x7C, 0x82)

# Samples per pixel along each axis: 256 in all, as fine as the alpha channel can tell.
SUBSAMPLES = 16


@dataclass(frozen=True)
class Ring:
    """Three quarters of a ring, clockwise from the bottom to the right, where the arrowhead hangs on."""

    left: int
    top: int
    diameter: int
    stroke: int
    start_x: int  # where the ring begins, on its lower edge
    base_y: int  # where it ends on the right, at the arrowhead's base
    head_width: int
    head_length: int


@dataclass(frozen=True)
class Faders:
    """Three vertical tracks, each interrupted by its knob."""

    left: int
    top: int
    height: int
    pitch: int
    track_width: int
    knob_width: int
    knob_height: int
    gap: int  # left clear between a knob and its track
    knob_tops: tuple[int, int, int]  # from `top`


RINGS = {
    16: Ring(1, 1, 13, 2, 9, 7, 6, 5),
    20: Ring(1, 2, 16, 3, 11, 9, 9, 5),
    24: Ring(1, 2, 19, 3, 13, 11, 9, 6),
    32: Ring(1, 3, 26, 4, 17, 15, 12, 8),
    40: Ring(2, 4, 32, 5, 22, 19, 15, 10),
    48: Ring(3, 5, 38, 6, 26, 23, 18, 12),
}

FADERS = {
    16: Faders(1, 1, 13, 5, 2, 4, 3, 0, (8, 2, 5)),
    20: Faders(2, 2, 16, 6, 2, 4, 3, 1, (10, 3, 7)),
    24: Faders(2, 2, 19, 7, 2, 6, 4, 1, (12, 3, 8)),
    32: Faders(1, 3, 26, 10, 3, 9, 5, 1, (17, 4, 11)),
    40: Faders(3, 4, 32, 12, 4, 10, 6, 1, (20, 6, 13)),
    48: Faders(4, 5, 38, 14, 4, 12, 8, 2, (23, 7, 16)),
}


def in_ring(ring, x, y):
    """Whether the point (x, y) is on the arrow."""
    radius = ring.diameter / 2
    if y > ring.base_y:
        tip_x = ring.left + ring.diameter - ring.stroke / 2
        half_width = ring.head_width / 2 * (1 - (y - ring.base_y) / ring.head_length)
        if abs(x - tip_x) < half_width:
            return True
        if x > ring.start_x:
            return False
    distance_squared = (x - ring.left - radius) ** 2 + (y - ring.top - radius) ** 2
    return (radius - ring.stroke) ** 2 < distance_squared < radius**2


def draw_rescan(size):
    """Returns the rows of (red, green, blue, alpha) of the circular arrow, top row first."""
    ring = RINGS[size]
    offsets = [(i + 0.5) / SUBSAMPLES for i in range(SUBSAMPLES)]

    def pixel(x, y):
        hits = sum(in_ring(ring, x + u, y + v) for u in offsets for v in offsets)
        alpha = hits * 255 // (SUBSAMPLES * SUBSAMPLES)
        return (*ACCENT, alpha) if alpha else (0, 0, 0, 0)

    return [[pixel(x, y) for x in range(size)] for y in range(size)]


def draw_editor(size):
    """Returns the rows of (red, green, blue, alpha) of the three faders, top row first."""
    faders = FADERS[size]
    rows = [[(0, 0, 0, 0)] * size for _ in range(size)]

    def fill(left, top, width, height, pixel):
        for row in rows[top : top + height]:
            row[left : left + width] = [pixel] * width

    for column, knob_top in enumerate(faders.knob_tops):
        left = faders.left + column * faders.pitch
        track_left = left + (faders.knob_width - faders.track_width) // 2
        fill(track_left, faders.top, faders.track_width, faders.height, (*NEUTRAL, 255))
        top = faders.top + knob_top
        fill(left, top - faders.gap, faders.knob_width, faders.knob_height + 2 * faders.gap, (0, 0, 0, 0))
        fill(left, top, faders.knob_width, faders.knob_height, (*ACCENT, 255))
    return rows


def encode_image(rows):
    """Returns one image as an icon file holds it: header, colours, then the mask, both bottom row first."""
    size = len(rows)
    colours = bytearray()
    mask = bytearray()
    mask_row_bytes = (size + 31) // 32 * 4
    for row in reversed(rows):
        bits = 0
        for red, green, blue, alpha in row:
            colours += bytes((blue, green, red, alpha))
            # Where alpha is not understood the mask alone decides, and a colour under a set bit would
            # invert the screen: only pixels that are wholly clear (and black) may set it.
            bits = bits << 1 | (alpha == 0)
        mask += (bits << (mask_row_bytes * 8 - size)).to_bytes(mask_row_bytes, "big")
    # The height counts colours and mask together.
    header = struct.pack("<IiiHHIIiiII", 40, size, 2 * size, 1, 32, 0, len(colours) + len(mask), 0, 0, 0, 0)
    return header + colours + mask


def encode_icon(images):
    """Returns an icon file with the given images, each a list of pixel rows, in their order."""
    blobs = [encode_image(rows) for rows in images]
    directory = struct.pack("<HHH", 0, 1, len(images))
    offset = len(directory) + 16 * len(images)
    for rows, blob in zip(images, blobs):
        directory += struct.pack("<BBBBHHII", len(rows), len(rows), 0, 0, 1, 32, len(blob), offset)
        offset += len(blob)
    return directory + b"".join(blobs)


def main():
    folder = Path(__file__).resolve().parent.parent / "resources"
    folder.joinpath("rescan.ico").write_bytes(encode_icon([draw_rescan(size) for size in RINGS]))
    folder.joinpath("editor.ico").write_bytes(encode_icon([draw_editor(size) for size in FADERS]))


if __name__ == "__main__":
    main()
