// The same cases through ODBC on SQLite and on PostgreSQL.
#include <gmock/gmock.h>

#include <chrono>
#include <thread>

#include "Servers.h"
#include "support/Home.h"
#include "support/Network.h"

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using Clock = std::chrono::steady_clock;
using Texts = std::vector<std::string>;
using Connection = VESK::BvDBConnection;

constexpr const char* GUIDS =
    "select value from tb_global_setting where section='cmagent' and notes='Guid';";

double secondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

std::size_t openFiles() {
  using Entries = std::filesystem::directory_iterator;
  return static_cast<std::size_t>(std::distance(Entries("/proc/self/fd"), Entries()));
}

int connect(Connection& connection, const AdminDBSetting& to, int statementTimeout = 10,
            int attempts = 1) {
  return connection.connect(to.driver.c_str(), to.server.c_str(), to.database.c_str(),
                            to.user.c_str(), 2, attempts, statementTimeout, 0);
}

// All rows of one column: "NULL" for NULL, "(code)" for what ended the rows unless they were all.
Texts query(Connection& connection, const char* sql, const char* column = "value") {
  VESK::BvDBStatement* statement = nullptr;
  if (connection.prepareStatement(sql, &statement) != 0) return {"(not prepared)"};
  VESK::BvDBResultset* rows = nullptr;
  Texts texts;
  int code = statement->excuteQuery(&rows);
  while (code == 0 && (code = rows->next()) == 0) {
    const char* text = nullptr;
    code = rows->getString(column, &text);
    EXPECT_EQ(code == 0, text != nullptr);
    if (code == 1) code = 0, text = "NULL";
    if (code == 0) texts.emplace_back(text);
  }
  if (code != 1) texts.push_back("(" + std::to_string(code) + ")");
  connection.releaseStatement(statement);
  return texts;
}

struct Kind {
  const char* name;
  std::unique_ptr<Database> (*make)();
};

class DatabaseTest : public testing::TestWithParam<Kind> {
 protected:
  DatabaseTest() {
    Home::set("admin_db", "password_file", "");
    std::unique_ptr<Database>& one = databases[GetParam().name];
    if (one == nullptr) one = GetParam().make();
    database = one.get();
    database->run("DELETE FROM tb_global_setting");
    home.newLog();
  }

  static bool isSqlite() { return std::string(GetParam().name) == "SQLite"; }

  inline static std::map<std::string, std::unique_ptr<Database>> databases;
  Home& home = Home::instance();
  Database* database;
};
class SqliteTest : public DatabaseTest {};
class PostgresTest : public DatabaseTest {};

TEST_P(DatabaseTest, RowsAndColumnsOfAllKinds) {
  Connection connection(ODBC_VERSION);
  ASSERT_EQ(0, connect(connection, database->setting()));
  EXPECT_THAT(query(connection, GUIDS), ElementsAre());
  std::string longText;
  for (int i = 0; i < 40000; ++i) longText += "aü€😀";
  database->run(
      "INSERT INTO tb_global_setting (section, name, value, notes) VALUES ('cmagent', '1', '" +
      longText + "', 'Guid'), ('cmagent', '2', '', 'Guid'), ('cmagent', '3', 'x', 'other')");
  EXPECT_THAT(query(connection, GUIDS), ElementsAre(longText, ""));
  EXPECT_THAT(query(connection, GUIDS, "VALUE"), ElementsAre(longText, ""));
  EXPECT_THAT(query(connection, GUIDS, "notes"), ElementsAre("(-1)"));
  EXPECT_THAT(query(connection, "select null as value"), ElementsAre("NULL"));
  EXPECT_THAT(query(connection, "select 'ü€😀' as \"Größe\"", "Größe"), ElementsAre("ü€😀"));
  // As the Java VM writes a supplementary character.
  EXPECT_THAT(query(connection, "select '\xed\xa0\xbd\xed\xb8\x80' as value"), ElementsAre("😀"));
  EXPECT_THAT(home.newLog(), HasSubstr("no column notes"));
  Texts thousand;
  std::string insert = "DELETE FROM tb_global_setting;";
  for (int i = 1000; i < 2000; ++i) {
    thousand.push_back("guid-" + std::to_string(i));
    insert += "INSERT INTO tb_global_setting VALUES ('cmagent', '" + std::to_string(i) + "', '" +
              thousand.back() + "', 'Guid');";
  }
  database->run("BEGIN;" + insert + "COMMIT");
  EXPECT_EQ(thousand, query(connection, GUIDS));
}

