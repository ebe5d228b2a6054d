// What the settings say of updates.
#ifndef VESK_UPDATE_OPTIONS_H
#define VESK_UPDATE_OPTIONS_H

#include <cstdint>
#include <string>

#include "Failure.h"

namespace VESK::update {

struct Options {
  std::string source;   // URL of the folder, with a / at its end
  std::string caFile;   // empty: the system's
  std::string keyFile;  // the manifest's public key
  long connectTimeout = 5;
  long stallTimeout = 30;
  long timeout = 1800;
  std::uint64_t maxPackage = 0;  // bytes
};

// False when no source is set, or none that may be used.
bool readOptions(const std::string& home, Options& options, Failure& failure);

}  // namespace VESK::update

#endif
