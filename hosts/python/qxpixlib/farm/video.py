"""A video as the farm sees it: its frames' times, a segment of it made into a part, and the parts joined.

A segment is an interval of time, and every frame belongs to the one that its time lies in: whatever a decoder gives,
no frame is missing and none is there twice.
"""

from __future__ import annotations

import json
import logging
import os
import re
import subprocess
import tempfile
import warnings
from bisect import bisect_left, bisect_right
from dataclasses import dataclass
from fractions import Fraction
from itertools import pairwise
from math import gcd
from pathlib import Path
from typing import IO, Any, Iterator

import av
import numpy as np

from . import JobError
from .title import Title, load_png, opacity_of

# What a frame's place and colours depend on: FFprobe's name and the encoders' option.
_SHOWN_BY = {"sample_aspect_ratio": "aspect", "color_range": "color_range", "color_space": "colorspace",
             "color_primaries": "color_primaries", "color_transfer": "color_trc"}
_AS_OPTION = {"gbr": "rgb"}  # where the two differ
_UNSAID = {"sample_aspect_ratio": "1:1", "color_range": "tv"}
_MATRICES = {"bt709": "bt709", "smpte170m": "bt601", "bt470bg": "bt601", "fcc": "fcc", "smpte240m": "smpte240m",
             "bt2020nc": "bt2020", "gbr": "auto"}
_CRF_ENCODERS = {"libx264": 18, "libx265": 18, "libvpx-vp9": 24, "libsvtav1": 24, "libaom-av1": 24}  # and what is fine
_QUANTISER_STEP = 118  # FF_QP2LAMBDA

# FFmpeg's words go with its errors; what it mends itself is no news.
logging.getLogger("libav").addHandler(logging.NullHandler())
logging.getLogger("libav").propagate = False
warnings.filterwarnings("ignore", "Using CodecContext.time_base", av.deprecation.AVDeprecationWarning)  # of a copy's


@dataclass(frozen=True)
class Source:
    """What its container says of a video, as it is handed to workers: plain values alone."""

    path: str
    index: int  # of the video stream
    width: int  # as it is coded, before any rotation
    height: int
    pixel_format: str
    time_base: tuple[int, int]
    frame_rate: tuple[int, int]
    rotation: int
    shown_by: dict[str, str]
    tags: dict[str, str]
    disposition: str
    others: list[int]  # streams to be copied

    @property
    def tick(self) -> Fraction:
        return Fraction(*self.time_base)

    @property
    def matrix(self) -> str:
        """Where none is named, players take that of the picture's size."""
        return _MATRICES[self.shown_by.get("color_space", "bt709" if self.height > 576 else "smpte170m")]

    @property
    def colour_range(self) -> str:
        return "pc" if self.pixel_format.startswith("yuvj") else self.shown_by.get("color_range", "tv")


@dataclass(frozen=True)
class Segment:
    """The frames from one time (or the start of all, None) up to another, in ticks of the source."""

    number: int
    first: int  # frame, of the whole video
    start: int | None
    end: int | None
    key: int | None  # where decoding may begin; None for the video's start
    times: list[int]  # that its frames have by the source's index
    held: int  # how long its last frame is shown


@dataclass(frozen=True)
class Look:
    """How the title is laid, and what is made of it."""

    family: str
    opacity: int
    fade_in: int
    fade_out: int
    codec: str
    quality: float | None


@dataclass(frozen=True)
class Plan:
    """What all segments of a video have in common."""

    source: Source
    look: Look
    frames: int
    tick: tuple[int, int]  # an encoder's time base, in seconds: what all times are multiples of

    @property
    def pixel_format(self) -> str:
        """The source's, or the nearest that the encoder takes."""
        try:
            supported = [f.name for f in av.codec.Codec(self.look.codec, "w").video_formats or ()]
        except ValueError as error:
            raise JobError(f"FFmpeg has no encoder that is called {self.look.codec}") from error
        own = self.source.pixel_format
        if av.VideoFormat(own).is_rgb and supported:
            for wanted in (own, "bgr0", "bgra", "gbrp", "rgb24"):
                if wanted in supported:
                    return wanted
            raise JobError(f"the video is RGB, which {self.look.codec} does not take; ffv1 and libx264rgb do")
        eight_bits = re.sub(r"(p?)(\d\d)?(le|be)?$", "p", own) if own.startswith("yuv") else own
        for wanted in (own, own.replace("yuvj", "yuv"), eight_bits, eight_bits.replace("yuva", "yuv"), "yuv420p"):
            if not supported or wanted in supported:
                return wanted
        return str(supported[0])


# ---- the source ----


