#include "phase/completion/suspects.h"

#include <algorithm>
#include <cmath>

#include "files/res/reader.h"
#include "refine/structure/neighbours.h"

namespace marvik::phase {
namespace {

constexpr double kSuspicious = 0.25;  // of ln(U), off that of the neighbours
constexpr double kEndMotion = 0.25;   // of ln(U), that atoms at ends move more

}  // namespace

std::vector<std::string> Suspects(const std::string& model) {
  Document document;
  RecordingMessages messages;
  Structure s;
  std::vector<std::string> notes, names;
  std::string sentence;
  if (!ReadInstructionText(document, model, messages) || !BuildStructure(document, s, notes, sentence)) return names;
  const NeighbourTable near = ImagesWithin(s, 2.2);
  std::vector<std::pair<double, std::string>> found;
  for (size_t i = 0; i < s.sites.size(); ++i) {
    const Site& site = s.sites[i];
    const int z = s.scatterers[static_cast<size_t>(site.scatterer)].electrons;
    if (site.part != 0 || site.code[kRawOccupancy] != 11.0 || z < 5 || z > 17 || site.hydrogen) continue;
    double sum = 0.0, n = 0.0;
    for (const Neighbour& other : near[i]) {
      const Site& beside = s.sites[static_cast<size_t>(other.site)];
      if (beside.hydrogen || !PartsMeet(site, beside, other.IsIdentity())) continue;
      sum += s.Ueq(beside), n += 1.0;
    }
    if (n == 0.0) continue;
    const double off = std::log(std::max(1e-4, s.Ueq(site)) * n / std::max(1e-4, sum)) - (n < 1.5 ? kEndMotion : 0.0);
    if (std::fabs(off) > kSuspicious) found.emplace_back(-std::fabs(off), site.name);
  }
  std::sort(found.begin(), found.end());
  for (size_t i = 0; i < found.size() && 3 * i < s.sites.size(); ++i) names.push_back(found[i].second);
  return names;
}

}  // namespace marvik::phase
