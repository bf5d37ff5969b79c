#include "files/cif/cif_completion.h"

#include <algorithm>
#include <set>

#include "base/words.h"
#include "files/cif/cif_text.h"
#include "files/cif/cif_writer.h"

namespace marvik {
namespace {

// Computed as a proposal only.
constexpr std::string_view kUsersOwn[] = {"_chemical_formula_moiety"};
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
  size_t begin = 0;       // of its first name, or of loop_
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
  const auto place = [&] { return static_cast<size_t>(tokens.text.data() - text.data()); };
  for (Kind kind = tokens.Next(); kind != Kind::End;) {
    if (kind == Kind::Block) {
      if (!blocks.empty()) blocks.back().end = place() - std::string_view("data_").size();
      blocks.push_back({std::string(tokens.text), {}, text.size()});
      kind = tokens.Next();
      continue;
    }
    const bool isLoop = kind == Kind::Loop;
    if (isLoop) kind = tokens.Next();
    if (kind != Kind::Name || blocks.empty()) {
      if (!isLoop) kind = tokens.Next();
      continue;
    }
    Piece piece;
    piece.isLoop = isLoop;
    piece.begin = place();
    for (; kind == Kind::Name && (isLoop || piece.names.empty()); kind = tokens.Next())
      piece.names.emplace_back(tokens.text);
    for (; kind == Kind::Value && (isLoop || piece.values.empty()); kind = tokens.Next()) {
      piece.values.push_back(AsWritten(tokens));
      const bool quoted = !tokens.isTextField && place() > 0 && (text[place() - 1] == '\'' || text[place() - 1] == '"');
      piece.valueBegin = place() - (tokens.isTextField || quoted ? 1 : 0);
      piece.valueEnd = place() + tokens.text.size() + (quoted ? 1 : 0);
      if (tokens.isTextField) piece.valueEnd = std::min(text.find(';', piece.valueEnd), text.size() - 1) + 1;
    }
    blocks.back().pieces.push_back(std::move(piece));
  }
  return blocks;
}

KnownItems KnownOf(const Block& block) {
  KnownItems known;
  for (const Piece& piece : block.pieces) {
    if (piece.values.empty()) continue;
    if (piece.isLoop) {
      known.loops.push_back({piece.names, piece.values});
    } else if (piece.values[0] != "?") {
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

struct Change {
  size_t begin;
  size_t end;
  std::string text;
};

void ChangesOf(std::string_view cif, const Block& block, const KnownItems& known, std::vector<Change>& changes) {
  std::set<std::string> there;
  size_t behind = block.end;
  for (const Piece& piece : block.pieces) {
    for (const std::string& name : piece.names) there.insert(LowerCase(name));
    if (piece.names[0].starts_with(kAttached)) behind = std::min(behind, piece.begin);
  }
  for (const Piece& piece : block.pieces) {
    if (piece.isLoop || piece.values.empty()) continue;
    const std::string name = LowerCase(piece.names[0]);
    const auto item = known.items.find(name);
    if (item == known.items.end()) continue;
    const bool own = std::ranges::find(kUsersOwn, name) != std::end(kUsersOwn);
    if (piece.values[0] != "?" && !own) continue;
    // A text field begins on a line of its own.
    size_t begin = piece.valueBegin;
    const std::string& value = item->second.value;
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

KnownItems ReadKnownItems(std::string_view cif, std::string_view block) {
  const std::vector<Block> blocks = BlocksOf(cif);
  const Block* chosen = BlockNamed(blocks, block);
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

std::string CompletedCif(std::string_view cif, std::string_view known) {
  const std::vector<Block> source = BlocksOf(known);
  if (source.empty()) return std::string(cif);
  std::vector<Change> changes;
  for (const Block& block : BlocksOf(cif)) ChangesOf(cif, block, KnownOf(*BlockNamed(source, block.name)), changes);
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
