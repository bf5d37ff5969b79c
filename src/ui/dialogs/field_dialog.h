#pragma once

#include <QStringList>
#include <functional>
#include <map>
#include <optional>
#include <string>

#include "app/commands/command_table.h"
#include "edit/edit_fields.h"

class QWidget;

namespace marvik {

// A dialog made from the fields of a command's row: a list for words, a line for anything else. Gives the argument,
// with the fields that were filled in, nothing when it was cancelled. Of `before` it begins with the words, and with
// `all` with numbers and names too.
struct FieldExtras {
  std::map<std::string, QStringList> lists;                      // words of fields that the table does not know
  std::function<QString(const EditArguments& entered)> preview;  // what OK would do, asked at every change
};
std::optional<std::string> AskFields(QWidget* parent, const CommandRow& row, const std::string& before,
                                     bool all = false, const FieldExtras& extras = {});

}  // namespace marvik
