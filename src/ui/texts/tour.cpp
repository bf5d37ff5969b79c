#include "ui/texts/tour.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QShortcut>
#include <QVBoxLayout>

#include "ui/area/drawing_area.h"
#include "ui/main_window.h"

namespace marvik {
namespace {

struct Page {
  const char* title;
  const char* text;
};
constexpr Page kPages[] = {
    {"The picture",
     "Drag turns the model, the wheel zooms where the pointer is, Ctrl + drag or two fingers move it. What "
     "the pointer is on lights up; its name, values and neighbours stand in the line below."},
    {"Select and change",
     "A click selects, Shift + drag selects many, a right click shows what can be done. A letter over "
     "an atom makes it that element; K kills it, H sets its hydrogens. Ctrl+Z takes back anything."},
    {"Panels",
     "Structure and Refinement stand on the left, Model on the right: F3, F4 and F5. The table and the picture "
     "select the same atoms; a double click in the table edits. F9 closes all."},
    {"Refine",
     "Ctrl+R refines. The model can be turned meanwhile; the result is accepted or discarded, and every accepted "
     "one is there to go back to."},
    {"Find anything",
     "Ctrl+Space finds every command by a word. Ctrl+F1 shows all keys, F1 tells of whatever is open, and "
     "View > Look makes it all light."},
};
constexpr int kLast = static_cast<int>(std::size(kPages)) - 1;
constexpr int kMargin = 18;

}  // namespace

Tour::Tour(MainWindow& window) : QFrame(&window.Area()), area_(window.Area()) {
  setAttribute(Qt::WA_DeleteOnClose);
  setObjectName(QStringLiteral("tour"));
  setFrameShape(QFrame::StyledPanel);
  setAutoFillBackground(true);
  setAccessibleName(tr("Tour of the window"));
  text_ = new QLabel;
  text_->setWordWrap(true);
  text_->setTextFormat(Qt::RichText);
  next_ = new QPushButton;
  auto* skip = new QPushButton(tr("Skip"));
  for (QPushButton* button : {next_, skip}) button->setFocusPolicy(Qt::TabFocus);
  connect(next_, &QPushButton::clicked, this, [this] { page_ < kLast ? Show(page_ + 1) : static_cast<void>(close()); });
  connect(skip, &QPushButton::clicked, this, &QWidget::close);
  connect(new QShortcut(Qt::Key_Escape, this), &QShortcut::activated, this, &QWidget::close);
  auto* buttons = new QHBoxLayout;
  buttons->addStretch(1);
  buttons->addWidget(skip);
  buttons->addWidget(next_);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(text_);
  layout->addLayout(buttons);
  setFixedWidth(fontMetrics().averageCharWidth() * 56);
  area_.installEventFilter(this);
  Show(0);
  show();
}

void Tour::Show(int page) {
  page_ = page;
  const Page& shown = kPages[page];
  text_->setText(QStringLiteral("<b>%1</b> <small>(%2/%3)</small><p>%4</p>")
                     .arg(tr(shown.title).toHtmlEscaped())
                     .arg(page + 1)
                     .arg(kLast + 1)
                     .arg(tr(shown.text).toHtmlEscaped()));
  next_->setText(page < kLast ? tr("Next") : tr("Done"));
  Place();
}

void Tour::Place() {
  adjustSize();
  move(std::max(0, (area_.width() - width()) / 2), std::max(0, area_.height() - height() - kMargin));
}

bool Tour::eventFilter(QObject* watched, QEvent* event) {
  if (watched == &area_ && event->type() == QEvent::Resize) Place();
  return false;
}

}  // namespace marvik
