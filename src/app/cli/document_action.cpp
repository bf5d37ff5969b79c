#include <filesystem>
#include <ostream>

#include "app/cli/batch_session.h"
#include "app/journal_files.h"
#include "app/picture/picture_output.h"
#include "base/atomic_write.h"
#include "base/files.h"
#include "check/cif/check_cif.h"
#include "picture/report_page.h"
#include "publish/document.h"

namespace marvik {
namespace {

constexpr char kDefaultTemplate[] = "tables";

// A file of that name, or one of the templates: the user's own before those of the installation.
std::optional<std::string> TemplateText(const std::string& name, const std::string& extension) {
  std::error_code error;
  const bool isPath = std::filesystem::is_regular_file(name, error);
  FileContent file = ReadWholeFile(isPath ? name : PackageFile("templates", name, extension));
  return file.opened ? std::optional(std::move(file.content)) : std::nullopt;
}

bool Tell(BatchSession& session, const std::string& sentence) {
  session.messages.Show({MessageIcon::Error, "Error: File I/O", sentence});
  return false;
}

}  // namespace

bool DocumentAction(BatchSession& session, const BatchAction& action) {
  const CommandLineOptions& options = session.options;
  const std::string extension = !options.format.empty() ? options.format : LowerExtensionOf(action.value);
  // A page is set from a template in Markdown.
  const bool isPage = extension == "pdf";
  const std::string templates = isPage ? "md" : extension;
  const auto kind = DocumentKindOf(templates);
  if (!kind) return Tell(session, "A document is .html, .tex, .md or .pdf.");
  const std::string name = options.documentTemplate.empty() ? kDefaultTemplate : options.documentTemplate;
  const auto text = TemplateText(name, templates);
  if (!text) return Tell(session, "There is no template " + name + " for ." + extension + " files.");
  const std::string& file = options.file;
  const std::string cif = LowerExtensionOf(file) == "cif" ? file : BaseNameOf(file) + ".cif";
  const FileContent content = ReadWholeFile(cif);
  if (!content.opened) return Tell(session, cif + " cannot be read; a document is made from the CIF of a refinement.");
  DocumentSource source{content.content, {}, {}};
  const auto findings = CheckCifFile(cif);
  if (findings) source.findings = *findings;
  if (isPage) {
    source.figure = "view";
    RunCommand(session.bench, kKillPeaksCommand);
    if (!options.rendition) session.bench.RenditionMode = kThermalEllipsoid;
    session.bench.FitView();
  } else if (text->find("{{figure}}") != text->npos && action.value != "-") {
    const std::string picture = BaseNameOf(action.value) + ".png";
    if (!WritePicture(session.bench, session.bench.pictureFile, picture, "png")) return false;
    source.figure = FileNameOf(picture);
  }
  std::string problem;
  auto document = FillTemplate(
      *text, *kind, source, [&](const std::string& part) { return TemplateText(part, templates); }, problem);
  if (!document) return Tell(session, "Template " + name + ": " + problem);
  if (document->find_first_not_of(" \n") == document->npos)
    return Tell(session, cif + " lists nothing for the template " + name + ".");
  if (isPage) {
    PictureSubject subject = SubjectOf(session.bench);
    document = DrawReportPage(subject, *document);
    if (!document) return false;
  }
  if (action.value == "-") {
    session.out << *document;
    return true;
  }
  return WriteFileAtomically(action.value, *document) == 0 || Tell(session, action.value + " could not be written.");
}

}  // namespace marvik
