#pragma once

#include <QFrame>

class QLabel;
class QPushButton;

namespace marvik {

class MainWindow;

// A walk through the parts of the window: a card over the picture, page by page, that takes no keys but Escape, by
// which it can be left at any time.
class Tour : public QFrame {
  Q_OBJECT

 public:
  explicit Tour(MainWindow& window);

 private:
  void Show(int page);
  void Place();
  bool eventFilter(QObject* watched, QEvent* event) override;

  QWidget& area_;
  QLabel* text_ = nullptr;
  QPushButton* next_ = nullptr;
  int page_ = 0;
};

}  // namespace marvik
