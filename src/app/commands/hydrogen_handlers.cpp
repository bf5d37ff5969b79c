#include <algorithm>

#include "app/commands/model_handlers.h"
#include "app/density.h"
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

}  // namespace

// Shown where they would go before they are kept.
Outcome TurnHydrogensHandler(Workbench& bench, const CommandCall& call) {
  Document& document = bench.document;
  if (document.CurrentFile.empty()) return Refuse(bench, kCaption, "The structure has no file yet.");
  const auto named = AtomsInOrder(bench, call.argument);
  if (named.empty() && !call.argument.empty()) return Outcome::Failed;
  std::string problem;
  bench.SetBusy(true);
  std::vector<HydrogenTurn> turns = TurnHydrogensByMap(document, HklOf(document), problem);
  bench.SetBusy(false);
  if (!problem.empty()) return Refuse(bench, kCaption, problem);
  if (!named.empty()) KeepThose(turns, named);
  if (turns.empty())
    return Refuse(bench, kCaption, "There is no methyl or hydroxyl group whose riding hydrogens turn about its bond.");
  const std::string list = TurnsText(document, turns);
  std::erase_if(turns, [](const HydrogenTurn& turn) { return turn.contrast < kSeen; });
  if (turns.empty()) return Refuse(bench, kCaption, list + "\nThe density shows none of these hydrogens; they stay.");
  std::vector<std::vector<Fractional>> before;
  for (const HydrogenTurn& turn : turns) {
    before.push_back(PlacesOf(document, turn));
    Put(document, turn, turn.places);
  }
  bench.ConnectAndReframe();
  bench.Repaint();
  if (!bench.messages.AskYesNo(
          {MessageIcon::Question, kCaption,
           list + "\nThe picture shows the hydrogens where the density is highest. Are they to stay there?"},
          Unattended::Yes)) {
    for (size_t i = 0; i < turns.size(); ++i) Put(document, turns[i], before[i]);
    bench.ConnectAndReframe();
    return Outcome::Cancelled;
  }
  return Outcome::Changed;
}

}  // namespace marvik
