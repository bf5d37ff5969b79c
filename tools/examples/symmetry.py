"""Operators, lattice types, and what a special position leaves free."""
import math
import re
from fractions import Fraction

CENTRINGS = {1: [], 2: ['1/2 1/2 1/2'], 3: ['2/3 1/3 1/3', '1/3 2/3 2/3'], 4: ['0 1/2 1/2', '1/2 0 1/2', '1/2 1/2 0'],
             5: ['0 1/2 1/2'], 6: ['1/2 0 1/2'], 7: ['1/2 1/2 0']}
INVERSION = ((-1, 0, 0), (0, -1, 0), (0, 0, -1))
IDENTITY = ((1, 0, 0), (0, 1, 0), (0, 0, 1))


def parse(text):
    """'1/2-x, y, x-y' as (rows of integers, translation as three Fractions in 0..1)."""
    rows, shift = [], []
    for part in text.lower().replace(' ', '').split(','):
        row, t = [0, 0, 0], Fraction(0)
        for sign, term in re.findall(r'([-+]?)([xyz]|\d+/\d+|[\d.]+)', part):
            s = -1 if sign == '-' else 1
            if term in 'xyz':
                row['xyz'.index(term)] += s
            else:
                t += s * Fraction(term)
        rows.append(tuple(row))
        shift.append(t % 1)
    return tuple(rows), tuple(shift)


def text(op):
    """SYMM text with decimal translations."""
    parts = []
    for row, t in zip(*op):
        s = ('%g' % float(t)) if t else ''
        for axis, c in zip('XYZ', row):
            if c:
                s += ('-' if c < 0 else '+' if s else '') + axis
        parts.append(s)
    return ', '.join(parts)


def simplicity(op):
    """Sort key: the identity, then proper rotations, few and small translations."""
    r, t = op
    det = sum(r[0][i] * (r[1][(i + 1) % 3] * r[2][(i + 2) % 3] - r[1][(i + 2) % 3] * r[2][(i + 1) % 3]) for i in range(3))
    return r != IDENTITY, -det, sum(1 for v in t if v), sum(t), sum(v < 0 for row in r for v in row), r, t


def lattice(ops):
    """(signed LATT number, operators that LATT does not imply, identity left out)."""
    pure = sorted(t for r, t in ops if r == IDENTITY and any(t))
    for number, shifts in CENTRINGS.items():
        centring = [tuple(Fraction(v) for v in s.split()) for s in shifts]
        if sorted(centring) == pure:
            break
    else:
        raise ValueError('lattice type not standard')
    centre = (INVERSION, (Fraction(0),) * 3) in ops
    seen, kept = set(), []
    for r, t in sorted(ops, key=simplicity):
        if (r, t) in seen:
            continue
        if r != IDENTITY:
            kept.append((r, t))
        for sign in (1, -1) if centre else (1,):
            for c in [(Fraction(0),) * 3] + centring:
                seen.add((tuple(tuple(sign * v for v in row) for row in r),
                          tuple((sign * a + b) % 1 for a, b in zip(t, c))))
    kept = [op for op in kept if op[0] != INVERSION or not centre]
    return (number if centre else -number), kept


def apply(op, x):
    return [sum(c * v for c, v in zip(row, x)) + float(t) for row, t in zip(*op)]


class Cell:
    def __init__(self, a, b, c, alpha, beta, gamma):
        ca, cb, cg = (math.cos(math.radians(v)) for v in (alpha, beta, gamma))
        self.edges = (a, b, c)
        self.metric = [[a * a, a * b * cg, a * c * cb], [a * b * cg, b * b, b * c * ca], [a * c * cb, b * c * ca, c * c]]
        self.volume = a * b * c * math.sqrt(1 - ca * ca - cb * cb - cg * cg + 2 * ca * cb * cg)
        sines = [math.sqrt(1 - v * v) for v in (ca, cb, cg)]
        self.reciprocal = [b * c * sines[0] / self.volume, a * c * sines[1] / self.volume, a * b * sines[2] / self.volume]
        cosines = [(cb * cg - ca) / (sines[1] * sines[2]), (ca * cg - cb) / (sines[0] * sines[2]),
                   (ca * cb - cg) / (sines[0] * sines[1])]
        self.star_cosines = cosines

    def length(self, d):
        return math.sqrt(max(0.0, sum(d[i] * self.metric[i][j] * d[j] for i in range(3) for j in range(3))))

    def s2(self, hkl):
        """1/d^2."""
        h = [n * r for n, r in zip(hkl, self.reciprocal)]
        c = self.star_cosines
        return sum(v * v for v in h) + 2 * (h[1] * h[2] * c[0] + h[0] * h[2] * c[1] + h[0] * h[1] * c[2])


PAIRS = ((0, 0), (1, 1), (2, 2), (1, 2), (0, 2), (0, 1))


def transform_u(rows, u, star):
    """U (11 22 33 23 13 12, the dimensionless basis of the format) of the image under a rotation."""
    full = [[0.0] * 3 for _ in range(3)]
    for (i, j), v in zip(PAIRS, u):
        full[i][j] = full[j][i] = v * star[i] * star[j]
    return [sum(rows[i][k] * full[k][m] * rows[j][m] for k in range(3) for m in range(3)) / (star[i] * star[j])
            for i, j in PAIRS]


class Site:
    """The stabiliser of a position: its order, the averaged position, which coordinates and U are free."""

    def __init__(self, ops, xyz, cell, tolerance=0.05):
        images, rotations = [], []
        for op in ops:
            y = apply(op, xyz)
            shift = [round(p - q) for p, q in zip(xyz, y)]
            y = [q + s for q, s in zip(y, shift)]
            if cell.length([p - q for p, q in zip(xyz, y)]) < tolerance:
                images.append(y)
                rotations.append(op[0])
        n = len(rotations)
        self.order = n
        self.xyz = [sum(y[i] for y in images) / n for i in range(3)]
        mean = [[sum(r[i][j] for r in rotations) / n for j in range(3)] for i in range(3)]
        self.free = [any(abs(v) > 1e-9 for v in row) for row in mean]
        if sum(self.free) != round(sum(mean[i][i] for i in range(3))):
            raise ValueError('tied coordinates are not handled')
        star = cell.reciprocal
        columns = []
        for k in range(6):
            unit = [1.0 if m == k else 0.0 for m in range(6)]
            sums = [transform_u(r, unit, star) for r in rotations]
            columns.append([sum(s[m] for s in sums) / n for m in range(6)])
        rows = [[columns[k][m] for k in range(6)] for m in range(6)]
        # ties[m]: None for a free component, (j, c) for c times the earlier component j, (None, 0) for zero
        self.ties = []
        for m, row in enumerate(rows):
            tie = None
            if all(abs(v) < 1e-9 for v in row):
                tie = (None, 0.0)
            for j in range(m):
                if tie is None and self.ties[j] is None:
                    big = max(range(6), key=lambda k: abs(rows[j][k]))
                    c = row[big] / rows[j][big]
                    if all(abs(row[k] - c * rows[j][k]) < 1e-9 for k in range(6)):
                        tie = (j, c)
            self.ties.append(tie)
        if self.ties.count(None) != round(sum(rows[k][k] for k in range(6))):
            raise ValueError('a tie between more than two U components is not handled')
