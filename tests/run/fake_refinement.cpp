// A refinement program for tests: fake_refinement NAME does, in the current folder, what NAME.steps says, a step a
// line, and without that file what a well-behaved program does: two cycles, NAME.res, "finished".
//
//   say TEXT | part TEXT     prints with or without a line end, at once
//   flood BYTES LENGTH       prints so many bytes in lines of that length, 0 for no line ends
//   wait MS                  sleeps
//   copy | copy OTHER        makes NAME.res of NAME.ins, or of OTHER
//   cut BYTES                shortens NAME.res
//   remove                   removes NAME.res
//   list TEXT | cif TEXT     writes that to NAME.lst or NAME.cif, "|" for line ends
//   spawn                    starts a process that sleeps for a minute, its id in NAME.pid
//   deaf                     ignores the polite signal
//   exit STATUS | crash      ends
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <signal.h>
#include <sstream>
#include <string>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>

namespace {

void Write(const std::string& path, std::string text) {
  std::ranges::replace(text, '|', '\n');
  std::ofstream(path, std::ios::binary) << text;
}

void Flood(size_t bytes, size_t length) {
  const std::string line(length ? length - 1 : 1000, 'x');
  for (size_t done = 0; done < bytes; done += line.size() + 1) std::cout << line << (length ? '\n' : 'x');
  std::cout.flush();
}

void Spawn(const std::string& name) {
  const pid_t pid = fork();
  if (pid == 0) {
    sleep(60);
    _exit(0);
  }
  Write(name + ".pid", std::to_string(pid));
}

void Do(const std::string& name, const std::string& verb, const std::string& rest) {
  const auto number = [&] { return std::atol(rest.c_str()); };
  if (verb == "say") std::cout << rest << std::endl;
  if (verb == "part") std::cout << rest << std::flush;
  if (verb == "flood")
    Flood(static_cast<size_t>(number()), static_cast<size_t>(std::atol(rest.substr(rest.find(' ')).c_str())));
  if (verb == "wait") std::this_thread::sleep_for(std::chrono::milliseconds(number()));
  if (verb == "copy") {
    std::filesystem::copy_file(rest.empty() ? name + ".ins" : rest, name + ".res",
                               std::filesystem::copy_options::overwrite_existing);
  }
  if (verb == "cut") std::filesystem::resize_file(name + ".res", static_cast<size_t>(number()));
  if (verb == "remove") std::filesystem::remove(name + ".res");
  if (verb == "list") Write(name + ".lst", rest);
  if (verb == "cif") Write(name + ".cif", rest);
  if (verb == "spawn") Spawn(name);
  if (verb == "deaf") signal(SIGTERM, SIG_IGN);
  if (verb == "nice") std::cout << "nice " << getpriority(PRIO_PROCESS, 0) << std::endl;
  if (verb == "exit") std::exit(static_cast<int>(number()));
  if (verb == "crash") raise(SIGKILL);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  const std::string name = argv[1];
  std::ifstream file(name + ".steps");
  std::istringstream usual(
      "say refining\nsay  wR2 = 0.3000 before cycle 1\nsay  Max. shift = 0.200 A for C1\n"
      "say  wR2 = 0.1500 before cycle 2\nsay  R1 = 0.0500\ncopy\nsay  all finished\n");
  std::istream& steps = file ? static_cast<std::istream&>(file) : usual;
  for (std::string line; std::getline(steps, line);) {
    const size_t blank = line.find(' ');
    Do(name, line.substr(0, blank), blank == line.npos ? "" : line.substr(blank + 1));
  }
}
