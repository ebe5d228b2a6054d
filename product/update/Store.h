// One component's folder, data/update/NAME:
//
//   current, previous     links to a folder below versions
//   versions/V.XXXXXX     the files of version V
//   left                  the version that the last rollback left
//   package.SUM           a package on its way, kept to be continued
//   switch                what current, previous and left are about to become
//
// "switch" appears in one step and is then carried out; a process that is killed in between has its
// work finished by the next call. All that needs room on the disk is there before "switch" is. All
// but the state's reading is done under the lock.
#ifndef VESK_UPDATE_STORE_H
#define VESK_UPDATE_STORE_H

#include <string>

#include "Failure.h"

namespace VESK::update {

class Store {
 public:
  Store(const std::string& home, const std::string& component);

  // Empty when there is none. `left` is a version, the others are of a link's target.
  std::string version() const { return versionOf("current"); }
  std::string previousVersion() const { return versionOf("previous"); }
  std::string left() const;

  // Makes the folder, finishes a switch and removes what killed processes left.
  bool recover(Failure& failure);
  // Removes packages but the one of this sum.
  void forgetPackages(const std::string& except);
  std::string packagePath(const std::string& sha256) const;

  // An empty folder to unpack into; "" on failure. Without install() the next recover removes it.
  std::string makeStaging(Failure& failure);
  // Lets the staged folder be the version in use, and the one in use the previous one, unless it is
  // of the same version.
  bool install(const std::string& staging, const std::string& version, Failure& failure);
  // The caller has seen that there is a previous one.
  bool goBack(Failure& failure);

  const std::string& path() const { return folder; }

 private:
  struct Switch {
    std::string current, previous, left;
  };

  std::string at(const char* name) const { return folder + "/" + name; }
  std::string versionOf(const char* link) const;
  bool carryOut(const Switch& change, Failure& failure);
  bool isDecided() const;
  bool draft(const Switch& change, Failure& failure);
  bool finish(Failure& failure);
  bool place(const Switch& change, Failure& failure);
  void clean();

  std::string folder;
};

}  // namespace VESK::update

#endif
