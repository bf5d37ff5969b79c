#include "chem/bonds/bond_rules.h"

#include <algorithm>

#include "language/atom_references.h"
#include "language/instruction.h"
#include "model/coded_values.h"
#include "model/placement.h"

namespace marvik {

bool BondCriterion(const AtomRecord& a, const AtomRecord& b, double& distance) {
  distance = Distance(a, b);
  return distance <= BondReach(*a.element, *b.element);
}

int OccupancyVariable(const AtomRecord& atom) {
  const double occupancy = atom.partHasOccupancy ? atom.partOccupancy : atom.occupancy;
  const int variable = SplitCodedValue(occupancy).variable;
  return variable < 2 ? 0 : occupancy < 0.0 ? -variable : variable;
}

BondRules::BondRules(const Document& document) : list_(&document.atoms) {
  std::vector<Instruction> lines;
  for (const KeptLine& line : document.instructions.kept) {
    const InstructionKeyword keyword = HeadOf(line.text).keyword;
    if (line.place == KeptPlace::Body && (keyword == InstructionKeyword::kBind || keyword == InstructionKeyword::kConn))
      lines.push_back(ParseInstruction(line.text));
  }
  Heed(document, lines);
}

BondRules::BondRules(const Document& document, const std::vector<Instruction>& instructions) : list_(&document.atoms) {
  Heed(document, instructions);
}

void BondRules::Heed(const Document& document, const std::vector<Instruction>& instructions) {
  std::vector<const Instruction*> limits;
  for (const Instruction& line : instructions) {
    if (line.keyword == InstructionKeyword::kBind && line.words.empty() && line.numbers.size() == 2)
      joined_.emplace_back(WholeNumber(line.numbers[0]), WholeNumber(line.numbers[1]));
    if (line.keyword != InstructionKeyword::kConn || line.numbers.empty()) continue;
    limits.push_back(&line);
  }
  if (limits.empty()) return;
  std::vector<const AtomRecord*> atoms;
  std::vector<NamedSite> sites;
  for (const AtomRecord* atom : Atoms(document.atoms)) {
    atoms.push_back(atom);
    sites.push_back(NamedSiteOf(document, *atom));
  }
  const AtomNameIndex index(std::move(sites));
  for (const Instruction* conn : limits) {
    const int most = WholeNumber(conn->numbers[0]);
    if (conn->words.empty() && conn->residue.empty()) {
      most_ = most;
      for (auto& [atom, limit] : limits_) limit.most = most;
      continue;
    }
    for (const ResidueNumber& residue : ResiduesOf(index, *conn)) {
      for (const NamedAtoms::Named& named : AtomsNamed(index, *conn, conn->words, residue).atoms) {
        const AtomRecord* atom = atoms[static_cast<size_t>(named.site)];
        Limit& limit = limits_.try_emplace(atom, Limit{atom->element->bondRadius}).first->second;
        limit.most = most;
        if (conn->numbers.size() > 1) limit.radius = conn->numbers[1];
      }
    }
  }
}

BondRules::Limit BondRules::LimitOf(const AtomRecord* atom, double radius) const {
  const auto known = limits_.find(atom);
  return known != limits_.end() ? known->second : Limit{radius, most_};
}

bool BondRules::PartsBond(int a, int b, bool isIdentity) const {
  return PartsMayBond(a, b, isIdentity) || std::ranges::any_of(joined_, [&](const auto& pair) {
           return pair == std::pair(a, b) || pair == std::pair(b, a);
         });
}

bool BondRules::AreAlternatives(const AtomRecord& a, const AtomRecord& b) const {
  if (!PartsBond(a.part, b.part)) return true;
  const int variable = OccupancyVariable(a);
  return variable != 0 && variable == -OccupancyVariable(b);
}

bool BondRules::IsFreed(const AtomRecord& a, const AtomRecord& b) const {
  return list_->freePairs.IndexOf(&a, &b) >= 0;
}

bool BondRules::Bonds(const AtomRecord& a, const AtomRecord& b, double distance, bool isIdentity) const {
  return distance <= BondReach(*a.element, *b.element) && PartsBond(a.part, b.part, isIdentity) &&
         !(isIdentity && IsFreed(a, b));
}

std::vector<BondRules::Pair> BondRules::Bound() const {
  std::vector<Pair> bound;
  for (const auto& [a, b, line] : list_->bindPairs.pairs)
    if (a && b && a != b && !IsFreed(*a, *b)) bound.emplace_back(a, b);
  return bound;
}

std::vector<BondRules::Pair> BondRules::Freed() const {
  std::vector<Pair> freed;
  for (const auto& [a, b, line] : list_->freePairs.pairs)
    if (a && b && a != b) freed.emplace_back(a, b);
  return freed;
}

}  // namespace marvik
