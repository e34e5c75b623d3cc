#!/usr/bin/env python3
"""Writes small PNG files of any depth and colour type with a fixed pattern, for the tool tests.

make_png.py OUT WIDTH HEIGHT CHANNELS DEPTH
"""
import struct
import sys
import zlib


def chunk(kind, data):
    body = kind + data
    return struct.pack(">I", len(data)) + body + struct.pack(">I", zlib.crc32(body) & 0xFFFFFFFF)


def main():
    out, width, height, channels, depth = sys.argv[1], *map(int, sys.argv[2:6])
    colour = {1: 0, 2: 4, 3: 2, 4: 6}[channels]
    rows = bytearray()
    for y in range(height):
        rows.append(0)
        for x in range(width):
            for c in range(channels):
                value = (x * 37 + y * 11 + c * 71) % (1 << depth)
                rows += value.to_bytes(depth // 8, "big")
    header = struct.pack(">IIBBBBB", width, height, depth, colour, 0, 0, 0)
    with open(out, "wb") as f:
        f.write(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) +
                chunk(b"IDAT", zlib.compress(bytes(rows))) + chunk(b"IEND", b""))


main()
