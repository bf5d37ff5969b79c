#!/usr/bin/env python3
"""Checks every example in a folder: check_examples.py FOLDER. Exit status 1 when one is faulty. Needs nothing but Python.

For each .res: line lengths, order of instructions, names, cell content against UNIT, shortest contacts.
For each .hkl: columns, the closing line of zeros, the absences of a centred lattice.
"""
import itertools
import math
import pathlib
import re
import sys

A, B, C = (0, 0.5, 0.5), (0.5, 0, 0.5), (0.5, 0.5, 0)
CENTRINGS = {1: [], 2: [(0.5,) * 3], 3: [(2 / 3, 1 / 3, 1 / 3), (1 / 3, 2 / 3, 2 / 3)], 4: [A, B, C], 5: [A], 6: [B], 7: [C]}
RADII = dict(H=0.32, C=0.77, N=0.70, O=0.66, F=0.64, S=1.04, Si=1.17, Mg=1.36, Ca=1.74, Fe=1.25, Zr=1.45)
ORDER = 'TITL CELL ZERR LATT SYMM SFAC UNIT FVAR HKLF END'.split()


def operator(text):
    rows = []
    for part in text.upper().replace(' ', '').split(','):
        row = [0.0] * 4
        for sign, term in re.findall(r'([-+]?)([XYZ]|[\d.]+)', part):
            s = -1.0 if sign == '-' else 1.0
            row['XYZ'.index(term) if term in 'XYZ' else 3] += s if term in 'XYZ' else s * float(term)
        rows.append(row)
    return rows


def operators(latt, symm):
    out = []
    for op in [operator('X,Y,Z')] + symm:
        for sign in (1, -1) if latt > 0 else (1,):
            for shift in [(0, 0, 0)] + CENTRINGS[abs(latt)]:
                out.append([[sign * v for v in row[:3]] + [(sign * row[3] + s) % 1] for row, s in zip(op, shift)])
    return out


def decoded(value, fvar):
    if abs(value) < 5:
        return value
    m = int(abs(value) / 10 + 0.5)
    p = value - math.copysign(10 * m, value)
    return p if m == 1 else p * (fvar[m - 1] if value > 0 else fvar[m - 1] - 1)


