"""geometry_table.py FOLDER: bonds between other atoms than hydrogen of azathiop.res, with their s.u., as CSV, and a picture."""

import csv
import sys
from pathlib import Path

import marvik

structure = marvik.read(Path(sys.argv[1]) / "azathiop.res")
bonds = structure.bonds()
table = csv.writer(sys.stdout)
table.writerow(["atom 1", "atom 2", "symmetry", "distance", "s.u."])
for atoms, symmetry, value, su in zip(bonds["atoms"], bonds["symmetry"], bonds["value"], bonds["su"]):
    if not any(name.startswith("H") for name in atoms):
        table.writerow([*atoms, symmetry[1], f"{value:.4f}", f"{su:.4f}"])
Path("azathiop.png").write_bytes(structure.picture(size=400, rendition="ellipsoid", look="paper"))
