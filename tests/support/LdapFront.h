// Stands between a client and a directory server, and sends long attributes in ranges as an Active
// Directory does. Counts what passes.
#ifndef VESK_TESTS_SUPPORT_LDAP_FRONT_H
#define VESK_TESTS_SUPPORT_LDAP_FRONT_H

#include <lber.h>

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "support/Network.h"

// One client and one request at a time: what the client sends meanwhile waits.
class LdapFront {
 public:
  // What is wrong with the second range of an attribute.
  enum Fault { NONE, STARTS_ANEW, OVERLAPS, LEAVES_OUT, EMPTY, ABSENT, SHORTER, ENTRY_GONE };

  static constexpr std::size_t ALL_AT_ONCE = SIZE_MAX / 2;

  LdapFront(int serverPort, std::size_t valuesAtOnce, Fault fault = NONE);
  ~LdapFront();  // the client must be gone
  LdapFront(const LdapFront&) = delete;
  LdapFront& operator=(const LdapFront&) = delete;

  int port() const { return portOf(listener); }

  struct Traffic {
    std::vector<std::string> searches;  // as they came, without their numbers
    int binds = 0;
    long bytesBack = 0;  // to the client

    int requests() const { return static_cast<int>(searches.size()); }
    int repeated() const;  // searches that had been asked before, to the byte
    int mentions(const std::string& text) const;  // times it stands in them
  };
  // Since the last call; exact for a client that has all its answers.
  Traffic taken();

 private:
  struct FirstValues;  // of the ranges that a search asks for, by attribute

  void run();
  void serve(const Socket& client, const Socket& server);
  std::string ownRanges(const std::string& request, FirstValues& first) const;
  std::string inRanges(const std::string& answer, const FirstValues& first) const;
  void writeValues(BerElement* out, const berval& name, const berval* values,
                   const FirstValues& first) const;
  void count(ber_tag_t operation, const std::string& request);

  int target;
  std::size_t most;
  Fault fault;
  Socket listener;
  std::mutex mutex;
  Traffic traffic;
  std::thread thread;
};

#endif
