"""Crystal structures from instruction files and CIFs: atoms, geometry, symmetry, refinement, solution and pictures.

What can go wrong with a file or a job raises marvik.Error with what the program would have said; a file that is not there
raises FileNotFoundError. Lengths are in Å, angles in degrees, displacements in Å², densities in e/Å³; what is not known
is NaN. Arrays are copies: changing one changes no structure.
"""

import json
import os
import shutil
import tempfile
import weakref
from pathlib import Path

from ._marvik import Error, OpenStructure, __version__
from ._marvik import Refinement as _Refinement
from ._marvik import solve as _solve

__all__ = ["Error", "Refinement", "Structure", "read", "refine", "solve", "__version__"]
Error.__module__ = __name__  # where users find it


class _Model:
    """What a structure and the result of a refinement have in common."""

    def atoms(self) -> dict:
        """A dict of lists and arrays, one entry an atom: name, element, xyz (n, 3, fractional), xyz_su, cartesian
        (n, 3), occupancy, occupancy_su, u (n, 6: U11 U22 U33 U23 U13 U12, or Uiso and NaN), u_su, ueq, part, residue.
        The element of a peak is "Q".
        """
        return self._core.atoms()

    def bonds(self) -> dict:
        """A dict of atoms and symmetry (tuples of names and of codes such as "3_655", "" for the atom itself), value
        and su (arrays)."""
        return self._core.geometry("bonds")

    def angles(self) -> dict:
        """As bonds(), with three atoms each, the second in the middle."""
        return self._core.geometry("angles")

    def torsions(self) -> dict:
        """As bonds(), with four atoms each and values from -180 to 180."""
        return self._core.geometry("torsions")


class Structure(_Model):
    """A file of any format that the program opens. It stays as it is on the disk unless write() is given a path."""

    def __init__(self, path):
        os.stat(path)  # says what a Python program expects of a file that is not there
        self.path = Path(path)
        self._core = OpenStructure(os.fsencode(path))

    @classmethod
    def from_bytes(cls, text: bytes, name: str = "model.res") -> "Structure":
        """The structure that a file called `name` would hold: a result of refine() or solve(), or a CIF."""
        folder = tempfile.mkdtemp(prefix="marvik-")  # lint(), check() and the like look at the file: it stays as long
        try:
            path = Path(folder) / Path(name).name
            path.write_bytes(text)
            structure = cls(path)
        except BaseException:
            shutil.rmtree(folder, ignore_errors=True)
            raise
        weakref.finalize(structure, shutil.rmtree, folder, ignore_errors=True)
        return structure

    def __repr__(self):
        return f"<marvik.Structure {self.path.name}: {len(self.atoms()['name'])} atoms>"

    @property
    def title(self) -> str:
        return self._core.title

    @property
    def cell(self):
        """a, b, c, alpha, beta, gamma."""
        return self._core.cell

    @property
    def cell_su(self):
        return self._core.cell_su

    def symmetry(self) -> dict:
        """rotations (n, 3, 3), translations (n, 3), their text, and space_group and number of a known setting."""
        return self._core.symmetry()

    def command(self, steps: str) -> str:
        """Runs commands as `marvik --commands` has them: "select=C*; kill". Gives what they print."""
        return self._core.do(["--commands", steps]).decode("utf-8", "replace")

    def report(self, name: str) -> dict:
        """A report of `marvik --report` as a dict: bonds, hydrogen-bonds, contacts, environment, chirality ..."""
        return json.loads(self._core.do(["--report", name, "--json"]))

    def check(self) -> list:
        """What the checks of a CIF find in the file on the disk: dicts of test, level ("A" to "G"), text, atoms ..."""
        return json.loads(self._core.do(["--check", "--json"]))["findings"]

    def lint(self) -> list:
        """The same for an instruction file, with levels "error", "warning" and "note", and the line."""
        return json.loads(self._core.do(["--lint", "--json"]))["findings"]

    def attachments(self) -> dict:
        """The result file and reflections that a CIF carries, as bytes by their names."""
        with tempfile.TemporaryDirectory() as folder:
            self._core.do(["--extract", "--into", folder])
            return {path.name: path.read_bytes() for path in sorted(Path(folder).iterdir())}

    def picture(self, path=None, *, format: str = "png", rendition: str = "ball", size: int = 600, **options):
        """The picture as bytes, or in a file. Other options as on the command line: labels="off", look="paper",
        rotate="0,90,0", cell=True, renderer="opengl", resolution=300."""
        words = ["--rendition", rendition, "--size", str(size)]
        for name, value in options.items():
            option = "--" + name.replace("_", "-")
            words += [option] if value is True else [] if value is False else [option, str(value)]
        return self._output("--picture", path, format, words)

    def write(self, path=None, *, format: str = "res"):
        """The structure as bytes of a format that `marvik --write` knows, or in a file by its extension."""
        return self._output("--write", path, format)

    def refine(self, reflections=None, *, cycles: int | None = None, progress=None) -> "Refinement":
        """Refines the model as it is now against reflections: a path, or bytes of a file; those beside it without."""
        if reflections is None:
            reflections = self.path.with_suffix(".hkl")
        return Refinement(self._core.instructions(), _bytes_of(reflections), directory=self.path.parent, cycles=cycles,
                          progress=progress)

    def _output(self, action, path, format, words=()):
        if path is None:
            return self._core.do([action, "-", "--format", format, *words])
        self._core.do([action, os.fsencode(path), *words])
        return None


