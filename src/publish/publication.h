#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "check/finding.h"
#include "files/cif/cif_completion.h"

namespace marvik {

// An item that no refinement knows.
struct PublicationField {
  const char* item;
  const char* meaning;
  const char* unit = "";   // of a number
  const char* words = "";  // parted by "|": all that are allowed, or with "..." at the end those that are usual
  double low = 0.0;        // low > high: no number
  double high = -1.0;
  const char* more = "";  // of a loop that begins with the item: its other columns, parted by blanks

  bool IsLoop() const { return *more; }
  bool IsNumber() const { return low <= high; }
  bool IsOnlyWords() const;
};
std::span<const PublicationField> PublicationFields();
// By name in any case; nothing for other items.
const PublicationField* FindPublicationField(std::string_view item);
// Its words, allowed or usual.
std::vector<std::string> WordsOf(const PublicationField& field);
// "0 to 1", "any number", the words; "" for any text.
std::string AllowedText(const PublicationField& field);
// What is wrong with a value, a sentence; "" for nothing. "?" and "." are always allowed.
std::string PublicationFault(std::string_view item, std::string_view value);

// A file that may know some of them.
struct PublicationSource {
  std::string name;
  KnownItems items;
};
// CIFs by their items; parameter files of diffractometers (.p4p); everything else by lines that name what they give:
// listings of absorption corrections and summaries of measurements.
PublicationSource ReadPublicationSource(const std::string& path);
// NAME.p4p, .cif_od, .abs, .sum and .log where they are.
std::vector<PublicationSource> SourcesBeside(const std::string& base);

struct PublicationRow {
  std::string item;
  const PublicationField* field = nullptr;
  std::string value;     // as text, "" where it is open; of a loop its lines
  bool isKept = false;   // it comes from the kept file, not from the refinement
  bool isFixed = false;  // the refinement's, and no user's to change
  struct Proposal {
    std::string value;
    std::string from;
  };
  std::vector<Proposal> proposals;
};
// Every "?" of the block, every kept item, and every field, in the order of the fields. `block` "" is the first one.
std::vector<PublicationRow> PublicationRows(std::string_view cif, std::string_view block, std::string_view kept,
                                            std::span<const PublicationSource> sources);
// What the sources propose for rows that are open, as changes.
std::string FillingOf(std::span<const PublicationRow> rows);
// One item as a change; a loop's value are its lines (publication_loops.h). "?" and "" take it out.
std::string ItemChange(const std::string& item, const std::string& value);

// The kept file with changes: a CIF whose items take the place of those that are there; "?" takes one out. Items
// without a block go to `block`. Nothing, with a sentence, where a value is not allowed.
std::optional<std::string> ChangedPublication(std::string_view kept, std::string_view changes, const std::string& block,
                                              std::string& problem);

// The item in which authors answer a finding, and the form to fill in; "" for a finding that journals have no number
// for.
struct ReplyForm {
  std::string item;
  std::string text;
};
ReplyForm ReplyTo(const Finding& finding, std::string_view block);

}  // namespace marvik
