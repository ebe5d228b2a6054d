#include "Failure.h"

#include <cstring>

#include "product/directory.h"
#include "product/log.h"

namespace VESK::directory {

namespace {

const char* hintOf(const Failure& failure) {
  if (failure.code > 0 && std::strcmp(failure.step, "SASL bind") == 0) {
    if (failure.code == LDAP_STRONG_AUTH_REQUIRED) {
      return "this server refuses Kerberos inside TLS: set security in section LDAP to none, the "
             "connection is sealed all the same";
    }
    return "the ticket is good; check the server's keytab, its krb5.conf and its rules for "
           "accounts";
  }
  switch (failure.code) {
    case LDAP_INVALID_CREDENTIALS:
    case LDAP_INAPPROPRIATE_AUTH:
      return "check account and password";
    case LDAP_STRONG_AUTH_REQUIRED:
    case LDAP_CONFIDENTIALITY_REQUIRED:
      return "the server wants TLS: set security in section LDAP to starttls or ldaps";
    case LDAP_NO_SUCH_OBJECT:
    case LDAP_INVALID_DN_SYNTAX:
    case LDAP_REFERRAL:
      return std::strcmp(failure.step, "bind") == 0
                 ? "give the account as the server wants it, mostly its full DN"
                 : "check the base DN";
    case LDAP_SIZELIMIT_EXCEEDED:
    case LDAP_ADMINLIMIT_EXCEEDED:
    case LDAP_TIMELIMIT_EXCEEDED:
      return "raise the server's limits for this account, or search below a narrower base DN";
    case LDAP_OPERATIONS_ERROR:  // an Active Directory's answer to an anonymous search
    case LDAP_INSUFFICIENT_ACCESS:
    case LDAP_UNWILLING_TO_PERFORM:
      return "the server does not allow this; bind with an account that may";
    case LDAP_FILTER_ERROR:
      return "check the search filter";
    case LDAP_TIMEOUT:
      return "check host, port and security, or raise the time-outs in section LDAP";
    default:
      break;
  }
  if (std::strcmp(failure.step, "TLS") == 0) {
    return "check security and ca_file in section LDAP, and that the certificate names this host "
           "(localhost stands for the machine's own name)";
  }
  return "check that a directory server listens there and is healthy";
}

// libldap says of every lost connection that the server cannot be contacted.
const char* reasonOf(int code) {
  return code == LDAP_SERVER_DOWN ? "connection lost" : ldap_err2string(code);
}

const char* reasonWord(int code) {
  if (code == LDAP_TIMEOUT) return "timed out at";
  return code > 0 ? "refused by" : "failed at";
}

}  // namespace

void logFailure(const Failure& failure) {
  const bool silent = failure.diagnostic.empty();
  Log::LogByLevel(1, "directory: %s %s %s after %lld ms: %s (%d)%s%s%s; hint: %s", failure.step,
                  reasonWord(failure.code), failure.peer.c_str(),
                  static_cast<long long>(failure.elapsed.count()), reasonOf(failure.code),
                  failure.code, silent ? "" : " [", failure.diagnostic.c_str(), silent ? "" : "]",
                  hintOf(failure));
}

std::string diagnosticOf(LDAP* handle) {
  char* text = nullptr;
  if (handle == nullptr) return {};
  if (ldap_get_option(handle, LDAP_OPT_DIAGNOSTIC_MESSAGE, &text) != LDAP_OPT_SUCCESS) return {};
  std::string copy = text == nullptr ? "" : text;
  ldap_memfree(text);
  return copy;
}

int lastErrorOf(int code) {
  switch (code) {
    case LDAP_SUCCESS:
      return BvLDAPAbstractConnection::NO_ERROR;
    case LDAP_NO_SUCH_OBJECT:
    case LDAP_INVALID_DN_SYNTAX:
    case LDAP_REFERRAL:  // another server may hold that base, this one does not
      return BvLDAPAbstractConnection::NO_SUCH_BASE;
    case LDAP_SIZELIMIT_EXCEEDED:
    case LDAP_TIMELIMIT_EXCEEDED:
    case LDAP_ADMINLIMIT_EXCEEDED:
      return BvLDAPAbstractConnection::LIMIT_EXCEEDED;
    default:
      return BvLDAPAbstractConnection::OTHER_ERROR;
  }
}

bool isWireFailure(int code) {
  return code < 0 && code != LDAP_FILTER_ERROR && code != LDAP_PARAM_ERROR;
}

}  // namespace VESK::directory
