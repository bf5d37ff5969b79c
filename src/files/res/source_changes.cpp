#include "files/res/source_changes.h"

#include <algorithm>

#include "files/res/header_pieces.h"
#include "language/keywords.h"
#include "language/line_columns.h"

namespace marvik {

namespace {

std::string_view WithoutLineEnd(std::string_view text) {
  return text.substr(0, text.find_last_not_of("\r\n") + 1);
}

}  // namespace

SourceChanges::SourceChanges(const Document& document) : source_(*document.instructions.source) {
  std::vector<HeaderPiece> pieces = ComposeHeader(document, FileLayout::AsRead);
  Compare(pieces);
  Insert(pieces);
  for (const KeptLine& line : document.instructions.kept) Keep(line, nullptr);
  for (const HfixEntry& entry : document.atoms.hfix) Keep({KeptPlace::Body, entry.text, entry.line}, nullptr);
  for (const KeptLine& line : document.atoms.trailingLines) Keep(line, nullptr);
  for (const AtomRecord* atom : Atoms(document.atoms))
    for (const KeptLine& line : atom->Extras().linesBefore) Keep(line, atom);
}

const SourceChanges::Line& SourceChanges::Of(int32_t line) const {
  static const Line same;
  static const Line gone{false, {}, nullptr};
  const auto at = lines_.find(line);
  if (at != lines_.end()) return at->second;
  return source_.lines[static_cast<size_t>(line)].role == LineRole::Kept ? gone : same;
}

std::string_view SourceChanges::Before(int32_t line) const {
  const auto at = before_.find(line);
  return at == before_.end() ? std::string_view() : at->second;
}

std::string_view SourceChanges::Behind(int32_t line) const {
  const auto at = behind_.find(line);
  return at == behind_.end() ? std::string_view() : at->second;
}

void SourceChanges::Keep(const KeptLine& line, const AtomRecord* owner) {
  if (line.line < 0) return;
  Line kept{true, {}, owner, line.place == KeptPlace::AfterHklf};
  if (WithoutLineEnd(line.text) != TextOf(source_, line.line)) kept.text = line.text;
  lines_[line.line] = std::move(kept);
}

void SourceChanges::Compare(std::vector<HeaderPiece>& pieces) {
  std::unordered_map<std::string_view, HeaderPiece*> now;
  for (HeaderPiece& piece : pieces)
    if (!piece.key.empty()) now[piece.key] = &piece;
  for (const LayoutPiece& was : source_.pieces) {
    const auto at = now.find(was.key);
    HeaderPiece* is = at == now.end() ? nullptr : at->second;
    if (was.key == "HKLF" && !was.lines.empty()) hklf_ = was.lines.back();
    const bool same = is && is->text == was.composed;
    if (!same && !was.lines.empty()) Change(was, is ? is->text : std::string());
    // What stands in the file, or need not, is not to be inserted.
    if (is && !was.lines.empty()) is->line = was.lines.back();
    if (same && was.lines.empty()) is->text.clear();
  }
}

// Word by word where the lines have as many as before; else all of it stands on the first.
void SourceChanges::Change(const LayoutPiece& piece, const std::string& now) {
  for (const int32_t line : piece.lines) lines_[line].stays = false;
  if (now.empty()) return;
  Line& first = lines_[piece.lines.front()];
  first = {true, now, nullptr};
  if (piece.key == "TITL" || piece.key.starts_with("SYMM")) return;
  const std::vector<std::string_view> words = WordsInFile(now);
  size_t used = 1;
  std::vector<std::string> placed;
  for (const int32_t line : piece.lines) {
    const std::string_view bytes = BytesOf(source_, line);
    const size_t own = WordsInFile(bytes).size();
    const bool last = line == piece.lines.back();
    const size_t end = last ? words.size() : used + own - 1;
    if (own == 0 || end > words.size()) return;
    std::vector<std::string_view> part{words.front()};
    part.insert(part.end(), words.begin() + static_cast<std::ptrdiff_t>(used),
                words.begin() + static_cast<std::ptrdiff_t>(end));
    auto text = InColumns(bytes, part);
    if (!text) return;
    placed.push_back(std::move(*text));
    used = end;
  }
  for (size_t i = 0; i < placed.size(); ++i) lines_[piece.lines[i]] = {true, std::move(placed[i]), nullptr};
}

// A new instruction comes behind the last of its kind, or behind what it follows in standard layout; an HFIX before the
// first one, since the first that names an atom counts.
void SourceChanges::Insert(const std::vector<HeaderPiece>& pieces) {
  const auto isBarrier = [&](const LayoutLine& line) {
    const auto index = static_cast<int32_t>(&line - source_.lines.data());
    return line.role == LineRole::Atom || line.role == LineRole::End || index == hklf_;
  };
  const auto barrier = static_cast<int32_t>(std::ranges::find_if(source_.lines, isBarrier) - source_.lines.begin());
  std::unordered_map<int, int32_t> lastOfKind;
  int32_t firstHfix = -1;
  for (const HeaderPiece& piece : pieces) {
    if (piece.line < 0 || piece.line >= barrier) continue;
    const InstructionKeyword keyword = HeadOf(piece.text).keyword;
    int32_t& last = lastOfKind.try_emplace(static_cast<int>(keyword), -1).first->second;
    last = std::max(last, piece.line);
    if (keyword == InstructionKeyword::kHfix && (firstHfix < 0 || piece.line < firstHfix)) firstHfix = piece.line;
  }
  int32_t follows = -1;
  for (const HeaderPiece& piece : pieces) {
    if (piece.line >= 0) {
      if (piece.line < barrier) follows = piece.line;
      continue;
    }
    if (piece.text.empty()) continue;
    const InstructionKeyword keyword = HeadOf(piece.text).keyword;
    const auto kind = lastOfKind.find(static_cast<int>(keyword));
    const bool isHfix = keyword == InstructionKeyword::kHfix && firstHfix >= 0;
    std::string& target = isHfix                     ? before_[firstHfix]
                          : kind != lastOfKind.end() ? behind_[kind->second]
                          : follows >= 0             ? behind_[follows]
                                                     : before_[0];
    target.append(piece.text).append("\n");
  }
}

}  // namespace marvik
