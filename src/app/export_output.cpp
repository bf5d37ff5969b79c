#include "app/export_output.h"

#include <algorithm>

#include "app/commands/gl_commands.h"
#include "base/files.h"
#include "draw/surface/lit_picture.h"
#include "files/export/conquest_query.h"
#include "files/export/gltf.h"
#include "files/export/text_exports.h"
#include "files/export/vrml.h"

namespace marvik {
namespace {

using Bytes = std::optional<std::string>;

SceneOptions OptionsOf(const Workbench& bench) {
  const RenderOptions screen = bench.ScreenOptions();
  SceneOptions options;
  options.ellipsoids = FlatRendition(bench.document, screen.mode) == kThermalEllipsoid;
  options.probability = screen.probability;
  options.labels = screen.labels;
  options.hydrogenLabels = screen.hydrogenLabels;
  options.view = ViewOfScene(bench.view);
  return options;
}

Bytes Pdb(Workbench& bench, const std::string& fileName) {
  return ComposePdb(bench.document, fileName, bench.messages);
}

Bytes ConnectionTable(Workbench& bench, const std::string&) {
  return ComposeConnectionTable(bench.document, bench.messages);
}

Bytes AtomsInput(Workbench& bench, const std::string&) {
  return ComposeAtomsInput(bench.document, bench.messages);
}

Bytes Vrml(Workbench& bench, const std::string&) {
  if (IsOpenGlRendition(bench)) return ComposeVrml(bench.document, OptionsOf(bench), bench.messages);
  bench.messages.Show({MessageIcon::Warning, "Invalid Display Choice",
                       "VRML structure display is currently implemented only for\n"
                       "Ball and Stick models and Thermal Ellipsoid models."});
  return {};
}

Bytes ConQuestQuery(Workbench& bench, const std::string&) {
  return ComposeConQuestQuery(bench.document, bench.messages);
}

Bytes Glb(Workbench& bench, const std::string&) {
  return ComposeGlb(bench.document, OptionsOf(bench), bench.messages);
}

struct ExportKind {
  const char* extension;
  Bytes (*compose)(Workbench&, const std::string&);
};
constexpr ExportKind kExports[] = {{"pdb", Pdb},  {"ct", ConnectionTable}, {"inp", AtomsInput},
                                   {"wrl", Vrml}, {"con", ConQuestQuery},  {"glb", Glb}};

}  // namespace

bool IsExportFormat(const std::string& format) {
  return std::ranges::find(kExports, format, &ExportKind::extension) != std::end(kExports);
}

Bytes ComposeExport(Workbench& bench, const std::string& format, const std::string& fileName) {
  const auto kind = std::ranges::find(kExports, format, &ExportKind::extension);
  return kind == std::end(kExports) ? Bytes() : kind->compose(bench, fileName);
}

bool WriteExportFile(Workbench& bench, const std::string& path, const std::string& format) {
  const StageClock clock(bench.seconds.write);
  if (!WriteExport(path, ComposeExport(bench, format, FileNameOf(path)), bench.messages)) return false;
  if (format == "con" && bench.hooks.startConQuest) bench.hooks.startConQuest(path);
  return true;
}

// The view's matrix takes the program's frame, mirrored in Z, to a picture half the size 1 and mirrored once more, so
// that with Z as it is exported a proper rotation is left.
SceneView ViewOfScene(const ViewState& view) {
  SceneView scene;
  scene.halfExtent = view.halfExtent;
  for (size_t i = 0; i < 3; ++i)
    for (size_t j = 0; j < 3; ++j)
      scene.rotation[static_cast<int>(i)][j] = view.halfExtent * view.combined[i][j] * (j == 2 ? -1.0 : 1.0);
  const double perPixel = view.drawingSize > 0.0 ? 2.0 * view.halfExtent / view.drawingSize : 0.0;
  // A picture moved to the right and down is seen from further left and up.
  const ScenePoint moved{-view.panX * perPixel, view.panY * perPixel, 0.0};
  scene.centre = SceneFrame(view.viewCentre) + Transposed(scene.rotation) * moved;
  return scene;
}

}  // namespace marvik
