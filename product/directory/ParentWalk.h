// The groups that contain an entry, directly or through other groups.
#ifndef VESK_DIRECTORY_PARENT_WALK_H
#define VESK_DIRECTORY_PARENT_WALK_H

#include <deque>
#include <string>
#include <unordered_set>

#include "Lookup.h"
#include "product/directory.h"

namespace VESK::directory {

// One request for each level, whatever the number of groups on it; a group is visited once, so
// that cycles end.
class ParentWalk {
 public:
  explicit ParentWalk(Lookup& at) : lookup(at), script(at.script()) {}

  int fromUser(const std::string& name);
  int fromGroup(const std::string& name);

  std::deque<GroupRecord>& parents() { return found; }

 private:
  int resolve(const std::string& kind, const std::string& nameAttr, const std::string& name,
              const Names& primary);
  void addPrimaryGroup(BvLDAPEntry& user);
  int climb(const Names& memberItems);
  int level(const std::string& anyItem, Names& next);
  Names itemsFor(const std::string& dn);
  bool isPrimary(BvLDAPEntry& group) const;
  bool remember(const std::string& dn);

  Lookup& lookup;
  const Script& script;
  Names frontier;    // DNs whose parents are asked next; with memberOf, the parents themselves
  Names startNames;  // as the directory spells them
  std::unordered_set<std::string> primaryGroups;  // SIDs
  std::unordered_set<std::string> known;
  std::unordered_set<std::string> asked;  // with memberOf: not every group asked about is shown
  std::deque<GroupRecord> found;
};

}  // namespace VESK::directory

#endif
