// Reading an INI file.
#ifndef VESK_SETTINGS_INI_FILE_H
#define VESK_SETTINGS_INI_FILE_H

#include <string>
#include <vector>

namespace VESK {

struct IniItem {
  std::string section;
  std::string key;
  std::string value;
};

// What stopped the reading, in words for the log.
struct IniProblem {
  std::string where;   // the file, with ":LINE" where a line is to blame
  std::string reason;  // missing, unreadable, too large, syntax error
  std::string detail;
  std::string hint;
};

// Appends the items of the file at `path` in their order; false with `problem` when it cannot be
// read as a whole. "key = value" or "key: value"; blanks around both are cut. A line that begins
// with ';' or '#' is a comment, elsewhere both belong to the value. Lines of any length; section
// names up to 48 bytes. Not to be called by two threads at once.
[[nodiscard]] bool readIniFile(const char* path, std::vector<IniItem>& items, IniProblem& problem);

}  // namespace VESK

#endif
