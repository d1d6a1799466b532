#!/usr/bin/env python3
"""Holds what kxrtc h264 says of streams that x264 makes against FFmpeg's own reading of them.

usage: h264_corpus.py KXRTC

For each stream: every NAL unit, each field of each parameter set, the slices' references and the
access units are those of FFmpeg's trace_headers; and the copy with rewritten parameter sets differs
in those alone, carries the restriction, and decodes to the same pictures. Prints one line a stream,
and those that differ; ends with status 1 then.
"""

import json
import re
import subprocess
import sys
import tempfile
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "testing"))
import json_outputs  # noqa: E402  Needs the path above.

SPS, PPS = 7, 8
FIELD = re.compile(r"^\s*(\d+)\s+(\w+(?:\[\w+\])*)\s+[01]+ = (-?\d+)$")
UNIT = re.compile(r"nal_unit_type: (\d+)\([^)]*\), nal_ref_idc: (\d)")


def x264(size="640x360", pixel="yuv420p", frames=12, extra=(), **params):
    """The arguments that make one stream; libx264's own options in `params`."""
    defaults = {"bframes": 0, "keyint": 8, "threads": 1}
    defaults.update(params)
    text = ":".join(f"{key.replace('_', '-')}={value}" for key, value in defaults.items())
    return ["-f", "lavfi", "-i", f"testsrc2=s={size}:r=25", "-frames:v", str(frames),
            "-pix_fmt", pixel, "-c:v", "libx264", "-preset", "veryfast", *extra,
            "-x264-params", text]


HRD = {"nal_hrd": "cbr", "bitrate": 500, "vbv_maxrate": 500, "vbv_bufsize": 500}
STREAMS = {
    "baseline": x264(extra=["-profile:v", "baseline"]),
    "main_b_frames": x264(extra=["-profile:v", "main"], bframes=3, b_pyramid="normal", frames=24),
    "high_1080_cropped": x264("1920x1080", frames=4, extra=["-profile:v", "high"]),
    "high_854": x264("854x480"),
    "high_322": x264("322x242", ref=5),
    "high10": x264(pixel="yuv420p10le"),
    "high422": x264("322x242", pixel="yuv422p"),
    "high444": x264("322x242", pixel="yuv444p"),
    "high422_10_fields": x264("854x480", pixel="yuv422p10le", tff=1),
    "interlaced_1080": x264("1920x1080", frames=4, bff=1),
    "interlaced_444": x264("322x242", pixel="yuv444p", tff=1),
    "monochrome": x264("322x242", pixel="gray"),
    "hrd": x264(**HRD),
    "hrd_aud_pic_struct": x264(aud=1, pic_struct=1, **HRD),
    "colours": x264(colorprim="bt709", transfer="bt709", colormatrix="bt709", chromaloc=2,
                    sar="64/45", overscan="show", fullrange="on"),
    "slices": x264(slices=4, frames=20),
    "references_b_frames": x264(ref=8, bframes=8, b_adapt=0, frames=30),
    "all_key_frames": x264(keyint=1),
    "open_gop": x264(open_gop=1, bframes=2, keyint=6, frames=24),
    "sps_identifier": x264(sps_id=5),
    "cavlc_weighted": x264(cabac=0, weightp=2),
    "scaling_lists": x264(cqm="jvt", extra=["-profile:v", "high"]),
}
# Their pictures are shown in another order than they are coded, so the restriction is not true.
REORDERED = ["main_b_frames", "references_b_frames", "open_gop"]
# Of these there are versions whose parameter sets have lost their VUI, or announce a reordering that
# does not happen; the latter at each position that the end of the VUI can have in its byte.
WITHOUT_VUI = ["baseline", "high_322", "high444", "interlaced_1080", "interlaced_444"]
TAILS = {f"tail_{sps_id}_{fullrange}": x264("322x244", frames=4, tff=1, sps_id=sps_id,
                                            fullrange=fullrange)
         for sps_id in (0, 1, 3, 7) for fullrange in ("off", "on")}
TAILS["tail_hrd"] = x264("322x244", frames=4, tff=1, **HRD)


def run(*command, statuses=(0,)):
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    json_outputs.keep(command, done.stdout)
    if done.returncode not in statuses:
        raise RuntimeError(f"{command[0]} ended with {done.returncode}: {done.stderr.decode()[-500:]}")
    return done


