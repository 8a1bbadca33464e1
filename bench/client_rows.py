"""The rows of the client in the table of scripts/bench."""
import os
import statistics
import struct
import subprocess
import time

from measuring import (CLIENT, DISK, PROGRAMS, ROOT, TMPFS, difference_of, environment_of, marginal, median_of,
                       microseconds, peak_memory, ratio_of, row, run, side_by_side)

IMAGE_CLIENT = ROOT / "build/host-image/zel-client"


def writers(what, folder, **environment):
    """Runs the program of that name; returns the numbers that it prints."""
    output = subprocess.run([PROGRAMS / "writers", what, folder], env={**os.environ, **environment}, check=True,
                            capture_output=True, text=True)
    return [float(word) for word in output.stdout.split()]


def capture(*arguments, program=CLIENT):
    return lambda frames: [program, "-n", frames, *arguments]


def write_peer(frames):
    return [PROGRAMS / "write_pictures", TMPFS / "peer", frames]


def measure_raw():
    for size, name, goal in ((16384, "16 KB", 0.96), (204800, "200 KB", 0.98), (12582912, "12 MB", 0.98)):
        for folder, place in ((TMPFS, "tmpfs"), (DISK, "disk")):
            ours, peer, ratio, _ = writers("raw", folder, ZEL_STUB_SIZE=str(size))
            row(f"raw writer, {name} frames, {place}", microseconds(ours / 1e9), microseconds(peer / 1e9) + " write(2)",
                f"{1 / ratio:.3f} of the throughput", f"at least {goal}", 1 / ratio >= goal)
    lengths = (500, 8500)
    frames = {"ZEL_STUB_SIZE": "16384"}
    ours, peer = side_by_side(
        lambda: marginal(capture("-q", "-o", TMPFS / "raw"), lengths, preload=["no_sleep"], environment=frames),
        lambda: marginal(write_peer, lengths, environment=frames))
    more = difference_of(ours, peer, "cpu")
    row("raw capture, the whole client, 16 KB, tmpfs, the sleep left out", microseconds(median_of(ours, "cpu")),
        microseconds(median_of(peer, "cpu")) + " write(2)", f"{microseconds(more)} more", "at most 1 µs more",
        more <= 1e-6)
    calls = median_of(ours, "writes")
    row("raw capture, writing calls a frame, report lines included", f"{calls:.3f}", "1", "", "1",
        round(calls, 1) == 1)


def measure_loop():
    keys = DISK / "camera.ini"
    keys.write_text("[camera]\npacing = unpaced\nproducer = cached\n")
    lengths = (2000, 12000)

    def side(preload):
        return lambda: marginal(capture("-q", 320, 180), lengths, preload=preload, stub=False,
                                environment={"ZEL_CAMERA": str(keys)})

    ours, awake, sleeps = side_by_side(
        side([]), side(["no_sleep"]),
        lambda: marginal(lambda count: [PROGRAMS / "sleeps", count], lengths, stub=False))
    for key, label in (("wall", "wall"), ("cpu", "processor time of client and camera")):
        ratio = statistics.median(a[key] / (b[key] + c[key]) for a, b, c in zip(ours, awake, sleeps))
        goal = key == "wall"
        row(f"loop at delay 0, software camera, {label}", microseconds(median_of(ours, key)),
            f"{microseconds(median_of(awake, key))} without the sleep + "
            f"{microseconds(median_of(sleeps, key))} a bare sleep",
            f"{ratio:.2f}", "at most 1.2" if goal else "", ratio <= 1.2 if goal else None)


class Stream:
    def __init__(self, file, frames):
        self.file = file
        self.frames = frames
        self.bytes_each = file.stat().st_size // frames
        self.environment = {"ZEL_STUB_STREAM": str(file)}


def record_streams():
    """Real H.264 as the software camera codes it: 1080p, and frames of some 250 bytes."""
    keys = DISK / "camera.ini"
    keys.write_text("[camera]\npacing = virtual\n")
    streams = {}
    for name, frames, bitrate, size in (("1080p", 120, 3932160, (1920, 1080)), ("small", 300, 60000, (320, 180))):
        stream = TMPFS / (name + ".h264")
        run([CLIENT, "-q", "-m", "-n", frames, "-o", stream, "--framerate=30", "--rc.mode=vbr", "-b", bitrate, *size],
            environment={"ZEL_CAMERA": str(keys)}, stub=False)
        streams[name] = Stream(stream, frames)
    return streams


