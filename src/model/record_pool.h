#pragma once

#include <array>
#include <cstdint>
#include <limits>
#include <memory>
#include <new>
#include <vector>

namespace marvik {

// Owner of records that keep their address and know their `slot`, so that a copy of the pool can be walked beside the
// original and pointers remapped by slot.
template <class Record>
class RecordPool {
 public:
  RecordPool() = default;
  RecordPool(const RecordPool& other) { *this = other; }
  RecordPool& operator=(const RecordPool& other) {
    if (this == &other) return *this;
    chunks_.clear();
    for (size_t c = 0; c * kChunk < other.used_; ++c) chunks_.push_back(std::make_unique<Chunk>(*other.chunks_[c]));
    free_ = other.free_;
    used_ = other.used_;
    limit_ = other.limit_;
    return *this;
  }
  RecordPool(RecordPool&&) noexcept = default;
  RecordPool& operator=(RecordPool&&) noexcept = default;

  // A fresh record, nothing when memory is gone.
  Record* Allocate() {
    try {
      uint32_t slot = used_;
      if (!free_.empty()) {
        slot = free_.back();
        free_.pop_back();
      } else {
        if (used_ >= limit_) return nullptr;
        if (used_ == chunks_.size() * kChunk) chunks_.push_back(std::make_unique<Chunk>());
        ++used_;
      }
      Record* record = At(slot);
      *record = Record{};
      record->slot = slot;
      return record;
    } catch (const std::bad_alloc&) {
      return nullptr;
    }
  }
  void Release(Record* record) {
    const uint32_t slot = record->slot;
    *record = Record{};
    record->slot = slot;
    free_.push_back(slot);
  }
  void Clear() {
    chunks_.clear();
    ForgetAll();
  }
  // As Clear, but the memory stays for the next records.
  void ForgetAll() {
    free_.clear();
    used_ = 0;
  }
  // The record of this pool in the same slot as a record of the pool it was copied from.
  Record* Counterpart(const Record* other) { return other ? At(other->slot) : nullptr; }
  Record* At(uint32_t slot) { return &(*chunks_[slot / kChunk])[slot % kChunk]; }
  // Every slot ever used, free ones included.
  uint32_t Slots() const { return used_; }
  uint32_t Live() const { return used_ - static_cast<uint32_t>(free_.size()); }
  // For tests of what happens when memory is gone.
  void SetLimit(uint32_t records) { limit_ = records; }

 private:
  static constexpr uint32_t kChunk = 64;
  using Chunk = std::array<Record, kChunk>;
  std::vector<std::unique_ptr<Chunk>> chunks_;
  std::vector<uint32_t> free_;
  uint32_t used_ = 0;
  uint32_t limit_ = std::numeric_limits<uint32_t>::max();
};

}  // namespace marvik
