#include "check/cif/check_cif.h"

#include <algorithm>
#include <cmath>

#include "base/files.h"
#include "base/numbers.h"
#include "check/cif/cif_checker.h"
#include "check/cif/cif_words.h"
#include "files/cif/cif_atoms.h"

namespace marvik {

namespace cif {

namespace {

CifLimits LimitsOf(const std::array<double, 3>& limits) {
  return Above(limits[0], limits[1], limits[2]);
}

CifLimits LimitsOf(FindingLevel level) {
  return level == FindingLevel::A ? kIsA : level == FindingLevel::B ? kIsB : level == FindingLevel::C ? kIsC : kIsG;
}

std::vector<CifRule> MakeRules() {
  std::vector<CifRule> rules;
  const auto addRows = [&](std::span<const RuleRow> rows) {
    for (const RuleRow& row : rows) rules.push_back({row.id, row.reference, row.limits, row.meaning, row.advice});
  };
  addRows(ContentRules());
  addRows(ExperimentRules());
  addRows(RefinementRules());
  addRows(ModelRules());
  for (const BondKind& bond : BondKinds()) {
    const std::string id = std::string("bond-") + bond.name;
    rules.push_back({id + "-short", bond.references[0], LimitsOf(bond.shorter),
                     "The bond is shorter than usual by so much.", "Check atoms, elements and disorder."});
    rules.push_back({id + "-long", bond.references[1], LimitsOf(bond.longer),
                     "The bond is longer than usual by so much.", "Check atoms, elements and disorder."});
  }
  for (const ContactKind& contact : ContactKinds()) {
    rules.push_back({std::string("contact-") + contact.name, contact.reference, LimitsOf(contact.nearer),
                     "The contact is nearer than the radii by so much.", "Check the places of both atoms."});
  }
  addRows(ListRules());
  for (const ListKind& kind : ListKinds()) {
    const std::string name(kind.name);
    const CifLimits inSu = Above(3.0, 10.0);
    rules.push_back(
        {name + "-label", kind.references[0], kIsC, "The label is not in the list of atoms.", "Correct the label."});
    rules.push_back({name + "-value", kind.references[1], inSu,
                     "A listed value differs from the one of the coordinates by so many uncertainties.",
                     "List the geometry of these coordinates."});
    rules.push_back({name + "-plain", kind.references[2], inSu,
                     "A listed value without uncertainty differs from the one of the coordinates, in units of the "
                     "usual uncertainty.",
                     "List the geometry of these coordinates."});
    rules.push_back({name + "-su", kind.references[3], NoteAbove(kind.suRatio),
                     "A listed uncertainty is so many times the one that follows from the coordinates, or the reverse; "
                     "correlations are not in a CIF.",
                     "Check the source of the list."});
    rules.push_back({name + "-no-su", kind.references[4], NoteAbove(0.0),
                     "So many listed values of refined atoms have no uncertainty.", "Give it."});
    rules.push_back({name + "-fixed-su", kind.references[5], NoteAbove(0.0),
                     "So many listed values that are constrained have an uncertainty.", "Take it away."});
  }
  for (const ItemRow& row : RequiredItems()) {
    std::string id = std::string("missing") + row.item;
    std::ranges::replace(id, '_', '-');
    rules.push_back({id, row.reference, LimitsOf(row.level), "It is among what a report has to have.",
                     "Give it, or '.' where it does not apply."});
  }
  return rules;
}

const std::unordered_map<std::string_view, const CifRule*>& RulesById() {
  static const auto byId = [] {
    std::unordered_map<std::string_view, const CifRule*> map;
    for (const CifRule& rule : CifRules()) map.emplace(rule.id, &rule);
    return map;
  }();
  return byId;
}

}  // namespace

void CifChecker::Test(std::string_view id, double value, std::string text, std::vector<std::string> atoms,
                      const char* at) {
  constexpr int kMostShown = 10;
  const auto found = RulesById().find(id);
  if (found == RulesById().end() || std::isnan(value)) return;
  const CifRule& rule = *found->second;
  const std::pair<double, FindingLevel> levels[] = {{rule.limits.a, FindingLevel::A},
                                                    {rule.limits.b, FindingLevel::B},
                                                    {rule.limits.c, FindingLevel::C},
                                                    {rule.limits.g, FindingLevel::G}};
  const auto past = std::ranges::find_if(
      levels, [&](const auto& level) { return rule.limits.below ? value < level.first : value > level.first; });
  if (past == std::end(levels)) return;
  Count& count = counts_[rule.id];
  if (count.shown == kMostShown) {
    ++count.more;
    Finding& last = findings_[count.last];
    // What is shown of many is the worst.
    if (past->second < last.level) last.level = past->second;
    return;
  }
  ++count.shown;
  count.last = findings_.size();
  Finding finding;
  finding.test = rule.id;
  finding.level = past->second;
  finding.atoms = std::move(atoms);
  finding.line = model.LineOf(at);
  if (std::isfinite(value)) finding.value = value;
  if (std::isfinite(past->first)) finding.limit = past->first;
  finding.text = text.empty() ? rule.meaning : std::move(text) + " " + rule.meaning;
  finding.repair = rule.advice;
  findings_.push_back(std::move(finding));
}

void CifChecker::Found(std::string_view rule, std::string text, std::vector<std::string> atoms, const char* at) {
  Test(rule, std::numeric_limits<double>::max(), std::move(text), std::move(atoms), at);
  if (!findings_.empty() && findings_.back().value == std::numeric_limits<double>::max())
    findings_.back().value.reset();
}

std::vector<Finding> CifChecker::Take() {
  for (const auto& [id, count] : counts_) {
    if (count.more > 0) AppendPrintf(findings_[count.last].text, " (and %d more of this kind)", count.more);
  }
  std::ranges::stable_sort(findings_, {}, &Finding::level);
  return std::move(findings_);
}

namespace {

bool IsOfAnotherKind(const CifModel& model) {
  for (const char* name :
       {"_cell_wave_vector_seq_id", "_space_group_symop_ssg_operation_algebraic", "_atom_site_moment_crystalaxis_x",
        "_atom_site_label_comp_id", "_struct_asym_id", "_atom_site_fourier_wave_vector_seq_id"}) {
    if (model.Column(name).loop) return true;
  }
  return std::ranges::any_of(model.block.loops, [](const CifLoop& loop) { return loop.names[0].starts_with("_pd_"); });
}

std::vector<Finding> CheckBlock(std::string_view text, const CifBlock& block, const CifBlock* reflections) {
  const CifModel model(text, block);
  CifChecker checker(model);
  const bool other = IsOfAnotherKind(model) || !(model.Column("_cell_length_a").loop || HasAtoms(block));
  if (!model.cellGiven && !other) checker.Found("cell-incomplete", "");
  CheckItems(checker);
  if (other) {
    checker.Found("not-tested", "");
    return checker.Take();
  }
  CheckExperiment(checker);
  CheckRefinement(checker);
  CheckEmbedded(checker);
  if (model.cellGiven) {
    CheckContents(checker);
    CheckCell(checker);
    CheckSymmetry(checker);
    CheckAbsorption(checker);
    CheckDisplacement(checker);
    CheckAtoms(checker);
    CheckBonds(checker);
    CheckContacts(checker);
    CheckVoids(checker);
    CheckLists(checker);
    const auto embedded = CheckDensity(checker);
    CheckReflections(checker, reflections, embedded);
  }
  return checker.Take();
}

bool HasReflections(const CifBlock& block) {
  return FindColumn(block, {"_refln_index_h"}).loop && FindColumn(block, {"_refln_f_squared_meas"}).loop &&
         FindColumn(block, {"_refln_f_squared_calc"}).loop;
}

std::vector<CifBlock> BlocksOf(std::string_view text) {
  std::vector<CifBlock> blocks;
  CifReader reader(text, {"_"});
  for (CifBlock block; reader.Next(block);) blocks.push_back(std::move(block));
  return blocks;
}

}  // namespace

}  // namespace cif

std::span<const CifRule> CifRules() {
  static const std::vector<CifRule> rules = cif::MakeRules();
  return rules;
}

std::vector<Finding> CheckCif(std::string_view text, std::string_view reflections) {
  const std::vector<CifBlock> blocks = cif::BlocksOf(text);
  const std::vector<CifBlock> beside = cif::BlocksOf(reflections);
  std::vector<const CifBlock*> models;
  for (const CifBlock& block : blocks) {
    if (HasAtoms(block)) models.push_back(&block);
  }
  if (models.empty()) {
    const auto cell =
        std::ranges::find_if(blocks, [](const CifBlock& b) { return FindColumn(b, {"_cell_length_a"}).loop; });
    if (cell != blocks.end()) models.push_back(&*cell);
  }
  std::vector<Finding> findings;
  if (models.empty() && !blocks.empty()) models.push_back(&blocks[0]);
  for (const CifBlock* block : models) {
    const CifBlock* list = cif::HasReflections(*block) ? block : nullptr;
    if (!list && !beside.empty() && cif::HasReflections(beside[0])) list = &beside[0];
    for (Finding& finding : cif::CheckBlock(text, *block, list)) {
      if (models.size() > 1) finding.text = "[" + std::string(block->name) + "] " + finding.text;
      findings.push_back(std::move(finding));
    }
  }
  return findings;
}

std::optional<std::vector<Finding>> CheckCifFile(const std::string& path) {
  const FileContent file = ReadWholeFile(path);
  if (!file.complete || file.content.empty()) return {};
  const FileContent list = ReadWholeFile(BaseNameOf(path) + ".fcf");
  return CheckCif(file.content, list.content);
}

}  // namespace marvik
