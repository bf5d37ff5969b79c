#include "refine/job/prepare.h"

#include <algorithm>
#include <cmath>

#include "base/numbers.h"
#include "language/tokenizer.h"
#include "refine/constraints/hydrogens.h"
#include "refine/constraints/parameters.h"
#include "refine/job/includes.h"
#include "refine/structure/atom_names.h"
#include "refine/structure/neighbours.h"

namespace marvik {
namespace {

bool IsModelAtom(const AtomRecord& atom) {
  return !atom.IsPeak() && !atom.generated && !atom.Has(kFromGrownSection);
}

void MoveAtom(AtomRecord& atom, const std::array<double, 4>& move, std::vector<std::string>& notes) {
  for (int k = 0; k < 3; ++k) {
    const auto at = static_cast<size_t>(k);
    double& code = atom.codedValues[at];
    const CodedParts parts = SplitCodedValue(code);
    if (code != 0.0 && parts.variable > 1) {
      notes.push_back("MOVE: a coordinate of " + atom.name + " is tied to a free variable and stays");
      continue;
    }
    atom.fract[k] = move[3] * atom.fract[k] + move[at];
    if (code != 0.0 && parts.variable == 1) code = 10.0 + atom.fract[k];
  }
}

void ApplyMoves(Document& document, const std::vector<Instruction>& commands, std::vector<std::string>& notes) {
  std::array<double, 4> move{0, 0, 0, 1};
  if (document.settings.Invert) move = {1, 1, 1, -1};
  for (const Instruction& command : commands) {
    if (command.name == "MOVE" && !command.before && command.numbers.size() >= 3) {
      std::copy_n(command.numbers.begin(), 3, move.begin());
      move[3] = command.numbers.size() > 3 && command.numbers[3] < 0.0 ? -1.0 : 1.0;
    }
  }
  for (AtomRecord* atom : Atoms(document.atoms)) {
    for (const Instruction& command : commands) {
      if (command.name != "MOVE" || command.before != atom || command.numbers.size() < 3) continue;
      std::copy_n(command.numbers.begin(), 3, move.begin());
      move[3] = command.numbers.size() > 3 && command.numbers[3] < 0.0 ? -1.0 : 1.0;
    }
    const bool moves = move != std::array<double, 4>{0, 0, 0, 1};
    if (moves && IsModelAtom(*atom)) MoveAtom(*atom, move, notes);
  }
  document.settings.Invert = false;
  ReplaceInstructions(document, InstructionKeyword::kMove, {});
}

void MakeAnisotropic(AtomRecord& atom, const Metric& metric, bool hydrogens) {
  if (atom.IsAnisotropic() || atom.codedValues[kCodedU] != 0.0 || !IsModelAtom(atom)) return;
  if (atom.IsHydrogen() && !hydrogens) return;
  atom.u = TensorOfIsotropic(metric, atom.u[0]);
  atom.uCount = 6;
}

void ApplyAnis(Document& document, const Structure& structure, const std::vector<Instruction>& commands) {
  const auto some = [&](AtomRecord* from, int count) {
    for (AtomRecord* atom = from; atom && count > 0; atom = atom->next) {
      if (atom->IsHydrogen() || !IsModelAtom(*atom)) continue;
      MakeAnisotropic(*atom, structure.metric, false);
      --count;
    }
  };
  const auto carryOut = [&](const Instruction& command, AtomRecord* from) {
    const bool hydrogens =
        std::ranges::any_of(command.words, [](const std::string& word) { return UpperCase(word) == "$H"; });
    if (!command.words.empty() || !command.residue.empty()) {
      for (const int residue : ResiduesOf(structure, command)) {
        std::vector<SiteImage> images = ResolveAtoms(structure, command, commands, command.words, residue).images;
        for (size_t i = 0; command.words.empty() && i < structure.sites.size(); ++i) {
          if (structure.sites[i].residueNumber == residue) images.emplace_back().site = static_cast<int>(i);
        }
        for (const SiteImage& image : images) {
          MakeAnisotropic(*structure.sites[static_cast<size_t>(image.site)].atom, structure.metric, hydrogens);
        }
      }
    } else {
      some(from, command.numbers.empty() ? 1 << 30 : WholeNumber(command.numbers[0]));
    }
  };
  if (document.settings.Aniso) {
    const std::string text = TextInFile(document, "ANIS");
    carryOut(ParseInstruction(text.empty() ? "ANIS" : text), document.atoms.head);
  }
  for (const Instruction& command : commands) {
    if (command.name == "ANIS")
      carryOut(command, command.before ? const_cast<AtomRecord*>(command.before) : document.atoms.head);
  }
  document.settings.Aniso = false;
  ReplaceInstructions(document, InstructionKeyword::kAnis, {});
}

// "H" and what follows the element in the carrier's name, with a letter where there are several; unique among the atoms
// of the residue.
std::string HydrogenName(const Document& document, const AtomRecord& carrier, size_t index, size_t count) {
  const std::string tail = carrier.name.substr(std::min(carrier.name.size(), carrier.element->Symbol().size()));
  const auto taken = [&](const std::string& name) { return document.atoms.FindAtom(name, carrier.residue) != nullptr; };
  std::string name = "H" + tail;
  if (count > 1) {
    if (name.size() > 3) name.resize(3);
    name += static_cast<char>('A' + index);
  }
  if (name.size() > 4) name.resize(4);
  for (char c = 'A'; taken(name) && c <= 'Z'; ++c) {
    if (name.size() > 3) name.resize(3);
    name = name.substr(0, 3) + c;
  }
  for (int n = 1; taken(name) && n < 1000; ++n) name = Printf("H%d", n);
  return name;
}

}  // namespace

AtomRecord* AddHydrogen(Document& document, AtomRecord& carrier, AtomRecord* place, size_t index, size_t count,
                        UserMessages& messages) {
  AtomRecord* h = document.atoms.CreateAtom(document.elements, messages);
  if (!h) return nullptr;
  h->name = HydrogenName(document, carrier, index, count);
  h->element = &document.elements[kHydrogenRow];
  h->fract = carrier.fract;
  StandAs(*h, carrier);
  if (std::fabs(h->occupancy) < 5.0) h->occupancy = 11.0;
  h->codedValues[kCodedOccupancy] = h->occupancy;
  document.atoms.LinkBehind(h, place);
  return h;
}

namespace {

struct HfixRequest {
  int m = 0;
  int n = 3;
  double u = 0.0;
  double distance = 0.0;
};

void AddHydrogens(Document& document, AtomRecord& carrier, const HfixRequest& request, int& group,
                  UserMessages& messages, std::vector<AtomRecord*>& fresh) {
  const HfixGroup& geometry = *FindHfixGroup(request.m);
  const auto count = static_cast<size_t>(geometry.hydrogens);
  ++group;
  AtomRecord* place = &carrier;
  const bool turning = geometry.isTerminal && geometry.hydrogens != 2;
  for (size_t i = 0; i < count; ++i) {
    AtomRecord* h = AddHydrogen(document, carrier, place, i, count, messages);
    if (!h) return;
    // Off the carrier by a hair, so that directions exist.
    h->fract.x += 0.001 * static_cast<double>(i + 1);
    if (request.m == 12) h->occupancy = h->codedValues[kCodedOccupancy] = 10.5;
    h->afix = static_cast<uint16_t>(10 * request.m + request.n);
    h->afixGroup = group;
    h->u[0] = h->codedValues[kCodedU] = request.u != 0.0 ? request.u : geometry.uisoFactor;
    if (request.u > 0.0) h->codedValues[kCodedU] = 0.0;
    if (request.distance > 0.0) {
      h->MutableExtras().afixWords = Printf("%.3f", request.distance);
      h->MutableExtras().afixWordsCode = h->afix;
    }
    place = h;
    if (i == 0 && turning) fresh.push_back(h);
  }
}

void ApplyHfix(Document& document, const Structure& structure, const std::vector<Instruction>& commands,
               UserMessages& messages, std::vector<AtomRecord*>& fresh, std::vector<std::string>& notes) {
  const NeighbourTable bonds = MakeBonds(structure, document, commands);
  int group = 0;
  for (const AtomRecord* atom : Atoms(document.atoms)) group = std::max(group, atom->afixGroup);
  const bool hasHydrogen = std::find(document.instructions.sfac.begin(), document.instructions.sfac.end(),
                                     kHydrogenRow) != document.instructions.sfac.end();
  for (const Instruction& command : commands) {
    if (command.name != "HFIX" || command.numbers.empty()) continue;
    const int code = WholeNumber(command.numbers[0]);
    HfixRequest request{code / 10, code % 10, command.numbers.size() > 1 ? command.numbers[1] : 0.0,
                        command.numbers.size() > 2 ? command.numbers[2] : 0.0};
    if (!FindHfixGroup(request.m) || !hasHydrogen) {
      notes.push_back(command.text + std::string(hasHydrogen ? ": this geometry is not known" : ": H is not on SFAC") +
                      command.place);
      continue;
    }
    for (const int residue : ResiduesOf(structure, command)) {
      const ResolvedNames names = ResolveAtoms(structure, command, commands, command.words, residue);
      for (const std::string& missing : names.missing)
        notes.push_back("HFIX: there is no atom " + missing + command.place);
      for (const SiteImage& image : names.images) {
        const auto& around = bonds[static_cast<size_t>(image.site)];
        const Site& site = structure.sites[static_cast<size_t>(image.site)];
        const bool carries = std::any_of(around.begin(), around.end(), [&](const Neighbour& n) {
          return structure.sites[static_cast<size_t>(n.site)].hydrogen;
        });
        if (carries || !FitsCode(structure, bonds, image.site, request.m)) {
          notes.push_back(Printf("HFIX %d: %s %s", code, site.label.c_str(),
                                 carries ? "carries hydrogens already" : "has surroundings that do not fit"));
          continue;
        }
        AddHydrogens(document, *site.atom, request, group, messages, fresh);
      }
    }
  }
  document.atoms.hfix.clear();
}

// Puts ideal groups in shape before hydrogens are made: atoms that wait for their place at 0 0 0 have no neighbours
// yet. What is fitted and then free loses its code, or the next run would fit it again.
void FitFragments(Document& document, Structure& structure, std::vector<std::string>& notes) {
  std::vector<Fragment> fragments = FragmentsOf(document, notes);
  WithIncludes(InstructionsOf(document), document.WorkingDirectory, fragments, notes);
  FindRigidGroups(structure, fragments, notes);
  for (Site& site : structure.sites) {
    site.atom->fract = site.x;
    const bool known =
        std::any_of(fragments.begin(), fragments.end(), [&](const Fragment& f) { return f.code == site.afix / 10; });
    if (known && site.afix % 10 == 0) site.atom->afix = site.afix = 0;
  }
}

}  // namespace

std::array<double, 6> TensorOfIsotropic(const Metric& metric, double u) {
  // U_ij = U·cos of the angle between a*_i and a*_j.
  const auto& g = metric.reciprocal;
  const auto& e = metric.reciprocalEdges;
  return {u, u, u, u * g[3] / (e[1] * e[2]), u * g[4] / (e[0] * e[2]), u * g[5] / (e[0] * e[1])};
}

void PrepareDocument(Document& document, UserMessages& messages, std::vector<AtomRecord*>& fresh,
                     std::vector<std::string>& notes, const LinePlaces& places) {
  std::vector<Instruction> commands = InstructionsOf(document);
  for (Instruction& command : commands) command.place = places.Of(command);
  ApplyMoves(document, commands, notes);
  Structure structure;
  std::vector<std::string> unused;
  std::string problem;
  // What is wrong with the structure is told when it is built for good.
  if (!BuildStructure(document, structure, unused, problem)) return;
  FitFragments(document, structure, unused);
  ApplyAnis(document, structure, commands);
  ApplyHfix(document, structure, commands, messages, fresh, notes);
}

}  // namespace marvik
