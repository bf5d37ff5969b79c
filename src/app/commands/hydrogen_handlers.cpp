#include <algorithm>

#include "app/beside.h"
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

// One group after the other, each selected and shown where it would go. How many were taken.
size_t AskForEach(Workbench& bench, const std::vector<HydrogenTurn>& turns) {
  Document& document = bench.document;
  std::vector<uint32_t> selected;
  for (const AtomRecord* atom : document.atoms.selection) selected.push_back(atom->serial);
  size_t taken = 0;
  for (size_t i = 0; i < turns.size(); ++i) {
    const HydrogenTurn& turn = turns[i];
    const std::vector<Fractional> before = PlacesOf(document, turn);
    Put(document, turn, turn.places);
    document.atoms.selection.Clear();
    for (const uint32_t serial : turn.hydrogens) document.atoms.selection.Append(document.atoms.FindSerial(serial));
    bench.ConnectAndReframe();
    bench.Repaint();
    const std::string question = Printf("%zu of %zu\n", i + 1, turns.size()) + TurnsText(document, {turn}) +
                                 "\nThe picture shows its hydrogens selected. Are they to stay there?";
    if (bench.messages.AskYesNo({MessageIcon::Question, kCaption, question})) {
      ++taken;
    } else {
      Put(document, turn, before);
    }
  }
  document.atoms.selection.Clear();
  for (const uint32_t serial : selected) document.atoms.selection.Append(document.atoms.FindSerial(serial));
  bench.ConnectAndReframe();
  return taken;
}

}  // namespace

// Shown where they would go before they are kept: all of them, and where not all are wanted each.
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
  std::erase_if(turns, [](const HydrogenTurn& turn) { return turn.contrast < kSeen; });
  if (turns.empty()) return Refuse(bench, kCaption, list + "\nThe density shows none of these hydrogens; they stay.");
  std::vector<std::vector<Fractional>> before;
  for (const HydrogenTurn& turn : turns) {
    before.push_back(PlacesOf(document, turn));
    Put(document, turn, turn.places);
  }
  bench.ConnectAndReframe();
  bench.Repaint();
  const char* const all = turns.size() > 1 ? "Are all to stay there? No asks for each." : "Are they to stay there?";
  if (bench.messages.AskYesNo({MessageIcon::Question, kCaption,
                               list + "\nThe picture shows the hydrogens where the density is highest. " + all},
                              Unattended::Yes))
    return Outcome::Changed;
  for (size_t i = 0; i < turns.size(); ++i) Put(document, turns[i], before[i]);
  bench.ConnectAndReframe();
  return turns.size() > 1 && AskForEach(bench, turns) > 0 ? Outcome::Changed : Outcome::Cancelled;
}

}  // namespace marvik
