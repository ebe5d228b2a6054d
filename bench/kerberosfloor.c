#include "kerberosfloor.h"

#include <gssapi/gssapi_krb5.h>
#include <krb5.h>
#include <ldap.h>
#include <sasl/sasl.h>
#include <stdio.h>
#include <stdlib.h>

static void check(long code, const char* step) {
  if (code == 0) return;
  fprintf(stderr, "kerberos floor: %s: %ld\n", step, code);
  exit(1);
}

static int no_answers(LDAP* ld, unsigned flags, void* defaults, void* prompts) {
  (void)ld;
  (void)flags;
  (void)defaults;
  for (sasl_interact_t* prompt = prompts; prompt->id != SASL_CB_LIST_END; ++prompt) {
    prompt->result = "";
    prompt->len = 0;
  }
  return LDAP_SUCCESS;
}

static void get_ticket(krb5_context krb5, krb5_ccache cache, const char* user,
                       const char* password) {
  krb5_principal client = NULL;
  krb5_creds ticket;
  check(krb5_parse_name(krb5, user, &client), "name");
  check(krb5_get_init_creds_password(krb5, &ticket, client, password, NULL, NULL, 0, NULL, NULL),
        "ticket");
  check(krb5_cc_initialize(krb5, cache, client), "cache");
  check(krb5_cc_store_cred(krb5, cache, &ticket), "store");
  krb5_free_cred_contents(krb5, &ticket);
  krb5_free_principal(krb5, client);
}

static void bind_with_cache(const char* uri, const char* cache) {
  LDAP* ld = NULL;
  OM_uint32 minor = 0;
  const int version = LDAP_VERSION3;
  check(ldap_initialize(&ld, uri), "initialize");
  ldap_set_option(ld, LDAP_OPT_PROTOCOL_VERSION, &version);
  ldap_set_option(ld, LDAP_OPT_X_SASL_NOCANON, LDAP_OPT_ON);
  check(gss_krb5_ccache_name(&minor, cache, NULL) != GSS_S_COMPLETE, "cache name");
  check(ldap_sasl_interactive_bind_s(ld, NULL, "GSSAPI", NULL, NULL, LDAP_SASL_QUIET, no_answers,
                                     NULL),
        "bind");
  ldap_unbind_ext_s(ld, NULL, NULL);
}

void floor_kerberos_bind(const char* uri, const char* user, const char* password) {
  krb5_context krb5 = NULL;
  krb5_ccache cache = NULL;
  char* name = NULL;
  check(krb5_init_context(&krb5), "context");
  check(krb5_cc_new_unique(krb5, "MEMORY", NULL, &cache), "new cache");
  get_ticket(krb5, cache, user, password);
  check(krb5_cc_get_full_name(krb5, cache, &name), "full name");
  bind_with_cache(uri, name);
  krb5_free_string(krb5, name);
  krb5_cc_destroy(krb5, cache);
  krb5_free_context(krb5);
}
