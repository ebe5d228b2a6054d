// Where the bridge meets the system: the linker leads these calls of it to the doubles here.
#ifndef VESK_TESTS_BRIDGE_SEAMS_H
#define VESK_TESTS_BRIDGE_SEAMS_H

#include <cstddef>
#include <ctime>
#include <string>

struct Seams {
  // Commands go to the journal of the product's calls. Without the real shell, `output` is what a
  // command prints and `status` what `system` answers.
  bool realShell = false;
  bool popenFails = false;
  std::string output;
  int status = 0;

  bool mallocFails = false;
  std::size_t heapBlock = 0;  // size of the last block, 0 once it is freed
  bool nothrowNewFails = false;

  const char* locale = nullptr;  // what setlocale answers
  std::time_t now = 0;           // 0: the real time
};

extern Seams seams;

#endif
