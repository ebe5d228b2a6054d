// Where a scanner agent is, out of the host and port that the console gives.
#ifndef VESK_AGENT_ENDPOINT_H
#define VESK_AGENT_ENDPOINT_H

#include <jni.h>

// "http://host:port", cut without notice at 127 characters: of a host that is too long the call
// goes to whatever is left. The port is written as it is, below 0 too. The host must not be null.
class AgentEndpoint {
 public:
  AgentEndpoint(JNIEnv* env, jstring host, jint port);
  char* text() { return buffer; }

 private:
  char buffer[128];
};

#endif
