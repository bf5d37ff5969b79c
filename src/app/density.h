#pragma once

#include <array>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "app/workbench.h"
#include "check/data_density.h"
#include "check/data_hydrogens.h"
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
  uint32_t about = 0;           // serial of the atom that nets are drawn around, 0 for all
  bool followsPointer = false;  // that is the one the pointer was on last
  DataDensity data;             // of the file `base`; without a map nothing is drawn
  std::string base;
  std::shared_ptr<const DataMask> voids;  // of the file `voidsBase`; their surfaces are drawn where it is not null
  std::string voidsBase;
  // Made off the window's thread, for the command that waits for it.
  std::shared_ptr<const DataMask> readyMask;
  std::shared_ptr<const std::vector<HydrogenTurn>> readyTurns;
  // The last lists of peaks and voids, and the file and state of it that they are of.
  struct KeptReport {
    Report report;
    std::string base;
    unsigned changes = 0;
  };
  std::map<ReportKind, KeptReport> reports;

  DensityLevel& Level() { return levels[kind == MapKind::Difference ? 0 : 1]; }
  const DensityLevel& Level() const { return levels[kind == MapKind::Difference ? 0 : 1]; }
  // e/Å³, 0 without a map.
  double Threshold() const;
  // The pointer is on an atom, or on none (0). Whether that changes the net.
  bool PointAt(uint32_t serial);
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

// A list that takes the reflections and long, or why there is none; neither where it was stopped.
struct DataReport {
  std::optional<Report> report;
  std::string problem;
};
// Peaks and holes of the difference map with their nearest atoms, or the voids with the electrons in them.
DataReport MakeDataReport(const Document& document, ReportKind kind);
// Keeps what came of it for the file that is open. False after a message, or where it was stopped.
bool KeepDataReport(Workbench& bench, ReportKind kind, DataReport made);
// The one that was kept; without a window one of the structure as it is now, nothing after a message.
std::optional<Report> FindDataReport(Workbench& bench, ReportKind kind);

// "Fo-Fc, ±0.31 e/Å³ (3.0 σ)".
std::string DensityText(const DensityState& state);

}  // namespace marvik
