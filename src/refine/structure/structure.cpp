#include "refine/structure/structure.h"

#include <algorithm>
#include <cmath>
#include <gemmi/c4322.hpp>
#include <gemmi/fprime.hpp>
#include <gemmi/it92.hpp>
#include <gemmi/neutron92.hpp>

#include "base/numbers.h"
#include "language/instruction.h"
#include "language/scatterers.h"
#include "language/tokenizer.h"

namespace marvik {
namespace {

constexpr double kElectronVoltAngstrom = 12398.4198;
constexpr double kElectronRestEnergy = 510998.95;  // eV
constexpr double kFarthest = 1000.0;               // cells
constexpr double kShortestEdge = 1.5;              // Å; no crystal has one, and neighbours would be without number

constexpr double kElectronWavelength = 0.05;  // Å; below it the beam is one of electrons
constexpr double kUsualWavelength = 0.71073;

double WavelengthOf(const Document& document, std::vector<std::string>& notes) {
  const std::vector<std::string> words = ParseInstruction(document.instructions.cellLine).all;
  double value = 0.0;
  if (!words.empty() && ParseWholeNumber(words[0], value) && value > 0.0) return value;
  notes.push_back(Printf("CELL gives no wavelength; %.5f A is taken", kUsualWavelength));
  return kUsualWavelength;
}

// Words of SFAC that are no elements; a file that gives their scattering factors itself is free to name them.
void NoteStrangeLabels(const Document& document, std::vector<std::string>& notes) {
  const std::vector<std::string> words = ParseInstruction(TextInFile(document, "SFAC")).all;
  for (size_t i = 0; i < words.size(); ++i) {
    double number = 0.0;
    if (ParseWholeNumber(words[i], number)) return;
    std::string letters;
    for (const char c : words[i]) {
      if (std::isalpha(static_cast<unsigned char>(c))) letters += c;
    }
    if (gemmi::find_element(letters.c_str()) == gemmi::El::X)
      notes.push_back("SFAC: " + words[i] + " is no element; it scatters like carbon");
  }
}

void ApplyDisp(const std::vector<Instruction>& commands, std::vector<Scatterer>& scatterers) {
  for (const Instruction& command : commands) {
    if (command.name != "DISP" || command.words.empty()) continue;
    std::string symbol = UpperCase(command.words[0]);
    if (!symbol.empty() && symbol[0] == '$') symbol.erase(0, 1);
    for (Scatterer& s : scatterers) {
      if (UpperCase(s.symbol) != symbol) continue;
      if (command.numbers.size() > 0) s.fPrime = command.numbers[0];
      if (command.numbers.size() > 1) s.fDoublePrime = command.numbers[1];
      if (command.numbers.size() > 2) s.crossSection = command.numbers[2];
      s.isOwn = true;
    }
  }
}

void FillScatterers(const Document& document, Structure& structure, std::vector<std::string>& notes) {
  const std::vector<Instruction> commands = InstructionsOf(document);
  const bool neutrons =
      std::any_of(commands.begin(), commands.end(), [](const Instruction& c) { return c.name == "NEUT"; });
  const Radiation radiation = neutrons                                     ? Radiation::Neutrons
                              : structure.wavelength < kElectronWavelength ? Radiation::Electrons
                                                                           : Radiation::XRays;
  if (radiation == Radiation::Neutrons) notes.push_back("NEUT: neutron scattering lengths of Sears (1992), in fm");
  if (radiation == Radiation::Electrons)
    notes.push_back("the wavelength is that of electrons: scattering factors of International Tables C, 4.3.2.2");
  NoteStrangeLabels(document, notes);
  const Instructions& in = document.instructions;
  for (size_t entry = 0; entry < in.sfac.size(); ++entry) {
    Scatterer s = TabulatedScatterer(document.elements[in.sfac[entry]], structure.wavelength, radiation);
    const SfacForm form = entry < in.sfacForms.size() ? in.sfacForms[entry] : SfacForm{};
    const auto& own = form.coefficients;
    if (form.radius > 0.0) s.radius = form.radius;
    if (form.weight > 0.0) s.weight = form.weight;
    if (form.longForm && std::any_of(own.begin(), own.end(), [](double v) { return v != 0.0; })) {
      s.a[4] = 0.0;
      for (size_t i = 0; i < 4; ++i) s.a[i] = own[2 * i], s.b[i] = own[2 * i + 1];
      s.c = own[8];
      s.fPrime = own[9];
      s.fDoublePrime = own[10];
      s.crossSection = own[11];
      s.isOwn = true;
    }
    structure.scatterers.push_back(s);
  }
}

void FillSite(const Document& document, const AtomRecord& atom, Site& site) {
  site.name = atom.name;
  site.label = atom.name;
  if (atom.residue >= 0) {
    const Residue& residue = document.residues[static_cast<size_t>(atom.residue)];
    site.residueNumber = residue.number;
    site.residueClass = residue.className;
    if (residue.number != 0) site.label += Printf("_%d", residue.number);
  }
  site.part = atom.part;
  site.afix = static_cast<int16_t>(atom.afix);
  site.afixGroup = atom.afixGroup;
  site.hydrogen = atom.IsHydrogen();
  site.anisotropic = atom.IsAnisotropic();
  site.x = atom.fract;
  site.u = atom.u;
  site.code = atom.codedValues;
  const double occupancy = atom.partHasOccupancy ? static_cast<double>(atom.partOccupancy) : atom.occupancy;
  site.code[kRawOccupancy] = std::fabs(occupancy) >= 5.0 ? occupancy : 0.0;
  site.occupancy = occupancy;
}

std::string CheckFreeVariables(const Structure& structure, const Site& site) {
  for (int k = 0; k < kRawPerSite; ++k) {
    const double code = site.code[static_cast<size_t>(k)];
    if (code == 0.0 || (k == kRawU && IsRidingU(code))) continue;
    const CodedParts d = SplitCodedValue(code);
    if (d.variable > static_cast<int>(structure.freeVariables.size()) + 1) {
      return Printf("FREE VARIABLE %d OF ATOM %s IS NOT ON FVAR", d.variable, site.label.c_str());
    }
  }
  return {};
}

// Of all electrons of an atom, eV: Lunney, Pearson & Thibault, Rev. Mod. Phys. 75 (2003) 1021.
double TotalEnergy(double electrons) {
  return 14.4381 * std::pow(electrons, 2.39) + 1.55468e-6 * std::pow(electrons, 5.35);
}

}  // namespace

double Site::Raw(int k) const {
  return k < 3 ? x[k] : k == kRawOccupancy ? occupancy : u[static_cast<size_t>(k - kRawU)];
}

void Site::SetRaw(int k, double value) {
  if (k < 3) {
    x[k] = value;
  } else if (k == kRawOccupancy) {
    occupancy = value;
  } else {
    u[static_cast<size_t>(k - kRawU)] = value;
  }
}

double Structure::Ueq(const Site& site) const {
  return site.anisotropic ? metric.Ueq(site.u) : site.u[0];
}

std::complex<double> DispersionOf(int electrons, double wavelength) {
  if (electrons < 3 || electrons > 92 || wavelength <= 0.01) return 0.0;
  double fDoublePrime = 0.0;
  const double asPackaged = gemmi::cromer_liberman(electrons, kElectronVoltAngstrom / wavelength, &fDoublePrime);
  const double f = asPackaged - gemmi::impl_fprim::calculate_correction(electrons);
  return {f - TotalEnergy(electrons) / kElectronRestEnergy, fDoublePrime};
}

Scatterer TabulatedScatterer(const ElementInfo& element, double wavelength, Radiation radiation) {
  Scatterer s;
  s.symbol = std::string(element.Symbol());
  s.row = element.atomicNumber;
  s.radius = element.bondRadius;
  s.weight = element.atomicWeight;
  const int z = element.atomicNumber == kDeuteriumRow ? 1 : element.atomicNumber;
  s.electrons = z > 103 ? 6 : z;
  const auto el = static_cast<gemmi::El>(s.electrons > 98 ? 98 : s.electrons);
  const auto take = [&](const auto& f, int gaussians) {
    for (int i = 0; i < gaussians; ++i) {
      s.a[static_cast<size_t>(i)] = f.a(i);
      s.b[static_cast<size_t>(i)] = f.b(i);
    }
  };
  if (radiation == Radiation::Neutrons) {
    s.c = gemmi::Neutron92<double>::get(element.atomicNumber == kDeuteriumRow ? gemmi::El::D : el).c();
    return s;
  }
  if (radiation == Radiation::Electrons) {
    take(gemmi::C4322<double>::get(el), 5);
    return s;
  }
  const auto& f = gemmi::IT92<double>::get(el);
  take(f, 4);
  s.c = f.c();
  const std::complex<double> dispersion = DispersionOf(s.electrons, wavelength);
  s.fPrime = dispersion.real();
  s.fDoublePrime = dispersion.imag();
  return s;
}

bool BuildStructure(Document& document, Structure& structure, std::vector<std::string>& notes, std::string& problem) {
  std::optional<SpaceGroup> group = MakeSpaceGroup(document.latticeCode, document.symmetry, problem);
  if (!group) return false;
  structure.group = *group;
  structure.metric = MakeMetric(document.cell);
  const CellParameters& cell = document.cell;
  if (!(structure.metric.volume > 0.0) || std::min({cell.a, cell.b, cell.c}) < kShortestEdge) {
    problem = "THE CELL IS IMPOSSIBLE";
    return false;
  }
  structure.wavelength = WavelengthOf(document, notes);
  FillScatterers(document, structure, notes);
  ApplyDisp(InstructionsOf(document), structure.scatterers);
  structure.scale = document.instructions.scaleFactor > 0.0 ? document.instructions.scaleFactor : 1.0;
  structure.freeVariables.assign(document.instructions.freeVariables.begin(),
                                 document.instructions.freeVariables.end());
  structure.extinction = document.settings.ExtinctionOn ? document.settings.Extinction : 0.0;
  int peaks = 0;
  for (AtomRecord* atom : Atoms(document.atoms)) {
    if (atom->generated || atom->Has(kFromGrownSection)) continue;
    if (atom->IsPeak()) {
      ++peaks;
      continue;
    }
    Site site;
    site.atom = atom;
    FillSite(document, *atom, site);
    const int entry = SfacEntryOf(document.instructions, *atom);
    if (entry < 0) {
      problem = "NO SCATTERING FACTOR FOR ATOM " + site.label;
      return false;
    }
    site.scatterer = entry;
    problem = CheckFreeVariables(structure, site);
    if (!problem.empty()) return false;
    structure.sites.push_back(site);
  }
  if (peaks > 0) notes.push_back(Printf("%d peaks of an earlier map are left out", peaks));
  if (structure.sites.empty()) {
    problem = "NO ATOMS";
    return false;
  }
  ApplyFreeVariables(structure);
  for (const Site& site : structure.sites) {
    if (IsFinite(site.x) && Length(site.x) < kFarthest) continue;
    problem = "ATOM " + site.label + " IS FAR FROM THE CELL";
    return false;
  }
  return true;
}

void ApplyFreeVariables(Structure& structure) {
  for (Site& site : structure.sites) {
    for (int k = 0; k < kRawPerSite; ++k) {
      const double code = site.code[static_cast<size_t>(k)];
      if (code == 0.0 || (k == kRawU && IsRidingU(code))) continue;
      const CodedParts d = SplitCodedValue(code);
      if (d.variable == 0) continue;
      const double variable = d.variable < 2 ? 0.0 : structure.freeVariables[static_cast<size_t>(d.variable - 2)];
      site.SetRaw(k, d.factor * variable + d.offset);
    }
  }
}

void StoreStructure(const Structure& structure, Document& document) {
  for (const Site& site : structure.sites) {
    AtomRecord& atom = *site.atom;
    atom.fract = site.x;
    atom.uCount = site.anisotropic ? 6 : 1;
    atom.u = site.u;
    for (size_t k = 0; k < kRawPerSite; ++k) {
      if (k != kRawOccupancy) atom.codedValues[k] = site.code[k];
    }
    if (!atom.partHasOccupancy && site.code[kRawOccupancy] == 0.0) atom.occupancy = site.occupancy;
  }
  document.instructions.scaleFactor = structure.scale;
  std::vector<std::string> basf;
  for (size_t i = 0; i < structure.batchFractions.size(); ++i) {
    if (i % 7 == 0) basf.emplace_back("BASF");
    AppendPrintf(basf.back(), " %9.5f", structure.batchFractions[i]);
  }
  ReplaceInstructions(document, InstructionKeyword::kBasf, basf);
  if (structure.hasSolvent) {
    const std::string solvent = Printf("SWAT %9.4f %9.4f", structure.solventScale, structure.solventU);
    ReplaceInstructions(document, InstructionKeyword::kSwat, {solvent});
  }
  if (structure.hasAnisotropicScale) {
    std::string scale = "ANSC";
    for (const double u : structure.anisotropicScale) AppendPrintf(scale, " %9.5f", u);
    ReplaceInstructions(document, InstructionKeyword::kAnsc, {scale});
  }
  for (size_t i = 0; i < structure.freeVariables.size(); ++i) {
    document.instructions.freeVariables[i] = static_cast<float>(structure.freeVariables[i]);
  }
  if (document.settings.ExtinctionOn) document.settings.Extinction = structure.extinction;
}

}  // namespace marvik
