#include "ui/panels/panel_set.h"

#include <QMainWindow>
#include <QScreen>
#include <algorithm>
#include <map>

#include "ui/dialogs/field_tips.h"
#include "ui/panels/geometry_panel.h"
#include "ui/panels/history_panel.h"
#include "ui/panels/instructions_panel.h"
#include "ui/panels/journal_panel.h"
#include "ui/panels/model_panel.h"
#include "ui/panels/parts_panel.h"
#include "ui/panels/refinement_panel.h"
#include "ui/panels/restraints_panel.h"
#include "ui/panels/structure_panel.h"
#include "ui/text.h"

namespace marvik {
namespace {

struct PanelKind {
  int command;
  const char* name;  // under which the layout is remembered
  Qt::DockWidgetArea area;
  bool usual;  // shown at the first start
  Panel* (*make)(Workbench& bench, const CommandRunner& run);
};

constexpr PanelKind kPanels[] = {
    {kStructurePanelCommand, "structure", Qt::LeftDockWidgetArea, true,
     [](Workbench& bench, const CommandRunner&) -> Panel* { return new StructurePanel(bench); }},
    {kRefinementPanelCommand, "refinement", Qt::LeftDockWidgetArea, true,
     [](Workbench& bench, const CommandRunner& run) -> Panel* { return new RefinementPanel(bench, run); }},
    {kModelPanelCommand, "model", Qt::RightDockWidgetArea, true,
     [](Workbench& bench, const CommandRunner& run) -> Panel* { return new ModelPanel(bench, run); }},
    {kGeometryPanelCommand, "geometry", Qt::RightDockWidgetArea, false,
     [](Workbench& bench, const CommandRunner&) -> Panel* { return new GeometryPanel(bench); }},
    {kPartsPanelCommand, "parts", Qt::RightDockWidgetArea, false,
     [](Workbench& bench, const CommandRunner& run) -> Panel* { return new PartsPanel(bench, run); }},
    {kRestraintsPanelCommand, "restraints", Qt::RightDockWidgetArea, false,
     [](Workbench& bench, const CommandRunner& run) -> Panel* { return new RestraintsPanel(bench, run); }},
    {kHistoryPanelCommand, "history", Qt::RightDockWidgetArea, false,
     [](Workbench& bench, const CommandRunner& run) -> Panel* { return new HistoryPanel(bench, run); }},
    {kInstructionsPanelCommand, "instructions", Qt::BottomDockWidgetArea, false,
     [](Workbench& bench, const CommandRunner& run) -> Panel* { return new InstructionsPanel(bench, run); }},
    {kJournalPanelCommand, "journal", Qt::BottomDockWidgetArea, false,
     [](Workbench& bench, const CommandRunner& run) -> Panel* { return new JournalPanel(bench, run); }},
};

const PanelKind& KindOf(int command) {
  return *std::ranges::find(kPanels, command, &PanelKind::command);
}

}  // namespace

QSize Panel::OfWidth(int width) const {
  const int most = screen() ? screen()->availableSize().width() / 4 : width;
  return {std::min(width, most), QWidget::sizeHint().height()};
}

PanelSet::PanelSet(Workbench& bench, QMainWindow& window, CommandRunner run)
    : QObject(&window), bench_(bench), window_(window), run_(std::move(run)) {
  std::map<Qt::DockWidgetArea, QDockWidget*> fronts;
  for (const PanelKind& kind : kPanels) {
    auto* dock = new QDockWidget(PlainCommandName(FindCommand(kind.command)->text), &window);
    dock->setObjectName(QLatin1String(kind.name));
    dock->hide();
    window.addDockWidget(kind.area, dock);
    // Side by side with the usual ones the others would leave little room for the picture: they share one place.
    QDockWidget*& front = fronts[kind.area];
    if (!kind.usual && front) window.tabifyDockWidget(front, dock);
    if (!kind.usual && !front) front = dock;
    entries_.push_back({kind.command, dock, nullptr});
    connect(dock, &QDockWidget::visibilityChanged, this, [this, command = kind.command](bool visible) {
      if (visible) Fill(*EntryOf(command));
    });
  }
}

PanelSet::Entry* PanelSet::EntryOf(int command) {
  const auto entry = std::ranges::find(entries_, command, &Entry::command);
  return entry == entries_.end() ? nullptr : &*entry;
}

const PanelSet::Entry* PanelSet::EntryOf(int command) const {
  const auto entry = std::ranges::find(entries_, command, &Entry::command);
  return entry == entries_.end() ? nullptr : &*entry;
}

void PanelSet::Fill(Entry& entry) {
  if (!entry.panel) {
    entry.panel = KindOf(entry.command).make(bench_, run_);
    entry.dock->setWidget(entry.panel);
    GiveTips(*entry.dock);
  }
  entry.panel->Follow();
}

bool PanelSet::IsShown(int command) const {
  const Entry* entry = EntryOf(command);
  return entry && entry->dock->isVisibleTo(&window_);
}

void PanelSet::Show(int command, bool on) {
  if (Entry* entry = EntryOf(command)) {
    entry->dock->setVisible(on);
    if (on) entry->dock->raise();
  }
}

void PanelSet::ShowUsual() {
  for (const PanelKind& kind : kPanels) Show(kind.command, kind.usual);
}

void PanelSet::HideAll() {
  for (const PanelKind& kind : kPanels) Show(kind.command, false);
}

void PanelSet::Follow() {
  for (Entry& entry : entries_) {
    // A panel behind another of a tabbed group is brought up to date when it comes to the front.
    if (entry.panel && entry.panel->isVisible()) entry.panel->Follow();
  }
}

bool PanelSet::Settle() {
  const auto may = [](const Entry& entry) { return !entry.panel || entry.panel->Settle(); };
  return std::ranges::all_of(entries_, may);
}

Panel* PanelSet::Find(int command) const {
  const Entry* entry = EntryOf(command);
  return entry ? entry->panel : nullptr;
}

}  // namespace marvik
