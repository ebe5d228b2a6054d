// The quarantine's database: one SQLite file, opened anew for each piece of work, so that threads
// and processes share nothing but the file.
#ifndef VESK_QUARANTINE_STORE_H
#define VESK_QUARANTINE_STORE_H

#include <sqlite3.h>

#include <chrono>
#include <memory>
#include <string>

#include "Options.h"

namespace VESK::quarantine {

class Store;

struct FinalizeStatement {
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
struct CloseDatabase {
  void operator()(sqlite3* database) const { sqlite3_close_v2(database); }
};

class Statement {
 public:
  Statement(Store& owner, const char* sql);

  // Sets all parameters, for a run from the start.
  template <typename... Values>
  Statement& with(const Values&... values) {
    sqlite3_reset(statement.get());
    int index = 0;
    (bind(++index, values), ...);
    return *this;
  }

  bool next();  // there is a row; false at the end and after a failure
  bool run();   // to the end; false after a failure

  long long number(int column) const { return sqlite3_column_int64(statement.get(), column); }
  int smallNumber(int column) const { return sqlite3_column_int(statement.get(), column); }
  bool null(int column) const {
    return sqlite3_column_type(statement.get(), column) == SQLITE_NULL;
  }
  std::string text(int column) const;  // empty for NULL and after a failure

 private:
  void bind(int index, long long value) {
    check(sqlite3_bind_int64(statement.get(), index, value));
  }
  void bind(int index, const std::string& value);
  // A value that finds no memory would be taken for NULL.
  void check(int result) const;

  Store& store;
  std::unique_ptr<sqlite3_stmt, FinalizeStatement> statement;
};

// One piece of work. The first thing that fails in it leaves a line in the log, and nothing that
// follows is done.
class Store {
 public:
  enum Mode { EXISTING, CREATE };

  // `step` is what the log calls the work.
  Store(const char* step, const Options& options, Mode mode = EXISTING);
  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;

  bool good() const { return failure.empty(); }
  int code() const;  // EUQ_OK or EUQ_DATABASE
  const std::string& reason() const { return failure; }

  template <typename... Values>
  bool run(const char* sql, const Values&... values) {
    return Statement(*this, sql).with(values...).run();
  }
  // The first column of the first row; 0 when there is none or it is NULL.
  template <typename... Values>
  long long number(const char* sql, const Values&... values) {
    Statement statement(*this, sql);
    return statement.with(values...).next() ? statement.number(0) : 0;
  }
  long long changes() const { return database ? sqlite3_changes(database.get()) : 0; }

 private:
  friend class Statement;
  friend class Transaction;

  void open(const Options& options, Mode mode);
  void prepareNew();
  void fail(int result);

  const char* step;
  std::string file;
  std::chrono::steady_clock::time_point started = std::chrono::steady_clock::now();
  std::chrono::steady_clock::time_point waitingSince;
  int patience;
  std::string failure;
  std::unique_ptr<sqlite3, CloseDatabase> database;

  static int waitForOthers(void* self, int tries);
};

// All or nothing. Begun as a writer: it never finds out in the middle that it may not write.
class Transaction {
 public:
  explicit Transaction(Store& owner) : store(owner) { store.run("BEGIN IMMEDIATE"); }
  ~Transaction();
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  bool commit() { return store.good() && store.run("COMMIT"); }

 private:
  Store& store;
};

}  // namespace VESK::quarantine

#endif
