#include "ui/panels/atom_table.h"

#include <QColor>
#include <algorithm>
#include <numeric>

#include "base/numbers.h"
#include "crystal/displacement.h"
#include "model/coded_values.h"
#include "model/placement.h"
#include "ui/text.h"

namespace marvik {
namespace {

constexpr const char* kCaptions[] = {"Atom", "El.", "Part", "Occ.", "U", "Note"};
constexpr const char* kTips[] = {
    "Name; a double click edits it",
    "Element",
    "PART number; a double click edits it",
    "Site occupation, free variables worked out; a double click edits it in the coding of the file",
    "Equivalent or isotropic displacement in Å²; a negative number rides on the carrier's",
    "What is special: anisotropic, riding, a symmetry image, the height of a peak",
};
// The field of the Edit command that a column edits.
constexpr const char* kFields[] = {"", "", "part", "occupancy", "u", ""};

bool Less(const QString& a, const QString& b) {
  return QString::compare(a, b, Qt::CaseInsensitive) < 0;
}

// "C2" before "C10".
bool NameLess(const std::string& a, const std::string& b) {
  const auto digits = [](const std::string& text) { return std::min(text.find_first_of("0123456789"), text.size()); };
  const size_t i = digits(a), j = digits(b);
  const std::string letters = a.substr(0, i), others = b.substr(0, j);
  if (letters != others) return letters < others;
  double x = 0.0, y = 0.0;
  ParseNumber(std::string_view(a).substr(i), x);
  ParseNumber(std::string_view(b).substr(j), y);
  return x != y ? x < y : a < b;
}

}  // namespace

AtomTable::AtomTable(Edits edits, QObject* parentObject)
    : QAbstractTableModel(parentObject), edits_(std::move(edits)) {}

void AtomTable::Update(const Document& document) {
  std::vector<Row> fresh;
  fresh.reserve(atoms_.size());
  const Metric metric = MakeMetric(document.cell);
  for (const AtomRecord* atom : Atoms(document.atoms)) {
    Row row{atom->serial, atom->name, std::string(atom->element->Symbol()), atom->part};
    row.occupancy = DecodedOccupancy(*atom, document.instructions);
    row.u = PlainUeq(*atom, metric);
    row.peak = atom->peakHeight;
    const ElementColour colour = atom->element->colour;
    row.colour = static_cast<uint32_t>(RedOf(colour) << 16 | GreenOf(colour) << 8 | BlueOf(colour));
    row.afix = atom->afix;
    row.anisotropic = atom->IsAnisotropic();
    row.isPeak = atom->IsPeak();
    row.isImage = atom->generated != 0;
    fresh.push_back(std::move(row));
  }
  if (fresh == atoms_) return;
  const bool same = std::ranges::equal(fresh, atoms_, {}, &Row::serial, &Row::serial);
  if (same && filter_.isEmpty() && sortColumn_ < 0) {
    atoms_ = std::move(fresh);
    if (!atoms_.empty()) Q_EMIT dataChanged(index(0, 0), index(rowCount() - 1, kColumns - 1));
    return;
  }
  beginResetModel();
  atoms_ = std::move(fresh);
  Arrange();
  endResetModel();
}

void AtomTable::SetFilter(const QString& text) {
  if (filter_ == text.trimmed()) return;
  beginResetModel();
  filter_ = text.trimmed();
  Arrange();
  endResetModel();
}

bool AtomTable::Passes(const Row& row) const {
  if (filter_.isEmpty()) return true;
  if (filter_.startsWith(QLatin1String("part"), Qt::CaseInsensitive)) return filter_.mid(4).toInt() == row.part;
  if (QLatin1String("peaks").startsWith(filter_, Qt::CaseInsensitive) && filter_.size() > 1) return row.isPeak;
  const auto is = [this](const std::string& text) {
    return QString::compare(filter_, ToText(text), Qt::CaseInsensitive) == 0;
  };
  return is(row.element) || ToText(row.name).startsWith(filter_, Qt::CaseInsensitive);
}

void AtomTable::Arrange() {
  shown_.clear();
  for (uint32_t i = 0; i < atoms_.size(); ++i) {
    if (Passes(atoms_[i])) shown_.push_back(i);
  }
  if (sortColumn_ < 0) return;
  const auto less = [this](uint32_t i, uint32_t j) {
    const Row& a = atoms_[i];
    const Row& b = atoms_[j];
    switch (sortColumn_) {
      case kName:
        return NameLess(a.name, b.name);
      case kPart:
        return a.part < b.part;
      case kOccupancy:
        return a.occupancy < b.occupancy;
      case kU:
        return a.u < b.u;
      case kNote:
        if (a.isPeak && b.isPeak) return a.peak < b.peak;
        break;
      default:
        break;
    }
    return Less(TextOf(a, sortColumn_), TextOf(b, sortColumn_));
  };
  if (sortOrder_ == Qt::AscendingOrder) {
    std::ranges::stable_sort(shown_, less);
  } else {
    std::ranges::stable_sort(shown_, [&less](uint32_t i, uint32_t j) { return less(j, i); });
  }
}

int AtomTable::RowOf(uint32_t serial) const {
  const auto at = std::ranges::find(shown_, serial, [this](uint32_t i) { return atoms_[i].serial; });
  return at == shown_.end() ? -1 : static_cast<int>(at - shown_.begin());
}

int AtomTable::rowCount(const QModelIndex& parentIndex) const {
  return parentIndex.isValid() ? 0 : static_cast<int>(shown_.size());
}

int AtomTable::columnCount(const QModelIndex& parentIndex) const {
  return parentIndex.isValid() ? 0 : kColumns;
}

QString AtomTable::TextOf(const Row& row, int column) const {
  switch (column) {
    case kName:
      return ToText(row.name);
    case kElement:
      return row.isPeak ? tr("peak") : ToText(row.element);
    case kPart:
      return row.part != 0 ? QString::number(row.part) : QString();
    case kOccupancy:
      return QString::fromStdString(Printf("%.3f", row.occupancy));
    case kU:
      return row.isPeak ? QString() : QString::fromStdString(Printf(row.u < 0 ? "%.2f" : "%.4f", row.u));
    case kNote:
      break;
    default:
      return {};
  }
  QStringList notes;
  if (row.isPeak && row.peak != 0.0) notes << QString::fromStdString(Printf("%.2f e/Å³", row.peak));
  if (row.isImage) notes << tr("image");
  if (row.anisotropic) notes << tr("aniso");
  if (row.afix != 0) notes << QStringLiteral("AFIX %1").arg(row.afix);
  return notes.join(QStringLiteral(", "));
}

QVariant AtomTable::data(const QModelIndex& index, int role) const {
  if (!index.isValid() || index.row() >= rowCount()) return {};
  const Row& row = atoms_[shown_[static_cast<size_t>(index.row())]];
  switch (role) {
    case Qt::DisplayRole:
      return TextOf(row, index.column());
    case Qt::EditRole:
      return TextOf(row, index.column());
    case Qt::TextAlignmentRole:
      return index.column() >= kPart && index.column() <= kU ? QVariant(Qt::AlignRight | Qt::AlignVCenter) : QVariant();
    case Qt::DecorationRole:
      return index.column() == kName ? QVariant(QColor(QRgb(row.colour))) : QVariant();
    default:
      return {};
  }
}

QVariant AtomTable::headerData(int section, Qt::Orientation orientation, int role) const {
  if (orientation != Qt::Horizontal || section < 0 || section >= kColumns) return {};
  if (role == Qt::DisplayRole) return tr(kCaptions[section]);
  if (role == Qt::ToolTipRole) return tr(kTips[section]);
  return {};
}

Qt::ItemFlags AtomTable::flags(const QModelIndex& index) const {
  Qt::ItemFlags flags = QAbstractTableModel::flags(index);
  if (!index.isValid() || index.row() >= rowCount()) return flags;
  const Row& row = atoms_[shown_[static_cast<size_t>(index.row())]];
  const bool isField = kFields[index.column()][0] != '\0' && !row.isPeak;
  const bool wouldHideSix = index.column() == kU && row.anisotropic;
  if (!row.isImage && (index.column() == kName || (isField && !wouldHideSix))) flags |= Qt::ItemIsEditable;
  return flags;
}

bool AtomTable::setData(const QModelIndex& index, const QVariant& value, int role) {
  if (role != Qt::EditRole || !(flags(index) & Qt::ItemIsEditable)) return false;
  const QString text = value.toString().trimmed();
  if (text.isEmpty() || text == data(index, Qt::EditRole).toString()) return false;
  const std::string atom = "#" + std::to_string(SerialOf(index.row()));
  // The command shows what is wrong, and the table follows the document in any case.
  if (index.column() == kName) {
    edits_.rename(atom, ToBytes(text));
  } else {
    edits_.field(atom + " " + kFields[index.column()] + "=" + ToBytes(text));
  }
  return true;
}

void AtomTable::sort(int column, Qt::SortOrder order) {
  beginResetModel();
  sortColumn_ = column;
  sortOrder_ = order;
  Arrange();
  endResetModel();
}

}  // namespace marvik