def probe(path: str) -> Source:
    said = _ffprobe("-show_streams", path)
    streams = said["streams"]
    videos = [s for s in streams if s["codec_type"] == "video" and not s["disposition"]["attached_pic"]]
    if not videos:
        raise JobError(f"{path} has no video")
    video = videos[0]
    if "width" not in video or "pix_fmt" not in video:
        raise JobError(f"{path} has no video that FFmpeg can decode")
    shown_by = {name: video[name] for name in _SHOWN_BY if video.get(name, "unknown") not in ("unknown", "N/A", "0:1")}
    if shown_by.get("color_space", "bt709") not in _MATRICES:
        raise JobError(f"{path} has the colour matrix {shown_by['color_space']}, which is not supported")
    return Source(
        path=path,
        index=video["index"],
        width=video["width"],
        height=video["height"],
        pixel_format=video["pix_fmt"],
        time_base=Fraction(video["time_base"]).as_integer_ratio(),
        frame_rate=_rate(video).as_integer_ratio(),
        rotation=_rotation(video),
        shown_by=shown_by,
        tags={k: v for k, v in video.get("tags", {}).items() if k in ("language", "title", "handler_name", "timecode")},
        disposition="+".join(name for name, is_set in video["disposition"].items() if is_set) or "0",
        others=[s["index"] for s in streams
                if s["codec_type"] in ("audio", "subtitle", "attachment") or s["disposition"]["attached_pic"]],
    )


def segments(source: Source, seconds: float) -> tuple[list[Segment], Fraction, str]:
    """The source, cut so that the frames of a segment begin within so many seconds; the longest tick that counts all
    times; and what FFprobe complains of."""
    packets, complaint = _packets(source)
    packets.sort()
    times = [pts for pts, _, _ in packets]
    keys = [pts for pts, _, is_key in packets if is_key]
    if not times:
        raise JobError(f"{source.path} has no frames: {complaint}".removesuffix(": "))
    if times[0] < 0 or any(a == b for a, b in pairwise(times)):
        raise JobError(f"{source.path} has frames before its start, or two at one time")
    firsts = [0]
    for n, time in enumerate(times):
        if (time - times[firsts[-1]]) * source.tick >= seconds:
            firsts.append(n)
    cut = []
    for number, (first, end) in enumerate(pairwise([*firsts, len(times)])):
        key = bisect_right(keys, times[first]) - 1
        cut.append(Segment(number, first, times[first] if first else None, times[end] if end < len(times) else None,
                           keys[key] if key > 0 else None, times[first:end], packets[end - 1][1]))
    # Of a damaged source, frames may come at other times than its packets.
    return cut, source.tick * (1 if complaint else gcd(*times) or 1), complaint


def _packets(source: Source) -> tuple[list[tuple[int, int, bool]], str]:
    """Each frame's time and duration, and whether decoding can begin there; and what FFprobe complains of."""
    said = subprocess.run(
        ["ffprobe", "-v", "error", "-select_streams", str(source.index), "-show_entries", "packet=pts,duration,flags",
         "-of", "csv=print_section=0", "-i", source.path], capture_output=True, text=True)
    usual = max(round(1 / (Fraction(*source.frame_rate) * source.tick)), 1)
    packets = []
    for line in said.stdout.split():
        pts, duration, flags = line.split(",")[:3]
        if "D" in flags:  # decoded, and not shown
            continue
        if pts == "N/A":
            raise JobError(f"{source.path} has frames without a time; they get one from: "
                           f"ffmpeg -fflags +genpts -i {source.path} -map 0 -c copy COPY.mkv")
        packets.append((int(pts), usual if duration == "N/A" else int(duration), "K" in flags))
    return packets, said.stderr.strip().partition("\n")[0]


def _ffprobe(what: str, path: str) -> Any:
    said = subprocess.run(["ffprobe", "-v", "error", what, "-of", "json", "-i", path], capture_output=True, text=True)
    if said.returncode:
        raise JobError(f"{path} cannot be read as a video: {said.stderr.strip()}")
    return json.loads(said.stdout)


def _rate(video: dict[str, str]) -> Fraction:
    for rate in video["avg_frame_rate"], video["r_frame_rate"]:
        if not rate.endswith("/0") and Fraction(rate) > 0:
            return Fraction(rate)
    return Fraction(25)


def _rotation(video: dict[str, Any]) -> int:
    return next((side["rotation"] for side in video.get("side_data_list", ()) if "rotation" in side), 0)


# ---- the title of a source ----


