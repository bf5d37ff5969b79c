#pragma once

#include <QDialog>
#include <string>
#include <utility>
#include <vector>

#include "ui/window_settings.h"

class QCheckBox;
class QComboBox;
class QFormLayout;
class QLineEdit;
class QVBoxLayout;

namespace marvik {

// Everything that can be set, on one page with a search. OK says by which commands what was changed comes into force,
// and changes the settings that are the window's own.
class PreferencesDialog : public QDialog {
  Q_OBJECT

 public:
  PreferencesDialog(QWidget* parentWidget, Workbench& bench, WindowSettings& settings);

  using Commands = std::vector<std::pair<int, std::string>>;
  // To be run once the dialog is closed.
  const Commands& Chosen() const { return chosen_; }
  void accept() override;

 private:
  struct Row {
    QString words;  // lower case
    QWidget* caption;
    QWidget* field;
  };
  QFormLayout* Section(QVBoxLayout& layout, const QString& title);
  void Add(QFormLayout& form, const QString& caption, const char* words, QWidget* field);
  QComboBox* Choice(const std::vector<int>& commands);
  QCheckBox* Switch(QFormLayout& form, int command, const char* words);
  QCheckBox* Own(QFormLayout& form, const QString& text, const char* words, bool& value);
  QLineEdit* Line(QFormLayout& form, const QString& caption, const char* words, const std::string& value);
  void AddPicture(QVBoxLayout& layout);
  void AddRefinement(QVBoxLayout& layout);
  void Search(const QString& text);
  void Leave(int command);

  Workbench& bench_;
  WindowSettings& settings_;
  std::vector<Row> rows_;
  std::vector<QComboBox*> choices_;
  std::vector<std::pair<int, QCheckBox*>> switches_;
  std::vector<std::pair<bool*, QCheckBox*>> own_;
  QLineEdit* engine_ = nullptr;
  QLineEdit* options_ = nullptr;
  Commands chosen_;
};

}  // namespace marvik
