#!/usr/bin/env python3
"""Draws the icon of the Windows programs: a card with its chip. scripts/draw-icon.py FILE.ico

The result is platform/windows/kv500.ico, which has to be drawn anew only when this file changes.
"""
import struct
import sys

CARD = (0x2E, 0x6F, 0x9E)
STRIPE = (0x1F, 0x4E, 0x73)
CHIP = (0xE3, 0xB9, 0x4C)
CONTACT = (0x9C, 0x78, 0x22)
SAMPLES = 4  # in each direction, for smooth edges


def in_rounded(x, y, left, top, right, bottom, radius):
    if not (left <= x <= right and top <= y <= bottom):
        return False
    dx = max(left + radius - x, x - (right - radius), 0)
    dy = max(top + radius - y, y - (bottom - radius), 0)
    return dx * dx + dy * dy <= radius * radius


def colour(x, y):
    """The colour at a point of the unit square. None where the icon is transparent."""
    if not in_rounded(x, y, 0.03, 0.17, 0.97, 0.83, 0.09):
        return None
    if in_rounded(x, y, 0.14, 0.36, 0.40, 0.60, 0.04):
        return CONTACT if abs(y - 0.48) < 0.02 or abs(x - 0.27) < 0.02 else CHIP
    return STRIPE if 0.68 <= y <= 0.76 and 0.14 <= x <= 0.86 else CARD


def pixel(column, row, size):
    hits = [colour((column + (i + 0.5) / SAMPLES) / size, (row + (j + 0.5) / SAMPLES) / size)
            for i in range(SAMPLES) for j in range(SAMPLES)]
    seen = [hit for hit in hits if hit]
    if not seen:
        return b"\0\0\0\0"
    red, green, blue = (sum(channel) // len(seen) for channel in zip(*seen))
    return bytes((blue, green, red, 255 * len(seen) // len(hits)))


def image(size):
    """A picture of an icon file: bitmap header, pixels from the bottom up, an unused mask."""
    pixels = b"".join(pixel(x, y, size) for y in reversed(range(size)) for x in range(size))
    mask = bytes((size + 31) // 32 * 4 * size)
    header = struct.pack("<IiiHHIIiiII", 40, size, 2 * size, 1, 32, 0, len(pixels), 0, 0, 0, 0)
    return header + pixels + mask


def main():
    sizes = (16, 24, 32, 48)
    images = [image(size) for size in sizes]
    entries = b""
    offset = 6 + 16 * len(sizes)
    for size, data in zip(sizes, images):
        entries += struct.pack("<BBBBHHII", size, size, 0, 0, 1, 32, len(data), offset)
        offset += len(data)
    with open(sys.argv[1], "wb") as file:
        file.write(struct.pack("<HHH", 0, 1, len(sizes)) + entries + b"".join(images))


main()
