#include "picture/picture_sheet.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "draw/canvas/pdf_canvas.h"
#include "draw/canvas/scanline_canvas.h"
#include "draw/canvas/svg_canvas.h"
#include "draw/labels/label_font.h"
#include "draw/view/best_view.h"
#include "picture/picture_drawing.h"

namespace marvik {
namespace {

constexpr double kA4Width = 595.28;  // points
constexpr double kA4Height = 841.89;
constexpr double kSheetType = 7.0;     // points
constexpr double kLine = 1.25;         // from a line of words to the next, sizes of its type
constexpr double kMargin = 1.0 / 24;   // of a page's width
constexpr double kGap = 0.02;          // between frames
constexpr double kHalfStereo = 3.0;    // degrees that each eye looks from its side
constexpr double kSmallestFrame = 16;  // device units

bool IsLight(const PictureOptions& options, bool lines) {
  return options.background == PictureBackground::White || options.background == PictureBackground::Transparent ||
         options.blackWhite || (lines && options.background == PictureBackground::Usual);
}

class FigureSheet : public PictureSheet {
 public:
  FigureSheet(const PictureOptions& options, const SheetPlan& plan, const std::string& format, const std::string& title)
      : PictureSheet(options, plan, IsLight(options, true)), file_(FindSansFontFile()), font_(plan.type, file_) {
    if (format == "svg") {
      canvas_ = std::make_unique<SvgCanvas>(plan.width, 0.0, plan.height, font_);
    } else {
      PdfPage page;
      page.width = plan.width;
      page.height = plan.height;
      page.title = title;
      page.eps = format == "eps";
      auto pdf = std::make_unique<PdfCanvas>(page, font_, file_);
      pdf_ = pdf.get();
      canvas_ = std::move(pdf);
    }
    Clear();
  }
  PictureBytes Finish() override { return canvas_->Finish(); }

 protected:
  bool Draw(PictureSubject& subject, CanvasPoint corner) override {
    PictureOptions frame = options_;
    frame.background = light_ ? PictureBackground::Transparent : PictureBackground::Black;
    canvas_->BeginFrame(corner, {plan_.side, plan_.frameHeight}, {0.0, options_.cutAbove * plan_.side});
    const bool drawn = DrawLines(subject, frame, plan_.side, *canvas_, renderer_);
    canvas_->EndFrame();
    return drawn;
  }
  void NewPage() override {
    if (pdf_) pdf_->NewPage();
    Clear();
  }
  Canvas& Words() override { return *canvas_; }

 private:
  void Clear() {
    if (options_.background != PictureBackground::Transparent)
      canvas_->Clear(light_ ? Rgb{255, 255, 255} : Rgb{0, 0, 0});
  }

  std::string file_;
  LabelFont font_;
  std::unique_ptr<FigureCanvas> canvas_;
  PdfCanvas* pdf_ = nullptr;
};

class PixelSheet : public PictureSheet {
 public:
  PixelSheet(const PictureOptions& options, const SheetPlan& plan, const PictureFormat& format)
      : PictureSheet(options, plan, IsLight(options, false)),
        format_(format),
        image_(static_cast<int>(plan.width), static_cast<int>(plan.height)),
        font_(plan.type / PointsPerPixel(options)),
        canvas_(image_, &font_) {
    if (options_.background == PictureBackground::Transparent && !options_.openGl)
      options_.background = PictureBackground::White;
    canvas_.Clear(light_ ? Rgb{255, 255, 255} : Rgb{0, 0, 0});
    options_.resolution = 72.0 / PointsPerPixel(options);
    options_.size = static_cast<int>(plan.side);
    resolution_ = options.resolution;
  }
  PictureBytes Finish() override {
    PictureOptions whole = options_;
    whole.resolution = resolution_;
    return format_.encode(image_, whole);
  }

