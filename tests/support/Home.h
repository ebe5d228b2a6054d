// An install root of the test process's own, with settings and log in it.
#ifndef VESK_TESTS_SUPPORT_HOME_H
#define VESK_TESTS_SUPPORT_HOME_H

#include <string>

#include "support/TempDir.h"

class Home {
 public:
  // The process's one; settings and log exist once as well. Made by the first call.
  static Home& instance();

  // An empty text stands for the default.
  static void set(const char* section, const char* key, const std::string& value);

  // What was logged since the last call.
  std::string newLog();

  TempDir dir;

 private:
  Home();

  std::size_t read = 0;
};

#endif
