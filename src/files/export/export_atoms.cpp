#include "files/export/export_atoms.h"

#include <algorithm>

#include "base/atomic_write.h"

namespace marvik {

namespace {

// How many bytes at the start of `text` are one character of UTF-8, 0 when they are none.
size_t Utf8Length(std::string_view text) {
  const auto byte = [text](size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned first = byte(0);
  if (first < 0x80) return first >= 0x20 && first != 0x7F ? 1 : 0;
  const size_t length = first >= 0xC2 && first < 0xE0 ? 2 : first >= 0xE0 && first < 0xF0 ? 3 : first < 0xF5 ? 4 : 0;
  if (first < 0xC2 || length == 0 || text.size() < length) return 0;
  for (size_t i = 1; i < length; ++i)
    if ((byte(i) & 0xC0) != 0x80) return 0;
  // Longer than need be, a surrogate, or beyond the last character.
  const unsigned second = byte(1);
  if ((first == 0xE0 && second < 0xA0) || (first == 0xED && second > 0x9F)) return 0;
  if ((first == 0xF0 && second < 0x90) || (first == 0xF4 && second > 0x8F)) return 0;
  return length;
}

}  // namespace

ExportAtoms::ExportAtoms(const Document& document) {
  size_t slots = 0;
  for (const AtomRecord* atom : marvik::Atoms(document.atoms, kVisibleOnly)) {
    atoms_.push_back(atom);
    slots = std::max<size_t>(slots, atom->slot + size_t{1});
  }
  serials_.resize(slots);
  for (size_t i = 0; i < atoms_.size(); ++i) serials_[atoms_[i]->slot] = static_cast<int>(i) + 1;
}

int ExportAtoms::SerialOf(const AtomRecord* atom) const {
  return atom->slot < serials_.size() ? serials_[atom->slot] : 0;
}

std::optional<ExportAtoms> AtomsToExport(const Document& document, UserMessages& messages) {
  ExportAtoms atoms(document);
  if (!std::ranges::any_of(atoms.Atoms(), [](const AtomRecord* atom) { return atom->IsPeak(); })) return atoms;
  messages.Show({MessageIcon::Warning, "Error: Found Atom of Type Q",
                 "There are still atoms of type Q remaining in this structure, translation cannot continue."});
  return {};
}

bool WriteExport(const std::string& path, const std::optional<std::string>& content, UserMessages& messages) {
  if (!content) return false;
  const int error = WriteDerivedFile(path, *content);
  if (error == 0) return true;
  messages.Show({MessageIcon::Warning, "Error: File I/O", WriteFault(path, error)});
  return false;
}

std::string Utf8Text(std::string_view text) {
  std::string clean;
  while (!text.empty()) {
    const size_t length = Utf8Length(text);
    clean += length == 0 ? std::string_view("?") : text.substr(0, length);
    text.remove_prefix(std::max<size_t>(length, 1));
  }
  return clean;
}

}  // namespace marvik