def load_title(plan: Plan, title: str, matte: str | None) -> Title:
    """Its pictures have the size of the video as it is shown, and are turned as the video is coded."""
    source = plan.source
    quarters = source.rotation // 90 if source.rotation % 90 == 0 else 0
    shown = (source.width, source.height) if quarters % 2 == 0 else (source.height, source.width)
    pictures = []
    for path in filter(None, (title, matte)):
        picture = load_png(path)
        height, width = picture.shape
        if (width, height) != shown:
            raise JobError(f"{path} is {width} x {height}, and has to be {shown[0]} x {shown[1]} as the video")
        pictures.append(np.ascontiguousarray(np.rot90(picture, -quarters)))
    return Title(pictures[0], pictures[1] if matte else None, plan.look.family, source.pixel_format,
                 plan.pixel_format, source.matrix, source.colour_range)


# ---- a segment into a part ----


def make_part(plan: Plan, title: Title, segment: Segment, path: str) -> int:
    """Writes a segment, titled and encoded, and returns how many frames it has. It ends where the file is removed."""
    try:
        times = _encode(plan, title, segment, path, segment.key)
        if times != segment.times and segment.key is not None:
            # Not what the index says: the file is damaged or seeks badly. What comes from its start is what there is.
            times = _encode(plan, title, segment, path, None)
    except av.error.FFmpegError as error:
        raise JobError(str(error)) from error  # which other processes can be told
    return len(times)


def _encode(plan: Plan, title: Title, segment: Segment, path: str, key: int | None) -> list[int]:
    source, look = plan.source, plan.look
    times: list[int] = []
    encoded: list[Fraction] = []
    with open(path, "wb") as file, av.open(file, "w", "nut", options={"avoid_negative_ts": "disabled"}) as part:
        stream = part.add_stream(look.codec, rate=Fraction(*source.frame_rate))
        stream.width, stream.height, stream.pix_fmt = source.width, source.height, plan.pixel_format
        stream.codec_context.time_base = Fraction(*plan.tick)
        stream.codec_context.thread_count = 1  # each processor has a segment of its own; and the bytes depend on it
        shown_by = {_SHOWN_BY[name]: _AS_OPTION.get(value, value) for name, value in source.shown_by.items()}
        stream.options = shown_by | _encoder_options(look)

        def write(frame: Any) -> None:
            for packet in stream.encode(frame):
                encoded.append(packet.pts * packet.time_base)
                part.mux(packet)

        for frame in _decoded(source, segment, key):
            if not os.path.exists(path):
                raise JobError("the job was ended")
            n = segment.first + bisect_left(segment.times, frame.pts)
            titled = title.laid_over(frame, opacity_of(n, plan.frames, look.opacity, look.fade_in, look.fade_out))
            titled.pts, titled.time_base = frame.pts, source.tick
            times.append(frame.pts)
            write(titled)
        if times:
            write(None)
            if stream.codec_context.options:
                raise JobError(f"{look.codec} does not know {', '.join(stream.codec_context.options)}")
    if sorted(encoded) != [time * source.tick for time in times]:
        raise JobError(f"the encoder made {len(encoded)} of {len(times)} frames, or not at their times")
    return times


def _encoder_options(look: Look) -> dict[str, str]:
    options = {}
    if look.codec == "libx264" and "avx512" in Path("/proc/cpuinfo").read_text():
        options["x264-params"] = "asm=avx2"  # by AVX-512 its bytes depend on what the memory held before
    if look.codec in _CRF_ENCODERS:
        quality = _CRF_ENCODERS[look.codec] if look.quality is None else look.quality
        options |= {"crf": f"{quality:g}", "b": "0"}  # no bit rate to aim for
    elif look.quality is not None:
        options |= {"flags": "+qscale", "global_quality": str(round(look.quality * _QUANTISER_STEP))}
    return options


def _decoded(source: Source, segment: Segment, key: int | None) -> Iterator[Any]:
    """The segment's frames, in the order of their times."""
    last = -1
    with av.open(source.path) as file:
        stream = file.streams[source.index]
        stream.codec_context.thread_count = 1
        if key is not None:
            file.seek(key, stream=stream)
        for frame in _all_that_decodes(file, stream):
            if frame.pts is None or frame.pts <= last:
                if key is None:
                    raise JobError(f"a frame after {float(last * source.tick):.2f} s has no time of its own")
                continue
            last = frame.pts
            if segment.start is not None and frame.pts < segment.start:
                continue
            if segment.end is not None and frame.pts >= segment.end:
                return
            if (frame.width, frame.height, frame.format.name) != (source.width, source.height, source.pixel_format):
                raise JobError(f"a frame at {float(frame.pts * source.tick):.2f} s is {frame.format.name} of "
                               f"{frame.width} x {frame.height}, unlike the video")
            yield frame


