#include "ui/panels/refinement_panel.h"

#include <QFormLayout>
#include <QGridLayout>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QVBoxLayout>

#include "app/journal_files.h"
#include "app/refinement/refine_flow.h"
#include "check/cif/check_cif.h"
#include "ui/dialogs/refinement/progress_plots.h"
#include "ui/text.h"

namespace marvik {
namespace {

constexpr const char* kCaptions[] = {"R1",         "wR2",        "S",   "Shift/s.u.", "Peak and hole",
                                     "Parameters", "Restraints", "Data"};
constexpr size_t kShiftRow = 3;

struct Act {
  int command;
  const char* text;
  const char* tip;
};
constexpr Act kActs[] = {
    {kRefineCommand, "Refine...", "Writes the instruction file and starts the refinement program on it"},
    {0, "Cancel", "Ends the program that runs; the structure stays as it is"},
    {kSolveCommand, "Solve", "Finds space group and atoms from the reflections"},
    {kCompleteCommand, "Complete", "Goes on from what is there to a whole model: elements, missing atoms, hydrogens"},
};

QString Figure(const std::optional<double>& value, int digits) {
  return ToText(FigureText(value, digits));
}

QString Count(const std::optional<int>& value) {
  return value ? QString::number(*value) : QStringLiteral("-");
}

}  // namespace

RefinementPanel::RefinementPanel(Workbench& bench, CommandRunner run)
    : bench_(bench), background_(this), listingBackground_(this) {
  auto* inside = new QWidget;
  auto* column = new QVBoxLayout(inside);
  column->setContentsMargins(0, 0, 0, 0);
  rows_ = new QFormLayout;
  rows_->setRowWrapPolicy(QFormLayout::WrapLongRows);
  column->addLayout(rows_);
  const auto add = [this](const char* caption) {
    auto* value = new QLabel(QStringLiteral("-"));
    value->setTextFormat(Qt::PlainText);
    value->setTextInteractionFlags(Qt::TextSelectableByMouse);
    value->setAccessibleName(tr(caption));
    rows_->addRow(tr(caption), value);
    return value;
  };
  for (const char* caption : kCaptions) values_.push_back(add(caption));
  checks_ = add("Journal");
  checks_->setToolTip(
      tr("How many findings of each level the journals' tests have for the CIF: Refine, Check for Journal"));
  cycles_ = AddCourse(*column, tr("Cycles of the last run"), "cycles");
  refinements_ = AddCourse(*column, tr("Accepted refinements"), "course");
  column->addStretch(1);
  // On a small screen they scroll, so that the window is no higher than it.
  scroll_ = new QScrollArea;
  scroll_->setFrameShape(QFrame::NoFrame);
  scroll_->setWidgetResizable(true);
  scroll_->setWidget(inside);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(scroll_, 1);
  auto* grid = new QGridLayout;
  layout->addLayout(grid);
  for (int i = 0; i < static_cast<int>(std::size(kActs)); ++i) {
    const Act& act = kActs[i];
    auto* button = new QPushButton(tr(act.text));
    button->setToolTip(tr(act.tip));
    // Two columns of buttons are not to widen the panel beyond what its figures need.
    button->setMinimumWidth(1);
    grid->addWidget(button, i / 2, i % 2);
    if (act.command) {
      connect(button, &QPushButton::clicked, this, [run, command = act.command] { run(command, {}); });
      buttons_.push_back({act.command, button});
    } else {
      stop_ = button;
      connect(button, &QPushButton::clicked, this, [this] {
        if (bench_.hooks.stopRun) bench_.hooks.stopRun();
      });
    }
  }
}

QSize RefinementPanel::sizeHint() const {
  return OfWidth(fontMetrics().averageCharWidth() * 42);
}

RefinementPanel::Course RefinementPanel::AddCourse(QLayout& layout, const QString& caption, const char* name) {
  Course course{new QLabel(caption), new ProgressPlots(this, 2)};
  course.caption->setForegroundRole(QPalette::PlaceholderText);
  course.plots->setObjectName(QLatin1String(name));
  course.plots->setAccessibleName(caption);
  layout.addWidget(course.caption);
  layout.addWidget(course.plots);
  Show(course, {});
  return course;
}

void RefinementPanel::Show(const Course& course, const std::vector<CyclePoint>& points) {
  course.plots->SetPoints(points);
  course.caption->setVisible(points.size() > 1);
  course.plots->setVisible(points.size() > 1);
}

void RefinementPanel::Follow() {
  FollowChecks();
  const std::string& path = bench_.document.CurrentFile;
  for (const Button& act : buttons_) act.button->setEnabled(CommandEnabled(bench_, act.command) && !path.empty());
  stop_->setEnabled(bench_.refining);
  const auto stamp = path.empty() ? std::nullopt : StampOf(path);
  if (path == path_ && stamp == stamp_ && (!runs_ || bench_.refining)) return;
  path_ = path;
  stamp_ = stamp;
  runs_ = false;
  ShowFigures(path.empty() ? ResultSummary() : SummaryOfResult(ReadWholeFile(path).content));
  ShowRefinements();
  FollowListing();
}

void RefinementPanel::ShowRefinements() {
  std::vector<CyclePoint> course;
  if (!path_.empty()) {
    for (const RefinementStep& step : StepHistory(JobBase(bench_)).Steps()) course.emplace_back().r1 = step.r1;
  }
  Show(refinements_, course);
}

// The cycles are told by the listing only, which may be long.
void RefinementPanel::FollowListing() {
  ShowCycles({});
  if (path_.empty()) return;
  listingBackground_.Start([this, path = path_, listing = JobBase(bench_) + ".lst"]() -> std::function<void()> {
    ProgressCurve curve;
    const std::string text = ReadWholeFile(listing).content;
    for (size_t at = 0; at < text.size();) {
      const size_t end = std::min(text.find('\n', at), text.size());
      curve.Take(std::string_view(text).substr(at, end - at));
      at = end + 1;
    }
    return [this, path, points = curve.Points()] {
      if (path == path_ && !runs_) ShowCycles(points);
    };
  });
}

void RefinementPanel::ShowCycles(const std::vector<CyclePoint>& cycles) {
  Show(cycles_, cycles);
  std::optional<double> overSu;
  for (const CyclePoint& cycle : cycles)
    if (cycle.overSu) overSu = cycle.overSu;
  values_[kShiftRow]->setText(Figure(overSu, 3));
}

void RefinementPanel::ShowRun(const std::vector<CyclePoint>& cycles) {
  if (cycles.empty()) return;
  runs_ = true;
  const CyclePoint& now = cycles.back();
  const QString texts[] = {Figure(now.r1, 4), Figure(now.wR2, 4), Figure(now.goof, 3)};
  for (size_t i = 0; i < std::size(texts); ++i) values_[i]->setText(texts[i]);
  ShowCycles(cycles);
}

void RefinementPanel::FollowChecks() {
  const std::string cif = JournalCif(bench_);
  const auto stamp = cif.empty() ? std::nullopt : StampOf(cif);
  if (bench_.refining || (cif == cif_ && stamp == cifStamp_)) return;
  cif_ = cif;
  cifStamp_ = stamp;
  checks_->setText(QStringLiteral("-"));
  if (!stamp) return;
  background_.Start([this, cif]() -> std::function<void()> {
    const auto found = CheckCifFile(cif);
    return [this, cif, text = found ? LevelCounts(*found) : "-"] {
      if (cif == cif_) checks_->setText(ToText(text));
    };
  });
}

void RefinementPanel::ShowFigures(const ResultSummary& summary) {
  const QString texts[] = {
      Figure(summary.figures.r1, 4),
      Figure(summary.figures.wR2, 4),
      Figure(summary.figures.goof, 3),
      QStringLiteral("-"),
      summary.peak || summary.hole ? tr("%1 and %2 e/Å³").arg(Figure(summary.peak, 2), Figure(summary.hole, 2))
                                   : QStringLiteral("-"),
      Count(summary.parameters),
      Count(summary.restraints),
      Count(summary.data),
  };
  for (size_t i = 0; i < values_.size(); ++i) values_[i]->setText(texts[i]);
  scroll_->setMinimumWidth(scroll_->widget()->minimumSizeHint().width() +
                           scroll_->verticalScrollBar()->sizeHint().width());
}

}  // namespace marvik
