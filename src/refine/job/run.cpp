#include "refine/job/run.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <new>

#include "base/files.h"
#include "base/numbers.h"
#include "files/cif/cif_completion.h"
#include "files/res/damage.h"
#include "files/res/reader.h"
#include "refine/job/includes.h"
#include "refine/job/session.h"
#include "refine/output/cif_file.h"
#include "refine/output/tables.h"

namespace marvik {
namespace {

constexpr size_t kMostBonds = 40;
// Three bonds in a row, some 20 at an atom of an organic compound and 900 in a close-packed metal; beyond so many only
// as many neighbours as such a packing has are kept.
constexpr size_t kMostChains = 300'000;
constexpr size_t kFewBonds = 12;

int Fail(const LineSink& print, const std::string& problem) {
  print(" ** " + problem + " **");
  print(" marvik-refine finished with an error");
  return 1;
}

size_t CountChains(const NeighbourTable& bonds) {
  size_t chains = 0;
  for (const auto& list : bonds)
    for (const Neighbour& n : list) chains += list.size() * bonds[static_cast<size_t>(n.site)].size();
  return chains / 2;
}

// Atoms piled up in one place would fill gigabytes with angles and torsion angles.
void TrimBonds(NeighbourTable& bonds, const LineSink& print) {
  const auto keep = [&](size_t most) {
    size_t crowded = 0;
    for (auto& list : bonds) {
      if (list.size() <= most) continue;
      list.resize(most);
      ++crowded;
    }
    if (crowded > 0)
      print(Printf(" %zu atoms have more than %zu neighbours; the tables have the nearest ones", crowded, most));
  };
  keep(kMostBonds);
  if (CountChains(bonds) > kMostChains) keep(kFewBonds);
}

void PrintPeaks(const Session& s, const LineSink& print) {
  if (!s.peaks.empty()) {
    const Peak& p = s.peaks[0];
    print(Printf(" Highest peak %6.3f e/A3 at %.4f %.4f %.4f, %.2f A from %s", p.height, p.x.x, p.x.y, p.x.z,
                 p.distance, p.nearest < 0 ? "-" : s.structure.sites[static_cast<size_t>(p.nearest)].label.c_str()));
  }
  if (!s.holes.empty()) {
    const Peak& p = s.holes[0];
    print(Printf(" Deepest hole %6.3f e/A3 at %.4f %.4f %.4f, %.2f A from %s", p.height, p.x.x, p.x.y, p.x.z,
                 p.distance, p.nearest < 0 ? "-" : s.structure.sites[static_cast<size_t>(p.nearest)].label.c_str()));
  }
}

// NAME.ins and NAME.hkl; a sentence when one of them is missing or is not what it should be.
std::string ReadFiles(const std::string& base, Session& s, std::vector<Reflection>& raw, CifAttachments& files,
                      const LineSink& print) {
  const FileContent ins = ReadWholeFile(base + ".ins");
  if (!ins.opened) return "CANNOT OPEN FILE " + base + ".ins";
  PrintedMessages messages(print);
  s.name = FileNameOf(base);
  s.places = FindPlaces(ins.content, s.name + ".ins");
  s.notes = s.places.notes;
  const std::string directory = DirectoryOf(base);
  if (!ReadInstructionText(s.document, TakeIncludes(ins.content, directory, s.notes), messages))
    return base + ".ins IS NOT AN INSTRUCTION FILE WITH A POSSIBLE CELL" +
           (EncodingFault(ins.content).empty() ? "" : ": " + EncodingFault(ins.content));
  FileDamage damage = DamageOf(s.document);
  damage.noAtoms.clear();  // these are among the notes, with what is wrong with them
  for (std::string& sentence : damage.Sentences()) s.notes.push_back(std::move(sentence));
  s.document.WorkingDirectory = directory;
  FileContent hkl = ReadWholeFile(base + ".hkl");
  if (!hkl.opened) return "CANNOT OPEN FILE " + base + ".hkl";
  HklFile file = ParseHklFile(hkl.content, ParseHklf(s.document.instructions.hklfLine));
  for (const std::string& note : file.notes) s.notes.push_back(FileNameOf(base) + ".hkl: " + note);
  raw = std::move(file.reflections);
  if (s.places.first.contains(InstructionKeyword::kAbin)) {
    const FileContent fab = ReadWholeFile(base + ".fab");
    s.added = ParseFabFile(fab.content);
    s.voids = FabRemarks(fab.content);
    files.mask = s.added.empty() ? "" : fab.content;
    if (s.added.empty())
      s.notes.push_back("ABIN: " + s.name + (fab.opened ? ".fab has no line of h k l A B" : ".fab is not there") +
                        "; nothing is added" + s.places.Of(InstructionKeyword::kAbin));
  }
  files.reflections = std::move(hkl.content);
  return raw.empty() ? "NO REFLECTIONS IN " + base + ".hkl" : std::string();
}

int Work(const std::string& base, const LineSink& print, const std::string& said) {
  const auto start = std::chrono::steady_clock::now();
  print(" marvik-refine: full-matrix least squares on F squared");
  print(" " + base);
  Session s;
  std::vector<Reflection> raw;
  CifAttachments files;
  std::string problem = ReadFiles(base, s, raw, files, print);
  if (!problem.empty() || !PrepareSession(s, raw, print, problem)) return Fail(print, problem);
  if (!RefineSession(s, print)) return Fail(print, s.result.problem);
  const RefinementResult& r = s.result;
  print(Printf(" wR2 = %.4f, GooF = S = %.3f, Restrained GooF = %.3f for all data", r.final.wR2, r.final.goof,
               r.restrainedGoof));
  print(Printf(" R1 = %.4f for %zu Fo > 4sig(Fo) and %.4f for all %zu data, %zu parameters, %zu restraints", r.final.r1,
               r.final.strong, r.final.r1All, r.final.all, r.parameters, r.restraints));
  for (const std::string& name : NotPositiveAtoms(s.structure))
    print(" ** The displacement of " + name + " is not positive **");
  if (const std::string one = DominantReflection(s); !one.empty()) print(" ** " + one + " **");
  PrintPeaks(s, print);
  PrintedMessages messages(print);
  const std::string text = ComposeResult(s, messages);
  if (text.empty()) return Fail(print, "THE RESULT CANNOT BE WRITTEN");
  if (WriteFileAtomically(base + ".res", text) != 0) return Fail(print, "CANNOT WRITE " + base + ".res");
  s.bonds = MakeBonds(s.structure, s.document, s.job.commands);
  TrimBonds(s.bonds, print);
  if (WriteFileAtomically(base + ".lst", ComposeListing(s, said)) != 0) print(" ** CANNOT WRITE " + base + ".lst **");
  if (s.observations.wavelength.empty())
    s.coverage = MeasureCoverage(raw, s.structure.group, s.structure.metric, s.job.limits, s.merging.thetaMax,
                                 0.5 * s.job.fullTwoTheta);
  const std::string known = ReadWholeFile(base + kPublicationFile).content;
  files.result = text;
  const std::string cif = CompletedCif(ComposeCif(s, files), known);
  if (WriteFileAtomically(base + ".cif", cif) != 0) print(" ** CANNOT WRITE " + base + ".cif **");
  if (s.job.coordinateFile && WriteFileAtomically(base + ".pdb", ComposeCoordinateFile(s)) != 0)
    print(" ** CANNOT WRITE " + base + ".pdb **");
  if (IsWrittenList(s.job.list) && WriteFileAtomically(base + ".fcf", ComposeReflectionList(s)) != 0) {
    print(" ** CANNOT WRITE " + base + ".fcf **");
  }
  if (!r.problem.empty()) return Fail(print, r.problem);
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  print(Printf(" marvik-refine finished after %.2f s", seconds));
  return 0;
}

}  // namespace

std::string JobOf(const std::string& word) {
  const std::string extension = LowerExtensionOf(word);
  const bool strips = extension == "ins" || extension == "res" || extension == "hkl";
  return strips && !StampOf(word + ".ins") ? BaseNameOf(word) : word;
}

int RunJob(const std::string& base, const LineSink& console) {
  std::string said;
  const LineSink print = [&](const std::string& line) {
    said += line + "\n";
    console(line);
  };
  try {
    return Work(base, print, said);
  } catch (const std::bad_alloc&) {
    return Fail(print, "THERE IS NOT ENOUGH MEMORY");
  }
}

}  // namespace marvik
