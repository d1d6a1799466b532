"""The MP4 files that the players are tried with: records of each kind, and what transcode makes of them."""

import sys
from dataclasses import dataclass, field
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "reliability"))
from media import must_run, speaker_record  # noqa: E402  Finds the next one too.
from speaker_record import (ATTRIBUTES, AUDIO, CAMERA, CHANNEL, DESKTOP, FILES, START, STOP,  # noqa: E402
                            VIDEO, encode)

VIDEO_INTERVAL_US, AUDIO_INTERVAL_US = 41667, 21333
SHOT_SECONDS = 3
ENCODE = ("--preset", "ultrafast", "--no-hardware")
COPY = ("--video", "copy")
NO_VIDEO = ("--video", "none")


@dataclass
class Shot:
    """Somebody is seen for SHOT_SECONDS."""
    size: str
    rotation: int = 0
    profile: str = "high"
    b_frames: int = 0
    kind: int = CAMERA


@dataclass
class Output:
    """A line of the table."""
    what: str
    shots: list = field(default_factory=list)
    options: tuple = ()
    has_audio: bool = True
    name: str = "out.mp4"


def shots_of(media, shot):
    """The access units of a shot; encoded once."""
    path = media / f"{shot.size}-{shot.profile}-{shot.b_frames}.264"
    if not path.exists():
        must_run("ffmpeg", "-v", "error", "-f", "lavfi", "-i", f"testsrc2=size={shot.size}:rate=24",
                 "-t", SHOT_SECONDS, "-pix_fmt", "yuv420p", "-c:v", "libx264", "-preset", "veryfast",
                 "-profile:v", shot.profile, "-bf", shot.b_frames, "-g", "24",
                 "-x264-params", "aud=1:scenecut=0", "-f", "h264", path)
    return speaker_record.access_units(path.read_bytes())


def sound_of(media, seconds):
    path = media / f"{seconds}.adts"
    if not path.exists():
        must_run("ffmpeg", "-v", "error", "-f", "lavfi", "-i", "sine=sample_rate=48000", "-t", seconds,
                 "-ac", "2", "-c:a", "aac", "-f", "adts", path)
    return speaker_record.adts_frames(path.read_bytes())


def write_record(folder, media, output):
    """One session: the shots one after another, with sound from the first to the last; only sound
    where there is no shot."""
    events, video = [(0, START, (), None), (1, CHANNEL, (0,), None)], []
    for number, shot in enumerate(output.shots):
        begin = 10 + number * SHOT_SECONDS * 1000000
        width, height = map(int, shot.size.split("x"))
        events += [(begin, CHANNEL, (shot.kind,), None),
                   (begin + 1, ATTRIBUTES, (shot.rotation, width, height), None)]
        for position, picture in enumerate(shots_of(media, shot)):
            video.append(picture)
            events.append((begin + 2 + position * VIDEO_INTERVAL_US, VIDEO, (), picture))
    seconds = SHOT_SECONDS * max(1, len(output.shots))
    audio = sound_of(media, seconds) if output.has_audio else []
    events += [(10 + position * AUDIO_INTERVAL_US, AUDIO, (), frame)
               for position, frame in enumerate(audio)]
    events.sort(key=lambda event: event[:2])
    end_us = events[-1][0] + VIDEO_INTERVAL_US
    events.append((end_us, STOP, (), None))

    folder.mkdir()
    files = {kind: open(folder / FILES[name], "wb")
             for kind, name in ((VIDEO, "video"), (AUDIO, "audio"))}
    with open(folder / FILES["index"], "wb") as index:
        for time_us, kind, fields, frame in events:
            if frame is not None:
                fields = (files[kind].tell(), len(frame))
                files[kind].write(frame)
            index.write(encode(kind, time_us, *fields))
    for file in files.values():
        file.close()
    speaker_record.write_descriptor(folder, speaker_record.descriptor(
        [speaker_record.session(0, end_us, len(video), len(audio), max(1, len(output.shots)))],
        any(shot.kind == DESKTOP for shot in output.shots)))


def make_output(kxrtc, folder, media, output):
    """The path of the MP4."""
    folder.mkdir()
    write_record(folder / "record", media, output)
    must_run(kxrtc, "transcode", folder / "record", folder / output.name, "--quiet", "--no-sync",
             *output.options)
    return folder / output.name


def all_outputs():
    camera, small, portrait = Shot("640x360"), Shot("320x240", profile="main"), Shot("360x640")
    share = Shot("1280x720", profile="baseline", kind=DESKTOP)
    outputs = []
    for mode, options in (("encode", ENCODE), ("copy", COPY)):
        outputs += [Output(f"{mode}, {size}", [Shot(size)], options)
                    for size in ("160x120", "640x360", "1280x720", "1920x1080", "3840x2160")]
        outputs += [Output(f"{mode}, 640x360 turned by {angle} degrees", [Shot("640x360", angle)],
                           options) for angle in (90, 180, 270)]
        outputs += [
            Output(f"{mode}, 1920x1080 with B frames", [Shot("1920x1080", b_frames=2)], options),
            Output(f"{mode}, camera, share, another camera, upright camera",
                   [camera, share, small, portrait], options),
            Output(f"{mode}, no sound", [camera], options, has_audio=False),
            Output(f"{mode}, nobody is seen", [], options),
            # The key frames are a second apart, so a copy begins with a lead-in that is not shown.
            Output(f"{mode}, a part: 1.3 s to 7.6 s", [camera, share, small],
                   options + ("--from", "1.3", "--to", "7.6")),
            Output(f"{mode}, without 2.4 s to 4.1 s", [camera, share, small],
                   options + ("--cut", "2.4-4.1")),
        ]
    outputs += [
        Output("encode, of the size of the source, 3840x2160", [Shot("3840x2160")],
               ENCODE + ("--size", "source")),
        Output("encode, 1000x500 at 60 frames a second", [camera],
               ENCODE + ("--size", "1000x500", "--frame-rate", "60")),
        Output("sound only", [camera, share], NO_VIDEO, name="out.m4a"),
        Output("sound only, without 2.4 s to 4.1 s", [camera, share], NO_VIDEO + ("--cut", "2.4-4.1"),
               name="out.m4a"),
    ]
    return outputs