class Trace:
    """FFmpeg's reading: NAL units, parameter sets and slice headers in stream order, packets."""

    def __init__(self, path):
        log = run("ffmpeg", "-v", "repeat+trace", "-f", "h264", "-i", str(path), "-c", "copy",
                  "-bsf:v", "trace_headers", "-f", "null", "-").stderr.decode(errors="replace")
        self.units, self.packets, self.sections = [], [], []
        in_packet = False
        for line in log.splitlines():
            if not line.startswith("[trace_headers @"):
                continue
            text = line.split("] ", 1)[1]
            if text.startswith(("Extradata", "Packet:")):
                in_packet = text.startswith("Packet:")
                if in_packet:
                    size = int(re.search(r"(\d+) bytes", text).group(1))
                    self.packets.append((size, "key frame" in text))
            if not in_packet:
                continue
            unit, field = UNIT.match(text), FIELD.match(text)
            if unit:
                self.units.append((int(unit.group(1)), int(unit.group(2))))
            elif field:
                self.sections[-1][1].setdefault(field.group(2), int(field.group(3)))
                self.sections[-1][2].setdefault(field.group(2), int(field.group(1)))
            elif not text.startswith("Packet:"):
                self.sections.append((text.strip(), {}, {}))

    def all(self, name):
        return [fields for title, fields, _ in self.sections if title == name]


def expected_sps(fields):
    """The state that is to come of these elements; None where scaling lists stand in the way."""
    if fields.get("seq_scaling_matrix_present_flag"):
        return None
    chroma = fields.get("chroma_format_idc", 1)
    planes = fields.get("separate_colour_plane_flag", 0)
    frame = 2 - fields["frame_mbs_only_flag"]
    # The vertical crop of interlaced pictures with chroma is that of progressive ones, on purpose.
    across, down = {0: (1, frame), 1: (2, 2), 2: (2, 1), 3: (1, 1)}[0 if planes else chroma]
    crop = {side: fields.get(f"frame_crop_{side}_offset", 0)
            for side in ("left", "right", "top", "bottom")}
    state = {
        "width": 16 * (fields["pic_width_in_mbs_minus1"] + 1)
                 - across * (crop["left"] + crop["right"]),
        "height": 16 * frame * (fields["pic_height_in_map_units_minus1"] + 1)
                  - down * (crop["top"] + crop["bottom"]),
        "id": fields["seq_parameter_set_id"],
        "vui_params_present": fields["vui_parameters_present_flag"],
    }
    for name in ("delta_pic_order_always_zero_flag", "separate_colour_plane_flag",
                 "frame_mbs_only_flag", "log2_max_frame_num_minus4",
                 "log2_max_pic_order_cnt_lsb_minus4", "pic_order_cnt_type", "max_num_ref_frames"):
        state[name] = fields.get(name, 0)
    return state


def expected_pps(fields):
    state = {"id": fields["pic_parameter_set_id"], "sps_id": fields["seq_parameter_set_id"],
             "entropy_coding_mode_flag": bool(fields["entropy_coding_mode_flag"]),
             "weighted_pred_flag": bool(fields["weighted_pred_flag"])}
    state["bottom_field_pic_order_in_frame_present_flag"] = bool(
        fields["bottom_field_pic_order_in_frame_present_flag"])
    for name in ("weighted_bipred_idc", "pic_init_qp_minus26", "redundant_pic_cnt_present_flag"):
        state[name] = fields[name]
    return state


def split(data):
    """The stream as a list of start codes and NAL units in turns."""
    return re.split(rb"(\x00?\x00\x00\x01)", data)[1:]


def unescaped(payload):
    return re.sub(rb"\x00\x00\x03", b"\x00\x00", payload)


def escaped(rbsp):
    out, zeros = bytearray(), 0
    for byte in rbsp:
        if zeros >= 2 and byte <= 3:
            out.append(3)
            zeros = 0
        out.append(byte)
        zeros = zeros + 1 if byte == 0 else 0
    return bytes(out)


def change_sps(data, trace, change):
    """The same stream with each SPS, a string of bits without the trailing ones, changed."""
    places = [bits for title, _, bits in trace.sections if title == "Sequence Parameter Set"]
    parts = split(data)
    for i in range(1, len(parts), 2):
        if parts[i][0] & 31 != SPS:
            continue
        at = places.pop(0)
        old = "".join(f"{byte:08b}" for byte in unescaped(parts[i]))[:at["rbsp_stop_one_bit"]]
        bits = change(old, at) + "1"
        bits += "0" * (-len(bits) % 8)
        parts[i] = escaped(int(bits[j:j + 8], 2) for j in range(0, len(bits), 8))
    return b"".join(parts)


def without_vui(bits, at):
    return bits[:at["vui_parameters_present_flag"]] + "0"


def announcing_reordering(bits, at):
    return (bits[:at["max_num_reorder_frames"]] + "010" + bits[at["max_dec_frame_buffering"]:])


