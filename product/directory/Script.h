// The vendor's script: how its schema names users, groups and memberships.
#ifndef VESK_DIRECTORY_SCRIPT_H
#define VESK_DIRECTORY_SCRIPT_H

#include <memory>
#include <string>
#include <vector>

namespace VESK::directory {

enum class ParentStrategy { WALK, MEMBER_OF, IN_CHAIN };

// An attribute of a group that holds DNs. With a class, only groups of that class are asked for it:
// a server that has no index for the attribute then need not look through all groups.
struct MemberAttribute {
  std::string name;
  std::string objectClass;  // may be empty
};

// The defaults are the built-in generic script. docs/directory-scripts.md describes the keys.
struct Script {
  std::string userFilter = "(|(objectClass=inetOrgPerson)(objectClass=posixAccount))";
  std::string userNameAttr = "uid";
  std::vector<std::string> userSearchAttrs = {"uid", "cn", "displayName", "mail"};
  std::vector<std::string> userLoginAttrs = {"uid", "mail"};
  bool loginStripDomain = false;

  std::string groupFilter =
      "(|(objectClass=groupOfNames)(objectClass=groupOfUniqueNames)(objectClass=posixGroup))";
  std::string groupNameAttr = "cn";
  std::vector<std::string> groupSearchAttrs = {"cn", "description", "mail"};
  std::vector<std::string> groupClasses = {"groupOfNames", "groupOfUniqueNames", "posixGroup"};

  ParentStrategy parentStrategy = ParentStrategy::WALK;
  std::vector<MemberAttribute> memberDnAttrs = {{"member", ""},
                                                {"uniqueMember", "groupOfUniqueNames"}};
  std::vector<std::string> memberNameAttrs = {"memberUid"};
  std::string memberOfAttr = "memberOf";
  std::string entryDnAttr = "entryDN";
  std::string primaryGroupAttr;  // both empty: the groups name all their members
  std::string sidAttr;

  std::vector<std::string> smtpPrefixAttrs;
  int pageSize = 0;  // 0: as the settings say
};

using ScriptPtr = std::shared_ptr<const Script>;

// The script for a look-up that starts now; never null.
ScriptPtr currentScript();

// While one lives, the searches of its thread take the script's page size (0: as the settings say).
// Other searches know no script: the thread's may be one of an earlier call for another vendor.
class ScriptedPages {
 public:
  explicit ScriptedPages(int size) : outer(current) { current = size; }
  ~ScriptedPages() { current = outer; }
  ScriptedPages(const ScriptedPages&) = delete;
  ScriptedPages& operator=(const ScriptedPages&) = delete;

  static int size() { return current; }

 private:
  inline static thread_local int current = 0;

  int outer;
};

}  // namespace VESK::directory

#endif