def mux_peer(frames):
    return [PROGRAMS / "mux_packets", TMPFS / "peer.mkv", frames]


def measure_recording(stream, repeats):
    """The whole client beside ffmpeg, beside libavformat given the same packets and beside write(2) of the same bytes.
    Returns the rounds' results of these four."""
    lengths = [stream.frames * times for times in repeats]
    copied = {}
    for times, length in zip(repeats, lengths):
        copied[length] = TMPFS / f"{length}.h264"
        copied[length].write_bytes(stream.file.read_bytes() * times)
    ffmpeg = ["/usr/bin/ffmpeg", "-nostdin", "-loglevel", "quiet", "-y", "-framerate", "30", "-i"]
    env = stream.environment
    results = side_by_side(
        lambda: marginal(capture("-q", "--mkv", TMPFS / "ours.mkv"), lengths, preload=["no_sleep"], environment=env),
        lambda: marginal(lambda count: [*ffmpeg, copied[count], "-c", "copy", TMPFS / "peer.mkv"], lengths,
                         stub=False),
        lambda: marginal(mux_peer, lengths, environment=env),
        lambda: marginal(write_peer, lengths, environment=env))
    for file in copied.values():
        file.unlink()
    return results


def measure_matroska(streams):
    label = "Matroska, {} ({} B a frame), the whole client, the sleep left out"
    large, small = streams["1080p"], streams["small"]

    ours, ffmpeg, _, plain = measure_recording(large, (4, 84))
    own = label.format("1080p", large.bytes_each), microseconds(median_of(ours, "cpu"))
    ratio = ratio_of(ours, plain, "cpu")
    row(*own, microseconds(median_of(plain, "cpu")) + " write(2)", f"{ratio:.2f}", "at most 1.6", ratio <= 1.6)
    faster = 1 / ratio_of(ours, ffmpeg, "cpu")
    row(*own, microseconds(median_of(ffmpeg, "cpu")) + " ffmpeg -c copy", f"{faster:.1f} times faster", "at least 3",
        faster >= 3)

    ours, ffmpeg, packets, _ = measure_recording(small, (10, 200))
    own = label.format("small", small.bytes_each), microseconds(median_of(ours, "cpu"))
    row(*own, microseconds(median_of(packets, "cpu")) + " libavformat", f"{ratio_of(ours, packets, 'cpu'):.2f}", "",
        None)
    row(*own, microseconds(median_of(ffmpeg, "cpu")) + " ffmpeg -c copy",
        f"{1 / ratio_of(ours, ffmpeg, 'cpu'):.1f} times faster", "", None)

    for name, what, peer_name, goal in (("1080p", "matroska", "write(2)", 1.6),
                                        ("small", "packets", "libavformat", 1.15)):
        for folder, place in ((TMPFS, "tmpfs"), (DISK, "disk")):
            ours, peer, ratio, _ = writers(what, folder, **streams[name].environment)
            row(f"Matroska writer, {name}, {place}", microseconds(ours / 1e9),
                f"{microseconds(peer / 1e9)} {peer_name}", f"{ratio:.2f}", f"at most {goal}", ratio <= goal)
        waiting, cluster = writers("arrival", TMPFS, **streams[name].environment)
        row(f"Matroska, {name}, frames until a frame is in the file", f"at most {waiting:.0f}",
            f"{cluster:.0f} frames a cluster", "", "a cluster", waiting <= cluster + 1)


def measure_report(streams):
    small = streams["small"].environment
    ours, _, _, _ = writers("report", TMPFS, **small)
    row("timing a frame and its report line", microseconds(ours / 1e9), "", "", "", None)
    ours, peer, ratio, _ = writers("sidecar", TMPFS, **small)
    row("sidecar", microseconds(ours / 1e9), microseconds(peer / 1e9) + " write(2) of its record", f"{ratio:.2f}",
        "at most 1.2", ratio <= 1.2)
    lengths = (600, 6600)
    env = streams["1080p"].environment
    options = ["--mkv", TMPFS / "ours.mkv", "-o", TMPFS / "ours"]
    both = marginal(capture("-m", *options), lengths, preload=["no_sleep"], environment=env)
    alone = marginal(capture("-q", *options), lengths, preload=["no_sleep"], environment=env)
    calls = both["writes"] - alone["writes"]
    row("sidecar, writing calls a frame", f"{calls:.3f} more", "Matroska and report lines", "", "1",
        round(calls, 1) == 1)


