#include "app/journal_files.h"

#include <filesystem>
#include <set>

#include "app/package_directory.h"
#include "app/refinement/refine_flow.h"
#include "base/files.h"
#include "base/package_file.h"
#include "files/cif/cif_atoms.h"
#include "language/atom_names.h"

namespace marvik {
namespace {

std::vector<std::string> PackageFolders(const std::string& folder) {
  std::vector<std::string> folders;
  if (const auto place = PackageFile(folder + "/")) folders.push_back(*place);
  folders.push_back(TemplateDirectory(ExecutablePath("")) + folder + "/");
  return folders;
}

}  // namespace

std::string JournalCif(const Workbench& bench) {
  constexpr std::string_view kTranslated = "_cif";
  const std::string base = JobBase(bench);
  if (base.empty()) return {};
  std::vector<std::string> names{base + ".cif"};
  if (base.ends_with(kTranslated)) names.push_back(base.substr(0, base.size() - kTranslated.size()) + ".cif");
  for (const std::string& name : names)
    if (StampOf(name)) return name;
  return {};
}

std::string SelectionOfLabels(const Document& document, const std::vector<std::string>& labels) {
  std::string text;
  for (const std::string& label : labels) {
    const AtomRecord* atom = FindAtomByText(document, label);
    if (atom) text += (text.empty() ? "#" : " #") + std::to_string(atom->serial);
  }
  return text;
}

std::optional<PublicationState> FindPublication(const Workbench& bench) {
  if (JobBase(bench).empty()) return {};
  PublicationState state;
  state.cifPath = JournalCif(bench);
  const std::string base = state.cifPath.empty() ? JobBase(bench) : BaseNameOf(state.cifPath);
  state.keptPath = base + kPublicationFile;
  if (!state.cifPath.empty()) state.cif = ReadWholeFile(state.cifPath).content;
  state.kept = ReadWholeFile(state.keptPath).content;
  CifReader reader(state.cif, {"_cell_length_a", "_atom_site_"});
  for (CifBlock block; reader.Next(block);)
    if (!block.loops.empty()) state.blocks.emplace_back(block.name);
  if (state.blocks.empty()) state.blocks.push_back(FileNameOf(base));
  state.beside = SourcesBeside(base);
  return state;
}

std::vector<std::string> PackageFiles(const std::string& folder, const std::string& extension) {
  std::set<std::string> names;
  for (const std::string& place : PackageFolders(folder)) {
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(place, error))
      if (entry.path().extension() == "." + extension) names.insert(entry.path().stem().string());
  }
  return {names.begin(), names.end()};
}

std::string PackageFile(const std::string& folder, const std::string& name, const std::string& extension) {
  for (const std::string& place : PackageFolders(folder)) {
    const std::string path = place + name + "." + extension;
    std::error_code error;
    if (std::filesystem::is_regular_file(path, error)) return path;
  }
  return {};
}

}  // namespace marvik