class Example:
    def __init__(self, path):
        self.faults, self.atoms, self.peaks, self.symm, self.fvar, part, seen = [], [], [], [], [], 0, []
        text = path.read_text(encoding='ascii')
        for n, line in enumerate(text.splitlines(), 1):
            if len(line) > 79 or line != line.rstrip():
                self.faults.append('line %d: %d columns or trailing blanks' % (n, len(line)))
            if re.match('REM|TITL', line) and '=' in line:
                self.faults.append('line %d: an equals sign in a remark or title' % n)
        for line in filter(str.strip, text.replace(' =\n', ' ').splitlines()):
            word, *values = line.split() if line[:3] != 'REM' else ['REM']
            seen += [word] if word in ORDER and word not in seen else []
            if word == 'CELL':
                self.cell = [float(v) for v in values[1:]]
            elif word == 'LATT':
                self.latt = int(values[0])
            elif word == 'SYMM':
                self.symm.append(operator(line[4:]))
            elif word == 'SFAC':
                self.sfac = values
            elif word == 'UNIT':
                self.unit = [float(v) for v in values]
            elif word == 'FVAR':
                self.fvar += [float(v) for v in values]
            elif word == 'PART':
                part = int(values[0])
            elif word != 'ZERR' and len(values) >= 6 and re.fullmatch(r'\d+', values[0]) and '.' in values[1]:
                v = [decoded(float(t), self.fvar) for t in values[1:5]]
                element = self.sfac[int(values[0]) - 1]
                if word[0] == 'Q':
                    self.peaks.append(float(values[6]))
                else:
                    self.atoms.append((word, element, v[:3], v[3], part))
                    if len(values) not in (6, 11) or not word.upper().startswith(element.upper()):
                        self.faults.append('atom line of ' + word)
        if seen != [w for w in ORDER if w in seen or w != 'SYMM']:
            self.faults.append('instructions missing or out of order: ' + ' '.join(seen))
        names = [(a[0].upper(), a[4]) for a in self.atoms]
        self.faults += ['name %s twice in part %d' % n for n in set(names) if names.count(n) > 1]
        self.faults += ['name %s too long' % a[0] for a in self.atoms if len(a[0]) > 4]
        if self.peaks != sorted(self.peaks, reverse=True):
            self.faults.append('peaks not in order of height')
        self.ops = operators(self.latt, self.symm)
        for element, want in zip(self.sfac, self.unit):
            have = len(self.ops) * sum(a[3] for a in self.atoms if a[1] == element)
            if have > want + 0.01 or (not self.peaks and have < want - 0.01):
                self.faults.append('%s: %.2f in the cell, UNIT has %.2f' % (element, have, want))

    def contacts(self):
        """The shortest distances between atoms that can be there together, each pair of names once."""
        a, b, c = self.cell[:3]
        ca, cb, cg = (math.cos(math.radians(v)) for v in self.cell[3:])
        steps = list(itertools.product((-1, 0, 1), repeat=3)) if min(a, b, c) < 8 else [(0, 0, 0)]
        best = {}
        for name, e, x, _, part in self.atoms:
            for op in self.ops:
                y = [sum(r[j] * x[j] for j in range(3)) + r[3] for r in op]
                for other, f, z, _, group in self.atoms:
                    if part and group and part != group:
                        continue
                    base = [p - q - math.floor(p - q + 0.5) for p, q in zip(y, z)]
                    for step in steps:
                        u, v, w = ((p + s) * edge for p, s, edge in zip(base, step, (a, b, c)))
                        d2 = u * u + v * v + w * w + 2 * (u * v * cg + u * w * cb + v * w * ca)
                        pair = tuple(sorted((name, other)))
                        if d2 > 0.0025 and d2 < best.get(pair, (1e9,))[0]:
                            best[pair] = (d2, RADII[e] + RADII[f])
        rows = sorted((math.sqrt(d2), r, pair) for pair, (d2, r) in best.items())
        self.faults += ['%s-%s %.3f A is too short' % (*pair, d) for d, r, pair in rows if d < 0.7 * r]
        return rows[:3]


def check_reflections(path, example):
    faults, rows = [], path.read_text(encoding='ascii').splitlines()
    for n, row in enumerate(rows, 1):
        hkl = [int(row[i:i + 4]) for i in (0, 4, 8)]
        intensity, sigma = float(row[12:20]), float(row[20:28])
        if len(row) != 28 or any(hkl) == (n == len(rows)) or (any(hkl) and sigma <= 0):
            faults.append('%s line %d' % (path.name, n))
        for shift in CENTRINGS[abs(example.latt)]:
            if abs((sum(h * s for h, s in zip(hkl, shift)) + 0.5) % 1 - 0.5) > 1e-6:
                faults.append('%s line %d: lattice absence' % (path.name, n))
    return len(rows) - 1, faults


def main(folder):
    paths, failed = sorted(pathlib.Path(folder).glob('*.res')), 0
    for path in paths:
        e = Example(path)
        shortest = ', '.join('%s-%s %.3f' % (*pair, d) for d, _, pair in e.contacts())
        line = '%-12s LATT %2d, %3d atoms, %2d peaks; shortest ' % (path.name, e.latt, len(e.atoms), len(e.peaks)) + shortest
        if path.with_suffix('.hkl').exists():
            n, faults = check_reflections(path.with_suffix('.hkl'), e)
            e.faults += faults
            line += '; %d reflections' % n
        print('\n    FAULT '.join([line] + e.faults))
        failed += bool(e.faults)
    return failed or not paths


if __name__ == '__main__':
    sys.exit(1 if main(sys.argv[1]) else 0)
