#include "language/atom_references.h"

#include <algorithm>

#include "base/numbers.h"
#include "language/tokenizer.h"

namespace marvik {
namespace {

std::string KeyOf(const std::string& upperName, const ResidueNumber& residue) {
  if (residue.number == 0 && residue.chain.empty()) return upperName;
  return upperName + "_" + residue.chain + ":" + std::to_string(residue.number);
}

}  // namespace

std::optional<ResidueNumber> ParseResidueNumber(std::string_view text) {
  const size_t colon = text.find(':');
  double number = 0.0;
  if (!ParseWholeNumber(colon == std::string_view::npos ? text : text.substr(colon + 1), number)) return std::nullopt;
  return ResidueNumber{RoundHalfAway(number), colon == std::string_view::npos ? "" : UpperCase(text.substr(0, colon))};
}

ResidueNumber ResidueNumberOf(const Document& document, const AtomRecord& atom) {
  if (atom.residue < 0 || static_cast<size_t>(atom.residue) >= document.residues.size()) return {};
  const Residue& residue = document.residues[static_cast<size_t>(atom.residue)];
  return {residue.number, UpperCase(residue.chain)};
}

AtomReference ParseAtomReference(std::string_view word) {
  AtomReference reference;
  const size_t underscore = word.find('_', 1);
  reference.name = UpperCase(word.substr(0, underscore));
  if (underscore == std::string_view::npos) return reference;
  std::string_view suffix = word.substr(underscore + 1);
  if (const size_t dollar = suffix.find('$'); dollar != std::string_view::npos) {
    reference.equivalent = UpperCase(suffix.substr(dollar));
    suffix = suffix.substr(0, dollar);
  }
  if (suffix == "+" || suffix == "-") reference.step = suffix == "+" ? 1 : -1;
  reference.residue = ParseResidueNumber(suffix);
  return reference;
}

ResidueNumber AtomReference::ResidueFrom(const ResidueNumber& from) const {
  return residue ? *residue : ResidueNumber{from.number + step, from.chain};
}

NamedSite NamedSiteOf(const Document& document, const AtomRecord& atom) {
  NamedSite site{UpperCase(atom.name), ResidueNumberOf(document, atom), "", UpperCase(atom.element->Symbol()),
                 atom.IsHydrogen()};
  if (atom.residue >= 0 && static_cast<size_t>(atom.residue) < document.residues.size())
    site.className = UpperCase(document.residues[static_cast<size_t>(atom.residue)].className);
  return site;
}

AtomNameIndex::AtomNameIndex(std::vector<NamedSite> sites) : sites_(std::move(sites)) {
  byName_.reserve(sites_.size());
  for (size_t i = 0; i < sites_.size(); ++i) {
    byName_.try_emplace(KeyOf(sites_[i].name, sites_[i].residue), static_cast<int>(i));
  }
  // The number of a residue alone will do where the chain is not given.
  for (size_t i = 0; i < sites_.size(); ++i) {
    if (!sites_[i].residue.chain.empty())
      byName_.try_emplace(KeyOf(sites_[i].name, {sites_[i].residue.number, ""}), static_cast<int>(i));
  }
}

int AtomNameIndex::At(const std::string& upperName, const ResidueNumber& residue) const {
  const auto at = byName_.find(KeyOf(upperName, residue));
  return at == byName_.end() ? -1 : at->second;
}

int AtomNameIndex::Find(const AtomReference& reference, const ResidueNumber& from) const {
  const int site = At(reference.name, reference.ResidueFrom(from));
  return site >= 0 || reference.residue || reference.step != 0 ? site : At(reference.name, {});
}

std::vector<ResidueNumber> ResiduesOf(const AtomNameIndex& index, const Instruction& instruction) {
  if (instruction.residue.empty()) return {{}};
  if (const auto number = ParseResidueNumber(instruction.residue)) {
    const bool isThere = std::ranges::any_of(index.Sites(), [&](const NamedSite& site) {
      return site.residue.number == number->number && (number->chain.empty() || site.residue.chain == number->chain);
    });
    return isThere ? std::vector<ResidueNumber>{*number} : std::vector<ResidueNumber>{};
  }
  std::vector<ResidueNumber> residues;
  for (const NamedSite& site : index.Sites()) {
    const bool fits = instruction.residue == "*" || site.className == instruction.residue;
    if (fits && std::ranges::find(residues, site.residue) == residues.end()) residues.push_back(site.residue);
  }
  return residues;
}

NamedAtoms AtomsNamed(const AtomNameIndex& index, const Instruction& instruction, const std::vector<std::string>& words,
                      const ResidueNumber& residue) {
  NamedAtoms result;
  const auto& sites = index.Sites();
  for (size_t i = 0; i < words.size(); ++i) {
    const std::string& word = words[i];
    if (word.starts_with('$') && word.size() > 1) {
      const std::string symbol = UpperCase(word.substr(1, word.find('_') - 1));
      for (size_t at = 0; at < sites.size(); ++at) {
        const bool here = instruction.residue.empty() || sites[at].residue == residue;
        if (here && sites[at].element == symbol) result.atoms.push_back({static_cast<int>(at), ""});
      }
      continue;
    }
    const bool isRange = (word == ">" || word == "<") && !result.atoms.empty() && i + 1 < words.size();
    const std::string& name = isRange ? words[++i] : word;
    const AtomReference reference = ParseAtomReference(name);
    const int site = index.Find(reference, residue);
    if (site < 0) {
      result.missing.push_back(name);
    } else if (!isRange) {
      result.atoms.push_back({site, reference.equivalent});
    } else {
      const NamedAtoms::Named first = result.atoms.back();
      const int step = word == ">" ? 1 : -1;
      for (int at = first.site + step; (step > 0 ? at <= site : at >= site); at += step) {
        if (!sites[static_cast<size_t>(at)].hydrogen) result.atoms.push_back({at, first.equivalent});
      }
    }
  }
  return result;
}

}  // namespace marvik
