#pragma once

#include <cstdint>
#include <string_view>

#include "base/user_messages.h"

namespace marvik {

// The string of the instruction-file code: a handle to a heap block that holds a 16-bit length, a 16-bit capacity and
// the NUL-terminated characters. All empty strings share one static block. Blocks grow to the smallest power of two, at
// least 16, that holds length + 10.
//
// A block that would reach 32767 bytes or more is refused with "Requested length is out of range.", an index past the
// end with "invalid index", both captioned "String Error:"; the string then stays as it was.
class TextString {
 public:
  TextString() = default;
  // What does not fit leaves the string empty, after the message.
  TextString(std::string_view text, UserMessages& messages) { Append(text, messages); }
  TextString(const TextString& other);
  TextString(TextString&& other) noexcept;
  TextString& operator=(TextString other) noexcept;
  ~TextString();

  int Length() const { return block_->length; }
  int Capacity() const { return block_->capacity; }
  std::string_view View() const& { return {block_->Characters(), static_cast<size_t>(block_->length)}; }
  std::string_view View() const&& = delete;  // the block would be gone
  const char* CString() const { return block_->Characters(); }

  bool Append(std::string_view text, UserMessages& messages);
  // The character at `index`, 0 after the message when there is none.
  char At(int index, UserMessages& messages) const;
  // Position of `part` at or after `from`, -1 when absent.
  int Find(std::string_view part, int from = 0) const;
  // Whether `part` stands at `position`; with exactLength nothing may follow it, which is how keywords are matched.
  bool Matches(std::string_view part, int position = 0, bool exactLength = false) const;
  // ASCII letters only, whatever the locale.
  TextString Upper() const;
  TextString Lower() const;

 private:
  struct Block {
    uint16_t length = 0;
    uint16_t capacity = 0;
    char* Characters() { return reinterpret_cast<char*>(this + 1); }
    const char* Characters() const { return reinterpret_cast<const char*>(this + 1); }
  };
  struct EmptyBlock {
    Block block;
    char terminator = 0;
  };
  static Block* Empty();
  static Block* Allocate(int capacity);
  TextString Mapped(char first, char last, int offset) const;

  Block* block_ = Empty();
};

}  // namespace marvik
