"""The command: its arguments, and how it ends."""

from __future__ import annotations

import argparse
import os
import shutil
import signal
import sys
from pathlib import Path
from typing import Callable

from . import JobError

DESCRIPTION = """\
Lays a title over a video, in segments that are shared out to this machine's processors or to a cluster's, and joins
them without encoding them again. Sound, subtitles and attachments are copied; the frames' times, colour matrix and
range, aspect ratio, rotation and metadata are the source's. Where the title does not show, an encoder gets the bytes of
the source; where it does, 8 bits of each sample, composed as BGRA.
"""
EPILOG = """\
The parts lie in OUT.parts until all are done. A segment whose worker dies is done again; one that fails three times
ends the job. The exit status is 0 once OUT is there, 130 after Ctrl-C, else 1 or, for a wrong argument, 2.
"""


def number(least: float, most: float, kind: Callable[[str], float] = int) -> Callable[[str], float]:
    def parse(text: str) -> float:
        value = kind(text)
        if not least <= value <= most:
            raise argparse.ArgumentTypeError(f"{text} is not {least} to {most}")
        return value

    parse.__name__ = "number"
    return parse


def parse_arguments() -> argparse.Namespace:
    processors = len(os.sched_getaffinity(0))
    parser = argparse.ArgumentParser(prog="python3 -m qxpixlib.farm", description=DESCRIPTION, epilog=EPILOG,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    add = parser.add_argument
    add("video", metavar="VIDEO")
    add("title", metavar="TITLE.png", help="of the size of the video, as it is shown")
    add("out", metavar="OUT", help="its extension names the container: .mp4, .mkv, .mov")
    add("--matte", metavar="MATTE.png", help="where the title shows: white for all of it, black for nothing")
    add("--family", choices=["blend", "lblend", "sblend"], default="sblend", help="how it is composed (sblend)")
    add("--opacity", metavar="N", type=number(0, 256), default=256, help="of the title, 0 to 256 for full (256)")
    add("--fade-in", metavar="N", type=number(0, 10**6), default=0, help="frames over which it comes, and")
    add("--fade-out", metavar="N", type=number(0, 10**6), default=0, help="goes")
    add("--codec", metavar="NAME", default="libx264", help="one of FFmpeg's video encoders (libx264)")
    add("--quality", metavar="Q", type=number(0, 1000, float), help="the encoder's CRF, or its quantiser where it has no "
        "CRF; less is better (18 for libx264)")
    add("--segment", metavar="SECONDS", type=number(0.01, 10**9, float), default=5, help="that a task has (5)")
    where = parser.add_mutually_exclusive_group()
    where.add_argument("--workers", metavar="N", type=number(1, 1024), default=processors,
                       help=f"processes on this machine, of one thread each ({processors})")
    where.add_argument("--scheduler", metavar="ADDRESS", help="of a Dask cluster whose machines see the same files, such "
                       "as tcp://10.0.0.1:8786")
    add("--resume", action="store_true", help="keep the parts where the job ends early, and take up those that are there")
    return parser.parse_args()


def check_files(video: str, title: str, matte: str | None, out: str) -> None:
    for path in filter(None, (video, title, matte)):
        if not os.path.isfile(path):
            raise JobError(f"{path} is no file")
        if os.path.exists(out) and os.path.samefile(path, out):
            raise JobError(f"{path} would be written over")
    if os.path.isdir(out):
        raise JobError(f"{out} is a folder")
    for program in "ffmpeg", "ffprobe":
        if not shutil.which(program):
            raise JobError(f"{program} is not installed")


def tell(text: str) -> None:
    sys.stderr.write(text)
    sys.stderr.flush()


def main() -> int:
    arguments = parse_arguments()
    signal.signal(signal.SIGTERM, signal.default_int_handler)
    try:
        try:
            from .job import run
            from .video import Look
        except ImportError as error:
            raise JobError(f"Dask (distributed) and PyAV are needed: {error}") from error
        check_files(arguments.video, arguments.title, arguments.matte, arguments.out)
        look = Look(arguments.family, arguments.opacity, arguments.fade_in, arguments.fade_out, arguments.codec,
                    arguments.quality)
        run(os.path.abspath(arguments.video), arguments.title, arguments.matte, arguments.out, look, arguments.segment,
            arguments.scheduler, arguments.workers, arguments.resume, tell)
    except (JobError, OSError) as error:
        tell(f"farm: {error}\n")
        return 1
    except KeyboardInterrupt:
        tell("farm: stopped\n")
        return 130
    return 0


if __name__ == "__main__":
    sys.exit(main())