def measure_allocations(streams):
    count_file = DISK / "allocations"
    lengths = (1000, 101000)
    small = streams["small"].environment
    for label, options, environment in (("raw", ["-q", "-o", TMPFS / "raw"], {"ZEL_STUB_SIZE": "1000"}),
                                        ("statistics", ["-s"], small), ("report", [], small),
                                        ("sidecar", ["-m", "-o", TMPFS / "raw"], small),
                                        ("Matroska", ["--mkv", TMPFS / "ours.mkv"], small)):
        counts = []
        for frames in lengths:
            run(capture(*options)(frames), preload=["no_sleep", "allocations"],
                environment={**environment, "ZEL_ALLOCATIONS": str(count_file)})
            counts.append([int(word) for word in count_file.read_text().split()])
        ffmpeg, others = ((b - a) / (lengths[1] - lengths[0]) for a, b in zip(*counts))
        row(f"allocations a frame, {label}", f"{abs(others):.2f}", f"{ffmpeg:.2f} by FFmpeg", "", "0",
            abs(others) < 0.005)


def first_call(program):
    """Microseconds of wall time from the start of a program to its first library call, and its processor time."""
    reader, writer = os.pipe()
    os.set_inheritable(writer, True)
    env = environment_of({"ZEL_STUB_FIRST": str(writer)})
    start = time.monotonic_ns()
    pid = os.posix_spawn(program, [program], env)
    os.close(writer)
    called = struct.unpack("q", os.read(reader, 8))[0]
    os.close(reader)
    _, _, usage = os.wait4(pid, 0)
    return {"wall": (called - start) / 1e9, "cpu": usage.ru_utime + usage.ru_stime}


def measure_start():
    sides = [("start to the first library call, FFmpeg as Debian links it, wall", CLIENT)]
    if IMAGE_CLIENT.exists():
        sides.append(("the same, FFmpeg inside (scripts/camera-image --host), wall", IMAGE_CLIENT))
    peer, *results = side_by_side(lambda: first_call(PROGRAMS / "glib_only"),
                                  *(lambda program=program: first_call(program) for _, program in sides))
    for (label, _), ours in zip(sides, results):
        row(label, f"{median_of(ours, 'wall') * 1e3:.2f} ms", f"{median_of(peer, 'wall') * 1e3:.2f} ms GLib only",
            f"{ratio_of(ours, peer, 'wall'):.1f}", "as close as it gets", None)


def measure_memory(streams):
    small = streams["small"].environment
    lengths = (1000, 1000000)

    def grown(command, environment):
        """Peak memory of the two lengths."""
        return [statistics.median(peak_memory(command(frames), environment) for _ in range(3)) for frames in lengths]

    for label, options, environment in (("raw, statistics", ["-s", "-o", "/dev/null"], {"ZEL_STUB_SIZE": "16384"}),
                                        ("raw, report, sidecar", ["-m", "-o", TMPFS / "raw"], small)):
        few, many = grown(capture(*options), environment)
        row(f"peak memory after 1 000 000 frames, {label}", f"{many / 1024:.1f} MiB",
            f"{few / 1024:.1f} MiB after 1 000", f"{many / few:.3f}", "equal within 1 %", abs(many / few - 1) <= 0.01)
    ours, peer = ((many - few) * 1024 / (lengths[1] - lengths[0])
                  for few, many in (grown(capture("-q", "--mkv", TMPFS / "ours.mkv"), small), grown(mux_peer, small)))
    row("memory a frame, Matroska", f"{ours:.1f} B", f"{peer:.1f} B libavformat", f"{ours / peer:.3f}", "at most 1.02",
        ours / peer <= 1.02)


def measure_client():
    streams = record_streams()
    measure_raw()
    measure_loop()
    measure_matroska(streams)
    measure_report(streams)
    measure_allocations(streams)
    measure_start()
    measure_memory(streams)
