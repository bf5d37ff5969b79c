
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

// By place, 0 for a separator.
TEST(Menus, KeepTheFixedPositions) {
  const std::pair<const char*, std::vector<int>> kMenus[] = {
      {"&File", {100, 101, 102, 230, 0, 166, 0, 154, 0, 228, 0, 104}},
      {"&Edit", {148, 0, 203, 193, 0, 229, 0, 500, 501}},
      {"&View", {119, 0, 120, 121}},
  };
  const auto bar = MenuOf(MenuKind::Bar);
  for (const auto& [text, ids] : kMenus) {
    const auto menu = std::ranges::find(bar, text, &MenuNode::text);
    ASSERT_NE(menu, bar.end()) << text;
    for (size_t i = 0; i < ids.size(); ++i) EXPECT_EQ(menu->items.at(i).id, ids[i]) << text << " " << i;
  }
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

}  // namespace
}  // namespace marvik
