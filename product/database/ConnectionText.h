// The text that a driver connects by. Drivers differ in how they quote, so that each has its own.
#ifndef VESK_DATABASE_CONNECTION_TEXT_H
#define VESK_DATABASE_CONNECTION_TEXT_H

#include <string>

#include "Text.h"

namespace VESK::database {

enum class Dialect { SQLITE, POSTGRESQL, OTHER };

// By the driver's name or library.
Dialect dialectOf(const std::string& driver);

struct Target {
  std::string driver;
  std::string server;
  std::string database;
  std::string user;
  int statementTimeout = 0;  // seconds
};

// Writes into `out` all that `target` and `password` say, quoted so that no value can become a
// keyword. Null on success, else what is wrong with a value.
const char* writeConnectionText(const Target& target, const std::string& password,
                                Secret<std::string>& out);

}  // namespace VESK::database

#endif