class Refinement(_Model):
    """A least-squares refinement on F², done in memory. Uncertainties come from its full covariance matrix.

    `progress` is called with each line that the program would print; what it raises, and Ctrl+C, ends the refinement.
    """

    def __init__(self, instructions: bytes, reflections: bytes, *, directory=".", cycles: int | None = None,
                 progress=None):
        self._core = _Refinement(instructions, reflections, os.fsencode(directory), cycles, progress)
        self.figures = self._core.figures()  # r1, r1_all, wr2, goof, data, parameters, restraints ...

    def __repr__(self):
        return f"<marvik.Refinement R1 {self.r1:.4f}, wR2 {self.wr2:.4f}>"

    @property
    def r1(self) -> float:
        return self.figures["r1"]

    @property
    def wr2(self) -> float:
        return self.figures["wr2"]

    @property
    def text(self) -> bytes:
        """The result file."""
        return self._core.text

    @property
    def said(self) -> str:
        """What the program would have printed."""
        return self._core.said

    def structure(self) -> Structure:
        """The refined model as a structure of its own, to be drawn, edited and written."""
        return Structure.from_bytes(self.text)

    def cycles(self):
        """(n, 4): wR2, R1, goodness of fit and the largest shift over its s.u. of each cycle."""
        return self._core.cycles()

    def reflections(self) -> dict:
        """hkl (n, 3), fo2, fo2_su and fc2 of the merged data, on the absolute scale, and fc, complex."""
        return self._core.reflections()

    def peaks(self, holes: bool = False) -> tuple:
        """Fractional places (n, 3) and heights of the difference map's highest maxima, or deepest minima."""
        return self._core.peaks(holes)

    def map(self, kind: str = "difference"):
        """The density over the whole cell, (na, nb, nc): difference, observed or 2fo-fc. The point [i, j, k] lies at
        i/na, j/nb, k/nc of the edges."""
        return self._core.map(kind)


def read(path) -> Structure:
    """Opens a file: an instruction or result file, or a CIF."""
    return Structure(path)


def refine(job, *, cycles: int | None = None, progress=None) -> Refinement:
    """Refines NAME.ins against NAME.hkl as marvik-refine does, but writes no file."""
    base = Path(job)
    ins = base.with_suffix(".ins") if base.suffix in (".ins", ".res", ".hkl") else base.with_name(base.name + ".ins")
    return Refinement(ins.read_bytes(), ins.with_suffix(".hkl").read_bytes(), directory=ins.parent, cycles=cycles,
                      progress=progress)


def solve(instructions, reflections, *, complete: bool = False, space_group_as_given: bool = False, seed: int = 1,
          progress=None) -> list:
    """Models from cell, formula and reflections, the best first: dicts of text (bytes of an instruction file), what,
    space_group, r1 and wr2. Both are paths, or bytes of files. With `complete` the first is refined to the end.
    `progress` is called with what is done and the share of it; what it raises, and Ctrl+C, ends the search."""
    return _solve(_bytes_of(instructions), _bytes_of(reflections), complete, space_group_as_given, seed, progress)


def _bytes_of(source):
    return source if isinstance(source, bytes) else Path(source).read_bytes()
