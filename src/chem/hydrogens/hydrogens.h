#pragma once

#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "base/user_messages.h"
#include "chem/bonds/neighbours.h"
#include "chem/hydrogens/hydrogen_geometry.h"
#include "model/document.h"

namespace marvik {

// Places hydrogens in a structure whose other atoms stay as they are for as long as this lives.
class HydrogenBuilder {
 public:
  HydrogenBuilder(Document& document, UserMessages& messages);

  // The images that an atom is bonded to, without hydrogens that the program placed.
  std::vector<NeighbourImage> NeighboursOf(const AtomRecord& atom) const;

  // Makes what is missing of the hydrogens of one group, each bonded to the carrier with width 0.1, riding on it with
  // its AFIX code, PART, residue and occupancy, behind it in the list. Those that the program placed before are moved,
  // or removed where they are too many; any others count as part of the group. False, with nothing changed, when the
  // code is unknown or the surroundings do not determine the places.
  bool Place(int code, AtomRecord* carrier);
  // Whether a nitrogen atom with two bonds, whose class has no hydrogen, carries one by the look of it: both bonds are
  // single; or none is double, the angle is as wide as a hydrogen makes it, and the nitrogen is that of an amide or has
  // an acceptor of hydrogen bonds in line that is no donor itself.
  bool LacksHydrogen(const AtomRecord& nitrogen);
  // Places two hydrogens on an oxygen atom without bonds that has two acceptors at a fitting angle, as AFIX 3: no HFIX
  // code makes them.
  bool PlaceWater(AtomRecord* oxygen);
  // How many hydrogens were new.
  size_t Added() const { return added_; }

  // Removes hydrogens that the program had placed on a carrier.
  void RemoveFrom(const AtomRecord* carrier);
  std::vector<AtomRecord*> Placed(const AtomRecord* carrier) const;

 private:
  std::optional<CarrierSurroundings> Survey(const HfixGroup& group, const AtomRecord& carrier);
  void FindBeyond(const AtomRecord& carrier, const NeighbourImage& neighbour, CarrierSurroundings& around) const;
  void FindAcceptor(const AtomRecord& carrier, const Cartesian& neighbour, CarrierSurroundings& around);
  // What a hydrogen on the carrier could bond to, given the places of the carrier's neighbours.
  std::vector<NeighbourImage> AcceptorsFor(const AtomRecord& carrier, const std::vector<Cartesian>& neighbours);
  bool IsAmide(const NeighbourImage& besideNitrogen) const;
  bool Donates(const NeighbourImage& acceptor, const Cartesian& place) const;
  bool IsTaken(const AtomRecord& carrier, const std::string& label) const;
  std::string FreeLabel(const AtomRecord& carrier, const std::string& stem);
  std::vector<std::string> LabelsFor(const AtomRecord& carrier, size_t count);
  bool Put(int afix, const HfixGroup& group, const std::vector<Cartesian>& directions, AtomRecord* carrier);
  AtomRecord* Make(AtomRecord* carrier, const std::string& label);

  Document& document_;
  UserMessages& messages_;
  NeighbourSearch search_;
  std::optional<NeighbourSearch> wideSearch_;  // for acceptors, made when one is looked for
  std::unordered_map<const AtomRecord*, std::vector<AtomRecord*>> placed_;
  std::unordered_set<const AtomRecord*> done_;         // carriers whose hydrogens this builder placed
  std::unordered_set<std::string> names_;              // in capitals, with the residue in front
  std::unordered_map<std::string, size_t> nextLabel_;  // by what a label begins with: all before it are taken
  double temperature_ = 20.0;                          // °C
  int32_t nextAfixGroup_ = 0;
  size_t added_ = 0;
};

// The message that names carriers whose hydrogens could not be placed; none for an empty list.
void TellOfFailures(const std::vector<const AtomRecord*>& carriers, UserMessages& messages);

// The command: classifies the atoms (hydrogens that the program placed do not count), assigns the HFIX codes, places
// the hydrogens and tells of those that could not be placed and of what to watch in the refinement. Running it again
// adds nothing. False when the classification was refused.
bool CalculateHydrogens(Document& document, UserMessages& messages);

}  // namespace marvik
