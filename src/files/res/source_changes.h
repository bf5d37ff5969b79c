#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "model/document.h"

namespace marvik {

struct HeaderPiece;

// What has become of the lines of a document's source that are neither atoms nor their state.
class SourceChanges {
 public:
  explicit SourceChanges(const Document& document);

  struct Line {
    bool stays = true;                  // false when it is gone
    std::optional<std::string> text;    // what stands there now, when that is something else
    const AtomRecord* owner = nullptr;  // the atom that a positional line stands before
    bool isParked = false;              // behind HKLF and an atom, where no instruction is read
  };
  const Line& Of(int32_t line) const;
  // Whether a line of state is among the positional lines of an atom, or behind the last one.
  bool IsPositional(int32_t line) const { return lines_.contains(line); }
  bool IsHklf(int32_t line) const { return line == hklf_; }
  // New instructions that come to stand before or behind a line, each with its line feed.
  std::string_view Before(int32_t line) const;
  std::string_view Behind(int32_t line) const;

 private:
  void Compare(std::vector<HeaderPiece>& pieces);
  void Change(const LayoutPiece& piece, const std::string& now);
  void Keep(const KeptLine& line, const AtomRecord* owner);
  void Insert(const std::vector<HeaderPiece>& pieces);

  const SourceLayout& source_;
  std::unordered_map<int32_t, Line> lines_;  // the kept ones, and composed ones that have changed
  std::unordered_map<int32_t, std::string> before_;
  std::unordered_map<int32_t, std::string> behind_;
  int32_t hklf_ = -1;
};

}  // namespace marvik
