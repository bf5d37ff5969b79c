#include "app/picture/picture_output.h"

#include "base/atomic_write.h"

namespace marvik {

PictureSubject SubjectOf(Workbench& bench) {
  const auto openGl = [&bench]() -> const OpenGlSettings& { return bench.GlSettings(); };
  return {bench.document, bench.view, bench.ScreenOptions(), bench.Title(), openGl, bench.messages, bench.hooks.goOn};
}

namespace {

bool WriteBytes(Workbench& bench, const std::optional<std::string>& bytes, const std::string& path) {
  if (!bytes) return false;
  const StageClock clock(bench.seconds.write);
  const int error = WriteDerivedFile(path, *bytes);
  if (error == 0) return true;
  bench.messages.Show({MessageIcon::Warning, "Error: File I/O", WriteFault(path, error)});
  return false;
}

}  // namespace

std::optional<std::string> DrawPicture(Workbench& bench, const PictureOptions& options, const std::string& format) {
  const StageClock clock(bench.seconds.draw);
  PictureSubject subject = SubjectOf(bench);
  return DrawPicture(subject, options, format);
}

bool WritePicture(Workbench& bench, const PictureOptions& options, const std::string& path, const std::string& format) {
  return WriteBytes(bench, DrawPicture(bench, options, format.empty() ? LowerExtensionOf(path) : format), path);
}

bool WriteSwing(Workbench& bench, const std::shared_ptr<const Document>& other, const PictureOptions& options,
                const std::string& path) {
  PictureSubject subject = SubjectOf(bench);
  subject.swingFrom = other;
  return WriteBytes(bench, DrawPicture(subject, options, LowerExtensionOf(path)), path);
}

PictureStyle StyleOf(const Workbench& bench) {
  return {bench.ScreenOptions(), bench.pictureFile};
}

void ApplyStyle(Workbench& bench, const PictureStyle& style) {
  const bool fitted = bench.ViewIsFitted();
  const RenderOptions& look = style.look;
  if (look.look != bench.look) bench.lookFollowsDesktop = false;
  bench.SetLook(look.look);
  bench.RenditionMode = look.mode;
  bench.SafeColours = look.safeColours;
  bench.LabelsOn = look.labels;
  bench.HydrogenLabelsOn = look.hydrogenLabels;
  bench.HybridLabelColoration = look.hybridLabelColoration;
  bench.ShowCell = look.showCell;
  bench.pictures.probability = look.probability;
  bench.figure = look.figure;
  bench.labelPoints = look.labelPoints;
  bench.labelForm = look.labelForm;
  bench.pictureFile = style.picture;
  if (fitted) bench.FitView();
}

PictureRecipe RecipeOf(Workbench& bench) {
  return RecipeOf(SubjectOf(bench), bench.pictureFile);
}

std::vector<std::string> ApplyRecipe(Workbench& bench, const PictureRecipe& recipe) {
  bench.ResetViewToModel();
  PictureSubject subject = SubjectOf(bench);
  auto gone = ShowAsRecipe(recipe, subject);
  bench.uniqHistory.clear();
  bench.view = subject.view;
  bench.RenditionMode = subject.look.mode;
  bench.LabelsOn = subject.look.labels;
  bench.HydrogenLabelsOn = subject.look.hydrogenLabels;
  bench.HybridLabelColoration = subject.look.hybridLabelColoration;
  bench.ShowCell = subject.look.showCell;
  bench.pictures.probability = subject.look.probability;
  bench.figure = subject.look.figure;
  bench.pictureFile = recipe.picture;
  return gone;
}

}  // namespace marvik
