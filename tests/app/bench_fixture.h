#pragma once

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <optional>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

#include "app/commands/command_table.h"
#include "app/open_save.h"
#include "app/workbench.h"
#include "base/files.h"

#include "support/test_files.h"

namespace marvik::test {

// Sets or unsets an environment variable while it lives.
class WithVariable {
 public:
  WithVariable(const char* name, const std::optional<std::string>& value)
      : name_(name), before_(EnvironmentValue(name)) {
    Set(value);
  }
  ~WithVariable() { Set(before_); }
  WithVariable(const WithVariable&) = delete;
  WithVariable& operator=(const WithVariable&) = delete;

 private:
  void Set(const std::optional<std::string>& value) {
    if (value) {
      setenv(name_, value->c_str(), 1);
    } else {
      unsetenv(name_);
    }
  }
  const char* name_;
  std::optional<std::string> before_;
};

// Does some work in a process of its own, whose rights and limits end with it; the faults that it finds are printed
// there.
template <class Work>
void InAnotherProcess(Work work) {
  std::fflush(stdout);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    work();
    std::fflush(stdout);
    _exit(testing::Test::HasFailure() ? 1 : 0);
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
}

// Seven atoms of a chain, one of them alone, one a hydrogen, and two peaks.
inline constexpr char kSmallFile[] =
    "TITL small\nCELL 0.71073 10 10 10 90 90 90\nZERR 4 0.001 0.001 0.001 0 0 0\nLATT -1\nSFAC C H N O\nUNIT 12 4 4 8\n"
    "L.S. 4\nREM first remark\nFVAR 1.0\n"
    "C1 1 0.10 0.10 0.10 11.0 0.05\nC2 1 0.25 0.10 0.10 11.0 0.05\nN1 3 0.39 0.10 0.10 11.0 0.05\n"
    "O1 4 0.43 0.22 0.10 11.0 0.05\nO2 4 0.80 0.80 0.80 11.0 0.05\nH1 2 0.10 0.20 0.10 11.0 0.05\nHKLF 4\n"
    "Q1 1 0.5 0.5 0.5 11.0 0.05 0.80\nQ2 1 0.6 0.5 0.5 11.0 0.05 0.40\nEND\n";

// A workbench whose messages are recorded, in a folder of its own.
class BenchTest : public testing::Test {
 protected:
  AtomRecord* Atom(const std::string& name) const { return bench.document.atoms.FindAtom(name); }
  BondRecord* Bond(const char* a, const char* b) const { return bench.document.atoms.FindBond(Atom(a), Atom(b)); }
  // Opens a file of this text; what is said about it is forgotten.
  bool Open(const std::string& text = kSmallFile, const std::string& name = "small.res") {
    bench.modified = false;
    const bool opened = OpenFile(bench, folder.Put(name, text));
    messages.shown.clear();
    return opened;
  }
  std::string Saved() {
    EXPECT_TRUE(SaveFileAs(bench, folder / "saved.ins"));
    return folder.Get("saved.ins");
  }
  bool Writes(const std::string& line) { return ("\n" + Saved()).find("\n" + line + "\n") != std::string::npos; }
  // A command by its number or its name.
  Outcome Run(int id, const std::string& argument = {}) { return RunCommand(bench, id, argument); }
  Outcome Run(const char* name, const std::string& argument = {}) { return Run(FindCommand(name)->id, argument); }
  std::string LastText() const { return messages.shown.empty() ? "" : messages.shown.back().text; }
  // That a command says why not.
  template <class Command>
  void ExpectRefused(Command command, const std::string& argument, const std::string& part) {
    messages.shown.clear();
    EXPECT_EQ(Run(command, argument), Outcome::Failed) << command << " " << argument;
    EXPECT_NE(LastText().find(part), std::string::npos) << command << " " << argument << ": " << LastText();
  }
  // Captions of the messages shown since the last call.
  std::string Captions() {
    std::string list;
    for (const UserMessage& message : messages.shown) list += (list.empty() ? "" : "|") + message.caption;
    messages.shown.clear();
    return list;
  }

  ScratchFolder folder;
  RecordingMessages messages;
  Workbench bench{messages};
};

}  // namespace marvik::test
