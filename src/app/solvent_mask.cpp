#include "app/solvent_mask.h"

#include <algorithm>

#include "app/beside.h"
#include "app/commands/command_handlers.h"
#include "app/density.h"
#include "base/numbers.h"

namespace marvik {
namespace {

constexpr char kCaption[] = "Solvent Mask";
constexpr double kReach = 1.5;  // Å from the places of a void, which its surface is not farther from

constexpr FieldRange kFields[] = {{"probe", "Probe", 0.2, 5.0},
                                  {"shrink", "Shrink", 0.0, 5.0},
                                  {"grid", "Grid", 0.05, 0.5},
                                  {"smallest", "Smallest void", 0.0, 1e6}};

}  // namespace

std::span<const FieldRange> MaskFields() {
  return kFields;
}

std::optional<MaskOptions> ParseMask(const EditArguments& arguments, EditFault& fault) {
  MaskOptions options;
  double* const values[] = {&options.probe, &options.shrink, &options.step, &options.smallest};
  fault = UnknownFieldFault(arguments, kFields);
  for (size_t i = 0; i < std::size(kFields) && !fault; ++i) {
    const std::string* text = arguments.Find(kFields[i].key);
    if (text) *values[i] = ReadFieldNumber(kFields[i], *text, fault).value_or(*values[i]);
  }
  if (!fault && !arguments.atoms.empty()) fault = NoSuchField(arguments.atoms, kFields);
  return fault ? std::nullopt : std::optional(options);
}

Report VoidsReport(const DataMask& data) {
  ReportTable table({"void", "x", "y", "z", "volume", "electrons", "extent"});
  int number = 0;
  for (const SolventVoid& one : data.mask.voids) {
    table.Integer(++number);
    for (int i = 0; i < 3; ++i) table.Number(one.centre[i], 3);
    table.Number(one.volume, 1);
    table.Number(one.electrons, 1);
    table.Text(one.endless ? "endless" : "closed");
  }
  Report report{ReportKind::Voids, "Voids", "Voids", {}, {}, {}, {}};
  report.basis = Printf("%.1f Å³ and %.1f electrons in the voids of the cell, R1 %.4f without and %.4f with them",
                        data.mask.volume, data.mask.electrons, data.r1Before, data.r1);
  report.text = "Voids of the cell, Å³ and electrons\r\n\r\n";
  for (const char c : table.Aligned()) report.text += c == '\n' ? std::string("\r\n") : std::string(1, c);
  report.text += "\r\n" + report.basis + "\r\n";
  for (const std::string& note : data.notes) report.text += note + "\r\n";
  report.tables.push_back(std::move(table));
  return report;
}

Outcome WithMask(Workbench& bench, const MaskOptions& options, const MaskTaker& then) {
  if (bench.document.CurrentFile.empty()) return Refuse(bench, kCaption, "The structure has no file yet.");
  const auto document = std::make_shared<const Document>(bench.document);
  return DoBeside(
      bench, "The voids are being looked for",
      [document, options] {
        return std::make_shared<const DataMask>(MaskFromData(*document, HklOf(*document), options));
      },
      [&bench, then, changes = bench.changes](const std::shared_ptr<const DataMask>& mask) {
        if (bench.changes != changes)
          return Refuse(bench, kCaption, "The structure has changed while its voids were looked for.");
        return mask->problem.empty() ? then(mask) : Refuse(bench, kCaption, mask->problem);
      });
}

void AddVoidNet(const SolventMask& mask, const OrthogonalisationMatrix& matrix, DensityNet& net) {
  // Every second point, which has the share of the points about it that lie in a void: surfaces become smooth.
  DensityMap map;
  for (size_t i = 0; i < 3; ++i) map.size[i] = mask.size[i] / 2;
  const auto inside = [&](size_t i, size_t j, size_t k) {
    const size_t at = (i % mask.size[0] * mask.size[1] + j % mask.size[1]) * mask.size[2] + k % mask.size[2];
    return mask.owner[at] != 0;
  };
  map.values.resize(map.size[0] * map.size[1] * map.size[2]);
  for (size_t at = 0; at < map.values.size(); ++at) {
    const size_t k = at % map.size[2], j = at / map.size[2] % map.size[1], i = at / map.size[2] / map.size[1];
    int full = 0;
    for (size_t n = 0; n < 27; ++n)
      full += inside(2 * i + n / 9 + mask.size[0] - 1, 2 * j + n / 3 % 3 + mask.size[1] - 1,
                     2 * k + n % 3 + mask.size[2] - 1);
    map.values[at] = static_cast<float>(full) / 27.0f;
  }
  std::vector<Cartesian> places;
  for (const SolventVoid& one : mask.voids)
    for (const Fractional& place : one.places) places.push_back(matrix * place);
  AddNet(map, matrix, places, kReach, 0.5, NetTone::Zero, net);
}

}  // namespace marvik
