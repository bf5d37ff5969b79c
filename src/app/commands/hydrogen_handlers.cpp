#include <algorithm>

#include "app/beside.h"
#include "app/commands/model_handlers.h"
#include "app/density.h"
#include "app/proposals.h"
#include "base/numbers.h"
#include "check/data_hydrogens.h"

namespace marvik {
namespace {

constexpr char kCaption[] = "Hydrogens by Map";
constexpr double kSeen = 1.5;   // sigma, of the contrast; below it the circle is noise
constexpr size_t kListed = 15;  // groups that the question tells of

std::string TurnsText(const Document& document, const std::vector<HydrogenTurn>& turns) {
  std::string text;
  for (size_t i = 0; i < turns.size(); ++i) {
    const HydrogenTurn& turn = turns[i];
    const char* name = document.atoms.FindSerial(turn.carrier)->name.c_str();
    if (i == kListed) {
      AppendPrintf(text, "and %zu more\n", turns.size() - i);
      break;
    }
    if (turn.contrast < kSeen) {
      AppendPrintf(text, "%s: not seen, stays\n", name);
    } else {
      AppendPrintf(text, "%s: by %.0f°, from %.2f to %.2f e/Å³, %.1f σ above the circle\n", name, turn.degrees,
                   turn.before, turn.density, turn.contrast);
    }
  }
  return text;
}

std::vector<Fractional> PlacesOf(const Document& document, const HydrogenTurn& turn) {
  std::vector<Fractional> places;
  for (const uint32_t serial : turn.hydrogens) places.push_back(document.atoms.FindSerial(serial)->fract);
  return places;
}

void Put(Document& document, const HydrogenTurn& turn, const std::vector<Fractional>& places) {
  for (size_t i = 0; i < turn.hydrogens.size(); ++i) {
    AtomRecord* hydrogen = document.atoms.FindSerial(turn.hydrogens[i]);
    hydrogen->fract = places[i];
    std::fill_n(hydrogen->codedValues.begin(), 3, 0.0);
  }
  document.RecomputePositions();
}

// Groups with the carrier or a hydrogen among the atoms.
void KeepThose(std::vector<HydrogenTurn>& turns, const std::vector<AtomRecord*>& atoms) {
  std::erase_if(turns, [&](const HydrogenTurn& turn) {
    return std::ranges::none_of(atoms, [&](const AtomRecord* atom) {
      return atom->serial == turn.carrier || std::ranges::find(turn.hydrogens, atom->serial) != turn.hydrogens.end();
    });
  });
}

// What a command began whose work is done elsewhere is done by the same command again, or it could not be undone.
Outcome TurnLater(Workbench& bench, const CommandCall& call) {
  struct Found {
    std::vector<HydrogenTurn> turns;
    std::string problem;
  };
  const auto document = std::make_shared<const Document>(bench.document);
  return DoBeside(
      bench, "Hydrogens are being looked for in the map",
      [document] {
        Found found;
        found.turns = TurnHydrogensByMap(*document, HklOf(*document), found.problem);
        return found;
      },
      [&bench, call, changes = bench.changes](Found found) {
        if (bench.changes != changes)
          return Refuse(bench, kCaption, "The structure has changed while its hydrogens were looked for.");
        if (!found.problem.empty()) return Refuse(bench, kCaption, found.problem);
        DensityOf(bench).readyTurns = std::make_shared<const std::vector<HydrogenTurn>>(std::move(found.turns));
        const bool isBegun = !bench.hooks.inBackground;
        const Outcome outcome = isBegun ? TurnHydrogensHandler(bench, call) : RunCommand(bench, call.id, call.argument);
        DensityOf(bench).readyTurns = nullptr;
        return outcome;
      });
}

bool ChooseTurns(Workbench& bench, const std::vector<HydrogenTurn>& turns, const std::string& notes) {
  Document& document = bench.document;
  FoundModels list;
  list.title = kCaption;
  list.accept = "&Keep";
  list.notes = notes;
  list.headings = {"Group", "Turn/°", "From e/Å³", "To e/Å³", "Contrast/σ"};
  std::vector<Proposal> proposals;
  for (const HydrogenTurn& turn : turns) {
    const auto show = [&document, &turn, before = PlacesOf(document, turn)](bool on) {
      Put(document, turn, on ? turn.places : before);
    };
    proposals.push_back({{document.atoms.FindSerial(turn.carrier)->name, Printf("%.0f", turn.degrees),
                          Printf("%.2f", turn.before), Printf("%.2f", turn.density), Printf("%.1f", turn.contrast)},
                         turn.hydrogens,
                         show});
  }
  return !TakeProposals(bench, list, proposals).empty();
}

}  // namespace

// Shown where they would go before they are kept.
Outcome TurnHydrogensHandler(Workbench& bench, const CommandCall& call) {
  Document& document = bench.document;
  if (document.CurrentFile.empty()) return Refuse(bench, kCaption, "The structure has no file yet.");
  const auto named = AtomsInOrder(bench, call.argument);
  if (named.empty() && !call.argument.empty()) return Outcome::Failed;
  const auto ready = std::exchange(DensityOf(bench).readyTurns, nullptr);
  if (!ready) return TurnLater(bench, call);
  std::vector<HydrogenTurn> turns = *ready;
  if (!named.empty()) KeepThose(turns, named);
  if (turns.empty())
    return Refuse(bench, kCaption, "There is no methyl or hydroxyl group whose riding hydrogens turn about its bond.");
  const std::string list = TurnsText(document, turns);
  const auto from = std::stable_partition(turns.begin(), turns.end(),
                                          [](const HydrogenTurn& turn) { return turn.contrast >= kSeen; });
  const std::string unseen = TurnsText(document, {from, turns.end()});
  turns.erase(from, turns.end());
  if (turns.empty()) return Refuse(bench, kCaption, list + "\nThe density shows none of these hydrogens; they stay.");
  if (bench.hooks.chooseModel) return ChooseTurns(bench, turns, unseen) ? Outcome::Changed : Outcome::Cancelled;
  const std::string question = list + "\nAre the hydrogens to stay where the density is highest?";
  if (!bench.messages.AskYesNo({MessageIcon::Question, kCaption, question}, Unattended::Yes)) return Outcome::Cancelled;
  for (const HydrogenTurn& turn : turns) Put(document, turn, turn.places);
  bench.ConnectAndReframe();
  return Outcome::Changed;
}

}  // namespace marvik
