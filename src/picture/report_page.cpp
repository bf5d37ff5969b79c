#include "picture/report_page.h"

#include <algorithm>
#include <vector>

#include "base/numbers.h"
#include "base/words.h"
#include "draw/canvas/pdf_canvas.h"
#include "draw/labels/label_font.h"
#include "picture/gl_output.h"
#include "picture/view_page.h"

namespace marvik {
namespace {

// Points.
constexpr double kWidth = 595.28;
constexpr double kHeight = 841.89;
constexpr double kMargin = 42.0;
constexpr double kFigure = 205.0;
constexpr double kLargest = 9.5;
constexpr double kSmallest = 6.0;
constexpr double kStep = 0.25;
// In sizes of the type.
constexpr double kLeading = 1.3;
constexpr double kGap = 0.6;
constexpr double kBetweenColumns = 1.2;
constexpr double kWidestColumn = 0.38;  // of a table, as a share of the width, but for the last
constexpr Rgb kInk{0x1A, 0x1A, 0x1A};
constexpr Rgb kRule{0x99, 0x99, 0x99};
// The square in which DrawPage draws, its units.
constexpr CanvasPoint kSquareCorner{-419.0, 3556.0};
constexpr double kSquareSide = 20320.0;

constexpr std::string_view kBar = "\xCC\x84";

struct Run {
  enum Kind { Plain, Raised, Lowered } kind = Plain;
  bool bold = false;
  std::string text;
};
TextShift ShiftOf(const Run& run) {
  TextShift shift;
  if (run.kind == Run::Lowered) shift.lowered = 0;
  if (run.kind == Run::Raised) shift.raised = 0;
  return shift;
}
// Words and the blanks between them are runs of their own, where lines may break.
using Runs = std::vector<Run>;

Runs RunsOf(std::string_view text, bool bold) {
  Runs runs;
  Run::Kind kind = Run::Plain;
  bool strong = bold, glued = false;
  const auto add = [&](char c) {
    const bool breaks = c == ' ' || (!runs.empty() && runs.back().text == " ");
    if (runs.empty() || breaks || runs.back().kind != kind || runs.back().bold != strong || glued)
      runs.push_back({kind, strong, {}});
    glued = false;
    runs.back().text += c;
  };
  for (size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '\\' && i + 1 < text.size()) {
      add(text[++i]);
    } else if (text.substr(i + 1, kBar.size()) == kBar) {
      // Inversion axes: many faces have no bar over a digit.
      add('-');
      add(c);
      i += kBar.size();
    } else if (text.substr(i, 2) == "**") {
      strong = bold || !strong;
      ++i;
    } else if (c == '^' || c == '~') {
      const Run::Kind marked = c == '^' ? Run::Raised : Run::Lowered;
      kind = kind == marked ? Run::Plain : marked;
    } else if (c != '\r') {
      add(c == '\t' ? ' ' : c);
    }
  }
  return runs;
}

std::vector<std::string> CellsOf(std::string_view row) {
  std::vector<std::string> cells;
  std::string cell;
  for (size_t i = 1; i < row.size(); ++i) {
    if (row[i] == '\\' && i + 1 < row.size()) {
      cell += row[i];
      cell += row[++i];
    } else if (row[i] == '|') {
      cells.emplace_back(Trimmed(cell));
      cell.clear();
    } else {
      cell += row[i];
    }
  }
  return cells;
}

// Sets the text at a size of type; draws where there is a canvas, else measures.
class Setter {
 public:
  Setter(LabelFont& font, double size, bool figure, Canvas* canvas, double unit, CanvasPoint corner)
      : font_(font), size_(size), canvas_(canvas), unit_(unit), corner_(corner) {
    if (figure) figureEnd_ = kMargin + kFigure + kGap * size;
  }

  // Where the text ends, points from the page's top. Lines beyond `bottom` are counted, not set.
  double Set(std::string_view text, double bottom) {
    bottom_ = bottom;
    std::vector<std::vector<std::string>> table;
    bool gap = false;
    while (!text.empty()) {
      const size_t end = std::min(text.find('\n'), text.size());
      const std::string_view line = Trimmed(text.substr(0, end), " \t\r");
      text.remove_prefix(std::min(end + 1, text.size()));
      const bool row = line.starts_with('|');
      if (!row) SetTable(table);
      if (line.empty()) gap = true;
      if (line.empty() || line.starts_with("![")) continue;
      if (gap && table.empty()) y_ += kGap * size_;
      gap = false;
      if (row) {
        if (line.find_first_not_of("|-: ") != line.npos) table.push_back(CellsOf(line));
      } else if (line.starts_with('#')) {
        SetHeading(Trimmed(line, "# "));
      } else {
        SetRuns(RunsOf(line, false), kMargin, Right() - kMargin);
      }
    }
    SetTable(table);
    return y_;
  }
  int LeftOut() const { return leftOut_; }

