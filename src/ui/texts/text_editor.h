#pragma once

#include <QMainWindow>
#include <functional>
#include <optional>
#include <string>

#include "base/files.h"

class QLineEdit;
class QPlainTextEdit;

namespace marvik {

// A plain-text editor for instruction files and listings, for desktops where none is configured. The bytes of a file
// that is not changed stay as they are; one that is saved keeps its encoding (UTF-8 or Latin-1) and its line ends.
class TextEditor : public QMainWindow {
  Q_OBJECT

 public:
  explicit TextEditor(QWidget* parent = nullptr);

  // False, after a message, when the file cannot be read or is no text.
  bool Open(const std::string& path);
  bool Save();
  QPlainTextEdit& Text() { return *text_; }

 Q_SIGNALS:
  void Closed();

 protected:
  void closeEvent(QCloseEvent* event) override;

 private:
  void MakeActions();
  void FindNext();

  QPlainTextEdit* text_;
  QLineEdit* sought_;
  std::string path_;
  std::optional<FileStamp> stamp_;  // of the file as it was read or saved
  bool isOurs_ = false;             // what is on the disk is what this editor saved
  bool isUtf8_ = true;
  bool hasDosLines_ = false;
};

// Starts the user's editor on a file, or the editor above when the command is not to be found. With `wait` this returns
// once it has been closed; the window stays alive but takes no input meanwhile. False after a message.
bool RunEditor(QWidget& window, const std::string& command, const std::string& path, bool wait);

}  // namespace marvik
