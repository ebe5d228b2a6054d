// Doubles of the update engine, the cipher, the filter, the database, the sign-on, the reputation
// client and the end-user quarantine.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <utility>

#include "doubles/Product.h"
#include "product/cipher.h"
#include "product/database.h"
#include "product/filter.h"
#include "product/quarantine.h"
#include "product/reputation.h"
#include "product/signon.h"
#include "product/update.h"

BvUpdateInit::BvUpdateInit() : initialised(false) {}
BvUpdateInit::~BvUpdateInit() = default;
bool BvUpdateInit::Init(const std::string& home) {
  initialised = ask("update %s", home.c_str()) == 0;
  return initialised;
}

struct BvUpdate::Engine {};

BvUpdate::BvUpdate(BvUpdateKind kind) : ready(product.engineReady) {
  ask("engine %d", kind);
  ++product.alive;
}
BvUpdate::~BvUpdate() { --product.alive; }
bool BvUpdate::isRunning(std::string& text) { return ask("running%s", text.c_str()) != 0; }
BvUpdateRet BvUpdate::download(BvUpdateType type, std::string& version, bool force) {
  const std::string call = "download" + std::to_string(type);
  const int answer = ask("%s %d%s", call.c_str(), force, version.c_str());
  version = "v" + std::to_string(type);
  return static_cast<BvUpdateRet>(answer);
}
BvUpdateRet BvUpdate::rollback(BvUpdateType type, int source) {
  const std::string call = "rollback" + std::to_string(type);
  return static_cast<BvUpdateRet>(ask("%s %d", call.c_str(), source));
}
int BvUpdate::getAvailVersion(BvUpdateType type, std::string& first, std::string& second,
                              bool cached) {
  first = "name" + std::to_string(type);
  second = "new" + std::to_string(type);
  const std::string call = "avail" + std::to_string(type);
  const int answer = ask("%s %d", call.c_str(), cached);
  return answer != 0 ? answer : product.answers["avail"];
}
int BvUpdate::getDBVersion(BvUpdateType type, std::string& first, std::string& second,
                           bool cached) {
  first = "name" + std::to_string(type);
  second = "now" + std::to_string(type);
  return ask("version%d %d", type, cached);
}
void BvUpdate::logAUEvent(int source, BvUpdateType type, BvUpdateRet result) {
  ask("event %d %d %d", source, type, result);
}
void BvUpdate::setUploadNumber() { ask("upload"); }

int NewEncryptStr(const char* in, char* out, int outSize) {
  std::snprintf(out, static_cast<std::size_t>(outSize) + 1, "%s", product.name.c_str());
  return ask("encrypt %d %s", outSize, in);
}
int NewDecryptStr(char* inOut) {
  const std::string given = inOut;
  const int answer = ask("decrypt %zu %s", given.size(), given.c_str());
  std::snprintf(inOut, given.size() + 1, "%s", product.name.c_str());
  return answer;
}

bool ContentFilter::init(const char*) { return false; }
bool ContentFilter::match(const VeskFilterInput&, VeskFilterResult&) { return false; }
void ContentFilter::reset() {}
const char* ContentFilter::filterName() const { return "content"; }
bool scanContentFilter::init(const char*) { return false; }
std::string scanContentFilter::convertToRegEx(const char* expression) {
  ask("convert %s %s", filterName(), expression);
  return "<" + std::string(expression) + ">";
}
const char* scanContentFilter::filterName() const { return "scan"; }
const char* scanContentSubjectFilter::filterName() const { return "subject"; }
bool KeywordList::valReg(const char* regularExpression) const {
  return ask("valReg %s", regularExpression) == 0;
}

bool VeskConfigFileManager::getAdminDBSetting(AdminDBSetting& setting) {
  setting = {"driver", "server", "base", "user", "secret"};
  return true;
}

