#include "signonfloor.h"

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <sql.h>
#include <sqlext.h>
#include <stdio.h>
#include <string.h>

int floor_guids(const char* database, floor_guid* guids, int most) {
  char text[1024];
  SQLHENV environment = NULL;
  SQLHDBC connection = NULL;
  SQLHSTMT statement = NULL;
  SQLLEN length = 0;
  floor_guid guid;
  int count = 0;
  snprintf(text, sizeof text, "DRIVER=SQLite3;Database=%s;NoCreat=1", database);
  SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &environment);
  SQLSetEnvAttr(environment, SQL_ATTR_ODBC_VERSION, (SQLPOINTER)SQL_OV_ODBC3, 0);
  SQLAllocHandle(SQL_HANDLE_DBC, environment, &connection);
  if (!SQL_SUCCEEDED(SQLDriverConnect(connection, NULL, (SQLCHAR*)text, SQL_NTS, NULL, 0, NULL,
                                      SQL_DRIVER_NOPROMPT))) {
    return -1;
  }
  SQLAllocHandle(SQL_HANDLE_STMT, connection, &statement);
  SQLBindCol(statement, 1, SQL_C_CHAR, guid.text, sizeof guid.text, &length);
  SQLExecDirect(statement,
                (SQLCHAR*)"select value from tb_global_setting where section='cmagent' and "
                          "notes='Guid';",
                SQL_NTS);
  while (count < most && SQL_SUCCEEDED(SQLFetch(statement))) guids[count++] = guid;
  SQLFreeHandle(SQL_HANDLE_STMT, statement);
  SQLDisconnect(connection);
  SQLFreeHandle(SQL_HANDLE_DBC, connection);
  SQLFreeHandle(SQL_HANDLE_ENV, environment);
  return count;
}

int floor_verify(const char* key_file, const char* session) {
  const char* last = strrchr(session, '.');
  unsigned char signature[2048];
  char coded[2048];
  int length = snprintf(coded, sizeof coded, "%s", last + 1);
  FILE* file = fopen(key_file, "r");
  EVP_PKEY* key = file == NULL ? NULL : PEM_read_PUBKEY(file, NULL, NULL, NULL);
  EVP_MD_CTX* digest = EVP_MD_CTX_new();
  int bytes = length * 3 / 4;
  int good = 0;
  if (file != NULL) fclose(file);
  while (length % 4 != 0) coded[length++] = '=';
  for (int i = 0; i < length; ++i) {
    if (coded[i] == '-') coded[i] = '+';
    if (coded[i] == '_') coded[i] = '/';
  }
  EVP_DecodeBlock(signature, (unsigned char*)coded, length);
  if (key != NULL && EVP_DigestVerifyInit(digest, NULL, EVP_sha256(), NULL, key) == 1) {
    good = EVP_DigestVerify(digest, signature, (size_t)bytes, (const unsigned char*)session,
                            (size_t)(last - session)) == 1;
  }
  EVP_MD_CTX_free(digest);
  EVP_PKEY_free(key);
  return good;
}
