#include "ui/panels/refinement_panel.h"

#include <QFormLayout>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QVBoxLayout>

#include "app/journal_files.h"
#include "app/refinement/refine_flow.h"
#include "check/cif/check_cif.h"
#include "ui/dialogs/progress_plots.h"
#include "ui/text.h"

namespace marvik {
namespace {

constexpr const char* kCaptions[] = {"R1", "wR2", "S", "Peak and hole", "Parameters", "Restraints", "Data"};

constexpr int kLeastPlots = 120;  // nominal pixels: wider ones would widen the window on a small screen

QString Figure(const std::optional<double>& value, int digits) {
  return ToText(FigureText(value, digits));
}

QString Count(const std::optional<int>& value) {
  return value ? QString::number(*value) : QStringLiteral("-");
}

}  // namespace

RefinementPanel::RefinementPanel(Workbench& bench, CommandRunner run) : bench_(bench), background_(this) {
  auto* figures = new QWidget;
  rows_ = new QFormLayout(figures);
  rows_->setContentsMargins(0, 0, 0, 0);
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
  plots_ = new ProgressPlots(this);
  plots_->setMinimumWidth(kLeastPlots);
  plots_->hide();
  refine_ = new QPushButton(tr("Refine..."));
  refine_->setToolTip(tr("Writes the instruction file and starts the refinement program on it"));
  connect(refine_, &QPushButton::clicked, this, [run] { run(kRefineCommand, {}); });
  auto* layout = new QVBoxLayout(this);
  // On a small screen they scroll, so that the window is no higher than it.
  scroll_ = new QScrollArea;
  scroll_->setFrameShape(QFrame::NoFrame);
  scroll_->setWidgetResizable(true);
  scroll_->setWidget(figures);
  layout->addWidget(scroll_);
  layout->addWidget(plots_, 1);
  layout->addWidget(refine_);
}

void RefinementPanel::Follow() {
  FollowChecks();
  const std::string& path = bench_.document.CurrentFile;
  refine_->setEnabled(CommandEnabled(bench_, kRefineCommand) && !path.empty());
  const auto stamp = path.empty() ? std::nullopt : StampOf(path);
  if (path == path_ && stamp == stamp_) return;
  path_ = path;
  stamp_ = stamp;
  ShowFigures(path.empty() ? ResultSummary() : SummaryOfResult(ReadWholeFile(path).content));
  std::vector<CyclePoint> course;
  if (!path.empty()) {
    for (const RefinementStep& step : StepHistory(JobBase(bench_)).Steps()) {
      course.emplace_back().r1 = step.r1;
    }
  }
  plots_->SetPoints(course);
  plots_->setVisible(course.size() > 1);
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
