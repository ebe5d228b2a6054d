// The product's administration database, through ODBC: SQLite by default, PostgreSQL on an
// appliance that has it.
//
// Texts are NUL-terminated UTF-8. Nothing here throws; a failure leaves one line in the log,
// without the password. A connection with its statements belongs to one thread at a time; different
// ones are independent. Waits end with the time-outs given to connect, but for what
// docs/product-libraries.md tells.
//
// Settings read, section "admin_db": "driver" (name of an ODBC driver or its library; default
// "SQLite3"), "server" (host, host:port or the folder of a Unix socket; default none), "database"
// (its name; for SQLite its file, default data/admin.db; a path that does not begin with / counts
// from the install root), "user" (default none), "password_file" (a file of mode 0600 or stricter,
// of this account or root, whose first line is the password, at most 256 bytes; default none).
#ifndef VESK_PRODUCT_DATABASE_H
#define VESK_PRODUCT_DATABASE_H

#include <memory>
#include <string>

inline constexpr int ODBC_VERSION = 1;

// Where the administration database is. The password itself is in none of the texts, so that they
// may be logged; connect reads it from the file that the settings name.
struct AdminDBSetting {
  std::string driver;
  std::string server;
  std::string database;
  std::string user;
  std::string passwordFile;
};

class VeskConfigFileManager {
 public:
  // Fills `setting` from the settings store, with defaults for what is not set. False when the
  // store is not loaded; the defaults are then all there is.
  static bool getAdminDBSetting(AdminDBSetting& setting);
};

namespace VESK {

namespace database {
class Link;
}

// One row at a time.
class BvDBResultset {
 public:
  ~BvDBResultset();
  BvDBResultset(const BvDBResultset&) = delete;
  BvDBResultset& operator=(const BvDBResultset&) = delete;

  int next();  // 0: moved onto a row; 1: there are no more; -1: failed
  // 0: *value is the text of the column in this row, of any length, and lives until next or
  // excuteQuery is called or the statement released. 1: the value is NULL, and *value is null. -1:
  // no such column (ASCII capitals are no difference), no row, or the read failed; *value is null.
  int getString(const char* column, const char** value);

 private:
  friend class BvDBStatement;
  struct Row;
  explicit BvDBResultset(std::unique_ptr<Row> row);
  std::unique_ptr<Row> current;
};

class BvDBStatement {
 public:
  ~BvDBStatement();
  BvDBStatement(const BvDBStatement&) = delete;
  BvDBStatement& operator=(const BvDBStatement&) = delete;

  // Runs the query. 0: *result is its rows, which the statement owns; it replaces those of an
  // earlier run. -1: *result is null.
  int excuteQuery(BvDBResultset** result);

 private:
  friend class BvDBConnection;
  friend class BvDBResultset;
  struct Handle;
  explicit BvDBStatement(std::unique_ptr<Handle> handle);
  std::unique_ptr<Handle> handle;
  std::unique_ptr<BvDBResultset> rows;
};

class BvDBConnection {
 public:
  explicit BvDBConnection(int odbcVersion);  // ODBC_VERSION
  ~BvDBConnection();                         // disconnects
  BvDBConnection(const BvDBConnection&) = delete;
  BvDBConnection& operator=(const BvDBConnection&) = delete;

  // The first four texts of AdminDBSetting; null is the empty text. `loginTimeout` and
  // `statementTimeout` are seconds, 0 for no limit of this library's; a prepare, a query and a step
  // to the next row have the statement's time each. `attempts` is how often the connection is tried
  // at most, and `retryDelay` the seconds between. A SQLite file that is missing is not made. 0 on
  // success, -1 on failure; an earlier connection ends either way, once its statements are
  // released.
  int connect(const char* driver, const char* server, const char* database, const char* user,
              int loginTimeout, int attempts, int statementTimeout, int retryDelay);
  // 0: *statement is to be given back with releaseStatement, before or after the connection goes.
  // -1: the text is no query of the database (its tables and columns included), or there is no
  // connection; *statement is null.
  int prepareStatement(const char* sql, BvDBStatement** statement);
  void releaseStatement(BvDBStatement* statement);  // null is allowed

 private:
  const int version;
  std::shared_ptr<database::Link> link;
};

}  // namespace VESK

#endif