TEST_P(DatabaseTest, WhatIsNoQueryIsNotPrepared) {
  Connection connection(ODBC_VERSION);
  VESK::BvDBStatement* statement = nullptr;
  EXPECT_EQ(-1, connection.prepareStatement(GUIDS, &statement));
  ASSERT_EQ(0, connect(connection, database->setting()));
  for (const char* sql :
       {"select value from tb_none", "select nothing from tb_global_setting", "selec", "",
        "delete from tb_global_setting", static_cast<const char*>(nullptr)}) {
    home.newLog();
    EXPECT_EQ(-1, connection.prepareStatement(sql, &statement)) << sql;
    EXPECT_EQ(nullptr, statement);
    const std::string log = home.newLog();
    EXPECT_EQ(1, std::count(log.begin(), log.end(), '\n')) << log;
    EXPECT_THAT(log, HasSubstr("database: prepare failed at "));
  }
  EXPECT_THAT(query(connection, GUIDS), ElementsAre());
}

TEST_P(DatabaseTest, StatementsOutliveTheirConnectionAndRunAgain) {
  auto connection = std::make_unique<Connection>(ODBC_VERSION);
  ASSERT_EQ(0, connect(*connection, database->setting()));
  VESK::BvDBStatement* statement = nullptr;
  ASSERT_EQ(0, connection->prepareStatement("select 'one' as value", &statement));
  VESK::BvDBResultset* rows = nullptr;
  const char* text = "";
  for (int run = 0; run < 2; ++run) {
    ASSERT_EQ(0, statement->excuteQuery(&rows));
    EXPECT_EQ(-1, rows->getString("value", &text));
    EXPECT_EQ(0, rows->next());
    ASSERT_EQ(0, rows->getString("value", &text));
    const char* again = nullptr;
    EXPECT_EQ(0, rows->getString("value", &again));
    EXPECT_EQ(text, again);
    EXPECT_STREQ("one", text);
    EXPECT_EQ(1, rows->next());
  }
  connection.reset();
  EXPECT_EQ(0, statement->excuteQuery(&rows));
  Connection(ODBC_VERSION).releaseStatement(statement);
}

TEST_P(DatabaseTest, SlowQueriesAndLocksEndInTime) {
  Connection connection(ODBC_VERSION);
  ASSERT_EQ(0, connect(connection, database->setting(), 1));
  auto start = Clock::now();
  EXPECT_THAT(query(connection, database->endlessQuery()), ElementsAre("(-1)"));
  EXPECT_THAT(secondsSince(start), AllOf(testing::Ge(0.9), testing::Le(2.5)));
  EXPECT_THAT(home.newLog(), HasSubstr("timed out"));
  std::shared_ptr<void> lock = database->lockTable();
  start = Clock::now();
  EXPECT_THAT(query(connection, GUIDS), ElementsAre(testing::AnyOf("(-1)", "(not prepared)")));
  EXPECT_THAT(secondsSince(start), AllOf(testing::Ge(0.9), testing::Le(2.5)));
  EXPECT_THAT(home.newLog(), HasSubstr(isSqlite() ? "locked" : "timed out"));
  lock.reset();
  EXPECT_THAT(query(connection, GUIDS), ElementsAre());
}

TEST_P(DatabaseTest, NoTextBecomesAKeyword) {
  const std::string odd = "we;ird}{x'\\\" %41?#=.db";
  AdminDBSetting setting = database->setting();
  setting.database = database->make(odd);
  Connection connection(ODBC_VERSION);
  EXPECT_EQ(0, connect(connection, setting));
  const AdminDBSetting good = database->setting();
  for (const char* more : {";NoCreat=0", "?mode=rwc", "' user='sa", "};UID={sa", "\n", " "}) {
    setting = good;
    setting.database += more;
    EXPECT_EQ(-1, connect(connection, setting)) << more;
    setting = good;
    setting.driver += more;
    EXPECT_EQ(-1, connect(connection, setting)) << more;
  }
}

TEST_P(DatabaseTest, NothingIsKeptOfConnectionsGoodAndBad) {
  AdminDBSetting bad = database->setting();
  bad.database += "-none";
  std::size_t before = 0;
  for (int round = 0; round < 20; ++round) {
    Connection connection(ODBC_VERSION);
    EXPECT_EQ(-1, connect(connection, bad));
    EXPECT_EQ(0, connect(connection, database->setting()));
    EXPECT_EQ(0, connect(connection, database->setting()));
    if (round == 0) before = openFiles();
    EXPECT_EQ(before, openFiles());
  }
  EXPECT_FALSE(std::filesystem::exists(bad.database));
  Connection other(ODBC_VERSION + 1);
  EXPECT_EQ(-1, connect(other, database->setting()));
  home.newLog();
  Connection twice(ODBC_VERSION);
  EXPECT_EQ(-1, connect(twice, bad, 10, 2));
  const std::string log = home.newLog();
  EXPECT_EQ(2, std::count(log.begin(), log.end(), '\n')) << log;
}

