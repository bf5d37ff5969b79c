#include "language/keywords.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace marvik {

namespace {

using enum InstructionKeyword;

// clang-format off
constexpr std::array<KeywordRow, kAllKeywords> kTable{{
    // keyword, spelling, its words, its place, whether it stays in a run, why the engine does not act on it, what it means
    {kActa, "ACTA", Takes::Numbers, KeptPlace::Body, false, "has no effect here", "write a CIF, with an angle: reflections up to that 2θ"},
    {kAfix, "AFIX", Takes::Numbers, KeptPlace::Body, false, nullptr, "the hydrogens or the group of the atoms behind it: geometry and how they move"},
    {kAnis, "ANIS", Takes::Names, KeptPlace::BeforeAtom, false, nullptr, "make atoms anisotropic"},
    {kBasf, "BASF", Takes::Numbers, KeptPlace::Batches, false, nullptr, "fractions of twin components, or scales of batches"},
    {kBind, "BIND", Takes::Names, KeptPlace::Body, false, nullptr, "atoms that are bonded whatever their distance; parts that may bond"},
    {kBloc, "BLOC", Takes::Names, KeptPlace::Body, true, nullptr, "parameters that are refined in some cycles only"},
    {kBond, "BOND", Takes::Names, KeptPlace::Body, false, nullptr, "atoms whose bonds and angles are listed"},
    {kBump, "BUMP", Takes::Numbers, KeptPlace::Body, true, nullptr, "keep atoms from coming too close"},
    {kCell, "CELL", Takes::Numbers, KeptPlace::Body, false, "has no effect here", "wavelength (Å) and cell (Å, degrees)"},
    {kCgls, "CGLS", Takes::Numbers, KeptPlace::Body, false, "has no effect here", "refine by conjugate gradients: cycles"},
    {kChiv, "CHIV", Takes::Names, KeptPlace::Body, true, nullptr, "restrain chiral volumes (Å³)"},
    {kConf, "CONF", Takes::Names, KeptPlace::Body, true, nullptr, "list torsion angles"},
    {kConn, "CONN", Takes::Names, KeptPlace::Body, true, nullptr, "largest number of bonds and radius (Å) of atoms"},
    {kDamp, "DAMP", Takes::Numbers, KeptPlace::Body, true, nullptr, "damping of shifts, and their limit in s.u."},
    {kDang, "DANG", Takes::Names, KeptPlace::Body, true, nullptr, "restrain 1,3-distances (Å)"},
    {kDefs, "DEFS", Takes::Numbers, KeptPlace::Here, true, nullptr, "default uncertainties of the restraints behind it"},
    {kDelu, "DELU", Takes::Names, KeptPlace::Body, true, nullptr, "restrain to rigid bonds (components of U along bonds alike)"},
    {kDfix, "DFIX", Takes::Names, KeptPlace::Body, true, nullptr, "restrain distances to a value (Å)"},
    {kDisp, "DISP", Takes::Elements, KeptPlace::AfterSfac, false, nullptr, "dispersion f′, f″ and absorption of an element"},
    {kEadp, "EADP", Takes::Names, KeptPlace::Body, true, nullptr, "atoms with the same displacement parameters"},
    {kEgen, "EGEN", Takes::Numbers, KeptPlace::Body, false, "has no effect here", "generate E values"},
    {kEqiv, "EQIV", Takes::Text, KeptPlace::First, true, nullptr, "a symmetry operator that names can refer to"},
    {kEsel, "ESEL", Takes::Numbers, KeptPlace::Body, false, "has no effect here", "select E values"},
    {kExti, "EXTI", Takes::Numbers, KeptPlace::Body, false, "has no effect here", "refine extinction"},
    {kExyz, "EXYZ", Takes::Names, KeptPlace::Body, true, nullptr, "atoms on the same place"},
    {kFend, "FEND", Takes::Text, KeptPlace::Body, true, "has no effect here", "end of a fragment"},
    {kFlat, "FLAT", Takes::Names, KeptPlace::Body, true, nullptr, "restrain atoms to a plane"},
    {kFmap, "FMAP", Takes::Numbers, KeptPlace::Body, false, "has no effect here", "kind of map: 2 difference, 3 Fo, 4 2Fo-Fc"},
    {kFrag, "FRAG", Takes::Text, KeptPlace::Fragment, true, "no FEND ends it", "coordinates of a fragment"},
    {kFree, "FREE", Takes::Names, KeptPlace::Body, false, nullptr, "atoms that are not bonded however near"},
    {kFvar, "FVAR", Takes::Numbers, KeptPlace::Body, false, "has no effect here", "scale factor and free variables"},
    {kGrid, "GRID", Takes::Numbers, KeptPlace::Body, false, nullptr, "grid of the map"},
    {kHfix, "HFIX", Takes::Names, KeptPlace::Body, false, nullptr, "make hydrogens on atoms: geometry and how they move"},
    {kHklf, "HKLF", Takes::Numbers, KeptPlace::Body, false, "has no effect here", "form of the reflections: 4 intensities, 5 overlapped ones"},
    {kHope, "HOPE", Takes::Names, KeptPlace::BeforeAtom, true, nullptr, "refine an overall anisotropic scale"},
    {kHtab, "HTAB", Takes::Names, KeptPlace::Body, true, nullptr, "list hydrogen bonds"},
    {kInit, "INIT", Takes::Numbers, KeptPlace::Body, false, "has no effect here", "phases to begin with"},
    {kIsor, "ISOR", Takes::Names, KeptPlace::Body, true, nullptr, "restrain U to be about isotropic"},
    {kLast, "LAST", Takes::Numbers, KeptPlace::Body, false, "has no effect here", "end of the data"},
    {kLatt, "LATT", Takes::Numbers, KeptPlace::Body, false, "has no effect here", "lattice: 1 P, 2 I, 3 R, 4 F, 5 A, 6 B, 7 C; negative without a centre of symmetry"},
    {kLaue, "LAUE", Takes::Numbers, KeptPlace::Body, false, "not read; with HKLF 2 dispersion is that of the tables at each wavelength", "scattering factors that depend on the wavelength"},
    {kList, "LIST", Takes::Numbers, KeptPlace::Body, false, "has no effect here", "list of structure factors: 4 intensities, 6 with phases"},
    {kLs, "L.S.", Takes::Numbers, KeptPlace::Body, false, "has no effect here", "refine by full-matrix least squares: cycles"},
    {kMerg, "MERG", Takes::Numbers, KeptPlace::Body, false, "has no effect here", "how equivalent reflections are merged"},
    {kMole, "MOLE", Takes::Numbers, KeptPlace::Body, false, nullptr, "number of the molecule"},
    {kMore, "MORE", Takes::Numbers, KeptPlace::Body, false, nullptr, "how much is listed"},
    {kMove, "MOVE", Takes::Numbers, KeptPlace::BeforeAtom, false, nullptr, "move, invert the atoms behind it"},
    {kNcsy, "NCSY", Takes::Names, KeptPlace::Body, true, nullptr, "restrain to non-crystallographic symmetry"},
    {kOmit, "OMIT", Takes::Names, KeptPlace::Body, false, nullptr, "reflections left out: weak, beyond 2θ, or one by its indices"},
    {kPart, "PART", Takes::Numbers, KeptPlace::Body, false, nullptr, "alternative of a disorder that the atoms behind it belong to, and their occupancy"},
    {kPatt, "PATT", Takes::Numbers, KeptPlace::Body, false, "has no effect here", "search Patterson vectors"},
    {kPhan, "PHAN", Takes::Numbers, KeptPlace::Body, false, "has no effect here", "phase annealing"},
    {kPhas, "PHAS", Takes::Numbers, KeptPlace::Body, false, "has no effect here", "fixed phases"},
    {kPlan, "PLAN", Takes::Numbers, KeptPlace::Body, false, "has no effect here", "number of peaks"},
    {kPsee, "PSEE", Takes::Numbers, KeptPlace::Body, false, "has no effect here", "search molecular replacement"},
    {kRem, "REM ", Takes::Text, KeptPlace::Body, true, nullptr, "a remark"},
    {kResi, "RESI", Takes::Residue, KeptPlace::Body, false, nullptr, "number and class of the residue of the atoms behind it"},
    {kRtab, "RTAB", Takes::LabelNames, KeptPlace::Body, true, nullptr, "list a distance, angle or torsion under a name"},
    {kSadi, "SADI", Takes::Names, KeptPlace::Body, true, nullptr, "restrain distances to be the same"},
    {kSame, "SAME", Takes::Names, KeptPlace::BeforeAtom, false, nullptr, "restrain a group to the geometry of another"},
    {kSfac, "SFAC", Takes::Elements, KeptPlace::Body, false, "has no effect here", "elements or scattering factors, to which the numbers of atoms refer"},
    {kShel, "SHEL", Takes::Numbers, KeptPlace::Body, true, nullptr, "limits of resolution (Å)"},
    {kSimu, "SIMU", Takes::Names, KeptPlace::Body, true, nullptr, "restrain U of near atoms to be alike"},
    {kSize, "SIZE", Takes::Numbers, KeptPlace::Body, true, nullptr, "size of the crystal (mm)"},
    {kSpec, "SPEC", Takes::Numbers, KeptPlace::Here, true, nullptr, "how near a special position an atom is taken to lie on it (Å)"},
    {kSpin, "SPIN", Takes::Numbers, KeptPlace::Body, false, "fragments are not turned", "turn a fragment"},
    {kStir, "STIR", Takes::Numbers, KeptPlace::Body, true, nullptr, "raise the resolution in steps: the first, and by how much in each cycle (Å)"},
    {kSump, "SUMP", Takes::Numbers, KeptPlace::Body, true, nullptr, "restrain a sum of free variables"},
    {kSwat, "SWAT", Takes::Numbers, KeptPlace::Body, false, nullptr, "diffuse solvent"},
    {kSymm, "SYMM", Takes::Text, KeptPlace::Body, false, "has no effect here", "a symmetry operator; x, y, z goes without saying"},
    {kTemp, "TEMP", Takes::Numbers, KeptPlace::Body, false, nullptr, "temperature (°C)"},
    {kTexp, "TEXP", Takes::Numbers, KeptPlace::Body, false, "has no effect here", "phase expansion"},
    {kTime, "TIME", Takes::Numbers, KeptPlace::Body, false, nullptr, "time limit"},
    {kTitl, "TITL", Takes::Text, KeptPlace::Body, false, "has no effect here", "title"},
    {kTref, "TREF", Takes::Numbers, KeptPlace::Body, false, "has no effect here", "direct methods"},
    {kUnit, "UNIT", Takes::Numbers, KeptPlace::Body, false, "has no effect here", "atoms of each element in the cell"},
    {kVect, "VECT", Takes::Numbers, KeptPlace::Body, false, "has no effect here", "Patterson vectors"},
    {kWpdb, "WPDB", Takes::Numbers, KeptPlace::Body, true, nullptr, "write coordinates for protein programs"},
    {kWght, "WGHT", Takes::Numbers, KeptPlace::Body, false, "has no effect here", "weighting scheme"},
    {kZerr, "ZERR", Takes::Numbers, KeptPlace::Body, false, "has no effect here", "Z and the uncertainties of the cell"},
    {kBlank, "    ", Takes::Text, KeptPlace::Body, true, "has no effect here", ""},
    {kTwin, "TWIN", Takes::Numbers, KeptPlace::Body, true, nullptr, "twin law, and the number of components"},
    {kCon, "CON ", Takes::Text, KeptPlace::Body, false, "has no effect here", ""},
    {kEnd, "END ", Takes::Text, KeptPlace::Body, false, "has no effect here", "end of the instructions"},
    {kMpla, "MPLA", Takes::Names, KeptPlace::Body, true, nullptr, "least-squares plane: how many atoms define it"},
    {kAtomLine, "", Takes::Text, KeptPlace::Body, false, "has no effect here", ""},
    {kAbin, "ABIN", Takes::Numbers, KeptPlace::Body, true, nullptr, "structure factors of a masked solvent from NAME.fab"},
    {kAnsc, "ANSC", Takes::Numbers, KeptPlace::Body, false, nullptr, "overall anisotropic scale: six values as U (Å²)"},
    {kAnsr, "ANSR", Takes::Numbers, KeptPlace::Body, true, nullptr, "refine an overall anisotropic scale: s.u. that restrains it to zero (Å²)"},
    {kBede, "BEDE", Takes::Names, KeptPlace::Body, true, "bond densities are not modelled", "bond densities"},
    {kLone, "LONE", Takes::Names, KeptPlace::Body, true, "lone pairs are not modelled", "lone pairs"},
    {kNeut, "NEUT", Takes::Numbers, KeptPlace::BeforeSfac, true, nullptr, "neutron scattering"},
    {kPrig, "PRIG", Takes::Numbers, KeptPlace::Body, true, "the rigid-bond analysis is not printed", "print the rigid-bond analysis"},
    {kRigu, "RIGU", Takes::Names, KeptPlace::Body, true, nullptr, "restrain to rigid bonds, also across them"},
    {kTwst, "TWST", Takes::Numbers, KeptPlace::Body, true, "twin statistics are not made", "twin statistics"},
    {kWigl, "WIGL", Takes::Numbers, KeptPlace::Body, true, "coordinates are not shaken", "shake the coordinates"},
    {kXnpd, "XNPD", Takes::Numbers, KeptPlace::Body, true, nullptr, "least U (Å²) of tensors that are not positive definite"},
    {kInclude, "+", Takes::Text, KeptPlace::BeforeAtom, false, "has no effect here", "take in a file"},
}};
// clang-format on

constexpr char Upper(char c) {
  return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c;
}

// Four characters as one number, for a quick search.
constexpr uint32_t Packed(std::string_view head) {
  uint32_t packed = 0;
  for (int i = 0; i < 4; ++i) packed = packed << 8 | static_cast<unsigned char>(head[static_cast<size_t>(i)]);
  return packed;
}

struct Entry {
  uint32_t packed;
  int code;
};

// "+file" and lines without a keyword are told in other ways.
constexpr size_t kSpelled = kAllKeywords - 2;

constexpr auto kSorted = [] {
  std::array<Entry, kSpelled> sorted{};
  size_t n = 0;
  for (int i = 0; i < kAllKeywords; ++i) {
    const std::string_view spelling = kTable[static_cast<size_t>(i)].spelling;
    if (spelling.size() == 4) sorted[n++] = {Packed(spelling), i};
  }
  std::sort(sorted.begin(), sorted.end(), [](const Entry& a, const Entry& b) { return a.packed < b.packed; });
  return sorted;
}();

InstructionKeyword Find(std::string_view head) {
  const uint32_t packed = Packed(head);
  const auto at = std::lower_bound(kSorted.begin(), kSorted.end(), packed,
                                   [](const Entry& entry, uint32_t value) { return entry.packed < value; });
  return at != kSorted.end() && at->packed == packed ? static_cast<InstructionKeyword>(at->code) : kAtomLine;
}

}  // namespace

