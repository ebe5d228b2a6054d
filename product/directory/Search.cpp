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
  IncomingEntry* raw = nullptr;  // where the entry goes, in place of the visitor
  std::string broken{};          // what makes the answer unusable, though the wire is sound
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
  if (!search.broken.empty()) {
    return fail(budget, "search", search.broken, "the entry may just have changed; search again");
  }
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
    int code = awaitMessage(budget, id, message);
    if (code != LDAP_SUCCESS) return code;
    switch (ldap_msgtype(message.get())) {
      case LDAP_RES_SEARCH_RESULT:
        return finishPage(search, message.get());
      case LDAP_RES_SEARCH_REFERENCE:
        ++search.references;
        break;
      case LDAP_RES_SEARCH_ENTRY:
        code = takeEntry(budget, search, message.get(), visitor);
        break;
      default:
        break;
    }
    if (isWireFailure(code)) return code;
    if (search.stopped || code != LDAP_SUCCESS) {
      const int left = ldap_abandon_ext(handle.get(), id, nullptr, nullptr);
      return code == LDAP_SUCCESS ? left : code;
    }
  }
}

int BvLDAPConnection::Session::takeEntry(const TimeBudget& budget, Search& search,
                                         LDAPMessage* message, const BvLDAPEntryVisitor& visitor) {
  std::optional<IncomingEntry> incoming =
      readEntry(handle.get(), message, search.raw == nullptr ? search.attributes : nullptr);
  if (!incoming) return LDAP_DECODING_ERROR;
  search.anyEntry = true;
  if (search.raw != nullptr) {
    *search.raw = std::move(*incoming);
    return LDAP_SUCCESS;
  }
  for (PartialAttribute& part : incoming->partial) {
    if (const int code = complete(budget, search, *incoming, part); code != LDAP_SUCCESS)
      return code;
    if (search.stopped) return LDAP_SUCCESS;
    addWhole(*incoming, part);
  }
  BvLDAPEntry entry(std::move(incoming->dn), std::move(incoming->attributes));
  search.stopped = !visitor(entry);
  return LDAP_SUCCESS;
}

// Asks for the rest of an attribute's values while the search's own answer waits. Each range starts
// behind the one before and has a value, so that this ends.
int BvLDAPConnection::Session::complete(const TimeBudget& budget, Search& search,
                                        const IncomingEntry& entry, PartialAttribute& whole) {
  std::string wrong = wrongWith(whole, 0);
  while (wrong.empty() && whole.range.last) {
    const std::uint64_t next = *whole.range.last + 1;
    const std::string rest = whole.range.name + ";range=" + std::to_string(next) + "-*";
    const char* attributes[] = {rest.c_str(), nullptr};
    IncomingEntry more;
    Search part{entry.dn, LDAP_SCOPE_BASE, "(objectClass=*)", attributes};
    part.raw = &more;
    int id = 0;
    int code = request(part, id);
    if (code == LDAP_SUCCESS) code = readPage(budget, part, id, {});
    if (code != LDAP_SUCCESS && code != LDAP_NO_SUCH_OBJECT) return code;
    wrong = addPart(whole, more.partial, next);
  }
  if (wrong.empty()) return LDAP_SUCCESS;
  search.broken = "values of " + whole.range.name + " of \"" + entry.dn + "\": " + wrong;
  search.stopped = true;
  return LDAP_SUCCESS;
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
