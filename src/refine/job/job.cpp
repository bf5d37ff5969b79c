#include "refine/job/job.h"

#include <algorithm>
#include <cmath>

#include "base/numbers.h"
#include "language/tokenizer.h"
#include "model/source_layout.h"
#include "refine/job/includes.h"

namespace marvik {
namespace {

double NumberOr(const std::vector<double>& numbers, size_t at, double otherwise) {
  return at < numbers.size() ? numbers[at] : otherwise;
}

void ReadTwin(const Instruction& command, TwinLaw& twin) {
  twin.present = true;
  if (command.numbers.size() >= 9) std::copy_n(command.numbers.begin(), 9, twin.matrix.begin());
  const bool bare = command.numbers.size() == 1;
  if (bare) twin.components = WholeNumber(command.numbers[0]);
  if (command.numbers.size() >= 10) twin.components = WholeNumber(command.numbers[9]);
  if (twin.components == 0) twin.components = 2;
}

void ReadOmit(const Document& document, const std::vector<Instruction>& commands, DataLimits& limits) {
  const RefinementSettings& s = document.settings;
  if (s.OmitOn) {
    limits.omitSigmas = s.OmitSigmas;
    if (s.OmitTwoTheta > 1.0) limits.twoThetaHigh = s.OmitTwoTheta;
    if (s.OmitTwoTheta < -1.0) limits.twoThetaLow = -s.OmitTwoTheta;
  }
  for (const Instruction& command : commands) {
    if (command.name == "OMIT" && command.numbers.size() == 3) {
      limits.omitted.push_back(
          {WholeNumber(command.numbers[0]), WholeNumber(command.numbers[1]), WholeNumber(command.numbers[2])});
    }
    if (command.name == "SHEL") {
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
  const Instruction command = ParseInstruction(line);
  return NumberOr(command.numbers, 0, otherwise);
}

// Parts of instructions that are otherwise carried out: the keyword, what makes the part be there, what is said.
struct PartNote {
  const char* keyword;
  bool (*there)(const Instruction& command);
  const char* text;
};
constexpr PartNote kPartNotes[] = {
    {"HOPE", [](const Instruction& c) { return !c.numbers.empty(); },
     "an overall anisotropic scale of six parameters (ANSC) is refined, not twelve on FVAR"},
    {"WPDB", [](const Instruction& c) { return !c.numbers.empty(); },
     "all atoms are written, with their displacements; its number has no effect"},
};

void NoteParts(const Document& document, const std::vector<Instruction>& commands, const LinePlaces& places,
               std::vector<std::string>& notes) {
  for (const PartNote& part : kPartNotes) {
    const auto with = std::find_if(commands.begin(), commands.end(),
                                   [&](const Instruction& c) { return c.name == part.keyword && part.there(c); });
    if (with != commands.end()) notes.push_back(with->text + ": " + part.text + with->place);
  }
  const std::pair<const char*, size_t> most[] = {{"ACTA", 1}, {"FMAP", 1}, {"PLAN", 1}};
  for (const auto& [keyword, count] : most) {
    const Instruction command = ParseInstruction(TextInFile(document, keyword));
    if (command.numbers.size() <= count) continue;
    notes.push_back(keyword + Printf(": what stands behind number %zu has no effect", count) +
                    places.Of(command.keyword));
  }
  for (const double weight : ParseInstruction(TextInFile(document, "WGHT")).numbers) {
    if (weight >= 0.0) continue;
    notes.push_back("WGHT: a negative value may leave reflections without a weight" +
                    places.Of(InstructionKeyword::kWght));
    break;
  }
}

// Later programs give R1 with six decimals in their remark, "REM R1 = 0.039983 for 7085 Fo > 4sig(Fo) ...".
bool HasLaterRemark(const Document& document) {
  constexpr std::string_view kHead = "\nREM R1 = ";
  constexpr size_t kDigits = sizeof "0.039983" - 1;
  if (!document.instructions.source) return false;
  const std::string& text = document.instructions.source->text;
  const size_t at = text.find(kHead);
  return at != std::string::npos && text.find(" for ", at) == at + kHead.size() + kDigits;
}

void ReadCommand(const Instruction& command, Job& job) {
  if (command.name == "DAMP") {
    job.damping = NumberOr(command.numbers, 0, 0.7);
    job.largestShift = NumberOr(command.numbers, 1, 15.0);
  } else if (command.name == "XNPD") {
    job.leastU = std::clamp(NumberOr(command.numbers, 0, 0.001), 0.0, 1.0);
  } else if (command.name == "STIR") {
    job.stirFrom = std::max(0.0, NumberOr(command.numbers, 0, 0.0));
    job.stirStep = std::max(0.0, NumberOr(command.numbers, 1, 0.01));
  } else if (command.name == "TWIN") {
    ReadTwin(command, job.twin);
  } else if (command.name == "SPEC") {
    job.parameters.specialTolerance = NumberOr(command.numbers, 0, 0.2);
  } else if (command.name == "WPDB") {
    job.coordinateFile = true;
  } else if (command.name == "SWAT") {
    job.parameters.solvent = true;
  } else if (command.name == "HOPE" || command.name == "ANSR") {
    job.parameters.anisotropicScale = true;
  } else if (command.name == "SIZE") {
    job.size = command.numbers;
  }
}

}  // namespace

std::vector<std::string> UnsupportedNotes(const Document& document, const std::vector<Instruction>& commands,
                                          const LinePlaces& places) {
  std::vector<std::string> notes;
  std::vector<std::string> said;
  for (const Instruction& command : commands) {
    const char* reason = RowOf(command.keyword).notRefined;
    if (!reason || std::find(said.begin(), said.end(), command.name) != said.end()) continue;
    said.push_back(command.name);
    const std::string word = ": " + command.text.substr(0, command.text.find_first_of(kSeparators)) + ": ";
    const bool isAtom = std::any_of(places.notes.begin(), places.notes.end(),
                                    [&](const std::string& note) { return note.find(word) != std::string::npos; });
    if (isAtom && command.keyword == InstructionKeyword::kAtomLine) continue;
    notes.push_back(command.name + ": " + reason + command.place);
  }
  if (ParseInstruction(TextInFile(document, "L.S.")).numbers.size() > 1)
    notes.push_back(
        "L.S. and CGLS: no reflections are set aside, only the cycles are read" +
        places.Of(document.settings.RefinementType == "CGLS" ? InstructionKeyword::kCgls : InstructionKeyword::kLs));
  NoteParts(document, commands, places, notes);
  return notes;
}

bool IsWrittenList(int code) {
  return (code >= 1 && code <= 6) || code == 8;
}

Job MakeJob(const Document& document, const LinePlaces& places) {
  Job job;
  const RefinementSettings& s = document.settings;
  job.fragments = FragmentsOf(document, job.notes);
  std::vector<Instruction> given = InstructionsOf(document);
  for (Instruction& command : given) command.place = places.Of(command);
  job.commands = WithIncludes(given, document.WorkingDirectory, job.fragments, job.notes);
  const std::vector<std::string> unsupported = UnsupportedNotes(document, job.commands, places);
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
    job.notes.push_back(Printf("LIST %d: only 1 to 6 and 8 are written", job.list) +
                        places.Of(InstructionKeyword::kList));
  }
  if (s.FourierCode >= 2 && s.FourierCode <= 4) {
    job.map = static_cast<MapKind>(s.FourierCode);
  } else {
    job.notes.push_back(Printf("FMAP %d: the map is a difference map (FMAP 2)", s.FourierCode) +
                        places.Of(InstructionKeyword::kFmap));
  }
  job.fullTwoTheta = FirstNumber(TextInFile(document, "ACTA"), 0.0);
  job.temperature = TemperatureOf(document).value_or(20.0);
  job.laterRigu = HasLaterRemark(document);
  const auto isRigu = [](const Instruction& command) { return command.name == "RIGU"; };
  if (job.laterRigu && std::ranges::any_of(job.commands, isRigu)) {
    job.notes.push_back(
        "by its remarks the file is one of a later program: RIGU holds components across the bonds less tightly");
  }
  job.bondHydrogens = UpperCase(s.BondLine).find("$H") != std::string::npos;
  for (const Instruction& command : job.commands) ReadCommand(command, job);
  for (const Instruction& command : job.commands) {
    if (command.name == "ANSC" && !job.parameters.anisotropicScale)
      job.notes.push_back("ANSC: has an effect with ANSR or HOPE only" + command.place);
  }
  return job;
}

}  // namespace marvik
