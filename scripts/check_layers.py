#!/usr/bin/env python3
"""Checks which folder includes which, that the toolkit stays in src/ui, that functions have one casing, and that no
source file grows too long.

A folder may include itself, what stands in its row of DIRECT, and what these may include. tests/<folder> may include
what src/<folder> may, and the readers of files and the bonds, for structures to test on.
"""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
LONGEST = 600  # lines

# The arrows of docs/ARCHITECTURE.md; CMakeLists.txt links by the same.
DIRECT = {
    "base": "", "crystal": "base", "model": "crystal", "language": "model", "files": "language", "chem": "language",
    "edit": "chem files", "refine": "chem files", "phase": "refine run", "check": "refine", "run": "files", "draw": "chem",
    "gl": "draw", "picture": "draw gl", "report": "chem", "publish": "check", "app": "edit run picture report publish", "ui": "app",
    "programs": "ui app phase", "python": "app phase", "bench": "app phase", "fuzz": "app refine phase", "support": "model",
}
# Facts that stand in one folder: a type or function of such a name is defined nowhere else in src.
HOME = {
    "crystal": r"Metric|MakeMetric|\w*Symmetry?Operat(or|ion)s?|GroupOperat(or|ion)s?|ParseOperator|OperatorText|"
               r"SpaceGroup|MakeSpaceGroup|Site(Operations|Symmetry\w*)|FitsCell|CellVolume|Reciprocal(Edges|Cell)|"
               r"Orthogonal\w*|UeqWeights|SinTheta\w*|NeighbourGrid|ImageSearch|RotatedTensor|Angle|LatticeRotations",
    "model": r"Is(Hydrogen|Deuterium)Row|IsRiding\w*|SplitCodedValue|Decoded(Value|Occupancy)|StandAs",
    "chem": r"TorsionAngle|HydrogenDistance|PartsMayBond|BondRules|BondReach|AreAlternatives|IsMetal|VanDerWaalsRadius|ContactRadius|CellSigmas",
    "language": r"ParseInstruction|TemperatureOf",
    "files": r"CifReader|CifTokens|ParseCifNumber",
}
# Formulas of such facts, written out.
FORMULA = {"base": re.compile(r"\b(3\.1415|6\.2831|57\.2957|78\.956|0\.0174)|M_PI\b"), "crystal": re.compile(r"atan2\(Length\(Cross\("),
           "chem": re.compile(r"atan2\(Dot\(Cross\(|(bind|free)Pairs\.(pairs|IndexOf)\b|bondRadius \+ .*[rR]adius"),
           "model": re.compile(r"== k(Hydrogen|Deuterium)Row \|\| |< -0\.5 && .* > -5\.0")}
DEFINITION = re.compile(r"(?:struct|class) (\w+)(?: final)?(?: :[^{]*)? \{|(?!return|using|else)[\w:<>,&* ]+[ *&](\w+)\([^;]*$")
# A function of our own that does not begin with a capital; the window's override the toolkit's.
SMALL = re.compile(r"(?!return|else|throw|using|new)[\w:<>,&*]+(?: [\w:<>,&*]+)* [*&]?(?:\w+::)*([a-z]+[A-Z]\w*)\([^;]*[{,]$")
INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]')
TOOLKIT = re.compile(r"Q[A-Z]\w*(/\w+)?$|Qt\w*/|moc_|ui_|.*\.moc$")


def reach(layer):
    """The folder itself and everything that it may include."""
    return {layer}.union(*(reach(used) for used in DIRECT[layer].split()))


def layer_of(path):
    """The row of a file or of an included name: its folder below src/ or tests/."""
    return path.parts[1 if path.parts[0] in ("src", "tests") else 0]


def faults_of(path):
    layer = layer_of(path)
    if layer not in DIRECT:
        return [f"{path}: no row for {layer} in {pathlib.Path(__file__).name}"] if len(path.parts) > 2 else []
    allowed = reach(layer)
    if path.parts[0] == "tests":
        allowed |= {"support"} | (reach("files") | reach("chem") if "crystal" in allowed else set())
    lines = (ROOT / path).read_text(encoding="utf-8", errors="replace").splitlines()
    faults = [f"{path}: {len(lines)} lines, {LONGEST} at most"] if len(lines) > LONGEST else []
    for number, line in enumerate(lines, 1):
        known = DEFINITION.match(line) if path.parts[0] == "src" else None
        for home, names in HOME.items():
            if known and home != layer and re.fullmatch(names, known[1] or known[2]):
                faults.append(f"{path}:{number}: {known[1] or known[2]} belongs to src/{home} alone")
        for home, formula in FORMULA.items():
            if (path.parts[0] == "src" or home == "base") and home != layer and formula.search(line):
                faults.append(f"{path}:{number}: this formula belongs to src/{home} alone")
        small = SMALL.match(line) if path.parts[0] == "src" and layer != "ui" else None
        if small:
            faults.append(f"{path}:{number}: {small[1]} is a function; it begins with a capital")
        match = INCLUDE.match(line)
        if not match:
            continue
        name = match[2]
        if TOOLKIT.match(name):
            if layer not in ("ui", "programs"):
                faults.append(f"{path}:{number}: {name} belongs to src/ui alone")
        elif match[1] == '"' and path.parts[0] == "tests" and "/" not in name and (ROOT / path.parent / name).exists():
            continue  # a test's own helper beside it
        elif match[1] == '"' and layer_of(pathlib.PurePath(name)) not in allowed:
            faults.append(f"{path}:{number}: {layer} may not include {name}")
    return faults


def main():
    files = sorted(p.relative_to(ROOT) for top in ("src", "programs", "python", "tests", "bench", "fuzz")
                   for p in (ROOT / top).rglob("*") if p.suffix in (".h", ".cpp"))
    faults = [fault for path in files for fault in faults_of(path)]
    print("\n".join(faults) if faults else f"{len(files)} files keep to the layers")
    return 1 if faults or not files else 0


if __name__ == "__main__":
    sys.exit(main())
