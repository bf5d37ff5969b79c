#include <algorithm>

#include "base/numbers.h"
#include "check/cif/cif_checker.h"
#include "check/cif/cif_words.h"
#include "language/line_source.h"
#include "language/tokenizer.h"
#include "model/element_table.h"

namespace marvik::cif {

namespace {

struct Counted {
  const char* keyword;
  const char* rule;
};
constexpr Counted kCounted[] = {
    {"EADP", "instructions-eadp"}, {"DFIX", "instructions-dfix"}, {"DANG", "instructions-dang"},
    {"FLAT", "instructions-flat"}, {"SAME", "instructions-same"}, {"SADI", "instructions-sadi"},
    {"DELU", "instructions-delu"}, {"SIMU", "instructions-simu"}, {"CHIV", "instructions-chiv"},
    {"ISOR", "instructions-isor"}, {"DAMP", "instructions-damp"}, {"SWAT", "instructions-solvent"},
};

void Instructions(CifChecker& c, std::string_view field) {
  const std::string text = UnfoldedText(field);
  LineSource source(text);
  SourceLine line;
  std::map<std::string, int> counts;
  int atoms = 0;
  int omitted = 0;
  int rigid = 0;
  bool ended = false;
  std::vector<std::string_view> words;
  while (!ended && source.Next(line)) {
    SplitWords(line.code, words);
    const auto keyword = line.head.keyword;
    if (words.empty()) continue;
    ended = keyword == InstructionKeyword::kHklf || keyword == InstructionKeyword::kEnd;
    if (keyword == InstructionKeyword::kFrag) source.TakeFragment(line);
    if (keyword == InstructionKeyword::kAtomLine) {
      double value = 0.0;
      atoms += words.size() > 5 && ParseWholeNumber(words[1], value) && ParseWholeNumber(words[4], value) &&
               (words[0][0] | 0x20) != 'q';
      continue;
    }
    double number = 0.0;
    if (keyword == InstructionKeyword::kAfix && words.size() > 1 && ParseWholeNumber(words[1], number))
      rigid += number == 1.0;
    if (keyword == InstructionKeyword::kOmit && words.size() == 4) ++omitted;
    ++counts[UpperCase(words[0].substr(0, 4))];
  }
  for (const Counted& one : kCounted) {
    const int n = counts.contains(one.keyword) ? counts[one.keyword] : 0;
    c.Test(one.rule, n, Printf("%d times.", n), {}, field.data());
  }
  if (counts.contains("ABIN") && !c.model.Column("_iucr_refine_fab_details").loop)
    c.Found("embedded-mask", "", {}, field.data());
  c.Test("instructions-afix1", rigid, Printf("%d times.", rigid), {}, field.data());
  c.Test("instructions-omit", omitted, Printf("%d.", omitted), {}, field.data());
  if (atoms > 0 && static_cast<size_t>(atoms) != c.model.sites.size() && !c.model.sites.empty()) {
    c.Found("embedded-model", Printf("%d atoms and %zu.", atoms, c.model.sites.size()), {}, field.data());
  }
}

}  // namespace

bool IsInstructions(std::string_view field) {
  const std::string text = UnfoldedText(field.substr(0, 20000));
  return text.find("CELL") != text.npos && text.find("SFAC") != text.npos && text.find("UNIT") != text.npos;
}

bool IsReflections(std::string_view field) {
  // Three indices in columns of four, then a number with a point.
  size_t at = field.find_first_not_of("\r\n");
  if (at == field.npos) return false;
  for (int line = 0; line < 3; ++line) {
    const size_t end = std::min(field.find('\n', at), field.size());
    std::string_view one = field.substr(at, end - at);
    if (one.size() < 28 || one.find('.') == one.npos || one.find_first_not_of(" 0123456789.-\r") != one.npos)
      return false;
    at = end + 1;
    if (at >= field.size()) return false;
  }
  return true;
}

void CheckItems(CifChecker& c) {
  const CifModel& m = c.model;
  for (const std::string& name : m.repeated) c.Found("item-twice", name + ".");
  for (const CifLoop& loop : m.block.loops) {
    if (loop.isCut) c.Found("loop-short", "Loop of " + loop.names[0] + ".");
  }
  size_t longest = 0;
  for (size_t at = 0; at < m.text.size();) {
    const size_t end = std::min(m.text.find_first_of("\r\n", at), m.text.size());
    longest = std::max(longest, end - at);
    at = end + 1;
  }
  if (longest > 2048) c.Found("line-long", Printf("%zu.", longest));
  const auto strange = std::ranges::find_if(m.text, [](char ch) { return (ch & 0x80) != 0; });
  const auto mark = m.text.substr(0, 20).find("#\\#CIF_2");
  if (strange != m.text.end() && mark == m.text.npos)
    c.Found("not-ascii", "", {}, m.text.data() + (strange - m.text.begin()));
  std::vector<std::string> old;
  for (const char* name :
       {"_atom_site_symmetry_multiplicity", "_refine_ls_shift/esd_max", "_refine_ls_shift/esd_mean",
        "_reflns_observed_criterion", "_reflns_number_observed", "_refine_ls_r_factor_obs", "_refine_ls_wr_factor_obs",
        "_refine_ls_goodness_of_fit_obs", "_symmetry_equiv_pos_as_xyz", "_symmetry_cell_setting",
        "_symmetry_space_group_name_h-m", "_symmetry_space_group_name_hall"}) {
    if (m.Column(name).loop) old.emplace_back(name);
  }
  std::string list;
  for (const std::string& name : old) list += (list.empty() ? "" : " ") + name;
  c.Test("old-names", static_cast<double>(old.size()), list + ".");
  // Items of a report on a refinement mean something only where one is reported.
  const bool refinement =
      m.Column("_refine_ls_r_factor_gt", "_refine_ls_r_factor_obs").loop || m.Column("_refine_ls_r_factor_all").loop;
  if (!refinement) return;
  if (m.Missing("_publ_contact_author_name", "_publ_contact_author") && m.Missing("_publ_author_name"))
    c.Found("author", "");
  const bool hydrogen = std::ranges::any_of(m.sites, &CifSite::Hydrogen);
  for (const ItemRow& row : RequiredItems()) {
    const std::string_view item(row.item);
    if (!m.Missing(item, row.older)) continue;
    if (item.find("hydrogen") != item.npos && !hydrogen) continue;
    if (item.starts_with("_atom_type_scat_dispersion") && !m.xray) continue;
    std::string id = "missing" + std::string(item);
    std::ranges::replace(id, '_', '-');
    c.Found(id, std::string(item) + ".");
  }
}

void CheckEmbedded(CifChecker& c) {
  const CifModel& m = c.model;
  bool instructions = false;
  bool reflections = m.Column("_refln_index_h").loop != nullptr;
  for (const std::string_view field : m.block.textFields) {
    if (!instructions && IsInstructions(field)) {
      instructions = true;
      Instructions(c, field);
    } else if (IsReflections(field)) {
      reflections = true;
    }
  }
  if (m.Missing("_refine_ls_r_factor_gt", "_refine_ls_r_factor_obs")) return;
  if (!instructions) c.Found("embedded-instructions", "");
  if (!reflections) c.Found("embedded-reflections", "");
}

}  // namespace marvik::cif
