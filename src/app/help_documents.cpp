#include "app/help_documents.h"

#include <algorithm>

#include "app/commands/command_handlers.h"
#include "base/package_file.h"

namespace marvik {
namespace {

constexpr HelpDocument kDocuments[] = {
    {231, "Marvik_TOC", "Table of Contents"},     {232, "Marvik_Over", "Overview"},
    {242, "Marvik_Quick_Help", "Quick Commands"}, {234, "Marvik_Tutor", "Tutorial"},
    {233, "Marvik_Users", "User's Guide"},        {247, "Marvik_4_Supplement", "Marvik 4.0 Supplement"},
};

}  // namespace

std::span<const HelpDocument> HelpDocuments() {
  return kDocuments;
}

const HelpDocument* FindHelpDocument(int command) {
  const auto found = std::ranges::find(kDocuments, command, &HelpDocument::command);
  return found == std::end(kDocuments) ? nullptr : found;
}

std::optional<std::string> FindHelpFile(const Workbench& bench, const std::string& name) {
  if (auto path = PackageFile("Help/" + name); path && StampOf(*path)) return path;
  std::string path = bench.installedDirectory + "Help/" + name;
  return !bench.installedDirectory.empty() && StampOf(path) ? std::optional(std::move(path)) : std::nullopt;
}

Outcome HelpHandler(Workbench& bench, const CommandCall& call) {
  const std::string name = std::string(FindHelpDocument(call.id)->name) + ".pdf";
  const auto path = FindHelpFile(bench, name);
  if (!path) {
    return Refuse(bench, "Error: File Not Found",
                  "The help document\n" + PackageFile("Help/" + name).value_or(name) +
                      "\ndoes not exist or could not be opened!");
  }
  if (!bench.hooks.openDocument) return Refuse(bench, "Command Usage Error:", "The help documents need the window.");
  return bench.hooks.openDocument(*path) ? Outcome::Done : Outcome::Failed;
}

}  // namespace marvik
