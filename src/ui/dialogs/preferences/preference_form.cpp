#include "ui/dialogs/preferences/preference_form.h"

#include <QLineEdit>
#include <QMessageBox>
#include <QScreen>
#include <QShowEvent>
#include <QVBoxLayout>
#include <algorithm>

#include "ui/text.h"

namespace marvik {

bool PreferenceForm::Takes(const PreferenceFault& fault) {
  if (!fault) return true;
  QMessageBox::warning(this, ToText(fault.message.caption), ToText(fault.message.text));
  if (auto* field = findChild<QLineEdit*>(ToText(fault.field))) {
    if (!fault.correction.empty()) field->setText(ToText(fault.correction));
    field->setFocus();
    field->selectAll();
  }
  return false;
}

void PreferenceForm::showEvent(QShowEvent* event) {
  const QWidget* window = parentWidget() ? parentWidget()->window() : nullptr;
  if (window && !event->spontaneous()) {
    constexpr int kGap = 8;
    const QRect place = window->frameGeometry();
    const QRect available = window->screen()->availableGeometry();
    const QSize size = sizeHint();
    const bool right = available.right() - place.right() >= place.left() - available.left();
    const int x = right ? place.right() + kGap : place.left() - kGap - size.width();
    const int last = std::max(available.left(), available.right() - size.width() - kGap);
    move(std::clamp(x, available.left(), last), place.top() + place.height() / 8);
  }
  EditForm::showEvent(event);
}

QPushButton* PreferenceForm::AddAction(const QString& text) {
  QPushButton* button = buttons_->addButton(text, QDialogButtonBox::ActionRole);
  button->setAutoDefault(false);
  return button;
}

void PreferenceForm::AddSaveAndCancel(const QString& text, QVBoxLayout& layout) {
  buttons_->addButton(text, QDialogButtonBox::AcceptRole)->setDefault(true);
  buttons_->addButton(QDialogButtonBox::Cancel);
  connect(buttons_, &QDialogButtonBox::accepted, this, &QDialog::accept);
  connect(buttons_, &QDialogButtonBox::rejected, this, &QDialog::reject);
  layout.addWidget(buttons_);
}

}  // namespace marvik
