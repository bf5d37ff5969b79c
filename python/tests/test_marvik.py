"""test_marvik.py FOLDER: tests of the Python package on the examples in a folder."""

import math
import sys
import tempfile
import unittest
from pathlib import Path

import numpy as np

import marvik

examples = Path(sys.argv.pop(1))

CIF = """data_su
_cell_length_a 10.000(1)
_cell_length_b 10
_cell_length_c 10
_cell_angle_alpha 90
_cell_angle_beta 90
_cell_angle_gamma 90
loop_
_atom_site_label
_atom_site_type_symbol
_atom_site_fract_x
_atom_site_fract_y
_atom_site_fract_z
_atom_site_U_iso_or_equiv
C1 C 0.1000(3) 0.1 0.1 0.03
C2 C 0.2500(4) 0.1 0.1 0.04(1)
"""


class Reading(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)

    def write(self, name, text):
        path = Path(self.folder.name) / name
        path.write_text(text)
        return path

    def test_atoms_are_those_of_the_file(self):
        structure = marvik.read(examples / "whewell.res")
        atoms = structure.atoms()
        calcium = atoms["name"].index("Ca1")
        self.assertEqual(atoms["element"][calcium], "Ca")
        np.testing.assert_allclose(atoms["xyz"][calcium], [0.9676, 0.1243, 0.0546])
        np.testing.assert_allclose(atoms["u"][calcium], [0.01096, 0.00862, 0.00696, 0.00028, 0.0047, 0.00066])
        self.assertAlmostEqual(atoms["occupancy"][atoms["name"].index("O10W")], 0.15)
        self.assertEqual(atoms["xyz"].shape, (21, 3))
        np.testing.assert_allclose(structure.cell, [6.29, 14.583, 10.116, 90, 109.46, 90])

    def test_symmetry_makes_the_group(self):
        symmetry = marvik.read(examples / "whewell.res").symmetry()
        self.assertEqual(symmetry["number"], 14)
        whole = {(r.tobytes(), tuple(np.round(t % 1, 6))) for r, t in zip(symmetry["rotations"], symmetry["translations"])}
        for r, t in zip(symmetry["rotations"], symmetry["translations"]):
            for r2, t2 in zip(symmetry["rotations"], symmetry["translations"]):
                self.assertIn(((r @ r2).tobytes(), tuple(np.round((r @ t2 + t) % 1, 6))), whole)

    def test_uncertainties_of_a_cif_are_propagated(self):
        structure = marvik.read(self.write("su.cif", CIF))
        bonds = structure.bonds()
        self.assertEqual(bonds["atoms"], [("C1", "C2")])
        self.assertAlmostEqual(bonds["value"][0], 1.5)
        self.assertAlmostEqual(bonds["su"][0], math.sqrt(0.003**2 + 0.004**2 + 0.00015**2), 6)
        self.assertTrue(np.isnan(structure.atoms()["u_su"][0, 0]))
        self.assertEqual(structure.report("bonds")["bonds"][0]["value"], 1.5)

    def test_what_is_written_is_what_was_read(self):
        structure = marvik.read(examples / "azathiop.res")
        self.assertEqual(structure.write(), (examples / "azathiop.res").read_bytes())
        picture = structure.picture(size=300, labels="off")
        self.assertEqual(picture[:8] + picture[16:24], b"\x89PNG\r\n\x1a\n" + (300).to_bytes(4, "big") * 2)
        self.assertNotEqual(picture, structure.picture(size=300, rotate="0,90,0"))
        structure.command("select=$H; kill")
        self.assertNotIn("H", structure.atoms()["element"])
        self.assertLess(len(structure.angles()["value"]), len(marvik.read(examples / "azathiop.res").angles()["value"]))

    def test_faults_are_errors_with_the_programs_words(self):
        with self.assertRaises(FileNotFoundError):
            marvik.read("nowhere.res")
        with self.assertRaisesRegex(marvik.Error, "missing, empty or corrupt"):
            marvik.read(self.write("empty.res", ""))
        structure = marvik.read(examples / "azathiop.res")
        with self.assertRaisesRegex(marvik.Error, "nonsense"):
            structure.command("nonsense")
        with self.assertRaises(marvik.Error):
            marvik.solve(b"not a header", b"")
        with self.assertRaises(FileNotFoundError):
            structure.refine()

    def test_findings_and_attachments_of_files(self):
        text = (examples / "azathiop.res").read_bytes().replace(b"\nUNIT", b"\nUNITY 1\nUNIT")
        findings = marvik.Structure.from_bytes(text, "typo.ins").lint()
        self.assertIn(text.split(b"\n").index(b"UNITY 1") + 1, [finding["line"] for finding in findings])
        result = (examples / "azathiop.res").read_text()
        cif = marvik.read(self.write("su.cif", f"{CIF}_iucr_refine_instructions_details\n;\n{result};\n"))
        self.assertTrue(cif.check())
        self.assertEqual(cif.attachments(), {"su.res": result.encode()})
        with self.assertRaises(marvik.Error):
            marvik.read(examples / "azathiop.res").attachments()


