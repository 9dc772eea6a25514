#!/usr/bin/env python3
"""What 32 bits cost: how many times as long as the 64-bit build the 32-bit one takes, at 1920 pixels.

usage: compare_bits.py BENCH64 BENCH32 [--json]
"""
import json
import statistics
import subprocess
import sys

ROUNDS = 5


def measure(bench, case):
    """Seconds by kernel and build, and the run that they are of."""
    done = subprocess.run([bench, case, "--json"], stdout=subprocess.PIPE, check=False)
    if done.returncode != 0:
        sys.exit(f"{bench} {case!r} failed")
    run = json.loads(done.stdout)
    builds = (row for row in run["results"] if row["kind"] == "build")
    return {(row["kernel"], row["contender"]): row["seconds"] for row in builds}, run


def main():
    if len(sys.argv) < 3 or sys.argv[3:] not in ([], ["--json"]):
        sys.exit(__doc__)
    bench64, bench32 = sys.argv[1:3]
    seconds, run = measure(bench32, " 1920$")
    # A kernel's turns follow each other at once: the speed of a virtual machine changes with the seconds.
    ratios = {}
    kernels = list(dict.fromkeys(kernel for kernel, _ in seconds))
    for kernel in kernels:
        for _ in range(ROUNDS):
            seconds64, _ = measure(bench64, f"^{kernel} 1920$")
            for key, seconds32 in measure(bench32, f"^{kernel} 1920$")[0].items():
                ratios.setdefault(key, []).append(seconds32 / seconds64[key])
    medians = {key: statistics.median(values) for key, values in ratios.items()}
    if sys.argv[3:]:
        run["results"] = [{"kernel": kernel, "contender": build, "ratio": round(ratio, 4)}
                          for (kernel, build), ratio in medians.items()]
        json.dump(run, sys.stdout)
    else:
        for kernel in kernels:
            print(f"{kernel:15}", *(f" {key[1]} {ratio:5.2f}" for key, ratio in medians.items() if key[0] == kernel))


if __name__ == "__main__":
    main()
