"""A title on a long video, its frames shared out to every machine that there is: `python3 -m qxpixlib.farm --help`.

It needs Dask (distributed), PyAV and FFmpeg's programs, which the rest of qxpixlib does not.
"""


class JobError(Exception):
    """What ends a job, in a sentence for its user."""
