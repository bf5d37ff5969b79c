#include "chem/chirality.h"

#include <algorithm>
#include <cctype>

#include "chem/bonds/crowding.h"
#include "chem/bonds/crystal_fragments.h"
#include "chem/sequence_rules.h"

namespace marvik {
namespace {

std::optional<StereoCentre> Judge(const BondGraph& graph, const AtomRecord& atom) {
  const GeometrySite site = graph.SiteOf(atom);
  if (!graph.MayBeCentre(site)) return std::nullopt;
  SequenceTree tree(graph, site);
  const SequenceTree::Ranking ranking = tree.RankLigands();
  if (ranking.isTied && ranking.isSure) return std::nullopt;
  StereoCentre centre;
  centre.atom = &atom;
  std::vector<GeometrySite> sites;
  for (const int ligand : ranking.ligands) {
    sites.push_back(tree.SiteOf(ligand));
    centre.ranked.push_back(sites.back().atom);
  }
  if (ranking.isTied || sites.size() < 3) return centre;
  const char hand = HandOf(graph, site, sites);
  centre.label = ranking.isReflected ? static_cast<char>(std::tolower(hand)) : hand;
  return centre;
}

}  // namespace

std::vector<StereoCentre> FindStereoCentres(const Document& document) {
  std::vector<StereoCentre> found;
  if (!IsPossible(document.cell) || FindCrowded(document)) return found;
  const Metric metric = MakeMetric(document.cell);
  const StructureBonds bonds(document);
  std::vector<int> parts{1};
  for (const AtomRecord* atom : Atoms(document.atoms))
    if (std::ranges::find(parts, std::abs(atom->part)) == parts.end() && atom->part != 0)
      parts.push_back(std::abs(atom->part));
  for (const int part : parts) {
    const BondGraph graph(document, bonds, metric, part);
    for (const AtomRecord* atom : graph.All()) {
      const auto around = graph.Around(graph.SiteOf(*atom));
      const auto inPart = [&](const GeometrySite& s) { return s.atom->part != 0; };
      const bool concerned = atom->part != 0 || std::ranges::any_of(around, inPart);
      if (part != parts[0] && !concerned) continue;
      auto one = Judge(graph, *atom);
      if (!one) continue;
      one->part = concerned ? part : 0;
      found.push_back(std::move(*one));
    }
  }
  return found;
}

std::string ChiralitySentence(const std::vector<StereoCentre>& centres) {
  std::string text;
  for (const char label : {'R', 'S', 'r', 's'}) {
    std::string atoms;
    for (const StereoCentre& centre : centres)
      if (centre.label == label && centre.part <= 1) atoms += (atoms.empty() ? "" : ", ") + centre.atom->name;
    if (!atoms.empty()) text += (text.empty() ? "" : "; ") + std::string(1, label) + " at " + atoms;
  }
  return text;
}

}  // namespace marvik
