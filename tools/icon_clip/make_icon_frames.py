#!/usr/bin/env python3
"""Makes kxrtc/recording/icon_frames.cc, the built-in filler clip.

    tools/icon_clip/make_icon_frames.py kxrtc/recording/icon_frames.cc

Draws a "camera off" icon (640x360, dark ground), has x264 (Debian package x264) encode eight equal
pictures, and gives the stream the structure that the clip needs: x264 codes frame_num in 4 bits and
sends the PPS with the IDR picture only, so the rewriter widens frame_num to 8 bits, repeats the PPS
in every access unit and drops the encoder's text SEI. Clause numbers are those of ITU-T H.264.
"""

import math
import subprocess
import sys
import tempfile

WIDTH, HEIGHT, FRAMES = 640, 360, 8
FRAME_NUM_BITS_FROM, FRAME_NUM_BITS_TO = 4, 8
NAL_SLICE, NAL_IDR, NAL_SEI, NAL_SPS, NAL_PPS, NAL_AUD = 1, 5, 6, 7, 8, 9
SEI_PIC_TIMING = 1

GROUND_Y, DISC_Y, ICON_Y = 30, 47, 168  # Luma; the picture is grey with a breath of blue.
NEUTRAL, CB, CR = 128, 132, 126


# Drawing: signed distances in pixels, negative inside.

def rounded_box(x, y, cx, cy, half_width, half_height, radius):
    dx = abs(x - cx) - half_width + radius
    dy = abs(y - cy) - half_height + radius
    return math.hypot(max(dx, 0), max(dy, 0)) + min(max(dx, dy), 0) - radius


def segment(x, y, x0, y0, x1, y1, half_width):
    dx, dy = x1 - x0, y1 - y0
    t = max(0, min(1, ((x - x0) * dx + (y - y0) * dy) / (dx * dx + dy * dy)))
    return math.hypot(x - x0 - t * dx, y - y0 - t * dy) - half_width


def convex(x, y, points):
    """Distance to the farthest edge of a convex polygon, corners clockwise on the screen."""
    distance = -1e9
    for (x0, y0), (x1, y1) in zip(points, points[1:] + points[:1]):
        length = math.hypot(x1 - x0, y1 - y0)
        distance = max(distance, ((x - x0) * (y1 - y0) - (y - y0) * (x1 - x0)) / length)
    return distance


def luma(x, y):
    disc = math.hypot(x - 320, y - 180) - 92
    camera = min(rounded_box(x, y, 307, 180, 36, 27, 9),
                 convex(x, y, [(350, 176), (372, 161), (372, 199), (350, 184)]) - 3)
    slash = segment(x, y, 270, 130, 370, 230, 4)
    gap = segment(x, y, 270, 130, 370, 230, 10)
    icon = min(max(camera, -gap), slash)

    def cover(distance):
        return max(0.0, min(1.0, 0.5 - distance))

    value = GROUND_Y + (DISC_Y - GROUND_Y) * cover(disc)
    return round(value + (ICON_Y - value) * cover(icon))


def draw_picture():
    y_plane = bytes(luma(x + 0.5, y + 0.5) for y in range(HEIGHT) for x in range(WIDTH))
    chroma_size = WIDTH * HEIGHT // 4
    return y_plane + bytes([CB]) * chroma_size + bytes([CR]) * chroma_size


def encode(picture):
    with tempfile.TemporaryDirectory() as folder:
        with open(f"{folder}/in.yuv", "wb") as file:
            file.write(picture * FRAMES)
        subprocess.run(
            ["x264", "--quiet", "--profile", "high", "--level", "3.0", "--fps", "24", "--qp", "18",
             "--bframes", "0", "--ref", "2", "--weightp", "0", "--keyint", "infinite",
             "--scenecut", "0", "--aud", "--pic-struct", "--preset", "placebo", "--no-psy",
             "--threads", "1", "--input-res", f"{WIDTH}x{HEIGHT}", "--output", f"{folder}/out.264",
             f"{folder}/in.yuv"], check=True, stderr=subprocess.DEVNULL)
        with open(f"{folder}/out.264", "rb") as file:
            return file.read()


# Bits of an RBSP.

class Reader:
    def __init__(self, rbsp):
        self.bits = "".join(f"{byte:08b}" for byte in rbsp)
        self.position = 0

    def u(self, count):
        value = self.bits[self.position:self.position + count]
        self.position += count
        return value

    def ue(self):
        """One Exp-Golomb code as its bits (clause 9.1)."""
        zeros = 0
        while self.bits[self.position + zeros] == "0":
            zeros += 1
        return self.u(2 * zeros + 1)


def value_of(code):
    return int(code, 2) - 1


def code_of(value):
    suffix = f"{value + 1:b}"
    return "0" * (len(suffix) - 1) + suffix


