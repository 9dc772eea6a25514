"""The farm as its users start it: what it makes against what FFmpeg decodes of the source, and against one worker."""

import os
import re
import shutil
import signal
import subprocess
import sys
import time
from fractions import Fraction
from pathlib import Path

import numpy as np
import pytest

distributed = pytest.importorskip("distributed")
pytest.importorskip("av")
if not shutil.which("ffmpeg"):
    pytest.skip("ffmpeg is not installed", allow_module_level=True)

FARM = [sys.executable, "-m", "qxpixlib.farm"]


@pytest.fixture(scope="module")
def cluster():
    with distributed.LocalCluster(n_workers=2, threads_per_worker=1, dashboard_address=None) as cluster:
        yield cluster.scheduler_address


@pytest.fixture(autouse=True)
def scratch(tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)


def ffmpeg(*arguments):
    return subprocess.run(["ffmpeg", "-v", "error", "-nostdin", "-y", *map(str, arguments)], check=True,
                          stdout=subprocess.PIPE).stdout


def ffprobe(*arguments):
    return subprocess.run(["ffprobe", "-v", "error", *arguments], check=True, stdout=subprocess.PIPE, text=True).stdout


def png(path, picture):
    """Of uint32 pixels."""
    height, width = picture.shape
    subprocess.run(["ffmpeg", "-v", "error", "-y", "-f", "rawvideo", "-pix_fmt", "bgra", "-s", f"{width}x{height}",
                    "-i", "-", path], check=True, input=picture.astype("<u4").tobytes())


