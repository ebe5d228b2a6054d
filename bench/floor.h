/* libldap used directly, in plain C: the least that a program must do to get the same answers. */
#ifndef VESK_BENCH_FLOOR_H
#define VESK_BENCH_FLOOR_H

#include <ldap.h>
#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

struct floor_server {
  const char* uri;
  const char* user;
  const char* password;
  const char* base;
  int page; /* entries */
};

struct floor_texts {
  char** items;
  size_t count;
};

/* How the answers are taken from the wire. */
enum floor_reader {
  FLOOR_PAGE,  /* ldap_search_ext_s: a page as one chain of messages */
  FLOOR_ENTRY, /* one message at a time, as soon as it is there */
  FLOOR_PAUSE, /* the same, but sleeps 0.2 ms whenever it has to wait for data */
  FLOOR_LOWAT  /* the same, but waits for 32 KiB (SO_RCVLOWAT), at most 1 ms */
};

/* Every function ends the program when the server refuses. */
LDAP* floor_open(const struct floor_server* server); /* connects and binds */
void floor_close(LDAP* ld);

/* Appends the first value of the first attribute of every match. */
void floor_list(LDAP* ld, const struct floor_server* server, const char* filter,
                const char* const* attributes, enum floor_reader reader, struct floor_texts* names);

/* How groups are found: filters of the two kinds, whether uniqueMember is asked for besides member,
   and members a request, 0 for as many as a level has. */
struct floor_membership {
  const char* users;
  const char* groups;
  int unique_members;
  size_t batch;
};

/* The names of all groups around a user, level by level. The user's name needs no escaping. */
void floor_parents(LDAP* ld, const struct floor_server* server, const struct floor_membership* how,
                   const char* user, struct floor_texts* names);

void floor_free(struct floor_texts* texts);

#ifdef __cplusplus
}
#endif

#endif
