#!/usr/bin/env python3
"""scripts/make_big_model.py N [--symmetry] > FILE.res

A made-up molecular crystal with exactly N atoms for measuring and tests: rod-like molecules of 44 atoms (four benzene
rings in a row, each turned against the last, a nitrile at one end and a hydroxyl at the other), one residue each, side
by side as in a crystal; anisotropic C, N and O, riding H. The last molecule ends where the N atoms are spent. In P1, or
with --symmetry in P b c a (eight operators), the N atoms filling the asymmetric unit.
"""
import argparse
import math
import sys

SPACING = (23.0, 7.4, 4.6)  # Å between molecules along a (their length), b and c
RING, BRIDGE, TWIST = 1.39, 1.49, 35.0  # Å, Å, degrees


def molecule():
    """[(name, element, x, y, z)] in Å, the long axis along x."""
    atoms, rings = [], 4
    count = {"C": 0, "H": 0}

    def add(element, x, y, z, name=None):
        if name is None:
            count[element] += 1
            name = f"{element}{count[element]}"
        atoms.append((name, element, x, y, z))

    add("N", -RING - 1.44 - 1.15, 0, 0, "N1")
    add("C", -RING - 1.44, 0, 0)
    for ring in range(rings):
        centre = ring * (2 * RING + BRIDGE)
        turn = math.radians(TWIST * (ring % 2) + 20)
        for step in range(6):
            angle = math.radians(180 - 60 * step)
            for element, radius in (("C", RING), ("H", RING + 0.95)):
                if element == "H" and step in (0, 3):
                    continue  # the bridge carbons
                side = radius * math.sin(angle)
                add(element, centre + radius * math.cos(angle), side * math.cos(turn), side * math.sin(turn))
    end = (rings - 1) * (2 * RING + BRIDGE) + RING
    add("O", end + 1.36, 0, 0, "O1")
    add("H", end + 1.36 + 0.28, 0.79, 0)
    return atoms


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("atoms", type=int)
    parser.add_argument("--symmetry", action="store_true")
    options = parser.parse_args()

    template = molecule()
    molecules = -(-options.atoms // len(template))
    edge = (molecules * math.prod(SPACING)) ** (1 / 3)
    grid = [max(1, round(edge / SPACING[0])), max(1, round(edge / SPACING[1]))]
    grid.append(-(-molecules // (grid[0] * grid[1])))
    copies = 2 if options.symmetry else 1
    cell = [copies * n * s for n, s in zip(grid, SPACING)]

    write = sys.stdout.write
    write(f"TITL {options.atoms} atoms in {'P b c a' if options.symmetry else 'P1'}\n")
    write("CELL 0.71073 {:.4f} {:.4f} {:.4f} 90 90 90\n".format(*cell))
    write("ZERR 1 0.001 0.001 0.001 0 0 0\n")
    if options.symmetry:
        write("LATT 1\nSYMM 0.5-X, -Y, 0.5+Z\nSYMM -X, 0.5+Y, 0.5-Z\nSYMM 0.5+X, 0.5-Y, -Z\n")
    else:
        write("LATT -1\n")
    elements = ["C", "H", "N", "O"]
    total = [sum(template[i % len(template)][1] == e for i in range(options.atoms)) for e in elements]
    factor = 8 if options.symmetry else 1
    write(f"SFAC {' '.join(elements)}\nUNIT {' '.join(str(n * factor) for n in total)}\nL.S. 4\nFVAR 1.0\n")

    left = options.atoms
    for index in range(molecules):
        place = (index // (grid[1] * grid[2]), index // grid[2] % grid[1], index % grid[2])
        write(f"RESI {index + 1} MOL\n")
        afix = 0
        for name, element, *offset in template[:left]:
            start = (5.0, 3.7, 2.3)  # Å from the cell's corner to the first ring, so that no image comes near
            fract = [(p * s + o + t) / c for p, s, o, t, c in zip(place, SPACING, start, offset, cell)]
            code = 0 if element != "H" else 147 if offset[0] > 14.5 else 43
            if code != afix:
                write(f"AFIX {code}\n")
                afix = code
            line = "{:<4} {} {:10.6f} {:10.6f} {:10.6f} 11.00000".format(name, elements.index(element) + 1, *fract)
            if element == "H":
                write(f"{line} {-1.5 if code == 147 else -1.2:.5f}\n")
            else:
                write(f"{line} 0.04000 0.05000 =\n     0.03500 0.00200 0.00400 -0.00300\n")
        if afix:
            write("AFIX 0\n")
        left -= min(left, len(template))
    write("RESI 0\nHKLF 4\nEND\n")


if __name__ == "__main__":
    main()
