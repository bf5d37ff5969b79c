#include "app/density.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "app/beside.h"
#include "app/commands/command_handlers.h"
#include "app/solvent_mask.h"
#include "base/files.h"
#include "base/numbers.h"
#include "base/stop.h"
#include "base/words.h"
#include "check/data_mask.h"
#include "chem/geometry/mean_plane.h"

namespace marvik {
namespace {

constexpr double kReach = 1.8;        // Å from an atom that nets are drawn to
constexpr double kAbout = 3.5;        // Å from the one atom that they are wanted around
constexpr size_t kMostAtoms = 1000;   // that nets are drawn around
constexpr double kPlaneMargin = 1.5;  // Å around the atoms of a plane
constexpr size_t kListedPeaks = 20;
constexpr char kCaption[] = "Electron Density";

const char* NameOf(MapKind kind) {
  return kind == MapKind::Difference ? "Fo-Fc" : kind == MapKind::Observed ? "Fo" : "2Fo-Fc";
}

void Mix(size_t& key, double value) {
  uint64_t bits = 0;
  std::memcpy(&bits, &value, sizeof bits);
  key = (key ^ bits) * 1099511628211u;
}

std::vector<Cartesian> PlacesShown(const Document& document) {
  std::vector<Cartesian> places;
  for (const AtomRecord* atom : Atoms(document.atoms, kVisibleOnly))
    if (!atom->IsPeak() && IsFinite(atom->position)) places.push_back(atom->position);
  return places;
}

void KeepNearest(std::vector<Cartesian>& places, const Cartesian& centre) {
  if (places.size() <= kMostAtoms) return;
  std::ranges::nth_element(places, places.begin() + kMostAtoms, {},
                           [&](const Cartesian& p) { return Length(p - centre); });
  places.resize(kMostAtoms);
}

AtomSet MembersOf(const Document& document, const std::vector<uint32_t>& serials) {
  AtomSet members;
  for (const uint32_t serial : serials)
    if (const AtomRecord* atom = document.atoms.FindSerial(serial)) members.push_back(atom);
  return members;
}

// What became of a map that was made for that file; the user may be elsewhere by now.
void Take(Workbench& bench, const std::string& base, MapKind kind, DataDensity data) {
  DensityState& state = DensityOf(bench);
  if (!state.on || state.kind != kind || base != BaseNameOf(bench.document.CurrentFile)) return;
  state.data = std::move(data);
  state.base = base;
  if (!state.data.map) {
    state.on = false;
    bench.messages.Show({MessageIcon::Warning, kCaption, state.data.problem});
    bench.Repaint();
    return;
  }
  std::string notes;
  for (const std::string& note : state.data.notes) notes += note + " ";
  const auto net = state.NetOf(bench.document, bench.view.viewCentre);
  if (net && !net->whole) notes += "There would be too many lines: not all of the net is drawn. ";
  if (state.plane.empty() && PlacesShown(bench.document).size() > kMostAtoms)
    notes += Printf("The net is drawn around the %zu shown atoms nearest to the middle of the picture. ", kMostAtoms);
  if (!notes.empty()) notes.pop_back();
  if (bench.hooks.tell) {
    bench.hooks.tell(DensityText(state) + (notes.empty() ? "" : "; " + notes));
  } else if (!notes.empty()) {
    bench.messages.Show({MessageIcon::Information, kCaption, notes});
  }
  bench.Repaint();
}

}  // namespace

std::string HklOf(const Document& document) {
  const std::string base = BaseNameOf(document.CurrentFile);
  constexpr std::string_view kTranslated = "_cif";
  if (base.ends_with(kTranslated) && !StampOf(base + ".hkl"))
    return base.substr(0, base.size() - kTranslated.size()) + ".hkl";
  return base + ".hkl";
}

std::optional<DensityLevel> ParseDensityLevel(std::string_view text) {
  DensityLevel level{0.0, false};
  std::string_view number = Trimmed(text);
  for (const std::string_view unit : {"sigma", "s", "σ"}) {
    if (!number.ends_with(unit)) continue;
    level.inSigma = true;
    number = Trimmed(number.substr(0, number.size() - unit.size()));
    break;
  }
  if (!ParseWholeNumber(number, level.value) || !(level.value > 0.0) || level.value > 1000.0) return std::nullopt;
  return level;
}

double DensityState::Threshold() const {
  return !data.map ? 0.0 : Level().inSigma ? Level().value * data.map->sigma : Level().value;
}

bool DensityState::PointAt(uint32_t serial) {
  if (!on || !followsPointer || serial == 0 || serial == about) return false;
  about = serial;
  return true;
}

std::shared_ptr<const DensityNet> DensityState::NetOf(const Document& document, const Cartesian& centre) {
  const std::string now = BaseNameOf(document.CurrentFile);
  const bool hasMap = on && data.map && base == now;
  const bool hasVoids = voids && voidsBase == now;
  if (!hasMap && !hasVoids) return nullptr;
  AtomSet members;
  std::vector<Cartesian> places;
  if (hasMap && plane.empty()) {
    places = PlacesShown(document);
    const AtomRecord* middle = about ? document.atoms.FindSerial(about) : nullptr;
    if (middle) std::erase_if(places, [&](const Cartesian& p) { return Length(p - middle->position) > kAbout; });
    KeepNearest(places, centre);
  } else if (hasMap) {
    members = MembersOf(document, plane);
    for (const AtomRecord* atom : members) places.push_back(atom->position);
  }
  size_t key = (hasMap ? reinterpret_cast<size_t>(data.map.get()) : 0) + plane.size();
  key ^= hasVoids ? reinterpret_cast<size_t>(voids.get()) * 31 : 0;
  Mix(key, Threshold());
  Mix(key, wantedStep);
  for (const Cartesian& place : places)
    for (int i = 0; i < 3; ++i) Mix(key, place[i]);
  if (net_ && key == key_) return net_;
  key_ = key;
  auto net = std::make_shared<DensityNet>();
  if (hasMap) AddMap(document, places, members, *net);
  if (hasVoids) AddVoidNet(voids->mask, document.matrix, *net);
  net_ = std::move(net);
  return net_;
}

void DensityState::AddMap(const Document& document, std::span<const Cartesian> places, const AtomSet& members,
                          DensityNet& net) {
  const bool difference = kind == MapKind::Difference;
  if (plane.empty()) {
    const double level = Threshold();
    AddNet(*data.map, document.matrix, places, kReach, level, difference ? NetTone::Plus : NetTone::Observed, net);
    if (difference) AddNet(*data.map, document.matrix, places, kReach, -level, NetTone::Minus, net);
  } else if (const auto fit = FitMeanPlane(document, members, false); fit && fit->isDetermined) {
    contourStep = AddContours(*data.map, document.matrix, SectionThrough(places, fit->normal, kPlaneMargin), wantedStep,
                              difference, net);
  }
}

DensityState& DensityOf(Workbench& bench) {
  if (!bench.density) bench.density = std::make_shared<DensityState>();
  return *bench.density;
}

std::string DensityText(const DensityState& state) {
  const bool difference = state.kind == MapKind::Difference;
  std::string text = NameOf(state.kind);
  if (!state.data.map) return text;
  if (!state.plane.empty() && !(state.contourStep > 0.0))
    return text + (state.wantedStep > 0.0 ? ", no contours: the step is too small" : ", no contours");
  if (!state.plane.empty()) return text + Printf(", a contour each %g e/Å³", state.contourStep);
  return text + Printf(", %s%.2f e/Å³ (%.1f σ)", difference ? "±" : "", state.Threshold(),
                       state.data.map->sigma > 0.0 ? state.Threshold() / state.data.map->sigma : 0.0);
}

void RefreshDensity(Workbench& bench) {
  DensityState& state = DensityOf(bench);
  if (!state.on) return;
  const std::string base = BaseNameOf(bench.document.CurrentFile);
  const MapKind kind = state.kind;
  if (base.empty()) {
    DataDensity none;
    none.problem = "The structure has no file yet, so that no reflections lie beside it.";
    return Take(bench, base, kind, std::move(none));
  }
  const auto document = std::make_shared<const Document>(bench.document);
  DoBeside(
      bench, "The density map is being made",
      [document, kind] { return DensityFromData(*document, HklOf(*document), kind, 0); },
      [&bench, base, kind](DataDensity data) {
        Take(bench, base, kind, std::move(data));
        return Outcome::Done;
      });
}

void FollowDensity(Workbench& bench) {
  if (!bench.density) return;
  DensityState& state = *bench.density;
  if (state.base != BaseNameOf(bench.document.CurrentFile)) state.plane.clear(), state.about = 0;
  if (state.on && !StampOf(HklOf(bench.document))) state.on = false;
  RefreshDensity(bench);
}

namespace {

Report PeaksReport(const DataDensity& data, const std::string& hkl) {
  ReportTable table({"kind", "height", "sigma", "x", "y", "z", "occupancy", "atom1", "distance1", "symmetry1", "atom2",
                     "distance2", "symmetry2", "atom3", "distance3", "symmetry3"});
  for (const auto* list : {&data.peaks, &data.holes}) {
    for (const DensityPeak& peak : *list) {
      table.Text(peak.height > 0.0 ? "peak" : "hole");
      table.Number(peak.height, 2);
      table.Number(data.map->sigma > 0.0 ? peak.height / data.map->sigma : 0.0, 1);
      for (int i = 0; i < 3; ++i) table.Number(peak.x[i], 4);
      table.Number(peak.siteFraction, 3);
      for (size_t n = 0; n < 3; ++n) {
        const bool there = n < peak.nearest.size();
        table.Text(there ? peak.nearest[n].atom : "");
        there ? table.Number(peak.nearest[n].distance, 2) : table.Missing();
        table.Text(there ? peak.nearest[n].symmetry : "");
      }
    }
  }
  Report report{ReportKind::Peaks, "Peaks and Holes", "Peaks and Holes", {}, {}, {}, {}};
  report.basis = Printf("Fo-Fc of %zu reflections of %s, R1 %.4f, sigma %.3f e/Å³", data.reflections,
                        FileNameOf(hkl).c_str(), data.r1, data.map->sigma);
  report.text = "Peaks and holes of the difference density, e/Å³\r\n\r\n";
  for (const char c : table.Aligned()) report.text += c == '\n' ? std::string("\r\n") : std::string(1, c);
  report.text += "\r\n" + report.basis + "\r\n";
  report.tables.push_back(std::move(table));
  return report;
}

}  // namespace

DataReport MakeDataReport(const Document& document, ReportKind kind) {
  if (document.CurrentFile.empty()) return {{}, "The structure has no file yet."};
  const std::string hkl = HklOf(document);
  if (kind == ReportKind::Voids) {
    const DataMask data = MaskFromData(document, hkl, {});
    if (StopWanted()) return {};
    return data.problem.empty() ? DataReport{VoidsReport(data), {}} : DataReport{{}, data.problem};
  }
  const DataDensity data = DensityFromData(document, hkl, MapKind::Difference, kListedPeaks);
  if (StopWanted()) return {};
  return data.map ? DataReport{PeaksReport(data, hkl), {}} : DataReport{{}, data.problem};
}

bool KeepDataReport(Workbench& bench, ReportKind kind, DataReport made) {
  if (!made.problem.empty()) Refuse(bench, kind == ReportKind::Voids ? "Solvent Mask" : kCaption, made.problem);
  if (!made.report) return false;
  DensityOf(bench).reports.insert_or_assign(
      kind, DensityState::KeptReport{std::move(*made.report), BaseNameOf(bench.document.CurrentFile), bench.changes});
  return true;
}

std::optional<Report> FindDataReport(Workbench& bench, ReportKind kind) {
  const auto find = [&]() -> std::optional<Report> {
    const auto& reports = DensityOf(bench).reports;
    const auto kept = reports.find(kind);
    if (kept == reports.end() || kept->second.base != BaseNameOf(bench.document.CurrentFile)) return std::nullopt;
    const bool isLate = kept->second.changes != bench.changes && !bench.hooks.inBackground;
    return isLate ? std::nullopt : std::optional(kept->second.report);
  };
  if (const auto kept = find(); kept || bench.hooks.inBackground) return kept;
  return KeepDataReport(bench, kind, MakeDataReport(bench.document, kind)) ? find() : std::nullopt;
}

}  // namespace marvik
