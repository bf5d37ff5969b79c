#include "ui/panels/geometry_panel.h"

#include <QComboBox>
#include <QFontDatabase>
#include <QLabel>
#include <QPlainTextEdit>
#include <QSplitter>
#include <QVBoxLayout>
#include <algorithm>

#include "app/reports.h"
#include "app/uncertainty_files.h"
#include "ui/text.h"

namespace marvik {
namespace {

constexpr size_t kMostSites = 12;  // that are measured along
constexpr int kNoReport = -1;

struct Choice {
  int kind;
  const char* text;
};
constexpr Choice kChoices[] = {
    {kNoReport, "No report"},
    {static_cast<int>(ReportKind::Bonds), "Bonds"},
    {static_cast<int>(ReportKind::Angles), "Angles"},
    {static_cast<int>(ReportKind::Torsions), "Torsion angles"},
    {static_cast<int>(ReportKind::HydrogenBonds), "Hydrogen bonds"},
    {static_cast<int>(ReportKind::Contacts), "Short contacts"},
    {static_cast<int>(ReportKind::Environments), "Environments"},
    {static_cast<int>(ReportKind::MeanPlane), "Plane"},
    {static_cast<int>(ReportKind::Atoms), "Atoms"},
};

QPlainTextEdit* TextField(const QString& name) {
  auto* text = new QPlainTextEdit;
  text->setReadOnly(true);
  text->setLineWrapMode(QPlainTextEdit::NoWrap);
  text->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
  text->setAccessibleName(name);
  text->setTabChangesFocus(true);
  return text;
}

}  // namespace

GeometryPanel::GeometryPanel(Workbench& bench) : bench_(bench) {
  measured_ = TextField(tr("Measured along the selected atoms"));
  measured_->setObjectName(QStringLiteral("measured"));
  measured_->setPlaceholderText(tr("Select two atoms for a distance, three for an angle, four for a torsion angle."));
  report_ = TextField(tr("Report"));
  report_->setObjectName(QStringLiteral("report"));
  kind_ = new QComboBox;
  kind_->setAccessibleName(tr("Report"));
  kind_->setToolTip(tr("A report on the selected atoms, or on all"));
  for (const Choice& choice : kChoices) kind_->addItem(tr(choice.text), choice.kind);
  auto* below = new QWidget;
  auto* belowLayout = new QVBoxLayout(below);
  belowLayout->setContentsMargins(0, 0, 0, 0);
  belowLayout->addWidget(kind_);
  belowLayout->addWidget(report_, 1);
  auto* splitter = new QSplitter(Qt::Vertical);
  splitter->addWidget(measured_);
  splitter->addWidget(below);
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(2, 2, 2, 2);
  layout->addWidget(splitter);
  connect(kind_, &QComboBox::currentIndexChanged, this, &GeometryPanel::ShowReport);
}

void GeometryPanel::Follow() {
  std::vector<uint32_t> selected;
  for (const AtomRecord* atom : bench_.document.atoms.selection) selected.push_back(atom->serial);
  if (shown_ && selected == selected_ && bench_.changes == changes_ && bench_.document.CurrentFile == file_) return;
  selected_ = std::move(selected);
  changes_ = bench_.changes;
  file_ = bench_.document.CurrentFile;
  shown_ = true;
  ShowMeasured();
  ShowReport();
}

void GeometryPanel::ShowMeasured() {
  std::vector<GeometrySite> sites;
  for (const AtomRecord* atom : bench_.document.atoms.selection) {
    if (sites.size() < kMostSites) sites.push_back({atom, 0, atom->fract});
  }
  if (sites.size() < 2) return measured_->clear();
  const auto source = FindUncertainties(bench_.document, bench_.reports.uncertainties);
  const GeometryUncertainty uncertainty(bench_.document, source.get());
  ReportTable table({"", "", "", ""});
  for (size_t length = 2; length <= std::min<size_t>(sites.size(), 4); ++length) {
    for (size_t first = 0; first + length <= sites.size(); ++first) {
      const std::span<const GeometrySite> part = std::span(sites).subspan(first, length);
      std::vector<Cartesian> places;
      std::string names;
      for (const GeometrySite& site : part) {
        places.push_back(site.atom->position);
        names += (names.empty() ? "" : "–") + site.atom->name;
      }
      const auto value = GeometryOf(places);
      table.Text(names);
      if (value) {
        table.Measured(*value, uncertainty.OfGeometry(part), length == 2 ? 4 : 2);
      } else {
        table.Missing();
        table.Missing();
      }
      table.Text(length == 2 ? "Å" : "°");
    }
  }
  QString text = ToText(table.Aligned());
  measured_->setPlainText(text.remove(0, text.indexOf(QLatin1Char('\n')) + 1));
}

void GeometryPanel::ShowReport() {
  const int kind = kind_->currentData().toInt();
  report_->setVisible(kind != kNoReport);
  if (kind == kNoReport) return;
  ReportRequest request;
  request.kind = static_cast<ReportKind>(kind);
  if (request.kind == ReportKind::MeanPlane) request.members = selected_;
  const auto report = bench_.document.atoms.head ? ComposeReport(bench_, request) : std::nullopt;
  report_->setPlainText(report ? ToText(PlainLines(report->text)) : tr("There is nothing to report."));
}

}  // namespace marvik
