"""solve.py FOLDER: solves oligomer from its reflections and writes the first model as oligomer_solved.res."""

import sys
from pathlib import Path

import marvik

folder = Path(sys.argv[1])
header = [line for line in (folder / "oligomer.res").read_bytes().split(b"\n")
          if line[:4] in (b"TITL", b"CELL", b"ZERR", b"SFAC", b"UNIT", b"TEMP")]
models = marvik.solve(b"\n".join(header) + b"\nHKLF 4\nEND\n", folder / "oligomer.hkl")
for model in models:
    print(model["what"], model["space_group"], f"R1 {model['r1']:.3f}")
Path("oligomer_solved.res").write_bytes(models[0]["text"])
