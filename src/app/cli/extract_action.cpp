#include <ostream>

#include "app/cli/batch_session.h"
#include "base/atomic_write.h"
#include "base/files.h"
#include "base/numbers.h"
#include "files/cif/cif_attachments.h"
#include "files/cif/cif_translation.h"

namespace marvik {
namespace {

std::string FolderFor(const CommandLineOptions& options) {
  if (options.into.empty()) return DirectoryOf(options.file);
  return options.into.ends_with('/') ? options.into : options.into + "/";
}

// A file of other content stays unless the user says yes.
bool WriteAttachment(BatchSession& session, const std::string& path, const std::string& content) {
  const FileContent old = ReadWholeFile(path);
  if (old.opened && old.content == content) return true;
  if (old.opened &&
      !session.messages.AskYesNo({MessageIcon::Question, "Overwrite File?",
                                  path + " exists and holds something else. Overwrite it? Its content stays as .bak."},
                                 Unattended::No)) {
    session.messages.Show({MessageIcon::Warning, "Error: File I/O", path + " exists; --yes writes over it."});
    return false;
  }
  if (WriteFileAtomically(path, content, old.opened ? path + ".bak" : "") == 0) return true;
  session.messages.Show({MessageIcon::Error, "Error: File I/O", path + " could not be written."});
  return false;
}

}  // namespace

bool ExtractAction(BatchSession& session, const BatchAction&) {
  const std::string& cif = session.options.file;
  const FileContent file = ReadWholeFile(cif);
  const std::vector<CifAttachment> attachments = AttachmentsOf(file.content);
  if (attachments.empty()) {
    session.messages.Show(
        {MessageIcon::Error, "Error: File I/O",
         file.opened ? cif + " carries neither a result file nor reflections." : cif + " cannot be read."});
    return false;
  }
  bool good = true;
  for (const CifAttachment& a : attachments) {
    const std::string path = FolderFor(session.options) + a.Name();
    const bool written = WriteAttachment(session, path, a.content);
    if (written) session.out << path << Printf("\t%zu bytes\n", a.content.size());
    good = good && written;
  }
  return good;
}

std::string JobOfCif(BatchSession& session) {
  const std::string& cif = session.options.file;
  const FileContent file = ReadWholeFile(cif);
  const std::vector<CifAttachment> attachments = AttachmentsOf(file.content);
  for (const CifAttachment& data : attachments) {
    if (data.extension != "hkl") continue;
    const std::string base = FolderFor(session.options) + data.block;
    if (!WriteAttachment(session, base + ".hkl", data.content)) return {};
    for (const CifAttachment& a : attachments) {
      if (a.block != data.block || a.extension != "res") continue;
      return WriteAttachment(session, base + ".res", a.content) ? base + ".res" : std::string();
    }
    const auto translation = TranslateCif(file.content);
    if (!translation) break;
    return WriteAttachment(session, base + ".res", translation->text) ? base + ".res" : std::string();
  }
  return cif;
}

}  // namespace marvik
