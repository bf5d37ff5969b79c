#include "base/text_string.h"

#include <bit>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

namespace marvik {

namespace {
constexpr const char* kCaption = "String Error:";
constexpr size_t kLongestBlock = 32767;
}  // namespace

TextString::Block* TextString::Empty() {
  // Never written to: every change of an empty string allocates first.
  static EmptyBlock empty;
  return &empty.block;
}

TextString::Block* TextString::Allocate(int capacity) {
  void* memory = std::malloc(sizeof(Block) + static_cast<size_t>(capacity));
  if (!memory) throw std::bad_alloc();
  Block* block = new (memory) Block;
  block->capacity = static_cast<uint16_t>(capacity);
  block->Characters()[0] = 0;
  return block;
}

TextString::TextString(const TextString& other) {
  if (other.block_ == Empty()) return;
  block_ = Allocate(other.block_->capacity);
  block_->length = other.block_->length;
  std::memcpy(block_->Characters(), other.block_->Characters(), static_cast<size_t>(block_->length) + 1);
}

TextString::TextString(TextString&& other) noexcept : block_(std::exchange(other.block_, Empty())) {}

TextString& TextString::operator=(TextString other) noexcept {
  std::swap(block_, other.block_);
  return *this;
}

TextString::~TextString() {
  if (block_ != Empty()) std::free(block_);
}

bool TextString::Append(std::string_view text, UserMessages& messages) {
  if (text.empty()) return true;
  const size_t length = static_cast<size_t>(block_->length) + text.size();
  size_t capacity = length < kLongestBlock ? std::bit_ceil(length + 10) : kLongestBlock;
  if (capacity < 16) capacity = 16;
  if (capacity >= kLongestBlock) {
    messages.Show({MessageIcon::Warning, kCaption, "Requested length is out of range."});
    return false;
  }
  if (length + 1 > block_->capacity) {
    Block* grown = Allocate(static_cast<int>(capacity));
    std::memcpy(grown->Characters(), block_->Characters(), block_->length);
    grown->length = block_->length;
    // `text` may be part of this very string, so the old block goes last.
    std::memcpy(grown->Characters() + grown->length, text.data(), text.size());
    if (block_ != Empty()) std::free(block_);
    block_ = grown;
  } else {
    std::memmove(block_->Characters() + block_->length, text.data(), text.size());
  }
  block_->length = static_cast<uint16_t>(length);
  block_->Characters()[length] = 0;
  return true;
}

char TextString::At(int index, UserMessages& messages) const {
  if (index >= 0 && index < Length()) return block_->Characters()[index];
  messages.Show({MessageIcon::Warning, kCaption, "invalid index"});
  return 0;
}

int TextString::Find(std::string_view part, int from) const {
  const size_t at = View().find(part, from < 0 ? 0 : static_cast<size_t>(from));
  return at == std::string_view::npos ? -1 : static_cast<int>(at);
}

bool TextString::Matches(std::string_view part, int position, bool exactLength) const {
  if (position < 0 || position > Length()) return false;
  const std::string_view rest = View().substr(static_cast<size_t>(position));
  return exactLength ? rest == part : rest.substr(0, part.size()) == part;
}

TextString TextString::Mapped(char first, char last, int offset) const {
  TextString copy(*this);
  for (int i = 0; i < copy.Length(); ++i) {
    char& c = copy.block_->Characters()[i];
    if (c >= first && c <= last) c = static_cast<char>(c + offset);
  }
  return copy;
}

TextString TextString::Upper() const {
  return Mapped('a', 'z', 'A' - 'a');
}
TextString TextString::Lower() const {
  return Mapped('A', 'Z', 'a' - 'A');
}

}  // namespace marvik
