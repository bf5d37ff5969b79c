#pragma once

#include <QFileSystemWatcher>
#include <QTimer>

#include "ui/background.h"
#include "ui/notice_bar.h"
#include "ui/panels/panel_set.h"

namespace marvik {

// Notices by itself that another program has written the file that is open, in place or by renaming another over it, or
// has taken it away, and that the molecules of a file just opened lie in pieces; tells so in the notices.
class FileWatch : public QObject {
  Q_OBJECT

 public:
  // Looks only while `isFree`: a command that runs may be writing the file itself.
  FileWatch(Workbench& bench, NoticeBar& notices, CommandRunner run, std::function<bool()> isFree);

  // A file has been opened.
  void FileOpened();
  // The document may be another.
  void Follow();
  // The file may be another.
  void CheckSoon() { timer_.start(); }

 private:
  void WatchCurrent();
  void Check();
  void TellThatItIsGone(const QString& name);
  void TellOfMolecules(size_t atoms);

  Workbench& bench_;
  NoticeBar& notices_;
  CommandRunner run_;
  std::function<bool()> isFree_;
  QFileSystemWatcher watcher_;
  std::string watched_;
  QTimer timer_;
  Background background_;
  unsigned openedAt_ = 0;  // the count of changes when the file was opened
};

}  // namespace marvik
