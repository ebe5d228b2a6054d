#include "ConnectionText.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdint>

#include "StatementClock.h"

namespace VESK::database {

namespace {

constexpr std::size_t LONGEST_VALUE = 512;
// More than all values can become, quoted: the text never grows out of its place.
constexpr std::size_t ROOM = 16 * 1024;

struct Endpoint {
  std::string host;
  std::string port;
};

std::string lower(std::string text) {
  for (char& c : text) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + ('a' - 'A'));
  }
  return text;
}

bool isPort(const std::string& text) {
  std::uint16_t port = 0;
  const char* end = text.data() + text.size();
  const auto parsed = std::from_chars(text.data(), end, port);
  return parsed.ec == std::errc() && parsed.ptr == end && port != 0;
}

// host, host:port, [IPv6], [IPv6]:port, an IPv6 address, or the folder of a socket.
bool split(const std::string& server, Endpoint& endpoint) {
  endpoint = {server, ""};
  if (server.empty() || server[0] == '/') return true;
  std::size_t colon = server.find(':');
  if (server[0] == '[') {
    const std::size_t end = server.find(']');
    if (end == std::string::npos) return false;
    endpoint.host = server.substr(1, end - 1);
    if (end + 1 == server.size()) return true;
    colon = end + 1;
    if (server[colon] != ':') return false;
  } else if (colon == std::string::npos || server.find(':', colon + 1) != std::string::npos) {
    return true;
  } else {
    endpoint.host = server.substr(0, colon);
  }
  endpoint.port = server.substr(colon + 1);
  return isPort(endpoint.port);
}

// A closing brace stands twice inside braces.
void appendBraced(std::string& out, const std::string& text) {
  out += '{';
  for (const char c : text) out.append(c == '}' ? 2 : 1, c);
  out += '}';
}

void appendPassword(std::string& out, const std::string& password) {
  if (password.empty()) return;
  out += ";PWD=";
  appendBraced(out, password);
}

// The SQLite driver knows no quoting; in a URI everything unusual is hexadecimal. mode=rw: a file
// that is missing is not made.
void appendUri(std::string& out, const std::string& path) {
  constexpr const char* DIGITS = "0123456789ABCDEF";
  out += ";Database=file://";
  for (const char c : path) {
    const auto byte = static_cast<unsigned char>(c);
    if (std::isalnum(byte) != 0 || std::string_view("/._-").find(c) != std::string_view::npos) {
      out += c;
    } else {
      ((out += '%') += DIGITS[byte >> 4]) += DIGITS[byte & 15];
    }
  }
  out += "?mode=rw";
}

const char* appendSqlite(const Target& target, std::string& out) {
  if (target.database.empty() || target.database[0] != '/') return "database: not a full path";
  appendUri(out, target.database);
  out += ";NoCreat=1;Timeout=" + std::to_string(std::int64_t{target.statementTimeout} * 1000);
  const std::string clock = StatementClock::extension();
  if (!clock.empty()) out += ";LoadExt=" + clock;
  return nullptr;
}

// libpq's own quotes.
void appendOption(std::string& options, const char* name, const std::string& value) {
  if (value.empty()) return;
  ((options += name) += "='");
  for (const char c : value) {
    if (c == '\'' || c == '\\') options += '\\';
    options += c;
  }
  options += "' ";
}

// The driver understands quotes only in pqopt, which it hands to libpq.
const char* appendPostgres(const Target& target, const std::string& password, std::string& out) {
  Endpoint endpoint;
  if (!split(target.server, endpoint)) return "server: neither host nor host:port";
  std::string options;
  appendOption(options, "host", endpoint.host);
  appendOption(options, "port", endpoint.port);
  appendOption(options, "dbname", target.database);
  appendOption(options, "user", target.user);
  // A server that vanishes without a word is given up within the statement's time.
  const int seconds = target.statementTimeout;
  if (seconds > 0) {
    appendOption(options, "tcp_user_timeout", std::to_string(std::int64_t{seconds} * 1000));
    appendOption(options, "keepalives_idle", std::to_string(std::max(1, seconds / 2)));
    appendOption(options, "keepalives_interval", std::to_string(std::max(1, seconds / 4)));
  }
  out += ";pqopt=";
  appendBraced(out, options);
  // Long columns are not cut.
  out += ";UseServerSidePrepare=1;MaxVarcharSize=2147483647;MaxLongVarcharSize=2147483647";
  appendPassword(out, password);
  return nullptr;
}

const char* appendOther(const Target& target, const std::string& password, std::string& out) {
  Endpoint endpoint;
  if (!split(target.server, endpoint)) return "server: neither host nor host:port";
  const std::pair<const char*, const std::string&> values[] = {{";SERVER=", endpoint.host},
                                                               {";PORT=", endpoint.port},
                                                               {";DATABASE=", target.database},
                                                               {";UID=", target.user}};
  for (const auto& [keyword, value] : values) {
    // Who knows how this driver quotes.
    if (value.find_first_of(";{}=") != std::string::npos) return "a value has one of ; { } =";
    if (!value.empty()) (out += keyword) += value;
  }
  appendPassword(out, password);
  return nullptr;
}

bool isPlain(const std::string& value) {
  return value.size() <= LONGEST_VALUE &&
         std::none_of(value.begin(), value.end(), [](char c) { return c >= 0 && c < ' '; });
}

}  // namespace

Dialect dialectOf(const std::string& driver) {
  const std::string name = lower(driver);
  const auto has = [&](const char* word) { return name.find(word) != std::string::npos; };
  if (has("sqlite")) return Dialect::SQLITE;
  return has("postgres") || has("psqlodbc") ? Dialect::POSTGRESQL : Dialect::OTHER;
}

const char* writeConnectionText(const Target& target, const std::string& password,
                                Secret<std::string>& out) {
  if (target.driver.empty() || target.driver.find_first_of(";{}") != std::string::npos) {
    return "driver: empty, or has one of ; { }";
  }
  for (const auto* value : {&target.driver, &target.server, &target.database, &target.user}) {
    if (!isPlain(*value)) return "a value has over 512 bytes or a control character";
  }
  out.text.reserve(ROOM);
  ((out.text = "DRIVER={") += target.driver) += "}";
  switch (dialectOf(target.driver)) {
    case Dialect::SQLITE:
      return appendSqlite(target, out.text);
    case Dialect::POSTGRESQL:
      return appendPostgres(target, password, out.text);
    default:
      return appendOther(target, password, out.text);
  }
}

}  // namespace VESK::database
