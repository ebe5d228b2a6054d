// What the data-access classes share: one look-up under a base, with the script and the time
// budget that it started with.
#ifndef VESK_DIRECTORY_LOOKUP_H
#define VESK_DIRECTORY_LOOKUP_H

#include <deque>
#include <iterator>
#include <string>
#include <vector>

#include "Options.h"
#include "Script.h"
#include "TimeBudget.h"
#include "product/directory.h"

namespace VESK::directory {

using Names = std::vector<std::string>;

class Lookup {
 public:
  Lookup(BvLDAPAbstractConnection* to, const char* baseDN);

  // False, with a line in the log, when the caller gave no connection or base.
  bool possible() const;

  // Each entry below the base that matches; 0 on success.
  int find(const std::string& filter, const Names& attributes, const BvLDAPEntryVisitor& visitor);
  // The entry named by a DN, when it lies below the base and matches.
  int findDn(const std::string& dn, const std::string& filter, const Names& attributes,
             const BvLDAPEntryVisitor& visitor);

  const Script& script() const { return *chosen; }

 private:
  int visit(const std::string& dn, int scope, const std::string& filter, const Names& attributes,
            const BvLDAPEntryVisitor& visitor);

  BvLDAPAbstractConnection* connection;
  bool hasBase;
  std::string base;
  ScriptPtr chosen;
  ScriptedPages pages;
  TimeBudget budget;
};

// The first value of an attribute; empty when the entry has none.
std::string firstValue(BvLDAPEntry& entry, const std::string& attribute);
Names allValues(BvLDAPEntry& entry, const std::string& attribute);

// Without regard to case, as attributes and object classes are compared.
bool containsName(const Names& names, const std::string& name);

// The entries of a kind that match a search text in one of the attributes; a null or empty text
// means all of the kind.
std::string searchFilter(const std::string& kind, const Names& attributes, const char* searchText);

// Appends all of one list to another at once.
template <class RECORD>
void moveInto(std::deque<RECORD>& out, std::deque<RECORD>& found) {
  if (out.empty()) {
    out.swap(found);
  } else {
    out.insert(out.end(), std::make_move_iterator(found.begin()),
               std::make_move_iterator(found.end()));
  }
}

}  // namespace VESK::directory

#endif
