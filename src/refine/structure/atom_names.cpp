#include "refine/structure/atom_names.h"

#include <algorithm>

#include "base/numbers.h"

namespace marvik {
namespace {

int FindSite(const Structure& structure, const std::string& name, int residue) {
  for (size_t i = 0; i < structure.sites.size(); ++i) {
    const Site& site = structure.sites[i];
    if (site.residueNumber == residue && UpperCase(site.name) == name) return static_cast<int>(i);
  }
  return -1;
}

bool FindEquivalent(const std::vector<Command>& commands, const std::string& symbol, GroupOperator& operation) {
  for (const Command& command : commands) {
    if (command.keyword != "EQIV" || command.all.empty() || command.all[0] != symbol) continue;
    const size_t at = command.text.find(symbol);
    std::string text = command.text.substr(at + symbol.size());
    // "-x+2/3, y, z", also with blanks for commas.
    if (std::count(text.begin(), text.end(), ',') != 2) {
      text.clear();
      for (size_t i = 1; i < command.all.size(); ++i) text += (i > 1 ? "," : "") + command.all[i];
    }
    const std::optional<GroupOperator> parsed = ParseOperator(text);
    if (!parsed) return false;
    operation = *parsed;
    return true;
  }
  return false;
}

// "C1_2$3" or "C1_$3" or "C1_2": what stands behind the underscore.
bool ResolveOne(const Structure& structure, const std::vector<Command>& commands, const std::string& word, int residue,
                SiteImage& image) {
  std::string name = UpperCase(word);
  const size_t underscore = name.find('_');
  bool given = false;
  if (underscore != std::string::npos) {
    std::string suffix = name.substr(underscore + 1);
    name.erase(underscore);
    const size_t dollar = suffix.find('$');
    if (dollar != std::string::npos) {
      if (!FindEquivalent(commands, suffix.substr(dollar), image.operation)) return false;
      image.moved = true;
      suffix.erase(dollar);
    }
    double number = 0.0;
    if (suffix == "+" || suffix == "-") {
      residue += suffix == "+" ? 1 : -1;
      given = true;
    } else if (ParseWholeNumber(suffix, number)) {
      residue = RoundHalfAway(number);
      given = true;
    }
  }
  image.site = FindSite(structure, name, residue);
  if (image.site < 0 && !given) image.site = FindSite(structure, name, 0);
  return image.site >= 0;
}

void AddElement(const Structure& structure, const std::string& symbol, int residue, bool all,
                std::vector<SiteImage>& images) {
  for (size_t i = 0; i < structure.sites.size(); ++i) {
    const Site& site = structure.sites[i];
    if (!all && site.residueNumber != residue) continue;
    if (UpperCase(structure.scatterers[static_cast<size_t>(site.scatterer)].symbol) != symbol) continue;
    images.emplace_back();
    images.back().site = static_cast<int>(i);
  }
}

}  // namespace

std::vector<int> ResiduesOf(const Structure& structure, const Command& command) {
  if (command.residue.empty()) return {0};
  double number = 0.0;
  if (ParseWholeNumber(command.residue, number)) return {RoundHalfAway(number)};
  std::vector<int> residues;
  for (const Site& site : structure.sites) {
    const bool fits = command.residue == "*" || UpperCase(site.residueClass) == command.residue;
    if (fits && std::find(residues.begin(), residues.end(), site.residueNumber) == residues.end()) {
      residues.push_back(site.residueNumber);
    }
  }
  return residues;
}

ResolvedNames ResolveAtoms(const Structure& structure, const Command& command, const std::vector<Command>& commands,
                           const std::vector<std::string>& names, int residue) {
  ResolvedNames result;
  for (size_t i = 0; i < names.size(); ++i) {
    const std::string& word = names[i];
    if ((word == ">" || word == "<") && !result.images.empty() && i + 1 < names.size()) {
      SiteImage last;
      if (!ResolveOne(structure, commands, names[i + 1], residue, last)) {
        result.missing.push_back(names[i + 1]);
      } else {
        const SiteImage first = result.images.back();
        const int step = word == ">" ? 1 : -1;
        for (int at = first.site + step; (step > 0 ? at <= last.site : at >= last.site); at += step) {
          if (structure.sites[static_cast<size_t>(at)].hydrogen) continue;
          SiteImage image = first;
          image.site = at;
          result.images.push_back(image);
        }
      }
      ++i;
      continue;
    }
    if (word[0] == '$' && word.size() > 1) {
      AddElement(structure, UpperCase(word.substr(1)), residue, command.residue.empty(), result.images);
      continue;
    }
    SiteImage image;
    if (ResolveOne(structure, commands, word, residue, image)) {
      result.images.push_back(image);
    } else {
      result.missing.push_back(word);
    }
  }
  return result;
}

}  // namespace marvik
