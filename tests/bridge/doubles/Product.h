// What the doubles of the product libraries were asked, and what they are to answer.
#ifndef VESK_TESTS_BRIDGE_PRODUCT_H
#define VESK_TESTS_BRIDGE_PRODUCT_H

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "product/directory.h"

struct Product {
  std::vector<std::string> calls;      // one line a call, in order; commands are among them
  std::map<std::string, int> answers;  // by the line's first word; 0 when there is none
  std::size_t throwAt = SIZE_MAX;      // the call of this index throws ProductFailure,
  bool throwsOn = false;               // and so do all that follow
  std::map<std::string, std::string> settings;  // by "section/key"
  bool storeExists = true;
  bool storeLoaded = true;
  std::vector<VESK::BvLDAPEntry> entries;
  std::vector<std::string> users, groups, parentsOfGroup, parentsOfUser;
  std::string name;                // what a look-up of one name answers
  double number = 0;               // an agent's sum or echo, a check's error code
  std::vector<std::string> texts;  // what is written to the caller's buffers, in order
  std::vector<std::string> rows;   // of the database; "\0" is one that cannot be read
  bool engineReady = true;
  std::function<void()>
      meanwhile;  // what another thread does during the next start or look at a job

  VESK::BvLDAPAbstractConnection* connection = nullptr;  // the last one made
  int alive = 0;  // connections, data-access objects, results and entries not yet given back
};

extern Product product;

struct ProductFailure {};

// Records the line, throws if it is told to, and gives the answer of the line's first word.
int ask(const char* format, ...) __attribute__((format(printf, 1, 2)));

#endif