 protected:
  bool Draw(PictureSubject& subject, CanvasPoint corner) override {
    const auto frame = DrawPixels(subject, options_, renderer_);
    if (!frame) return false;
    const int left = static_cast<int>(corner.x), top = static_cast<int>(corner.y);
    const int width = std::min(frame->width, image_.width - left);
    for (int y = 0; y < frame->height && top + y < image_.height; ++y)
      std::copy_n(&frame->pixels[static_cast<size_t>(y) * static_cast<size_t>(frame->width)], width,
                  &image_.At(left, top + y));
    return true;
  }
  void NewPage() override {}
  Canvas& Words() override { return canvas_; }

 private:
  const PictureFormat& format_;
  double resolution_ = 0.0;
  Image image_;
  LabelFont font_;
  ScanlineCanvas canvas_;
};

std::unique_ptr<PictureSheet> MakeSheet(const PictureOptions& options, const SheetPlan& plan, const std::string& format,
                                        const std::string& title) {
  const PictureFormat& known = *PictureFormatNamed(format);
  if (!known.encode) return std::make_unique<FigureSheet>(options, plan, format, title);
  return std::make_unique<PixelSheet>(options, plan, known);
}

bool IsOfLines(const std::string& format) {
  return !PictureFormatNamed(format)->encode;
}

// Pixels are whole.
double Whole(double v, bool lines) {
  return lines ? v : std::floor(v);
}

SheetPlan PlanOf(const PictureOptions& options, const std::string& format, size_t structures) {
  SheetPlan plan;
  const bool lines = IsOfLines(format);
  plan.paged = format == "pdf";
  plan.width = plan.paged ? kA4Width : lines ? VectorSide(options) : options.size;
  plan.columns = structures <= 1 ? 1 : structures <= 4 ? 2 : 3;
  plan.margin = Whole(kMargin * plan.width, lines);
  plan.gap = Whole(kGap * plan.width, lines);
  plan.type = kSheetType;
  plan.words = Whole(2.2 * kLine * plan.type / (lines ? 1.0 : PointsPerPixel(options)), lines);
  plan.side = plan.frameHeight =
      Whole((plan.width - 2.0 * plan.margin - (plan.columns - 1) * plan.gap) / plan.columns, lines);
  plan.columnGap = plan.gap;
  const double row = plan.frameHeight + plan.words + plan.gap;
  if (plan.paged) {
    plan.height = kA4Height;
    const double all = plan.height - 2.0 * plan.margin + plan.gap;
    plan.rows = std::max(1, static_cast<int>(std::lround(all / row)));
    plan.side = plan.frameHeight = std::min(plan.side, all / plan.rows - plan.words - plan.gap);
    if (plan.columns > 1)
      plan.columnGap = (plan.width - 2.0 * plan.margin - plan.columns * plan.side) / (plan.columns - 1);
  } else {
    plan.rows = (static_cast<int>(structures) + plan.columns - 1) / plan.columns;
    plan.height = plan.rows * row - plan.gap + 2.0 * plan.margin;
  }
  return plan;
}

struct Frame {
  ViewState view;
  std::string words;
  // Both eyes are to see a label at one place: those of the frame before stay with their atoms.
  bool leads = false;
  bool follows = false;
};

void Show(const Frame& frame, PictureSubject& subject) {
  subject.view = frame.view;
  subject.look.steadyLabels = frame.leads;
  subject.look.carriedLabels = frame.follows;
}

std::vector<Frame> FramesOf(const PictureSubject& subject, PictureFrames kind) {
  std::vector<Frame> frames;
  if (kind == PictureFrames::Stereo) {
    for (const double angle : {kHalfStereo, -kHalfStereo}) {
      frames.push_back({subject.view, ""});
      frames.back().view.RotateView(angle, {0, 1, 0}, true);
      frames.back().leads = frames.size() == 1;
      frames.back().follows = frames.size() > 1;
    }
    return frames;
  }
  double radius = 0.0;
  for (int axis = 0; axis < 3; ++axis) {
    Frame frame{subject.view, std::string("along ") + "abc"[axis]};
    // The next axis to the right, the third upwards.
    Fractional toward, up;
    toward[axis] = up[(axis + 2) % 3] = 1.0;
    LookAlong(frame.view, subject.document.matrix * toward, subject.document.matrix * up);
    FitFrame(frame.view, subject.document, subject.look);
    radius = std::max(radius, frame.view.viewRadius);
    frames.push_back(frame);
  }
  for (Frame& frame : frames) frame.view.FitView(radius, std::nullopt);
  return frames;
}

// The rows in which any of the frames has something. False after a message.
bool FindCommonContent(PictureSubject& subject, const std::vector<Frame>& frames, bool lines, double side,
                       PictureOptions& options) {
  InteractiveRenderer renderer;
  double first = 1.0, last = 0.0;
  for (const Frame& frame : frames) {
    PictureOptions own = options;
    Show(frame, subject);
    if (!FindContent(subject, lines, side, own, renderer)) return false;
    first = std::min(first, own.cutAbove);
    last = std::max(last, own.cutAbove + own.kept);
  }
  options.cutAbove = first;
  options.kept = last - first;
  return true;
}

}  // namespace

PictureBackground BackgroundOfPage(const PictureOptions& options, Look look) {
  const bool usual = options.background == PictureBackground::Usual && !options.openGl;
  return usual && ColoursOf(look, false).light ? PictureBackground::White : options.background;
}

std::unique_ptr<PictureSheet> PictureSheet::Make(const PictureOptions& options, const std::string& format,
                                                 size_t structures, UserMessages& messages) {
  const PictureFormat* known = PossibleFormat(messages, options, format);
  if (!known) return nullptr;
  if (structures > kMostOnOnePage && format != "pdf") {
    RefusePicture(messages, "A sheet of more than " + std::to_string(kMostOnOnePage) +
                                " structures has pages, as .pdf files have, not ." + format + ".");
    return nullptr;
  }
  PictureOptions frame = options;
  if (options.background == PictureBackground::Transparent && !known->transparent)
    frame.background = PictureBackground::White;
  frame.trim = false;
  frame.frames = PictureFrames::One;
  const SheetPlan plan = PlanOf(frame, format, structures);
  if (plan.side >= kSmallestFrame && plan.height <= 2.0 * kLargestPicture) return MakeSheet(frame, plan, format, "");
  RefusePicture(messages, PictureSizeRule());
  return nullptr;
}

CanvasPoint PictureSheet::NextCorner() {
  if (next_ == plan_.columns * plan_.rows) {
    NewPage();
    next_ = 0;
  }
  const int column = next_ % plan_.columns, row = next_ / plan_.columns;
  ++next_;
  return {plan_.margin + column * (plan_.side + plan_.columnGap),
          plan_.margin + row * (plan_.frameHeight + plan_.words + plan_.gap)};
}

std::string PictureSheet::Fitting(std::string text) {
  constexpr char kMore[] = "...";
  if (Words().TextSize(text).x <= plan_.side) return text;
  while (!text.empty() && Words().TextSize(text + kMore).x > plan_.side) {
    while (!text.empty() && (static_cast<unsigned char>(text.back()) & 0xC0) == 0x80) text.pop_back();
    if (!text.empty()) text.pop_back();
  }
  return text + kMore;
}

void PictureSheet::Write(CanvasPoint corner, const std::string& first, const std::string& second) {
  double y = corner.y + plan_.frameHeight;
  for (const std::string& line : {first, second}) {
    const double height = Words().TextSize("X").y;
    const CanvasPoint middle{corner.x + plan_.side / 2.0, y + height * 0.6};
    if (!line.empty()) Words().Text(middle, TextAnchor::Centre, Fitting(line), Ink());
    y += height * 1.05;
  }
}

bool PictureSheet::Add(PictureSubject& subject, const std::string& name, const std::string& figure) {
  const CanvasPoint corner = NextCorner();
  subject.look.labelPoints = plan_.type;
  const bool drawn = Draw(subject, corner);
  Write(corner, name, figure);
  return drawn;
}

void PictureSheet::AddSentence(const std::string& name, const std::string& sentence) {
  const CanvasPoint corner = NextCorner();
  std::vector<std::string> lines;
  std::string line;
  for (size_t at = 0; at < sentence.size();) {
    const size_t end = std::min(sentence.find(' ', at), sentence.size());
    const std::string word = sentence.substr(at, end - at);
    const std::string longer = line.empty() ? word : line + " " + word;
    if (line.empty() || Words().TextSize(longer).x < 0.9 * plan_.side) {
      line = longer;
    } else {
      lines.push_back(std::exchange(line, word));
    }
    at = end + 1;
  }
  lines.push_back(line);
  const double height = kLine * Words().TextSize("X").y;
  const auto most = static_cast<size_t>(std::max(1.0, plan_.frameHeight / height));
  lines.resize(std::min(lines.size(), most));
  double y = corner.y + plan_.frameHeight / 2.0 - height * static_cast<double>(lines.size() - 1) / 2.0;
  for (const std::string& each : lines) {
    Words().Text({corner.x + plan_.side / 2.0, y}, TextAnchor::Centre, Fitting(each), Ink());
    y += height;
  }
  const std::array<CanvasPoint, 5> edge{{corner,
                                         {corner.x + plan_.side, corner.y},
                                         {corner.x + plan_.side, corner.y + plan_.frameHeight},
                                         {corner.x, corner.y + plan_.frameHeight},
                                         corner}};
  Words().Polyline(edge, {Ink(), 0.5, LineStyle::Solid});
  Write(corner, name, "");
}

PictureBytes DrawFrames(PictureSubject& subject, const PictureOptions& options, const std::string& format) {
  const bool lines = IsOfLines(format);
  const ViewState before = subject.view;
  const std::vector<Frame> frames = FramesOf(subject, options.frames);
  PictureOptions frame = options;
  frame.background = BackgroundOfPage(options, subject.look.look);
  frame.frames = PictureFrames::One;
  frame.labelReport.clear();
  SheetPlan plan;
  plan.width = lines ? VectorSide(options) : options.size;
  plan.columns = static_cast<int>(frames.size());
  plan.columnGap = Whole(kGap * plan.width, lines);
  plan.side = Whole((plan.width - (plan.columns - 1) * plan.columnGap) / plan.columns, lines);
  if (plan.side < kSmallestFrame) return RefusePicture(subject.messages, PictureSizeRule());
  PictureOptions ofSide = frame;
  ofSide.size = std::max(kSmallestPicture, static_cast<int>(options.size * plan.side / plan.width));
  ofSide.resolution = lines ? options.resolution : 72.0 / PointsPerPixel(options);
  subject.look.labelPoints = plan.type;
  bool good = !options.trim || FindCommonContent(subject, frames, lines, plan.side, ofSide);
  frame.cutAbove = ofSide.cutAbove;
  frame.kept = ofSide.kept;
  plan.frameHeight = lines ? frame.kept * plan.side : frame.Rows(static_cast<int>(plan.side));
  if (!frames[0].words.empty())
    plan.words = Whole(1.3 * kLine * plan.type / (lines ? 1.0 : PointsPerPixel(options)), lines);
  plan.height = std::max(plan.frameHeight + plan.words, 1.0);
  auto sheet = good ? MakeSheet(frame, plan, format, subject.title) : nullptr;
  for (size_t i = 0; good && i < frames.size(); ++i) {
    Show(frames[i], subject);
    good = sheet->Add(subject, frames[i].words, "");
  }
  subject.view = before;
  if (!good) return {};
  if (auto bytes = sheet->Finish()) return bytes;
  return RefusePicture(subject.messages, kNoMemoryForPicture);
}

}  // namespace marvik
