#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace marvik {

// Reads a file that a running program writes, pass by pass. Lines are counted; one is shown when its number comes up
// for the first time, as it stands then, even when the program is still writing it. More than 127 characters count as
// several lines. The text is bytes of any kind.
class OutputReader {
 public:
  static constexpr size_t kLongestLine = 127;

  // `echoes` are texts that the program may repeat without meaning them, such as the job's name and title: an end word
  // inside one of them does not end the wait.
  OutputReader(std::string path, std::vector<std::string> echoes);

  struct Sinks {
    std::function<void(std::string_view)> shown;
    // Each line when it is complete, in pieces when it is long; lineEnd with the last piece.
    std::function<void(std::string_view, bool lineEnd)> whole;
  };
  // Reads on, up to a quarter of a megabyte; true when more is there already. A file that is not there yet, or was made
  // anew, is no error.
  bool Pass(const Sinks& sinks);
  // When nothing more will come: the last line is complete without a line end.
  void Finish(const Sinks& sinks);

  // A line held "finished" or "CANNOT OPEN FILE".
  bool EndWordSeen() const { return endWordSeen_; }
  // The same without regard to echoes: what counts once the program has ended.
  bool EndWordSeenAnywhere() const { return endWordAnywhere_; }

 private:
  void Begin();
  size_t TakeLines(std::string_view buffer, bool atEnd, const Sinks& sinks);
  void Show(std::string_view line, const Sinks& sinks);
  void LookForEnd(std::string_view line);

  std::string path_;
  std::vector<std::string> echoes_;
  long long offset_ = 0;  // of the first line that was not complete
  long long lines_ = 0;   // complete ones
  long long shown_ = 0;   // highest number shown
  std::string begun_;     // the line that was not complete at the last pass
  std::string carry_;     // end of the earlier pieces of the present line
  bool endWordSeen_ = false;
  bool endWordAnywhere_ = false;
};

}  // namespace marvik
