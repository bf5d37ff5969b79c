#pragma once

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "model/document.h"

namespace marvik {

// How the entries of the SFAC list are written: short forms first, then long ones, leaving out what has no name.
struct SfacOrder {
  std::vector<size_t> shortForms;  // indices into Instructions::sfac
  std::vector<size_t> longForms;
  std::vector<int> number;                    // by index: the number that atom lines use, 0 when it is not written
  std::array<int, kElementRows> rowNumber{};  // by row of the element table: that of its first entry, 0 when absent
};
SfacOrder OrderOfSfac(const Document& document);

// The symbol or, where that says less, the label of the file; "" for an entry of row 105 that has none.
std::string SfacLabel(const Document& document, size_t index);

// The lines that the writer makes from the model, without the last line end; "" when there is nothing to write.
struct InstructionForm {
  const char* key;
  std::string (*compose)(const Document& document);
};
inline constexpr size_t kInstructionForms = 14;
const std::array<InstructionForm, kInstructionForms>& InstructionForms();

// One of them by its key, or what the file said as long as the model still says the same.
std::string WrittenInstruction(const Document& document, std::string_view key);

// Whether two texts have the same words but for continuation marks, numbers compared as such and letters in either
// case.
bool SameWords(std::string_view a, std::string_view b);

}  // namespace marvik
