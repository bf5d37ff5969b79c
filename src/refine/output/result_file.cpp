#include <algorithm>
#include <string_view>

#include "base/numbers.h"
#include "files/res/writer.h"
#include "refine/job/session.h"

namespace marvik {
namespace {

// Lines behind HKLF that an earlier run left there: blank lines and its remarks.
bool IsOfEarlierRun(std::string_view text, const std::string& titleRemark) {
  if (text.find_first_not_of(" \t\r") == std::string_view::npos) return true;
  constexpr std::string_view kMarks[] = {"REM wR2 =", "REM R1 =", "REM Highest difference peak"};
  for (const std::string_view mark : kMarks)
    if (text.starts_with(mark)) return true;
  return text == titleRemark || (text.starts_with("REM ") && text.find(" parameters refined using") != text.npos);
}

std::string TitleRemark(const Session& s) {
  return Printf("REM  %.60s", s.document.instructions.title.c_str());
}

std::string Remarks(const Session& s) {
  const RefinementResult& r = s.result;
  std::string out;
  const int digits = s.job.laterRigu ? 6 : 4;  // by which the next run knows the law of RIGU
  out += "\n" + TitleRemark(s) + "\n";
  AppendPrintf(out, "REM wR2 = %.*f, GooF = S = %.3f, Restrained GooF = %.3f for all data\n", digits, r.final.wR2,
               r.final.goof, r.restrainedGoof);
  AppendPrintf(out, "REM R1 = %.*f for %zu Fo > 4sig(Fo) and %.*f for all %zu data\n", digits, r.final.r1,
               r.final.strong, digits, r.final.r1All, r.final.all);
  AppendPrintf(out, "REM %zu parameters refined using %zu restraints\n\n", r.parameters, r.restraints);
  return out;
}

std::string BehindEnd(const Session& s) {
  std::string out = "\n";
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
  std::erase_if(document.instructions.kept, [](const KeptLine& line) {
    return line.place == KeptPlace::AfterEnd && HeadOf(line.text).keyword == InstructionKeyword::kWght;
  });
  document.settings.SuggestedWeightCount = 0;
  WriteOptions options;
  options.keeps = [title = TitleRemark(session)](std::string_view text) { return !IsOfEarlierRun(text, title); };
  options.beforeEnd = Remarks(session);
  options.behindEnd = BehindEnd(session);
  std::string text;
  return ComposeInstructionText(document, text, messages, options) ? text : std::string();
}

}  // namespace marvik