 private:
  double Right() const { return kWidth - kMargin - (y_ < figureEnd_ ? kFigure + 2 * size_ : 0.0); }

  double WidthOf(const Run& run) { return font_.Width(run.text, ShiftOf(run)) / font_.Pixels() * size_; }
  double WidthOf(const Runs& runs) {
    double width = 0.0;
    for (const Run& run : runs) width += WidthOf(run);
    return width;
  }

  void SetHeading(std::string_view text) {
    SetRuns(RunsOf(text, true), kMargin, Right() - kMargin);
    if (canvas_ && y_ <= bottom_)
      canvas_->Line(Place(kMargin, y_ + 0.1 * size_), Place(Right(), y_ + 0.1 * size_), Pen{kRule, 0.5 / unit_});
    y_ += 0.4 * size_;
  }

  void SetTable(std::vector<std::vector<std::string>>& rows) {
    std::vector<double> widths;
    for (const auto& row : rows)
      for (size_t i = 0; i < row.size(); ++i) {
        widths.resize(std::max(widths.size(), i + 1));
        widths[i] = std::max(widths[i], WidthOf(RunsOf(row[i], false)));
      }
    for (const auto& row : rows) {
      const double width = Right() - kMargin, top = y_;
      double x = kMargin, end = y_;
      for (size_t i = 0; i < row.size(); ++i) {
        const double column = i + 1 == row.size() ? kMargin + width - x : std::min(widths[i], kWidestColumn * width);
        y_ = top;
        SetRuns(RunsOf(row[i], false), x, column);
        end = std::max(end, y_);
        x += column + kBetweenColumns * size_;
      }
      y_ = end;
    }
    rows.clear();
  }

  CanvasPoint Place(double x, double y) const { return {corner_.x + x / unit_, corner_.y + y / unit_}; }

  // In lines that break at blanks.
  void SetRuns(const Runs& runs, double left, double width) {
    double x = left;
    for (size_t i = 0; i < runs.size(); ++i) {
      const bool blank = runs[i].text == " ";
      double word = 0.0;
      for (size_t k = i; !blank && k < runs.size() && runs[k].text != " "; ++k) word += WidthOf(runs[k]);
      const bool begins = i == 0 || runs[i - 1].text == " ";
      if (!blank && begins && x > left && x + word > left + width) {
        EndLine();
        x = left;
      }
      if (blank && x == left) continue;
      SetRun(runs[i], x);
      x += WidthOf(runs[i]);
    }
    EndLine();
  }

  void EndLine() {
    y_ += kLeading * size_;
    if (y_ > bottom_) ++leftOut_;
  }

  void SetRun(const Run& run, double x) {
    if (!canvas_ || y_ + kLeading * size_ > bottom_) return;
    TextLook look(kInk);
    look.shift = ShiftOf(run);
    if (run.bold) {
      look.rimColour = kInk;
      look.rim = 0.025 * size_ / unit_;
    }
    canvas_->Text(Place(x, y_ + kLeading * size_), TextAnchor::BottomLeft, run.text, look);
  }

  LabelFont& font_;
  double size_;
  Canvas* canvas_;
  double unit_;
  CanvasPoint corner_;
  double figureEnd_ = 0.0;
  double bottom_ = kHeight;
  double y_ = kMargin;
  int leftOut_ = 0;
};

}  // namespace

std::optional<std::string> DrawReportPage(PictureSubject& subject, std::string_view markdown) {
  if (!PdfCanvas::IsThere()) {
    subject.messages.Show({MessageIcon::Warning, "Error: File I/O", PdfCanvas::kMissing});
    return {};
  }
  const bool figure = markdown.find("![") != markdown.npos && subject.document.atoms.head;
  const double unit = kFigure / kSquareSide, bottom = kHeight - kMargin;
  const CanvasPoint corner{kSquareCorner.x - (kWidth - kMargin - kFigure) / unit, kSquareCorner.y - kMargin / unit};
  const std::string file = FindSansFontFile();
  LabelFont measuring(kPageLabelSize, file);
  double size = kLargest;
  while (size > kSmallest && Setter(measuring, size, figure, nullptr, unit, corner).Set(markdown, bottom) > bottom)
    size -= kStep;
  LabelFont font(size / unit, file);
  PdfPage page;
  page.width = kWidth;
  page.height = kHeight;
  page.unit = unit;
  page.corner = corner;
  page.title = subject.title;
  PdfCanvas canvas(page, font, file);
  if (figure && !DrawPage(subject, canvas)) {
    SayPictureStopped(subject.messages);
    return {};
  }
  Setter setter(font, size, figure, &canvas, unit, corner);
  const double end = setter.Set(markdown, bottom);
  if (end > bottom)
    canvas.Text({corner.x + kMargin / unit, corner.y + (bottom + kLeading * size) / unit}, TextAnchor::BottomLeft,
                Printf("Lines that the page has no room for: %d", setter.LeftOut()), TextLook(kInk));
  return canvas.Finish();
}

}  // namespace marvik
