// The requests of a session that read entries.
#include <utility>

#include "Failure.h"
#include "Results.h"
#include "Script.h"
#include "Session.h"
#include "Text.h"
#include "product/log.h"

namespace VESK {

using namespace directory;

namespace {

struct FreeControl {
  void operator()(LDAPControl* control) const { ldap_control_free(control); }
};
using LdapControl = std::unique_ptr<LDAPControl, FreeControl>;

struct FreeControls {
  void operator()(LDAPControl** controls) const { ldap_controls_free(controls); }
};
using LdapControls = std::unique_ptr<LDAPControl*, FreeControls>;

}  // namespace

struct BvLDAPConnection::Session::Search {
  std::string base;
  int scope;
  std::string filter;
  const char** attributes;
  int pageSize = 0;      // 0: unpaged
  std::string cookie{};  // where the next page starts; empty after the last one
  bool anyEntry = false;
  bool stopped = false;
  int references = 0;
};

int BvLDAPConnection::Session::read(const char* dn, const char** attributes, BvLDAPEntry** out) {
  *out = nullptr;
  error = NO_ERROR;
  const TimeBudget budget(options.operationTimeout);
  Search search{realUtf8(dn), LDAP_SCOPE_BASE, "(objectClass=*)", attributes};
  std::unique_ptr<BvLDAPEntry> found;
  const int code = run(budget, search, [&](BvLDAPEntry& entry) {
    found = std::make_unique<BvLDAPEntry>(std::move(entry));
    return true;
  });
  if (code != LDAP_SUCCESS) return code;
  if (found == nullptr) {
    return fail(budget, "read", "no entry for \"" + search.base + "\"",
                "the account may not be allowed to read it");
  }
  *out = found.release();
  return LDAP_SUCCESS;
}

int BvLDAPConnection::Session::visit(const char* baseDN, int scope, const char* filter,
                                     const char** attributes, const BvLDAPEntryVisitor& visitor) {
  error = NO_ERROR;
  const TimeBudget budget(options.operationTimeout);
  Search search{realUtf8(baseDN), scope, realUtf8(filter), attributes};
  // One entry needs no pages.
  const int scripted = ScriptedPages::size();
  if (scope != LDAP_SCOPE_BASE) search.pageSize = scripted > 0 ? scripted : options.pageSize;
  if (const int code = run(budget, search, visitor); code != LDAP_SUCCESS) return code;
  if (search.references > 0) {
    Log::LogByLevel(3, "directory: skipped %d references to other servers from %s",
                    search.references, peer.c_str());
  }
  if (search.anyEntry) {
    provenBase = search.base;
    return LDAP_SUCCESS;
  }
  return checkBase(budget, search);
}

// Some servers answer a paged search under a base that does not exist with success and no entry.
// A base that exists but is hidden by an access rule gives the same answer unpaged, and is one.
int BvLDAPConnection::Session::checkBase(const TimeBudget& budget, const Search& search) {
  const bool honest = vendor == OPENLDAP || vendor == ACTIVEDIRECTORY;
  if (honest || search.pageSize == 0 || search.base == provenBase) return LDAP_SUCCESS;
  const char* noAttributes[] = {LDAP_NO_ATTRS, nullptr};
  Search base{search.base, LDAP_SCOPE_BASE, "(objectClass=*)", noAttributes};
  const int code = run(budget, base, [](BvLDAPEntry&) { return true; });
  if (code == LDAP_SUCCESS) provenBase = search.base;
  return code;
}

int BvLDAPConnection::Session::run(const TimeBudget& budget, Search& search,
                                   const BvLDAPEntryVisitor& visitor) {
  if (handle == nullptr) return fail(budget, "search", LDAP_SERVER_DOWN);
  transport->endAt(budget.deadline());
  int code = LDAP_SUCCESS;
  do {
    int id = 0;
    code = request(search, id);
    if (code == LDAP_SUCCESS) code = readPage(budget, search, id, visitor);
  } while (code == LDAP_SUCCESS && !search.stopped && !search.cookie.empty());
  return code == LDAP_SUCCESS ? code : fail(budget, "search", code);
}

// The paging control is not critical: a server without it sends everything at once.
int BvLDAPConnection::Session::request(Search& search, int& id) {
  LdapControl paging;
  if (search.pageSize > 0) {
    berval cookie{search.cookie.size(), search.cookie.data()};
    LDAPControl* raw = nullptr;
    const int code = ldap_create_page_control(handle.get(), search.pageSize, &cookie, 0, &raw);
    paging.reset(raw);
    if (code != LDAP_SUCCESS) return code;
  }
  LDAPControl* controls[] = {paging.get(), nullptr};
  return ldap_search_ext(handle.get(), search.base.c_str(), search.scope, search.filter.c_str(),
                         const_cast<char**>(search.attributes), 0, controls, nullptr, nullptr,
                         LDAP_NO_LIMIT, &id);
}

int BvLDAPConnection::Session::readPage(const TimeBudget& budget, Search& search, int id,
                                        const BvLDAPEntryVisitor& visitor) {
  for (;;) {
    LdapMessage message;
    if (const int code = awaitMessage(budget, id, message); code != LDAP_SUCCESS) return code;
    switch (ldap_msgtype(message.get())) {
      case LDAP_RES_SEARCH_RESULT:
        return finishPage(search, message.get());
      case LDAP_RES_SEARCH_REFERENCE:
        ++search.references;
        break;
      case LDAP_RES_SEARCH_ENTRY: {
        std::optional<BvLDAPEntry> entry = makeEntry(handle.get(), message.get());
        if (!entry) return LDAP_DECODING_ERROR;
        search.anyEntry = true;
        search.stopped = !visitor(*entry);
        break;
      }
      default:
        break;
    }
    if (search.stopped) return ldap_abandon_ext(handle.get(), id, nullptr, nullptr);
  }
}

int BvLDAPConnection::Session::finishPage(Search& search, LDAPMessage* result) {
  int code = LDAP_SUCCESS;
  LDAPControl** raw = nullptr;
  const int parsed =
      ldap_parse_result(handle.get(), result, &code, nullptr, nullptr, nullptr, &raw, 0);
  const LdapControls controls(raw);
  if (parsed != LDAP_SUCCESS) return parsed;
  search.cookie.clear();
  LDAPControl* paging = ldap_control_find(LDAP_CONTROL_PAGEDRESULTS, raw, nullptr);
  if (code != LDAP_SUCCESS || paging == nullptr) return code;
  berval cookie{};
  ber_int_t estimate = 0;
  if (ldap_parse_pageresponse_control(handle.get(), paging, &estimate, &cookie) != LDAP_SUCCESS) {
    return LDAP_DECODING_ERROR;
  }
  if (cookie.bv_len > 0) search.cookie.assign(cookie.bv_val, cookie.bv_len);
  ber_memfree(cookie.bv_val);
  return LDAP_SUCCESS;
}

}  // namespace VESK
