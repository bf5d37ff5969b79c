#include "draw/canvas/pdf_canvas.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <ft2build.h>
#include FT_FREETYPE_H
#include <numbers>

#include "draw/canvas/cairo_calls.h"

namespace marvik {

namespace {

constexpr double kFarthest = 1e6;  // device units; what is not finite is drawn at the origin

double Place(double v) {
  return std::isfinite(v) ? std::clamp(v, -kFarthest, kFarthest) : 0.0;
}

cairo_status_t Append(void* to, const unsigned char* data, unsigned length) {
  try {
    static_cast<std::string*>(to)->append(reinterpret_cast<const char*>(data), length);
  } catch (const std::bad_alloc&) {
    return CAIRO_STATUS_NO_MEMORY;
  }
  return CAIRO_STATUS_SUCCESS;
}

// A face that lives as long as cairo keeps it.
struct FontFile {
  FT_Library library = nullptr;
  FT_Face face = nullptr;

  static void Free(void* data) {
    auto* file = static_cast<FontFile*>(data);
    if (file->face) FT_Done_Face(file->face);
    if (file->library) FT_Done_FreeType(file->library);
    delete file;
  }
};

cairo_font_face_t* MakeFace(const std::string& path) {
  auto* file = new FontFile;
  const bool open = !path.empty() && FT_Init_FreeType(&file->library) == 0 &&
                    FT_New_Face(file->library, path.c_str(), 0, &file->face) == 0 && FT_IS_SCALABLE(file->face);
  if (open) {
    static const cairo_user_data_key_t key{};
    cairo_font_face_t* face = cairo_ft_font_face_create_for_ft_face(file->face, FT_LOAD_NO_HINTING);
    if (cairo_font_face_set_user_data(face, &key, file, FontFile::Free) == CAIRO_STATUS_SUCCESS) return face;
    cairo_font_face_destroy(face);
  }
  FontFile::Free(file);
  return cairo_toy_font_face_create("sans-serif", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
}

// Labels are bytes of a file: what is no UTF-8 becomes "?", control characters are left out.
std::string Printable(std::string_view text) {
  std::string s;
  while (!text.empty()) {
    const std::string_view before = text;
    const char32_t c = TakeCharacter(text);
    if (c == U'?') {
      s += '?';
    } else if (c >= 0x20) {
      s += before.substr(0, before.size() - text.size());
    }
  }
  return s;
}

cairo_surface_t* PdfSurface(const PdfPage& page, std::string& bytes) {
  cairo_surface_t* surface = cairo_pdf_surface_create_for_stream(Append, &bytes, page.width, page.height);
  cairo_pdf_surface_restrict_to_version(surface, CAIRO_PDF_VERSION_1_5);
  if (!page.title.empty())
    cairo_pdf_surface_set_metadata(surface, CAIRO_PDF_METADATA_TITLE, Printable(page.title).c_str());
  // The time of day would make every file another.
  cairo_pdf_surface_set_metadata(surface, CAIRO_PDF_METADATA_CREATE_DATE, nullptr);
  return surface;
}

cairo_surface_t* EpsSurface(const PdfPage& page, std::string& bytes) {
  constexpr size_t kLongestComment = 200;  // the format has 255 characters a line
  cairo_surface_t* surface = cairo_ps_surface_create_for_stream(Append, &bytes, page.width, page.height);
  cairo_ps_surface_set_eps(surface, true);
  if (!page.title.empty())
    cairo_ps_surface_dsc_comment(surface, ("%%Title: " + Printable(page.title).substr(0, kLongestComment)).c_str());
  return surface;
}

// In EPS there is no call that leaves the time of day out.
void DropCreationDate(std::string& bytes) {
  const size_t at = bytes.starts_with("%!PS") ? bytes.find("%%CreationDate:") : bytes.npos;
  if (at != bytes.npos) bytes.erase(at, bytes.find('\n', at) - at + 1);
}

}  // namespace

struct PdfCanvas::State {
  std::string bytes;
  cairo_surface_t* surface = nullptr;
  cairo_t* cairo = nullptr;
  double thinnest = 0.5;  // device units

