#include "Statement.h"

#include <strings.h>

#include <algorithm>

#include "shared/Boundary.h"

namespace VESK {

using namespace database;

namespace {

constexpr std::size_t LARGEST_PIECE = 1024 * 1024;
constexpr std::size_t LONGEST_STATEMENT = 1024 * 1024;

SQLRETURN prepareText(SQLHANDLE statement, std::u16string& text, bool isNarrow) {
  if (isNarrow) {
    std::string utf8 = toUtf8(text);
    return SQLPrepare(statement, reinterpret_cast<SQLCHAR*>(utf8.data()),
                      static_cast<SQLINTEGER>(utf8.size()));
  }
  return SQLPrepareW(statement, reinterpret_cast<SQLWCHAR*>(text.data()),
                     static_cast<SQLINTEGER>(text.size()));
}

std::string columnName(SQLHANDLE statement, SQLUSMALLINT column, bool isNarrow) {
  if (isNarrow) {
    char utf8[512] = {};
    SQLDescribeCol(statement, column, reinterpret_cast<SQLCHAR*>(utf8), std::size(utf8), nullptr,
                   nullptr, nullptr, nullptr, nullptr);
    return utf8;
  }
  char16_t name[256] = {};
  SQLDescribeColW(statement, column, reinterpret_cast<SQLWCHAR*>(name), std::size(name), nullptr,
                  nullptr, nullptr, nullptr, nullptr);
  return toUtf8(name);
}

// The text comes in pieces, each with a NUL. False when the read failed.
template <typename Char>
bool readPieces(SQLHANDLE statement, SQLUSMALLINT column, std::vector<char16_t>& piece,
                std::optional<std::basic_string<Char>>& text) {
  constexpr SQLSMALLINT TYPE = sizeof(Char) == 1 ? SQL_C_CHAR : SQL_C_WCHAR;
  std::basic_string<Char> all;
  for (bool isLast = false; !isLast;) {
    const std::size_t size = piece.size() * sizeof(char16_t);
    const std::size_t room = size / sizeof(Char) - 1;
    SQLLEN bytes = 0;
    const SQLRETURN code =
        SQLGetData(statement, column, TYPE, piece.data(), static_cast<SQLLEN>(size), &bytes);
    if (!SQL_SUCCEEDED(code) && code != SQL_NO_DATA) return false;
    if (code != SQL_NO_DATA && bytes == SQL_NULL_DATA) return true;
    const std::size_t left =
        code == SQL_NO_DATA ? 0 : static_cast<std::size_t>(bytes) / sizeof(Char);
    isLast = bytes != SQL_NO_TOTAL && left <= room;
    all.append(reinterpret_cast<const Char*>(piece.data()), isLast ? left : room);
    if (!isLast && piece.size() < LARGEST_PIECE) piece.resize(2 * piece.size());
  }
  text = std::move(all);
  return true;
}

}  // namespace

int BvDBStatement::Handle::fail(const char* step, const Stopwatch& watch) const {
  return database::fail(step, link->peer(), watch, diagnosticOf(SQL_HANDLE_STMT, statement.get()));
}

int BvDBStatement::Handle::prepare(const char* sql) {
  const Stopwatch watch;
  const auto limit = link->limited();
  std::u16string text = toUtf16(sql);
  if (text.size() > LONGEST_STATEMENT) {
    return database::fail("prepare", link->peer(), watch, {"", "the statement is too long"});
  }
  statement = link->newStatement();
  if (!statement) return database::fail("prepare", link->peer(), watch, {"", "no statement left"});
  SQLSMALLINT count = 0;
  // A driver may look at the statement only when asked for its columns.
  if (!SQL_SUCCEEDED(prepareText(statement.get(), text, link->isNarrow())) ||
      !SQL_SUCCEEDED(SQLNumResultCols(statement.get(), &count))) {
    return fail("prepare", watch);
  }
  if (count <= 0) {
    return database::fail("prepare", link->peer(), watch, {"42000", "the statement has no rows"});
  }
  for (int column = 1; column <= count; ++column) {
    columns.push_back(
        columnName(statement.get(), static_cast<SQLUSMALLINT>(column), link->isNarrow()));
  }
  return 0;
}

int BvDBStatement::Handle::execute() {
  const Stopwatch watch;
  const auto limit = link->limited();
  SQLFreeStmt(statement.get(), SQL_CLOSE);
  const SQLRETURN code = SQLExecute(statement.get());
  return SQL_SUCCEEDED(code) ? 0 : fail("query", watch);
}

bool BvDBResultset::Row::read(std::size_t column) {
  const Stopwatch watch;
  const SQLHANDLE statement = handle.statement.get();
  const auto number = static_cast<SQLUSMALLINT>(column + 1);
  Cell& cell = cells[column];
  if (handle.link->isNarrow()) {
    cell.isRead = readPieces(statement, number, piece, cell.text);
  } else {
    std::optional<std::u16string> wide;
    cell.isRead = readPieces(statement, number, piece, wide);
    if (wide) cell.text = toUtf8(*wide);
  }
  if (!cell.isRead) handle.fail("read a column", watch);
  return cell.isRead;
}

BvDBStatement::BvDBStatement(std::unique_ptr<Handle> prepared) : handle(std::move(prepared)) {}

BvDBStatement::~BvDBStatement() = default;

int BvDBStatement::excuteQuery(BvDBResultset** result) try {
  *result = nullptr;
  rows.reset();
  if (handle->execute() != 0) return -1;
  rows.reset(new BvDBResultset(std::make_unique<BvDBResultset::Row>(*handle)));
  *result = rows.get();
  return 0;
}
VESK_AT_BOUNDARY("database", -1)

BvDBResultset::BvDBResultset(std::unique_ptr<Row> row) : current(std::move(row)) {}

BvDBResultset::~BvDBResultset() = default;

int BvDBResultset::next() try {
  const Stopwatch watch;
  const auto limit = current->handle.link->limited();
  current->isThere = false;
  for (Row::Cell& cell : current->cells) cell = {};
  const SQLRETURN code = SQLFetch(current->handle.statement.get());
  if (code == SQL_NO_DATA) return 1;
  if (!SQL_SUCCEEDED(code)) return current->handle.fail("read a row", watch);
  current->isThere = true;
  return 0;
}
VESK_AT_BOUNDARY("database", -1)

int BvDBResultset::getString(const char* column, const char** value) try {
  *value = nullptr;
  if (column == nullptr || !current->isThere) return -1;
  const std::vector<std::string>& names = current->handle.columns;
  std::size_t index = 0;
  while (index < names.size() && ::strcasecmp(names[index].c_str(), column) != 0) ++index;
  if (index == names.size()) {
    return database::fail("read a column", current->handle.link->peer(), Stopwatch(),
                          {"42", std::string("no column ") + column});
  }
  Row::Cell& cell = current->cells[index];
  if (!cell.isRead && !current->read(index)) return -1;
  if (cell.text) *value = cell.text->c_str();
  return cell.text ? 0 : 1;
}
VESK_AT_BOUNDARY("database", -1)

}  // namespace VESK
