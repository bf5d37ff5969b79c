#!/usr/bin/python3
"""Runs marvik-solve on structures that are known and says how much of each it finds.

usage: measure_solver.py SOLVER pairs FOLDER [--solve-only] [NAME ...]
       measure_solver.py SOLVER computed FOLDER [--solve-only] [--cut D] [--noise SHARE] [NAME ...]

pairs: NAME.hkl with the refined model NAME.res, or with a header NAME.ins alone; only cell, elements, UNIT and the lattice
as a hint are handed on. computed: the CIFs of the folder; intensities come from their atoms by gemmi (to 0.8 A or D), with
an error of 2 % or SHARE (and a tenth of that of the mean), and no group in the header. Needs python3-gemmi and
python3-numpy.

A line for each: found group, share of atoms within 0.5 A, right elements before and after completion, R1 of the solution,
completed and published, seconds of processor and of wall clock. Hydrogens do not count, nor do atoms of second parts of the
known structure; one of its first parts is found where any part of the other has an atom.
"""
import os
import pathlib
import random
import re
import resource
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

import gemmi
import numpy as np

CENTRINGS = {1: [[0, 0, 0]], 2: [[0, 0, 0], [12, 12, 12]], 3: [[0, 0, 0], [16, 8, 8], [8, 16, 16]],
             4: [[0, 0, 0], [0, 12, 12], [12, 0, 12], [12, 12, 0]], 5: [[0, 0, 0], [0, 12, 12]],
             6: [[0, 0, 0], [12, 0, 12]], 7: [[0, 0, 0], [12, 12, 0]]}
WORK = ["--complete"]
LIMIT = 300  # seconds of processor a run


class Model:
    """Cell, operators and atoms (element, place) of a file; atoms but hydrogen, of the first part and of the others."""

    def __init__(self):
        self.cell, self.ops, self.atoms, self.others, self.r1 = None, [], [], [], None

    def expanded(self, atoms=None):
        """Every atom of the cell once: places (n, 3), elements."""
        places, names = [], []
        orth = np.array(self.cell.orth.mat.tolist())
        for element, x in atoms or self.atoms:
            own = []
            for op in self.ops:
                y = np.array(op.apply_to_xyz(list(x))) % 1.0
                if all(np.linalg.norm(orth @ ((y - z + 0.5) % 1.0 - 0.5)) > 0.3 for z in own):
                    own.append(y)
            places += own
            names += [element] * len(own)
        return np.array(places), np.array(names)

    def group(self):
        found = gemmi.find_spacegroup_by_ops(gemmi.GroupOps(self.ops))
        return found.number if found else 0


def read_instructions(path):
    text = open(path, encoding="latin-1").read().replace("\r", "\n")
    text = re.sub(r"=[ \t]*\n", " ", "\n".join(l for l in text.split("\n") if not l.upper().startswith("TITL")))
    model, sfac, latt, ops, part = Model(), [], 1, [gemmi.Op("x,y,z")], 0
    r1 = re.search(r"R1\s*=\s*([\d.]+)\s+for", text)
    model.r1 = float(r1[1]) if r1 else None
    for line in text.split("\n"):
        w = line.split("!")[0].split()
        if not w:
            continue
        key = w[0].upper()
        if key in ("END", "HKLF"):
            break
        if key == "CELL":
            model.cell = gemmi.UnitCell(*[float(v) for v in w[2:8]])
        elif key == "LATT":
            latt = int(float(w[1]))
        elif key == "SYMM":
            triplet = re.sub(r"\d*\.\d+", lambda m: f"{round(float(m[0]) * 24)}/24", "".join(w[1:]).lower())
            ops.append(gemmi.Op(triplet))
        elif key == "SFAC":
            sfac += [w[1]] if len(w) > 2 and re.match(r"-?[\d.]+$", w[2]) else w[1:]
        elif key == "PART":
            part = int(float(w[1]))
        elif key != "UNIT" and key[0].isalpha() and len(w) >= 5 and re.fullmatch(r"\d+", w[1]) and 1 <= int(w[1]) <= len(sfac):
            try:
                x = [float(v) for v in w[2:5]]
            except ValueError:
                continue
            element = sfac[int(w[1]) - 1].capitalize().lstrip("$")
            if element not in ("H", "D", "Q") and all(abs(v) < 15 for v in x):
                atoms = model.atoms if part in (0, 1, -1) else model.others
                atoms.append((element, [v - 10 if v > 5 else v for v in x]))
    if latt > 0:
        ops += [gemmi.Op("-x,-y,-z") * op for op in ops]
    for op in ops:
        for c in CENTRINGS[abs(latt)]:
            moved = gemmi.Op(op.triplet())
            moved.tran = [a + b for a, b in zip(moved.tran, c)]
            model.ops.append(moved.wrap())
    return model


