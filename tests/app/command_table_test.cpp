#include "app/commands/command_table.h"

#include <algorithm>
#include <set>

#include "app/bench_fixture.h"
#include "crystal/cell_metric.h"

#include "support/structures.h"

namespace marvik {
namespace {

using test::BenchTest;

// What scripts and recipes of years call by number.
constexpr int kNumbered[] = {
    100, 101, 102, 103, 104, 106, 107, 108, 113, 114, 115, 116, 118, 119, 120, 121, 123,   124,   125,   127,  128,
    129, 130, 134, 136, 137, 138, 139, 140, 141, 142, 143, 144, 145, 146, 148, 151, 153,   154,   155,   158,  159,
    160, 163, 164, 166, 167, 168, 183, 184, 185, 186, 189, 190, 191, 192, 193, 195, 196,   197,   200,   203,  204,
    205, 206, 208, 209, 210, 211, 212, 213, 214, 215, 216, 217, 218, 219, 220, 224, 225,   226,   229,   230,  231,
    232, 233, 234, 235, 236, 237, 238, 239, 241, 242, 243, 244, 245, 246, 247, 300, 10101, 10102, 10103, 10104};

// Commands whose work is missing: none.
const std::set<int> kGreyed;

TEST(CommandTable, HoldsEveryNumber) {
  for (const int id : kNumbered) EXPECT_TRUE(FindCommand(id)) << id;
  for (const CommandRow& row : CommandTable()) {
    EXPECT_STRNE(row.text, "") << row.id;
    EXPECT_TRUE(std::ranges::binary_search(kNumbered, row.id) || (row.id >= 500 && row.id < 1000) || row.id > 10104)
        << row.id;
  }
  EXPECT_FALSE(FindCommand(228));
}

TEST(CommandTable, IsGreyedOnlyWithAReason) {
  std::set<int> greyed;
  for (const CommandRow& row : CommandTable()) {
    EXPECT_EQ(row.run == nullptr, row.greyed[0] != '\0') << row.id;
    if (!row.run) greyed.insert(row.id);
  }
  EXPECT_EQ(greyed, kGreyed);
}

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

TEST(Menus, SpellTheContextMenus) {
  EXPECT_EQ(Spelled(MenuOf(MenuKind::AtomPopup)),
            "&Select, &Uniq, B&ond With..., S&ame..., &Move Near..., -, &Bonds and Angles, E&nviroment, &Centroid, "
            "&Edit, -, &Toggle Label, &Position Label..., -, &Delete, -, Spl&it..., &Join, "
            "&Restrain..., &What Restrains This");
  EXPECT_EQ(Spelled(MenuOf(MenuKind::BondPopup)),
            "&Select, &Info, [&Order: &Single, &Double, &Triple, &Aromatic, &Pi], "
            "[&Width: 0.02&5, 0.&1 (Default), 0.&2, &Custom], [St&yle: &Solid, &Dashed, D&otted], -, &Delete, -, "
            "A&long Bond, &Normal of Bond");
  const auto background = MenuOf(MenuKind::BackgroundPopup);
  EXPECT_EQ(Spelled(background),
            "&Wireframe, &Ball and Stick, &Thermal Ellipsoid, &Pipes, -, &Labels, &Hydrogen Labels, "
            "H&ybrid Label Coloration, Show &Cell, -, &Grow, P&ack..., T&rim, unUNI&Q, &Select..., &FMOL");
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
      EXPECT_EQ(RunCommand(bench, row.id, value), Outcome::Done) << row.name;
      EXPECT_EQ(CommandChecked(bench, row.id), std::string_view(value) == "on") << row.name;
    }
    RunCommand(bench, row.id);
    EXPECT_FALSE(CommandChecked(bench, row.id)) << row.name;
  }
  EXPECT_TRUE(messages.shown.empty());
}

TEST_F(BenchTest, UnusableCommandsSaySo) {
  EXPECT_EQ(RunCommand(bench, 99), Outcome::Failed);
  EXPECT_EQ(RunCommand(bench, 107), Outcome::Failed);  // needs a level, and nobody is there to ask
  ASSERT_EQ(messages.shown.size(), 2u);
  EXPECT_NE(messages.shown[1].text.find("107=LEVEL"), std::string::npos);
  for (const int greyed : kGreyed) {
    EXPECT_EQ(RunCommand(bench, greyed), Outcome::Failed);
    EXPECT_NE(messages.shown.back().text.find("not available yet"), std::string::npos);
    EXPECT_FALSE(CommandEnabled(bench, greyed));
  }
  EXPECT_FALSE(CommandEnabled(bench, 138)) << "there is nothing to grow";
}

// Runs every command with a text that fits most of them. Files are written into the scratch folder only.
void RunAll(Workbench& bench, const std::string& folder) {
  bench.hooks.askArgument = [&](int id) -> std::optional<std::string> {
    if (id == 102 || id == 230) return folder + std::to_string(id) + ".ins";
    if (id >= 504 && id <= 506) return folder + (id == 504 ? "504.svg" : "505.recipe");
    return id == 107 ? "40" : "C1";
  };
  bool quit = false;
  bench.hooks.quit = [&] { quit = true; };
  for (const CommandRow& row : CommandTable()) {
    if (row.id == 160 || row.id == 100) continue;  // would replace the structure that the others are run on
    const std::string_view argument = row.argument;
    RunCommand(bench, row.id,
               argument == "[ATOM]"            ? "C1"
               : argument.starts_with("[ATOM") ? "C1 C2"
               : argument.starts_with("[FILE") ? folder + std::to_string(row.id) + ".pdf"
                                               : "");
    RunCommand(bench, row.id);
    EXPECT_EQ(test::FaultsOf(bench.document.atoms), "") << row.id;
  }
  EXPECT_TRUE(quit);
}

TEST_F(BenchTest, EveryCommandSurvivesALargeDocument) {
  constexpr int kAtoms = 20000;
  bench.document.cell = {160, 320, 20, 90, 90, 90};
  ASSERT_TRUE(BuildOrthogonalisation(bench.document.cell, bench.document.matrix));
  for (int i = 1; i <= kAtoms; ++i) {
    test::AddAtom(bench.document, test::Numbered(i % 7 ? "C" : "Q", i),
                  {1.54 * (i % 100) / 160, 1.54 * (i / 100) / 320, 0.5});
  }
  bench.RefreshAfterStructureChange(false);
  bench.document.CurrentFile = folder / "large.ins";
  RunAll(bench, folder / "");
  EXPECT_GT(bench.document.atoms.LiveCount(), 500u);
  EXPECT_TRUE(folder.Has("large.ins"));
}

}  // namespace
}  // namespace marvik
