// A directory that answers by rote, for what the sample company has no example of.
#ifndef VESK_TESTS_PRODUCT_SCRIPTED_CONNECTION_H
#define VESK_TESTS_PRODUCT_SCRIPTED_CONNECTION_H

#include <string>
#include <utility>
#include <vector>

#include "product/directory.h"

class ScriptedConnection : public VESK::BvLDAPConnection {
 public:
  struct Entry {
    std::string dn;  // also its uid and cn
    std::vector<std::string> memberOf{};
    std::vector<std::string> sid{};
    std::vector<std::string> primaryGroup{};
  };
  using Answer = std::vector<Entry>;

  // One answer a search; the later ones find nothing.
  explicit ScriptedConnection(std::vector<Answer> inOrder)
      : BvLDAPConnection(GENERIC, SIMPLE), answers(std::move(inOrder)) {}

  int visit(const char* baseDN, int, const char* filter, const char**,
            const VESK::BvLDAPEntryVisitor& visitor) override {
    bases.emplace_back(baseDN);
    filters.emplace_back(filter);
    if (filters.size() > answers.size()) return 0;
    for (const Entry& one : answers[filters.size() - 1]) {
      VESK::BvLDAPEntry entry(one.dn, {{"uid", {one.dn}},
                                       {"cn", {one.dn}},
                                       {"memberOf", one.memberOf},
                                       {"objectSid", one.sid},
                                       {"primaryGroupID", one.primaryGroup}});
      if (!visitor(entry)) break;
    }
    return 0;
  }

  std::vector<std::string> bases;
  std::vector<std::string> filters;

 private:
  std::vector<Answer> answers;
};

#endif
