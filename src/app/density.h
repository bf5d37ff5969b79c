#pragma once

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "app/workbench.h"
#include "check/data_density.h"
#include "draw/density/density_net.h"
#include "report/report.h"

namespace marvik {

struct DataMask;

// A level in e/Å³ or in multiples of the map's sigma.
struct DensityLevel {
  double value = 3.0;
  bool inSigma = true;
};
// "0.35", or "3s" and "3 sigma"; nothing for what is no number above zero.
std::optional<DensityLevel> ParseDensityLevel(std::string_view text);

// What the session shows of electron density.
struct DensityState {
  bool on = false;
  MapKind kind = MapKind::Difference;
  // Of differences and of the other maps.
  std::array<DensityLevel, 2> levels{DensityLevel{3.0, true}, DensityLevel{2.0, true}};
  std::vector<uint32_t> plane;  // serials of the atoms whose plane is contoured instead; empty for nets
  DataDensity data;             // of the file `base`; without a map nothing is drawn
  std::string base;
  std::shared_ptr<const DataMask> voids;  // of the file `voidsBase`; their surfaces are drawn where it is not null
  std::string voidsBase;
  std::shared_ptr<const DataMask> readyMask;  // made off the window's thread, for the command that waits for it

  DensityLevel& Level() { return levels[kind == MapKind::Difference ? 0 : 1]; }
  const DensityLevel& Level() const { return levels[kind == MapKind::Difference ? 0 : 1]; }
  // e/Å³, 0 without a map.
  double Threshold() const;
  // Kept until the map, the voids, the level or the atoms shown are others. Null without a map and voids.
  std::shared_ptr<const DensityNet> NetOf(const Document& document, const Cartesian& centre);
  double contourStep = 0.0;  // e/Å³, of the last contours; 0 where there were none
  double wantedStep = 0.0;   // of contours; 0: what suits them

 private:
  void AddMap(const Document& document, std::span<const Cartesian> places, const AtomSet& members, DensityNet& net);

  std::shared_ptr<const DensityNet> net_;
  size_t key_ = 0;
};
// Made when first asked for.
DensityState& DensityOf(Workbench& bench);

// Makes the map anew from the model as it is and the reflections beside it, off the window's thread where there is one,
// and shows it; nothing where density is off. What stands against it turns density off after a message.
void RefreshDensity(Workbench& bench);
// After another file, or another state of it, was read.
void FollowDensity(Workbench& bench);

// The reflections beside the file; of a translated CIF those beside the CIF, where it has none of its own.
std::string HklOf(const Document& document);

// Peaks and holes of the difference map with their nearest atoms. Nothing after a message.
std::optional<Report> PeaksReport(Workbench& bench);

// "Fo-Fc, ±0.31 e/Å³ (3.0 σ)".
std::string DensityText(const DensityState& state);

}  // namespace marvik
