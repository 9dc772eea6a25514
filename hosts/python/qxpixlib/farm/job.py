"""A job: its folder beside the file that it makes, the workers that fill it with parts, and the joining of those."""

from __future__ import annotations

import hashlib
import json
import os
import shutil
import signal
import socket
import time
from contextlib import contextmanager
from dataclasses import asdict, dataclass, replace
from multiprocessing import resource_tracker
from pathlib import Path
from typing import Any, Callable, Iterator

import av
import dask
from av import library_versions
from distributed import Client, LocalCluster, as_completed

from . import JobError
from .video import Look, Plan, Segment, Source, join, load_title, make_part, probe, segments

TRIES = 3  # of a segment

Tell = Callable[[str], None]


@dataclass(frozen=True)
class Job:
    """What all segments of a job have in common. Its folder, which every worker sees, has copies of its pictures."""

    folder: str
    plan: Plan
    has_matte: bool

    def part(self, segment: Segment) -> str:
        return f"{self.folder}/{segment.number:06}.nut"

    def make(self, segment: Segment) -> int:
        """A worker's task: makes a part, which appears whole or not at all, and returns how many frames it has."""
        # Of this attempt alone: a worker that was taken for dead may be at the same segment.
        attempt = f"{self.folder}/{segment.number:06}.{socket.gethostname()}.{os.getpid()}"
        matte = f"{self.folder}/matte.png" if self.has_matte else None
        title = load_title(self.plan, f"{self.folder}/title.png", matte)
        try:
            done = make_part(self.plan, title, segment, attempt)
            os.replace(attempt, self.part(segment))
        finally:
            Path(attempt).unlink(missing_ok=True)
        return done


def run(video: str, title: str, matte: str | None, out: str, look: Look, seconds: float, scheduler: str | None,
        workers: int, resume: bool, tell: Tell) -> None:
    """Makes the file, which appears whole or not at all."""
    source = probe(video)
    cut, tick, complaint = segments(source, seconds)
    plan = Plan(source, look, sum(len(s.times) for s in cut), tick.as_integer_ratio())
    if complaint:
        tell(f"{video} is damaged, and titled as far as it decodes: {complaint}\n")
    load_title(plan, title, matte)  # may refuse them
    if plan.pixel_format != source.pixel_format:
        tell(f"{look.codec} does not take {source.pixel_format}: the frames become {plan.pixel_format}\n")
    with _folder(out, resume) as folder:
        _describe(folder, source, look, seconds, title, matte)
        job = Job(folder, plan, matte is not None)
        whole = f"{folder}/whole{Path(out).suffix}"
        _try_first_frame(job, cut[0], whole)
        missing = [s for s in cut if not os.path.exists(job.part(s))]
        if missing:
            with _client(scheduler, min(workers, len(missing)), folder) as client:
                _make_parts(client, job, missing, tell)
        joined = join(source, [job.part(s) for s in cut], cut[-1], whole)
        os.replace(whole, out)
    lost = f"; {plan.frames - joined} did not decode" if joined != plan.frames else ""
    tell(f"{out}: {joined} frames{lost}\n")


@contextmanager
def _folder(out: str, resume: bool) -> Iterator[str]:
    """Beside the file; it is gone at the end, but where a job that may be resumed has not come to it."""
    folder = os.path.abspath(out) + ".parts"
    try:
        os.mkdir(folder)
    except FileExistsError as error:
        if not resume:
            raise JobError(f"{folder} is there: another job is at work, or one was cut off, which --resume takes up; "
                           "else remove it") from error
    except OSError as error:
        raise JobError(f"{folder} cannot be made: {error.strerror}") from error
    try:
        yield folder
    except BaseException:
        if not resume:
            shutil.rmtree(folder)
        raise
    shutil.rmtree(folder)


