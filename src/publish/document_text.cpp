#include "publish/document_text.h"

#include <algorithm>
#include <cctype>

#include "base/numbers.h"

namespace marvik {
namespace {

struct Greek {
  char code;
  const char* utf8;
  const char* latex;
};
constexpr Greek kGreek[] = {
    {'a', "α", "\\alpha"}, {'b', "β", "\\beta"},  {'g', "γ", "\\gamma"}, {'d', "δ", "\\delta"}, {'e', "ε", "\\epsilon"},
    {'z', "ζ", "\\zeta"},  {'h', "η", "\\eta"},   {'q', "θ", "\\theta"}, {'k', "κ", "\\kappa"}, {'l', "λ", "\\lambda"},
    {'m', "μ", "\\mu"},    {'n', "ν", "\\nu"},    {'x', "ξ", "\\xi"},    {'p', "π", "\\pi"},    {'r', "ρ", "\\rho"},
    {'s', "σ", "\\sigma"}, {'t', "τ", "\\tau"},   {'f', "φ", "\\phi"},   {'c', "χ", "\\chi"},   {'y', "ψ", "\\psi"},
    {'w', "ω", "\\omega"}, {'D', "Δ", "\\Delta"}, {'S', "Σ", "\\Sigma"}, {'W', "Ω", "\\Omega"}, {'Q', "Θ", "\\Theta"},
    {'F', "Φ", "\\Phi"}};
struct Accent {
  char code;
  const char* combining;
  const char* latex;
};
constexpr Accent kAccents[] = {{'\'', "\xCC\x81", "\\'"}, {'`', "\xCC\x80", "\\`"}, {'^', "\xCC\x82", "\\^"},
                               {'"', "\xCC\x88", "\\\""}, {'~', "\xCC\x83", "\\~"}, {',', "\xCC\xA7", "\\c "},
                               {'<', "\xCC\x8C", "\\v "}, {'>', "\xCC\x8B", "\\H "}};

std::string Placed(std::string_view text, bool raised, DocumentKind kind) {
  const std::string inner(text);
  if (inner.empty()) return inner;
  if (kind == DocumentKind::Html) return (raised ? "<sup>" : "<sub>") + inner + (raised ? "</sup>" : "</sub>");
  if (kind == DocumentKind::Latex) return std::string("$") + (raised ? "^" : "_") + "{" + inner + "}$";
  return (raised ? "^" : "~") + inner + (raised ? "^" : "~");
}

// One code that begins at a backslash; how much of the text it takes, 0 for none.
size_t TakeCode(std::string_view text, DocumentKind kind, std::string& out) {
  if (text.size() < 2) return 0;
  const bool latex = kind == DocumentKind::Latex;
  if (text[1] == '%') {
    const bool ring = text.size() > 2 && (text[2] == 'A' || text[2] == 'a');
    if (ring) {
      out += latex ? (text[2] == 'A' ? "\\AA{}" : "\\aa{}") : (text[2] == 'A' ? "Å" : "å");
    } else {
      out += latex ? "$^{\\circ}$" : "°";
    }
    return ring ? 3 : 2;
  }
  for (const Accent& accent : kAccents) {
    if (text[1] != accent.code || text.size() < 3 || !std::isalpha(static_cast<unsigned char>(text[2]))) continue;
    out += latex ? std::string(accent.latex) + "{" + text[2] + "}" : std::string(1, text[2]) + accent.combining;
    return 3;
  }
  for (const Greek& greek : kGreek) {
    if (text[1] != greek.code) continue;
    out += latex ? std::string("$") + greek.latex + "$" : greek.utf8;
    return 2;
  }
  return 0;
}

}  // namespace

std::string EscapedText(std::string_view text, DocumentKind kind) {
  std::string out;
  for (const char c : text) {
    const std::string_view special = kind == DocumentKind::Html    ? "<>&\""
                                     : kind == DocumentKind::Latex ? "\\#$%&_{}~^"
                                                                   : "\\|*_`<>[]";
    if (special.find(c) == special.npos) {
      out += c;
    } else if (kind == DocumentKind::Html) {
      out += c == '<' ? "&lt;" : c == '>' ? "&gt;" : c == '&' ? "&amp;" : "&quot;";
    } else if (kind == DocumentKind::Latex && (c == '\\' || c == '~' || c == '^')) {
      out += c == '\\' ? "\\textbackslash{}" : c == '~' ? "\\textasciitilde{}" : "\\textasciicircum{}";
    } else {
      out += std::string("\\") + c;
    }
  }
  return out;
}

std::string DocumentText(std::string_view coded, DocumentKind kind) {
  std::string out;
  for (size_t at = 0; at < coded.size();) {
    const char c = coded[at];
    if (c == '\\') {
      const size_t used = TakeCode(coded.substr(at), kind, out);
      at += used;
      if (used > 0) continue;
    }
    if (c == '^' || c == '~') {
      const size_t end = coded.find(c, at + 1);
      if (end != coded.npos && end - at < 12) {
        out += Placed(DocumentText(coded.substr(at + 1, end - at - 1), kind), c == '^', kind);
        at = end + 1;
        continue;
      }
    }
    out += EscapedText(coded.substr(at, 1), kind);
    ++at;
  }
  return out;
}

std::string LoweredFormula(std::string_view formula, DocumentKind kind) {
  std::string out;
  bool behindElement = false;
  for (size_t at = 0; at < formula.size();) {
    const char c = formula[at];
    const bool digit = std::isdigit(static_cast<unsigned char>(c)) != 0;
    if (digit && behindElement) {
      const size_t end = std::min(formula.find_first_not_of("0123456789.", at), formula.size());
      out += Placed(formula.substr(at, end - at), false, kind);
      at = end;
      continue;
    }
    if (c != ' ' || (at > 0 && formula[at - 1] == ',')) out += EscapedText(formula.substr(at, 1), kind);
    behindElement = std::isalpha(static_cast<unsigned char>(c)) != 0 || c == ')';
    ++at;
  }
  return out;
}

std::string SymbolText(std::string_view symbol, DocumentKind kind) {
  std::string out;
  for (size_t at = 0; at < symbol.size(); ++at) {
    const char c = symbol[at];
    const char next = at + 1 < symbol.size() ? symbol[at + 1] : ' ';
    const auto isDigit = [](char d) { return std::isdigit(static_cast<unsigned char>(d)) != 0; };
    if (c == ' ') continue;
    if (c == '-' && isDigit(next)) {
      out += kind == DocumentKind::Latex ? std::string("$\\bar{") + next + "}$" : std::string(1, next) + "\xCC\x84";
      ++at;
    } else if (isDigit(c) && isDigit(next)) {
      out += c + Placed(symbol.substr(at + 1, 1), false, kind);
      ++at;
    } else {
      out += EscapedText(symbol.substr(at, 1), kind);
    }
  }
  return out;
}

}  // namespace marvik
