#!/usr/bin/env python3
"""Checks which folder includes which, that the toolkit stays in src/app/ui, and that no source file grows too long.

A folder may include itself and what stands in its row; tests/<folder> may include what src/<folder> may, and what stands
beside insfile may be tested on structures that the reader makes.
"""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
LONGEST = 600  # lines

BASE = {"util", "model", "cryst"}
CORE = BASE | {"insfile", "chem", "export", "display", "gl", "refine", "app"}
MAY_USE = {
    "util": set(), "model": {"util"}, "cryst": {"util", "model"},
    "insfile": BASE, "chem": BASE, "export": BASE, "display": BASE, "refine": BASE,
    "gl": BASE | {"display"}, "app": CORE, "app/ui": CORE,
    "engine": BASE | {"insfile"}, "bench": CORE | {"engine"}, "fuzz": CORE, "support": {"util", "model"},
}
INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]')
TOOLKIT = re.compile(r"Q[A-Z]\w*(/\w+)?$|Qt\w*/|moc_|ui_|.*\.moc$")


def layer_of(path):
    """The row of a file or of an included name: its folder below src/ or tests/, app/ui being one of its own."""
    parts = list(path.parts[1:] if path.parts[0] in ("src", "tests") else path.parts)
    if parts[:2] == ["app", "ui"] or (path.parts[0] == "tests" and parts[0] == "ui"):
        return "app/ui"
    return parts[0]


def faults_of(path):
    layer = layer_of(path)
    if layer not in MAY_USE:
        return [f"{path}: no row for {layer} in {pathlib.Path(__file__).name}"] if len(path.parts) > 2 else []
    allowed = MAY_USE[layer] | {layer}
    if path.parts[0] == "tests":
        allowed |= {"support"} | ({"insfile"} if BASE <= MAY_USE[layer] else set())
    lines = (ROOT / path).read_text(encoding="utf-8", errors="replace").splitlines()
    faults = [f"{path}: {len(lines)} lines, {LONGEST} at most"] if len(lines) > LONGEST else []
    for number, line in enumerate(lines, 1):
        match = INCLUDE.match(line)
        if not match:
            continue
        name = match[2]
        if TOOLKIT.match(name):
            if layer != "app/ui":
                faults.append(f"{path}:{number}: {name} belongs to src/app/ui alone")
        elif match[1] == '"' and path.parts[0] == "tests" and "/" not in name and (ROOT / path.parent / name).exists():
            continue  # a test's own helper beside it
        elif match[1] == '"' and layer_of(pathlib.PurePath(name)) not in allowed:
            faults.append(f"{path}:{number}: {layer} may not include {name}")
    return faults


def main():
    files = sorted(p.relative_to(ROOT) for top in ("src", "engine", "tests", "bench", "fuzz")
                   for p in (ROOT / top).rglob("*") if p.suffix in (".h", ".cpp"))
    faults = [fault for path in files for fault in faults_of(path)]
    print("\n".join(faults) if faults else f"{len(files)} files keep to the layers")
    return 1 if faults or not files else 0


if __name__ == "__main__":
    sys.exit(main())
