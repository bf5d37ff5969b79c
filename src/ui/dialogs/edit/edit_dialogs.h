#pragma once

#include <QHash>
#include <QObject>
#include <functional>
#include <optional>
#include <string>

#include "app/commands/command_table.h"
#include "app/workbench.h"

class QWidget;

namespace marvik {

class ChangePartDialog;
class HidePartDialog;

// The dialogs behind the commands that edit atoms, by the id of the command.
class EditDialogs : public QObject {
 public:
  using Runner = std::function<Outcome(int id, const std::string& argument)>;
  // `remembered` keeps what was last entered, by a name of the dialog, and must outlive this.
  EditDialogs(Workbench& bench, QWidget& window, QHash<QString, QString>& remembered, Runner run);

  static bool Handles(int id);
  // The text for the command; "" where the command itself says what is missing; nothing when cancelled, and after a
  // dialog that stays open has been brought up.
  std::optional<std::string> Ask(int id);
  // The open dialogs take over what the document is now.
  void Follow();

 private:
  std::optional<std::string> AskRemembered(int id);
  double PresentWidth() const;

  Workbench& bench_;
  QWidget& window_;
  QHash<QString, QString>& remembered_;
  Runner run_;
  ChangePartDialog* changePart_ = nullptr;
  HidePartDialog* hidePart_ = nullptr;
};

}  // namespace marvik