class Refining(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.structure = marvik.read(examples / "whewell.res")
        cls.model = cls.structure.refine(cycles=0)

    def test_figures_are_those_of_the_engine(self):
        # What marvik-refine prints; the header's REM counts every reflection that it simulated.
        self.assertAlmostEqual(self.model.r1, 0.0246, 4)
        self.assertEqual(self.model.figures["strong"], 945)
        self.assertAlmostEqual(self.model.figures["r1_all"], 0.0554, delta=0.0005)
        refined = self.structure.refine(cycles=3)
        self.assertLess(refined.wr2, self.model.wr2)
        self.assertEqual(refined.cycles().shape[1], 4)
        distances = refined.bonds()
        self.assertTrue(np.all((distances["su"][np.isfinite(distances["su"])] < 0.1)))
        self.assertGreater(np.isfinite(distances["su"]).sum(), 10)
        self.assertIn(b"R1 =", refined.text)

    def test_reflections_give_the_figures(self):
        data = self.model.reflections()
        self.assertEqual(data["hkl"].shape, (self.model.figures["data"], 3))
        np.testing.assert_allclose(np.abs(data["fc"]) ** 2, data["fc2"], atol=1e-6)
        strong = data["fo2"] > 2 * data["fo2_su"]
        fo, fc = (np.sqrt(data[name][strong]) for name in ("fo2", "fc2"))
        self.assertAlmostEqual(np.abs(fo - fc).sum() / fo.sum(), self.model.r1, 6)

    def test_the_result_is_a_structure_of_its_own(self):
        result = self.model.structure()
        np.testing.assert_allclose(result.atoms()["xyz"][:21], self.model.atoms()["xyz"], atol=1e-6)
        self.assertTrue(result.picture(format="svg").startswith(b"<?xml"))

    def test_whoever_listens_can_end_it(self):
        def stop(*said):
            raise InterruptedError(str(said))

        with self.assertRaisesRegex(InterruptedError, "reflections read"):
            self.structure.refine(progress=stop)
        with self.assertRaisesRegex(InterruptedError, "phases"):
            marvik.solve(examples / "azastart.res", examples / "azastart.hkl", progress=stop)

    def test_maps_hold_the_electrons(self):
        density = self.model.map("observed")
        a, b, c, _, beta, _ = self.structure.cell
        volume = a * b * c * math.sin(math.radians(beta))
        self.assertAlmostEqual(density.mean() * volume, 16 * 6 + 10.28 + 8 * 20 + 40 * 8, delta=3)
        places, heights = self.model.peaks()
        difference = self.model.map()
        at = tuple(np.round(places[0] * difference.shape).astype(int) % difference.shape)
        self.assertGreater(difference[at], 0.5 * heights[0])
        self.assertAlmostEqual(heights[0], difference.max(), delta=0.2 * heights[0])


unittest.main()
