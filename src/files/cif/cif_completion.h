#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace marvik {

// NAME and this is the file beside a job in which stays what only the user knows: a CIF with nothing else in it.
inline constexpr char kPublicationFile[] = "_publication.cif";

// Items and loops of a block as they are to be written again.
struct KnownItems {
  struct Item {
    std::string name;   // as it was spelled
    std::string value;  // as CifValueText has it: with its quotes, or "\n;...\n;"
  };
  struct Loop {
    std::vector<std::string> names;
    std::vector<std::string> values;  // row after row
  };
  std::map<std::string, Item> items;  // by the name in lower case; those with "?" are left out
  std::vector<Loop> loops;
};
// The blocks of a CIF with their names, "?" among the items where it is asked for. Items before any block count as a
// block without a name.
struct KnownBlock {
  std::string name;
  KnownItems known;
};
std::vector<KnownBlock> ReadKnownBlocks(std::string_view cif, bool withUnknown = false);
// Of the block of that name, or of the first one.
KnownItems ReadKnownItems(std::string_view cif, std::string_view block = {});
// A CIF of one block of them.
std::string ComposeKnownItems(const KnownItems& known, std::string_view block);

// Whether what is known goes before what the CIF says.
bool IsUsersOwn(std::string_view item);

// The text that a value stands for, written as CifValueText has it.
std::string PlainValue(std::string_view written);

// The CIF with every "?" that is known filled in, and with what is known and has no place in it behind its items. What
// the CIF says stays, but for the few items that are the user's to word (the moiety formula). `known` is a CIF: each
// block gets what the block of its name holds, or else the first one. What the CIF says as `before` said it came from
// there: it follows what is known now, too.
std::string CompletedCif(std::string_view cif, std::string_view known, std::string_view before = {});

}  // namespace marvik
