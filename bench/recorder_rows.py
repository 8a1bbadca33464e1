"""The rows of zel-record in the table of scripts/bench: what being recorded costs the client and its process."""
from measuring import BUILD, CLIENT, DISK, TMPFS, difference_of, marginal, median_of, microseconds, row, side_by_side

# Calls that the client makes for a frame of a quiet raw capture.
CALLS = 22
FRAME_RATE = 60


def capture(frames):
    return [CLIENT, "-q", "-n", frames, "-o", TMPFS / "raw"]


def recorded(frames):
    return [BUILD / "zel-record", "-o", DISK / "run.zrec", "--", *capture(frames)]


def measure_recorder():
    for size, name in ((64, "64 bytes"), (20833, "20 KB: 1080p at 10 Mbit/s")):
        environment = {"ZEL_STUB_SIZE": str(size)}
        lengths = (500, 4500)
        ours, bare = side_by_side(
            lambda: marginal(recorded, lengths, preload=["no_sleep"], environment=environment),
            lambda: marginal(capture, lengths, preload=["no_sleep"], environment=environment))
        more = difference_of(ours, bare, "cpu")
        if size == 64:
            row("zel-record, processor time of the whole process, a call", microseconds(more / CALLS),
                microseconds(median_of(bare, "cpu") / CALLS) + " without it", "", "at most 2 µs", more / CALLS <= 2e-6)
        else:
            share = 100 * more * FRAME_RATE
            row(f"zel-record, frames of {name}, {FRAME_RATE} a second", microseconds(more) + " a frame",
                microseconds(median_of(bare, "cpu")) + " without it", f"{share:.2f} % of a core", "less than 3 %",
                share < 3)
