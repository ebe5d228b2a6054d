// The two databases that the library is for, each with the administration tables, and what a test
// does to them behind the library's back.
#ifndef VESK_TESTS_PRODUCT_DATABASE_SERVERS_H
#define VESK_TESTS_PRODUCT_DATABASE_SERVERS_H

#include <memory>
#include <string>

#include "product/database.h"

class Database {
 public:
  virtual ~Database() = default;

  virtual AdminDBSetting setting() const = 0;
  virtual void run(const std::string& sql) = 0;  // as its owner; throws
  // Nobody else gets at the table while it lives.
  virtual std::shared_ptr<void> lockTable() = 0;
  // Makes an empty database of that name; gives what `database` is then set to.
  virtual std::string make(const std::string& name) = 0;
  virtual const char* endlessQuery() const = 0;
};

std::unique_ptr<Database> newSqlite();
std::unique_ptr<Database> newPostgres();

#endif
