#include "app/commands/model_handlers.h"

#include <algorithm>

#include "app/beside.h"
#include "app/refinement/solve_flow.h"
#include "app/split_candidates.h"
#include "base/numbers.h"
#include "edit/edit_part.h"
#include "edit/edit_paste.h"
#include "edit/edit_split.h"
#include "edit/part_list.h"
#include "files/res/reader.h"
#include "files/res/writer.h"

namespace marvik {
namespace {

constexpr char kSplit[] = "Split";
constexpr char kCandidates[] = "Atoms That May Be Split";
constexpr char kJoin[] = "Join";
constexpr char kPaste[] = "Paste Atoms";

}  // namespace

Outcome ShowList(Workbench& bench, const std::string& title, const std::string& text) {
  if (bench.hooks.showText) {
    bench.hooks.showText(title, text);
  } else {
    bench.messages.Show({MessageIcon::Information, title, text});
  }
  return Outcome::Done;
}

Outcome SplitHandler(Workbench& bench, const CommandCall& call) {
  const auto text = TextOf(bench, call);
  if (!text) return Outcome::Cancelled;
  const EditArguments arguments = SplitEditArguments(*text);
  const auto atoms = AtomsToEdit(bench, arguments.atoms, arguments.atoms.empty() && bench.PickedAtom());
  if (atoms.empty()) return Outcome::Failed;
  EditFault fault;
  const std::string refusal = SplitAsAsked(bench.document, atoms, arguments, bench.messages, fault);
  if (fault) return RefuseField(bench, fault);
  if (!refusal.empty()) return Refuse(bench, kSplit, refusal);
  bench.ConnectAndReframe();
  return Outcome::Changed;
}

Outcome JoinHandler(Workbench& bench, const CommandCall& call) {
  const auto atoms = AtomsToEdit(bench, call.argument, call.argument.empty() && bench.PickedAtom());
  if (atoms.empty()) return Outcome::Failed;
  const std::string refusal = JoinAtoms(bench.document, atoms, bench.messages);
  if (!refusal.empty()) return Refuse(bench, kJoin, refusal);
  bench.ConnectAndReframe();
  return Outcome::Changed;
}

// As the text of an instruction file, which other programs take too.
Outcome CopyAtomsHandler(Workbench& bench, const CommandCall& call) {
  const auto atoms = AtomsToEdit(bench, call.argument, call.argument.empty() && bench.PickedAtom());
  if (atoms.empty()) return Outcome::Failed;
  std::string text;
  if (!ComposeInstructionText(AtomsAlone(bench.document, atoms), text, bench.messages)) return Outcome::Failed;
  if (!bench.hooks.setClipboard) return ShowList(bench, "Copy Atoms", text);
  bench.hooks.setClipboard(text);
  return Outcome::Done;
}

// From a file, without one from the clipboard: an instruction file's text, as Copy Atoms makes it.
Outcome PasteAtomsHandler(Workbench& bench, const CommandCall& call) {
  std::string text;
  if (!call.argument.empty()) {
    const FileContent file = ReadWholeFile(call.argument);
    if (!file.complete) return Refuse(bench, kPaste, call.argument + " cannot be read.");
    text = file.content;
  } else if (bench.hooks.clipboard) {
    text = bench.hooks.clipboard();
  }
  Document from;
  RecordingMessages silent;
  if (!ReadInstructionText(from, text, silent))
    return Refuse(bench, kPaste, "There are no atoms to paste: they are copied as the text of an instruction file.");
  const bool fitted = bench.ViewIsFitted();
  const std::string refusal = PasteAtoms(bench.document, from, bench.messages);
  if (!refusal.empty()) return Refuse(bench, kPaste, refusal);
  bench.ConnectAndReframe();
  // They may stand far from the model.
  if (fitted) bench.ResetViewToModel();
  return Outcome::Changed;
}

namespace {

// The window shows the model as each split would leave it, and the one of the least R1 until another is marked. What is
// taken is done as "split" does it, and undone like that.
Outcome ChooseSplit(Workbench& bench, const std::vector<SplitCandidate>& candidates, std::optional<double> now) {
  FoundModels found;
  found.title = kCandidates;
  found.accept = "&Split";
  found.notes = TriesText(now);
  const auto table = CandidateTable(candidates);
  found.headings = table[0];
  for (size_t i = 1; i < table.size(); ++i) found.rows.push_back({{}, table[i]});
  const auto r1 = [](const SplitCandidate& candidate) { return candidate.r1.value_or(1.0); };
  found.proposed = static_cast<size_t>(std::ranges::min_element(candidates, {}, r1) - candidates.begin());
  const Document before = bench.document;
  const auto putBack = [&] {
    bench.document = before;
    bench.ClearPick();
  };
  const auto show = [&](size_t row) {
    putBack();
    const EditArguments arguments = SplitEditArguments(candidates[row].split);
    RecordingMessages unheard;
    EditFault fault;
    if (AtomRecord* atom = bench.document.atoms.FindSerial(candidates[row].atom))
      SplitAsAsked(bench.document, {atom}, arguments, unheard, fault);
    bench.RefreshAfterStructureChange(false);
  };
  const auto chosen = bench.hooks.chooseModel(found, show);
  putBack();
  bench.RefreshAfterStructureChange(false);
  return chosen ? RunCommand(bench, kSplitCommand, candidates[*chosen].split) : Outcome::Cancelled;
}

}  // namespace

// "5": for so many of the list R1 is worked out; without a number for three.
Outcome SplitCandidatesHandler(Workbench& bench, const CommandCall& call) {
  constexpr FieldRange kTries{"tries", "Tries", 0.0, 100.0};
  EditFault fault;
  const int tries = call.argument.empty() ? 3 : ReadFieldInteger(kTries, call.argument, fault).value_or(0);
  if (fault) return RefuseField(bench, fault);
  struct Tried {
    std::vector<SplitCandidate> candidates;
    std::optional<double> now;
  };
  const auto document = std::make_shared<const Document>(bench.document);
  return DoBeside(
      bench, "Splits are being tried",
      [document, tries] {
        Tried tried{FindSplitCandidates(*document), {}};
        if (tries > 0 && !tried.candidates.empty())
          tried.now = TrySplits(*document, tried.candidates, static_cast<size_t>(tries));
        return tried;
      },
      [&bench, changes = bench.changes](const Tried& tried) {
        if (tried.candidates.empty())
          return Refuse(bench, kSplit,
                        "No atom looks split: none is long, has a peak beside it, or moves along a bond.");
        const bool mayChoose = bench.hooks.chooseModel && bench.changes == changes && !bench.refining;
        if (mayChoose) return ChooseSplit(bench, tried.candidates, tried.now);
        return ShowList(bench, kCandidates, CandidateText(tried.candidates, tried.now));
      });
}

// "2" shows the second alternative of every disorder alone, "all" every one, "next" the next one, then all.
Outcome ShowPartHandler(Workbench& bench, const CommandCall& call) {
  Document& document = bench.document;
  const int most = MostAlternatives(document);
  if (most == 0) return Refuse(bench, "Parts", "There is no disorder: all atoms are in PART 0 or a negative one.");
  const FieldRange range{"part", "Alternative", 1.0, static_cast<double>(most)};
  EditFault fault;
  int wanted = 0;
  if (call.argument.empty() || call.argument == "next") {
    wanted = (ShownAlternative(document) + 1) % (most + 1);
  } else if (call.argument != "all") {
    wanted = ReadFieldInteger(range, call.argument, fault).value_or(0);
  }
  if (fault) return RefuseField(bench, fault);
  HideParts(document, wanted == 0 ? std::vector<int>() : PartsBeside(document, wanted));
  bench.ConnectAndReframe();
  return Outcome::Changed;
}

// Peaks below this height are hidden, others shown.
Outcome PeakLevelHandler(Workbench& bench, const CommandCall& call) {
  constexpr FieldRange kLevel{"level", "Height", 0.0, 1e6};
  EditFault fault;
  const auto level = ReadFieldNumber(kLevel, call.argument, fault);
  if (!level) return RefuseField(bench, fault);
  bool changed = false;
  for (AtomRecord* atom : Atoms(bench.document.atoms)) {
    if (!atom->IsPeak() || atom->Has(kHidden) == (atom->peakHeight < *level)) continue;
    atom->Set(kHidden, atom->peakHeight < *level);
    if (atom->Has(kHidden) && atom->Has(kSelected)) bench.document.atoms.selection.Remove(atom);
    changed = true;
  }
  return changed ? Outcome::Changed : Outcome::Done;
}

}  // namespace marvik