def compare(known, found):
    """(share of atoms found, share of elements right, share of found atoms that are spurious) at the best origin."""
    if not found.atoms:
        return 0.0, 0.0, 1.0
    orth = np.array(known.cell.orth.mat.tolist())
    places, names = known.expanded()
    everywhere, _ = known.expanded(known.atoms + known.others)
    own = np.array([x for _, x in found.atoms + found.others])
    elements = np.array([e for e, _ in found.atoms + found.others])
    number = np.array([gemmi.Element(e).atomic_number for e in elements])
    order = np.argsort(-number)
    best = (0.0, 0.0, 1.0)

    def distances(y, places=places):
        d = (y[:, None] - places[None] + 0.5) % 1.0 - 0.5
        return np.sqrt(((d @ orth.T) ** 2).sum(-1)), d

    for hand in (1, -1):
        moved = hand * own
        probe = moved[order[:12]]
        trials = []
        for target in places:
            shift = target - probe[0]
            trials.append(((distances(probe + shift)[0].min(1) < 0.5).sum(), tuple(shift)))
        for _, shift in sorted(trials, reverse=True)[:12]:
            y = moved + np.array(shift)
            for _ in range(3):
                r, d = distances(y)
                near = r.argmin(1)
                close = r.min(1) < 0.8
                if close.any():
                    y = y - np.median(d[np.arange(len(y))[close], near[close]], axis=0)
            r, _ = distances(y)
            # An atom of the known cell counts once.
            near, right, used = 0, 0, set()
            for i in np.argsort(r.min(1)):
                j = r[i].argmin()
                if r[i, j] >= 0.5 or j in used:
                    continue
                used.add(j)
                near += 1
                right += names[j] == elements[i]
            # What a lower group lists more often is there more often.
            count = len(known.atoms) * len(known.ops) / len(found.ops)
            spurious = (distances(y, everywhere)[0].min(1) >= 0.5).sum() / len(own)
            best = max(best, (min(1.0, near / count), min(1.0, right / count), spurious))
    return best


def header_of(path):
    """The instructions that tell cell and elements, as they stand."""
    text = open(path, encoding="latin-1").read().replace("\r", "\n")
    lines = re.sub(r"=[ \t]*\n", "=\x00", text).split("\n")
    keep = [l.replace("=\x00", "=\n") for l in lines
            if l[:4].upper().strip() in ("TITL", "CELL", "ZERR", "LATT", "SFAC", "UNIT", "TEMP", "NEUT")]
    hklf = [l for l in lines if l[:4].upper() == "HKLF"]
    return "\n".join(keep + (hklf[:1] or ["HKLF 4"]) + ["END", ""])


def run(solver, folder, name):
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    start = time.time()
    done = subprocess.run([solver, name, "--table", "table"] + WORK, cwd=folder, capture_output=True, text=True,
                          preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_CPU, (LIMIT, LIMIT)))
    said = "timed out" if done.returncode < 0 else done.stdout
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    return said, after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime, time.time() - start


def share(value):
    return "   -" if value is None else f"{100 * value:4.0f}"