namespace VESK {

struct BvDBResultset::Row {
  std::size_t next = 0;
};
BvDBResultset::BvDBResultset(std::unique_ptr<Row> row) : current(std::move(row)) {}
BvDBResultset::~BvDBResultset() = default;
int BvDBResultset::next() { return current->next++ < product.rows.size() ? 0 : 1; }
int BvDBResultset::getString(const char* column, const char** value) {
  const std::string& row = product.rows[current->next - 1];
  *value = row.c_str();
  return row == std::string("\0", 1) ? -1 : ask("column %s", column);
}

struct BvDBStatement::Handle {};
BvDBStatement::BvDBStatement(std::unique_ptr<Handle> made) : handle(std::move(made)) {
  ++product.alive;
}
BvDBStatement::~BvDBStatement() { --product.alive; }
int BvDBStatement::excuteQuery(BvDBResultset** result) {
  rows.reset(new BvDBResultset(std::make_unique<BvDBResultset::Row>()));
  *result = rows.get();
  return ask("query");
}

BvDBConnection::BvDBConnection(int odbcVersion) : version(odbcVersion) {
  ask("database %d", version);
  ++product.alive;
}
BvDBConnection::~BvDBConnection() {
  product.calls.emplace_back("delete database");
  --product.alive;
}
int BvDBConnection::connect(const char* driver, const char* server, const char* database,
                            const char* user, int loginTimeout, int attempts, int statementTimeout,
                            int retryDelay) {
  return ask("connect %s %s %s %s %d %d %d %d", driver, server, database, user, loginTimeout,
             attempts, statementTimeout, retryDelay);
}
int BvDBConnection::prepareStatement(const char* sql, BvDBStatement** statement) {
  const int answer = ask("prepare %s", sql);
  if (answer == 0) *statement = new BvDBStatement(std::make_unique<BvDBStatement::Handle>());
  return answer;
}
void BvDBConnection::releaseStatement(BvDBStatement* statement) {
  delete statement;
  ask("release");
}

}  // namespace VESK

int En_SSO_PKI_IsSessionExpired(const char* guid, const char* session, const char* publicKeyFile,
                                int lifetime) {
  ask("session %s %s %d", session, publicKeyFile, lifetime);
  const std::string issuer = std::string("guid:") + guid;
  return ask("%s", issuer.c_str());
}
int En_SSO_PKI_CreateSessionResponse(const char* guid, const char* session,
                                     const char* publicKeyFile, char* response) {
  std::snprintf(response, SSO_PKI_RESPONSE_SIZE, "%s", product.name.c_str());
  return ask("respond '%s' %s %s", guid, session, publicKeyFile);
}

int quorLoadDefaultServerConfigEx(int kind, quorServerConfig* config) {
  config->proxyPort = 8080;
  return ask("defaults %d", kind);
}
int quorSetServerConfigEx(quorServerConfig* config) {
  return ask("config %.1024ls|%d|%.1024ls|%d|%.64ls|%.64ls", config->serverAddr, config->useProxy,
             config->proxyServer, config->proxyPort, config->proxyUser, config->proxyPassword);
}
int quorLoadDefaultSSLOptionEx(int kind, quorSSLOptions* options) {
  options->verifyPeer = options->verifyHost = options->requireStapling = 1;
  return ask("ssl %d", kind);
}
int quorSetSSLOptionsEx(quorSSLOptions* options) {
  ask("set-ssl %d %d %d", options->verifyPeer, options->verifyHost, options->requireStapling);
  return 1;
}
int quorChkServerStatusEx(quorServerConfig* config, quorSSLOptions*, int* limit, int* errorCode,
                          double* totalTime) {
  *errorCode = static_cast<int>(product.number);
  *totalTime = 0.25;
  return ask("check %d %zu", *limit, wcsnlen(config->serverAddr, 1024));
}

#define EUQ_DOUBLE(result, function) \
  result function() { return static_cast<result>(ask(#function)); }
EUQ_DOUBLE(bool, init_euq_lib)
EUQ_DOUBLE(int, enable_euq)
EUQ_DOUBLE(int, disable_euq)
EUQ_DOUBLE(int, restart_euq)
EUQ_DOUBLE(bool, is_euq_enable)
EUQ_DOUBLE(int, enable_dl_maintain)
EUQ_DOUBLE(int, disable_dl_maintain)
EUQ_DOUBLE(bool, is_dl_maintain_enable)
EUQ_DOUBLE(int, cancel_transfer_euq_data)
EUQ_DOUBLE(bool, is_transferring_euq_data)
EUQ_DOUBLE(int, remove_euq_data)
EUQ_DOUBLE(bool, is_removing_euq_data)
int regist_euq(const char* name) { return ask("regist_euq %s", name); }
int unregist_euq(int area) { return ask("unregist_euq %d", area); }
int transfer_euq_data(int area) {
  if (product.meanwhile) std::exchange(product.meanwhile, {})();
  return ask("transfer_euq_data %d", area);
}

namespace {
bool result(const char* function, int& code, std::string& text) {
  EXPECT_EQ("", text);
  code = static_cast<int>(product.number);
  text = product.name;
  if (product.meanwhile) std::exchange(product.meanwhile, {})();
  return ask("%s", function) == 0;
}
}  // namespace
bool get_transfer_euq_result(int& code, std::string& text) {
  return result("transfer_result", code, text);
}
bool get_remove_euq_result(int& code, std::string& text) {
  return result("remove_result", code, text);
}
