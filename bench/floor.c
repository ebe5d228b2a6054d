#include "floor.h"

#include <poll.h>
#include <search.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>
#include <sys/socket.h>
#include <time.h>

static void check(int code, const char* step) {
  if (code == LDAP_SUCCESS) return;
  fprintf(stderr, "floor: %s: %s\n", step, ldap_err2string(code));
  exit(1);
}

LDAP* floor_open(const struct floor_server* server) {
  LDAP* ld = NULL;
  const int version = LDAP_VERSION3;
  struct berval password = {strlen(server->password), (char*)server->password};
  check(ldap_initialize(&ld, server->uri), "initialize");
  ldap_set_option(ld, LDAP_OPT_PROTOCOL_VERSION, &version);
  ldap_set_option(ld, LDAP_OPT_REFERRALS, LDAP_OPT_OFF);
  check(ldap_sasl_bind_s(ld, server->user, LDAP_SASL_SIMPLE, &password, NULL, NULL, NULL), "bind");
  return ld;
}

void floor_close(LDAP* ld) { ldap_unbind_ext_s(ld, NULL, NULL); }

static void append(struct floor_texts* texts, const char* text, size_t length) {
  if ((texts->count & (texts->count - 1)) == 0) {
    const size_t room = texts->count == 0 ? 1 : 2 * texts->count;
    texts->items = realloc(texts->items, room * sizeof *texts->items);
  }
  texts->items[texts->count++] = strndup(text, length);
}

void floor_free(struct floor_texts* texts) {
  for (size_t i = 0; i < texts->count; ++i) free(texts->items[i]);
  free(texts->items);
  texts->items = NULL;
  texts->count = 0;
}

/* What one entry adds: the first value of an attribute, and its DN where that is asked for. */
struct sink {
  const char* const* attributes; /* the first one is kept */
  struct floor_texts* names;
  struct floor_texts* dns;
  void** seen; /* DNs that were met before are skipped */
};

static int by_case(const void* a, const void* b) { return strcasecmp(a, b); }

static void keep_name(LDAP* ld, LDAPMessage* entry, const struct sink* sink) {
  struct berval** values = ldap_get_values_len(ld, entry, sink->attributes[0]);
  if (values != NULL && values[0] != NULL) {
    append(sink->names, values[0]->bv_val, values[0]->bv_len);
  }
  ldap_value_free_len(values);
}

static void take_entry(LDAP* ld, LDAPMessage* entry, const struct sink* sink) {
  if (sink->dns != NULL) {
    char* dn = ldap_get_dn(ld, entry);
    char** known = tsearch(dn, sink->seen, by_case);
    if (*known != dn) {
      ldap_memfree(dn);
      return;
    }
    append(sink->dns, dn, strlen(dn));
  }
  keep_name(ld, entry, sink);
}

static void wait_for_gulp(LDAP* ld, enum floor_reader reader) {
  int fd = -1, many = 32768, one = 1;
  ldap_get_option(ld, LDAP_OPT_DESC, &fd);
  struct pollfd wanted = {fd, POLLIN, 0};
  if (reader == FLOOR_PAUSE) {
    const struct timespec pause = {0, 200000};
    poll(&wanted, 1, -1);
    nanosleep(&pause, NULL);
    return;
  }
  setsockopt(fd, SOL_SOCKET, SO_RCVLOWAT, &many, sizeof many);
  poll(&wanted, 1, 1);
  setsockopt(fd, SOL_SOCKET, SO_RCVLOWAT, &one, sizeof one);
}

static LDAPMessage* next_message(LDAP* ld, int id, enum floor_reader reader) {
  LDAPMessage* message = NULL;
  struct timeval now = {0, 0};
  int type = 0;
  if (reader == FLOOR_PAUSE || reader == FLOOR_LOWAT) {
    type = ldap_result(ld, id, LDAP_MSG_ONE, &now, &message);
    if (type == 0) wait_for_gulp(ld, reader);
  }
  if (type == 0) {
    type = ldap_result(ld, id, reader == FLOOR_PAGE ? LDAP_MSG_ALL : LDAP_MSG_ONE, NULL, &message);
  }
  check(type > 0 ? LDAP_SUCCESS : LDAP_SERVER_DOWN, "result");
  return message;
}

/* Whether there is another page; its cookie then. */
static int next_page(LDAP* ld, LDAPMessage* result, struct berval* cookie) {
  int code = 0;
  ber_int_t total = 0;
  LDAPControl** controls = NULL;
  check(ldap_parse_result(ld, result, &code, NULL, NULL, NULL, &controls, 0), "parse");
  check(code, "search");
  ber_memfree(cookie->bv_val);
  *cookie = (struct berval){0, NULL};
  LDAPControl* paging = ldap_control_find(LDAP_CONTROL_PAGEDRESULTS, controls, NULL);
  if (paging != NULL) ldap_parse_pageresponse_control(ld, paging, &total, cookie);
  ldap_controls_free(controls);
  return cookie->bv_len > 0;
}

