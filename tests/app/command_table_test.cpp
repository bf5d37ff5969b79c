
#include <algorithm>
#include <set>

#include "app/bench_fixture.h"
#include "crystal/cell_metric.h"

#include "support/structures.h"

namespace marvik {
namespace {

using test::BenchTest;

TEST(CommandTable, HasEachNameAndShortcutOnce) {
  std::set<std::string> shortcuts;
  std::set<std::string> names;
  for (const CommandRow& row : CommandTable()) {
    EXPECT_TRUE(names.insert(row.name).second) << row.name;
    EXPECT_EQ(std::string(row.name).find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789.-"), std::string::npos);
    EXPECT_EQ(FindCommand(row.name), &row);
    EXPECT_EQ(FindCommand(std::to_string(row.id)), &row);
    const std::string shortcut = row.shortcut;
    EXPECT_TRUE(shortcut.empty() || shortcuts.insert(shortcut).second) << shortcut;
  }
}

void CollectIds(const std::vector<MenuNode>& nodes, std::multiset<int>& ids) {
  for (const MenuNode& node : nodes) {
    if (node.IsMenu()) {
      CollectIds(node.items, ids);
    } else if (!node.IsSeparator()) {
      ids.insert(node.id);
    }
  }
}

// "&Open..., -, [Order: ...]" for the entries of a menu.
std::string Spelled(const std::vector<MenuNode>& nodes) {
  std::string text;
  for (const MenuNode& node : nodes) {
    if (!text.empty()) text += ", ";
    text += node.IsSeparator()   ? "-"
            : node.items.empty() ? node.text
                                 : "[" + node.text + ": " + Spelled(node.items) + "]";
  }
  return text;
}

const MenuNode& TopMenu(const std::vector<MenuNode>& bar, const std::string& text) {
  const auto found = std::ranges::find(bar, text, &MenuNode::text);
  EXPECT_NE(found, bar.end()) << text;
  return found == bar.end() ? bar.front() : *found;
}

TEST(Menus, HoldEveryCommandOnce) {
  std::multiset<int> bar;
  std::multiset<int> popups;
  CollectIds(MenuOf(MenuKind::Bar), bar);
  for (MenuKind kind : {MenuKind::AtomPopup, MenuKind::BondPopup, MenuKind::BackgroundPopup}) {
    CollectIds(MenuOf(kind), popups);
  }
  const std::set<int> withoutEntry = {160,   163,   164,   512,   681,   10101, 10102, 10103,
                                      10104, 10105, 10106, 10107, 10108, 10109, 10110};
  for (const CommandRow& row : CommandTable()) {
    EXPECT_LE(bar.count(row.id), row.id == kInstructionsPanelCommand || row.id == kJournalPanelCommand ? 2u : 1u)
        << row.id;
    EXPECT_NE(bar.contains(row.id) || popups.contains(row.id), withoutEntry.contains(row.id)) << row.id;
  }
  for (const auto& ids : {bar, popups}) {
    for (int id : ids) EXPECT_TRUE(FindCommand(id)) << id;
  }
}

TEST(Menus, KeepTheFixedPositions) {
  const auto bar = MenuOf(MenuKind::Bar);
  EXPECT_EQ(
      Spelled(TopMenu(bar, "&File").items),
      "&Open..., &Save, Save &As..., Save A&ll..., -, &View Listing..., -, &Print..., -, Recent &Files, -, E&xit, -, "
      "&New from Reflections..., &Compare..., &Reload from Disk");
  const MenuNode& recent = TopMenu(bar, "&File").items[9];
  EXPECT_TRUE(recent.IsMenu());
  EXPECT_EQ(recent.id, 228);
  EXPECT_EQ(
      Spelled(TopMenu(bar, "&Edit").items),
      "&Edit Current File..., -, Kill all &Q-Peaks, &Restore Killed Atom(s)..., -, "
      "&FMOL after significant structure changes, -, &Undo, Re&do, -, &Instructions, -, &Copy Atoms, &Paste Atoms");
  const MenuNode& view = TopMenu(bar, "&View");
  EXPECT_EQ(view.items[0].id, 119);
  EXPECT_TRUE(view.items[1].IsSeparator());
  EXPECT_EQ(view.items[2].id, 120);
  EXPECT_EQ(view.items[3].id, 121);
}

TEST_F(BenchTest, TogglesAreSetByOnAndOff) {
  std::set<int> panels;
  bench.hooks.isPanelShown = [&panels](int id) { return panels.contains(id); };
  bench.hooks.showPanel = [&panels](int id, bool on) {
    if (on) panels.insert(id);
    if (!on) panels.erase(id);
  };
  // These need atoms or reflections.
  const std::set<std::string_view> needy{"zoom", "density", "show-voids"};
  for (const CommandRow& row : CommandTable()) {
    if (!row.TakesOnOff() || needy.contains(row.name)) continue;
    for (const char* value : {"on", "on", "off", "off", "on"}) {
      EXPECT_EQ(Run(row.id, value), Outcome::Done) << row.name;
      EXPECT_EQ(CommandChecked(bench, row.id), std::string_view(value) == "on") << row.name;
    }
    Run(row.id);
    EXPECT_FALSE(CommandChecked(bench, row.id)) << row.name;
  }
  EXPECT_TRUE(messages.shown.empty());
}

TEST_F(BenchTest, UnusableCommandsSaySo) {
  EXPECT_EQ(Run(99), Outcome::Failed);
  EXPECT_EQ(Run(107), Outcome::Failed);  // needs a level, and nobody is there to ask
  ASSERT_EQ(messages.shown.size(), 2u);
  EXPECT_NE(messages.shown[1].text.find("107=LEVEL"), std::string::npos);
  EXPECT_FALSE(CommandEnabled(bench, 138)) << "there is nothing to grow";
}

}  // namespace
}  // namespace marvik
