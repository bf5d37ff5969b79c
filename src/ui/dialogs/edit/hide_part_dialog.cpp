#include "ui/dialogs/edit/hide_part_dialog.h"

#include <QDialogButtonBox>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>
#include <map>

namespace marvik {

HidePartDialog::HidePartDialog(QWidget* parentWidget, Workbench& bench, Runner run)
    : EditForm(parentWidget, tr("Hide Disordered Parts")), bench_(bench), run_(std::move(run)) {
  setObjectName(QStringLiteral("hide-part"));
  auto* layout = new QVBoxLayout(this);
  auto* caption = new QLabel(tr("Part Numbers to Hide:"));
  caption->setMinimumWidth(280);  // the title has to fit
  layout->addWidget(caption);
  boxesLayout_ = new QVBoxLayout;
  layout->addLayout(boxesLayout_);
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close);
  QPushButton* all = buttons->addButton(tr("&Show All"), QDialogButtonBox::ActionRole);
  connect(all, &QPushButton::clicked, this, [this] { run_(kHidePartCommand, "none"); });
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  layout->addWidget(buttons);
  layout->setSizeConstraint(QLayout::SetFixedSize);
  Follow();
}

void HidePartDialog::Follow() {
  std::map<int, int> counts;
  for (const AtomRecord* atom : Atoms(bench_.document.atoms)) ++counts[atom->part];
  const std::vector<std::pair<int, int>> parts(counts.begin(), counts.end());
  if (parts != parts_ || boxes_.isEmpty()) {
    parts_ = parts;
    Rebuild();
  }
  for (qsizetype i = 0; i < boxes_.size(); ++i) {
    const QSignalBlocker quiet(boxes_[i]);
    boxes_[i]->setChecked(bench_.document.atoms.IsPartHidden(parts_[static_cast<size_t>(i)].first));
  }
}

void HidePartDialog::Rebuild() {
  qDeleteAll(boxes_);
  boxes_.clear();
  for (const auto& [part, atoms] : parts_) {
    const QString number = part >= 0 && part <= 9 ? QStringLiteral("&%1").arg(part) : QString::number(part);
    auto* box = new QCheckBox(tr("PART %1 (%2 atoms)").arg(number).arg(atoms));
    box->setObjectName(QStringLiteral("part%1").arg(part));
    connect(box, &QCheckBox::toggled, this, &HidePartDialog::Apply);
    boxesLayout_->addWidget(box);
    boxes_ << box;
  }
}

void HidePartDialog::Apply() {
  std::string text;
  for (qsizetype i = 0; i < boxes_.size(); ++i) {
    if (!boxes_[i]->isChecked()) continue;
    text.append(text.empty() ? "" : " ").append(std::to_string(parts_[static_cast<size_t>(i)].first));
  }
  run_(kHidePartCommand, text.empty() ? "none" : text);
}

}  // namespace marvik
