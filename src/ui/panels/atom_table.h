#pragma once

#include <QAbstractTableModel>
#include <functional>
#include <string>
#include <vector>

#include "model/document.h"

namespace marvik {

// The atoms of a document as a table: what passes the filter, in the order of the file or of a column. It holds values
// and serial numbers, so that it stays whole while the document changes under it.
class AtomTable : public QAbstractTableModel {
  Q_OBJECT

 public:
  enum Column { kName, kElement, kPart, kOccupancy, kU, kNote, kColumns };

  // `edit` takes the command text of a change, "#17 part=2", and a new name apart: "#17", "C1A".
  struct Edits {
    std::function<void(const std::string& text)> field;
    std::function<void(const std::string& atom, const std::string& name)> rename;
  };
  AtomTable(Edits edits, QObject* parentObject);

  // Takes over what the document holds now.
  void Update(const Document& document);
  // Names that begin with the text, or the element of that symbol, "part 1", "peak", "H"; "" for everything.
  void SetFilter(const QString& text);

  uint32_t SerialOf(int row) const { return atoms_[shown_[static_cast<size_t>(row)]].serial; }
  // -1 for what is not shown.
  int RowOf(uint32_t serial) const;

  int rowCount(const QModelIndex& parentIndex = {}) const override;
  int columnCount(const QModelIndex& parentIndex = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
  Qt::ItemFlags flags(const QModelIndex& index) const override;
  bool setData(const QModelIndex& index, const QVariant& value, int role) override;
  void sort(int column, Qt::SortOrder order) override;

 private:
  struct Row {
    uint32_t serial = 0;
    std::string name;
    std::string element;
    int part = 0;
    double occupancy = 1.0;
    double u = 0.0;       // Å²; of a riding atom the factor on its carrier's U, negative
    double peak = 0.0;    // e/Å³
    uint32_t colour = 0;  // 0xRRGGBB
    int afix = 0;
    bool anisotropic = false;
    bool isPeak = false;
    bool isImage = false;
    friend bool operator==(const Row&, const Row&) = default;
  };
  bool Passes(const Row& row) const;
  void Arrange();
  QString TextOf(const Row& row, int column) const;

  Edits edits_;
  std::vector<Row> atoms_;       // file order
  std::vector<uint32_t> shown_;  // indices into atoms_
  QString filter_;
  int sortColumn_ = -1;
  Qt::SortOrder sortOrder_ = Qt::AscendingOrder;
};

}  // namespace marvik
