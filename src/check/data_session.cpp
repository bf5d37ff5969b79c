#include "check/data_session.h"

#include "base/files.h"
#include "base/numbers.h"

namespace marvik {

std::string PrepareFromData(const Document& document, const std::string& hklPath, Session& session) {
  const std::string name = FileNameOf(hklPath);
  const FileContent content = ReadWholeFile(hklPath);
  if (!content.opened) return name + " is not there: a map needs the reflections beside the structure.";
  return PrepareFromText(document, name, content.content, ReadWholeFile(BaseNameOf(hklPath) + ".fab").content, session);
}

std::string PrepareFromText(const Document& document, const std::string& name, const std::string& reflections,
                            const std::string& mask, Session& session) {
  const HklFormat format = ParseHklf(document.instructions.hklfLine);
  if (format.code < 2 || format.code > 6)
    return Printf("HKLF %d is not read: only reflections of HKLF 2 to 6 are.", format.code);
  const HklFile file = ParseHklFile(reflections, format);
  if (file.reflections.empty()) return name + " holds no reflections.";
  session.document = document;
  session.document.settings.RefinementType = "L.S.";
  session.document.settings.Cycles = 0;
  session.name = BaseNameOf(name);
  session.added = ParseFabFile(mask);
  std::string problem;
  const LineSink quiet = [](const std::string&) {};
  if (!PrepareSession(session, file.reflections, quiet, problem))
    return "The model cannot be calculated against " + name + ": " + problem + ".";
  session.job.cycles = 0;
  return {};
}

}  // namespace marvik