def _describe(folder: str, source: Source, look: Look, seconds: float, title: str, matte: str | None) -> None:
    """Says in the folder what its parts are of, or holds it against what is said there."""
    status = os.stat(source.path)
    pictures = {"title": Path(title).read_bytes()} | ({"matte": Path(matte).read_bytes()} if matte else {})
    described = json.loads(json.dumps({
        "video": [asdict(source), status.st_size, status.st_mtime_ns],
        "options": [asdict(look), seconds],
        "title": {name: hashlib.sha256(data).hexdigest() for name, data in pictures.items()},
        "FFmpeg": [av.__version__, library_versions],
    }))
    description = Path(folder, "job.json")
    if description.exists():
        there = json.loads(description.read_text())
        other = [name for name, value in described.items() if there.get(name) != value]
        if other:
            raise JobError(f"the parts in {folder} are of another {' and '.join(other)}: remove them, or choose another "
                           "OUT")
        return
    if os.listdir(folder):
        raise JobError(f"{folder} is not the folder of a job")
    for name, data in pictures.items():
        Path(folder, name + ".png").write_bytes(data)
    new = description.with_suffix(".new")
    new.write_text(json.dumps(described, indent=1))
    new.rename(description)


def _try_first_frame(job: Job, first: Segment, whole: str) -> None:
    """The whole way of one frame, before any worker: what cannot be done is said at once."""
    frame = replace(first, number=999999, end=(*first.times, first.end)[1], times=first.times[:1])
    if job.make(frame):
        join(job.plan.source, [job.part(frame)], frame, whole, seconds=1)
    os.remove(job.part(frame))


@contextmanager
def _client(scheduler: str | None, workers: int, folder: str) -> Iterator[Any]:
    """Of the cluster with this address, or of one on this machine's processors, which ends with it."""
    if scheduler is not None:
        try:
            client = Client(scheduler, timeout=5)
        except (OSError, ValueError) as error:
            raise JobError(f"no cluster answers at {scheduler}: {error}") from error
        with client:
            if not client.scheduler_info()["workers"]:
                raise JobError(f"the cluster at {scheduler} has no workers")
            yield client
        return
    with (
        dask.config.set({"distributed.scheduler.allowed-failures": TRIES - 1}),
        _no_interrupt_for_children(),
        LocalCluster(n_workers=workers, threads_per_worker=1, memory_limit=0, dashboard_address=None,
                     local_directory=folder, silence_logs="CRITICAL") as cluster,
        Client(cluster) as client,
    ):
        signal.pthread_sigmask(signal.SIG_UNBLOCK, {signal.SIGINT})
        yield client


@contextmanager
def _no_interrupt_for_children() -> Iterator[None]:
    """A terminal's Ctrl-C goes to all processes, and is this one's to handle: threads hand on to what they start
    that it is blocked."""
    resource_tracker.ensure_running()  # which would unblock it
    signal.pthread_sigmask(signal.SIG_BLOCK, {signal.SIGINT})
    try:
        yield
    finally:
        signal.pthread_sigmask(signal.SIG_UNBLOCK, {signal.SIGINT})


def _make_parts(client: Any, job: Job, missing: list[Segment], tell: Tell) -> None:
    start = time.monotonic()
    done, total = 0, sum(len(s.times) for s in missing)
    futures = dict(zip(client.map(job.make, missing, retries=TRIES - 1, pure=False), missing))
    try:
        for future in as_completed(futures):
            segment = futures[future]
            if future.status == "error":
                last = segment.first + len(segment.times) - 1
                raise JobError(f"frames {segment.first} to {last} failed {TRIES} times: {future.exception()}")
            done += len(segment.times)
            speed = done / (time.monotonic() - start)
            tell(f"\r{job.plan.frames - total + done} of {job.plan.frames} frames, {speed:.0f} a second, "
                 f"{(total - done) / speed:.0f} s left on {len(client.scheduler_info()['workers'])} workers   ")
    finally:
        tell("\n")
        client.cancel(list(futures))
