#include "ui/dialogs/preferences/preferences_dialog.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScrollArea>
#include <QVBoxLayout>

#include "app/commands/command_table.h"
#include "ui/text.h"

namespace marvik {

PreferencesDialog::PreferencesDialog(QWidget* parentWidget, Workbench& bench, WindowSettings& settings)
    : QDialog(parentWidget), bench_(bench), settings_(settings) {
  setWindowTitle(tr("Preferences"));
  setObjectName(QStringLiteral("preferences"));
  auto* search = new QLineEdit;
  search->setObjectName(QStringLiteral("search"));
  search->setPlaceholderText(tr("Search: labels, colours, engine"));
  search->setAccessibleName(tr("Search the preferences"));
  connect(search, &QLineEdit::textChanged, this, &PreferencesDialog::Search);
  auto* page = new QWidget;
  auto* sections = new QVBoxLayout(page);
  AddPicture(*sections);
  auto* panels = Section(*sections, tr("Panels"));
  for (const int id : {kStructurePanelCommand, kRefinementPanelCommand, kModelPanelCommand, kGeometryPanelCommand,
                       kHistoryPanelCommand, kPartsPanelCommand, kRestraintsPanelCommand, kInstructionsPanelCommand,
                       kJournalPanelCommand})
    Switch(*panels, id, "panel dock beside");
  AddRefinement(*sections);
  auto* start = Section(*sections, tr("Start"));
  Own(*start, tr("Open the last structure at the start"), "session restore file", settings_.restoresSession);
  auto* more = Section(*sections, tr("More"));
  for (const int id : {kAtomPreferencesCommand, kOpenGlPreferencesCommand}) {
    const QString name = PlainCommandName(FindCommand(id)->text);
    auto* button = new QPushButton(name + QStringLiteral("..."));
    button->setAutoDefault(false);
    connect(button, &QPushButton::clicked, this, [this, id] { Leave(id); });
    Add(*more, QString(),
        id == kAtomPreferencesCommand ? "colours radii probability elements bond" : "opengl font background layers",
        button);
  }
  sections->addStretch(1);
  auto* scroll = new QScrollArea;
  scroll->setWidgetResizable(true);
  scroll->setFrameShape(QFrame::NoFrame);
  scroll->setWidget(page);
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
  connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(search);
  layout->addWidget(scroll, 1);
  layout->addWidget(buttons);
  resize(fontMetrics().averageCharWidth() * 76, fontMetrics().height() * 36);
  search->setFocus();
}

QFormLayout* PreferencesDialog::Section(QVBoxLayout& layout, const QString& title) {
  auto* group = new QGroupBox(title);
  auto* form = new QFormLayout(group);
  form->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
  layout.addWidget(group);
  return form;
}

void PreferencesDialog::Add(QFormLayout& form, const QString& caption, const char* words, QWidget* field) {
  auto* label = caption.isEmpty() ? nullptr : new QLabel(caption);
  if (label) {
    label->setBuddy(field);
    field->setAccessibleName(QString(caption).remove(QLatin1Char('&')));
    form.addRow(label, field);
  } else {
    form.addRow(field);
  }
  const auto* button = qobject_cast<QAbstractButton*>(field);
  const QString text =
      caption + QLatin1Char(' ') + (button ? button->text() : QString()) + QLatin1Char(' ') + QString::fromUtf8(words);
  rows_.push_back({QString(text).remove(QLatin1Char('&')).toLower(), label, field});
}

QComboBox* PreferencesDialog::Choice(const std::vector<int>& commands) {
  auto* box = new QComboBox;
  box->setObjectName(QString::fromUtf8(FindCommand(commands.front())->name));
  for (const int id : commands) {
    box->addItem(PlainCommandName(FindCommand(id)->text), id);
    if (CommandChecked(bench_, id)) box->setCurrentIndex(box->count() - 1);
  }
  box->setProperty("shown", box->currentIndex());
  choices_.push_back(box);
  return box;
}

QCheckBox* PreferencesDialog::Switch(QFormLayout& form, int command, const char* words) {
  auto* box = new QCheckBox(PlainCommandName(FindCommand(command)->text));
  box->setObjectName(QString::fromUtf8(FindCommand(command)->name));
  box->setChecked(CommandChecked(bench_, command));
  switches_.emplace_back(command, box);
  Add(form, QString(), words, box);
  return box;
}

QCheckBox* PreferencesDialog::Own(QFormLayout& form, const QString& text, const char* words, bool& value) {
  auto* box = new QCheckBox(text);
  box->setObjectName(QString::fromUtf8(words).section(QLatin1Char(' '), 0, 0));
  box->setChecked(value);
  own_.emplace_back(&value, box);
  Add(form, QString(), words, box);
  return box;
}

QLineEdit* PreferencesDialog::Line(QFormLayout& form, const QString& caption, const char* words,
                                   const std::string& value) {
  auto* line = new QLineEdit(PathToText(value));
  Add(form, caption, words, line);
  return line;
}

void PreferencesDialog::AddPicture(QVBoxLayout& layout) {
  constexpr int kHydrogenLabels = 108;
  constexpr int kHybridColours = 195;
  constexpr int kSafeColours = 565;
  auto* form = Section(layout, tr("Picture"));
  Add(*form, tr("&Rendition:"), "lit balls ellipsoids sticks wire quality",
      Choice({kLitCommand, kWireFrameCommand, kBallAndStickCommand, kThermalEllipsoidCommand, kPipesCommand}));
  Add(*form, tr("&Look:"), "theme dark light background colours",
      Choice({kDarkLookCommand, kLightLookCommand, kPaperLookCommand, kClassicLookCommand, kDesktopLookCommand}));
  Switch(*form, kSafeColours, "palette elements colors accessible");
  Switch(*form, kAmbientShadowCommand, "lit light quality occlusion");
  Switch(*form, kInertiaCommand, "mouse drag turn rotate spin");
  Switch(*form, kLabelsCommand, "names text");
  Switch(*form, kHydrogenLabels, "names text");
  Switch(*form, kHybridColours, "names text");
}

void PreferencesDialog::AddRefinement(QVBoxLayout& layout) {
  auto* form = Section(layout, tr("Refinement"));
  engine_ = Line(*form, tr("&Program:"), "engine path least squares", bench_.settings.Engine);
  engine_->setPlaceholderText(tr("what the script zqfrommarvik.bat names"));
  engine_->setToolTip(tr("The program that the script starts in a run from this window"));
  options_ = Line(*form, tr("Op&tions:"), "engine threads arguments", bench_.settings.EngineOptions);
  options_->setToolTip(tr("Words that the program gets before the name of the job"));
  Own(*form, tr("Close the window of a run when it has finished"), "output", settings_.closeRunWhenFinished);
  Own(*form, tr("Accept a result in which nothing moved without asking"), "result", settings_.skipsResult);
}

// What every word of the text is in, sections without any left out.
void PreferencesDialog::Search(const QString& text) {
  const QStringList words = text.toLower().split(QLatin1Char(' '), Qt::SkipEmptyParts);
  for (const Row& row : rows_) {
    const auto* group = qobject_cast<QGroupBox*>(row.field->parentWidget());
    const QString all = row.words + QLatin1Char(' ') + (group ? group->title().toLower() : QString());
    const bool shown = std::ranges::all_of(words, [&](const QString& word) { return all.contains(word); });
    row.field->setVisible(shown);
    if (row.caption) row.caption->setVisible(shown);
  }
  for (auto* group : findChildren<QGroupBox*>()) {
    const auto inside = [&](const Row& row) { return row.field->parentWidget() == group && !row.field->isHidden(); };
    group->setVisible(std::ranges::any_of(rows_, inside));
  }
}

void PreferencesDialog::Leave(int command) {
  accept();
  chosen_.emplace_back(command, "");
}

void PreferencesDialog::accept() {
  for (const QComboBox* box : choices_) {
    if (box->currentIndex() != box->property("shown").toInt()) chosen_.emplace_back(box->currentData().toInt(), "");
  }
  // Looks may show and hide panels; what was ticked here comes after them.
  for (const auto& [command, box] : switches_) {
    if (box->isChecked() != CommandChecked(bench_, command))
      chosen_.emplace_back(command, box->isChecked() ? "on" : "off");
  }
  for (const auto& [value, box] : own_) *value = box->isChecked();
  bench_.settings.Engine = PathToBytes(engine_->text().trimmed());
  bench_.settings.EngineOptions = PathToBytes(options_->text().trimmed());
  QDialog::accept();
}

}  // namespace marvik
