#include "Servers.h"

#include <sqlite3.h>

#include <chrono>
#include <thread>

#include "support/Home.h"
#include "support/Server.h"

namespace {

using namespace std::chrono_literals;

constexpr const char* SCRIPT = VESK_SOURCE_DIR "/appliance/root/opt/brelvik/vesk/script/admin.sql";

struct CloseFile {
  void operator()(sqlite3* database) const { sqlite3_close(database); }
};

class Sqlite : public Database {
 public:
  Sqlite() {
    std::ostringstream script;
    script << std::ifstream(SCRIPT).rdbuf();
    run(script.str());
  }

  AdminDBSetting setting() const override { return {"SQLite3", "", file, "", ""}; }
  void run(const std::string& sql) final { run(*open(file), sql); }
  std::shared_ptr<void> lockTable() override {
    std::shared_ptr<sqlite3> owner = open(file);
    run(*owner, "BEGIN EXCLUSIVE");
    return owner;
  }
  std::string make(const std::string& name) override {
    run(*open(dir.path(name)), "CREATE TABLE t (x)");
    return dir.path(name);
  }
  const char* endlessQuery() const override {
    return "WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c) SELECT count(*) FROM c";
  }

 private:
  static std::shared_ptr<sqlite3> open(const std::string& path) {
    sqlite3* database = nullptr;
    sqlite3_open(path.c_str(), &database);
    return {database, CloseFile()};
  }
  static void run(sqlite3& database, const std::string& sql) {
    if (sqlite3_exec(&database, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
      throw std::runtime_error(sqlite3_errmsg(&database));
    }
  }

  TempDir dir;
  const std::string file = dir.path("admin.db");
};

// The server works as a user of its own, who has to get at the folder.
class Postgres : public Database {
 public:
  Postgres() {
    std::filesystem::permissions(dir.path(""), std::filesystem::perms(0755));
    const auto ready = [&] { return std::filesystem::exists(folder + "/.s.PGSQL.5432"); };
    if (!server.start({"private-postgres", "--dir", folder}, ready, dir.path("log"))) {
      throw std::runtime_error("PostgreSQL did not start: " + dir.read("log"));
    }
    run("GRANT pg_read_all_data TO sa");
  }

  AdminDBSetting setting() const override {
    return {"PostgreSQL Unicode", folder, "vesk", "owner", ""};
  }
  void run(const std::string& sql) final {
    if (std::system((psql + " <" + dir.write("sql", sql)).c_str()) != 0) {
      throw std::runtime_error("psql failed");
    }
  }
  std::shared_ptr<void> lockTable() override {
    const std::string locked = dir.path("locked");
    std::FILE* owner = popen(psql.c_str(), "w");
    std::fprintf(owner, "BEGIN; LOCK TABLE tb_global_setting;\n\\! touch %s\n", locked.c_str());
    std::fflush(owner);
    while (!std::filesystem::exists(locked)) std::this_thread::sleep_for(5ms);
    std::filesystem::remove(locked);
    return {owner, pclose};
  }
  std::string make(const std::string& name) override {
    std::string quoted = name;
    for (std::size_t at = 0; (at = quoted.find('"', at)) != std::string::npos; at += 2) {
      quoted.insert(at, "\"");
    }
    run("CREATE DATABASE \"" + quoted + "\"");
    return name;
  }
  const char* endlessQuery() const override { return "SELECT pg_sleep(600)"; }

 private:
  TempDir dir;
  Server server;
  const std::string folder = dir.path("pg");
  const std::string psql = "psql -X -q -h " + folder + " -U owner -v ON_ERROR_STOP=1 vesk";
};

}  // namespace

std::unique_ptr<Database> newSqlite() { return std::make_unique<Sqlite>(); }
std::unique_ptr<Database> newPostgres() { return std::make_unique<Postgres>(); }
