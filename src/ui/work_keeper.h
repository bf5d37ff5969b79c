#pragma once

#include <QObject>
#include <QTimer>
#include <QWidget>
#include <string>

#include "app/autosave.h"

namespace marvik {

// Sees to it that no edit goes with the program: keeps what is unsaved every two seconds, at the signals by which a
// user or the system ends a program, and when the desktop's session ends; offers what an earlier program left.
class WorkKeeper : public QObject {
 public:
  WorkKeeper(Workbench& bench, QWidget& window);
  ~WorkKeeper() override;  // keeps what is unsaved still

  // Asks about the newest that was left, of one file where a path is given, and restores it when that is wanted.
  void Offer(const std::string& path);
  // Keeps what is unsaved where the program is about to be left by others: the toolkit does so when the display goes.
  static void KeepNow();

 private:
  void WatchSignals();

  QWidget& window_;
  Autosave autosave_;
  QTimer timer_;
};

}  // namespace marvik