def source(path, seconds, *options, size="320x240", rate=25, sound=True):
    """Of FFmpeg's test picture, and a title for it."""
    silence = ["-f", "lavfi", "-i", "sine", "-c:a", "aac"] if sound else []
    ffmpeg("-f", "lavfi", "-i", f"testsrc2=size={size}:rate={rate}", *silence, "-t", seconds, "-g", 20,
           *("-c:v libx264 -preset veryfast -pix_fmt yuv420p".split()), *options, path)
    width, height = map(int, size.split("x"))
    title = np.zeros((height, width), np.uint32)
    title[height // 2 : height // 2 + 20, 30:-30] = 0x80FF8000
    png("title.png", title)


def farm(video, out, *options):
    subprocess.run([*FARM, video, "title.png", out, "--segment", "1", *map(str, options)], check=True)
    assert not os.path.exists(out + ".parts")


def frames(path, *options):
    """The time and the hash of each frame that decodes, the picture as it is coded."""
    lines = ffmpeg("-noautorotate", "-copyts", "-i", path, "-map", "0:v:0", "-vsync", "passthrough", *options,
                   "-f", "framemd5", "-").decode()
    tick = Fraction(re.search("#tb 0: (.*)", lines)[1])
    rows = [line.split(",") for line in lines.splitlines() if not line.startswith("#")]
    return [(int(row[2]) * tick, row[-1].strip()) for row in rows]


def times(path):
    return [time for time, _ in frames(path)]


# ---- workers ----


def start(*arguments):
    """As a terminal does, in a group of processes that get its signals."""
    return subprocess.Popen([*FARM, *arguments], start_new_session=True, stderr=subprocess.PIPE, text=True)


def wait_for(find, process):
    while process.poll() is None:
        found = find()
        if found:
            return found
        time.sleep(0.01)
    raise AssertionError(f"it ended before: {process.stderr.read()}")


def attempts(out):
    """Parts that workers are about to write, but that of the first frame."""
    return [a for a in Path(out + ".parts").glob("0*.*.*") if a.stat().st_size > 50000]


def parts(out):
    return sorted(Path(out + ".parts").glob("0*.nut"))


def test_a_worker_that_is_killed_at_its_work_loses_nothing():
    source("video.mkv", 8, size="640x360")
    fades = "--codec ffv1 --fade-in 30 --fade-out 30".split()
    process = start("video.mkv", "title.png", "out.mkv", "--workers", "2", "--segment", "2", *fades)
    for _ in range(100):
        attempt = wait_for(lambda: attempts("out.mkv"), process)[0]
        os.kill(int(attempt.name.rpartition(".")[2]), signal.SIGKILL)
        part = attempt.with_name(attempt.name.partition(".")[0] + ".nut")
        if attempt.exists() and not part.exists():
            break
    else:
        raise AssertionError("no worker was killed at its work")
    assert process.wait() == 0, process.stderr.read()
    subprocess.run([*FARM, "video.mkv", "title.png", "whole.mkv", "--workers", "1", "--segment", "1000", *fades], check=True)
    assert frames("out.mkv") == frames("whole.mkv")
    assert times("out.mkv") == times("video.mkv") and len(times("out.mkv")) == 200
    for beside in ("-vf", "crop=640:180:0:0"), ("-vf", "crop=30:360:0:0"):  # the title
        assert frames("out.mkv", *beside) == frames("video.mkv", *beside)


def test_one_worker_makes_what_two_make():
    source("video.mp4", 4.12)
    for n in 1, 2:
        farm("video.mp4", f"{n}.mp4", "--workers", n)
    assert frames("1.mp4", "-c", "copy") == frames("2.mp4", "-c", "copy")
    assert times("2.mp4") == times("video.mp4") and len(times("2.mp4")) == 103
    for video in "video.mp4", "2.mp4":
        ffmpeg("-i", video, "-map", "0:a", "-c", "copy", "-f", "framemd5", video + ".sound")
    assert Path("video.mp4.sound").read_text() == Path("2.mp4.sound").read_text()


def test_what_is_stopped_leaves_nothing_or_is_resumed():
    source("video.mkv", 6)
    common = "video.mkv", "title.png", "out.mkv", "--codec", "ffv1", "--segment", "1", "--workers", "1"
    for options, left in ((), False), (("--resume",), True):
        process = start(*common, *options)
        wait_for(lambda: parts("out.mkv"), process)
        os.killpg(process.pid, signal.SIGINT)
        said = process.communicate()[1]
        assert process.returncode == 130 and said.endswith("farm: stopped\n") and "Traceback" not in said
        assert os.path.exists("out.mkv.parts") == left and not os.path.exists("out.mkv")
        with pytest.raises(ProcessLookupError):  # its workers end, if a moment later
            for _ in range(1000):
                os.killpg(process.pid, 0)
                time.sleep(0.01)
    kept = parts("out.mkv")
    stamps = [part.stat().st_mtime_ns for part in kept]
    assert 1 <= len(kept) < 6
    for options, words in ((), "--resume takes up"), (("--resume", "--opacity", "99"), "of another options"):
        process = start(*common, *options)
        assert words in process.communicate()[1] and process.returncode == 1
    process = start(*common, "--resume")
    wait_for(lambda: len(parts("out.mkv")) > len(kept), process)
    assert [part.stat().st_mtime_ns for part in kept] == stamps
    assert process.wait() == 0 and times("out.mkv") == times("video.mkv")


def test_a_segment_that_always_fails_is_named(cluster):
    source("a.ts", 2, sound=False)
    source("b.ts", 2, size="160x120", sound=False)
    source("a.ts", 2, sound=False)
    Path("video.ts").write_bytes(Path("a.ts").read_bytes() + Path("b.ts").read_bytes())
    ffmpeg("-i", "video.ts", "-c", "copy", "video.mkv")
    process = start("video.mkv", "title.png", "out.mkv", "--segment", "1", "--scheduler", cluster)
    said = process.communicate()[1]
    assert process.returncode == 1 and re.search("frames (50|75) to .* failed 3 times: .* of 160 x 120", said)
    assert not os.path.exists("out.mkv") and not os.path.exists("out.mkv.parts")


# ---- sources ----


@pytest.mark.parametrize("name, seconds, options, count", [
    ("no_sound.mp4", 2.2, {"sound": False}, 55),
    ("shorter_than_a_segment.mov", 0.2, {}, 5),
    ("one_frame.mp4", 0.04, {"sound": False}, 1),
    ("open_groups.ts", 3, {}, 75),
])
def test_frames_of(name, seconds, options, count, cluster):
    x264 = ["-x264-params", "open-gop=1:bframes=3"] if "open" in name else []
    source(name, seconds, *x264, **options)
    farm(name, "out.mov", "--codec", "ffv1", "--scheduler", cluster)
    assert times("out.mov") == times(name) and len(times(name)) == count


def test_frames_of_a_file_that_is_cut_short(cluster):
    source("whole.mkv", 6)
    data = Path("whole.mkv").read_bytes()
    Path("video.mkv").write_bytes(data[: len(data) * 2 // 3])
    farm("video.mkv", "out.mkv", "--codec", "ffv1", "--scheduler", cluster)
    assert times("out.mkv") == times("video.mkv") and 50 < len(times("out.mkv")) < 150


def test_frames_at_any_time(cluster):
    source("video.mp4", 6, "-vf", "select='lt(random(0),0.4)',setpts=PTS+7", "-vsync", "passthrough", sound=False)
    farm("video.mp4", "out.mp4", "--scheduler", cluster)
    assert times("out.mp4") == times("video.mp4")
    assert len(set(np.diff(times("video.mp4")))) > 2
    duration = "-show_entries", "format=duration"  # with that of the last frame
    assert ffprobe(*duration, "out.mp4") == ffprobe(*duration, "video.mp4")


def test_what_a_player_is_told(cluster):
    source("flat.mp4", 2, *("-vf setsar=4/3,scale=out_color_matrix=bt709:out_range=pc -color_range pc -colorspace bt709 "
                            "-color_primaries bt709 -color_trc bt709 -metadata title=Name -metadata:s:a language=deu "
                            "-metadata:s:v language=fra").split())
    ffmpeg("-i", "flat.mp4", "-c", "copy", "-metadata:s:v", "rotate=90", "video.mp4")
    upright = np.zeros((320, 240), np.uint32)
    upright[10:30, 20:60] = 0xFFFFFFFF
    png("title.png", upright)
    farm("video.mp4", "out.mp4", "--scheduler", cluster)
    told = ("-show_entries", "stream=pix_fmt,sample_aspect_ratio,color_range,color_space,color_transfer,color_primaries"
            ":stream_side_data=rotation:stream_tags=language:format_tags=title")
    assert ffprobe(*told, "out.mp4") == ffprobe(*told, "video.mp4")
    # The title is where the viewer, for whom FFmpeg turns the picture here, expects it.
    shown = np.frombuffer(ffmpeg("-i", "out.mp4", "-frames:v", 1, "-f", "rawvideo", "-pix_fmt", "gray", "-"), np.uint8)
    assert shown.reshape(320, 240)[13:27, 23:57].min() > 250


# ---- pixels ----


def test_the_pixels_are_the_formula_s(cluster):
    """On frames that are BGRA already, with all options; of a width after whose last four there are two more."""
    width, height, count = 82, 50, 9
    random = np.random.default_rng(1)
    title = random.integers(0, 2**32, (height, width), np.uint32)
    title[:20], title[:, :30] = 0, 0
    matte = random.integers(0, 256, (height, width), np.uint32)
    ffmpeg("-f", "lavfi", "-i", f"testsrc2=size={width}x{height}:rate=3", "-frames:v", count, "-pix_fmt", "bgra",
           "-c:v", "ffv1", "video.mkv")
    png("title.png", title)
    png("matte.png", matte * 0x10101 | 0xFF000000)
    farm("video.mkv", "out.mkv", *f"--codec ffv1 --scheduler {cluster} --family lblend --opacity 200 --fade-in 3 "
         "--fade-out 2 --matte matte.png".split())
    before, after = (np.frombuffer(ffmpeg("-i", video, "-f", "rawvideo", "-pix_fmt", "bgra", "-"), np.uint8)
                     .reshape(count, height, width, 4).astype(int) for video in ("video.mkv", "out.mkv"))
    fg = title.view(np.uint8).reshape(height, width, 4).astype(int)
    opacities = [50, 100, 150, 200, 200, 200, 200, 133, 66]
    for n, opacity in enumerate(opacities):
        w = (fg[..., 3] * (matte.astype(int) * opacity // 256) // 256)[..., None]
        expected = fg * w // 256 + before[n] * (256 - w) // 256
        assert np.array_equal(after[n, ..., :3], expected[..., :3]), n


# ---- what is refused ----


@pytest.mark.parametrize("arguments, words", [
    ("none.mp4 title.png out.mp4", "none.mp4 is no file"),
    ("title.txt title.png out.mp4", "title.txt cannot be read as a video"),
    ("sound.wav title.png out.mp4", "sound.wav has no video"),
    ("video.mp4 title.txt out.mp4", "title.txt cannot be read as a PNG"),
    ("video.mp4 video.mp4 out.mp4", "video.mp4 is no PNG"),
    ("video.mp4 small.png out.mp4", "small.png is 8 x 8, and has to be 320 x 240"),
    ("video.mp4 small.png out.mp4 --matte none.png", "none.png is no file"),
    ("video.mp4 clear.png out.mp4", "shows nowhere"),
    ("video.mp4 title.png video.mp4", "video.mp4 would be written over"),
    ("video.mp4 title.png none/out.mp4", "cannot be made: No such file"),
    ("video.mp4 title.png out.mp4 --codec none", "no encoder that is called none"),
    ("video.mp4 title.png out.mp4 --codec ffv1", "Could not find tag for codec ffv1"),
    ("video.mp4 title.png out.none", "Unable to find a suitable output format"),
    ("rgb.mkv title.png out.mp4", "is RGB, which libx264 does not take"),
    ("turned.mp4 title.png out.mkv", "would not keep the rotation"),
    ("video.mp4 title.png out.mp4 --scheduler tcp://127.0.0.1:1", "no cluster answers"),
])
def test_is_refused(arguments, words):
    source("video.mp4", 0.2)
    ffmpeg("-i", "video.mp4", "-c", "copy", "-metadata:s:v", "rotate=180", "turned.mp4")
    ffmpeg("-i", "video.mp4", "-c:v", "ffv1", "-pix_fmt", "bgr0", "rgb.mkv")
    ffmpeg("-f", "lavfi", "-i", "sine", "-t", 1, "sound.wav")
    png("small.png", np.full((8, 8), 0xFFFFFFFF, np.uint32))
    png("clear.png", np.zeros((240, 320), np.uint32))
    Path("title.txt").write_text("title\n")
    before = {path: path.read_bytes() for path in Path().iterdir()}
    refused = subprocess.run([*FARM, *arguments.split()], stderr=subprocess.PIPE, text=True)
    assert refused.returncode == 1
    assert re.match("farm: .*" + words, refused.stderr) and "Traceback" not in refused.stderr
    assert {path: path.read_bytes() for path in Path().iterdir()} == before