def to_bytes(bits):
    return bytes(int(bits[i:i + 8], 2) for i in range(0, len(bits), 8))


def unescape(payload):
    return payload.replace(b"\0\0\3", b"\0\0")


def escape(rbsp):
    out = bytearray()
    for byte in rbsp:
        if byte <= 3 and out[-2:] == b"\0\0":
            out.append(3)
        out.append(byte)
    return bytes(out)


# The rewriting.

def split_nal_units(stream):
    units = []
    for piece in stream.split(b"\0\0\1")[1:]:
        units.append(piece.rstrip(b"\0"))
    return units


def rewrite_sps(nal):
    """Codes log2_max_frame_num_minus4 anew (clause 7.3.2.1.1, High profile without lists)."""
    reader = Reader(unescape(nal[1:]))
    head = reader.u(24)  # profile_idc, constraint flags, level_idc
    assert int(head[:8], 2) == 100
    head += "".join(reader.ue() for _ in range(4))  # ids, chroma format, bit depths
    head += reader.u(2)  # transform bypass, no scaling matrix
    assert value_of(reader.ue()) == FRAME_NUM_BITS_FROM - 4
    rest = reader.bits[reader.position:].rstrip("0")  # ends in rbsp_stop_one_bit
    bits = head + code_of(FRAME_NUM_BITS_TO - 4) + rest
    bits += "0" * (-len(bits) % 8)
    return nal[:1] + escape(to_bytes(bits))


def rewrite_slice(nal):
    """Widens frame_num in the slice header (clause 7.3.3); the CABAC data is copied."""
    idr = nal[0] & 31 == NAL_IDR
    reference = nal[0] >> 5 & 3
    reader = Reader(unescape(nal[1:]))
    out = reader.ue()  # first_mb_in_slice
    slice_type = reader.ue()
    out += slice_type + reader.ue()  # pic_parameter_set_id
    out += reader.u(FRAME_NUM_BITS_FROM).rjust(FRAME_NUM_BITS_TO, "0")
    is_p = value_of(slice_type) % 5 == 0
    if idr:
        out += reader.ue()  # idr_pic_id
    if is_p:
        override = reader.u(1)
        out += override
        if override == "1":
            out += reader.ue()
        modification = reader.u(1)
        assert modification == "0"
        out += modification
    if reference:
        marking = reader.u(2 if idr else 1)
        assert "1" not in marking
        out += marking
    if is_p:
        out += reader.ue()  # cabac_init_idc
    out += reader.ue()  # slice_qp_delta
    deblocking = reader.ue()
    out += deblocking
    if value_of(deblocking) != 1:
        out += reader.ue() + reader.ue()
    alignment = reader.u(-reader.position % 8)
    assert "0" not in alignment
    out += "1" * (-len(out) % 8)
    return nal[:1] + escape(to_bytes(out + reader.bits[reader.position:]))


def make_access_units(stream):
    access_units, pps = [], None
    for nal in split_nal_units(stream):
        kind = nal[0] & 31
        if kind == NAL_AUD:
            access_units.append([nal])
        elif kind == NAL_SPS:
            access_units[-1].append(rewrite_sps(nal))
        elif kind == NAL_PPS:
            pps = nal
        elif kind == NAL_SEI:
            if nal[1] != SEI_PIC_TIMING:
                continue
            access_units[-1] += [pps, nal]
        else:
            assert kind in (NAL_SLICE, NAL_IDR)
            access_units[-1].append(rewrite_slice(nal))
    return [b"".join(b"\0\0\0\1" + nal for nal in unit) for unit in access_units]


def write_source(path, access_units):
    with open(path, "w", encoding="ascii") as file:
        file.write("// Made by tools/icon_clip/make_icon_frames.py; do not edit.\n"
                   '#include "kxrtc/recording/icon_frames.h"\n\nnamespace kxrtc {\n\n')
        for number, unit in enumerate(access_units):
            file.write(f"const uint8_t kIconFrame{number}[] = {{\n")
            for start in range(0, len(unit), 16):
                row = ", ".join(f"0x{byte:02x}" for byte in unit[start:start + 16])
                file.write(f"    {row},\n")
            file.write("};\n\n")
        file.write("const IconFrame kIconFrames[kIconFrameCount] = {\n")
        for number in range(len(access_units)):
            file.write(f"    {{kIconFrame{number}, sizeof(kIconFrame{number})}},\n")
        file.write("};\n\n}  // namespace kxrtc\n")


def main():
    access_units = make_access_units(encode(draw_picture()))
    assert len(access_units) == FRAMES
    write_source(sys.argv[1], access_units)
    print("bytes per frame:", *map(len, access_units), "total:", sum(map(len, access_units)))


if __name__ == "__main__":
    main()
