#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "draw/canvas/image.h"
#include "draw/renderer/interactive_renderer.h"
#include "gl/gl_settings.h"

namespace marvik {

class GlContext;

// Makes a rendering context current; without one the text tells why.
using GlContextMaker = std::function<std::unique_ptr<GlContext>(std::string& error)>;

// Why a wire frame or pipes cannot be drawn.
inline constexpr char kInvalidDisplayCaption[] = "Invalid Display Choice";
inline constexpr char kInvalidDisplayText[] =
    "OpenGL structure display is currently implemented only for\nBall and Stick models and Thermal Ellipsoid models.";

struct GlPictureOptions {
  int mode = kBallAndStick;  // a DisplayMode; only balls and ellipsoids can be drawn
  bool colour = true;        // false: black and white with hatch textures
  bool antiAlias = true;
  bool printing = false;  // for paper and files: white behind the model whatever the settings say
  bool labels = true;
  bool hydrogenLabels = true;
  bool hybridLabelColoration = false;
  bool showCell = false;
  std::shared_ptr<const DensityNet> net{};  // as in RenderOptions
  std::shared_ptr<const std::vector<DrawnContact>> contacts{};
  std::shared_ptr<const FigureMarks> marks{};
  FigureChoices figure;
  bool safeColours = false;
  Look look = Look::Classic;  // which says how large hydrogens and peaks are
  LabelForm labelForm = LabelForm::Plain;
  double thinLine = 0.0;     // pixels; 0: by the size
  double probability = 0.5;  // of thermal ellipsoids
  int labelPointSize = 8;    // see ProperPointSize
  bool transparent = false;  // nothing behind the model: pixels carry their cover in the top byte
  bool direct = false;       // every layer is drawn by itself: slow, the reference for the quick way; never transparent
  OpenGlSettings settings;   // of a default font path: DefaultOpenGlSettings
  GlContextMaker makeContext;  // empty: a context without a window
};

// What drawing gave. Without an image, `error` says why, under `caption` where that is not empty.
struct GlPicture {
  std::optional<Image> image;
  bool complete = false;  // false: stopped on the way, the image holds what was drawn until then
  std::string caption;
  std::string error;
};

// The largest side of a picture, pixels.
inline constexpr int kLargestGlPicture = 32000;

// Draws what the view shows of the document, in a square of `size` pixels: the pan, which the view counts in pixels of
// its own drawing area, is scaled with the size. Atoms come back as they went in. `keepGoing` is asked, and `progress`
// told, before each atom; both may be empty.
GlPicture RenderGlPicture(Document& document, const ViewState& view, int size, const GlPictureOptions& options,
                          const KeepGoing& keepGoing, const std::function<void(int done, int total)>& progress);

// The side of the picture decides the size of its labels, in points: 8 below 601 pixels, above the first whose em is at
// least a 60th of the side. 8 where the font cannot be opened.
int ProperPointSize(const std::string& fontFile, int bitmapSize);

}  // namespace marvik
