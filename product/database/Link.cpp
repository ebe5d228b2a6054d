#include "Link.h"

#include "product/log.h"

namespace VESK::database {

namespace {

// ODBC takes numbers there, too.
SQLPOINTER number(int value) {
  return reinterpret_cast<SQLPOINTER>(SQLLEN{value});  // NOLINT(performance-no-int-to-ptr)
}

std::string nameOf(const Target& target) {
  if (dialectOf(target.driver) == Dialect::SQLITE) return target.database;
  const std::string server = target.server.empty() ? "the driver's server" : target.server;
  return target.user + (target.user.empty() ? "" : "@") + server + " database " + target.database;
}

}  // namespace

std::string hidden(std::string text, const std::string& password) {
  if (password.empty()) return text;
  for (std::size_t at = 0; (at = text.find(password, at)) != std::string::npos; at += 3) {
    text.replace(at, password.size(), "***");
  }
  return text;
}

Link::Link(Target connectTo, int secondsToLogIn)
    : target(std::move(connectTo)), loginTimeout(secondsToLogIn), name(nameOf(target)) {}

Link::~Link() {
  if (isOpen) SQLDisconnect(connection.get());
}

bool Link::allocate() {
  SQLHANDLE handle = nullptr;
  if (!SQL_SUCCEEDED(SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &handle))) return false;
  environment.reset(handle);
  SQLSetEnvAttr(handle, SQL_ATTR_ODBC_VERSION, number(SQL_OV_ODBC3), 0);
  if (!SQL_SUCCEEDED(SQLAllocHandle(SQL_HANDLE_DBC, environment.get(), &handle))) return false;
  connection.reset(handle);
  if (loginTimeout > 0) SQLSetConnectAttr(handle, SQL_ATTR_LOGIN_TIMEOUT, number(loginTimeout), 0);
  return true;
}

SQLRETURN Link::connect(std::string& text) {
  const StatementClock::Opening opening(clock);
  if (isNarrow()) {
    return SQLDriverConnect(connection.get(), nullptr, reinterpret_cast<SQLCHAR*>(text.data()),
                            static_cast<SQLSMALLINT>(text.size()), nullptr, 0, nullptr,
                            SQL_DRIVER_NOPROMPT);
  }
  Secret<std::u16string> wide(toUtf16(text));
  return SQLDriverConnectW(connection.get(), nullptr, reinterpret_cast<SQLWCHAR*>(wide.text.data()),
                           static_cast<SQLSMALLINT>(wide.text.size()), nullptr, 0, nullptr,
                           SQL_DRIVER_NOPROMPT);
}

int Link::open(const std::string& password) {
  const Stopwatch watch;
  Secret<std::string> text;
  const char* fault = writeConnectionText(target, password, text);
  if (fault != nullptr) return fail("connect", name, watch, {"", fault});
  if (!allocate()) return fail("connect", name, watch, {"", "no memory for ODBC"});
  isOpen = SQL_SUCCEEDED(connect(text.text));
  if (!isOpen) {
    Diagnostic diagnostic = diagnosticOf(SQL_HANDLE_DBC, connection.get());
    diagnostic.text = hidden(diagnostic.text, password);
    return fail("connect", name, watch, diagnostic);
  }
  return 0;
}

Handle<SQL_HANDLE_STMT> Link::newStatement() {
  SQLHANDLE handle = nullptr;
  if (!SQL_SUCCEEDED(SQLAllocHandle(SQL_HANDLE_STMT, connection.get(), &handle))) return nullptr;
  Handle<SQL_HANDLE_STMT> statement(handle);
  const int seconds = target.statementTimeout;
  if (seconds <= 0) return statement;
  // The SQLite driver agrees and forgets it.
  const bool kept =
      dialectOf(target.driver) == Dialect::SQLITE
          ? clock.isTied()
          : SQL_SUCCEEDED(SQLSetStmtAttr(handle, SQL_ATTR_QUERY_TIMEOUT, number(seconds), 0));
  if (!kept) {
    Log::LogByLevel(LOG_NORMAL, "database: this driver keeps no statement time-out: %s; hint: %s",
                    target.driver.c_str(), "use the drivers SQLite3 or PostgreSQL Unicode");
  }
  return statement;
}

}  // namespace VESK::database
