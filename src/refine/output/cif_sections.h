#pragma once

#include <map>
#include <optional>

#include "files/cif/cif_writer.h"
#include "refine/output/geometry.h"
#include "refine/output/tables.h"

// The parts of the CIF, in its order.
namespace marvik {

void WriteChemistry(const Session& session, CifWriter& cif);
void WriteSymmetry(const Session& session, CifWriter& cif);
void WriteCell(const Session& session, CifWriter& cif);
void WriteCrystal(const Session& session, CifWriter& cif);
void WriteExperiment(const Session& session, CifWriter& cif);
void WriteRefinement(const Session& session, CifWriter& cif);
void WriteAtoms(const Session& session, const Geometry& geometry, CifWriter& cif);
void WriteGeometry(const Session& session, const Geometry& geometry, CifWriter& cif);

// "." for what stays where it is, "3_655" for the third operation of the list and a cell further along a.
std::string SymmetryCode(const SpaceGroup& group, const SiteImage& image);

// With `decimals` behind the point and no zeros at the end.
std::string Shortest(double value, int decimals);

// Disorder assemblies of the sites: "." without disorder, "A", "B", ... for atoms of parts that share an occupancy or
// are bonded to each other.
std::vector<std::string> AssembliesOf(const Session& session);

// The formal charge that its bonds leave an atom; nothing where they do not make it sure, as with metals.
std::optional<int> FormalCharge(const Session& session, int site);
// The chemical units of the model, "C12 H10 N O, 2(H2 O)"; "" where one has no end, or where the occupancies of what is
// alike add up to no simple number. With charges, "C8 H20 N 1+, Cl 1-", where those of all units, but for one kind at
// most, follow from their bonds and their sum leaves that one a whole number.
std::string MoietyFormula(const Session& session);

}  // namespace marvik
