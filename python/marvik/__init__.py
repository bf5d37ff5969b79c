"""Crystal structures from instruction files and CIFs: atoms, geometry, symmetry, refinement, solution and pictures.

What can go wrong with a file or a job raises marvik.Error with what the program would have said. Lengths are in
Å, angles in degrees, displacements in Å², densities in e/Å³; what is not known is NaN.
"""

import json
from pathlib import Path

from ._marvik import Error, OpenStructure, __version__
from ._marvik import Refinement as _Refinement
from ._marvik import solve as _solve

__all__ = ["Error", "Refinement", "Structure", "read", "refine", "solve", "__version__"]


class _Model:
    """What a structure and the result of a refinement have in common."""

    def atoms(self):
        """A dict of lists and arrays, one entry an atom: name, element, xyz (n, 3, fractional), xyz_su, cartesian
        (n, 3), occupancy, occupancy_su, u (n, 6: U11 U22 U33 U23 U13 U12, or Uiso and NaN), u_su, ueq, part, residue.
        """
        return self._core.atoms()

    def bonds(self):
        """A dict of atoms and symmetry (tuples of names and of codes such as "3_655"), value and su (arrays)."""
        return self._core.geometry("bonds")

    def angles(self):
        return self._core.geometry("angles")

    def torsions(self):
        return self._core.geometry("torsions")


class Structure(_Model):
    """A file of any format that the program opens. It stays as it is on the disk unless write() is given a path."""

    def __init__(self, path):
        self.path = Path(path)
        self._core = OpenStructure(str(path))

    @property
    def title(self):
        return self._core.title

    @property
    def cell(self):
        """a, b, c, alpha, beta, gamma."""
        return self._core.cell

    @property
    def cell_su(self):
        return self._core.cell_su

    def symmetry(self):
        """rotations (n, 3, 3), translations (n, 3), their text, and space_group and number of a known setting."""
        return self._core.symmetry()

    def command(self, steps):
        """Runs commands as `marvik --commands` has them: "select=C*; kill". Gives what they print."""
        return self._core.do(["--commands", steps]).decode("utf-8", "replace")

    def report(self, name):
        """A report of `marvik --report` as a dict: bonds, hydrogen-bonds, contacts, environment, chirality ..."""
        return json.loads(self._core.do(["--report", name, "--json"]))

    def picture(self, path=None, *, format="png", rendition="ball", size=600, **options):
        """The picture as bytes, or in a file. Other options as on the command line: labels="off", look="paper",
        rotate="0,90,0", cell=True, renderer="opengl", resolution=300."""
        words = ["--picture", str(path) if path else "-", "--rendition", rendition, "--size", str(size)]
        if not path:
            words += ["--format", format]
        for name, value in options.items():
            option = "--" + name.replace("_", "-")
            words += [option] if value is True else [] if value is False else [option, str(value)]
        return self._core.do(words) if not path else self._core.do(words) and None

    def write(self, path=None, *, format="res"):
        """The structure as bytes of a format that `marvik --write` knows, or in a file by its extension."""
        if path:
            self._core.do(["--write", str(path)])
            return None
        return self._core.do(["--write", "-", "--format", format])

    def refine(self, reflections=None, *, cycles=None):
        """Refines the model as it is now against reflections: a path, or bytes of a file; those beside it without."""
        return Refinement(self._core.instructions(), _bytes_of(reflections or self.path.with_suffix(".hkl")),
                          directory=self.path.parent, cycles=cycles)


class Refinement(_Model):
    """A least-squares refinement on F², done in memory. Uncertainties come from its full covariance matrix."""

    def __init__(self, instructions, reflections, *, directory=".", cycles=None):
        self._core = _Refinement(instructions, reflections, str(directory), cycles)
        self.figures = self._core.figures()  # r1, r1_all, wr2, goof, data, parameters, restraints ...

    @property
    def r1(self):
        return self.figures["r1"]

    @property
    def wr2(self):
        return self.figures["wr2"]

    @property
    def text(self):
        """The result file, as bytes."""
        return self._core.text

    @property
    def said(self):
        return self._core.said

    def cycles(self):
        """(n, 4): wR2, R1, goodness of fit and the largest shift over its s.u. of each cycle."""
        return self._core.cycles()

    def peaks(self, holes=False):
        """Fractional places (n, 3) and heights of the difference map's highest maxima, or deepest minima."""
        return self._core.peaks(holes)

    def map(self, kind="difference"):
        """The density over the whole cell, (na, nb, nc): difference, observed or 2fo-fc."""
        return self._core.map(kind)


def read(path):
    """Opens a file: an instruction or result file, or a CIF."""
    return Structure(path)


def refine(job, *, cycles=None):
    """Refines NAME.ins against NAME.hkl as marvik-refine does, but writes no file."""
    base = Path(job)
    ins = base.with_suffix(".ins") if base.suffix in (".ins", ".res", ".hkl") else base.with_name(base.name + ".ins")
    return Refinement(ins.read_bytes(), ins.with_suffix(".hkl").read_bytes(), directory=ins.parent, cycles=cycles)


def solve(instructions, reflections, *, complete=False, space_group_as_given=False, seed=1):
    """Models from cell, formula and reflections, the best first: dicts of text (bytes of an instruction file), what,
    space_group, r1 and wr2. Both are paths, or bytes of files. With `complete` the first is refined to the end."""
    return _solve(_bytes_of(instructions), _bytes_of(reflections), complete, space_group_as_given, seed)


def _bytes_of(source):
    return source if isinstance(source, bytes) else Path(source).read_bytes()