class Totals:
    def __init__(self):
        self.rows = []

    def add(self, name, size, known, folder, said, processor, wall, published):
        table = os.path.join(folder, "table")
        row = dict(name=name, solved=os.path.exists(table), processor=processor, wall=wall, size=size)
        self.rows.append(row)
        if not row["solved"]:
            last = [l for l in said.splitlines() if "olved" in l or "**" in l]
            print(f"{name:24} not solved: {last[-1].strip() if last else said[-80:]} ({processor:.1f} s)", flush=True)
            return
        lines = [l.split("\t") for l in open(table).read().splitlines()[1:]]
        first = read_instructions(os.path.join(folder, lines[0][0]))
        last = read_instructions(os.path.join(folder, name + ".res"))
        row.update(group=lines[0][2], r1=float(lines[0][3]), end=float(lines[-1][3]), published=published)
        if known:
            row["right group"] = known.group() == first.group()
            row["atoms"], row["before"], _ = compare(known, first)
            row["found"], row["after"], row["spurious"] = compare(known, last)
            row["weight"] = len(known.atoms)
        print(f"{name:24} {size:6.0f} A3 {row['group']:12}{'' if row.get('right group', True) else '!'} atoms "
              f"{share(row.get('atoms'))} elements {share(row.get('before'))} {share(row.get('after'))} spurious "
              f"{share(row.get('spurious'))}  R1 {row['r1']:.3f} {row['end']:.4f} "
              f"{published if published else '-':6}  {processor:.2f} s ({wall:.2f})", flush=True)

    def print(self):
        solved = [r for r in self.rows if r["solved"]]
        known = [r for r in solved if "atoms" in r]
        print(f"\n{len(solved)} of {len(self.rows)} solved; processor time: median "
              f"{statistics.median(r['processor'] for r in self.rows):.2f} s, most "
              f"{max(r['processor'] for r in self.rows):.1f} s; wall clock: median "
              f"{statistics.median(r['wall'] for r in self.rows):.2f} s")
        if not known:
            return
        weight = sum(r["weight"] for r in known)
        mean = {key: 100 * sum(r[key] * r["weight"] for r in known) / weight for key in ("atoms", "before", "after")}
        print(f"{sum(r['right group'] for r in known)} of {len(known)} groups right; of {weight} atoms "
              f"{mean['atoms']:.1f} % found, elements right {mean['before']:.1f} % before and {mean['after']:.1f} % after "
              "completion")


def names_in(folder, pattern, wanted):
    paths = sorted(pathlib.Path(folder).glob(pattern))
    return [p for p in paths if not wanted or p.stem in wanted]


def measure_pairs(solver, folder, wanted, totals):
    for hkl in names_in(folder, "*.hkl", wanted):
        model = hkl.with_suffix(".res")
        source = model if model.exists() else hkl.with_suffix(".ins")
        with tempfile.TemporaryDirectory() as scratch:
            shutil.copy(hkl, os.path.join(scratch, hkl.name))
            open(os.path.join(scratch, hkl.stem + ".ins"), "w", encoding="latin-1").write(header_of(source))
            known = read_instructions(source)
            said, processor, wall = run(solver, scratch, hkl.stem)
            totals.add(hkl.stem, known.cell.volume, known if known.atoms else None, scratch, said, processor, wall,
                       known.r1)


