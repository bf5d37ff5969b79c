#include <cstddef>
#include <cstdint>
#include <string>

#include "files/cif/cif_completion.h"

#include "fuzz/require.h"

using namespace marvik;

namespace {

// Line ends within a text may become others.
std::string WithoutReturns(std::string text) {
  std::erase(text, '\r');
  return text;
}

}  // namespace

// A CIF before the first "#~", what is kept behind it. Without anything kept the CIF stays, and what was kept can be
// kept again.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const size_t cut = text.find("#~");
  const std::string cif = text.substr(0, cut), kept = cut < size ? text.substr(cut) : text;
  Require(CompletedCif(cif, "") == cif, "nothing is known, and yet the CIF changes", text);
  CompletedCif(CompletedCif(cif, kept), {}, kept);
  const KnownItems known = ReadKnownItems(kept);
  const KnownItems again = ReadKnownItems(ComposeKnownItems(known, "a"));
  Require(known.items.size() == again.items.size(), "items are lost", text);
  for (const auto& [name, item] : known.items) {
    const auto found = again.items.find(name);
    Require(found != again.items.end() && WithoutReturns(found->second.value) == WithoutReturns(item.value),
            name.c_str(), text);
    PlainValue(item.value);
  }
  return 0;
}
