#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <unistd.h>

#include "app/refinement/solve_flow.h"
#include "edit/edit_fragment.h"
#include "files/res/reader.h"
#include "files/start/job_start.h"
#include "publish/publication.h"
#include "refine/data/observations.h"

#include "fuzz/require.h"

using namespace marvik;

namespace {

void RequireStart(const JobStart& start, const std::string& text) {
  std::string sentence;
  const std::string job = ComposeJobStart(start, sentence);
  Require(job.empty() == !sentence.empty(), "neither a job nor a sentence, or both", text);
  Document document;
  RecordingMessages messages;
  Require(job.empty() || ReadInstructionText(document, job, messages), "the job cannot be read", job);
  if (start.cell) Require(std::isfinite(LikelyUnits(start.formula, *start.cell)), "no number of units", text);
}

}  // namespace

// What lies beside a job: parameter files of diffractometers, CIFs with a cell, masks, fragments, tables of found
// models, listings that know what a refinement does not.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  JobStart all = ReadParameterFile(text);
  RequireStart(all, text);
  for (const JobStart& start : {ReadCifStart(text), ReadInstructionStart(text)}) {
    RequireStart(start, text);
    all.FillFrom(start);
  }
  RequireStart(all, text);
  for (const AddedFactor& factor : ParseFabFile(text))
    Require(std::isfinite(factor.f.real()) && std::isfinite(factor.f.imag()), "a factor is none", text);
  FabRemarks(text);
  std::string fault;
  if (const auto shape = ReadGroupShape("x", text, fault)) {
    Require(!shape->atoms.empty(), "a fragment of nothing", text);
    for (const auto& member : shape->atoms) Require(IsFinite(member.place), "an atom is nowhere", text);
  } else {
    Require(!fault.empty(), "refused without a sentence", text);
  }
  const FoundModels models = ReadFoundModels(text);
  Require(models.rows.empty() || models.proposed < models.rows.size(), "a proposal that is not there", text);
  for (const auto& row : models.rows) row.Cell(models, "R1");
  const std::string base = "/tmp/marvik-fuzz-beside-" + std::to_string(getpid());
  for (const char* extension : {".p4p", ".cif_od", ".abs"}) {
    const std::string path = base + extension;
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (!file) continue;
    std::fwrite(text.data(), 1, text.size(), file);
    std::fclose(file);
    for (const auto& [item, known] : ReadPublicationSource(path).items.items) PublicationFault(item, known.value);
    std::remove(path.c_str());
  }
  return 0;
}