const KeywordRow& RowOf(InstructionKeyword keyword) {
  return kTable[static_cast<size_t>(keyword)];
}

InstructionKeyword KeywordOf(std::string_view line) {
  if (line.size() < 4) return kAtomLine;
  std::array<char, 4> head;
  for (size_t i = 0; i < 4; ++i) head[i] = line[i] == '\r' ? ' ' : Upper(line[i]);
  const InstructionKeyword keyword = Find({head.data(), 4});
  return static_cast<int>(keyword) < kKeywordCount ? keyword : kAtomLine;
}

LineHead HeadOf(std::string_view line) {
  LineHead result;
  if (line.starts_with('+')) {
    result.keyword = kInclude;
    return result;
  }
  std::array<char, 4> head{' ', ' ', ' ', ' '};
  for (size_t i = 0; i < 4 && i < line.size(); ++i) head[i] = line[i] == '\t' || line[i] == '\r' ? ' ' : Upper(line[i]);
  result.keyword = Find({head.data(), 4});
  if (!IsInstruction(result.keyword)) return result;
  std::string_view rest = line.substr(std::min<size_t>(4, line.size()));
  if (rest.starts_with('_')) {
    result.residue = rest.substr(0, rest.find_first_of(" ,\t\r\n"));
    rest.remove_prefix(result.residue.size());
  }
  result.arguments = rest;
  return result;
}

}  // namespace marvik
