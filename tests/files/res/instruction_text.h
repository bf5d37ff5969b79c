#pragma once

#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "files/res/reader.h"
#include "files/res/writer.h"

namespace marvik::test {

inline const std::string kCellLines = "TITL test\nCELL 0.71073 10 10 10 90 90 90\nZERR 4 0 0 0 0 0 0\n";
inline const std::string kHeader = kCellLines + "LATT -1\nSFAC C H N O\nUNIT 4 4 4 4\n";

// A document read from a text that must be readable, and what was said meanwhile.
struct ReadDocument {
  explicit ReadDocument(const std::string& text) { EXPECT_TRUE(ReadInstructionText(document, text, messages)); }

  AtomRecord* Atom(const std::string& name) const {
    AtomRecord* atom = document.atoms.FindAtom(name);
    EXPECT_NE(atom, nullptr) << name;
    return atom;
  }
  std::string Saved(FileLayout layout = FileLayout::Standard) {
    std::string text;
    EXPECT_TRUE(ComposeInstructionText(document, text, messages, {layout, {}, {}, {}}));
    return text;
  }
  // The lines of a save from the one that begins with `first` up to the one before `last`.
  std::string SavedFrom(const std::string& first, const std::string& last) {
    const std::string text = std::string("\n").append(Saved());
    const size_t begin = text.find(std::string("\n").append(first));
    const size_t end = text.find(std::string("\n").append(last), begin == std::string::npos ? 0 : begin);
    if (begin == std::string::npos || end == std::string::npos) return "not found in" + text;
    return text.substr(begin + 1, end - begin);
  }
  bool Saves(const std::string& line) {
    return std::string("\n").append(Saved()).find(std::string("\n").append(line).append("\n")) != std::string::npos;
  }

  Document document;
  RecordingMessages messages;
};

}  // namespace marvik::test
