"""Runs programs side by side and keeps the rows of the table: what scripts/bench measures with."""
import os
import pathlib
import statistics
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
BUILD = ROOT / "build/bench"
PROGRAMS = BUILD / "bench"
CLIENT = BUILD / "zel-client"
DISK = BUILD / "scratch"
TMPFS = pathlib.Path(f"/dev/shm/zel-bench-{os.getpid()}")
ROUNDS = 21

rows = []


def row(metric, ours, peer, ratio, goal, met):
    rows.append((metric, ours, peer, ratio, goal, {True: "yes", False: "no", None: ""}[met]))
    print("  " + " | ".join(str(cell) for cell in rows[-1]), file=sys.stderr)


def environment_of(environment=None, preload=(), stub=True):
    env = {**os.environ, **(environment or {})}
    if stub:
        env["LD_LIBRARY_PATH"] = str(PROGRAMS / "stub")
    if preload:
        env["LD_PRELOAD"] = ":".join(str(PROGRAMS / (name + ".so")) for name in preload)
    return env


def run(arguments, environment=None, preload=(), stub=True):
    """Runs a program to its end; returns its wall time and processor time in seconds, and how often it called write."""
    env = environment_of(environment, preload, stub)
    files = [(os.POSIX_SPAWN_OPEN, 0, "/dev/null", os.O_RDONLY, 0),
             (os.POSIX_SPAWN_OPEN, 1, "/dev/null", os.O_WRONLY, 0)]
    start = time.monotonic()
    pid = os.posix_spawn(str(arguments[0]), [str(part) for part in arguments], env, file_actions=files)
    os.waitid(os.P_PID, pid, os.WEXITED | os.WNOWAIT)
    wall = time.monotonic() - start
    writes = int(pathlib.Path(f"/proc/{pid}/io").read_text().split("syscw: ")[1].split()[0])
    _, status, usage = os.wait4(pid, 0)
    if status != 0:
        sys.exit(f"scripts/bench: failed: {' '.join(map(str, arguments))}")
    return {"wall": wall, "cpu": usage.ru_utime + usage.ru_stime, "writes": writes}


def marginal(command, lengths, **how):
    """What one frame more adds: the difference of two runs. `command` makes the arguments for a number of frames."""
    short, long = (run(command(frames), **how) for frames in lengths)
    return {key: (long[key] - short[key]) / (lengths[1] - lengths[0]) for key in short}


def side_by_side(*sides, rounds=ROUNDS):
    """Calls every side in every round, in turns first. Returns a list of the rounds' results for each."""
    results = [[] for _ in sides]
    for number in range(rounds):
        order = list(range(len(sides)))
        for index in order if number % 2 == 0 else reversed(order):
            results[index].append(sides[index]())
    return results


def median_of(results, key):
    return statistics.median(result[key] for result in results)


def ratio_of(ours, peer, key):
    return statistics.median(a[key] / b[key] for a, b in zip(ours, peer))


def difference_of(ours, peer, key):
    return statistics.median(a[key] - b[key] for a, b in zip(ours, peer))


def microseconds(seconds):
    return f"{seconds * 1e6:.2f} µs"


def peak_memory(arguments, environment):
    """In KiB. The preloaded library is the client's, and is not seen in what it adds: both runs have it."""
    printed = subprocess.check_output([PROGRAMS / "peak_memory", *map(str, arguments)], stderr=subprocess.DEVNULL,
                                      env=environment_of(environment, ["no_sleep"]))
    return int(printed)
