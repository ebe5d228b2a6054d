#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "Command.h"
#include "JniCommon.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_PolicyJNI.h"
#include "product/filter.h"
#include "product/log.h"

namespace {

using VESK::Log;

// Not of the common scheme: the console asks only whether it was sent.
constexpr jint notSent = -1;

// The numbers are the script's, but compared as they come from the shell, unshifted: only what the
// shell itself does can give 1, 2 or 3, since the script runs in the background.
const char* failureOf(int status) {
  switch (status) {
    case 1:
      return "wrong parameter";
    case 2:
      return "unable to create soap object";
    case 3:
      return "unable to send soap request";
    default:
      return nullptr;
  }
}

}  // namespace

// For the product's libraries, whose messages are dropped here on purpose.
void callback(VESK::VESKLogLevel, const char*) {}

// The three texts are placed as they are, without quotes.
VESK_JNI(jint, PolicyJNI, notifyUpdatePolicyNow)
(JNIEnv* env, jobject, jstring first, jstring second, jstring third) {
  if (anyNull(first, second, third)) return result::nullArgument;
  const VeskJniString one(env, first);
  const VeskJniString two(env, second);
  const VeskJniString three(env, third);
  CommandLine command("PolicyJNI.notifyUpdatePolicyNow", policyCommandSize);
  // Without VESK_HOME the command names no file, and the shell refuses it.
  if (!command.format("%s/script/forceUpdate.sh %s %s %s & >/dev/null 2>&1",
                      std::getenv("VESK_HOME"), one.str, two.str, three.str)) {
    return command.failure(notSent);
  }
  Log::LogByLevel(3, "begin to execute cmd [%s]", command.c_str());
  const int status = runInShell(command.c_str());
  const int error = errno;
  if (status == 0) {
    Log::LogByLevel(3, "send soap request suceess");
    return result::success;
  }
  if (status == -1) {
    Log::LogByLevel(1, "unable to exec %s :%s", command.c_str(), std::strerror(error));
  } else if (const char* failure = failureOf(status); failure != nullptr) {
    Log::LogByLevel(1, "%s", failure);
  } else {
    Log::LogByLevel(1, "execute %s failed,ret=%d", command.c_str(), status);
  }
  return notSent;
}

// Valid is what the filter for subject lines makes a regular expression of that compiles.
VESK_JNI(jint, PolicyJNI, validateKeyword)(JNIEnv* env, jobject, jstring keyword) try {
  if (keyword == nullptr) return result::nullArgument;
  const VeskJniString expression(env, keyword);
  requireRead(expression);  // the empty one is valid
  const KeywordList list;
  scanContentSubjectFilter filter;
  const std::string regex = filter.convertToRegEx(expression.str);
  Log::LogByLevel(3, "original kwd=%s, converted to %s, call valReg() to verify it", expression.str,
                  regex.c_str());
  const bool valid = list.valReg(regex.c_str());
  Log::LogByLevel(3, valid ? "valReg() return true" : "valReg() return false");
  return valid ? result::success : result::keywordInvalid;
}
VESK_ON_NO_MEMORY(result::keywordInvalid)
