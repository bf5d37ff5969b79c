#!/usr/bin/env python3
"""Measures how often labels stand on one another, on bodies and on bonds.

measure_labels.py PROGRAM FILE...: draws each structure as ellipsoids in a figure of 450 points without labels of
hydrogens, reads the program's label report and prints a line per file and the shares over all. Boxes are those of the
letters: the full width of the text, from the base line to the height of capitals.
"""
import json
import math
import pathlib
import subprocess
import sys
import tempfile

BASE_LINE = 0.19   # of a text's height, above the bottom of its box
CAPITALS = 0.83    # the same for the top of a capital


def letters(box):
    left, top, right, bottom = box
    height = bottom - top
    return left, bottom - CAPITALS * height, right, bottom - BASE_LINE * height


def boxes_meet(a, b):
    return a[0] < b[2] and b[0] < a[2] and a[1] < b[3] and b[1] < a[3]


def segment_distance(p, a, b):
    dx, dy = b[0] - a[0], b[1] - a[1]
    length = dx * dx + dy * dy
    t = max(0.0, min(1.0, ((p[0] - a[0]) * dx + (p[1] - a[1]) * dy) / length)) if length else 0.0
    return math.hypot(p[0] - a[0] - t * dx, p[1] - a[1] - t * dy)


def corners(box):
    return [(box[0], box[1]), (box[2], box[1]), (box[2], box[3]), (box[0], box[3])]


def on_body(box, body):
    (cx, cy), ((px, py), (qx, qy)) = body["centre"], body["axes"]
    if box[0] < cx < box[2] and box[1] < cy < box[3]:
        return True
    det = px * qy - py * qx
    if not det:
        return False
    unit = [(((x - cx) * qy - (y - cy) * qx) / det, (px * (y - cy) - py * (x - cx)) / det) for x, y in corners(box)]
    return any(segment_distance((0.0, 0.0), unit[i], unit[i - 1]) < 1.0 for i in range(4))


def on_bond(box, bond):
    a, b = bond["ends"]
    wide = bond["width"] / 2
    left, top, right, bottom = box[0] - wide, box[1] - wide, box[2] + wide, box[3] + wide
    t0, t1 = 0.0, 1.0
    for start, step, low, high in ((a[0], b[0] - a[0], left, right), (a[1], b[1] - a[1], top, bottom)):
        if abs(step) < 1e-12:
            if not low < start < high:
                return False
            continue
        u, v = sorted(((low - start) / step, (high - start) / step))
        t0, t1 = max(t0, u), min(t1, v)
    return t0 < t1


def measure(report):
    boxes = [letters(label["box"]) for label in report["labels"]]
    on_labels = sum(any(i != j and boxes_meet(box, other) for j, other in enumerate(boxes))
                    for i, box in enumerate(boxes))
    on_bodies = sum(any(on_body(box, body) for body in report["bodies"]) for box in boxes)
    on_bonds = sum(any(on_bond(box, bond) for bond in report["bonds"]) for box in boxes)
    return [len(boxes), on_labels, on_bodies, on_bonds, len(report["left_out"]),
            sum(label["leader"] for label in report["labels"])]


def main():
    program, files = sys.argv[1], sys.argv[2:]
    total = [0] * 6
    print("labels  on labels  on bodies  on bonds  left out  leaders")
    with tempfile.TemporaryDirectory() as folder:
        for file in files:
            out = pathlib.Path(folder) / "labels.json"
            out.unlink(missing_ok=True)
            subprocess.run([program, "--picture", str(pathlib.Path(folder) / "figure.svg"), "--rendition", "ellipsoid",
                            "--size", "450", "--label-report", str(out), file], capture_output=True, check=False)
            if not out.exists():
                print(f"no picture: {file}")
                continue
            counts = measure(json.loads(out.read_text()))
            total = [a + b for a, b in zip(total, counts)]
            print("{:6d} {:10d} {:10d} {:9d} {:9d} {:8d}".format(*counts), pathlib.Path(file).name)
    shares = [100.0 * n / max(total[0], 1) for n in total]
    print("{:6d} {:9.2f}% {:9.2f}% {:8.2f}% {:8.2f}% {:7.2f}%".format(total[0], *shares[1:]), "of all")


if __name__ == "__main__":
    main()
