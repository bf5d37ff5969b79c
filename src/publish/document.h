#pragma once

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "check/finding.h"

namespace marvik {

enum class DocumentKind { Html, Latex, Markdown };
// By the extension: "html", "tex", "md".
std::optional<DocumentKind> DocumentKindOf(std::string_view extension);

// What a document is made of.
struct DocumentSource {
  std::string_view cif;               // its first block with a cell
  std::span<const Finding> findings;  // of its checks
  std::string figure;                 // path of a picture, "" for none
};

// Fills the fields of a template:
//   {{_item}}                  the value, escaped for the kind of document; "?" where it is not known
//   {{_item|formula}}          a formula with its subscripts; {{_item|symbol}} a space-group symbol
//   {{#_item}}...{{/_item}}    once for each row of the item's loop; names inside mean that row
//   {{?_item}}...{{/_item}}    where it is known; {{^_item}}...{{/_item}} where it is not
//   {{#findings}}...{{/findings}}  each with {{level}}, {{test}}, {{atoms}}, {{text}}
//   {{block}}, {{figure}}, {{?figure}}
//   {{>name}}                  another template, which `include` gives
// Nothing, with a sentence in `problem`, for a field that is no item or does not end.
std::optional<std::string> FillTemplate(std::string_view text, DocumentKind kind, const DocumentSource& source,
                                        const std::function<std::optional<std::string>(const std::string&)>& include,
                                        std::string& problem);

// Text of a CIF, with its codes for letters, Greek and raised or lowered digits, as the document has it.
std::string DocumentText(std::string_view coded, DocumentKind kind);

}  // namespace marvik
