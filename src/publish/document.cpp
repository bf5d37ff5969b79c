#include "publish/document.h"

#include <algorithm>

#include "base/numbers.h"
#include "base/words.h"
#include "files/cif/cif_text.h"
#include "publish/document_text.h"

namespace marvik {
namespace {

constexpr int kDeepest = 8;  // of templates in templates and fields in fields

struct Row {
  const CifLoop* loop = nullptr;
  size_t index = 0;
  const Finding* finding = nullptr;
};

std::string Lower(std::string_view name) {
  std::string lower = LowerCase(name);
  std::ranges::replace(lower, '.', '_');
  return lower;
}

class Filler {
 public:
  Filler(DocumentKind kind, const DocumentSource& source,
         const std::function<std::optional<std::string>(const std::string&)>& include, std::string& problem)
      : kind_(kind), source_(source), include_(include), problem_(problem) {
    CifReader reader(source.cif, {"_"});
    CifBlock block;
    for (bool found = false; !found && reader.Next(block);) {
      block_ = block;
      found = FindColumn(block, {"_cell_length_a"}).loop != nullptr;
    }
  }

  bool Fill(std::string_view text, const Row& row, int depth, std::string& out) {
    if (depth > kDeepest) return Wrong("Templates stand in each other without end");
    for (size_t at = 0; at < text.size();) {
      const size_t open = std::min(text.find("{{", at), text.size());
      out += text.substr(at, open - at);
      if (open == text.size()) return true;
      const size_t close = text.find("}}", open);
      if (close == text.npos) return Wrong("A field does not end: " + std::string(text.substr(open, 40)));
      const std::string_view field = text.substr(open + 2, close - open - 2);
      at = close + 2;
      if (field.empty()) return Wrong("A field is empty");
      if (std::string_view("#?^").find(field[0]) == field.npos) {
        if (!Value(field, row, depth, out)) return false;
        continue;
      }
      const std::string end = "{{/" + std::string(field.substr(1)) + "}}";
      const size_t last = EndOf(text, at, field.substr(1), end);
      if (last == text.npos) return Wrong(end + " is missing");
      const std::string_view inner = text.substr(at, last - at);
      at = last + end.size();
      // A section that stands on lines of its own leaves none behind.
      if (inner.starts_with('\n') && at < text.size() && text[at] == '\n') ++at;
      if (!Section(field, inner.substr(inner.starts_with('\n') ? 1 : 0), row, depth, out)) return false;
    }
    return true;
  }

 private:
  bool Wrong(const std::string& sentence) {
    problem_ = sentence + ".";
    return false;
  }

  // Where a section ends, past those of its name that stand in it.
  static size_t EndOf(std::string_view text, size_t at, std::string_view name, const std::string& end) {
    for (int open = 1; at < text.size(); ++at) {
      const std::string_view rest = text.substr(at);
      if (rest.starts_with(end) && --open == 0) return at;
      const bool begins = rest.starts_with("{{") && rest.size() > name.size() + 4 &&
                          std::string_view("#?^").find(rest[2]) != rest.npos && rest.substr(3).starts_with(name) &&
                          rest.substr(3 + name.size()).starts_with("}}");
      open += begins;
    }
    return text.npos;
  }

  CifValue ItemValue(std::string_view name, const Row& row) const {
    const CifColumn column = FindColumn(block_, {Lower(name)});
    return column[column.loop && column.loop == row.loop ? row.index : 0];
  }

  bool IsKnown(std::string_view name, const Row& row) const {
    if (name == "figure") return !source_.figure.empty();
    if (name == "findings") return !source_.findings.empty();
    return !ItemValue(name, row).empty();
  }

  bool Section(std::string_view field, std::string_view inner, const Row& row, int depth, std::string& out) {
    const std::string_view name = field.substr(1);
    if (field[0] != '#') return IsKnown(name, row) != (field[0] == '?') || Fill(inner, row, depth + 1, out);
    if (name == "findings") {
      return std::ranges::all_of(source_.findings, [&](const Finding& finding) {
        return Fill(inner, {nullptr, 0, &finding}, depth + 1, out);
      });
    }
    const CifColumn column = FindColumn(block_, {Lower(name)});
    for (size_t i = 0; i < column.Rows(); ++i) {
      if (!Fill(inner, {column.loop, i, nullptr}, depth + 1, out)) return false;
    }
    return true;
  }

  bool Value(std::string_view field, const Row& row, int depth, std::string& out) {
    if (field[0] == '>') {
      const auto other = include_(std::string(field.substr(1)));
      return other ? Fill(*other, row, depth + 1, out) : Wrong("There is no template " + std::string(field.substr(1)));
    }
    const size_t bar = std::min(field.find('|'), field.size());
    const std::string_view name = field.substr(0, bar);
    const std::string_view filter = bar < field.size() ? field.substr(bar + 1) : std::string_view();
    if (name[0] == '_') {
      const CifValue value = ItemValue(name, row);
      // "." is an answer: there is none.
      const std::string_view text = value.data() ? value : std::string_view("?");
      if (filter == "formula") {
        out += LoweredFormula(text, kind_);
      } else if (filter == "symbol") {
        out += SymbolText(text, kind_);
      } else if (filter.empty()) {
        out += DocumentText(Trimmed(UnfoldedText(text)), kind_);
      } else {
        return Wrong("There is no " + std::string(filter) + " for a field");
      }
      return true;
    }
    const auto known = NamedValue(name, row);
    if (!known) return Wrong("There is no field " + std::string(name));
    out += EscapedText(*known, kind_);
    return true;
  }

  std::optional<std::string> NamedValue(std::string_view name, const Row& row) const {
    if (name == "block") return std::string(block_.name);
    if (name == "figure") return source_.figure;
    if (!row.finding) return std::nullopt;
    if (name == "level") return std::string(NameOf(row.finding->level));
    if (name == "test") return row.finding->test;
    if (name == "text") return row.finding->text;
    if (name != "atoms") return std::nullopt;
    std::string atoms;
    for (const std::string& atom : row.finding->atoms) atoms += (atoms.empty() ? "" : " ") + atom;
    return atoms;
  }

  DocumentKind kind_;
  const DocumentSource& source_;
  const std::function<std::optional<std::string>(const std::string&)>& include_;
  std::string& problem_;
  CifBlock block_;
};

}  // namespace

std::optional<DocumentKind> DocumentKindOf(std::string_view extension) {
  if (extension == "html") return DocumentKind::Html;
  if (extension == "tex") return DocumentKind::Latex;
  if (extension == "md") return DocumentKind::Markdown;
  return std::nullopt;
}

std::optional<std::string> FillTemplate(std::string_view text, DocumentKind kind, const DocumentSource& source,
                                        const std::function<std::optional<std::string>(const std::string&)>& include,
                                        std::string& problem) {
  std::string out;
  Filler filler(kind, source, include, problem);
  if (!filler.Fill(text, {}, 0, out)) return std::nullopt;
  return out;
}

}  // namespace marvik
