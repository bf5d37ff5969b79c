#include "app/open_save.h"

#include <algorithm>
#include <filesystem>

#include "app/density.h"
#include "app/export_output.h"
#include "app/structure_text.h"
#include "base/atomic_write.h"
#include "edit/symmetry_commands.h"
#include "files/cif/cif_translation.h"
#include "files/res/damage.h"
#include "files/res/reader.h"
#include "files/res/writer.h"
#include "run/job_files.h"

namespace marvik {
namespace {

constexpr char kNoName[] = "noname.ins";
constexpr size_t kRemarksListed = 30;

// One name for a file, whichever links lead to it.
std::string IdentityOf(const std::string& fullPath) {
  std::error_code error;
  const auto real = std::filesystem::weakly_canonical(fullPath, error);
  return error ? fullPath : real.string();
}

void ShowLostRemarks(Workbench& bench, const std::string& target) {
  if (bench.saveLayout == FileLayout::AsRead) return;
  const auto& remarks = bench.document.instructions.droppedRemarks;
  const auto& replaced = bench.document.instructions.replacedLines;
  if (remarks.empty() && replaced.empty()) return;
  if (!bench.remarksShown.insert(IdentityOf(bench.document.CurrentFile)).second) return;
  std::string text;
  const auto list = [&text](const std::string& what, const std::vector<std::string>& lines) {
    if (lines.empty()) return;
    text += (text.empty() ? "" : "\n\n") + what;
    for (size_t i = 0; i < std::min(lines.size(), kRemarksListed); ++i) text += "\n" + lines[i];
    if (lines.size() > kRemarksListed) text += "\n(" + std::to_string(lines.size() - kRemarksListed) + " more)";
  };
  const std::string name = FileNameOf(target);
  list("Remarks and comments are not kept. These will not be in " + name + ":", remarks);
  list("Of instructions that are given twice the last one holds. These will not be in " + name + ":", replaced);
  bench.messages.Show({MessageIcon::Information, "Remarks Not Kept", text});
}

bool MayOverwriteForeignChange(Workbench& bench, const std::string& fullPath) {
  const Document& document = bench.document;
  if (fullPath != document.CurrentFile || !document.stamp) return true;
  const auto now = StampOf(fullPath);
  if (!now || *now == *document.stamp) return true;
  return bench.messages.AskYesNo({MessageIcon::Question, "File Changed on Disk",
                                  FileNameOf(fullPath) + " was changed by another program after it was read.\n"
                                                         "Do you want to overwrite it?"});
}

// Reads a CIF by way of a result file beside it, whose name `path` becomes. Without a window (no recent list is kept)
// that file stays in memory, so that nothing is left behind. Nothing when the CIF was refused, with a message, or the
// user wants to keep a file of that name.
std::optional<bool> ReadCif(Workbench& bench, std::string& path) {
  const std::string cif = path;
  path = FullPath(BaseNameOf(cif) + "_cif.res");
  Document& document = bench.document;
  CifOutcome outcome = CifOutcome::Failed;
  std::string reason;
  if (bench.keepsRecentFiles) {
    outcome = TranslateCifToRes(cif, path, bench.messages, &reason);
    if (outcome == CifOutcome::Done) return ReadInstructionFile(document, path, bench.messages);
  } else if (const auto text = ResultFileOfCif(cif, bench.messages, &reason)) {
    if (!ReadInstructionText(document, *text, bench.messages)) return false;
    document.CurrentFile = path;
    document.WorkingDirectory = DirectoryOf(path);
    return true;
  }
  if (outcome == CifOutcome::Failed) {
    if (reason.empty()) reason = EncodingFault(ReadWholeFile(cif).content);
    bench.messages.Show(
        {MessageIcon::Warning, "Translation Error:",
         "Couldn't translate the .cif file to the .res format." + (reason.empty() ? "" : "\n" + reason)});
  }
  return {};
}

void OfferLeftResult(Workbench& bench, const std::string& path) {
  if (LowerExtensionOf(path) != "res") return;
  JobGuard guard(BaseNameOf(path));
  const std::string name = FileNameOf(path);
  if (!guard.LeftResult() ||
      !bench.messages.AskYesNo({MessageIcon::Question, "Refinement Ended Early",
                                "A refinement of " + name +
                                    " was ended before it was done, and the result from before it was kept.\n"
                                    "Do you want to have that one back? What is there now stays as " +
                                    name + ".bak."})) {
    return;
  }
  if (const int error = guard.TakeLeftResult())
    bench.messages.Show({MessageIcon::Warning, "Error: File I/O", WriteFault(path, error)});
}

void ShowDamage(Workbench& bench) {
  std::string text = FileNameOf(bench.document.CurrentFile) + ":";
  const auto sentences = DamageOf(bench.document).Sentences();
  for (const std::string& sentence : sentences) text += "\n" + sentence;
  if (!sentences.empty()) bench.messages.Show({MessageIcon::Information, "Damaged File", text});
}

}  // namespace

std::string FullPath(const std::string& path) {
  std::error_code error;
  auto full = std::filesystem::absolute(path, error);
  if (error) return path;
  // What ".." is behind a link is for the file system to say.
  if (std::ranges::find(full, std::filesystem::path("..")) != full.end()) {
    const auto folder = std::filesystem::weakly_canonical(full.parent_path(), error);
    if (!error) full = folder / full.filename();
  }
  return full.lexically_normal().string();
}

bool MayLoseChanges(Workbench& bench, const std::string& what) {
  if (bench.modified && bench.hooks.mayLoseChanges) return bench.hooks.mayLoseChanges(what);
  return !bench.modified || bench.messages.AskYesNo({MessageIcon::Question, "Unsaved Changes",
                                                     "The structure has changes that were not saved.\n"
                                                     "Do you want to lose them and " +
                                                         what + "?"});
}

bool OpenFile(Workbench& bench, const std::string& name) {
  if (!MayLoseChanges(bench, "open another file")) return false;
  std::string path = FullPath(name);
  OfferLeftResult(bench, path);
  bench.SetBusy(true);
  Document before = bench.document;
  std::optional<bool> outcome;
  const bool isCif = LowerExtensionOf(path) == "cif";
  {
    const StageClock clock(bench.seconds.read);
    outcome = isCif ? ReadCif(bench, path) : ReadInstructionFile(bench.document, path, bench.messages);
  }
  if (!outcome || !*outcome) {
    // What was there stays as it was: structure, name, history.
    if (outcome) bench.document = std::move(before);
    bench.SetBusy(false);
    if (outcome) {
      const std::string fault = EncodingFault(ReadWholeFile(path).content);
      bench.messages.Show(
          {MessageIcon::Warning, "Error: File Unreadable",
           "This file is either missing, empty or corrupt:\n" + name + (fault.empty() ? "" : "\n" + fault)});
    }
    return false;
  }
  bench.ClearPick();
  bench.history.Clear();
  bench.uniqHistory.clear();
  bench.measuredGroups.clear();
  bench.SetModified(false);
  bench.NoteState();
  // What is shown is what the file holds.
  bench.RefreshAfterStructureChange(false);
  bench.ResetViewToModel(true);
  bench.SetBusy(false);
  bench.TitleChanged();
  NoteAsRecent(bench);
  FollowDensity(bench);
  if (!isCif) ShowDamage(bench);
  if (bench.hooks.fileOpened) bench.hooks.fileOpened(bench.document.CurrentFile);
  return true;
}

bool ChangedOnDisk(Workbench& bench) {
  Document& document = bench.document;
  const auto now = document.CurrentFile.empty() ? std::nullopt : StampOf(document.CurrentFile);
  if (!now || !document.stamp || *now == *document.stamp) return false;
  const FileContent file = ReadWholeFile(document.CurrentFile);
  if (!file.opened) return false;
  const auto& source = document.instructions.source;
  const auto written = bench.writtenFiles.find(IdentityOf(document.CurrentFile));
  const bool isAsRead = written == bench.writtenFiles.end() || written->second != *document.stamp;
  const bool same = (isAsRead && source && file.content == source->text) ||
                    (!bench.modified && file.content == TextOfStructure(bench));
  if (same) document.stamp = now;
  return !same;
}

bool GoneFromDisk(const Workbench& bench) {
  const Document& document = bench.document;
  return document.stamp && !document.CurrentFile.empty() && !StampOf(document.CurrentFile);
}

void KeepDespiteDisk(Workbench& bench) {
  bench.document.stamp = StampOf(bench.document.CurrentFile);
  bench.SetModified(true);
}

size_t AtomsApart(const Document& document) {
  Document copy = document;
  RecordingMessages unheard;
  return FormMolecules(copy, false, unheard);
}

void NoteAsRecent(Workbench& bench) {
  if (bench.keepsRecentFiles && NoteRecentFile(bench.settings, bench.document.CurrentFile) &&
      bench.hooks.recentFilesChanged) {
    bench.hooks.recentFilesChanged();
  }
}

bool WasWrittenByUs(const Workbench& bench, const std::string& fullPath) {
  const auto existing = StampOf(fullPath);
  const auto written = bench.writtenFiles.find(IdentityOf(fullPath));
  return existing && written != bench.writtenFiles.end() && written->second == *existing;
}

void NoteWritten(Workbench& bench, const std::string& fullPath) {
  if (const auto now = StampOf(fullPath)) bench.writtenFiles[IdentityOf(fullPath)] = *now;
}

bool WriteKeepingBackup(Workbench& bench, const std::string& fullPath) {
  const bool foreign = StampOf(fullPath) && !WasWrittenByUs(bench, fullPath);
  WriteOptions options;
  options.layout = bench.saveLayout;
  if (!WriteInstructionFile(bench.document, fullPath, bench.messages, foreign ? fullPath + ".bak" : "", options))
    return false;
  NoteWritten(bench, fullPath);
  return true;
}

bool SaveInstructionFile(Workbench& bench, const std::string& path) {
  const std::string full = FullPath(path);
  if (!MayOverwriteForeignChange(bench, full)) return false;
  ShowLostRemarks(bench, full);
  const StageClock clock(bench.seconds.write);
  if (!WriteKeepingBackup(bench, full)) return false;
  if (bench.saveLayout == FileLayout::Standard) {
    bench.document.instructions.droppedRemarks.clear();
    bench.document.instructions.replacedLines.clear();
  }
  bench.modified = false;
  bench.TitleChanged();
  return true;
}

bool SaveCurrentFile(Workbench& bench) {
  bench.document.atoms.RebuildBackwardLinks();
  const std::string& current = bench.document.CurrentFile;
  return SaveInstructionFile(bench, current.empty() ? kNoName : current);
}

bool IsInstructionFormat(const std::string& format) {
  return !IsExportFormat(format);
}

bool SaveFileAs(Workbench& bench, const std::string& path, const std::string& format) {
  const std::string extension = format.empty() ? LowerExtensionOf(path) : format;
  return IsExportFormat(extension) ? WriteExportFile(bench, path, extension) : SaveInstructionFile(bench, path);
}

}  // namespace marvik
