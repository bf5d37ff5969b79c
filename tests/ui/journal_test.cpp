#include <QComboBox>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTest>
#include <QTextBrowser>
#include <QTreeWidget>

#include "ui/panels/journal_panel.h"
#include "ui/panels/panel_set.h"

#include "window_fixture.h"

namespace marvik {
namespace {

constexpr char kCif[] =
    "data_model\n_cell_length_a 10\n_cell_length_b 10\n_cell_length_c 10\n_cell_angle_alpha 90\n_cell_angle_beta 90\n"
    "_cell_angle_gamma 90\n_chemical_formula_sum 'C2 O'\n_exptl_crystal_colour ?\nloop_\n_atom_site_label\n"
    "_atom_site_fract_x\n_atom_site_fract_y\n_atom_site_fract_z\n_atom_site_U_iso_or_equiv\nC1 0.1 0.1 0.1 0.04\n"
    "C2 0.2 0.1 0.1 0.04\nO1 0.5 0.5 0.5 0.9\n";

class JournalTest : public test::WindowTest {
 protected:
  void SetUp() override {
    Load();
    scratch.Put("model.cif", kCif);
    window->Run(kJournalPanelCommand);
    panel = static_cast<JournalPanel*>(window->Panels().Find(kJournalPanelCommand));
    ASSERT_TRUE(panel);
    list = panel->findChild<QTreeWidget*>();
    Wait();
  }
  void Wait() const {
    Settle();
    EXPECT_TRUE(Until([this] { return !panel->IsBusy(); }));
    Settle();
  }
  QTreeWidgetItem* Row(const char* text) const {
    const auto found = list->findItems(QString::fromUtf8(text), Qt::MatchContains, 1);
    return found.isEmpty() ? nullptr : found.front();
  }
  void ClickRow(QTreeWidgetItem* row) const {
    list->scrollToItem(row);
    QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, list->visualItemRect(row).center());
    Settle();
  }

  JournalPanel* panel = nullptr;
  QTreeWidget* list = nullptr;
};

TEST_F(JournalTest, AFindingSelectsItsAtomsAndIsExplained) {
  QTreeWidgetItem* row = Row("O1");
  ASSERT_TRUE(row);
  ClickRow(row);
  EXPECT_EQ(SelectedNames(), "O1");
  const QString text = panel->findChild<QTextBrowser*>()->toPlainText();
  EXPECT_TRUE(text.contains(QStringLiteral("To do:")) && text.contains(QStringLiteral("PLAT"))) << text.toStdString();
  const int all = list->topLevelItemCount();
  panel->findChild<QComboBox*>()->setCurrentIndex(0);
  EXPECT_LT(list->topLevelItemCount(), all);
  for (int i = 0; i < list->topLevelItemCount(); ++i) EXPECT_EQ(list->topLevelItem(i)->text(0), "A");
}

TEST_F(JournalTest, ANewCifIsCheckedAnew) {
  EXPECT_TRUE(Row("no symmetry operators"));
  const auto counts = [this] {
    for (const QLabel* label : window->findChildren<QLabel*>())
      if (label->accessibleName() == QLatin1String("Journal")) return label->text();
    return QString();
  };
  window->Run(kRefinementPanelCommand);
  EXPECT_TRUE(Until([&] { return counts().startsWith(QLatin1String("A ")); })) << "live beside R1";
  const QString before = counts();
  scratch.Put("model.cif", std::string(kCif) + "loop_\n_space_group_symop_operation_xyz\nx,y,z\n");
  window->Run(kRenameAtomCommand, "C1 C11");
  Wait();
  EXPECT_TRUE(panel->findChild<QLabel*>()->text().contains(QStringLiteral("changed since")));
  EXPECT_FALSE(Row("no symmetry operators"));
  EXPECT_TRUE(Until([&] { return counts() != before && counts() != QLatin1String("-"); }));
}

TEST_F(JournalTest, ItemsAndRepliesAreKeptAndGoIntoTheCif) {
  robot.Next([](QWidget& dialog) {
    auto* items = dialog.findChild<QTreeWidget*>();
    items->setCurrentItem(
        items->findItems(QStringLiteral("_exptl_absorpt_correction_T_min"), Qt::MatchExactly).front());
    auto* value = dialog.findChild<QPlainTextEdit*>();
    QTest::keyClicks(value, "7");
    QPushButton* ok = Button(dialog, "OK");
    ASSERT_TRUE(ok && ok->isDefault());
    EXPECT_FALSE(ok->isEnabled()) << "a transmission of 7";
    value->clear();
    items->setCurrentItem(items->findItems(QStringLiteral("_exptl_crystal_colour"), Qt::MatchExactly).front());
    QTest::keyClicks(value, "dark red");
    EXPECT_TRUE(ok->isEnabled());
    ok->click();
  });
  QTest::mouseClick(Button(*panel, "Items..."), Qt::LeftButton);
  Wait();
  EXPECT_NE(scratch.Get("model.cif").find("_exptl_crystal_colour 'dark red'"), std::string::npos);
  ClickRow(Row("O1"));
  robot.Next([](QWidget& dialog) {
    QTest::keyClicks(dialog.findChild<QPlainTextEdit*>(), "A water.");
    Button(dialog, "OK")->click();
  });
  QTest::mouseClick(Button(*panel, "Reply..."), Qt::LeftButton);
  Wait();
  const std::string kept = scratch.Get("model_publication.cif");
  EXPECT_NE(kept.find("_vrf_PLAT"), std::string::npos) << kept;
  EXPECT_NE(kept.find("RESPONSE: A water.\n"), std::string::npos);
  EXPECT_NE(kept.find("_exptl_crystal_colour 'dark red'"), std::string::npos);
}

}  // namespace
}  // namespace marvik
