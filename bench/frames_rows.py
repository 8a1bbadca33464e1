"""The rows of zel-frames in the table of scripts/bench."""
import re
import statistics
import subprocess

from measuring import (BUILD, CLIENT, DISK, PROGRAMS, difference_of, environment_of, median_of, microseconds,
                       peak_memory, ratio_of, row, run, side_by_side)

FRAMES = BUILD / "zel-frames"
RECORDS = 10_000_000
LINES = 1_000_000
PICTURES = 20_000
WATCHED = 600
SMALL_PICTURES = 1_000_000
FEW = 1000
ROUNDS = 5
# What docs/tutorial.md once did by hand: a sidecar as a table.
TABLE = ("od -An -v -t u4 -w24 \"$0\" | awk 'NF == 6 "
         "{ printf \"%d %d %.0f %.0f %d\\n\", NR - 1, $1, $3 + $4 * 4294967296, at, $5; at += $5 }'")


def captures(kind, file, count, environment=None):
    run([PROGRAMS / "captures", kind, file, count], environment=environment)
    return file


def code(name, count, *arguments):
    """H.264 as the software camera codes it, with its sidecar."""
    keys = DISK / "camera.ini"
    keys.write_text("[camera]\npacing = virtual\n")
    coded = DISK / name
    run([CLIENT, "-q", "-m", "-n", count, "-o", coded, "--framerate=30", "--rc.mode=vbr", *arguments],
        environment={"ZEL_CAMERA": str(keys)}, stub=False)
    return {"ZEL_STUB_STREAM": str(coded)}


def make_captures():
    """A sidecar, a console text, and 1080p H.264 with its sidecar, coded by the software camera and repeated."""
    coded = code("coded.h264", 120, "-b", 3932160, 1920, 1080)
    return (captures("sidecar", DISK / "long.meta", RECORDS), captures("text", DISK / "run.txt", LINES),
            captures("stream", DISK / "long.h264", PICTURES, coded))


def make_movies():
    """Matroska files of a few small frames and of many."""
    coded = code("small-coded.h264", 300, "-b", 20000, 64, 64)
    movies = []
    for count in (FEW, SMALL_PICTURES):
        stream = captures("stream", DISK / f"small-{count}.h264", count, coded)
        movies.append(stream.with_suffix(".mkv"))
        run([FRAMES, "mux", "-o", movies[-1], stream], stub=False)
    return movies


def seconds(value):
    return f"{value:.3f} s"


def compare(metric, ours, peers, how=None):
    """A row for each peer: its name, its command, and the least times that we are faster, or None: we take at most
    1.15 times its time."""
    sides = [lambda command=command: run(command, environment=how, stub=False)
             for command in (ours, *(command for _, command, _ in peers))]
    own, *results = side_by_side(*sides, rounds=ROUNDS)
    for (name, _, least), peer in zip(peers, results):
        times = seconds(median_of(own, "cpu")), f"{seconds(median_of(peer, 'cpu'))} {name}"
        ratio = ratio_of(own, peer, "cpu")
        if least is None:
            row(metric, *times, f"{ratio:.2f}", "at most 1.15", ratio <= 1.15)
        else:
            row(metric, *times, f"{1 / ratio:.2f} times faster", f"at least {least}", 1 / ratio >= least)


def measure_speed(sidecar, text, stream):
    compare("stats of a sidecar of 10 000 000 records", [FRAMES, "stats", sidecar],
            [("md5sum", ["/usr/bin/md5sum", sidecar], 1)])
    compare("list --csv of the same", [FRAMES, "list", "--csv", sidecar],
            [("od and awk", ["/bin/sh", "-c", TABLE, sidecar], 10)])
    compare("stats of a console text of 1 000 000 lines", [FRAMES, "stats", text],
            [("awk, the sum of a column", ["/usr/bin/awk", "{ sum += $13 } END { print sum }", text], 2)])
    compare("stats of 20 000 frames of raw 1080p with sidecar", [FRAMES, "stats", stream],
            [("ffprobe", ["/usr/bin/ffprobe", "-v", "error", "-show_entries", "packet=pts,size", stream], 8)])
    ours, peer = DISK / "ours.mkv", DISK / "peer.mkv"
    ffmpeg = ["/usr/bin/ffmpeg", "-nostdin", "-v", "quiet", "-y", "-framerate", "30", "-i", stream, "-c", "copy", peer]
    compare("mux of the same to Matroska", [FRAMES, "mux", "--force", "-o", ours, stream],
            [("ffmpeg -c copy", ffmpeg, 1.5),
             ("mkvmerge", ["/usr/bin/mkvmerge", "-q", "-o", peer, stream], 1.5),
             ("libavformat, the same packets", [PROGRAMS / "mux_packets", peer, PICTURES], None)],
            {"ZEL_STUB_STREAM": str(stream)})


