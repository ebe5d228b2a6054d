#include "AgentEndpoint.h"

#include <cstdio>
#include <string>

#include "JniCommon.h"

AgentEndpoint::AgentEndpoint(JNIEnv* env, jstring host, jint port) {
  const VeskJniString name(env, host);
  const std::string server = std::string("http://") + name.str;
  std::snprintf(buffer, sizeof buffer, "%s:%d", server.c_str(), port);
}
