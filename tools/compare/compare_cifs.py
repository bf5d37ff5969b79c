#!/usr/bin/env python3
"""Compares the CIF of a refinement with a published one, item by item.

    compare_cifs.py OURS.cif PUBLISHED.cif [--all]

Numbers are equal when they differ by no more than one in the last digit that both give, or by less than a third of the
larger standard uncertainty; uncertainties when they differ by one in their last digit. Rows of loops are found by their
atoms, symmetry codes by the operator that they stand for.
"""
import re
import sys
from fractions import Fraction

TOKEN = re.compile(
    r"(?m)^;(?P<field>.*?)^;|(?P<comment>\#[^\n]*)|'(?P<single>[^\n]*?)'(?=\s|$)|\"(?P<double>[^\n]*?)\"(?=\s|$)"
    r"|(?P<bare>\S+)", re.S)
NUMBER = re.compile(r"([-+]?\d*\.?\d*)(?:\((\d+)\))?$")
FREE_TEXT = ("details", "source", "description", "method", "_audit", "_computing")


def tokens(text):
    for match in TOKEN.finditer(text):
        kind = match.lastgroup
        if kind != "comment":
            yield kind, match.group(kind)


def read(path):
    """The items (name to value) and the loops (names, rows) of the first block."""
    items, loops = {}, []
    words = list(tokens(open(path, encoding="latin-1").read()))
    at = 0

    def is_name(i):
        return i < len(words) and words[i][0] == "bare" and words[i][1].startswith("_")

    def is_value(i):
        return i < len(words) and not is_name(i) and not (
            words[i][0] == "bare" and re.match(r"(?i)loop_$|data_", words[i][1]))

    while at < len(words):
        if words[at] == ("bare", "loop_"):
            names, values = [], []
            at += 1
            while is_name(at):
                names.append(words[at][1].lower())
                at += 1
            while is_value(at):
                values.append(words[at][1])
                at += 1
            loops.append((names, [values[i:i + len(names)] for i in range(0, len(values), len(names))]))
        elif is_name(at) and is_value(at + 1):
            items[words[at][1].lower()] = words[at + 1][1].strip()
            at += 2
        else:
            at += 1
    return items, loops


def operators(loops):
    for names, rows in loops:
        for name in ("_space_group_symop_operation_xyz", "_symmetry_equiv_pos_as_xyz"):
            if name in names:
                return [row[names.index(name)] for row in rows]
    return []


def parsed(operator):
    rows = []
    for part in operator.replace(" ", "").lower().split(","):
        vector = [0, 0, 0, Fraction(0)]
        for sign, term in re.findall(r"([-+]?)([xyz]|\d+/\d+|\d*\.\d+|\d+)", part):
            factor = -1 if sign == "-" else 1
            if term in "xyz":
                vector["xyz".index(term)] += factor
            else:
                vector[3] += factor * Fraction(term)
        rows.append(vector)
    return rows


def place(code, list_of_operators):
    """What a symmetry code does, whatever the order of the operators."""
    if code in (".", "?", "1_555", ""):
        return "1"
    number, _, shift = code.partition("_")
    rows = parsed(list_of_operators[int(number) - 1])
    for i, digit in enumerate(shift or "555"):
        rows[i][3] += int(digit) - 5
    return str([[str(v) for v in row] for row in rows])


def number(text):
    match = NUMBER.match(text)
    if not match or not re.search(r"\d", match.group(1)):
        return None
    decimals = len(match.group(1).partition(".")[2])
    su = int(match.group(2)) * 10.0 ** -decimals if match.group(2) else 0.0
    return float(match.group(1)), su, decimals


