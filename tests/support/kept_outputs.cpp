#include "support/kept_outputs.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <map>

#include "base/files.h"
#include "base/numbers.h"

#include "support/test_files.h"

namespace marvik::test {

namespace {

constexpr double kRounding = 0.002;   // of the sum: a few last digits in each
constexpr double kNumbers = 10000.0;  // numbers
constexpr size_t kLongest = 40;       // number

// What is kept of a text: its words, with blanks of any width between them, and its numbers apart from them.
struct Mark {
  uint32_t words = 2166136261u;  // by Fowler, Noll and Vo
  size_t numbers = 0;
  double sum = 0.0;

  explicit Mark(const std::string& text) {
    char last = ' ';
    for (size_t at = 0; at < text.size(); last = text[at - 1]) {
      double value = 0.0;
      const bool inWord = std::isalnum(static_cast<unsigned char>(last)) || last == '_' || text[at] == ' ';
      if (const size_t length = inWord ? 0 : ParseNumber(std::string_view(text).substr(at, kLongest), value)) {
        Add(std::isfinite(value) ? value : 0.0);
        at += length;
      } else if (text[at++] != ' ' || last != ' ') {
        words = (words ^ static_cast<unsigned char>(text[at - 1])) * 16777619u;
      }
    }
  }
  void Add(double value) {
    sum += std::asinh(value) * (1.0 + static_cast<double>(++numbers * 7919 % 1000) / 1000.0);
    words = (words ^ '#') * 16777619u;
  }
  std::string Text() const { return Printf("%08x %zu %.4f", words, numbers, sum); }
  bool Is(const std::string& kept) const {
    const size_t last = kept.rfind(' ');
    return last != kept.npos && kept.substr(0, last) == Printf("%08x %zu", words, numbers) &&
           std::fabs(NumberIn(kept.substr(last + 1)) - sum) <=
               kRounding * (1.0 + static_cast<double>(numbers) / kNumbers);
  }
  static double NumberIn(const std::string& text) {
    double value = 0.0;
    return ParseNumber(text, value) ? value : NAN;
  }
};

// The lines of a group's file, "NAME<tab>MARK".
class Kept {
 public:
  explicit Kept(const std::string& group) : path_(std::string(MARVIK_OUTPUTS) + "/" + group + ".txt") {
    std::ifstream in(path_);
    for (std::string line; std::getline(in, line);)
      if (const size_t tab = line.find('\t'); tab != line.npos) marks_[line.substr(0, tab)] = line.substr(tab + 1);
  }
  std::string& operator[](const std::string& name) { return marks_[name]; }
  void Write() const {
    std::ofstream out(path_);
    for (const auto& [name, mark] : marks_) out << name << '\t' << mark << '\n';
  }

 private:
  std::string path_;
  std::map<std::string, std::string> marks_;
};

// Whether the output is what it was, or is kept now.
bool IsKept(const std::string& group, const std::string& name, const std::string& output, std::string& before) {
  static std::map<std::string, Kept> groups;
  Kept& kept = groups.try_emplace(group, group).first->second;
  before = kept[name];
  const Mark mark(output);
  if (mark.Is(before)) return true;
  if (!EnvironmentValue("MARVIK_KEEP_OUTPUTS")) return false;
  kept[name] = mark.Text();
  kept.Write();
  return true;
}

}  // namespace

bool AreKept(const std::vector<std::string>& realFiles) {
  std::string names, before;
  for (const std::string& path : realFiles) names += path.substr(RealDataFolder().size()) + '\n';
  return IsKept("real", "files", names, before);
}

void ExpectKept(const std::string& group, const std::string& name, const std::string& output) {
  std::string before;
  if (IsKept(group, name, output, before)) return;
  std::string file = group + "-" + name + ".txt";
  std::ranges::replace(file, '/', '_');
  const std::string path = (std::filesystem::temp_directory_path() / ("marvik-" + file)).string();
  std::ofstream(path) << output;
  ADD_FAILURE() << group << ", " << name << ": not what it was (" << Mark(output).Text() << ", before " << before
                << "); see " << path;
}

}  // namespace marvik::test
