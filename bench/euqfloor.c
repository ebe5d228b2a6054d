#include "euqfloor.h"

#include <sqlite3.h>
#include <stdio.h>
#include <stdlib.h>

static sqlite3* open_file(const char* file) {
  sqlite3* database;
  if (sqlite3_open(file, &database) != SQLITE_OK) exit(1);
  sqlite3_busy_timeout(database, 5000);
  return database;
}

static void run(sqlite3* database, const char* sql) {
  if (sqlite3_exec(database, sql, NULL, NULL, NULL) == SQLITE_OK) return;
  fprintf(stderr, "bench: %s: %s\n", sql, sqlite3_errmsg(database));
  exit(1);
}

static int number(sqlite3* database, const char* sql) {
  sqlite3_stmt* statement = NULL;
  sqlite3_prepare_v2(database, sql, -1, &statement, NULL);
  if (sqlite3_step(statement) != SQLITE_ROW) exit(1);
  const int value = sqlite3_column_int(statement, 0);
  sqlite3_finalize(statement);
  return value;
}

void euq_floor_make(const char* file, int messages, int size) {
  sqlite3* database = open_file(file);
  char sql[512];
  run(database, "PRAGMA journal_mode = WAL");
  for (int area = 1; area <= 2; ++area) {
    snprintf(sql, sizeof sql,
             "CREATE TABLE area%d (id INTEGER PRIMARY KEY, recipient TEXT, sender TEXT, subject "
             "TEXT, received INTEGER, size INTEGER, content BLOB)",
             area);
    run(database, sql);
  }
  snprintf(sql, sizeof sql,
           "WITH RECURSIVE n (i) AS (VALUES (1) UNION ALL SELECT i + 1 FROM n WHERE i < %d) INSERT "
           "INTO area1 SELECT i, 'user' || i %% 100 || '@example.com', 'sender' || i %% 997 || "
           "'@example.org', 'Sample offer ' || i, 1795000000 + i, %d, randomblob(%d) FROM n",
           messages, size, size);
  run(database, sql);
  sqlite3_close(database);
}

void euq_floor_copy(const char* file, int from, int to, int messages, int batch) {
  sqlite3* database = open_file(file);
  char sql[256];
  for (int first = 1; first <= messages; first += batch) {
    const int last = first + batch - 1;
    run(database, "BEGIN IMMEDIATE");
    snprintf(sql, sizeof sql, "INSERT INTO area%d SELECT * FROM area%d WHERE id BETWEEN %d AND %d",
             to, from, first, last);
    run(database, sql);
    snprintf(sql, sizeof sql, "DELETE FROM area%d WHERE id BETWEEN %d AND %d", from, first, last);
    run(database, sql);
    run(database, "COMMIT");
  }
  sqlite3_close(database);
}

void euq_floor_update(const char* file, int to, int batch) {
  sqlite3* database = open_file(file);
  char sql[256];
  const int all = number(database, "SELECT max(id) FROM message");
  for (int first = 1; first <= all; first += batch) {
    snprintf(sql, sizeof sql, "UPDATE message SET area = %d WHERE id BETWEEN %d AND %d", to, first,
             first + batch - 1);
    run(database, sql);
  }
  sqlite3_close(database);
}

int euq_floor_count(const char* file, const char* sql) {
  sqlite3* database = open_file(file);
  const int value = number(database, sql);
  sqlite3_close(database);
  return value;
}
