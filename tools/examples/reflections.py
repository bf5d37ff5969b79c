"""Simulated intensities, and the peaks of a difference Fourier map. Needs the gemmi Python module
for the scattering factors: International Tables C, table 6.1.1.4, and f', f'' after Cromer & Liberman."""
import cmath
import math
import random

import gemmi

from symmetry import apply

TWO_PI = 2 * math.pi


class Model:
    """Atoms: dicts with element, xyz, sof (occupancy divided by the site symmetry order), uiso or u."""

    def __init__(self, cell, ops, atoms, wavelength):
        self.cell, self.ops, self.atoms = cell, ops, atoms
        self.factors = {}
        for e in {a['element'] for a in atoms}:
            element = gemmi.Element(e)
            it = element.it92
            fp = gemmi.cromer_liberman(z=element.atomic_number, energy=gemmi.hc / wavelength)
            self.factors[e] = (list(zip(it.a, it.b)), it.c, complex(*fp))

    def f(self, hkl):
        s2 = self.cell.s2(hkl) / 4  # (sin theta / lambda)^2
        scattering = {e: sum(a * math.exp(-b * s2) for a, b in ab) + c + fp for e, (ab, c, fp) in self.factors.items()}
        star, total = self.cell.reciprocal, 0j
        for rows, shift in self.ops:
            h = [sum(hkl[i] * rows[i][j] for i in range(3)) for j in range(3)]
            start = sum(n * float(t) for n, t in zip(hkl, shift))
            g = [n * s for n, s in zip(h, star)]
            for a in self.atoms:
                u = a['u']
                if u:
                    q = (u[0] * g[0] ** 2 + u[1] * g[1] ** 2 + u[2] * g[2] ** 2
                         + 2 * (u[3] * g[1] * g[2] + u[4] * g[0] * g[2] + u[5] * g[0] * g[1]))
                else:
                    q = 4 * a['uiso'] * s2
                phase = TWO_PI * (start + sum(n * x for n, x in zip(h, a['xyz'])))
                total += scattering[a['element']] * a['sof'] * math.exp(-2.0 * math.pi ** 2 * q) * cmath.exp(1j * phase)
        return total


def equivalents(hkl, ops):
    out = set()
    for rows, _ in ops:
        h = tuple(sum(hkl[i] * rows[i][j] for i in range(3)) for j in range(3))
        out |= {h, tuple(-n for n in h)}
    return out


def absent(hkl, ops):
    for rows, shift in ops:
        if all(sum(hkl[i] * rows[i][j] for i in range(3)) == hkl[j] for j in range(3)):
            if sum(n * t for n, t in zip(hkl, shift)) % 1:
                return True
    return False


def unique(cell, ops, resolution):
    limits = [int(e / resolution) + 1 for e in cell.edges]
    seen, out = set(), []
    for h in range(limits[0], -limits[0] - 1, -1):
        for k in range(limits[1], -limits[1] - 1, -1):
            for m in range(limits[2], -limits[2] - 1, -1):
                hkl = (h, k, m)
                if any(hkl) and hkl not in seen and cell.s2(hkl) <= resolution ** -2:
                    seen |= equivalents(hkl, ops)
                    if not absent(hkl, ops):
                        out.append(hkl)
    return out


def simulate(model, resolution, seed, largest=9000.0):
    """(measurements, scale k, mean intensity): two measurements of every unique reflection, I = k F^2 + noise,
    sigma^2 = (0.02 I)^2 + 0.002 M I + (0.02 M)^2 with M the mean of all I."""
    generator = random.Random(seed)
    hkls = unique(model.cell, model.ops, resolution)
    squares = [abs(model.f(h)) ** 2 for h in hkls]
    k = float('%.3g' % (largest / max(squares)))
    mean = k * sum(squares) / len(squares)
    out = []
    for hkl, f2 in zip(hkls, squares):
        i = k * f2
        sigma = math.sqrt((0.02 * i) ** 2 + 0.002 * mean * i + (0.02 * mean) ** 2)
        others = sorted(equivalents(hkl, model.ops))
        for h in (hkl, generator.choice(others)):
            out.append((h, round(generator.gauss(i, sigma), 2), round(sigma, 2)))
    return sorted(out, key=lambda r: (r[0][2], r[0][1], r[0][0])), k, mean


def merge(data, ops):
    """Weighted means: {representative: (I, sigma)}."""
    groups = {}
    for h, i, s in data:
        groups.setdefault(max(equivalents(h, ops)), []).append((i, s))
    out = {}
    for h, rows in groups.items():
        w = sum(s ** -2 for _, s in rows)
        out[h] = (sum(i / s ** 2 for i, s in rows) / w, w ** -0.5)
    return out


