#include "app/refinement/refine_report.h"

#include <algorithm>
#include <array>
#include <iterator>

#include "base/numbers.h"
#include "language/tokenizer.h"

namespace marvik {
namespace {

constexpr size_t kAtomsListed = 10;
constexpr size_t kPeaksListed = 5;
constexpr size_t kFindingsListed = 5;

}  // namespace

void TakeDiagnosis(std::string_view listing, RefinementReport& report) {
  constexpr std::string_view kOwn = " marvik-refine:";
  constexpr std::string_view kRestraints = " Worst restraints";
  constexpr std::string_view kDisplacements = " Principal mean square";  // of which the strange ones are taken
  constexpr std::string_view kSections[] = {" Twin laws",
                                            " Symmetry of the model",
                                            " Reflections that look absent",
                                            " Atoms that may be",
                                            kDisplacements,
                                            " What each restraint",
                                            " Flack parameter",
                                            " Equivalents that do not agree",
                                            " Most influential",
                                            " Completeness by",
                                            " How hydrogens are placed"};
  if (!listing.starts_with(kOwn)) return;
  std::array<std::string, std::size(kSections)> found;
  enum class In { Nothing, Restraints, Section } in = In::Nothing;
  size_t section = 0;
  while (!listing.empty()) {
    const size_t end = std::min(listing.find('\n'), listing.size());
    const std::string_view line = listing.substr(0, end);
    listing.remove_prefix(std::min(end + 1, listing.size()));
    const auto begins = [&](std::string_view head) { return line.starts_with(head); };
    const auto says = [&](std::string_view words) { return line.find(words) != std::string_view::npos; };
    if (line.empty()) {
      in = In::Nothing;
    } else if (begins(kRestraints)) {
      in = In::Restraints;
    } else if (in == In::Nothing && std::ranges::any_of(kSections, begins)) {
      in = In::Section;
      section = static_cast<size_t>(std::ranges::find_if(kSections, begins) - kSections);
      found[section].append(line.substr(1)).append("\n");
    } else if (in == In::Section) {
      const bool isTaken = kSections[section] != kDisplacements || says("may be split") || says("not positive");
      if (isTaken) found[section].append(line).append("\n");
    } else if (in == In::Restraints) {
      std::vector<std::string_view> words;
      SplitWords(line, words);
      if (words.size() < 6) continue;
      RestraintRow row;
      for (size_t i = 0; i < words.size(); ++i) {
        std::string& cell = row[std::min<size_t>(i, 5)];
        cell.append(cell.empty() ? "" : " ").append(words[i]);
      }
      report.restraints.push_back(std::move(row));
    }
  }
  for (const std::string& text : found) {
    if (std::ranges::count(text, '\n') > 1 || text.starts_with("Flack"))
      report.diagnosis += (report.diagnosis.empty() ? "" : "\n") + text;
  }
}

std::string FigureText(const std::optional<double>& figure, int digits) {
  return figure ? Printf("%.*f", digits, *figure) : "-";
}

std::string ShiftText(const AtomChange& change) {
  if (change.fate != AtomFate::Moved) return change.fate == AtomFate::Added ? "new" : "gone";
  return Printf("%.4f", change.shift);
}

std::string UncertaintyText(const AtomChange& change) {
  return FigureText(change.overUncertainty, 2);
}

std::string PeakText(const PeakReport& peak) {
  return peak.nearest.empty() ? "far from all atoms" : Printf("%.2f Å from %s", peak.distance, peak.nearest.c_str());
}

bool MaySkipResult(const RefinementReport& report, const ResultSkipping& skipping) {
  const ModelChanges& changes = report.changes;
  return skipping.on && !report.doubtful && report.note.empty() && changes.added == 0 && changes.gone == 0 &&
         changes.largestShift <= skipping.below;
}

std::string LevelCounts(std::span<const Finding> findings) {
  std::string text;
  for (const FindingLevel level : {FindingLevel::A, FindingLevel::B, FindingLevel::C, FindingLevel::G})
    text += (text.empty() ? "" : "   ") + std::string(NameOf(level)) + " " +
            std::to_string(std::ranges::count(findings, level, &Finding::level));
  return text;
}

std::string ReportText(const RefinementReport& report) {
  std::string text;
  const auto figure = [&](const char* name, const std::optional<double>& before, const std::optional<double>& after,
                          int digits) {
    AppendPrintf(text, "%-5s %8s -> %s\n", name, FigureText(before, digits).c_str(), FigureText(after, digits).c_str());
  };
  figure("R1", report.before.r1, report.after.r1, 4);
  figure("wR2", report.before.wR2, report.after.wR2, 4);
  figure("GooF", report.before.goof, report.after.goof, 3);
  const ModelChanges& changes = report.changes;
  AppendPrintf(text, "Largest shift %.4f Å, %zu atoms new, %zu gone\n", changes.largestShift, changes.added,
               changes.gone);
  if (!changes.atoms.empty()) text += "Atom         shift (Å)  shift/su\n";
  for (size_t i = 0; i < std::min(kAtomsListed, changes.atoms.size()); ++i) {
    const AtomChange& atom = changes.atoms[i];
    AppendPrintf(text, "%-12s %9s %9s\n", atom.name.c_str(), ShiftText(atom).c_str(), UncertaintyText(atom).c_str());
  }
  if (changes.atoms.size() > kAtomsListed) {
    AppendPrintf(text, "(%zu more)\n", changes.atoms.size() - kAtomsListed);
  }
  for (size_t i = 0; i < std::min(kPeaksListed, changes.peaks.size()); ++i) {
    const PeakReport& peak = changes.peaks[i];
    AppendPrintf(text, "%-4s %6.2f e/Å³, %s\n", peak.name.c_str(), peak.height, PeakText(peak).c_str());
  }
  if (!report.findings.empty()) text += "Checks of the CIF: " + LevelCounts(report.findings) + "\n";
  for (size_t i = 0; i < std::min(kFindingsListed, report.findings.size()); ++i) {
    const Finding& finding = report.findings[i];
    if (finding.level <= FindingLevel::B) text += std::string(NameOf(finding.level)) + " " + finding.text + "\n";
  }
  return text;
}

}  // namespace marvik
