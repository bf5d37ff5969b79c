#include "app/refinement/new_job.h"

#include <algorithm>

#include "app/commands/command_handlers.h"
#include "app/open_save.h"
#include "base/files.h"
#include "base/numbers.h"

namespace marvik {
namespace {

constexpr FieldRange kFields[] = {
    WordField("hkl", "Reflections", "FILE"),
    WordField("cell", "Cell", "A,B,C,ALPHA,BETA,GAMMA"),
    {"wavelength", "Wavelength (Å)", kShortestWavelength, kLongestWavelength},
    WordField("formula", "Formula", "FORMULA"),
    {"z", "Formula units in the cell (Z)", 0.01, 1000.0},
    WordField("title", "Title", "TEXT"),
};
constexpr char kCaption[] = "New from Reflections";

bool IsCif(const std::string& path) {
  return LowerExtensionOf(path).starts_with("cif");
}

bool Holds(const std::string& path, const std::string& text) {
  const FileContent existing = ReadWholeFile(path);
  return existing.opened && existing.content == text;
}

// Asks before something else loses its place.
bool MayPut(Workbench& bench, const std::string& path, const std::string& text) {
  return !ReadWholeFile(path).opened || Holds(path, text) ||
         bench.messages.AskYesNo({MessageIcon::Question, "File Exists",
                                  FileNameOf(path) +
                                      " exists already and differs from what would be written.\n"
                                      "Do you want to overwrite it? Its content stays as " +
                                      FileNameOf(path) + ".bak."});
}

// False after a message.
bool Put(Workbench& bench, const std::string& path, const std::string& text) {
  if (Holds(path, text)) return true;
  const int error = WriteFileAtomically(path, text, ReadWholeFile(path).opened ? path + ".bak" : "");
  if (error) bench.messages.Show(SystemErrorMessage("Error: File I/O", error));
  return error == 0;
}

}  // namespace

std::span<const FieldRange> NewFromReflectionsFields() {
  return kFields;
}

JobStart KnownOfJob(const std::string& reflections) {
  JobStart start;
  if (IsCif(reflections)) {
    start = ReadCifStart(ReadWholeFile(reflections).content);
    if (start.cell || !start.formula.empty()) start.from = FileNameOf(reflections);
  }
  start.FillFrom(FindJobStart(BaseNameOf(reflections)));
  return start;
}

EditFault ApplyJobFields(const EditArguments& arguments, JobStart& start) {
  if (EditFault fault = UnknownFieldFault(arguments, kFields)) return fault;
  if (!arguments.atoms.empty()) return {"", arguments.atoms + ": only fields such as hkl=FILE are taken."};
  EditFault fault;
  for (const EditArguments::Field& field : arguments.fields) {
    const FieldRange& range = *FindField(kFields, field.key);
    if (field.key == "cell") {
      double v[6] = {};
      size_t count = 0;
      std::string_view rest = field.value;
      for (; !rest.empty() && count < 6; ++count) {
        rest.remove_prefix(std::min(rest.find_first_not_of(" ,"), rest.size()));
        const size_t used = ParseNumber(rest, v[count]);
        if (used == 0) break;
        rest.remove_prefix(used);
      }
      const CellParameters cell{v[0], v[1], v[2], v[3], v[4], v[5]};
      if (count < 6 || rest.find_first_not_of(" ,") != rest.npos || !IsPossible(cell))
        return {"cell", "Cell: six numbers that make a cell are wanted, Å and degrees, not \"" + field.value + "\"."};
      start.cell = cell;
    } else if (field.key == "wavelength") {
      start.wavelength = ReadFieldNumber(range, field.value, fault).value_or(0.0);
    } else if (field.key == "z") {
      start.units = ReadFieldNumber(range, field.value, fault).value_or(0.0);
    } else if (field.key == "formula") {
      if (start.formula != field.value && !arguments.Find("z")) start.units = 0.0;
      start.formula = field.value;
    } else if (field.key == "title") {
      start.title = field.value;
    }
    if (fault) return fault;
  }
  return fault;
}

EditArguments JobFields(const std::string& reflections, const JobStart& start) {
  EditArguments fields;
  const auto add = [&](const char* key, const std::string& value) { fields.fields.push_back({key, value}); };
  add("hkl", reflections);
  const CellParameters cell = start.cell.value_or(CellParameters{});
  add("cell",
      start.cell ? Printf("%g, %g, %g, %g, %g, %g", cell.a, cell.b, cell.c, cell.alpha, cell.beta, cell.gamma) : "");
  add("wavelength", start.wavelength > 0.0 ? Printf("%g", start.wavelength) : "");
  add("formula", start.formula);
  add("z", start.units > 0.0 ? Printf("%g", start.units) : "");
  add("title", start.title);
  return fields;
}

bool NewFromReflections(Workbench& bench, const EditArguments& arguments) {
  const std::string* given = arguments.Find("hkl");
  if (!given || given->empty()) return RefuseField(bench, {"hkl", "Reflections: the name of a file is wanted."}), false;
  const std::string path = FullPath(*given);
  JobStart start = KnownOfJob(path);
  if (const EditFault fault = ApplyJobFields(arguments, start)) return RefuseField(bench, fault), false;
  const std::string base = BaseNameOf(path);
  const std::string hkl = base + ".hkl";
  const std::string ins = base + ".ins";
  const bool carried = path != hkl || !ReadWholeFile(hkl).opened;
  if (carried && start.reflections.empty())
    return Refuse(bench, kCaption, FileNameOf(path) + " cannot be read, or holds no reflections."), false;
  if (start.title.empty()) start.title = FileNameOf(base);
  std::string sentence;
  const std::string text = ComposeJobStart(start, sentence);
  if (text.empty()) return Refuse(bench, kCaption, sentence), false;
  if (!MayLoseChanges(bench, "begin another structure")) return false;
  // Nothing is written before everything may be.
  if ((carried && !MayPut(bench, hkl, start.reflections)) || !MayPut(bench, ins, text)) return false;
  if ((carried && !Put(bench, hkl, start.reflections)) || !Put(bench, ins, text)) return false;
  bench.SetModified(false);
  return OpenFile(bench, ins);
}

Outcome NewFromReflectionsHandler(Workbench& bench, const CommandCall& call) {
  return NewFromReflections(bench, SplitEditArguments(call.argument)) ? Outcome::Done : Outcome::Failed;
}

}  // namespace marvik
