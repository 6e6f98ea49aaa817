// Directory operations of the index runs, on the file walker. All raise level
// 2 on failure with the walker's last error in the text.
#pragma once

#include <string>

namespace quern {

// Moves the plain files directly inside `source` into `target`, replacing
// files of the same name; subdirectories of `source` stay where they are.
void MoveFiles(const std::string& source, const std::string& target);
// Removes `dir` with everything in it.
void RemoveDirectory(const std::string& dir);
// Creates `path` and its missing parents; 1 when the directory exists at the
// end, else 0. An absolute POSIX path's leading separator is passed over.
int MakeDirectories(const std::string& path);

}  // namespace quern
