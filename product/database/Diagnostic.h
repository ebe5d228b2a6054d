// What a driver says of a failure, and the line that the administrator reads.
#ifndef VESK_DATABASE_DIAGNOSTIC_H
#define VESK_DATABASE_DIAGNOSTIC_H

#include <sql.h>

#include <chrono>
#include <string>

namespace VESK::database {

struct Diagnostic {
  std::string state;  // the SQLSTATE; empty when it is of this library
  std::string text;
};

// The first one of a handle.
Diagnostic diagnosticOf(SQLSMALLINT type, SQLHANDLE handle);

class Stopwatch {
 public:
  long long milliseconds() const {
    const auto passed = std::chrono::steady_clock::now() - start;
    return std::chrono::duration_cast<std::chrono::milliseconds>(passed).count();
  }

 private:
  const std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
};

// Always -1, so that it can be returned.
int fail(const char* step, const std::string& peer, const Stopwatch& watch,
         const Diagnostic& diagnostic);

}  // namespace VESK::database

#endif