def verdict(name, ours, theirs):
    """"" when equal, else what differs."""
    if ours.lower() == theirs.lower():
        return ""
    a, b = number(ours), number(theirs)
    if a is None or b is None:
        squeezed = [re.sub(r"\s", "", t).lower() for t in (ours, theirs)]
        return "" if squeezed[0] == squeezed[1] else "text"
    digits = min(a[2], b[2])
    if abs(a[0] - b[0]) > max(1.001 * 10.0 ** -digits, max(a[1], b[1]) / 3.0):
        return "value"
    last = 10.0 ** -max(a[2], b[2])
    coarse = 10.0 ** -digits
    if a[1] and b[1] and abs(a[1] - b[1]) > max(1.001 * last, 1.001 * coarse if a[2] != b[2] else 0.0):
        return "s.u."
    return ""


def key_of(names, row, ops):
    """The atoms of a row where they are, in the order that reads the same in both files."""
    labels, codes = [], []
    for i, name in enumerate(names):
        if "label" in name:
            labels.append(row[i].upper())
            wanted = name.replace("atom_site_label", "site_symmetry")
            codes.append(place(row[names.index(wanted)], ops) if wanted in names else "1")
    atoms = [label + "@" + code for label, code in zip(labels, codes)]
    if not names[0].startswith(("_geom_bond", "_geom_angle", "_geom_torsion")):
        return tuple(atoms)
    return min(tuple(atoms), tuple(reversed(atoms)))


def compare_files(ours_path, theirs_path, show_all=False):
    """How many values are equal or not, the lines that tell which, and what ours lacks."""
    ours, theirs = read(ours_path), read(theirs_path)
    counts = {"equal": 0, "value": 0, "s.u.": 0, "text": 0, "unknown there": 0, "free text": 0, "rows not found": 0}
    differences, missing = [], []

    def compare(name, where, a, b):
        if b in ("?", "."):
            counts["unknown there"] += 1
            return
        if any(word in name for word in FREE_TEXT) and "weighting" not in name:
            counts["free text"] += 1
            return
        what = verdict(name, a, b)
        counts[what or "equal"] += 1
        if what:
            differences.append(f"  {what:5} {name} {where}: {a} | {b}")

    for name, value in theirs[0].items():
        if name in ours[0]:
            compare(name, "", ours[0][name], value)
        elif value not in ("?", "."):
            missing.append(name)
    ops = [operators(f[1]) for f in (ours, theirs)]
    for names, rows in theirs[1]:
        if names[0].startswith("_space_group_symop"):
            continue
        mine = next((loop for loop in ours[1] if loop[0][0] == names[0]), None)
        if mine is None:
            missing.append(names[0])
            continue
        geometry = names[0].startswith("_geom")
        find = {}
        for row in mine[1]:
            find.setdefault(key_of(mine[0], row, ops[0]) if geometry else (row[0].upper(),), row)
        for row in rows:
            key = key_of(names, row, ops[1]) if geometry else (row[0].upper(),)
            if key not in find:
                counts["rows not found"] += 1
                if show_all:
                    differences.append(f"  no row {names[0]} {' '.join(row)}")
                continue
            for name, value in zip(names, row):
                if name in mine[0] and "label" not in name and "symmetry_" not in name.replace("symmetry_order", ""):
                    compare(name, " ".join(w.split("@")[0] for w in key), find[key][mine[0].index(name)], value)
                elif name not in mine[0] and name not in missing:
                    missing.append(name)
    return counts, differences, missing


def main():
    show_all = "--all" in sys.argv
    counts, differences, missing = compare_files(*[a for a in sys.argv[1:] if not a.startswith("--")][:2], show_all)
    print("; ".join(f"{n} {what}" for what, n in counts.items()))
    print("not in ours:", " ".join(missing) or "nothing")
    by_name = {}
    for line in differences:
        by_name.setdefault(line.split()[1], []).append(line)
    for name, lines in by_name.items():
        for line in lines if show_all else lines[:4]:
            print(line)
        if not show_all and len(lines) > 4:
            print(f"        ... {len(lines) - 4} more of {name}")


if __name__ == "__main__":
    main()
