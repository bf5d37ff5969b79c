#include "files/cif/cif_completion.h"

#include <algorithm>
#include <set>

#include "base/words.h"
#include "files/cif/cif_text.h"
#include "files/cif/cif_writer.h"

namespace marvik {
namespace {

// Computed as a proposal only.
constexpr std::string_view kUsersOwn[] = {"_chemical_formula_moiety", "_diffrn_radiation_type",
                                          "_refine_special_details", "_atom_sites_solution_hydrogens"};
// Behind these nothing is put in.
constexpr std::string_view kAttached = "_iucr_refine_";

using Kind = CifTokens::Kind;

std::string AsWritten(const CifTokens& tokens) {
  if (tokens.isTextField) return "\n;" + std::string(tokens.text) + "\n;";
  return tokens.isUnknown ? std::string(tokens.text) : CifValueText(tokens.text);
}

// One item or loop with its place in the text.
struct Piece {
  std::vector<std::string> names;
  std::vector<std::string> values;
  bool isLoop = false;
  size_t begin = 0;       // of its name, or of loop_
  size_t valueBegin = 0;  // of an item
  size_t valueEnd = 0;
};
struct Block {
  std::string name;
  std::vector<Piece> pieces;
  size_t end = 0;
};

std::vector<Block> BlocksOf(std::string_view text) {
  std::vector<Block> blocks;
  CifTokens tokens(text);
  for (Kind kind = tokens.Next(); kind != Kind::End;) {
    if (kind == Kind::Block) {
      if (!blocks.empty()) blocks.back().end = tokens.begin;
      blocks.push_back({CifBlockName(tokens.text), {}, text.size()});
      kind = tokens.Next();
      continue;
    }
    const bool isLoop = kind == Kind::Loop;
    const size_t begin = tokens.begin;
    if (isLoop) kind = tokens.Next();
    if (kind != Kind::Name) {
      if (!isLoop) kind = tokens.Next();
      continue;
    }
    if (blocks.empty()) blocks.push_back({"", {}, text.size()});
    Piece piece;
    piece.isLoop = isLoop;
    piece.begin = begin;
    for (; kind == Kind::Name && (isLoop || piece.names.empty()); kind = tokens.Next())
      piece.names.emplace_back(tokens.text);
    for (; kind == Kind::Value && (isLoop || piece.values.empty()); kind = tokens.Next()) {
      piece.values.push_back(AsWritten(tokens));
      piece.valueBegin = tokens.begin;
      piece.valueEnd = tokens.End();
    }
    blocks.back().pieces.push_back(std::move(piece));
  }
  return blocks;
}

KnownItems KnownOf(const Block& block, bool withUnknown = false) {
  KnownItems known;
  for (const Piece& piece : block.pieces) {
    if (piece.values.empty()) continue;
    if (piece.isLoop) {
      known.loops.push_back({piece.names, piece.values});
    } else if (withUnknown || piece.values[0] != "?") {
      known.items[LowerCase(piece.names[0])] = {piece.names[0], piece.values[0]};
    }
  }
  return known;
}

std::string ItemText(const KnownItems::Item& item) {
  return item.name + (item.value.starts_with('\n') ? "" : " ") + item.value + "\n";
}

std::string LoopText(const KnownItems::Loop& loop) {
  std::string text = "\nloop_\n";
  for (const std::string& name : loop.names) text += " " + name + "\n";
  for (size_t i = 0; i < loop.values.size(); ++i) {
    text += loop.values[i];
    text += (i + 1) % loop.names.size() == 0 ? "\n" : " ";
  }
  return text.ends_with('\n') ? text : text + "\n";
}

bool Holds(const std::vector<KnownItems::Loop>& loops, const Piece& piece) {
  return piece.isLoop && std::ranges::any_of(loops, [&](const KnownItems::Loop& loop) {
           return loop.names == piece.names && loop.values == piece.values;
         });
}

struct Change {
  size_t begin;
  size_t end;
  std::string text;
};

void ChangesOf(std::string_view cif, const Block& block, const KnownItems& known, const KnownItems& before,
               std::vector<Change>& changes) {
  std::set<std::string> there;
  size_t behind = block.end;
  for (const Piece& piece : block.pieces) {
    if (Holds(before.loops, piece) && !Holds(known.loops, piece)) {
      changes.push_back({piece.begin, piece.valueEnd, ""});
      continue;
    }
    for (const std::string& name : piece.names) there.insert(LowerCase(name));
    if (piece.names[0].starts_with(kAttached)) behind = std::min(behind, piece.begin);
  }
  for (const Piece& piece : block.pieces) {
    if (piece.isLoop || piece.values.empty()) continue;
    const std::string name = LowerCase(piece.names[0]);
    const auto item = known.items.find(name);
    const auto old = before.items.find(name);
    const bool wasKnown = old != before.items.end() && old->second.value == piece.values[0];
    if (item == known.items.end() && !wasKnown) continue;
    if (piece.values[0] != "?" && !IsUsersOwn(name) && !wasKnown) continue;
    // A text field begins on a line of its own.
    size_t begin = piece.valueBegin;
    const std::string value = item == known.items.end() ? "?" : item->second.value;
    const bool atStart = begin > 0 && cif[begin - 1] == '\n';
    changes.push_back({begin, piece.valueEnd, value.starts_with('\n') && atStart ? value.substr(1) : value});
  }
  std::string more;
  for (const auto& [name, item] : known.items) {
    if (!there.contains(name)) more += ItemText(item);
  }
  for (const KnownItems::Loop& loop : known.loops) {
    const bool taken =
        std::ranges::any_of(loop.names, [&](const std::string& name) { return there.contains(LowerCase(name)); });
    if (!taken) more += LoopText(loop);
  }
  if (more.empty()) return;
  const bool atStart = behind == 0 || cif[behind - 1] == '\n';
  changes.push_back({behind, behind, (atStart ? "" : "\n") + more + "\n"});
}

const Block* BlockNamed(const std::vector<Block>& blocks, std::string_view name) {
  for (const Block& block : blocks) {
    if (block.name == name) return &block;
  }
  return blocks.empty() ? nullptr : &blocks[0];
}

}  // namespace

std::vector<KnownBlock> ReadKnownBlocks(std::string_view cif, bool withUnknown) {
  std::vector<KnownBlock> known;
  for (const Block& block : BlocksOf(cif)) known.push_back({block.name, KnownOf(block, withUnknown)});
  return known;
}

KnownItems ReadKnownItems(std::string_view cif, std::string_view block) {
  const std::vector<Block> blocks = BlocksOf(cif);
  const Block* chosen = BlockNamed(blocks, CifBlockName(block));
  return chosen ? KnownOf(*chosen) : KnownItems{};
}

std::string ComposeKnownItems(const KnownItems& known, std::string_view block) {
  CifWriter writer;
  writer.Block(block);
  std::string text = writer.Text();
  for (const auto& [name, item] : known.items) text += ItemText(item);
  for (const KnownItems::Loop& loop : known.loops) text += LoopText(loop);
  return text;
}

bool IsUsersOwn(std::string_view item) {
  return std::ranges::find(kUsersOwn, LowerCase(item)) != std::end(kUsersOwn);
}

std::string PlainValue(std::string_view written) {
  CifTokens tokens(written);
  if (tokens.Next() != Kind::Value) return {};
  if (!tokens.isTextField) return std::string(tokens.text);
  // The text begins on the line behind the semicolon.
  const std::string lines = UnfoldedText(tokens.text);
  return lines.substr(lines.starts_with("\r\n") ? 2 : lines.starts_with('\n') ? 1 : 0);
}

std::string CompletedCif(std::string_view cif, std::string_view known, std::string_view before) {
  const std::vector<Block> source = BlocksOf(known), earlier = BlocksOf(before);
  if (source.empty() && earlier.empty()) return std::string(cif);
  const auto itemsFor = [](const std::vector<Block>& blocks, const std::string& name) {
    const Block* block = BlockNamed(blocks, name);
    return block ? KnownOf(*block) : KnownItems{};
  };
  std::vector<Change> changes;
  for (const Block& block : BlocksOf(cif))
    ChangesOf(cif, block, itemsFor(source, block.name), itemsFor(earlier, block.name), changes);
  std::ranges::stable_sort(changes, {}, &Change::begin);
  std::string out;
  size_t at = 0;
  for (const Change& change : changes) {
    out += cif.substr(at, change.begin - at);
    out += change.text;
    at = change.end;
  }
  return out.append(cif.substr(at));
}

}  // namespace marvik
