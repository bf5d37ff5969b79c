#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "base/user_messages.h"
#include "chem/hydrogens/hydrogen_geometry.h"
#include "model/document.h"

namespace marvik {

// The automatic choice from an atom's classification and the number of its bonded neighbours; 0 for none.
int ChooseHfixCode(const AtomRecord& atom, size_t neighbours);
// The code by which hydrogens are placed: as above, but an sp2 atom other than oxygen with two or three neighbours
// takes 43 and with any other number 93. 0 for atoms that carry none.
int ChoosePlacementCode(const AtomRecord& atom, size_t neighbours);

// What an atom with these bonded neighbours gets: the letter's codes above but for a carbon atom that has no room. It
// has none where its third neighbour is a metal or halogen on the side of the hydrogen, on a nitrile or another linear
// atom, and in a curved aromatic face of three short bonds. Metals that bind a face leave the hydrogen of the ring, 43.
struct HydrogenCodes {
  int entry = 0;      // of the HFIX line, 0 for none
  int placement = 0;  // by which hydrogens are placed
};
// Nitrogen whose class has none gets 43 where HydrogenBuilder::LacksHydrogen says so.
class HydrogenBuilder;
HydrogenCodes CodesFor(const AtomRecord& atom, HydrogenBuilder& builder);

// "HFIX %d %4.4s" with the code and the label; the keyword carries the residue number of an atom that has one.
std::string HfixLine(const Document& document, const AtomRecord& carrier, int code);
// The program's entry for a carrier, made or replaced; lines read from a file stay as they are.
void SetHfixEntry(Document& document, AtomRecord* carrier, int code);
// False when there was none.
bool RemoveHfixEntry(AtomList& atoms, const AtomRecord* carrier);

// Empties the program's entries and makes them anew for every visible atom that is not generated and that needs
// hydrogens, from the classification as it stands. Hydrogens that the program placed do not count as neighbours.
void AssignHfixCodes(Document& document);
// The same with the neighbours that a builder finds.
void AssignHfixCodes(Document& document, HydrogenBuilder& builder);

// What the dialog offers.
struct HfixOption {
  const char* button;
  const char* caption;  // beside it; "" for the last two
  int code;
};
inline constexpr int kFixExisting = 3;
inline constexpr int kNoHydrogensHere = 0;
inline constexpr HfixOption kHfixOptions[] = {
    {"sp1 Alkyne (C)", "add 1 hydrogen  HFIX 163", kHfixAlkyne},
    {"sp2 Alkene or Aromatic (C or N)", "add 1 hydrogen  HFIX 43", kHfixAromatic},
    {"sp2 Alkene (C or N)", "add 2 hydrogens HFIX 93", kHfixTerminal},
    {"sp3 Alkane (C or N)", "add 1 hydrogen  HFIX 13", kHfixTertiary},
    {"sp3 Alkane (C or N)", "add 2 hydrogens HFIX 23", kHfixSecondary},
    {"sp3 Alkane (C or N)", "add 3 hydrogens HFIX 137", kHfixMethyl},
    {"sp3 Non-hydrogen bonded Hydroxyl (O)", "add 1 hydrogen  HFIX 147", kHfixHydroxyl},
    {"sp3 Hydrogen bonded Hydroxyl (O)", "add 1 hydrogen  HFIX 83", kHfixBondedHydroxyl},
    {"Fix parameters for existing hydrogen atom(s)  AFIX 3", "", kFixExisting},
    {"Indicate absence of HFIXed hydrogens", "", kNoHydrogensHere},
};

// The option that a text names: a code ("43", "HFIX 43"), "AFIX 3" or "3", "none" or "0". Nothing for any other text.
std::optional<int> ParseHfixOption(std::string_view text);

// What OK in the dialog does to the selected atoms: gives them the code and places their hydrogens by it, fixes
// selected hydrogens, or marks atoms as carrying none and takes back what the program had placed. False after a message
// with nothing changed.
bool ApplyHfixOption(Document& document, int option, UserMessages& messages);

}  // namespace marvik