def compute(path, d_min, noise, scratch):
    """Writes NAME.ins and NAME.hkl of a CIF's atoms; the known model, or None for what cannot serve."""
    try:
        small = gemmi.read_small_structure(str(path))
    except Exception:  # of many kinds: the file is not for us
        return None
    group = gemmi.find_spacegroup_by_name(small.spacegroup_hm, small.cell.alpha, small.cell.gamma) \
        if small.spacegroup_hm else None
    heavy = [s for s in small.sites if s.element.atomic_number > 1 and s.occ > 0.5]
    if any(s.element.atomic_number == 0 for s in small.sites):
        return None
    if not group or not heavy or not 50 < small.cell.volume < 20000 or small.cell.a < 2:
        return None
    model = Model()
    model.cell, model.ops = small.cell, list(group.operations())
    small.setup_cell_images()
    model.atoms = [(s.element.name, s.fract.tolist()) for s in heavy]
    for site in small.sites:
        if site.u_iso <= 0 and not site.aniso.nonzero():
            site.u_iso = 0.03
    occupancies = [site.occ for site in small.sites]
    small.change_occupancies_to_crystallographic()  # every image of a site is summed
    calculator = gemmi.StructureFactorCalculatorX(small.cell)
    wavelength, ops = 0.71073, group.operations()
    random.seed(1)
    limit = [int(edge / d_min) + 1 for edge in (small.cell.a, small.cell.b, small.cell.c)]
    asu = gemmi.ReciprocalAsu(group)
    rows = []
    for h in range(-limit[0], limit[0] + 1):
        for k in range(-limit[1], limit[1] + 1):
            for l in range(-limit[2], limit[2] + 1):
                hkl = [h, k, l]
                if hkl == [0, 0, 0] or small.cell.calculate_d(hkl) < d_min or not asu.is_in(hkl) \
                        or ops.is_systematically_absent(hkl):
                    continue
                rows.append((hkl, abs(calculator.calculate_sf_from_small_structure(small, hkl)) ** 2))
    if not 40 < len(rows) < 200000:
        return None
    scale = min(1.0, 90000.0 / max(f2 for _, f2 in rows))
    mean = statistics.mean(f2 for _, f2 in rows) * scale
    text = ""
    for (h, k, l), f2 in rows:
        sigma = noise * f2 * scale + 0.1 * noise * mean + 0.01
        text += f"{h:4d}{k:4d}{l:4d}{f2 * scale + random.gauss(0, sigma):8.2f}{sigma:8.2f}\n"
    counts = {}
    for site, occupancy in zip(small.sites, occupancies):
        alone = Model()
        alone.cell, alone.ops, alone.atoms = model.cell, model.ops, [(site.element.name, site.fract.tolist())]
        counts[site.element.name] = counts.get(site.element.name, 0.0) + occupancy * len(alone.expanded()[1])
    c = small.cell
    lattice = {v: n for n, v in enumerate("PIRFABC", 1)}[group.hm[0] if group.hm[0] != "R" or c.gamma > 100 else "P"]
    open(os.path.join(scratch, path.stem + ".ins"), "w").write(
        f"TITL {path.stem}\nCELL {wavelength} {c.a} {c.b} {c.c} {c.alpha} {c.beta} {c.gamma}\n"
        f"ZERR 1 0 0 0 0 0 0\nLATT -{lattice}\nSFAC {' '.join(counts)}\n"
        f"UNIT {' '.join(f'{n:g}' for n in counts.values())}\nHKLF 4\nEND\n")
    open(os.path.join(scratch, path.stem + ".hkl"), "w").write(text)
    return model


def measure_computed(solver, folder, d_min, noise, wanted, totals):
    for path in names_in(folder, "*.cif", wanted):
        with tempfile.TemporaryDirectory() as scratch:
            model = compute(path, d_min, noise, scratch)
            if not model:
                continue
            said, processor, wall = run(solver, scratch, path.stem)
            totals.add(path.stem, model.cell.volume, model, scratch, said, processor, wall, None)


def main():
    if len(sys.argv) < 4 or sys.argv[2] not in ("pairs", "computed"):
        sys.exit(__doc__)
    solver, kind, folder, *names = sys.argv[1:]
    solver = os.path.abspath(solver)
    if names[:1] == ["--solve-only"]:
        WORK.clear()
        names = names[1:]
    options = {"--cut": 0.8, "--noise": 0.02}
    while len(names) > 1 and names[0] in options:
        options[names[0]], names = float(names[1]), names[2:]
    totals = Totals()
    if kind == "pairs":
        measure_pairs(solver, folder, set(names), totals)
    else:
        measure_computed(solver, folder, options["--cut"], options["--noise"], set(names), totals)
    if totals.rows:
        totals.print()


main()
