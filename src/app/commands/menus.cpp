#include "app/commands/command_table.h"
#include "app/workbench.h"

namespace marvik {
namespace {

// One entry: a sub-menu has a text and no command, a separator neither, a command its own text or the one given here.
struct LayoutRow {
  int level;
  int id;
  const char* text = nullptr;
};

// Positions count the separators. Fixed are the whole of File, Edit up to FMOL (the sixth), and the first four of View;
// what is new goes behind them.
constexpr LayoutRow kBar[] = {
    {0, 0, "&File"},
    {1, 100},
    {1, 101},
    {1, 102},
    {1, 230},
    {1, 0},
    {1, 166},
    {1, 0},
    {1, 154},
    {1, 0},
    {1, kRecentFilesMenu, "Recent &Files"},
    {1, 0},
    {1, 104},
    {1, 0},
    {1, 523},
    {1, 507},
    {1, 508},
    {0, 0, "&Edit"},
    {1, 148},
    {1, 0},
    {1, 203},
    {1, 193},
    {1, 0},
    {1, 229},
    {1, 0},
    {1, 500},
    {1, 501},
    {1, 0},
    {1, 534},
    {1, 0},
    {1, 513},
    {1, 514},
    {0, 0, "&Refine"},
    {1, 103},
    {1, 520},
    {1, 0},
    {1, 521},
    {1, 522},
    {1, 524},
    {1, 0},
    {1, 625},
    {1, 0},
    {1, 630},
    {1, 631},
    {0, 0, "&Select"},
    {1, 144},
    {1, 184},
    {1, 0},
    {1, 185},
    {1, 0},
    {1, 243},
    {1, 244},
    {1, 245},
    {1, 0},
    {1, 113},
    {0, 0, "&Atoms"},
    {1, 114},
    {1, 510},
    {1, 115},
    {1, 183},
    {1, 0},
    {1, 167},
    {1, 237},
    {1, 246},
    {1, 0},
    {1, 151},
    {1, 153},
    {1, 192},
    {1, 628},
    {1, 0},
    {1, 511},
    {1, 0},
    {1, 600},
    {1, 601},
    {1, 604},
    {1, 0},
    {1, 605},
    {1, 606},
    {1, 607},
    {1, 614},
    {1, 615},
    {1, 616},
    {1, 0},
    {1, 617},
    {1, 618},
    {1, 620},
    {0, 0, "&Bonds"},
    {1, 0, "&Order"},
    {2, 189},
    {2, 190},
    {2, 191},
    {2, 235},
    {2, 236},
    {1, 0, "&Width"},
    {2, 219},
    {2, 217},
    {2, 218},
    {2, 220},
    {1, 0, "St&yle"},
    {2, 224},
    {2, 225},
    {2, 226},
    {0, 0, "&Geometry"},
    {1, 140},
    {1, 197},
    {1, 0},
    {1, 145},
    {1, 146},
    {1, 0},
    {1, 550},
    {1, 551},
    {1, 552},
    {1, 553},
    {1, 554},
    {1, 0},
    {1, 608},
    {1, 609},
    {1, 612},
    {1, 613},
    {1, 621},
    {1, 622},
    {0, 0, "S&ymmetry"},
    {1, 138},
    {1, 142},
    {1, 139},
    {1, 0},
    {1, 200},
    {1, 0},
    {1, 116},
    {1, 212},
    {0, 0, "&View"},
    {1, 119},
    {1, 0},
    {1, 120},
    {1, 121},
    {1, 0},
    {1, 0, "Re&ndition"},
    {2, 123},
    {2, 124},
    {2, 125},
    {2, 158},
    {2, 566},
    {1, 0, "Loo&k"},
    {2, 560},
    {2, 561},
    {2, 562},
    {2, 563},
    {2, 564},
    {2, 0},
    {2, 565},
    {2, 572},
    {1, 0, "&Labels"},
    {2, 106},
    {2, 108},
    {2, 195},
    {2, 0},
    {2, 204},
    {2, 205},
    {1, 143},
    {1, 107},
    {1, 0},
    {1, 168},
    {1, 602},
    {1, 603},
    {1, 619},
    {1, 624},
    {1, 0},
    {1, 502},
    {1, 118},
    {1, 503},
    {1, 0},
    {1, 206},
    {1, 216},
    {1, 570},
    {1, 573},
    {1, 0},
    {1, 0, "&View Along"},
    {2, 580},
    {2, 581},
    {2, 582},
    {2, 583},
    {2, 584},
    {2, 585},
    {2, 0},
    {2, 586},
    {2, 587},
    {2, 588},
    {2, 589},
    {1, 0, "Densit&y"},
    {2, 590},
    {2, 0},
    {2, 591},
    {2, 592},
    {2, 593},
    {2, 0},
    {2, 594},
    {2, 595},
    {2, 596},
    {2, 0},
    {2, 597},
    {2, 599},
    {2, 598},
    {2, 687},
    {2, 0},
    {2, 626},
    {2, 627},
    {1, 0, "Pan&els"},
    {2, 530},
    {2, 531},
    {2, 532},
    {2, 533},
    {2, 534},
    {2, 535},
    {2, 610},
    {2, 611},
    {2, 630},
    {2, 0},
    {2, 538},
    {2, 539},
    {1, 0, "Clip &by Depth"},
    {2, 682},
    {2, 0},
    {2, 683},
    {2, 684},
    {2, 685},
    {2, 686},
    {0, 0, "&Picture"},
    {1, 0, "&Colour"},
    {2, 208},
    {2, 209},
    {2, 214},
    {1, 0, "&Black && White"},
    {2, 210},
    {2, 211},
    {2, 215},
    {1, 0},
    {1, 504},
    {1, 0},
    {1, 505},
    {1, 506},
    {1, 651},
    {1, 652},
    {1, 0},
    {1, 650},
    {1, 653},
    {1, 654},
    {1, 655},
    {1, 0},
    {1, 656},
    {1, 657},
    {1, 658},
    {1, 659},
    {1, 660},
    {1, 662},
    {1, 0},
    {1, 661},
    {0, 0, "&Help"},
    {1, 231},
    {1, 232},
    {1, 242},
    {1, 234},
    {1, 233},
    {1, 247},
    {1, 0},
    {1, 571},
    {1, 159},
    {1, 0},
    {1, 540},
    {1, 541},
    {1, 0},
    {1, 300},
};

constexpr LayoutRow kAtomPopup[] = {
    {0, 127}, {0, 129}, {0, 238}, {0, 239}, {0, 241}, {0, 0}, {0, 137}, {0, 155}, {0, 141}, {0, 128},
    {0, 0},   {0, 213}, {0, 196}, {0, 0},   {0, 130}, {0, 0}, {0, 600}, {0, 601}, {0, 605}, {0, 615},
};

constexpr LayoutRow kBondPopup[] = {
    {0, 186},
    {0, 134},
    {0, 0, "&Order"},
    {1, 189},
    {1, 190},
    {1, 191},
    {1, 235},
    {1, 236},
    {0, 0, "&Width"},
    {1, 219},
    {1, 217},
    {1, 218},
    {1, 220, "&Custom"},
    {0, 0, "St&yle"},
    {1, 224},
    {1, 225},
    {1, 226},
    {0, 0},
    {0, 136},
    {0, 0},
    {0, 588},
    {0, 589},
};

constexpr LayoutRow kBackgroundPopup[] = {
    {0, 123, "&Wireframe"},
    {0, 124},
    {0, 125},
    {0, 158},
    {0, 0},
    {0, 106},
    {0, 108},
    {0, 195},
    {0, 143},
    {0, 0},
    {0, 138},
    {0, 142, "P&ack..."},
    {0, 139},
    {0, 212},
    {0, 144},
    {0, 200},
};

std::span<const LayoutRow> LayoutOf(MenuKind kind) {
  switch (kind) {
    case MenuKind::Bar:
      return kBar;
    case MenuKind::AtomPopup:
      return kAtomPopup;
    case MenuKind::BondPopup:
      return kBondPopup;
    case MenuKind::BackgroundPopup:
      return kBackgroundPopup;
  }
  return {};
}

std::string TextOf(const LayoutRow& row) {
  if (row.text) return row.text;
  const CommandRow* command = FindCommand(row.id);
  return command ? command->text : "";
}

// Rows from `at` on that lie at `level` or deeper.
std::vector<MenuNode> Branch(std::span<const LayoutRow> rows, size_t& at, int level) {
  std::vector<MenuNode> nodes;
  while (at < rows.size() && rows[at].level >= level) {
    const LayoutRow& row = rows[at++];
    MenuNode node{row.id, TextOf(row), {}};
    node.items = Branch(rows, at, level + 1);
    nodes.push_back(std::move(node));
  }
  return nodes;
}

}  // namespace

std::vector<MenuNode> MenuOf(MenuKind kind) {
  size_t at = 0;
  return Branch(LayoutOf(kind), at, 0);
}

std::vector<MenuNode> RecentFileEntries(const Workbench& bench) {
  std::vector<MenuNode> nodes;
  int id = kFirstRecentFileCommand;
  for (const std::string& path : bench.settings.RecentFiles) {
    if (!path.empty()) nodes.push_back({id, path, {}});
    ++id;
  }
  return nodes;
}

}  // namespace marvik