def agreement(model, data, k):
    """(R1 of Fo > 4 sigma(Fo), their number, R1 of all, number of all): Fo > 4 sigma(Fo) is I > 2 sigma(I)."""
    sums = [0.0] * 4
    strong = 0
    merged = merge(data, model.ops)
    for h, (i, s) in merged.items():
        fo, fc = math.sqrt(max(i, 0.0) / k), abs(model.f(h))
        sums[2] += abs(fo - fc)
        sums[3] += fo
        if i > 2 * s:
            strong += 1
            sums[0] += abs(fo - fc)
            sums[1] += fo
    return sums[0] / sums[1], strong, sums[2] / sums[3], len(merged)


def difference_map(model, data, step=0.22):
    """Map of (Fo - Fc) exp(i phase of Fc) / V in e/A^3 with Fo on the scale that gives the least squares of Fo - Fc."""
    cell, ops = model.cell, model.ops
    merged = {h: math.sqrt(max(i, 0.0)) for h, (i, _) in merge(data, ops).items()}
    fc = {h: model.f(h) for h in merged}
    osf = sum(fo * abs(fc[h]) for h, fo in merged.items()) / sum(abs(v) ** 2 for v in fc.values())
    coefficients = {}
    for h, fo in merged.items():
        value = (fo / osf - abs(fc[h])) / cell.volume * cmath.exp(1j * cmath.phase(fc[h]))
        for rows, shift in ops:
            g = tuple(sum(h[i] * rows[i][j] for i in range(3)) for j in range(3))
            v = value * cmath.exp(-1j * TWO_PI * float(sum(n * t for n, t in zip(h, shift))))
            coefficients[g] = v
            coefficients[tuple(-n for n in g)] = v.conjugate()
    size = [int(e / step / 2 + 1) * 2 for e in cell.edges]
    waves = [[[cmath.exp(-1j * TWO_PI * h * x / n) for x in range(n)] for h in range(n)] for n in size]
    for axis in (2, 1):  # sums over l, then over k
        lines = {}
        for key, v in coefficients.items():
            lines.setdefault(key[:axis] + key[axis + 1:], []).append((key[axis], v))
        n = size[axis]
        coefficients = {}
        for key, terms in lines.items():
            for x in range(n):
                total = sum(v * waves[axis][h % n][x] for h, v in terms)
                coefficients[key[:axis] + (x,) + key[axis:]] = total
    n = size[0]
    grid = {}
    lines = {}
    for (h, y, z), v in coefficients.items():
        lines.setdefault((y, z), []).append((h, v))
    for (y, z), terms in lines.items():
        for x in range(n):
            grid[x, y, z] = sum((v * waves[0][h % n][x]).real for h, v in terms)
    return grid, size, osf


def peaks(grid, size, cell, ops, count, apart=0.6):
    """The highest maxima, one of each set of equivalents: [(height, fractional position)]; parabolas through three points."""
    found = []
    around = [(i, j, k) for i in (-1, 0, 1) for j in (-1, 0, 1) for k in (-1, 0, 1) if i or j or k]
    for p, v in grid.items():
        if v > 0 and all(v >= grid[tuple((a + b) % n for a, b, n in zip(p, d, size))] for d in around):
            xyz, height = [], v
            for axis in range(3):
                below, above = (grid[tuple((a + (s if m == axis else 0)) % n for m, (a, n) in enumerate(zip(p, size)))]
                                for s in (-1, 1))
                bend = below - 2 * v + above
                t = 0.5 * (below - above) / bend if bend else 0.0
                height -= 0.25 * (below - above) * t
                xyz.append((p[axis] + t) / size[axis])
            found.append((height, xyz))
    kept = []
    for height, xyz in sorted(found, reverse=True):
        images = [apply(op, xyz) for op in ops]
        near = False
        for _, other in kept:
            for y in images:
                d = [a - b for a, b in zip(y, other)]
                near = near or cell.length([v - round(v) for v in d]) < apart
        if not near:
            kept.append((height, xyz))
        if len(kept) == count:
            break
    return kept


def gather(found, anchors, cell, ops):
    """The peaks moved by symmetry so that each lies next to an anchor or to a peak that does, nearest first."""
    placed, anchors, waiting = {}, list(anchors), dict(enumerate(found))

    def images(xyz, a):
        for op in ops:
            d = [p - q for p, q in zip(apply(op, xyz), a)]
            d = [v - round(v) for v in d]
            yield cell.length(d), [q + v for q, v in zip(a, d)]
    best = {n: min(image for a in anchors for image in images(xyz, a)) for n, (_, xyz) in waiting.items()}
    while waiting:
        n = min(waiting, key=lambda m: best[m][0])
        placed[n] = best[n][1]
        del waiting[n]
        for m, (_, xyz) in waiting.items():
            best[m] = min(best[m], min(images(xyz, placed[n])))
    return [(height, placed[n]) for n, (height, _) in enumerate(found)]