TEST_P(SqliteTest, SettingsAreTheInstallRootsOwnFile) {
  AdminDBSetting setting;
  EXPECT_TRUE(VeskConfigFileManager::getAdminDBSetting(setting));
  EXPECT_EQ("SQLite3", setting.driver);
  EXPECT_EQ(home.dir.path("/data/admin.db"), setting.database);
  EXPECT_EQ("", setting.server + setting.user + setting.passwordFile);
  Connection connection(ODBC_VERSION);
  EXPECT_EQ(-1, connect(connection, setting));
  EXPECT_THAT(home.newLog(), HasSubstr("the file is missing"));
  EXPECT_FALSE(std::filesystem::exists(setting.database));
  home.dir.write("data/admin.db", "this is no database, whatever its name says");
  connect(connection, setting);
  EXPECT_THAT(query(connection, GUIDS), ElementsAre("(not prepared)"));
  EXPECT_THAT(home.newLog(), HasSubstr("no database"));
  setting.driver = "No Such Driver";
  EXPECT_EQ(-1, connect(connection, setting));
  EXPECT_THAT(home.newLog(), HasSubstr("no driver"));
}

TEST_P(PostgresTest, PasswordsComeFromASafeFileAndStaySecret) {
  AdminDBSetting setting = database->setting();
  setting.user = "sa";
  const struct {
    const char* content;
    int mode;
    const char* complaint;  // null: the log-in works
  } table[] = {
      {"secret\nsecond line", 0600, nullptr},     {"secret", 0400, nullptr},
      {"wrong-password", 0600, "log-in refused"}, {"secret\n", 0640, "give it mode 0600"},
      {"secret\n", 0604, "give it mode 0600"},    {"\nsecret", 0600, "its first line is empty"},
  };
  for (const auto& row : table) {
    const std::string file = home.dir.write("password", row.content);
    std::filesystem::permissions(file, std::filesystem::perms(row.mode));
    Home::set("admin_db", "password_file", "password");
    Connection connection(ODBC_VERSION);
    EXPECT_EQ(row.complaint == nullptr ? 0 : -1, connect(connection, setting)) << row.content;
    const std::string log = home.newLog();
    EXPECT_THAT(log, row.complaint ? HasSubstr(row.complaint) : HasSubstr(""));
    EXPECT_THAT(log, AllOf(Not(HasSubstr("secret\n")), Not(HasSubstr("wrong-password"))));
    std::filesystem::remove(file);
  }
  Connection connection(ODBC_VERSION);
  EXPECT_EQ(-1, connect(connection, setting));
  EXPECT_THAT(home.newLog(), HasSubstr("it is missing"));
  const std::string odd = "p;w}d'\\ {x";
  database->run("ALTER ROLE sa PASSWORD 'p;w}d''\\ {x'");
  std::filesystem::permissions(home.dir.write("password", odd), std::filesystem::perms(0600));
  EXPECT_EQ(0, connect(connection, setting));
  EXPECT_THAT(query(connection, "select current_user as value"), ElementsAre("sa"));
}

TEST_P(PostgresTest, ServersThatAreGoneOrSilentAreGivenUp) {
  const Socket listener = listenOnLoopback(5);  // takes connections and never says a word
  const int silent = portOf(listener);
  const struct {
    std::string server;
    double least, most;
  } table[] = {{"127.0.0.1:" + std::to_string(freePort()), 0, 1},
               {"/nowhere", 0, 1},
               {"127.0.0.1:0", 0, 1},
               {"[::1", 0, 1},
               {"127.0.0.1:" + std::to_string(silent), 1.5, 4}};
  for (const auto& row : table) {
    AdminDBSetting setting = database->setting();
    setting.server = row.server;
    Connection connection(ODBC_VERSION);
    const auto start = Clock::now();
    EXPECT_EQ(-1, connect(connection, setting)) << row.server;
    EXPECT_THAT(secondsSince(start), AllOf(testing::Ge(row.least), testing::Le(row.most)));
    const std::string log = home.newLog();
    EXPECT_EQ(1, std::count(log.begin(), log.end(), '\n')) << log;
  }
}

std::string nameOf(const testing::TestParamInfo<Kind>& row) { return row.param.name; }
const Kind SQLITE{"SQLite", newSqlite};
const Kind POSTGRESQL{"PostgreSQL", newPostgres};
INSTANTIATE_TEST_SUITE_P(Real, DatabaseTest, testing::Values(SQLITE, POSTGRESQL), nameOf);
INSTANTIATE_TEST_SUITE_P(Real, SqliteTest, testing::Values(SQLITE), nameOf);
INSTANTIATE_TEST_SUITE_P(Real, PostgresTest, testing::Values(POSTGRESQL), nameOf);

}  // namespace
