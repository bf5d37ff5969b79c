#!/usr/bin/env python3
"""Refines every NAME.res with its NAME.hkl of a folder and holds what comes out against what was published.

    compare_pairs.py ENGINE FOLDER [--items TABLE.tsv] [--cycles N] [--keep FOLDER] [--all]

ENGINE is marvik-refine. Each CIF and list of structure factors is read by gemmi (Debian: gemmi, python3-gemmi), and its
items are looked up in a table of the core dictionary where one is given: name, other names, type, unit, range, allowed
values. NAME.published.cif is compared as compare_cifs.py does; without one the remarks of NAME.res are.
"""
import argparse
import pathlib
import re
import shutil
import subprocess
import tempfile

from compare_cifs import compare_files, number, read

# Core items of CIF 1.1 whose names hold a slash or were dropped, the attached files, and a range that is a wish.
UNLISTED = re.compile(r".*/(neti|su_max|su_mean)|_iucr_refine_.*|_diffrn_source|.*_fraction_full")
REMARKS = {
    "wR2": r"REM wR2 =\s+([\d.]+)", "S": r"GooF = S =\s+([\d.]+)", "restrained S": r"Restrained GooF =\s+([\d.]+)",
    "R1": r"REM R1 =\s+([\d.]+)", "strong": r"REM R1 =.* for\s+(\d+) Fo", "R1 of all": r"and\s+([\d.]+) for all",
    "data": r"for all\s+(\d+) data", "parameters": r"REM\s+(\d+) parameters", "restraints": r"using\s+(\d+) restraints",
    "peak": r"difference peak\s+([-\d.]+)", "hole": r"deepest hole\s+([-\d.]+)"}


def core_items(path):
    items = {}
    for line in open(path, encoding="utf-8"):
        columns = (line.rstrip("\n").split("\t") + [""] * 6)[:6]
        for name in [columns[0], *columns[1].split()]:
            items[name.lower().replace(".", "_")] = columns
    return items


def fault(item, value):
    _, _, kind, _, span, allowed = item
    if value in ("?", "."):
        return ""
    if len(allowed.split()) > 1 and value not in allowed.split():
        return "is none of the allowed values"
    if kind not in ("Real", "Integer"):
        return ""
    found = number(value)
    if found is None or (kind == "Integer" and found[0] != int(found[0])):
        return "is no " + kind
    low, high = (number(limit) for limit in (span + ":").split(":")[:2])
    if (low and found[0] < low[0]) or (high and found[0] > high[0]):
        return "is not in " + span
    return ""


def findings(path, items):
    """What gemmi and the table say against a CIF."""
    said = []
    try:
        import gemmi
        gemmi.cif.read(str(path))
    except ImportError:
        pass
    except (ValueError, RuntimeError) as error:
        said.append(str(error))
    if shutil.which("gemmi"):
        run = subprocess.run(["gemmi", "validate", str(path)], capture_output=True, text=True)
        said += [run.stdout + run.stderr] if run.returncode else []
    single, loops = read(path)
    for names, rows in [([n], [[v]]) for n, v in single.items()] + loops:
        for name in [n for n in names if items and not UNLISTED.fullmatch(n)]:
            if name not in items:
                said.append(name + " is in no dictionary")
                continue
            column = names.index(name)
            said += sorted({f"{name} {row[column]} {why}" for row in rows if (why := fault(items[name], row[column]))})
    return said


def figures(text):
    return {name: match.group(1) for name, form in REMARKS.items() if (match := re.search(form, text))}


def differing(ours, theirs):
    """Figures that differ by more than one in the last digit."""
    def far(name):
        a, b = float(ours.get(name, "nan")), float(theirs[name])
        return not abs(a - b) <= 1.001 * 10.0 ** -len(theirs[name].partition(".")[2])
    return [f"{name} {ours.get(name, 'none')} | {value}" for name, value in theirs.items() if far(name)]


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("engine", type=pathlib.Path)
    parser.add_argument("folder", type=pathlib.Path)
    parser.add_argument("--items", type=pathlib.Path)
    parser.add_argument("--cycles", default="12")
    parser.add_argument("--keep", type=pathlib.Path)
    parser.add_argument("--all", action="store_true")
    given = parser.parse_args()
    items = core_items(given.items) if given.items else {}
    work = given.keep or pathlib.Path(tempfile.mkdtemp())
    work.mkdir(parents=True, exist_ok=True)
    print("| pair | findings | equal | value | s.u. | text | rows not found | lacking |\n|---|---|---|---|---|---|---|---|")
    told = []
    for result in sorted(given.folder.glob("*.res")):
        name, text = result.stem, result.read_text(encoding="latin-1")
        shutil.copy(result.with_suffix(".hkl"), work)
        # The weights, the model and the refinement are the file's; only the cycles go on to the end.
        (work / (name + ".ins")).write_text(re.sub(r"(?m)^(L\.S\.|CGLS).*$", "L.S. " + given.cycles, text), "latin-1")
        subprocess.run([given.engine.resolve(), name], cwd=work, capture_output=True, check=True)
        said = [s for e in (".cif", ".fcf") if (path := work / (name + e)).exists() for s in findings(path, items)]
        cif = result.with_suffix("").with_suffix(".published.cif")
        if cif.exists():
            counts, lines, missing = compare_files(work / (name + ".cif"), cif, given.all)
            cells = [counts[k] for k in ("equal", "value", "s.u.", "text", "rows not found")] + [" ".join(missing) or "nothing"]
        else:
            theirs = figures(text)
            lines = ["  " + line for line in differing(figures((work / (name + ".res")).read_text("latin-1")), theirs)]
            cells = [f"{len(theirs) - len(lines)} figures", len(lines), "", "", "", ""]
        print("|", " | ".join(str(c) for c in [name, len(said), *cells]), "|")
        told += [name, *("  " + s for s in said), *(lines if given.all else lines[:40])]
    print("\n".join(told))


main()