def picture_hashes(path):
    text = run("ffmpeg", "-v", "error", "-f", "h264", "-i", str(path), "-f", "framemd5",
               "-").stdout.decode()
    return [line.split(",")[-1].strip() for line in text.splitlines() if not line.startswith("#")]


def rewritten_bits(new, at, fields, parts):
    """Those of a rewritten SPS, and those that it is to have."""
    old = next(u for u in parts[1::2] if u[0] & 31 == SPS)
    code = f"{fields['max_num_ref_frames'] + 1:b}"
    expected = ("".join(f"{byte:08b}" for byte in unescaped(old))[:at["max_num_reorder_frames"]]
                + "1" + "0" * (len(code) - 1) + code)
    if at["rbsp_stop_one_bit"] % 8 != 0:
        expected += "1" + "0" * (-(at["rbsp_stop_one_bit"] + 1) % 8)
    expected += "0" * (-len(expected) % 8)
    found = "".join(f"{byte:08b}" for byte in unescaped(new))
    return found.rstrip("0"), expected.rstrip("0")


class Check:
    def __init__(self, name):
        self.name, self.failures = name, []

    def equal(self, what, found, expected):
        if found != expected:
            self.failures.append(f"{self.name}: {what}: {found} instead of {expected}")


def check_reading(check, lines, trace, data):
    units = [line for line in lines if "nal_unit" in line]
    access_units = [line for line in lines if "key_frame" in line]
    parts = split(data)
    offset = 0
    extents = []
    for start_code, unit in zip(parts[0::2], parts[1::2]):
        extents.append((offset, len(start_code), len(unit), unit[0] & 31, unit[0] >> 5))
        offset += len(start_code) + len(unit)
    check.equal("extents", [(u["offset"], u["start_code_size"], u["size"], u["type"],
                             u["nal_ref_idc"]) for u in units], extents)
    check.equal("types", [(u["type"], u["nal_ref_idc"]) for u in units], trace.units)
    check.equal("SPS", [u.get("sps") for u in units if u["type"] == SPS],
                [expected_sps(fields) for fields in trace.all("Sequence Parameter Set")])
    check.equal("PPS", [u.get("pps") for u in units if u["type"] == PPS],
                [expected_pps(fields) for fields in trace.all("Picture Parameter Set")])
    check.equal("slices", [u.get("pps_id") for u in units if u["type"] in (1, 5)],
                [fields["pic_parameter_set_id"] for fields in trace.all("Slice Header")])
    check.equal("access units", [u["size"] for u in access_units],
                [size for size, _ in trace.packets])
    idr = {u["access_unit"] for u in units if u["type"] == 5}
    check.equal("key frames", {u["access_unit"] for u in access_units if u["key_frame"]}, idr)


def check_rewriting(check, source, copy, lines, trace, count):
    """Returns how many parameter sets lost their trailing bits."""
    results = [line["rewriting"] for line in lines if line.get("type") == SPS]
    before, after = split(source.read_bytes()), split(copy.read_bytes())
    check.equal("number of units", len(after), len(before))
    expected = []
    for old, new, fields in zip([u for u in before[1::2] if u[0] & 31 == SPS],
                                [u for u in after[1::2] if u[0] & 31 == SPS],
                                trace.all("Sequence Parameter Set")):
        fine = (fields.get("bitstream_restriction_flag") and fields["max_num_reorder_frames"] == 0
                and fields["max_dec_frame_buffering"] <= fields["max_num_ref_frames"])
        if expected_sps(fields) is None:
            expected.append("failure")
        elif fields["pic_order_cnt_type"] > 1:
            expected.append("poc_type_ok")
        else:
            expected.append("vui_ok" if fine else "vui_rewritten")
        if expected[-1] != "vui_rewritten":
            check.equal("kept SPS", new, old)
    check.equal("results", results, expected)
    for i, (old, new) in enumerate(zip(before, after)):
        if i % 2 == 1 and old[0] & 31 == SPS:
            check.equal("SPS header", new[0], old[0])
        elif old != new and not (i % 2 == 0 and after[i - 1][0] & 31 == SPS):
            check.equal(f"bytes of part {i}", new[:20], old[:20])
    # Trailing bits that do not share a byte with the end of the VUI are dropped, on purpose. FFmpeg's
    # decoder does not miss them, but trace_headers refuses the whole stream.
    places = [bits for title, _, bits in trace.sections if title == "Sequence Parameter Set"]
    lost = sum(at["rbsp_stop_one_bit"] % 8 == 0 for at, result in zip(places, results)
               if result == "vui_rewritten")
    if lost == 0:
        fields = Trace(copy).all("Sequence Parameter Set")
        check.equal("readable parameter sets", len(fields), len(results))
        check.equal("restrictions",
                    [(f.get("max_num_reorder_frames"), f.get("max_dec_frame_buffering"))
                     for f, result in zip(fields, results) if result == "vui_rewritten"],
                    [(0, f["max_num_ref_frames"])
                     for f, result in zip(fields, results) if result == "vui_rewritten"])
    news = [u for u in after[1::2] if u[0] & 31 == SPS]
    for new, at, fields, result in zip(news, places, trace.all("Sequence Parameter Set"), results):
        if result == "vui_rewritten" and "max_num_reorder_frames" in at:
            check.equal("bits of an SPS", *rewritten_bits(new, at, fields, before))
    pictures, copied = picture_hashes(source), picture_hashes(copy)
    check.equal("decoded pictures of the source", len(pictures), count)
    if check.name not in REORDERED:
        check.equal("pictures", copied, pictures)
    return lost, results, len(pictures) - len(copied)


