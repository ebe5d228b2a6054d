#include "Diagnostic.h"

#include <sqlext.h>

#include "Text.h"
#include "product/log.h"

namespace VESK::database {

namespace {

static_assert(sizeof(SQLWCHAR) == sizeof(char16_t));

struct Meaning {
  const char* state;  // how the SQLSTATE begins
  const char* word;   // or a word of the text
  const char* reason;
  const char* hint;
};

constexpr const char* CHECK_TABLES =
    "check the statement, and that the tables are there: "
    "script/admin.sql makes them";
constexpr const char* CHECK_FILE =
    "check database in section admin_db, and that this account may "
    "open the file and its folder";

// The first one that fits. Drivers put much into few states, so words decide first.
constexpr Meaning MEANINGS[] = {
    {"IM", "", "no driver",
     "install the ODBC driver, or name its library as driver in section "
     "admin_db"},
    {"01000", "Can't open lib", "no driver",
     "install the ODBC driver, or name its library as "
     "driver in section admin_db"},
    {"57014", "", "timed out", "look for a lock or a load on the database"},
    {"HYT", "", "timed out", "check that the database server answers"},
    {"08", "timeout expired", "timed out", "check that the database server answers"},
    {"08", "authentication failed", "log-in refused",
     "check user and password_file in section "
     "admin_db"},
    {"08", "no password supplied", "log-in refused", "set password_file in section admin_db"},
    {"28", "", "log-in refused", "check user and password_file in section admin_db"},
    {"08", "", "no connection",
     "check that the database server runs, and server, database and user "
     "in section admin_db"},
    {"42501", "", "not allowed", "give the user of section admin_db the right to read the table"},
    {"42", "", "refused", CHECK_TABLES},
    {"HY", "interrupted (9)", "timed out", "look for a load on the machine"},
    {"HY", "locked (", "locked", "another process keeps the database locked: look for it"},
    {"HY", "connect failed", "cannot open", CHECK_FILE},
    {"HY", "not a database", "no database", CHECK_FILE},
    {"HY", "malformed", "damaged", "restore the database from a backup"},
    {"HY", "(1)", "refused", CHECK_TABLES},
    {"", "", "failed", "check section admin_db of vesk.ini"},
};

const Meaning& meaningOf(const Diagnostic& diagnostic) {
  for (const Meaning& row : MEANINGS) {
    if (diagnostic.state.rfind(row.state, 0) == 0 &&
        diagnostic.text.find(row.word) != std::string::npos) {
      return row;
    }
  }
  return *(std::end(MEANINGS) - 1);
}

}  // namespace

Diagnostic diagnosticOf(SQLSMALLINT type, SQLHANDLE handle) {
  char16_t state[SQL_SQLSTATE_SIZE + 1] = {};
  char16_t text[SQL_MAX_MESSAGE_LENGTH] = {};
  SQLINTEGER native = 0;
  SQLSMALLINT length = 0;
  const SQLRETURN code =
      SQLGetDiagRecW(type, handle, 1, reinterpret_cast<SQLWCHAR*>(state), &native,
                     reinterpret_cast<SQLWCHAR*>(text), SQL_MAX_MESSAGE_LENGTH, &length);
  if (!SQL_SUCCEEDED(code)) return {"HY000", "no diagnostic"};
  std::string message = toUtf8(text);
  message.resize(message.find_last_not_of(" \r\n") + 1);
  return {toUtf8(state), message};
}

int fail(const char* step, const std::string& peer, const Stopwatch& watch,
         const Diagnostic& diagnostic) {
  const Meaning& meaning = meaningOf(diagnostic);
  Log::LogByLevel(LOG_NORMAL, "database: %s failed at %s after %lld ms: %s [%s%s%s]; hint: %s",
                  step, peer.c_str(), watch.milliseconds(), meaning.reason,
                  diagnostic.state.c_str(), diagnostic.state.empty() ? "" : " ",
                  diagnostic.text.c_str(), meaning.hint);
  return -1;
}

}  // namespace VESK::database
