// A fresh folder under the system temp folder, removed with everything in it
// when the object goes away. Files written there are read back with ReadText.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace q9::testing {

class TempDir {
 public:
  TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  ~TempDir();

  const std::string& path() const { return path_; }
  // path() joined with `relative`.
  std::string Path(const std::string& relative) const { return path_ + "/" + relative; }
  // Creates the file (and its folders) with `contents`; returns its path.
  std::string WriteFile(const std::string& relative, const std::string& contents) const;
  // Creates the folder and its parents; returns its path.
  std::string MakeDir(const std::string& relative) const;

 private:
  std::string path_;
};

// The whole contents of a file, or "<missing>" when it cannot be read.
std::string ReadText(const std::string& path);
bool PathExists(const std::string& path);
// The contents of the one file in `folder` (an install log, say), or
// "<N files>" when it does not hold exactly one.
std::string ReadOnlyFileIn(const std::string& folder);
// `text` without its first line (a log's dated start line).
std::string AfterFirstLine(const std::string& text);
// Permission bits and contents of `root` and of every file and folder below
// it, to compare a tree before and after a run; empty when `root` is missing.
std::map<std::string, std::string> Snapshot(const std::string& root);
// Names of the entries of `dir` that start with the temporary-file prefix of
// atomic writes (".q9tmp-").
std::vector<std::string> LeftoverTemporaryFiles(const std::string& dir);

}  // namespace q9::testing