def check_stream(tool, path, name, count):
    check = Check(name)
    trace = Trace(path)
    copy = path.with_suffix(".copy.264")
    out = run(tool, "h264", str(path), "--json", "--rewrite-vui", str(copy),
              statuses=(0, 12)).stdout.decode()
    lines = [json.loads(line) for line in out.splitlines()]
    check_reading(check, lines, trace, path.read_bytes())
    lost, results, missing = check_rewriting(check, path, copy, lines, trace, count)
    print(f"{name}: {len(trace.units)} NAL units, {'/'.join(sorted(set(results)))}, "
          f"{lost} SPS without trailing bits, {missing} pictures fewer after the rewriting")
    return check.failures


def check_changed(tool, path, suffix, change, count):
    changed = path.with_name(f"{path.stem}_{suffix}.264")
    changed.write_bytes(change_sps(path.read_bytes(), Trace(path), change))
    return check_stream(tool, changed, changed.stem, count)


def check_errors(tool, folder):
    """What is refused, with which status and message; nothing is left of a refused copy."""
    check = Check("errors")
    good = folder / "good.264"
    good.write_bytes(b"\0\0\0\1\x67\x42\xc0\x1e\0\0\1\x65\x88\x84")
    inputs = {"empty": b"", "text": b"no video at all", "zeros": bytes(5000),
              "late": b"\x47" + good.read_bytes(), "hevc": b"\0\0\0\1\x40\x01\x0c\x01",
              "mpeg2": b"\0\0\1\xb3\x14\0\xf0"}
    for name, data in inputs.items():
        path = folder / name
        path.write_bytes(data)
        done = subprocess.run([tool, "h264", str(path), "--rewrite-vui", str(folder / "out")],
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        check.equal(name, (done.returncode, done.stdout.decode(), done.stderr.decode()),
                    (3, "", f"kxrtc: {path} is not an H.264 byte stream\n"))
    for name, text in (("missing", "cannot open"), (".", "cannot read")):
        done = subprocess.run([tool, "h264", str(folder / name)], stderr=subprocess.PIPE)
        check.equal(name, (done.returncode, text in done.stderr.decode()), (3, True))
    done = subprocess.run([tool, "h264", str(good), "--rewrite-vui", str(folder / "text")],
                          stderr=subprocess.PIPE, stdout=subprocess.DEVNULL)
    check.equal("existing copy", (done.returncode, (folder / "text").read_bytes()),
                (5, inputs["text"]))
    run(tool, "h264", str(good), "--rewrite-vui", str(folder / "text"), "--force")
    check.equal("replaced copy", (folder / "text").read_bytes(), good.read_bytes())
    check.equal("files", sorted(p.name for p in folder.iterdir()), sorted([*inputs, "good.264"]))
    return check.failures


def main():
    tool = sys.argv[1]
    with tempfile.TemporaryDirectory() as folder:
        failures = check_errors(tool, Path(folder))
    with tempfile.TemporaryDirectory() as folder:
        for name, arguments in STREAMS.items():
            path = Path(folder) / f"{name}.264"
            run("ffmpeg", "-v", "error", *arguments, "-f", "h264", str(path))
            count = int(arguments[arguments.index("-frames:v") + 1])
            failures += check_stream(tool, path, name, count)
            if name in WITHOUT_VUI:
                failures += check_changed(tool, path, "without_vui", without_vui, count)
        for name, arguments in TAILS.items():
            path = Path(folder) / f"{name}.264"
            run("ffmpeg", "-v", "error", *arguments, "-f", "h264", str(path))
            failures += check_changed(tool, path, "reordering", announcing_reordering, 4)
    for failure in failures:
        print(failure, file=sys.stderr)
    sys.exit(1 if failures else 0)


if __name__ == "__main__":
    main()
