// The mail server's settings, through Postfix's own tools. Their commands are not logged and their
// status is not passed on.
#include <cstdarg>
#include <cstdlib>
#include <cstring>

#include "Command.h"
#include "JniCommon.h"
#include "RestrictionFile.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_PostfixJNI.h"
#include "product/log.h"

namespace {

using VESK::Log;

__attribute__((format(printf, 2, 3))) jint runTool(const char* method, const char* format, ...) {
  CommandLine command(method, postfixCommandSize);
  std::va_list arguments;
  va_start(arguments, format);
  const bool formed = command.vformat(format, arguments);
  va_end(arguments);
  if (!formed) return command.failure();
  static_cast<void>(runInShell(command.c_str()));
  return result::success;
}

// The value in a line "name = value\n". An empty value is printed without a blank before it, and a
// line that is none of postconf's has no value; no scan leaves the line.
char* trim_key(char* line) {
  char* end = line + std::strcspn(line, "\n");
  *end = '\0';
  char* sign = std::strchr(line, '=');
  char* blank = sign == nullptr ? nullptr : std::strchr(sign, ' ');
  return blank == nullptr ? end : blank + 1;
}

}  // namespace

VESK_JNI(jint, PostfixJNI, postfixReload)(JNIEnv*, jobject) {
  return runTool("PostfixJNI.postfixReload", "postfix reload");
}

VESK_JNI(jint, PostfixJNI, isPostfixExist)(JNIEnv*, jobject) {
  return commandPrints("PostfixJNI.isPostfixExist", postfixCommandSize, "which postconf");
}

VESK_JNI(jint, PostfixJNI, postmap)(JNIEnv* env, jobject, jstring file) {
  if (file == nullptr) return result::nullArgument;
  const VeskJniString name(env, file);
  return runTool("PostfixJNI.postmap", "postmap %s", name.str);
}

// A longer name that begins with the key and is printed before it hides the key.
VESK_JNI(jint, PostfixJNI, isKeyConfigured)(JNIEnv* env, jobject, jstring key) {
  if (key == nullptr) return result::nullArgument;
  const VeskJniString name(env, key);
  CommandLine command("PostfixJNI.isKeyConfigured", postfixCommandSize);
  if (!command.format("postconf -n | grep \"^%s\"", name.str)) return command.failure();
  OutputLine line;
  const jint code = readFirstLine(command.c_str(), line);
  if (code == result::commandPrintedNothing) return result::keyNotConfigured;
  if (code != result::success) return code;
  const std::size_t length = std::strlen(name.str);
  const bool same = length < std::strlen(line.text) && line.text[length] == ' ';
  return same ? result::success : result::keyNotConfigured;
}

// The first name that begins with the key counts, whether or not it goes on behind it.
VESK_JNI(jint, PostfixJNI, getPostconf)(JNIEnv* env, jobject, jstring key, jobject list) try {
  if (key == nullptr) return result::nullArgument;
  const VeskJniString name(env, key);
  CommandLine command("PostfixJNI.getPostconf", postfixCommandSize);
  if (!command.format("postconf | grep \"^%s\"", name.str)) return command.failure();
  OutputLine line;
  if (const jint code = readFirstLine(command.c_str(), line); code != result::success) return code;
  return formJArrListStr(env, trim_key(line.text), list);
}
VESK_ON_NO_MEMORY(result::commandNotStarted)

// Key and value stand in single quotes as they are.
VESK_JNI(jint, PostfixJNI, setPostconf)(JNIEnv* env, jobject, jstring key, jstring value) {
  if (anyNull(key, value)) return result::nullArgument;
  const VeskJniString name(env, key);
  const VeskJniString text(env, value);
  return runTool("PostfixJNI.setPostconf", "postconf -e '%s=%s'", name.str, text.str);
}

// Inert, like getPEMFile: nothing is written or read.
VESK_JNI(jint, PostfixJNI, exportPEMFile)
(JNIEnv*, jobject, jstring, jstring, jstring, jstring, jstring) { return result::success; }

VESK_JNI(jint, PostfixJNI, getPEMFile)(JNIEnv*, jobject, jstring, jstring, jstring) {
  return result::success;
}

VESK_JNI(jint, PostfixJNI, checkPEMFormat)(JNIEnv* env, jobject, jstring path, jboolean isKey) {
  if (path == nullptr) return result::nullArgument;
  const VeskJniString file(env, path);
  CommandLine command("PostfixJNI.checkPEMFormat", verifierCommandSize);
  // Without VESK_HOME the command names no file, and nothing is valid.
  if (!command.format("%s/bin/pemverify %s %s", std::getenv("VESK_HOME"), isKey ? "-k" : "-c",
                      file.str)) {
    return command.failure(result::certificateRejected);
  }
  Log::LogByLevel(4, "begin to execute cmd [%s]", command.c_str());
  const jint code = exitCode(runInShell(command.c_str()));
  if (code == 0) return result::success;
  Log::LogByLevel(4, "pemverify return code=%d", code);
  return result::certificateRejected;
}

VESK_JNI(jint, PostfixJNI, composeClientRestrictionFile)
(JNIEnv* env, jobject, jstring inputPath, jstring outputPath) try {
  if (anyNull(inputPath, outputPath)) return result::nullArgument;
  const VeskJniString input(env, inputPath);
  const VeskJniString output(env, outputPath);
  return writeRestrictionFile(input.str, output.str) ? result::success : result::fileNotOpened;
}
VESK_ON_NO_MEMORY(result::fileNotOpened)
