#include "refine/job/job.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "base/numbers.h"
#include "refine/job/includes.h"

namespace marvik {
namespace {

// Kept instructions that are acted on or that ask for nothing a refinement does.
constexpr const char* kUnderstood[] = {"BASF", "BIND", "BLOC", "BOND", "BUMP", "CHIV", "CONF", "CONN", "DAMP", "DANG",
                                       "DEFS", "DELU", "DFIX", "DISP", "EADP", "EQIV", "EXYZ", "FLAT", "FREE", "GRID",
                                       "HFIX", "HTAB", "ISOR", "MORE", "MOVE", "MPLA", "OMIT", "RESI", "RIGU", "RTAB",
                                       "SADI", "SAME", "SHEL", "SIMU", "SIZE", "SPEC", "SUMP", "SWAT", "TIME", "TWIN",
                                       "ANIS", "AFIX", "PART", "MOLE", "REM",  "TEMP", "WPDB"};

struct Reason {
  const char* keyword;
  const char* text;
};
constexpr Reason kReasons[] = {
    {"ABIN", "corrections to the calculated structure factors are not read"},
    {"ANSC", "anisotropic scaling is not done"},
    {"ANSR", "anisotropic scaling is not done"},
    {"BEDE", "bond densities are not modelled"},
    {"LONE", "lone pairs are not modelled"},
    {"FRAG", "no FEND ends it"},
    {"HOPE", "anisotropic scaling is not done"},
    {"NCSY", "non-crystallographic symmetry is not restrained"},
    {"XNPD", "displacement tensors are not forced to be positive"},
    {"NEUT", "X-ray scattering factors are used unless SFAC gives its own"},
    {"LAUE", "wavelength-dependent scattering factors are not read"},
    {"STIR", "the resolution is not stepped"},
    {"TWST", "twin statistics are not made"},
    {"PRIG", "the rigid-bond analysis is not printed"},
    {"WIGL", "coordinates are not shaken"},
    {"SPIN", "fragments are not turned"},
};

double NumberOr(const std::vector<double>& numbers, size_t at, double otherwise) {
  return at < numbers.size() ? numbers[at] : otherwise;
}

// Every number of an instruction that the model keeps in parts: from the text of the file where that still holds.
std::vector<double> NumbersOf(const Document& document, const char* keyword) {
  const auto form = document.instructions.forms.find(keyword);
  return form == document.instructions.forms.end() ? std::vector<double>() : ParseCommand(form->second.text).numbers;
}

void ReadTwin(const Command& command, TwinLaw& twin) {
  twin.present = true;
  if (command.numbers.size() >= 9) std::copy_n(command.numbers.begin(), 9, twin.matrix.begin());
  const bool bare = command.numbers.size() == 1;
  if (bare) twin.components = WholeNumber(command.numbers[0]);
  if (command.numbers.size() >= 10) twin.components = WholeNumber(command.numbers[9]);
  if (twin.components == 0) twin.components = 2;
}

void ReadOmit(const Document& document, const std::vector<Command>& commands, DataLimits& limits) {
  const RefinementSettings& s = document.settings;
  if (s.OmitOn) {
    limits.omitSigmas = s.OmitSigmas;
    if (s.OmitTwoTheta > 1.0) limits.twoThetaHigh = s.OmitTwoTheta;
    if (s.OmitTwoTheta < -1.0) limits.twoThetaLow = -s.OmitTwoTheta;
  }
  for (const Command& command : commands) {
    if (command.keyword == "OMIT" && command.numbers.size() == 3) {
      limits.omitted.push_back(
          {WholeNumber(command.numbers[0]), WholeNumber(command.numbers[1]), WholeNumber(command.numbers[2])});
    }
    if (command.keyword == "SHEL") {
      limits.resolutionLow = NumberOr(command.numbers, 0, 1e30);
      limits.resolutionHigh = NumberOr(command.numbers, 1, 0.0);
      if (limits.resolutionLow < limits.resolutionHigh) std::swap(limits.resolutionLow, limits.resolutionHigh);
    }
  }
}

void ReadWeights(const RefinementSettings& s, WeightScheme& weights) {
  if (s.WeightCount <= 0) return;
  weights.p = {0, 0, 0, 0, 0, 1.0 / 3.0};
  for (int i = 0; i < std::min(6, s.WeightCount); ++i) {
    const double v = s.Weights[static_cast<size_t>(i)];
    if (!IsMissing(v)) weights.p[static_cast<size_t>(i)] = v;
  }
}

double FirstNumber(const std::string& line, double otherwise) {
  const Command command = ParseCommand(line);
  return NumberOr(command.numbers, 0, otherwise);
}

}  // namespace

std::vector<std::string> UnsupportedNotes(const Document& document, const std::vector<Command>& commands) {
  std::vector<std::string> notes;
  std::vector<std::string> said;
  for (const Command& command : commands) {
    const std::string& k = command.keyword;
    if (std::find(said.begin(), said.end(), k) != said.end()) continue;
    const bool known =
        std::any_of(std::begin(kUnderstood), std::end(kUnderstood), [&](const char* name) { return k == name; });
    if (known) continue;
    said.push_back(k);
    const auto reason =
        std::find_if(std::begin(kReasons), std::end(kReasons), [&](const Reason& r) { return k == r.keyword; });
    notes.push_back(k + (reason != std::end(kReasons) ? std::string(": ") + reason->text : ": has no effect here"));
  }
  const std::vector<double> cgls = NumbersOf(document, "CGLS");
  const std::vector<double> ls = NumbersOf(document, "L.S.");
  if (cgls.size() > 1 || ls.size() > 1)
    notes.push_back("L.S. and CGLS: no reflections are set aside, only the cycles are read");
  return notes;
}

bool IsWrittenList(int code) {
  return code >= 2 && code <= 6;
}

Job MakeJob(const Document& document) {
  Job job;
  const RefinementSettings& s = document.settings;
  job.fragments = FragmentsOf(document, job.notes);
  job.commands = WithIncludes(CommandsOf(document), document.WorkingDirectory, job.fragments, job.notes);
  const std::vector<std::string> unsupported = UnsupportedNotes(document, job.commands);
  job.notes.insert(job.notes.end(), unsupported.begin(), unsupported.end());
  job.conjugateGradients = s.RefinementType == "CGLS";
  job.cycles = s.RefinementType.empty() ? 0 : std::max(0, s.Cycles);
  ReadWeights(s, job.weights);
  if (document.instructions.hasMerg) job.merge = document.instructions.merg;
  job.hkl = ParseHklf(document.instructions.hklfLine);
  ReadOmit(document, job.commands, job.limits);
  job.parameters.extinction = s.ExtinctionOn;
  job.peaks = std::abs(WholeNumber(s.PlanPeaks));
  if (!s.ListLine.empty()) job.list = WholeNumber(FirstNumber(s.ListLine, 0.0));
  if (job.list != 0 && !IsWrittenList(job.list)) {
    job.notes.push_back(Printf("LIST %d: only 2 to 6 are written", job.list));
  }
  if (s.FourierCode >= 2 && s.FourierCode <= 4) {
    job.map = static_cast<MapKind>(s.FourierCode);
  } else {
    job.notes.push_back(Printf("FMAP %d: the map is a difference map (FMAP 2)", s.FourierCode));
  }
  job.temperature = FirstNumber(document.instructions.tempLine, 20.0);
  job.bondHydrogens = UpperCase(s.BondLine).find("$H") != std::string::npos;
  for (const Command& command : job.commands) {
    if (command.keyword == "DAMP") {
      job.damping = NumberOr(command.numbers, 0, 0.7);
      job.largestShift = NumberOr(command.numbers, 1, 15.0);
    } else if (command.keyword == "TWIN") {
      ReadTwin(command, job.twin);
    } else if (command.keyword == "SPEC") {
      job.parameters.specialTolerance = NumberOr(command.numbers, 0, 0.2);
    } else if (command.keyword == "SWAT") {
      job.parameters.solvent = true;
    } else if (command.keyword == "SIZE") {
      job.size = command.numbers;
    }
  }
  return job;
}

}  // namespace marvik
