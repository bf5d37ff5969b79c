#pragma once

#include <string>
#include <string_view>

namespace marvik {

inline constexpr size_t kLongestLine = 79;

// Builds one instruction piece by piece, continuing it on a new line before a piece that would go past column 79.
class ComposedLine {
 public:
  explicit ComposedLine(std::string head, std::string_view indent = "   ")
      : text_(std::move(head)), indent_(indent), column_(text_.size()) {}

  // A piece is never broken; blanks belong to it.
  void Add(std::string_view piece);
  // Goes on on a new line.
  void Break();
  const std::string& Text() const { return text_; }

 private:
  std::string text_;
  std::string_view indent_;
  size_t column_;
};

// "%*.*f" with 15 decimals at most and without the cost of printf. What that would write in more than 24 characters is
// written in scientific form.
void AppendFixed(std::string& out, double value, int width, int decimals);

// A value with the stated number of decimals, and with as many as it takes where those would change it.
void AppendFixedExact(std::string& out, double value, int width, int decimals);

}  // namespace marvik
