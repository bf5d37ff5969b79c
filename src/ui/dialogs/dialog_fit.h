#pragma once

#include <QDialog>

namespace marvik {

// Where a dialog needs more than `room`, nominal pixels, its contents scroll, but for its buttons. To be called before
// it is shown for the first time.
void FitDialog(QDialog& dialog, const QSize& room);

// Moves a dialog to the foot of its window, so that the model is to be seen.
void PutAtFoot(QDialog& dialog);

// Takes the letters from OK and Cancel that some desktops give them: Enter and Escape do, and a field may have the
// same.
void FreeLetters(QDialog& dialog);

// Does both, and gives the tips, with every dialog of the program as it comes up, by its screen. Other
// windows become no larger than that.
class DialogFit : public QObject {
 public:
  using QObject::QObject;

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;
};

}  // namespace marvik
