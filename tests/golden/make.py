#!/usr/bin/env python3
"""Makes the recordings that the writer is compared with, straight from the tables of docs/avi-format.md."""

import pathlib
import struct


def number(value):
    return struct.pack("<I", value)


def chunk(code, body):
    return code + number(len(body)) + body


def header(frames, width, height, scale, rate):
    avih = struct.pack("<14I", scale, rate, 0, 0x10, frames, 0, 1, 0, width, height, 0, 0, 0, 0)
    strh = b"vidsMJPG" + struct.pack("<IHH8I", 0, 0, 0, 0, scale, 1000000, 0, frames, 0, 0, 0)
    strf = struct.pack("<IIIHH4sIIIII", 40, width, height, 1, 24, b"MJPG", width * height * 3, 0, 0, 0, 0)
    odml = chunk(b"LIST", b"odml" + chunk(b"dmlh", number(frames)))
    strl = chunk(b"LIST", b"strl" + chunk(b"strh", strh) + chunk(b"strf", strf) + odml)
    return chunk(b"LIST", b"hdrl" + chunk(b"avih", avih) + strl)


def recording(frames, width, height, fps):
    scale = 1000000 // fps
    padded = [frame + bytes(-len(frame) % 4) for frame in frames]
    data = sum(len(frame) for frame in padded)
    rate = data // len(padded) * 1000000 // scale if padded else 1000000
    movi = b"movi" + b"".join(chunk(b"00db", frame) for frame in padded)
    index, offset = b"", 4
    for frame in padded:
        index += b"00db" + struct.pack("<III", 0x12, offset, len(frame))
        offset += len(frame) + 8
    body = header(len(padded), width, height, scale, rate) + chunk(b"LIST", movi)
    body += chunk(b"idx1", index) if padded else b"idx1" + number(0) + b"00db" + number(0x12)
    return b"RIFF" + number(240 + 24 * len(padded) + data) + b"AVI " + body


here = pathlib.Path(__file__).parent
(here / "empty.avi").write_bytes(recording([], 640, 480, 25))
(here / "three-frames.avi").write_bytes(recording([b"x" * 1001, b"y" * 12, b"z" * 13], 320, 240, 7))
provisional = header(1, 1, 1, 1, 1000000) + b"LIST" + number(4) + b"movi"
(here / "provisional.avi").write_bytes(b"RIFF" + number(0) + b"AVI " + provisional)
