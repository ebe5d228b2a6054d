// The spool of messages that were held back: real mail files, REFERENCE.eml in one folder an area.
#ifndef VESK_APPLIANCE_AGENT_QUARANTINE_H
#define VESK_APPLIANCE_AGENT_QUARANTINE_H

#include <string>

#include "shared/Descriptor.h"

namespace agent {

using VESK::Descriptor;

enum class Area { quarantine, archive, postponed };

class Quarantine {
 public:
  // "" for either: there are no messages, or none is exported. Throws std::system_error.
  Quarantine(const std::string& spool, const std::string& exportFolder);

  // Not open when there is no such message. A reference is a name: one with slashes, one that
  // begins with a dot and one that is a symbolic link name nothing.
  Descriptor open(Area area, const std::string& reference) const;

  // Writes the message, byte for byte, with mode 0640: whole, or not at all. The target is a plain
  // name in the export folder or a full path in it; no symbolic link is followed to it or through.
  bool exportTo(const std::string& target, Descriptor message) const;

 private:
  bool inFolder(const std::string& target, std::string& name) const;

  Descriptor spool;
  Descriptor folder;
  std::string folderPath;  // without links in it
  std::string givenPath;
};

}  // namespace agent

#endif
