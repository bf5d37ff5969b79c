#include "ui/dialogs/dialog_fit.h"

#include <QDialogButtonBox>
#include <QEvent>
#include <QFileDialog>
#include <QMessageBox>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>
#include <QScrollBar>
#include <QVBoxLayout>
#include <algorithm>

#include "ui/dialogs/field_tips.h"

namespace marvik {
namespace {

constexpr int kTitleBar = 40;  // nominal pixels
constexpr int kBorders = 8;    // left and right
constexpr int kEdge = 8;       // around the buttons
constexpr char kFitted[] = "fittedSize";

}  // namespace

void FitDialog(QDialog& dialog, const QSize& room) {
  QLayout* layout = dialog.layout();
  // Those of the toolkit look after themselves.
  if (!layout || qobject_cast<QFileDialog*>(&dialog) || qobject_cast<QMessageBox*>(&dialog)) return;
  const bool isFixed = layout->sizeConstraint() == QLayout::SetFixedSize;
  const QSize least = isFixed ? layout->totalSizeHint() : layout->totalMinimumSize();
  if (least.width() <= room.width() && least.height() <= room.height()) {
    const QSize wanted = dialog.testAttribute(Qt::WA_Resized) ? dialog.size() : layout->totalSizeHint();
    if (wanted.width() > room.width() || wanted.height() > room.height()) dialog.resize(wanted.boundedTo(room));
    return;
  }
  auto* buttons = dialog.findChild<QDialogButtonBox*>();
  // More of them than stand side by side scroll, too.
  if (buttons && (layout->indexOf(buttons) < 0 || buttons->minimumSizeHint().width() + 2 * kEdge > room.width()))
    buttons = nullptr;
  if (buttons) layout->removeWidget(buttons);
  QWidget* focus = dialog.focusWidget();
  layout->setSizeConstraint(QLayout::SetDefaultConstraint);
  auto* contents = new QWidget;
  contents->setLayout(layout);
  auto* area = new QScrollArea(&dialog);
  area->setFrameShape(QFrame::NoFrame);
  area->setWidgetResizable(true);
  area->setWidget(contents);
  auto* outer = new QVBoxLayout(&dialog);
  outer->setContentsMargins(0, 0, 0, 0);
  outer->addWidget(area);
  if (buttons) {
    buttons->setContentsMargins(kEdge, 0, kEdge, kEdge);
    outer->addWidget(buttons);
  }
  if (focus) focus->setFocus();
  dialog.setMinimumSize(0, 0);
  dialog.setMaximumSize(QWIDGETSIZE_MAX, QWIDGETSIZE_MAX);
  const int bar = area->verticalScrollBar()->sizeHint().width();
  dialog.resize((least + QSize(bar, bar)).boundedTo(room));
}

void PutAtFoot(QDialog& dialog) {
  const QRect window = dialog.parentWidget()->window()->frameGeometry();
  const QRect room = dialog.screen()->availableGeometry();
  const QPoint least = room.topLeft();
  const QPoint most = room.bottomRight() - QPoint(dialog.width(), dialog.height() + kTitleBar);
  dialog.move(std::clamp(window.center().x() - dialog.width() / 2, least.x(), std::max(least.x(), most.x())),
              std::clamp(window.bottom() - dialog.height(), least.y(), std::max(least.y(), most.y())));
}

void FreeLetters(QDialog& dialog) {
  for (const auto* box : dialog.findChildren<QDialogButtonBox*>()) {
    for (const auto which : {QDialogButtonBox::Ok, QDialogButtonBox::Cancel}) {
      if (QPushButton* button = box->button(which)) button->setText(button->text().remove(QLatin1Char('&')));
    }
  }
}

// Coming up it takes a size of its own once more, which for what scrolls is too small.
bool DialogFit::eventFilter(QObject* watched, QEvent* event) {
  if (event->type() != QEvent::Polish && event->type() != QEvent::Show) return false;
  auto* window = qobject_cast<QWidget*>(watched);
  if (!window || !window->isWindow()) return false;
  auto* dialog = qobject_cast<QDialog*>(watched);
  if (event->type() == QEvent::Polish && !dialog && window->windowType() == Qt::Window && window->screen())
    window->resize(window->size().boundedTo(window->screen()->availableSize() - QSize(kBorders, kTitleBar)));
  if (!dialog || !dialog->screen()) return false;
  const QRect all = dialog->screen()->availableGeometry();
  if (event->type() == QEvent::Polish) {
    FreeLetters(*dialog);
    GiveTips(*dialog);
    const bool before = dialog->testAttribute(Qt::WA_Resized);
    const QSize size = dialog->size();
    FitDialog(*dialog, all.size() - QSize(kBorders, kTitleBar));
    if (dialog->testAttribute(Qt::WA_Resized) && (!before || dialog->size() != size))
      dialog->setProperty(kFitted, dialog->size());
    return false;
  }
  // What a constructor asked for after it had been polished is bounded here.
  const QSize fitted = dialog->property(kFitted).toSize();
  const QSize size = fitted.isValid() ? fitted : dialog->size().boundedTo(all.size() - QSize(kBorders, kTitleBar));
  if (!fitted.isValid() && size == dialog->size()) return false;
  dialog->setProperty(kFitted, QVariant());
  dialog->resize(size);
  dialog->move(all.topLeft() + QPoint(all.width() - size.width(), all.height() - size.height()) / 2);
  return false;
}

}  // namespace marvik