def measure_memory(what, few, many, count):
    """Rows for what a frame adds to the peak: `many` has `count` frames, `few` has FEW."""
    for name, command in (("list", ["list", "--csv"]), ("stats", ["stats"]), ("check", ["check"])):
        start, peak = (peak_memory([FRAMES, *command, file], {}) for file in (few, many))
        each = (peak - start) * 1024 / (count - FEW)
        row(f"memory a frame, {name} of {what}", f"{each:.1f} B", f"{start / 1024:.1f} MiB at the start", "",
            "at most 64 B", each <= 64)


def latencies(reader=None):
    """A run of the client in real time, its text through a pipe into a reader that keeps it, or straight into a file:
    median and 99th percentile of the latencies that its lines tell, in seconds."""
    text = DISK / "watched.txt"
    keys = DISK / "scripted.ini"
    keys.write_text("[camera]\nproducer = scripted\n")
    environment = environment_of({"ZEL_CAMERA": str(keys)}, stub=False)
    client = ["/usr/bin/stdbuf", "-oL", CLIENT, "-n", str(WATCHED), "--framerate=200", "640", "360"]
    with open(text, "wb") as kept:
        if reader is None:
            subprocess.run(client, env=environment, stdin=subprocess.DEVNULL, stdout=kept, check=True)
        else:
            writer = subprocess.Popen(client, env=environment, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE)
            subprocess.run(reader, env=environment, stdin=writer.stdout, stdout=kept, check=True)
            writer.stdout.close()
            if writer.wait() != 0:
                raise subprocess.CalledProcessError(writer.returncode, client)
    if reader and "--save" in reader:
        text = DISK / "saved.txt"
    found = sorted(int(value) / 1e6 for value in re.findall(r"latency = +(\d+) µs", text.read_text()))
    assert len(found) == WATCHED
    return {"p50": statistics.median(found), "p99": found[WATCHED * 99 // 100]}


def measure_watching():
    """What watching a run costs the client that is watched: its latency beside a run alone, and one into cat."""
    watch = [FRAMES, "watch", "--force", "--save", DISK / "saved.txt"]
    watched, *others = side_by_side(lambda: latencies(watch), latencies, lambda: latencies(["/bin/cat"]),
                                    rounds=ROUNDS)
    for name, other in zip(("not watched", "into cat"), others):
        more = difference_of(watched, other, "p50")
        goal = name == "not watched"  # what cat costs too is the pipe's
        row("latency of the client, 200 frames/s, with zel-frames watch, wall",
            microseconds(median_of(watched, "p50")), f"{microseconds(median_of(other, 'p50'))} {name}",
            f"{ratio_of(watched, other, 'p50'):.2f}", "at most 10 µs more" if goal else "",
            more <= 10e-6 if goal else None)
        row("the same, 99th percentile", microseconds(median_of(watched, "p99")),
            f"{microseconds(median_of(other, 'p99'))} {name}", f"{ratio_of(watched, other, 'p99'):.2f}", "", None)


def measure_frames():
    sidecar, text, stream = make_captures()
    measure_speed(sidecar, text, stream)
    measure_memory("a sidecar", captures("sidecar", DISK / "short.meta", FEW), sidecar, RECORDS)
    measure_memory("a Matroska file", *make_movies(), SMALL_PICTURES)
    measure_watching()
