// A statement and its rows, as the driver has them.
#ifndef VESK_DATABASE_STATEMENT_H
#define VESK_DATABASE_STATEMENT_H

#include <optional>
#include <vector>

#include "Link.h"
#include "product/database.h"

namespace VESK {

struct BvDBStatement::Handle {
  explicit Handle(std::shared_ptr<database::Link> of) : link(std::move(of)) {}

  // 0 or -1, like all that follows.
  int prepare(const char* sql);
  int execute();
  int fail(const char* step, const database::Stopwatch& watch) const;

  const std::shared_ptr<database::Link> link;
  database::Handle<SQL_HANDLE_STMT> statement;
  std::vector<std::string> columns;
};

struct BvDBResultset::Row {
  explicit Row(BvDBStatement::Handle& of) : handle(of), cells(of.columns.size()) {}

  struct Cell {
    bool isRead = false;
    std::optional<std::string> text;
  };

  bool read(std::size_t column);

  BvDBStatement::Handle& handle;
  std::vector<Cell> cells;
  std::vector<char16_t> piece = std::vector<char16_t>(512);  // grows with the texts
  bool isThere = false;
};

}  // namespace VESK

#endif
