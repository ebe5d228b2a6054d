// An open connection. Its statements hold on to it, so that the order in which they go is free.
#ifndef VESK_DATABASE_LINK_H
#define VESK_DATABASE_LINK_H

#include <sql.h>
#include <sqlext.h>

#include <memory>
#include <string>
#include <type_traits>

#include "ConnectionText.h"
#include "Diagnostic.h"
#include "StatementClock.h"

namespace VESK::database {

template <SQLSMALLINT TYPE>
struct FreeHandle {
  void operator()(SQLHANDLE handle) const { SQLFreeHandle(TYPE, handle); }
};
template <SQLSMALLINT TYPE>
using Handle = std::unique_ptr<std::remove_pointer_t<SQLHANDLE>, FreeHandle<TYPE>>;

class Link {
 public:
  // No login time-out is the driver's own.
  Link(Target connectTo, int secondsToLogIn);
  ~Link();
  Link(const Link&) = delete;
  Link& operator=(const Link&) = delete;

  // 0 or -1, like all that follows.
  int open(const std::string& password);

  // A statement that keeps the connection's time-out. Null when there is none left.
  Handle<SQL_HANDLE_STMT> newStatement();
  // Debian's SQLite driver takes narrow texts, always UTF-8; elsewhere those hang on the locale.
  bool isNarrow() const { return dialectOf(target.driver) == Dialect::SQLITE; }
  StatementClock::Run limited() { return {clock, target.statementTimeout}; }

  const std::string& peer() const { return name; }

 private:
  bool allocate();
  SQLRETURN connect(std::string& text);

  const Target target;
  const int loginTimeout;
  std::string name;  // for the log
  StatementClock clock;
  // An environment a connection: their memory goes with them.
  Handle<SQL_HANDLE_ENV> environment;
  Handle<SQL_HANDLE_DBC> connection;
  bool isOpen = false;
};

// A password never shows, whatever a driver says.
std::string hidden(std::string text, const std::string& password);

}  // namespace VESK::database

#endif