/* Takes a page; returns whether there is another one. */
static int read_page(LDAP* ld, int id, enum floor_reader reader, const struct sink* sink,
                     struct berval* cookie) {
  for (;;) {
    LDAPMessage* chain = next_message(ld, id, reader);
    int more = -1;
    for (LDAPMessage* m = ldap_first_message(ld, chain); m; m = ldap_next_message(ld, m)) {
      if (ldap_msgtype(m) == LDAP_RES_SEARCH_ENTRY) take_entry(ld, m, sink);
      if (ldap_msgtype(m) == LDAP_RES_SEARCH_RESULT) more = next_page(ld, m, cookie);
    }
    ldap_msgfree(chain);
    if (more >= 0) return more;
  }
}

static void search(LDAP* ld, const struct floor_server* server, const char* filter,
                   enum floor_reader reader, const struct sink* sink) {
  struct berval cookie = {0, NULL};
  int more = 1;
  while (more) {
    LDAPControl* paging = NULL;
    int id = 0;
    check(ldap_create_page_control(ld, server->page, &cookie, 0, &paging), "page control");
    LDAPControl* controls[] = {paging, NULL};
    check(ldap_search_ext(ld, server->base, LDAP_SCOPE_SUBTREE, filter, (char**)sink->attributes, 0,
                          controls, NULL, NULL, LDAP_NO_LIMIT, &id),
          "search");
    ldap_control_free(paging);
    more = read_page(ld, id, reader, sink, &cookie);
  }
  ber_memfree(cookie.bv_val);
}

void floor_list(LDAP* ld, const struct floor_server* server, const char* filter,
                const char* const* attributes, enum floor_reader reader,
                struct floor_texts* names) {
  const struct sink sink = {attributes, names, NULL, NULL};
  search(ld, server, filter, reader, &sink);
}

/* `groups` and a member among the DNs from `first` up to `last`; `user` is asked for as well unless
   it is null. */
static char* parents_filter(const struct floor_membership* how, const struct floor_texts* dns,
                            size_t first, size_t last, const char* user) {
  char* filter = NULL;
  size_t size = 0;
  FILE* out = open_memstream(&filter, &size);
  fprintf(out, "(&%s(|", how->groups);
  if (user != NULL) fprintf(out, "(memberUid=%s)", user);
  for (size_t i = first; i < last; ++i) {
    struct berval raw = {strlen(dns->items[i]), dns->items[i]}, escaped;
    check(ldap_bv2escaped_filter_value(&raw, &escaped), "escape");
    fprintf(out, "(member=%s)", escaped.bv_val);
    if (how->unique_members) {
      fprintf(out, "(&(objectClass=groupOfUniqueNames)(uniqueMember=%s))", escaped.bv_val);
    }
    ber_memfree(escaped.bv_val);
  }
  fputs("))", out);
  fclose(out);
  return filter;
}

/* The list of DNs, the user's first, grows while it is walked: what one level adds is the next. */
static void climb(LDAP* ld, const struct floor_server* server, const struct floor_membership* how,
                  const char* user, const struct sink* sink) {
  const struct floor_texts* dns = sink->dns;
  for (size_t first = 0; first < dns->count;) {
    const size_t all = dns->count - first;
    const size_t last = first + (how->batch == 0 || how->batch > all ? all : how->batch);
    char* filter = parents_filter(how, dns, first, last, first == 0 ? user : NULL);
    search(ld, server, filter, FLOOR_ENTRY, sink);
    free(filter);
    first = last;
  }
}

void floor_parents(LDAP* ld, const struct floor_server* server, const struct floor_membership* how,
                   const char* user, struct floor_texts* names) {
  static const char* const nothing[] = {LDAP_NO_ATTRS, NULL};
  static const char* const name[] = {"cn", NULL};
  struct floor_texts dns = {NULL, 0};
  void* seen = NULL;
  char* filter = NULL;
  check(asprintf(&filter, "(&%s(uid=%s))", how->users, user) > 0 ? 0 : LDAP_NO_MEMORY, "filter");
  const struct sink resolved = {nothing, names, &dns, &seen};
  search(ld, server, filter, FLOOR_ENTRY, &resolved);
  free(filter);
  const struct sink groups = {name, names, &dns, &seen};
  climb(ld, server, how, user, &groups);
  tdestroy(seen, ldap_memfree);
  floor_free(&dns);
}
