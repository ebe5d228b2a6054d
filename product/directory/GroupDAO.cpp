#include "product/directory.h"

#include <utility>

#include "Lookup.h"
#include "ParentWalk.h"
#include "Text.h"
#include "shared/Boundary.h"

using namespace VESK::directory;

namespace {

constexpr int FAILED = -1;

using Start = int (ParentWalk::*)(const std::string& name);

int allParents(VESK::BvLDAPAbstractConnection* connection, const char* baseDN, const char* name,
               Start start, GroupList& out) {
  Lookup lookup(connection, baseDN);
  if (!lookup.possible() || name == nullptr) return FAILED;
  ParentWalk walk(lookup);
  const int code = (walk.*start)(realUtf8(name));
  if (code == 0) moveInto(out.groups, walk.parents());
  return code;
}

}  // namespace

GroupDAO::GroupDAO() = default;
GroupDAO::~GroupDAO() = default;

int GroupDAO::getAllGroups(VESK::BvLDAPAbstractConnection* connection, const char* baseDN,
                           const char* searchStr, GroupList& out) try {
  Lookup lookup(connection, baseDN);
  if (!lookup.possible()) return FAILED;
  const Script& script = lookup.script();
  const std::string filter = searchFilter(script.groupFilter, script.groupSearchAttrs, searchStr);
  std::deque<GroupRecord> groups;
  const int code = lookup.find(filter, {script.groupNameAttr}, [&](VESK::BvLDAPEntry& entry) {
    std::string name = firstValue(entry, script.groupNameAttr);
    if (!name.empty()) groups.push_back({std::move(name), entry.dn()});
    return true;
  });
  if (code == 0) moveInto(out.groups, groups);
  return code;
}
VESK_AT_BOUNDARY("directory", -1)

int GroupDAO::getAllParentGroupsByGroupName(VESK::BvLDAPAbstractConnection* connection,
                                            const char* baseDN, const char* groupName,
                                            GroupList& out) try {
  return allParents(connection, baseDN, groupName, &ParentWalk::fromGroup, out);
}
VESK_AT_BOUNDARY("directory", -1)

int GroupDAO::getAllParentGroupsByUserName(VESK::BvLDAPAbstractConnection* connection,
                                           const char* baseDN, const char* userName,
                                           GroupList& out) try {
  return allParents(connection, baseDN, userName, &ParentWalk::fromUser, out);
}
VESK_AT_BOUNDARY("directory", -1)
