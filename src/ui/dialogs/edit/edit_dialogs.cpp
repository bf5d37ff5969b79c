#include "ui/dialogs/edit/edit_dialogs.h"

#include <QWidget>
#include <algorithm>

#include "ui/dialogs/edit/atom_dialog.h"
#include "ui/dialogs/edit/atom_name_dialog.h"
#include "ui/dialogs/edit/change_part_dialog.h"
#include "ui/dialogs/edit/group_label_dialog.h"
#include "ui/dialogs/edit/hide_part_dialog.h"
#include "ui/dialogs/edit/restore_killed_dialog.h"
#include "ui/dialogs/edit/select_atoms_dialog.h"
#include "ui/dialogs/edit/sort_atoms_dialog.h"
#include "ui/dialogs/preferences/bond_width_dialog.h"
#include "ui/text.h"

namespace marvik {
namespace {

// Commands with a dialog, and under what name its last input is kept, "" for not at all.
struct DialogRow {
  int id;
  const char* remembered;
};
constexpr DialogRow kDialogs[] = {
    {kEditAtomCommand, ""},    {kEditPickedAtomCommand, ""},    {kRenameAtomCommand, ""},
    {kSortCommand, "sort"},    {kSelectAtomsCommand, "select"}, {kGroupLabelCommand, "group label"},
    {kChangePartCommand, ""},  {kHidePartCommand, ""},          {kRestoreCommand, ""},
    {kCustomWidthCommand, ""},
};

template <class Dialog>
void BringUp(Dialog& dialog) {
  dialog.Follow();
  dialog.show();
  dialog.raise();
  dialog.activateWindow();
}

}  // namespace

EditDialogs::EditDialogs(Workbench& bench, QWidget& window, QHash<QString, QString>& remembered, Runner run)
    : QObject(&window), bench_(bench), window_(window), remembered_(remembered), run_(std::move(run)) {}

bool EditDialogs::Handles(int id) {
  return std::ranges::find(kDialogs, id, &DialogRow::id) != std::end(kDialogs);
}

std::optional<std::string> EditDialogs::Ask(int id) {
  const Document& document = bench_.document;
  const AtomArray& selection = document.atoms.selection;
  AtomRecord* picked = bench_.PickedAtom();
  switch (id) {
    case kEditAtomCommand:
      if (selection.Empty()) return "";
      return AskAtom(&window_, document, {selection.begin(), selection.end()});
    case kEditPickedAtomCommand:
      return picked ? AskAtom(&window_, document, {picked}) : std::optional<std::string>("");
    case kRenameAtomCommand:
      if (!picked && selection.Size() == 1) picked = selection[0];
      return picked ? AskAtomName(&window_, document, *picked) : std::optional<std::string>("");
    case kRestoreCommand:
      return document.atoms.killedHead ? AskRestoreKilled(&window_, document) : std::optional<std::string>("");
    case kCustomWidthCommand:
      return AskBondWidth(&window_, PresentWidth());
    case kChangePartCommand:
      if (!changePart_) changePart_ = new ChangePartDialog(&window_, bench_, run_);
      BringUp(*changePart_);
      return std::nullopt;
    case kHidePartCommand:
      if (!hidePart_) hidePart_ = new HidePartDialog(&window_, bench_, run_);
      BringUp(*hidePart_);
      return std::nullopt;
    default:
      return AskRemembered(id);
  }
}

std::optional<std::string> EditDialogs::AskRemembered(int id) {
  const Document& document = bench_.document;
  const AtomArray& selection = document.atoms.selection;
  if (id == kGroupLabelCommand && selection.Empty()) return "";
  QString& text = remembered_[QString::fromUtf8(std::ranges::find(kDialogs, id, &DialogRow::id)->remembered)];
  const std::string before = ToBytes(text);
  const auto answer = id == kSelectAtomsCommand ? AskSelectAtoms(&window_, document, before)
                      : id == kSortCommand
                          ? AskSortOrder(&window_, document, before)
                          : AskGroupLabel(&window_, document, {selection.begin(), selection.end()}, before);
  if (answer) text = ToText(*answer);
  return answer;
}

double EditDialogs::PresentWidth() const {
  constexpr double kUsual = 0.1;
  const BondRecord* bond = bench_.PickedBond();
  const auto& selected = bench_.document.atoms.selectedBonds;
  if (!bond && !selected.empty()) bond = selected.front();
  return bond ? static_cast<double>(bond->width) : kUsual;
}

void EditDialogs::Follow() {
  if (changePart_ && changePart_->isVisible()) changePart_->Follow();
  if (hidePart_ && hidePart_->isVisible()) hidePart_->Follow();
}

}  // namespace marvik
