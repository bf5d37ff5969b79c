#include "ui/area/atom_keys.h"

#include <QKeySequence>
#include <algorithm>
#include <array>
#include <cctype>
#include <set>
#include <utility>

#include "app/commands/command_table.h"
#include "base/numbers.h"

namespace marvik {
namespace {

constexpr int kToggleLabelCommand = 213;
constexpr int kSelectedLabelsOffCommand = 204;
constexpr int kKillAtomCommand = 130;

constexpr AtomKey kKeys[] = {
    {Qt::Key_B, "B", "make it boron", "B"},
    {Qt::Key_C, "C", "make it carbon", "C"},
    {Qt::Key_N, "N", "make it nitrogen", "N"},
    {Qt::Key_O, "O", "make it oxygen", "O"},
    {Qt::Key_F, "F", "make it fluorine", "F"},
    {Qt::Key_P, "P", "make it phosphorus", "P"},
    {Qt::Key_S, "S", "make it sulphur", "S"},
    {Qt::Key_L, "L", "make it chlorine", "Cl"},
    {Qt::Key_R, "R", "make it bromine", "Br"},
    {Qt::Key_I, "I", "make it iodine", "I"},
    {Qt::Key_Comma, ",", "the element before", "", -1},
    {Qt::Key_Period, ".", "the element behind", "", 1},
    {Qt::Key_H, "H", "set HFIX", "", 0, kHfixCommand},
    {Qt::Key_K, "K", "kill it", "", 0, kKillSelectedCommand, kKillAtomCommand},
    {Qt::Key_D, "D", "split it in two, on the selected peaks or along its axis", "", 0, kSplitCommand, kSplitCommand,
     "parts=2"},
    {Qt::Key_J, "J", "join its parts", "", 0, kJoinCommand, kJoinCommand},
    {Qt::Key_T, "T", "its label on and off", "", 0, kSelectedLabelsOffCommand, kToggleLabelCommand},
};

// By atomic number.
constexpr std::array<std::string_view, 10> kElements{"B", "C", "N", "O", "F", "P", "S", "Cl", "Br", "I"};

bool SameName(std::string_view a, std::string_view b) {
  return std::ranges::equal(a, b, [](unsigned char x, unsigned char y) { return std::toupper(x) == std::toupper(y); });
}

using GivenNames = std::set<std::pair<int, std::string>>;  // residue and name

bool IsTaken(const Document& document, const AtomRecord& by, const std::string& name, const GivenNames& given) {
  if (given.contains({by.residue, name})) return true;
  for (const AtomRecord* atom : Atoms(document.atoms)) {
    if (atom != &by && atom->residue == by.residue && SameName(atom->name, name)) return true;
  }
  return false;
}

std::string NameAs(const Document& document, const AtomRecord& atom, const std::string& symbol,
                   const GivenNames& given) {
  constexpr size_t kLongestName = 4;
  const size_t digit = std::min(atom.name.find_first_of("0123456789"), atom.name.size());
  const std::string kept = symbol + atom.name.substr(digit);
  if (kept.size() <= kLongestName && kept != symbol && !IsTaken(document, atom, kept, given)) return kept;
  for (int number = 1; number < 1000; ++number) {
    const std::string name = symbol + std::to_string(number);
    if (name.size() <= kLongestName && !IsTaken(document, atom, name, given)) return name;
  }
  return kept;
}

}  // namespace

std::span<const AtomKey> AtomKeys() {
  return kKeys;
}

std::string SymbolOf(const AtomKey& key, const AtomRecord& atom) {
  if (key.step == 0) return key.symbol;
  const std::string_view symbol = atom.element && !atom.IsPeak() ? atom.element->Symbol() : std::string_view();
  const auto now = std::ranges::find(kElements, symbol);
  if (now == kElements.end()) return "C";
  const auto at = (now - kElements.begin()) + key.step;
  return at >= 0 && at < std::ssize(kElements) ? std::string(kElements[static_cast<size_t>(at)]) : std::string();
}

std::string NamesAs(const Document& document, const AtomKey& key, const std::vector<uint32_t>& serials) {
  std::string text;
  GivenNames given;
  for (const uint32_t serial : serials) {
    const AtomRecord* atom = document.atoms.FindSerial(serial);
    const std::string symbol = atom ? SymbolOf(key, *atom) : std::string();
    if (symbol.empty() || (!atom->IsPeak() && atom->element->Symbol() == symbol)) continue;
    const std::string name = NameAs(document, *atom, symbol, given);
    given.emplace(atom->residue, name);
    AppendPrintf(text, "#%u %s ", serial, name.c_str());
  }
  return text;
}

}  // namespace marvik
