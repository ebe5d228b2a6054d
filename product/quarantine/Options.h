// Where the quarantine is, and its settings.
#ifndef VESK_QUARANTINE_OPTIONS_H
#define VESK_QUARANTINE_OPTIONS_H

#include <string>

namespace VESK::quarantine {

struct Options {
  std::string home;  // absolute
  int busyTimeout = 5000;
  int batch = 1000;

  std::string folder() const { return home + "/data/euq"; }
  std::string database() const { return folder() + "/euq.db"; }
  std::string lock() const { return folder() + "/job.lock"; }
  std::string program() const { return home + "/bin/euqjob"; }
};

// As the settings store and the environment are now.
Options readOptions();

// Says in the log which settings are unusable, so that their defaults serve.
void complainOfSettings();

}  // namespace VESK::quarantine

#endif
