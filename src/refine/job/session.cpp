#include "refine/job/session.h"

#include <algorithm>
#include <cmath>

#include "base/numbers.h"
#include "refine/data/weighting.h"
#include "refine/job/prepare.h"
#include "refine/job/turn_groups.h"
#include "refine/structure/atom_names.h"

namespace marvik {
namespace {

constexpr int kMostBatches = 200;

std::vector<std::vector<int>> SetsOf(const Structure& structure, const Job& job, const char* keyword,
                                     std::vector<std::string>& notes) {
  std::vector<std::vector<int>> sets;
  for (const Instruction& command : job.commands) {
    if (command.name != keyword) continue;
    for (const int residue : ResiduesOf(structure, command)) {
      const ResolvedNames names = ResolveAtoms(structure, command, job.commands, command.words, residue);
      for (const std::string& missing : names.missing)
        notes.push_back(command.name + ": there is no atom " + missing + command.place);
      std::vector<int> set;
      for (const SiteImage& image : names.images) set.push_back(image.site);
      if (set.size() > 1) sets.push_back(set);
    }
  }
  return sets;
}

// Bonds and lines of tables that are left out because of a name: restraints and constraints tell of theirs themselves.
void NoteMissingNames(Session& s) {
  constexpr std::string_view kKeywords[] = {"BIND", "FREE", "CONF", "HTAB", "MPLA", "RTAB", "OMIT"};
  for (const Instruction& command : s.job.commands) {
    if (std::ranges::find(kKeywords, command.name) == std::end(kKeywords)) continue;
    std::vector<std::string> words = command.words;
    if (command.name == "RTAB" && !words.empty()) words.erase(words.begin());
    const std::vector<int> residues = ResiduesOf(s.structure, command);
    if (residues.empty())
      s.job.notes.push_back(command.name + "_" + command.residue + ": there is no such residue" + command.place);
    // The residue before the first and behind the last is nobody's fault.
    const auto isNeighbour = [](const std::string& name) { return name.ends_with("_+") || name.ends_with("_-"); };
    for (const int residue : residues) {
      for (const std::string& missing : ResolveAtoms(s.structure, command, s.job.commands, words, residue).missing) {
        const std::string note = command.name + ": there is no atom " + missing + command.place;
        if (!isNeighbour(missing) && std::ranges::find(s.job.notes, note) == s.job.notes.end())
          s.job.notes.push_back(note);
      }
    }
  }
}

bool ReadInstructions(Session& s, const LineSink& print, std::string& problem) {
  PrintedMessages messages(print);
  PrepareDocument(s.document, messages, s.fresh, s.notes, s.places);
  s.job = MakeJob(s.document, s.places);
  for (const std::string& note : s.notes) {
    if (std::find(s.job.notes.begin(), s.job.notes.end(), note) == s.job.notes.end()) s.job.notes.push_back(note);
  }
  if (s.job.hkl.code < 2 || s.job.hkl.code > 6)
    problem =
        Printf("HKLF %d IS NOT REFINED AGAINST, ONLY 2 TO 6", s.job.hkl.code) + s.places.Of(InstructionKeyword::kHklf);
  return problem.empty();
}

// Free variables that restraints tie distances to or sum up.
std::vector<int> VariablesOfRestraints(const Job& job) {
  std::vector<int> variables;
  for (const Instruction& command : job.commands) {
    const auto& n = command.numbers;
    if ((command.name == "DFIX" || command.name == "DANG") && !n.empty()) {
      const int variable = SplitCodedValue(n[0]).variable;
      if (variable > 1) variables.push_back(variable);
    }
    for (size_t i = 3; command.name == "SUMP" && i < n.size(); i += 2) variables.push_back(WholeNumber(n[i]));
  }
  return variables;
}

// What the data ask of BASF: fractions of twin components, or scales of the batches of HKLF 4.
bool SettleBatches(Session& s, const std::vector<Reflection>& raw, std::string& problem) {
  std::vector<double>& fractions = s.structure.batchFractions;
  int last = LargestBatch(raw);
  if (s.job.hkl.IsOverlapped() && s.job.twin.present)
    s.job.notes.push_back(Printf("TWIN: HKLF %d names what overlaps; the law has no effect", s.job.hkl.code));
  if (s.job.hkl.IsOverlapped()) {
    s.job.twin = {};
    if (s.job.hkl.code == 6) last = 1;
  } else if (s.job.twin.present) {
    last = std::abs(s.job.twin.components);
    if (s.job.twin.components < 0 && last % 2 != 0) {
      problem = Printf("TWIN %d: WITH INVERSION TWINS THE NUMBER OF COMPONENTS IS EVEN", s.job.twin.components);
      return false;
    }
  } else {
    s.job.limits.batches = last > 1 && !fractions.empty();
    if (!s.job.limits.batches) last = 1;
  }
  if (last > kMostBatches) {
    problem = Printf("%d TWIN COMPONENTS OR BATCHES ARE TOO MANY", last);
    return false;
  }
  const auto wanted = static_cast<size_t>(last - 1);
  if (fractions.size() > wanted) {
    s.job.notes.push_back(
        Printf("BASF: %zu values, and the data speak of %zu; the others have no effect", fractions.size(), wanted));
  } else if (fractions.size() < wanted) {
    s.job.notes.push_back(
        Printf("BASF: %zu values where the data need %zu; equal ones are taken", fractions.size(), wanted));
  }
  fractions.resize(wanted, s.job.limits.batches ? 1.0 : 1.0 / static_cast<double>(last));
  return true;
}

bool PrepareModel(Session& s, const std::vector<Reflection>& raw, std::string& problem) {
  if (!BuildStructure(s.document, s.structure, s.job.notes, problem)) return false;
  s.job.limits.wavelength = s.structure.wavelength;
  s.bonds = MakeBonds(s.structure, s.document, s.job.commands);
  NoteMissingNames(s);
  s.job.parameters.sameCoordinates = SetsOf(s.structure, s.job, "EXYZ", s.job.notes);
  s.job.parameters.sameDisplacements = SetsOf(s.structure, s.job, "EADP", s.job.notes);
  s.job.parameters.restrainedVariables = VariablesOfRestraints(s.job);
  for (const Instruction& command : s.job.commands) {
    if (command.name == "BASF") {
      for (const double v : command.numbers) s.structure.batchFractions.push_back(v);
    } else if (command.name == "SWAT") {
      s.structure.hasSolvent = true;
      s.structure.solventScale = command.numbers.size() > 0 ? command.numbers[0] : 0.0;
      s.structure.solventU = command.numbers.size() > 1 ? command.numbers[1] : 2.0;
    } else if (command.name == "ANSC" && command.numbers.size() >= 6) {
      std::copy_n(command.numbers.begin(), 6, s.structure.anisotropicScale.begin());
    } else if (command.name == "ANSR" && !command.numbers.empty() && command.numbers[0] > 0.0) {
      s.structure.anisotropicScaleSigma = command.numbers[0];
    }
  }
  s.structure.hasAnisotropicScale = s.job.parameters.anisotropicScale;
  if (!s.structure.hasAnisotropicScale) s.structure.anisotropicScale = {};
  if (!SettleBatches(s, raw, problem)) return false;
  s.hydrogens = FindHydrogenGroups(s.structure, s.bonds, s.job.temperature, s.job.notes);
  s.rigid = FindRigidGroups(s.structure, s.job.fragments, s.job.notes);
  s.parametrisation.Build(s.structure, s.job.parameters, s.hydrogens, s.rigid, s.job.notes);
  s.restraints = MakeRestraints(s.structure, s.job.commands, s.bonds, s.job.notes, s.job.laterRigu);
  return true;
}

// ABIN n1 n2: k·exp(-8π²U s²)·(A + iB) is added to F; k and U are 1 and 0, or the free variables n1 and n2 as they are.
void AddAbin(Session& s, const LineSink& print) {
  const auto abin =
      std::find_if(s.job.commands.begin(), s.job.commands.end(), [](const Instruction& c) { return c.name == "ABIN"; });
  if (abin == s.job.commands.end() || s.added.empty()) return;
  const auto variable = [&](size_t at, double otherwise) {
    const int number = at < abin->numbers.size() ? WholeNumber(abin->numbers[at]) : 0;
    const bool there = number > 1 && static_cast<size_t>(number - 2) < s.structure.freeVariables.size();
    return there ? s.structure.freeVariables[static_cast<size_t>(number - 2)] : otherwise;
  };
  const size_t missing = AddFactors(s.added, s.structure, variable(0, 1.0), variable(1, 0.0), s.observations);
  print(Printf(" Note: ABIN: what %s.fab says is added to the structure factors%s", s.name.c_str(),
               missing > 0 ? Printf("; %zu reflections have no line in it", missing).c_str() : ""));
}

bool PrepareData(Session& s, const std::vector<Reflection>& raw, const LineSink& print, std::string& problem) {
  const bool overlapped = s.job.hkl.IsOverlapped();
  const bool laue = s.job.hkl.code == 2;
  if (s.job.merge >= 4) {
    for (Scatterer& f : s.structure.scatterers) f.fDoublePrime = 0.0;
  }
  const SpaceGroup& group = s.structure.group;
  const Metric& metric = s.structure.metric;
  s.merged = overlapped ? SelectOverlapped(raw, group, metric, s.job.limits, s.merging)
                        : MergeReflections(raw, group, metric, s.job.limits, laue ? 0 : s.job.merge, s.merging);
  s.observations =
      overlapped ? MakeOverlappedObservations(s.merged) : MakeObservations(s.merged, s.job.twin, s.job.limits.batches);
  s.observations.multiplicities = s.job.hkl.code == 6;
  for (double& wavelength : s.observations.wavelength)
    if (wavelength <= 0.0) wavelength = s.structure.wavelength;
  SetDispersion(s.structure, s.observations);
  AddAbin(s, print);
  if (s.observations.apart > 0)
    print(
        Printf(" Note: TWIN: %zu reflections have no whole indices under the law; only those components that do count",
               s.observations.apart));
  const MergeStatistics& m = s.merging;
  print(Printf(" %zu reflections read, %zu absent, %zu outside limits, %zu unique, R(int) = %.4f, R(sigma) = %.4f",
               m.read, m.absent, m.outside + m.omitted, m.unique, m.rInt, m.rSigma));
  if (m.absent > 5 && m.absentMeanRatio > 3.0) {
    print(Printf(" Systematically absent reflections have a mean I/sigma of %.1f: is the space group right?",
                 m.absentMeanRatio));
  }
  if (m.rIntMembers > 20 && m.rInt > 0.35)
    print(Printf(" R(int) = %.3f: equivalents do not agree; check the format and the space group", m.rInt));
  if (s.observations.Size() == 0) {
    problem = "NO REFLECTIONS ARE LEFT";
    return false;
  }
  return true;
}

// Turns the groups that HFIX has just made to where the difference density along their circles is highest.
void FindTorsions(Session& s) {
  std::vector<const HydrogenGroup*> groups;
  for (const HydrogenGroup& g : s.hydrogens) {
    const AtomRecord* first = s.structure.sites[static_cast<size_t>(g.hydrogens[0])].atom;
    if (g.idealised && !g.around.empty() && std::ranges::find(s.fresh, first) != s.fresh.end()) groups.push_back(&g);
  }
  if (groups.empty()) return;
  for (const TurnedGroup& turned : TurnToDensity(s, groups)) {
    for (size_t i = 0; i < turned.places.size(); ++i)
      s.structure.sites[static_cast<size_t>(turned.group->hydrogens[i])].x = turned.places[i];
  }
  s.parametrisation.Apply(std::vector<double>(s.parametrisation.Size(), 0.0), s.structure);
}

// The atoms that OMIT names.
std::vector<int> OmittedSites(const Session& s) {
  std::vector<int> sites;
  for (const Instruction& command : s.job.commands) {
    if (command.name != "OMIT" || command.words.empty()) continue;
    for (const int residue : ResiduesOf(s.structure, command))
      for (const SiteImage& image : ResolveAtoms(s.structure, command, s.job.commands, command.words, residue).images)
        sites.push_back(image.site);
  }
  return sites;
}

}  // namespace

bool PrepareSession(Session& s, const std::vector<Reflection>& raw, const LineSink& print, std::string& problem) {
  if (!ReadInstructions(s, print, problem)) return false;
  if (raw.empty()) {
    problem = "THERE ARE NO REFLECTIONS";
    return false;
  }
  if (!PrepareModel(s, raw, problem)) return false;
  for (const std::string& note : s.job.notes) print(" Note: " + note);
  if (!PrepareData(s, raw, print, problem)) return false;
  if (s.parametrisation.Size() > s.observations.Size()) {
    print(Printf(" ** %zu parameters are more than the %zu data can determine **", s.parametrisation.Size(),
                 s.observations.Size()));
  }
  FindTorsions(s);
  return true;
}

DensityMap MapOf(const Session& s, MapKind kind, double step) {
  // So fine that what lies between the points follows from them, in maps of short waves too.
  constexpr double kPointsPerWave = 3.6;
  double longest = 0.0;
  for (const Miller& h : s.observations.indices[0])
    longest = std::max(longest, s.structure.metric.SinThetaSquared(h[0], h[1], h[2]));
  if (longest > 0.0) step = std::min(step, 0.5 / std::sqrt(longest) / kPointsPerWave);
  const std::vector<int> omitted = OmittedSites(s);
  if (omitted.empty()) return MakeMap(s.structure, s.observations, s.result.calculated, kind, step);
  Structure without = s.structure;
  for (const int site : omitted) without.sites[static_cast<size_t>(site)].occupancy = 0.0;
  Calculated calculated;
  DataPass(without, s.observations, s.job.weights).Run(calculated);
  return MakeMap(without, s.observations, calculated, kind, step);
}

bool RefineSession(Session& s, const LineSink& print) {
  s.result = Refine(s.job, s.structure, s.parametrisation, s.observations, s.restraints, print);
  if (s.result.failed) return false;
  const auto count = static_cast<size_t>(std::max(1, s.job.peaks));
  const DensityMap map = MapOf(s, MapKind::Difference);
  s.mapSigma = map.sigma;
  s.peaks = s.listed = FindPeaks(s.structure, map, count, false);
  s.holes = FindPeaks(s.structure, map, 1, true);
  if (s.job.map != MapKind::Difference) s.listed = FindPeaks(s.structure, MapOf(s, s.job.map), count, false);
  const auto suggestion = SuggestWeights(s.result.calculated, s.job.weights.p[5]);
  s.suggestedWeights = {suggestion.first, suggestion.second};
  StoreStructure(s.structure, s.document);
  s.document.RecomputePositions();
  return true;
}

}  // namespace marvik
