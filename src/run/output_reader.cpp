#include "run/output_reader.h"

#include <algorithm>
#include <cstdio>

namespace marvik {
namespace {

constexpr size_t kBytesAPass = 256 * 1024;
constexpr std::string_view kEndWords[] = {"finished", "CANNOT OPEN FILE"};
constexpr size_t kLongestEndWord = 16;

bool HasEndWord(std::string_view text) {
  return std::ranges::any_of(kEndWords, [&](std::string_view word) { return text.find(word) != text.npos; });
}

// Takes `echo` out of the text, and what may be the beginning of one off its end.
void CutEcho(std::string& text, const std::string& echo) {
  for (size_t at = 0; (at = text.find(echo, at)) != text.npos;) text.replace(at, echo.size(), 1, '\0');
  for (size_t n = std::min(echo.size() - 1, text.size()); n > 0; --n) {
    if (text.ends_with(std::string_view(echo).substr(0, n))) {
      text.resize(text.size() - n);
      return;
    }
  }
}

}  // namespace

OutputReader::OutputReader(std::string path, std::vector<std::string> echoes)
    : path_(std::move(path)), echoes_(std::move(echoes)) {
  std::erase_if(echoes_, [](const std::string& echo) { return !HasEndWord(echo); });
}

void OutputReader::Begin() {
  offset_ = lines_ = 0;
  carry_.clear();
}

void OutputReader::Finish(const Sinks& sinks) {
  if (begun_.empty()) return;
  ++lines_;
  offset_ += static_cast<long long>(begun_.size());
  sinks.whole(begun_, false);
  begun_.clear();
}

void OutputReader::Show(std::string_view line, const Sinks& sinks) {
  if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
  sinks.shown(line);
}

void OutputReader::LookForEnd(std::string_view line) {
  std::string text = carry_;
  text += line;
  if (!HasEndWord(text)) return;
  endWordAnywhere_ = true;
  for (const std::string& echo : echoes_) CutEcho(text, echo);
  endWordSeen_ |= HasEndWord(text);
}

// Gives the number of bytes that complete lines took.
size_t OutputReader::TakeLines(std::string_view buffer, bool atEnd, const Sinks& sinks) {
  size_t longestEcho = kLongestEndWord;
  for (const std::string& echo : echoes_) longestEcho = std::max(longestEcho, echo.size());
  size_t at = 0;
  while (at < buffer.size()) {
    const std::string_view rest = buffer.substr(at);
    const size_t lineFeed = rest.substr(0, kLongestLine + 1).find('\n');
    const bool ends = lineFeed != rest.npos;
    if (!ends && rest.size() <= kLongestLine) break;
    const std::string_view line = rest.substr(0, ends ? lineFeed : kLongestLine);
    if (++lines_ > shown_) {
      shown_ = lines_;
      Show(line, sinks);
    }
    sinks.whole(line, ends);
    LookForEnd(line);
    carry_ += line;
    if (ends) {
      carry_.clear();
    } else if (carry_.size() > longestEcho) {
      carry_.erase(0, carry_.size() - longestEcho);
    }
    at += line.size() + (ends ? 1 : 0);
  }
  begun_ = atEnd ? buffer.substr(at) : std::string_view{};
  if (!begun_.empty()) {
    if (lines_ + 1 > shown_) {
      shown_ = lines_ + 1;
      Show(begun_, sinks);
    }
    LookForEnd(begun_);
  }
  return at;
}

bool OutputReader::Pass(const Sinks& sinks) {
  std::FILE* file = std::fopen(path_.c_str(), "rb");
  if (!file) return false;
  std::fseek(file, 0, SEEK_END);
  const long long size = std::ftell(file);
  if (size < offset_) Begin();
  std::string buffer(kBytesAPass, '\0');
  std::fseek(file, static_cast<long>(offset_), SEEK_SET);
  buffer.resize(std::fread(buffer.data(), 1, buffer.size(), file));
  std::fclose(file);
  const bool full = buffer.size() == kBytesAPass;
  offset_ += static_cast<long long>(TakeLines(buffer, !full, sinks));
  return full;
}

}  // namespace marvik
