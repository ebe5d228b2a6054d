#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "Link.h"
#include "PasswordFile.h"
#include "Setting.h"
#include "Statement.h"
#include "shared/Boundary.h"

namespace VESK {

using namespace database;

namespace {

std::string textOf(const char* text) { return text == nullptr ? "" : text; }

// Null, or why the file cannot be the database. A pipe in its place would be waited for.
const char* faultOfFile(const std::string& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) {
    return errno == ENOENT ? "connect failed: the file is missing, and is not made"
                           : "connect failed: the file cannot be reached";
  }
  return S_ISREG(status.st_mode) ? nullptr : "connect failed: not a regular file";
}

std::shared_ptr<Link> open(const Target& target, int loginTimeout) {
  const Stopwatch watch;
  auto link = std::make_shared<Link>(target, loginTimeout);
  Secret<std::string> password;
  const char* fault = nullptr;
  if (dialectOf(target.driver) == Dialect::SQLITE) {
    fault = faultOfFile(target.database);
    if (fault != nullptr) fail("connect", link->peer(), watch, {"HY000", fault});
  } else if (const std::string file = passwordFile(); !file.empty()) {
    fault = readPassword(file, password);
    if (fault != nullptr) {
      fail("read the password file", link->peer(), watch, {"28", file + ": " + fault});
    }
  }
  if (fault != nullptr || link->open(password.text) != 0) return nullptr;
  return link;
}

}  // namespace

BvDBConnection::BvDBConnection(int odbcVersion) : version(odbcVersion) {}

BvDBConnection::~BvDBConnection() = default;

int BvDBConnection::connect(const char* driver, const char* server, const char* database,
                            const char* user, int loginTimeout, int attempts, int statementTimeout,
                            int retryDelay) try {
  link.reset();
  const Target target{textOf(driver), textOf(server), textOf(database), textOf(user),
                      statementTimeout};
  if (version != ODBC_VERSION) {
    return fail("connect", target.database, Stopwatch(), {"", "not this library's ODBC_VERSION"});
  }
  for (int left = attempts; link == nullptr && left > 0; --left) {
    link = open(target, loginTimeout);
    if (link == nullptr && left > 1 && retryDelay > 0) {
      ::sleep(static_cast<unsigned>(retryDelay));
    }
  }
  return link == nullptr ? -1 : 0;
}
VESK_AT_BOUNDARY("database", -1)

int BvDBConnection::prepareStatement(const char* sql, BvDBStatement** statement) try {
  *statement = nullptr;
  if (link == nullptr || sql == nullptr) {
    return fail("prepare", "no connection", Stopwatch(), {"", "connect first, and give a text"});
  }
  auto handle = std::make_unique<BvDBStatement::Handle>(link);
  if (handle->prepare(sql) != 0) return -1;
  *statement = new BvDBStatement(std::move(handle));
  return 0;
}
VESK_AT_BOUNDARY("database", -1)

void BvDBConnection::releaseStatement(BvDBStatement* statement) { delete statement; }

}  // namespace VESK
