#include <nlohmann/json.hpp>
#include <ostream>

#include "app/cli/batch_session.h"
#include "app/journal_files.h"

namespace marvik {
namespace {

using Json = nlohmann::ordered_json;

Json RowAsJson(const std::string& block, const PublicationRow& row) {
  Json proposals = Json::array();
  for (const auto& [value, from] : row.proposals) proposals.push_back({{"value", value}, {"from", from}});
  const PublicationField* field = row.field;
  return {{"block", block},
          {"item", row.item},
          {"value", row.value.empty() ? Json() : Json(row.value)},
          {"origin", row.value.empty() ? Json() : Json(row.isKept ? "kept" : "cif")},
          {"unit", field && *field->unit ? Json(field->unit) : Json()},
          {"allowed", field ? AllowedText(*field) : ""},
          {"meaning", field ? field->meaning : ""},
          {"proposals", proposals}};
}

// Parted by tabs; a value of several lines is told by its first.
std::string RowAsLine(const PublicationRow& row) {
  const std::string value = row.value.substr(0, row.value.find('\n'));
  const PublicationField* field = row.field;
  std::string line = row.item + '\t' + (value.empty() ? "?" : value) + '\t' + (field ? field->unit : "") + '\t' +
                     (field ? AllowedText(*field) : "") + '\t' + (field ? field->meaning : "");
  for (const auto& [proposed, from] : row.proposals) line += '\t' + from + ": " + proposed;
  return line + '\n';
}

}  // namespace

bool PublicationAction(BatchSession& session, const BatchAction&) {
  const auto state = FindPublication(session.bench);
  if (!state) {
    session.messages.Show({MessageIcon::Warning, "Command Usage Error:", "There is no structure to publish."});
    return false;
  }
  Json items = Json::array();
  for (const std::string& block : state->blocks) {
    if (!session.options.json) session.out << "data_" << block << '\n';
    for (const PublicationRow& row : state->Rows(block)) {
      if (session.options.json) {
        items.push_back(RowAsJson(block, row));
      } else {
        session.out << RowAsLine(row);
      }
    }
  }
  if (session.options.json)
    session.out << Json{{"items", items}}.dump(1, ' ', false, Json::error_handler_t::replace) << '\n';
  return true;
}

}  // namespace marvik
