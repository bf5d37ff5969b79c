#pragma once

#include <string>

#include "app/workbench.h"

namespace marvik {

// The flows behind Open, Save, Save As and Save All. All ways to a file (dialog, command line, drop, recent list, demo)
// take this road.

// Reads `path` into the workbench: asks about unsaved changes, refuses what it cannot read with a message, and after
// reading makes the bonds, fits the view, enters the recent list and repaints. After a failed read the model is empty
// and no file is current; when the user wants to keep the changes, or a CIF cannot be translated, everything stays as
// it was. False in all of these cases. Of NAME.cif the translation, NAME_cif.res, becomes the current file.
bool OpenFile(Workbench& bench, const std::string& name);

// Whether what would lose unsaved changes may go on: yes without any, else the user is asked. `what` ends the question.
bool MayLoseChanges(Workbench& bench, const std::string& what);

// Whether another program has written the current file since it was read or saved. One that says the same still, only
// later, does not count.
bool ChangedOnDisk(Workbench& bench);
// Whether the file that is open was there and is no more.
bool GoneFromDisk(const Workbench& bench);
// The structure stays as it is although its file is another now: it counts as changed, and a save asks nothing.
void KeepDespiteDisk(Workbench& bench);

// How many atoms FMOL would move.
size_t AtomsApart(const Document& document);

// Writes the current file, "noname.ins" in the current directory when there is none.
bool SaveCurrentFile(Workbench& bench);

// Writes the structure under a new name; its extension (in any case) says what to write. Everything that is not the
// extension of an export is an instruction file, and that name becomes the current file. A format (an extension in
// lower case) goes before the name's own.
bool SaveFileAs(Workbench& bench, const std::string& path, const std::string& format = {});
// Whether a format or extension, in lower case, stands for an instruction file: no export claims it.
bool IsInstructionFormat(const std::string& format);

// Writes an instruction file with everything that protects what was there: remarks that will be lost are shown once
// per file, a file that changed on disk since it was read is asked about, and the old content of a file that this
// program did not write stays beside it as NAME.bak.
bool SaveInstructionFile(Workbench& bench, const std::string& path);

// The write alone, asking nothing: the old content of a file that this program did not write stays as NAME.bak.
bool WriteKeepingBackup(Workbench& bench, const std::string& fullPath);
// Whether a file is as this program left it, and what says so.
bool WasWrittenByUs(const Workbench& bench, const std::string& fullPath);
void NoteWritten(Workbench& bench, const std::string& fullPath);
// Enters the current file into the recent list where one is kept.
void NoteAsRecent(Workbench& bench);

// Absolute and without links or dots as far as it exists, so that one file has one name.
std::string FullPath(const std::string& path);

// The filters of the dialogs, "text" and pattern, in their order.
struct FileFilter {
  const char* text;
  const char* pattern;
};
inline constexpr FileFilter kOpenFilters[] = {
    {"Results Files (*.RES)", "*.RES"}, {"Instructions Files (*.INS)", "*.INS"},
    {"Save Files (*.RE?)", "*.RE?"},    {"Crystal Information Files (*.CIF)", "*.CIF"},
    {"All Files (*.*)", "*.*"},
};
inline constexpr FileFilter kListingFilters[] = {
    {"Listing Files (*.LST)", "*.LST"},
    {"Results Files (*.RES)", "*.RES"},
    {"All Files (*.*)", "*.*"},
};
inline constexpr FileFilter kReflectionFilters[] = {
    {"Reflection Files (*.HKL)", "*.HKL"},
    {"Files with Reflections in Them (*.CIF)", "*.CIF"},
    {"All Files (*.*)", "*.*"},
};
inline constexpr FileFilter kSaveFilters[] = {
    {".INS File", "*.ins"},
    {".RES File", "*.res"},
    {".WRL VRML 2.0 File", "*.wrl"},
    {".CON ConQuest Query File", "*.con"},
    {".CT Connection Table", "*.ct"},
    {".PDB File (Skeleton Protein Data Bank Format)", "*.pdb"},
    {".INP Atoms Input File", "*.inp"},
    {".GLB glTF 2.0 File", "*.glb"},
    {"Standard Layout, without Remarks: .INS File", "*.ins"},
    {"Standard Layout, without Remarks: .RES File", "*.res"},
};
inline constexpr const char* kStandardLayoutFilter = "Standard Layout";  // how those of standard layout begin

}  // namespace marvik
