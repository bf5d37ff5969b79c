#include <algorithm>
#include <cctype>
#include <set>

#include "base/words.h"
#include "check/cif/check_cif.h"
#include "files/cif/cif_writer.h"
#include "publish/publication_loops.h"

namespace marvik {
namespace {

const KnownItems* ItemsOf(const std::vector<KnownBlock>& blocks, std::string_view name) {
  const auto found = std::ranges::find(blocks, name, &KnownBlock::name);
  if (found != blocks.end()) return &found->known;
  return blocks.empty() ? nullptr : &blocks[0].known;
}

const KnownItems::Item* ItemOf(const KnownItems* items, const std::string& lower) {
  if (!items) return nullptr;
  const auto item = items->items.find(lower);
  return item == items->items.end() ? nullptr : &item->second;
}

// Loops that a user has, and no refinement.
bool IsUsersLoop(const KnownItems::Loop& loop) {
  return std::ranges::any_of(PublicationFields(),
                             [&](const PublicationField& field) { return field.IsLoop() && IsLoopOf(loop, field); });
}

bool SaysNothing(const KnownItems::Loop& loop) {
  return std::ranges::all_of(loop.values, [](const std::string& value) { return value == "?"; });
}

// The value of an item, or the lines of the loop that it begins; nothing where it is not there or "?".
std::optional<std::string> ValueIn(const KnownItems* items, const std::string& item, const PublicationField* field) {
  const KnownItems::Item* found = ItemOf(items, LowerCase(item));
  if (found && found->value != "?") return PlainValue(found->value);
  if (!items || !field || !field->IsLoop()) return std::nullopt;
  for (const KnownItems::Loop& loop : items->loops)
    if (IsLoopOf(loop, *field) && !SaysNothing(loop)) return LinesOfLoop(loop, *field);
  return std::nullopt;
}

bool Overlap(const KnownItems::Loop& a, const KnownItems::Loop& b) {
  return std::ranges::any_of(a.names, [&](const std::string& name) { return std::ranges::count(b.names, name) > 0; });
}

PublicationRow RowOf(const std::string& item, const KnownItems* said, const KnownItems* kept,
                     std::span<const PublicationSource> sources) {
  PublicationRow row{item, FindPublicationField(item), {}, false, false, {}};
  if (const auto known = ValueIn(kept, item, row.field)) {
    row.value = *known;
    row.isKept = true;
  } else if (const auto there = ValueIn(said, item, row.field)) {
    row.value = *there;
    row.isFixed = !IsUsersOwn(item) && !(row.field && row.field->IsLoop());
  }
  for (const PublicationSource& source : sources) {
    auto value = ValueIn(&source.items, item, row.field);
    if (value && *value != row.value && PublicationFault(item, *value).empty())
      row.proposals.push_back({std::move(*value), source.name});
  }
  return row;
}

}  // namespace

std::vector<PublicationRow> PublicationRows(std::string_view cif, std::string_view block, std::string_view kept,
                                            std::span<const PublicationSource> sources) {
  const std::vector<KnownBlock> said = ReadKnownBlocks(cif, true), known = ReadKnownBlocks(kept);
  const KnownItems* here = ItemsOf(said, block);
  const KnownItems* keptHere = ItemsOf(known, block.empty() && !said.empty() ? said[0].name : block);
  std::vector<PublicationRow> rows;
  std::set<std::string> done;
  const auto add = [&](const std::string& item) {
    if (done.insert(LowerCase(item)).second) rows.push_back(RowOf(item, here, keptHere, sources));
  };
  for (const PublicationField& field : PublicationFields()) add(field.item);
  if (here) {
    for (const auto& [name, item] : here->items)
      if (item.value == "?") add(item.name);
  }
  if (keptHere) {
    for (const auto& [name, item] : keptHere->items) add(item.name);
  }
  return rows;
}

std::string ItemChange(const std::string& item, const std::string& value) {
  const PublicationField* field = FindPublicationField(item);
  if (field && field->IsLoop()) return LoopOfLines(value == "?" ? "" : value, *field);
  const std::string written = CifValueText(CifMarkup(value));
  return item + (written.starts_with('\n') ? "" : " ") + written + "\n";
}

std::string FillingOf(std::span<const PublicationRow> rows) {
  std::string changes;
  for (const PublicationRow& row : rows)
    if (row.value.empty() && !row.proposals.empty()) changes += ItemChange(row.item, row.proposals[0].value);
  return changes;
}

std::optional<std::string> ChangedPublication(std::string_view kept, std::string_view changes, const std::string& block,
                                              std::string& problem) {
  std::vector<KnownBlock> blocks = ReadKnownBlocks(kept);
  size_t count = 0;
  for (const KnownBlock& change : ReadKnownBlocks(changes, true)) {
    const std::string name = change.name.empty() ? CifBlockName(block) : change.name;
    auto at = std::ranges::find(blocks, name, &KnownBlock::name);
    // What stood for every block goes on to stand for this one.
    if (at == blocks.end()) at = blocks.insert(at, {name, blocks.empty() ? KnownItems{} : blocks[0].known});
    for (const auto& [lower, item] : change.known.items) {
      problem = PublicationFault(item.name, PlainValue(item.value));
      if (!problem.empty()) return std::nullopt;
      std::erase_if(at->known.loops, [&name = item.name](const auto& loop) { return Overlap(loop, {{name}, {}}); });
      const PublicationField* field = FindPublicationField(item.name);
      if (item.value == "?") {
        at->known.items.erase(lower);
      } else if (field && field->IsLoop()) {
        at->known.loops.push_back({{item.name}, {item.value}});
      } else {
        at->known.items[lower] = item;
      }
      ++count;
    }
    for (const KnownItems::Loop& loop : change.known.loops) {
      if (!IsUsersLoop(loop)) continue;
      std::erase_if(at->known.loops, [&](const KnownItems::Loop& old) { return Overlap(old, loop); });
      if (!SaysNothing(loop)) at->known.loops.push_back(loop);
      ++count;
    }
  }
  if (count == 0) problem = "Items with their values are wanted, as a CIF has them.";
  if (count == 0) return std::nullopt;
  std::string text;
  for (const KnownBlock& one : blocks) text += ComposeKnownItems(one.known, one.name);
  return text;
}

ReplyForm ReplyTo(const Finding& finding, std::string_view block) {
  const auto rules = CifRules();
  const auto rule = std::ranges::find(rules, finding.test, &CifRule::id);
  if (rule == rules.end() || rule->reference.empty()) return {};
  // Of several numbers the one of the longer list; "PLAT601-603" stands for its first.
  std::string_view number = rule->reference;
  const size_t at = number.find("PLAT");
  number.remove_prefix(at == number.npos ? 0 : at);
  const auto end = std::ranges::find_if(number, [](unsigned char c) { return !std::isalnum(c); });
  const std::string test(number.begin(), end);
  return {"_vrf_" + test + "_" + std::string(block), "PROBLEM: " + finding.text + "\nRESPONSE: "};
}

}  // namespace marvik
