#include "check/model_trials.h"

#include "base/files.h"
#include "base/stop.h"
#include "check/data_session.h"
#include "language/instruction.h"
#include "refine/job/session.h"
#include "refine/output/linear_study.h"

namespace marvik {
namespace {

constexpr double kMostProducts = 4e10;  // of derivatives for all cycles; seconds of work

}  // namespace

std::vector<RestraintLine> RestraintsAsTheyAre(const Document& document, std::string& problem,
                                               std::vector<std::string>* notes) {
  Session session;
  session.document = document;
  session.job = MakeJob(session.document);
  if (!BuildStructure(session.document, session.structure, session.job.notes, problem)) return {};
  session.bonds = MakeBonds(session.structure, session.document, session.job.commands);
  session.restraints =
      MakeRestraints(session.structure, session.job.commands, session.bonds, session.job.notes, session.job.laterRigu);
  if (notes) *notes = session.job.notes;
  return RestraintLinesOf(session);
}

std::string WhyWithoutCost(const std::string& restraint, const std::vector<std::string>& notes) {
  const std::string name = ParseInstruction(restraint).name;
  if (name == "EADP" || name == "EXYZ") return "A constraint: it holds exactly and costs nothing.";
  std::string why;
  for (const std::string& note : notes)
    if (note.starts_with(restraint) || note.starts_with(name + ":") || note.starts_with(name + "_"))
      why += (why.empty() ? "" : "; ") + note;
  return why.empty() ? "Nothing in the model is held by it now." : why;
}

std::optional<double> R1After(const Document& document, const std::string& hklPath, int cycles) {
  const LineSink quiet = [](const std::string&) {};
  Session session;
  session.document = document;
  session.document.settings.RefinementType = "L.S.";
  session.document.settings.Cycles = cycles;
  session.name = BaseNameOf(FileNameOf(hklPath));
  const HklFile file = ParseHklFile(ReadWholeFile(hklPath).content, ParseHklf(document.instructions.hklfLine));
  std::string problem;
  if (!PrepareSession(session, file.reflections, quiet, problem)) return std::nullopt;
  const double parameters = static_cast<double>(session.parametrisation.Size());
  const double data = static_cast<double>(session.observations.Size());
  if (parameters >= data || parameters * parameters * data * cycles > kMostProducts) return std::nullopt;
  session.job.cycles = cycles;
  session.result =
      Refine(session.job, session.structure, session.parametrisation, session.observations, session.restraints, quiet);
  if (session.result.failed || !session.result.problem.empty()) return std::nullopt;
  return session.result.final.r1;
}

std::vector<ElementDoubt> FindElementDoubts(const Document& document, const std::string& hklPath,
                                            std::string& problem) {
  Session s;
  problem = PrepareFromData(document, hklPath, s);
  if (!problem.empty()) return {};
  s.bonds = MakeBonds(s.structure, s.document, s.job.commands);
  Calculated calculated;
  DataPass pass(s.structure, s.observations, s.job.weights);
  MatchScale(s.structure, pass, calculated);
  if (StopWanted()) return {};
  s.result.final = MakeResiduals(calculated, s.parametrisation.Size());
  std::vector<ElementDoubt> doubts;
  for (const SiteElectrons& e : FindStrangeElements(s)) {
    const Site& site = s.structure.sites[static_cast<size_t>(e.site)];
    const std::string symbol = e.suggested > 0 ? std::string(s.document.elements[e.suggested].Symbol()) : "";
    doubts.push_back({site.label, e.share, e.su, e.displacement, symbol});
  }
  return doubts;
}

}  // namespace marvik
