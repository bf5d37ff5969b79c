#include "refine/structure/atom_names.h"

#include <algorithm>

#include "crystal/symmetry.h"
#include "language/tokenizer.h"

namespace marvik {
namespace {

const AtomNameIndex& NamesOf(const Structure& structure) {
  if (structure.names && structure.names->Sites().size() == structure.sites.size()) return *structure.names;
  std::vector<NamedSite> sites;
  for (const Site& site : structure.sites) {
    sites.push_back({UpperCase(site.name),
                     {site.residueNumber, ""},
                     UpperCase(site.residueClass),
                     UpperCase(structure.scatterers[static_cast<size_t>(site.scatterer)].symbol),
                     site.hydrogen});
  }
  structure.names = std::make_shared<const AtomNameIndex>(std::move(sites));
  return *structure.names;
}

bool FindEquivalent(const std::vector<Instruction>& commands, const std::string& symbol, SymmetryOperator& operation) {
  for (const Instruction& command : commands) {
    if (command.name != "EQIV" || command.all.empty() || command.all[0] != symbol) continue;
    const size_t at = command.text.find(symbol);
    std::string text = command.text.substr(at + symbol.size());
    // "-x+2/3, y, z", also with blanks for commas.
    if (std::count(text.begin(), text.end(), ',') != 2) {
      text.clear();
      for (size_t i = 1; i < command.all.size(); ++i) text += (i > 1 ? "," : "") + command.all[i];
    }
    const auto parsed = ParseOperator(text);
    if (!parsed) return false;
    operation = *parsed;
    return true;
  }
  return false;
}

}  // namespace

std::vector<int> ResiduesOf(const Structure& structure, const Instruction& command) {
  std::vector<int> numbers;
  for (const ResidueNumber& residue : ResiduesOf(NamesOf(structure), command)) numbers.push_back(residue.number);
  return numbers;
}

ResolvedNames ResolveAtoms(const Structure& structure, const Instruction& command,
                           const std::vector<Instruction>& commands, const std::vector<std::string>& names,
                           int residue) {
  const NamedAtoms named = AtomsNamed(NamesOf(structure), command, names, {residue, ""});
  ResolvedNames result{{}, named.missing};
  for (const NamedAtoms::Named& atom : named.atoms) {
    SiteImage image;
    image.site = atom.site;
    image.moved = !atom.equivalent.empty();
    if (!image.moved || FindEquivalent(commands, atom.equivalent, image.operation)) {
      result.images.push_back(image);
    } else {
      result.missing.push_back(structure.sites[static_cast<size_t>(atom.site)].name + "_" + atom.equivalent);
    }
  }
  return result;
}

}  // namespace marvik
