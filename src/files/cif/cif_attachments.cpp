#include "files/cif/cif_attachments.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>

#include "base/numbers.h"
#include "files/cif/cif_text.h"
#include "language/tokenizer.h"

namespace marvik {
namespace {

bool Holds(std::string_view text, std::string_view word) {
  for (size_t at = text.find(word); at != text.npos; at = text.find(word, at + 1)) {
    if (at == 0 || text[at - 1] == '\n' || text[at - 1] == '\r') return true;
  }
  return false;
}

// Two lines of three indices in columns of four, then numbers with points.
bool IsReflectionList(std::string_view text) {
  size_t at = std::min(text.find_first_not_of("\r\n"), text.size());
  for (int line = 0; line < 2; ++line) {
    const size_t end = std::min(text.find('\n', at), text.size());
    const std::string_view one = text.substr(at, end - at);
    if (one.size() < 28 || one.find('.') == one.npos || one.find_first_not_of(" 0123456789.-+\r") != one.npos)
      return false;
    at = end + 1;
    if (at >= text.size()) return line > 0;
  }
  return true;
}

// Lines of h k l A B, the numbers of any form, and remarks behind them.
bool IsMask(std::string_view text) {
  const size_t start = std::min(text.find_first_not_of("\r\n"), text.size());
  std::vector<std::string_view> words;
  SplitWords(text.substr(start, text.find('\n', start) - start), words);
  double number = 0.0;
  return words.size() >= 3 &&
         std::ranges::all_of(words, [&](std::string_view w) { return ParseNumber(w, number) > 0; });
}

const char* KindOf(std::string_view item, std::string_view text) {
  const std::string_view head = text.substr(0, 20000);
  if (Holds(head, "CELL") && Holds(head, "SFAC")) return "res";
  if (Holds(head, "data_") && head.find("_refln_index_h") != head.npos) return "fcf";
  if (item.find("fab") != item.npos) return IsMask(text) ? "fab" : nullptr;
  return IsReflectionList(text) ? "hkl" : nullptr;
}

std::string FileNameOfBlock(std::string_view block) {
  std::string name;
  for (const char c : block)
    name += std::isalnum(static_cast<unsigned char>(c)) || c == '_' || c == '-' || c == '+' || c == '.' ? c : '_';
  while (name.starts_with('.')) name.erase(0, 1);
  return name.empty() ? "block" : name.substr(0, 100);
}

// h k l F² σ in the columns of HKLF 4, scaled into them; "" without.
std::string ListedReflections(const CifBlock& block) {
  const CifColumn index[] = {FindColumn(block, {"_refln_index_h"}), FindColumn(block, {"_refln_index_k"}),
                             FindColumn(block, {"_refln_index_l"})};
  const CifColumn value = FindColumn(block, {"_refln_f_squared_meas", "_refln_intensity_meas"});
  const CifColumn sigma = FindColumn(block, {"_refln_f_squared_sigma", "_refln_intensity_sigma"});
  std::vector<std::array<double, 5>> rows;
  double largest = 0.0;
  for (size_t r = 0; r < value.Rows() && sigma.loop == value.loop && index[0].loop == value.loop; ++r) {
    std::array<double, 5> row{};
    bool good = ParseCifNumber(value[r], row[3]) && ParseCifNumber(sigma[r], row[4]);
    for (size_t i = 0; i < 3; ++i) good = good && ParseCifNumber(index[i][r], row[i]) && std::fabs(row[i]) < 1000.0;
    if (!good) continue;
    largest = std::max({largest, std::fabs(row[3]), row[4]});
    rows.push_back(row);
  }
  if (rows.empty()) return {};
  double scale = 1.0;
  while (largest * scale >= 9999.0) scale /= 10.0;
  while (largest > 0.0 && largest * scale < 999.0) scale *= 10.0;
  std::string text;
  for (const auto& [h, k, l, i, s] : rows)
    AppendPrintf(text, "%4.0f%4.0f%4.0f%8.2f%8.2f\n", h, k, l, i * scale, std::max(0.01, s * scale));
  return text + "   0   0   0    0.00    0.00\n";
}

}  // namespace

std::vector<CifAttachment> AttachmentsOf(std::string_view cif) {
  std::vector<CifAttachment> found;
  CifReader reader(cif, {"_"});
  CifBlock block;
  while (reader.Next(block)) {
    const std::string name = FileNameOfBlock(block.name);
    const auto has = [&](std::string_view extension) {
      return std::ranges::any_of(found,
                                 [&](const CifAttachment& a) { return a.block == name && a.extension == extension; });
    };
    for (const CifLoop& loop : block.loops) {
      for (size_t i = 0; i < loop.values.size(); ++i) {
        const CifValue value = loop.values[i];
        // Only a text field has lines.
        if (value.find_first_of("\r\n") == value.npos || value.size() < 60) continue;
        std::string content = AttachedLines(value);
        const char* kind = KindOf(loop.names[i % loop.names.size()], content);
        if (kind && !has(kind)) found.push_back({name, kind, std::move(content)});
      }
    }
    if (has("hkl")) continue;
    std::string listed = ListedReflections(block);
    if (!listed.empty()) found.push_back({name, "hkl", std::move(listed)});
  }
  return found;
}

}  // namespace marvik
