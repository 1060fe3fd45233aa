"""Every limit of docs/limits.md from the user's side: the last value that is taken, the first that is refused."""
import pathlib

from program import *

A = "pattern:city?size=64x48&seconds=2"
JOIN = ["join", A, A, "-o", "null:", "--quiet"]


def takes(arguments):
    run = Run(arguments)
    check(run.code == 0, "should be taken: " + run.describe())


def refuses(arguments, words, code=2):
    run = Run(arguments)
    check(not run.crashed() and run.code == code and run.refused(), "should be refused: " + run.describe())
    check(words in run.err, "does not name the limit %r: %s" % (words, run.describe()))


def edges(base, option, taken, refused, words):
    for value in taken:
        takes([*base, option, value])
    for value in refused:
        refuses([*base, option, value], words)
    return len(taken) + len(refused)


with Workshop() as folder:
    frame = ["frame", A, A, "-o", folder / "a.png", "--force", "--quiet"]
    sheet = ["sheet", A, A, "-o", folder / "s.png", "--force", "--quiet", "--effect", "tilt-away"]
    short = [*JOIN, "--duration", "4f"]
    tested = 0
    tested += edges(frame, "--size", ("16x16", "4095x16", "16x16384"), ("15x16", "16x15"), "16 or more")
    tested += edges(frame, "--size", (), ("4096x16", "16x16385"), "4095 pixels across and 16384 down")
    tested += edges(JOIN, "--duration", ("2f", "50f"), ("0f", "1f"), "2 frames or more")
    tested += edges(JOIN, "--duration", (), ("52f",), "too few")
    tested += edges(short, "--fps", ("2", "240"), ("0.9", "241"), "1 to 240")
    # Two clips of 50 frames share 4.
    tested += edges(short, "--max-duration", ("96f", "3.84s", "48:00:00"), ("95f", "3.8s", "0"), "--max-duration")
    picture = folder / "still.png"
    ffmpeg("-f", "lavfi", "-i", "testsrc2=size=64x48", "-frames:v", 1, picture)
    refuses(["join", picture, picture, "-o", folder / "long.mkv", "--quiet", "--fps", "1", "--still", "12:30:00",
             "--effect", "wash-away", "--duration", "2f"], "would last 24:59:5")
    tested += 1
    tested += edges(JOIN, "--speed", ("0",), ("1.000001", "-0.1"), "0 to 1")
    tested += edges(short, "--seed", ("0", "4294967295"), ("4294967296", "-1"), "4294967295")
    tested += edges(short, "--threads", ("1", "64"), ("0", "65"), "1 to 64")
    tested += edges([*short[:3], "-o", folder / "m.mp4", "--force", *short[5:]], "--crf", ("0", "51"), ("52",), "51")
    tested += edges([*short[:3], "-o", folder / "m.webm", "--force", *short[5:]], "--crf", ("63",), ("64",), "63")
    tested += edges(sheet, "--columns", ("2", "12"), ("1", "13"), "2 to 12")
    tested += edges([*frame, "--frame", "0"], "--of", ("2",), ("1", "1000001"), "2 to 1000000")
    tested += edges([*frame, "--of", "30"], "--frame", ("0", "29"), ("30",), "the last is 29")
    refuses([*short[:3], "-o", folder / ("n" * 256 + ".mp4")], "too long", 4)
    finish("%d values at the edges of the limits" % (tested + 1))
