"""refine_and_map.py FOLDER: refines whewell.res in memory and finds where its difference map is highest."""

import sys
from pathlib import Path

import numpy as np

import marvik

structure = marvik.read(Path(sys.argv[1]) / "whewell.res")
refinement = structure.refine(cycles=4)
print(f"R1 {refinement.r1:.4f}, wR2 {refinement.wr2:.4f}, {refinement.figures['parameters']} parameters")
for name, place, su in zip(refinement.atoms()["name"], refinement.atoms()["xyz"], refinement.atoms()["xyz_su"]):
    print(name, *(f"{x:.5f}({s:.5f})" for x, s in zip(place, su)))
density = refinement.map("difference")
highest = np.unravel_index(density.argmax(), density.shape)
print(f"highest of {density.shape} points: {density.max():.3f} e/A3 at", np.array(highest) / density.shape)
places, heights = refinement.peaks()
print(f"highest peak: {heights[0]:.3f} e/A3 at", places[0])