def _all_that_decodes(file: Any, stream: Any) -> Iterator[Any]:
    packets = file.demux(stream)
    while True:
        try:
            packet = next(packets, None)
        except av.error.InvalidDataError:  # the file is cut short here
            packet = None
        try:
            yield from stream.decode(packet)
        except av.error.EOFError:
            return
        except av.error.FFmpegError:  # a damaged packet
            continue
        if packet is None:
            return


# ---- parts into the whole ----


def join(source: Source, parts: list[str], last: Segment, out: str, seconds: float | None = None) -> int:
    """Writes the parts as one video, with what else the source has (or its first seconds), and returns how many frames
    it has. None is encoded again; all are there at the times that they have in the source."""
    end, held = (last.times[-1] - Fraction(1, 2)) * source.tick, last.held * source.tick  # parts do not say how long
    command = ["ffmpeg", "-v", "error", "-y", "-copyts"]
    command += ["-thread_queue_size", "1024", "-f", "nut", "-i", "pipe:0"]  # at 8 packets it sleeps more than it works
    command += [f"-discard:{source.index}", "all"]
    if seconds is not None:
        command += ["-t", str(seconds)]
    command += ["-i", source.path, "-map", "0:v"]
    for index in source.others:
        command += ["-map", f"1:{index}"]
    command += ["-map_metadata", "1", "-map_chapters", "1", "-c", "copy", "-disposition:v:0", source.disposition]
    duration = f"if(gte(PTS*TB\\,{float(end)})\\,{float(held)}/TB\\,DURATION)"
    command += ["-bsf:v:0", f"setts=pts=PTS:dts=DTS:duration={duration}"]
    command += ["-avoid_negative_ts", "disabled"]  # sound may begin before its video, which keeps its times
    for name, value in source.shown_by.items():
        if name == "sample_aspect_ratio":  # the option is for the picture's, in numbers to 255
            picture = Fraction(value.replace(":", "/")) * Fraction(source.width, source.height)
            if value == "1:1" or max(picture.as_integer_ratio()) > 255:
                continue
            value = f"{picture.numerator}:{picture.denominator}"
        command += [f"-{_SHOWN_BY[name]}:v:0", _AS_OPTION.get(value, value)]
    for name, value in source.tags.items():
        command += ["-metadata:s:v:0", f"{name}={value}"]
    if source.rotation:
        command += ["-metadata:s:v:0", f"rotate={source.rotation}"]
    if out.endswith((".mp4", ".mov", ".m4v")):
        command += ["-movie_timescale", str(source.tick.denominator)]  # in which these count what comes before the start
    with tempfile.TemporaryFile("w+") as said:
        with subprocess.Popen([*command, out], stdin=subprocess.PIPE, stderr=said) as ffmpeg:
            assert ffmpeg.stdin
            try:
                times = _write_one_after_another(parts, ffmpeg.stdin)
            except BrokenPipeError:
                times = []  # FFmpeg has ended, and says why
            except av.error.FFmpegError as error:
                raise JobError(str(error)) from error
        said.seek(0)
        if ffmpeg.returncode or not times:
            raise JobError(said.read().strip().replace("\n", "; ") or "no frame decodes")
    _check(source, times, out)
    return len(times)


def _write_one_after_another(parts: list[str], file: IO[bytes]) -> list[Fraction]:
    """The times of all frames."""
    times = []
    stream = None
    with av.open(file, "w", "nut", options={"avoid_negative_ts": "disabled"}) as whole:
        for path in parts:
            if not os.path.getsize(path):  # none of its frames decodes
                continue
            with av.open(path) as part:
                own = part.streams.video[0]
                if stream is None:
                    stream = whole.add_stream(template=own)
                    header = own.codec_context.extradata
                if own.codec_context.extradata != header:
                    raise JobError(f"{path} is encoded in another way than the part before it")
                for packet in part.demux(own):
                    if packet.size:
                        times.append(packet.pts * packet.time_base)
                        if len(times) == 1:
                            stream.time_base = packet.time_base
                        packet.stream, packet.dts = stream, None  # which follows from the times
                        whole.mux(packet)
    return sorted(times)


def _check(source: Source, times: list[Fraction], out: str) -> None:
    """That the file has what was meant to be there, as far as its container can say it."""
    made = probe(out)
    for name, value in source.shown_by.items():
        if made.shown_by.get(name, _UNSAID.get(name)) != value:
            raise JobError(f"it would not keep the {name} {value}: choose another codec or container")
    if made.rotation != source.rotation:
        raise JobError(f"it would not keep the rotation by {source.rotation} degrees: choose another container")
    packets, _ = _packets(made)
    found = sorted(pts * made.tick for pts, _, _ in packets)
    if len(found) != len(times) or any(abs(a - b) * 2 > made.tick for a, b in zip(found, times)):
        raise JobError(f"it got {len(found)} of {len(times)} frames, or not at their times")
