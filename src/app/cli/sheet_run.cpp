#include <new>
#include <ostream>
#include <sstream>

#include "app/cli/batch_input.h"
#include "app/cli/batch_session.h"
#include "app/cli/command_line.h"
#include "app/picture/picture_output.h"
#include "base/atomic_write.h"
#include "base/numbers.h"
#include "files/cif/cif_text.h"
#include "picture/picture_sheet.h"
#include "report/report.h"

namespace marvik {
namespace {

// Of the result or of the CIF, as it was read.
std::optional<double> R1Of(const Document& document, const std::string& file) {
  if (LowerExtensionOf(file) != "cif") return FigureOfMerit(document, "R1 =");
  const FileContent content = ReadWholeFile(file);
  CifReader reader(content.content, {"_refine_ls_r_factor"});
  CifBlock block;
  double value = 0.0;
  while (reader.Next(block)) {
    const CifColumn column =
        FindColumn(block, {"_refine_ls_r_factor_gt", "_refine_ls_r_factor_obs", "_refine_ls_r_factor_all"});
    if (column.Rows() > 0 && ParseCifNumber(column[0], value)) return value;
  }
  return {};
}

// The last line that was said, without what it stands behind.
std::string LastSaid(const std::string& text) {
  const size_t end = text.find_last_not_of('\n') + 1;
  const size_t start = end > 0 ? text.rfind('\n', end - 1) + 1 : 0;
  return text.substr(start, end - start);
}

// False when a warning or an error was shown.
bool AddFile(const CommandLineOptions& options, const std::string& executable, PictureSheet& sheet, std::ostream& err) {
  std::ostringstream said;
  std::ostringstream printed;  // by commands: not for a sheet
  BatchSession session(options, executable, printed, said);
  const std::string name = BatchNameOf(options.file);
  if (session.Open() && PreparePicture(session)) {
    const auto r1 = R1Of(session.bench.document, options.file);
    PictureSubject subject = SubjectOf(session.bench);
    sheet.Add(subject, name, r1 ? Printf("R1 = %.4f", *r1) : "");
  } else {
    session.messages.hasProblem = true;
    sheet.AddSentence(name, LastSaid(said.str()));
  }
  std::istringstream lines(said.str());
  for (std::string line; std::getline(lines, line);) err << options.file << ": " << line << '\n';
  return !session.messages.hasProblem;
}

// False when a warning or an error was shown for a file.
bool DrawSheet(const CommandLineOptions& options, const std::string& executable, LineMessages& messages,
               std::ostream& out, std::ostream& err) {
  const std::string& path = options.actions[0].value;
  PictureOptions picture;
  ApplyPictureOptions(options, picture);
  if (options.style.empty() && options.recipe.empty())
    picture.background = BackgroundOfPage(picture, options.look.value_or(Look::Paper));
  const std::string format = options.format.empty() ? LowerExtensionOf(path) : options.format;
  const auto sheet = PictureSheet::Make(picture, format, options.files.size(), messages);
  if (!sheet) return false;
  bool good = true;
  for (const std::string& file : options.files) {
    CommandLineOptions own = options;
    own.file = file;
    good = AddFile(own, executable, *sheet, err) && good;
  }
  const auto bytes = sheet->Finish();
  if (!bytes) {
    messages.Show({MessageIcon::Warning, "Error: File I/O", kNoMemoryForPicture});
  } else if (path == "-") {
    out << *bytes << std::flush;
    if (!out) messages.Show({MessageIcon::Warning, "Error: File I/O", "Standard output could not be written."});
  } else if (const int error = WriteDerivedFile(path, *bytes)) {
    messages.Show({MessageIcon::Warning, "Error: File I/O", WriteFault(path, error)});
  }
  return good;
}

}  // namespace

int RunSheet(const CommandLineOptions& options, const std::string& executable, std::ostream& out, std::ostream& err) {
  LineMessages messages(err, options.yes);
  bool good = false;
  try {
    good = DrawSheet(options, executable, messages, out, err);
  } catch (const std::bad_alloc&) {
    messages.Show({MessageIcon::Warning, "Error: File I/O", kNoMemoryForPicture});
  }
  return good && !messages.hasProblem ? kStatusDone : kStatusProblem;
}

}  // namespace marvik