  ~State() {
    cairo_destroy(cairo);
    cairo_surface_destroy(surface);
  }
};

bool PdfCanvas::IsThere() {
  return LoadCairoCalls();
}

PdfCanvas::PdfCanvas(const PdfPage& page, LabelFont& font, const std::string& fontFile)
    : state_(std::make_unique<State>()), font_(font) {
  const double unit = page.unit > 0.0 ? page.unit : 1.0;
  state_->thinnest = page.thinnest / unit;
  state_->surface = page.eps ? EpsSurface(page, state_->bytes) : PdfSurface(page, state_->bytes);
  cairo_t* cairo = state_->cairo = cairo_create(state_->surface);
  cairo_set_line_cap(cairo, CAIRO_LINE_CAP_ROUND);
  cairo_set_line_join(cairo, CAIRO_LINE_JOIN_ROUND);
  cairo_scale(cairo, unit, unit);
  cairo_translate(cairo, -page.corner.x, -page.corner.y);
  cairo_font_face_t* face = MakeFace(fontFile);
  cairo_set_font_face(cairo, face);
  cairo_font_face_destroy(face);
  cairo_font_options_t* options = cairo_font_options_create();
  cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_NONE);
  cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
  cairo_set_font_options(cairo, options);
  cairo_font_options_destroy(options);
  cairo_set_font_size(cairo, font.Pixels());
}

PdfCanvas::~PdfCanvas() = default;

void PdfCanvas::SetColour(Rgb c) {
  cairo_set_source_rgb(state_->cairo, c.r / 255.0, c.g / 255.0, c.b / 255.0);
}

void PdfCanvas::Stroke(const Pen& pen) {
  cairo_t* cairo = state_->cairo;
  if (!(pen.width > 0.0)) return cairo_new_path(cairo);
  const double width = std::max(Place(pen.width), state_->thinnest);
  SetColour(pen.colour);
  cairo_set_line_width(cairo, width);
  const std::array<double, 2> dashes =
      pen.style == LineStyle::Dashed ? std::array{3 * width, 2 * width} : std::array{0.0, 2 * width};
  cairo_set_dash(cairo, dashes.data(), pen.style == LineStyle::Solid ? 0 : 2, 0.0);
  cairo_stroke(cairo);
}

void PdfCanvas::Fill(Rgb fill, const Pen& outline) {
  SetColour(fill);
  cairo_fill_preserve(state_->cairo);
  Stroke(outline);
}

void PdfCanvas::Path(std::span<const CanvasPoint> points) {
  for (const CanvasPoint& p : points) cairo_line_to(state_->cairo, Place(p.x), Place(p.y));
}

// A circle's arc under the map that takes it to the ellipse. A map that flattens it would spoil the drawing for good.
void PdfCanvas::ArcPath(const EllipseShape& shape, double t0, double t1) {
  cairo_t* cairo = state_->cairo;
  const cairo_matrix_t map{Place(shape.p.x), Place(shape.p.y),      Place(shape.q.x),
                           Place(shape.q.y), Place(shape.centre.x), Place(shape.centre.y)};
  if (std::abs(map.xx * map.yy - map.xy * map.yx) < 1e-9) {
    Path(std::array{PointOn(shape, t0), PointOn(shape, (t0 + t1) / 2), PointOn(shape, t1)});
    return;
  }
  cairo_matrix_t before;
  cairo_get_matrix(cairo, &before);
  cairo_transform(cairo, &map);
  cairo_arc(cairo, 0.0, 0.0, 1.0, t0, t1);
  cairo_set_matrix(cairo, &before);
}

void PdfCanvas::Clear(Rgb colour) {
  SetColour(colour);
  cairo_paint(state_->cairo);
}

void PdfCanvas::Lines(std::span<const LinePiece> pieces, const Pen& pen) {
  ScaledLines(pieces, 1.0, pen);
}

void PdfCanvas::ScaledLines(std::span<const LinePiece> pieces, double scale, const Pen& pen) {
  if (pieces.empty()) return;
  for (const LinePiece& p : pieces) {
    cairo_move_to(state_->cairo, p.x1 * scale, p.y1 * scale);
    cairo_line_to(state_->cairo, p.x2 * scale, p.y2 * scale);
  }
  Stroke(pen);
}

void PdfCanvas::Line(CanvasPoint a, CanvasPoint b, const Pen& pen) {
  Polyline(std::array{a, b}, pen);
}

void PdfCanvas::FillEllipse(const EllipseShape& shape, Rgb fill, const Pen& outline) {
  ArcPath(shape, 0.0, 2.0 * std::numbers::pi);
  cairo_close_path(state_->cairo);
  Fill(fill, outline);
}

void PdfCanvas::Arc(const EllipseShape& shape, double t0, double t1, const Pen& pen) {
  ArcPath(shape, t0, std::min(t1, t0 + 2.0 * std::numbers::pi));
  Stroke(pen);
}

void PdfCanvas::FillSector(const EllipseShape& shape, double t0, double t1, Rgb fill) {
  Path(std::array{shape.centre});
  ArcPath(shape, t0, t1);
  cairo_close_path(state_->cairo);
  Fill(fill, Pen{fill, 0.0, LineStyle::Solid});
}

void PdfCanvas::Polygon(std::span<const CanvasPoint> points, Rgb fill, const Pen& outline) {
  Path(points);
  cairo_close_path(state_->cairo);
  Fill(fill, outline);
}

void PdfCanvas::Facet(std::span<const CanvasPoint> points, Rgb fill, double opacity, const Pen& outline) {
  Path(points);
  cairo_close_path(state_->cairo);
  cairo_set_source_rgba(state_->cairo, fill.r / 255.0, fill.g / 255.0, fill.b / 255.0, opacity);
  cairo_fill_preserve(state_->cairo);
  Stroke(outline);
}

void PdfCanvas::Polyline(std::span<const CanvasPoint> points, const Pen& pen) {
  Path(points);
  Stroke(pen);
}

void PdfCanvas::Text(CanvasPoint at, TextAnchor anchor, std::string_view text, const TextLook& look) {
  cairo_t* cairo = state_->cairo;
  const bool centred = anchor == TextAnchor::Centre;
  const double x = Place(centred ? at.x - font_.Width(text, look.shift) / 2 : at.x);
  // The base line stands above the bottom of the text box by the font's descent.
  const double y = Place(centred ? at.y + (font_.Ascent() - font_.Descent()) / 2 : at.y - font_.Descent());
  const auto each = [&](auto draw) {
    double pen = x;
    for (const TextRun& run : RunsOf(text, look.shift)) {
      if (run.text.empty()) continue;
      cairo_set_font_size(cairo, (run.shifted ? kShiftedSize : 1.0) * font_.Pixels());
      cairo_move_to(cairo, pen, y + run.down * font_.Pixels());
      draw(Printable(run.text).c_str());
      pen += font_.WidthOf(run);
    }
    cairo_set_font_size(cairo, font_.Pixels());
  };
  if (look.rim > 0.0) {
    each([&](const char* run) { cairo_text_path(cairo, run); });
    SetColour(look.rimColour);
    cairo_set_line_width(cairo, 2.0 * look.rim);
    cairo_set_dash(cairo, nullptr, 0, 0.0);
    cairo_stroke(cairo);
  }
  SetColour(look.colour);
  each([&](const char* run) { cairo_show_text(cairo, run); });
  cairo_new_path(cairo);
}

CanvasPoint PdfCanvas::TextSize(std::string_view text, const TextShift& shift) {
  return {font_.Width(text, shift), font_.Ascent() + font_.Descent()};
}

void PdfCanvas::BeginFrame(CanvasPoint corner, CanvasPoint size, CanvasPoint origin) {
  cairo_t* cairo = state_->cairo;
  cairo_save(cairo);
  cairo_rectangle(cairo, Place(corner.x), Place(corner.y), Place(size.x), Place(size.y));
  cairo_clip(cairo);
  cairo_translate(cairo, Place(corner.x - origin.x), Place(corner.y - origin.y));
}

void PdfCanvas::EndFrame() {
  cairo_restore(state_->cairo);
}

void PdfCanvas::NewPage() {
  cairo_show_page(state_->cairo);
}

std::optional<std::string> PdfCanvas::Finish() {
  const bool drawn = cairo_status(state_->cairo) == CAIRO_STATUS_SUCCESS;
  cairo_surface_finish(state_->surface);
  if (!drawn || cairo_surface_status(state_->surface) != CAIRO_STATUS_SUCCESS) return std::nullopt;
  DropCreationDate(state_->bytes);
  return std::move(state_->bytes);
}

}  // namespace marvik
