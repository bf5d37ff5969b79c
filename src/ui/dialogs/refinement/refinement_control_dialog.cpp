#include "ui/dialogs/refinement/refinement_control_dialog.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QRadioButton>
#include <QSpinBox>
#include <QVBoxLayout>

#include "ui/text.h"
#include "ui/window_messages.h"

namespace marvik {
namespace {

constexpr std::array<uint32_t, 4> kPriorities = {kIdlePriority, kNormalPriority, kHighPriority, kRealtimePriority};

struct ControlTip {
  int id;
  const char* text;
};
constexpr ControlTip kTips[] = {
    {kLeastSquaresRadio, "Full-matrix least squares, with standard uncertainties"},
    {kCglsRadio, "Conjugate gradients: for large structures, without standard uncertainties"},
    {kCyclesSpin, "Cycles of refinement; 0 only computes"},
    {kFourierCombo, "The map after the last cycle (FMAP)"},
    {kPlanSpin, "How many peaks of the map are listed (PLAN)"},
    {kListCombo, "What the list of reflections holds (LIST)"},
    {kExtinctionEdit, "The extinction parameter to begin with, blank for none (EXTI)"},
    {kBondBox, "Bond lengths and angles with their uncertainties (BOND)"},
    {kInvertBox, "The other hand of the structure (MOVE)"},
    {kAnisoBox, "All atoms but hydrogens become anisotropic (ANIS)"},
    {kActaBox, "A CIF, with what it needs (ACTA)"},
    {kIdleRadio, "The program gets what others leave of the processor"},
    {kNormalRadio, "The program runs like others"},
    {kHighRadio, "The program comes before others, where the system allows it"},
    {kRealtimeRadio, "The program comes before all, where the system allows it"},
    {kOmitBox, "Weak reflections, below so many sigmas (OMIT)"},
    {kOmitSigmasEdit, "Weak reflections, below so many sigmas (OMIT)"},
    {kOmitSecondBox, "Reflections at higher angles than this, degrees (OMIT)"},
    {kOmitTwoThetaEdit, "Reflections at higher angles than this, degrees (OMIT)"},
};

// The look alone: text can be typed whether the box is checked or not.
void LookEnabled(QLineEdit& edit, bool on) {
  QPalette palette;
  if (!on) {
    palette.setColor(QPalette::Text, palette.color(QPalette::Disabled, QPalette::Text));
    palette.setColor(QPalette::Base, palette.color(QPalette::Disabled, QPalette::Window));
  }
  edit.setPalette(palette);
  edit.setProperty("looksEnabled", on);
}

}  // namespace

RefinementControlDialog::RefinementControlDialog(QWidget* parentWidget, RefinementSettings& settings)
    : QDialog(parentWidget), settings_(settings), state_(OpenControl(settings)) {
  setWindowTitle(tr("Refinement Control"));
  BuildControls();
  setLayout(BuildLayout());
  layout()->setSizeConstraint(QLayout::SetFixedSize);
  for (const ControlTip& tip : kTips) findChild<QWidget*>(QString::number(tip.id))->setToolTip(tr(tip.text));
  for (const WeightControls& row : weights_) {
    for (QWidget* part : {static_cast<QWidget*>(row.previous), static_cast<QWidget*>(row.previousEdit)})
      part->setToolTip(tr("Parameter of the weighting scheme that is in force (WGHT)"));
    for (QWidget* part : {static_cast<QWidget*>(row.suggested), static_cast<QWidget*>(row.suggestedEdit)})
      part->setToolTip(tr("What the last refinement proposes for it (WGHT after END)"));
  }
  Show();
  cycles_->setFocus();
  cycles_->selectAll();
}

QCheckBox* RefinementControlDialog::Box(int id, const QString& text) {
  auto* box = new QCheckBox(text, this);
  box->setObjectName(QString::number(id));
  return box;
}

QLineEdit* RefinementControlDialog::Edit(int id) {
  auto* edit = new QLineEdit(this);
  edit->setObjectName(QString::number(id));
  edit->setMaximumWidth(edit->fontMetrics().horizontalAdvance(QLatin1Char('0')) * 13);
  return edit;
}

QRadioButton* RefinementControlDialog::Radio(int id, const QString& text) {
  auto* radio = new QRadioButton(text, this);
  radio->setObjectName(QString::number(id));
  return radio;
}

QSpinBox* RefinementControlDialog::Spin(int id, int editId) {
  auto* spin = new QSpinBox(this);
  spin->setObjectName(QString::number(id));
  spin->findChild<QLineEdit*>()->setObjectName(QString::number(editId));
  spin->setRange(0, kLargestCount);
  return spin;
}

void RefinementControlDialog::BuildControls() {
  leastSquares_ = Radio(kLeastSquaresRadio, tr("&L.S."));
  cgls_ = Radio(kCglsRadio, tr("C&GLS"));
  cycles_ = Spin(kCyclesSpin, kCyclesEdit);
  plan_ = Spin(kPlanSpin, kPlanEdit);
  fourier_ = new QComboBox(this);
  fourier_->setObjectName(QString::number(kFourierCombo));
  for (const char* item : kFourierItems) fourier_->addItem(QString::fromUtf8(item));
  list_ = new QComboBox(this);
  list_->setObjectName(QString::number(kListCombo));
  for (const char* item : kListItems) list_->addItem(QString::fromUtf8(item));
  if (!state_.otherList.empty()) list_->addItem(ToText(state_.otherList));
  extinction_ = Edit(kExtinctionEdit);
  bond_ = Box(kBondBox, tr("&Bond"));
  invert_ = Box(kInvertBox, tr("In&vert"));
  aniso_ = Box(kAnisoBox, tr("Ani&so"));
  acta_ = Box(kActaBox, tr("&Acta"));
  connect(leastSquares_, &QRadioButton::clicked, this, [this] { ChooseRefinementType(state_, settings_, false); });
  connect(cgls_, &QRadioButton::clicked, this, [this] { ChooseRefinementType(state_, settings_, true); });
}

QWidget* RefinementControlDialog::WeightGroup() {
  auto* group = new QGroupBox(tr("Weights"), this);
  auto* grid = new QGridLayout(group);
  grid->addWidget(new QLabel(tr("Previous")), 0, 1, 1, 2);
  grid->addWidget(new QLabel(tr("Suggested")), 0, 3, 1, 2);
  for (size_t i = 0; i < kWeightRows; ++i) {
    const WeightRowIds& ids = kWeightRowIds[i];
    WeightControls& row = weights_[i];
    row = {Box(ids.previousBox, {}), Edit(ids.previousEdit), Box(ids.suggestedBox, {}), Edit(ids.suggestedEdit)};
    const int line = static_cast<int>(i) + 1;
    grid->addWidget(new QLabel(QString(QLatin1Char("abcde"[i]))), line, 0);
    grid->addWidget(row.previous, line, 1);
    grid->addWidget(row.previousEdit, line, 2);
    grid->addWidget(row.suggested, line, 3);
    grid->addWidget(row.suggestedEdit, line, 4);
    row.previous->setAccessibleName(tr("Previous weight %1").arg(line));
    row.suggested->setAccessibleName(tr("Suggested weight %1").arg(line));
    row.previousEdit->setAccessibleName(tr("Previous value %1").arg(line));
    row.suggestedEdit->setAccessibleName(tr("Suggested value %1").arg(line));
    const auto clicked = [this, i](auto rule) {
      Collect();
      rule(state_, settings_, i);
      Show();
    };
    connect(row.previous, &QCheckBox::clicked, this, [clicked] { clicked(ClickPreviousWeight); });
    connect(row.suggested, &QCheckBox::clicked, this, [clicked] { clicked(ClickSuggestedWeight); });
  }
  return group;
}

QWidget* RefinementControlDialog::OmitGroup() {
  auto* group = new QGroupBox(tr("Omit"), this);
  auto* grid = new QGridLayout(group);
  omit_ = Box(kOmitBox, tr("nSig&mas"));
  omitSecond_ = Box(kOmitSecondBox, tr("2&theta"));
  omitSigmas_ = Edit(kOmitSigmasEdit);
  omitTwoTheta_ = Edit(kOmitTwoThetaEdit);
  omitSigmas_->setAccessibleName(tr("Sigmas"));
  omitTwoTheta_->setAccessibleName(tr("2theta in degrees"));
  grid->addWidget(omit_, 0, 0);
  grid->addWidget(omitSigmas_, 0, 1);
  grid->addWidget(omitSecond_, 1, 0);
  grid->addWidget(omitTwoTheta_, 1, 1);
  for (QCheckBox* box : {omit_, omitSecond_}) {
    connect(box, &QCheckBox::clicked, this, [this] {
      Collect();
      SyncEditStates();
    });
  }
  return group;
}

QWidget* RefinementControlDialog::PriorityGroup() {
  auto* group = new QGroupBox(tr("Program Priority"), this);
  auto* line = new QGridLayout(group);
  priorities_ = {Radio(kIdleRadio, tr("I&dle")), Radio(kNormalRadio, tr("&Normal")), Radio(kHighRadio, tr("&High")),
                 Radio(kRealtimeRadio, tr("&Realtime"))};
  for (int i = 0; i < 4; ++i) line->addWidget(priorities_[static_cast<size_t>(i)], i / 2, i % 2);
  return group;
}

QLayout* RefinementControlDialog::BuildLayout() {
  auto* refinement = new QGroupBox(tr("Refinement"), this);
  auto* types = new QHBoxLayout;
  types->addWidget(leastSquares_);
  types->addWidget(cgls_);
  types->addStretch(1);
  auto* form = new QFormLayout(refinement);
  form->addRow(types);
  form->addRow(tr("C&ycles"), cycles_);
  form->addRow(tr("&Fourier"), fourier_);
  form->addRow(tr("&Peaks"), plan_);
  form->addRow(tr("L&ist"), list_);
  form->addRow(tr("&Extinction"), extinction_);
  auto* flags = new QGridLayout;
  const std::array<QWidget*, 4> boxes = {bond_, invert_, aniso_, acta_};
  for (int i = 0; i < 4; ++i) flags->addWidget(boxes[static_cast<size_t>(i)], 0, i);
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
  connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  auto* grid = new QGridLayout;
  grid->addWidget(refinement, 0, 0);
  grid->addWidget(WeightGroup(), 0, 1);
  grid->addWidget(OmitGroup(), 1, 0);
  grid->addWidget(PriorityGroup(), 1, 1);
  auto* all = new QVBoxLayout;
  all->addLayout(grid);
  all->addLayout(flags);
  all->addWidget(buttons);
  return all;
}

void RefinementControlDialog::Show() {
  (state_.cgls ? cgls_ : leastSquares_)->setChecked(true);
  cycles_->setValue(state_.cycles);
  plan_->setValue(state_.planPeaks);
  list_->setCurrentIndex(state_.list);
  fourier_->setCurrentIndex(state_.fourier);
  extinction_->setText(ToText(state_.extinction));
  omit_->setChecked(state_.omit);
  omitSecond_->setChecked(state_.omitSecond);
  omitSigmas_->setText(ToText(state_.omitSigmas));
  omitTwoTheta_->setText(ToText(state_.omitTwoTheta));
  bond_->setChecked(state_.bond);
  invert_->setChecked(state_.invert);
  aniso_->setChecked(state_.aniso);
  acta_->setChecked(state_.acta);
  for (size_t i = 0; i < kWeightRows; ++i) {
    const WeightRow& row = state_.weights[i];
    weights_[i].previous->setChecked(row.previous);
    weights_[i].suggested->setChecked(row.suggested);
    weights_[i].previousEdit->setText(ToText(row.previousText));
    weights_[i].suggestedEdit->setText(ToText(row.suggestedText));
  }
  for (size_t i = 0; i < kPriorities.size(); ++i) priorities_[i]->setChecked(state_.priority == kPriorities[i]);
  SyncEditStates();
}

void RefinementControlDialog::Collect() {
  state_.cycles = cycles_->value();
  state_.planPeaks = plan_->value();
  state_.list = list_->currentIndex();
  state_.fourier = fourier_->currentIndex();
  state_.extinction = ToBytes(extinction_->text());
  state_.omit = omit_->isChecked();
  state_.omitSecond = omitSecond_->isChecked();
  state_.omitSigmas = ToBytes(omitSigmas_->text());
  state_.omitTwoTheta = ToBytes(omitTwoTheta_->text());
  state_.bond = bond_->isChecked();
  state_.invert = invert_->isChecked();
  state_.aniso = aniso_->isChecked();
  state_.acta = acta_->isChecked();
  for (size_t i = 0; i < kWeightRows; ++i) {
    state_.weights[i] = {weights_[i].previous->isChecked(), weights_[i].suggested->isChecked(),
                         ToBytes(weights_[i].previousEdit->text()), ToBytes(weights_[i].suggestedEdit->text())};
  }
  for (size_t i = 0; i < kPriorities.size(); ++i) {
    if (priorities_[i]->isChecked()) state_.priority = kPriorities[i];
  }
}

void RefinementControlDialog::SyncEditStates() {
  const auto enabled = EditsEnabled(state_);
  for (size_t i = 0; i < kWeightRows; ++i) {
    LookEnabled(*weights_[i].previousEdit, enabled[i]);
    LookEnabled(*weights_[i].suggestedEdit, enabled[kWeightRows + i]);
  }
  LookEnabled(*omitSigmas_, enabled[2 * kWeightRows]);
  LookEnabled(*omitTwoTheta_, enabled[2 * kWeightRows + 1]);
}

void RefinementControlDialog::accept() {
  Collect();
  WindowMessages messages;
  messages.parent = this;
  if (ConfirmControl(state_, settings_, messages)) QDialog::accept();
}

}  // namespace marvik
