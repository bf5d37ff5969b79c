#include <algorithm>

#include "base/numbers.h"
#include "files/res/writer.h"
#include "refine/job/session.h"

namespace marvik {
namespace {

// Start of the line that is END alone, or the length of the text.
size_t EndLineOf(const std::string& text) {
  for (size_t at = 0; at < text.size();) {
    size_t end = text.find('\n', at);
    if (end == std::string::npos) end = text.size();
    std::string line = text.substr(at, end - at);
    while (!line.empty() && (line.back() == ' ' || line.back() == '\r')) line.pop_back();
    if (UpperCase(line) == "END") return at;
    at = end + 1;
  }
  return text.size();
}

// The writer puts 1.0 for a scale factor below 0.03, which is right for a hand-made model and wrong for a refined one.
void RestoreSmallScale(const Structure& structure, std::string& text) {
  if (structure.scale >= 0.03) return;
  const size_t at = text.find("\nFVAR");
  if (at == std::string::npos) return;
  size_t from = at + 5;
  while (from < text.size() && text[from] == ' ') ++from;
  size_t to = from;
  while (to < text.size() && text[to] != ' ' && text[to] != '\n' && text[to] != '\r') ++to;
  text.replace(from, to - from, Printf("%.6f", structure.scale));
}

std::string Remarks(const Session& s) {
  const RefinementResult& r = s.result;
  std::string out;
  AppendPrintf(out, "\nREM  %.60s\n", s.document.instructions.title.c_str());
  AppendPrintf(out, "REM wR2 = %.4f, GooF = S = %.3f, Restrained GooF = %.3f for all data\n", r.final.wR2, r.final.goof,
               r.restrainedGoof);
  AppendPrintf(out, "REM R1 = %.4f for %zu Fo > 4sig(Fo) and %.4f for all %zu data\n", r.final.r1, r.final.strong,
               r.final.r1All, r.final.all);
  AppendPrintf(out, "REM %zu parameters refined using %zu restraints\n\n", r.parameters, r.restraints);
  return out;
}

std::string BehindEnd(const Session& s) {
  std::string out = "END\n\n";
  AppendPrintf(out, "WGHT    %8.4f    %8.4f\n\n", s.suggestedWeights[0], s.suggestedWeights[1]);
  AppendPrintf(out, "REM Highest difference peak %6.3f,  deepest hole %6.3f,  1-sigma level %6.3f\n",
               s.peaks.empty() ? 0.0 : s.peaks[0].height, s.holes.empty() ? 0.0 : s.holes[0].height, s.mapSigma);
  for (size_t i = 0; i < s.listed.size() && i < static_cast<size_t>(s.job.peaks); ++i) {
    const Peak& p = s.listed[i];
    AppendPrintf(out, "%-4s  1 %8.4f%8.4f%8.4f %9.5f  0.05 %7.2f\n", Printf("Q%zu", i + 1).c_str(), p.x.x, p.x.y, p.x.z,
                 10.0 + p.siteFraction, p.height);
  }
  return out;
}

}  // namespace

std::string ComposeResult(Session& session, UserMessages& messages) {
  Document& document = session.document;
  std::vector<AtomRecord*> leftOver;
  for (AtomRecord* atom : Atoms(document.atoms)) {
    if (atom->IsPeak()) leftOver.push_back(atom);
  }
  document.atoms.KillAtoms(leftOver);
  auto& kept = document.instructions.kept;
  kept.erase(std::remove_if(
                 kept.begin(), kept.end(),
                 [](const KeptLine& k) { return k.place == KeptPlace::AfterEnd || k.place == KeptPlace::AfterHklf; }),
             kept.end());
  document.settings.SuggestedWeightCount = 0;
  std::string text;
  if (!ComposeInstructionText(document, text, messages)) return {};
  if (document.instructions.lineEnd != "\n") {
    text.erase(std::remove(text.begin(), text.end(), '\r'), text.end());
  }
  RestoreSmallScale(session.structure, text);
  const size_t end = EndLineOf(text);
  const size_t next = text.find('\n', end);
  // What the writer put behind END (generated atoms) stays there.
  std::string rest = next == std::string::npos ? std::string() : text.substr(next + 1);
  text = text.substr(0, end) + Remarks(session) + BehindEnd(session) + rest;
  if (document.instructions.lineEnd == "\r\n") {
    std::string out;
    for (const char c : text) {
      if (c == '\n') out += '\r';
      out += c;
    }
    return out;
  }
  return text;
}

}  // namespace marvik
