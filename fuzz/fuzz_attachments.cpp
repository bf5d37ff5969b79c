#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

#include "files/cif/cif_attachments.h"
#include "files/cif/cif_text.h"
#include "files/cif/cif_writer.h"

#include "fuzz/require.h"

using namespace marvik;

// What a CIF carries gets names that stay in its folder, and any lines that are attached come out again.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  for (const CifAttachment& a : AttachmentsOf(text)) {
    Require(!a.block.empty() && a.block[0] != '.' && a.block.find_first_of("/\\") == std::string::npos,
            "a name leaves its folder", text);
    Require(!a.content.empty(), "an attachment is empty", text);
  }
  // Of files that are text, with one kind of line ends.
  std::string lines;
  for (const char c : text)
    if (c == '\n' || c == '\t' || (c >= ' ' && c <= '~')) lines += c;
  if (lines.find_first_not_of('\n') == std::string::npos) return 0;
  if (!lines.ends_with('\n')) lines += '\n';
  CifWriter writer;
  writer.Block("a");
  writer.Field("_iucr_refine_instructions_details", lines);
  CifReader reader(writer.Text(), {"_"});
  CifBlock block;
  Require(reader.Next(block), "the block is not there", text);
  const CifValue value = FindColumn(block, {"_iucr_refine_instructions_details"})[0];
  Require(AttachedLines(value) == lines, "the lines come out changed", text);
  return 0;
}
